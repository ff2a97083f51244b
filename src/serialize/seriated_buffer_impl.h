// The content of a seriated_buffer: a table of fixed-size element records, chunked string
// pools and one byte arena for arrays; and the per-type rules that turn values into the
// little-endian units of the byte form and back.
#pragma once

#include <qel/serialize.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace qel::detail {

static_assert(std::endian::native == std::endian::little,
              "array blocks hold the byte form's little-endian units as they are");

namespace serial_tag {
inline constexpr unsigned bool_ = 1, char_ = 2, uint8 = 3, wchar = 4, int16 = 5, uint16 = 6,
                          int32 = 7, uint32 = 8, int64 = 9, uint64 = 10, float_ = 11, double_ = 12,
                          long_double = 13, dump = 14, wstring = 15, timeperiod = 16, time = 17,
                          date = 18, datetime = 19, timeinterval = 20, timestamp = 21, string = 22;
inline constexpr unsigned array_bit = 32;
inline constexpr unsigned base_mask = 31;
} // namespace serial_tag

// Bytes per value of a base type in the byte form; 0 where no fixed width exists.
inline unsigned serial_width_(unsigned base) {
    static constexpr unsigned char widths[32] = {0, 1, 1, 1, 2, 2, 2, 4, 4, 8, 8, 4, 8, 8, 1, 0,
                                                 4, 4, 4, 8, 8, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    return widths[base & serial_tag::base_mask];
}

// Longest string or wstring, in characters of the byte form.
inline constexpr std::size_t max_serial_string = 0xFFFFFF;

struct serial_element_ {
    // Scalars and arrays: the tag. Strings: (length << 8) | tag.
    std::uint32_t tag;
    // The tag byte as parsed, so that what was read is written back unchanged.
    std::uint8_t wire_tag;
    // Scalars: the value's units; strings: the pool address; arrays: the block index.
    std::uint64_t value;
};

struct serial_array_block_ {
    std::size_t offset; // into the arena
    std::uint32_t count;
};

// Text copied back to back into chunks that never move until the pool is cleared.
template <class C> class serial_string_pool_ {
public:
    C* allocate(std::size_t n) {
        if (n > left_)
            add_chunk_(n);
        C* p = next_;
        next_ += n;
        left_ -= n;
        return p;
    }
    // Returns the unused end of the last allocation.
    void give_back(std::size_t n) {
        next_ -= n;
        left_ += n;
    }
    // Keeps one chunk of the usual size, so that a stream does not reallocate per chunk.
    void clear() {
        std::unique_ptr<C[]> keep;
        std::size_t keep_size = 0;
        if (!chunks_.empty() && last_size_ <= later_chunk) {
            keep = std::move(chunks_.back());
            keep_size = last_size_;
        }
        chunks_.clear();
        next_ = nullptr;
        left_ = 0;
        last_size_ = 0;
        if (keep) {
            next_ = keep.get();
            left_ = last_size_ = keep_size;
            chunks_.push_back(std::move(keep));
        }
    }

private:
    static constexpr std::size_t first_chunk = 255;
    static constexpr std::size_t later_chunk = 65535;

    void add_chunk_(std::size_t n) {
        std::size_t size = std::max(n, chunks_.empty() ? first_chunk : later_chunk);
        chunks_.push_back(std::make_unique_for_overwrite<C[]>(size));
        next_ = chunks_.back().get();
        left_ = last_size_ = size;
    }

    std::vector<std::unique_ptr<C[]>> chunks_;
    C* next_ = nullptr;
    std::size_t left_ = 0;
    std::size_t last_size_ = 0;
};

// The element table: fixed blocks, so growing never copies records and a large buffer needs
// no large contiguous allocation; indexing stays constant time.
class serial_element_table_ {
public:
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    serial_element_& operator[](std::size_t i) { return blocks_[i >> block_bits][i & block_mask]; }
    const serial_element_& operator[](std::size_t i) const {
        return blocks_[i >> block_bits][i & block_mask];
    }
    void push_back(const serial_element_& element) {
        if ((size_ >> block_bits) == blocks_.size())
            blocks_.push_back(std::make_unique_for_overwrite<serial_element_[]>(block_size));
        (*this)[size_] = element;
        ++size_;
    }
    // Keeps the first block, which holds a whole chunk of a serialization stream.
    void clear() {
        blocks_.resize(std::min<std::size_t>(blocks_.size(), 1));
        size_ = 0;
    }

private:
    static constexpr unsigned block_bits = 12;
    static constexpr std::size_t block_size = std::size_t{1} << block_bits;
    static constexpr std::size_t block_mask = block_size - 1;

    std::vector<std::unique_ptr<serial_element_[]>> blocks_;
    std::size_t size_ = 0;
};

class seriated_buffer_impl_ {
public:
    void push(const serial_element_& element) {
        elements.push_back(element);
        if (writer != nullptr && elements.size() >= chunk_limit)
            writer->overflow();
    }
    void clear();

    serial_element_table_ elements;
    serial_string_pool_<char> narrow;
    serial_string_pool_<wchar_t> wide;
    std::vector<char> arena;
    std::vector<serial_array_block_> blocks;
    ISerialStreamReader* reader = nullptr;
    ISerialStreamWriter* writer = nullptr;
    std::size_t chunk_limit = 0;
};

// How a C++ type maps to the unit W of its tag in the byte form.
template <class T, unsigned Tag, class W> struct serial_scalar_base_ {
    static constexpr unsigned tag = Tag;
    using wire = W;
    static W to_wire(T value) { return static_cast<W>(value); }
    static T from_wire(W unit) { return static_cast<T>(unit); }
};

template <class T> struct serial_scalar_;
template <>
struct serial_scalar_<bool> : serial_scalar_base_<bool, serial_tag::bool_, std::uint8_t> {
    // Any non-zero byte read is true.
    static bool from_wire(std::uint8_t unit) { return unit != 0; }
};
template <>
struct serial_scalar_<char> : serial_scalar_base_<char, serial_tag::char_, std::uint8_t> {};
template <>
struct serial_scalar_<unsigned char>
    : serial_scalar_base_<unsigned char, serial_tag::uint8, std::uint8_t> {};
template <>
struct serial_scalar_<wchar_t> : serial_scalar_base_<wchar_t, serial_tag::wchar, std::uint16_t> {
    static std::uint16_t to_wire(wchar_t value) {
        auto code = static_cast<std::uint32_t>(value);
        if constexpr (sizeof(wchar_t) > 2)
            if (code > 0xFFFF)
                return 0xFFFD;
        return static_cast<std::uint16_t>(code);
    }
};
template <>
struct serial_scalar_<short> : serial_scalar_base_<short, serial_tag::int16, std::uint16_t> {};
template <>
struct serial_scalar_<unsigned short>
    : serial_scalar_base_<unsigned short, serial_tag::uint16, std::uint16_t> {};
template <>
struct serial_scalar_<int> : serial_scalar_base_<int, serial_tag::int32, std::uint32_t> {};
template <>
struct serial_scalar_<unsigned int>
    : serial_scalar_base_<unsigned int, serial_tag::uint32, std::uint32_t> {};
template <>
struct serial_scalar_<std::int64_t>
    : serial_scalar_base_<std::int64_t, serial_tag::int64, std::uint64_t> {};
template <>
struct serial_scalar_<std::uint64_t>
    : serial_scalar_base_<std::uint64_t, serial_tag::uint64, std::uint64_t> {};
template <>
struct serial_scalar_<float> : serial_scalar_base_<float, serial_tag::float_, std::uint32_t> {
    static std::uint32_t to_wire(float value) { return std::bit_cast<std::uint32_t>(value); }
    static float from_wire(std::uint32_t unit) { return std::bit_cast<float>(unit); }
};
template <>
struct serial_scalar_<double> : serial_scalar_base_<double, serial_tag::double_, std::uint64_t> {
    static std::uint64_t to_wire(double value) { return std::bit_cast<std::uint64_t>(value); }
    static double from_wire(std::uint64_t unit) { return std::bit_cast<double>(unit); }
};
template <>
struct serial_scalar_<long double>
    : serial_scalar_base_<long double, serial_tag::long_double, std::uint64_t> {
    static std::uint64_t to_wire(long double value) {
        return std::bit_cast<std::uint64_t>(static_cast<double>(value));
    }
    static long double from_wire(std::uint64_t unit) { return std::bit_cast<double>(unit); }
};

// Wide text in the byte form: UTF-16 units. Where wchar_t holds code points, a unit above
// U+FFFF becomes a surrogate pair (U+FFFD beyond U+10FFFF) and a valid pair becomes one unit.
inline std::size_t utf16_length_(const wchar_t* text, std::size_t length) {
    if constexpr (sizeof(wchar_t) == 2) {
        return length;
    } else {
        std::size_t units = length;
        for (std::size_t i = 0; i < length; ++i) {
            auto code = static_cast<std::uint32_t>(text[i]);
            units += code > 0xFFFF && code <= 0x10FFFF ? 1 : 0;
        }
        return units;
    }
}

inline char* put_unit_(char* out, std::uint32_t unit) {
    out[0] = static_cast<char>(unit & 0xFF);
    out[1] = static_cast<char>(unit >> 8);
    return out + 2;
}

inline char* put_utf16_(char* out, const wchar_t* text, std::size_t length) {
    if constexpr (sizeof(wchar_t) == 2) {
        if (length != 0)
            std::memcpy(out, text, length * 2);
        return out + length * 2;
    } else {
        for (std::size_t i = 0; i < length; ++i) {
            auto code = static_cast<std::uint32_t>(text[i]);
            if (code <= 0xFFFF) {
                out = put_unit_(out, code);
            } else if (code <= 0x10FFFF) {
                code -= 0x10000;
                out = put_unit_(out, 0xD800 | (code >> 10));
                out = put_unit_(out, 0xDC00 | (code & 0x3FF));
            } else {
                out = put_unit_(out, 0xFFFD);
            }
        }
        return out;
    }
}

// Decodes `units` UTF-16 units into `out`; returns the number of wchar_t written.
inline std::size_t get_utf16_(const unsigned char* in, std::size_t units, wchar_t* out) {
    if constexpr (sizeof(wchar_t) == 2) {
        if (units != 0)
            std::memcpy(out, in, units * 2);
        return units;
    } else {
        std::size_t written = 0;
        for (std::size_t i = 0; i < units; ++i) {
            std::uint32_t unit = in[2 * i] | static_cast<std::uint32_t>(in[2 * i + 1]) << 8;
            if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < units) {
                std::uint32_t low = in[2 * i + 2] | static_cast<std::uint32_t>(in[2 * i + 3]) << 8;
                if (low >= 0xDC00 && low < 0xE000) {
                    unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                    ++i;
                }
            }
            out[written++] = static_cast<wchar_t>(unit);
        }
        return written;
    }
}

} // namespace qel::detail
