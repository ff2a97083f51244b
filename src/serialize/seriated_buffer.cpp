// seriated_buffer: adding and reading elements, and the byte form in both directions.
#include "serialize/serialize_messages.h"
#include "serialize/seriated_buffer_impl.h"

#include <qel/serialize.h>

#include <utility>

namespace qel {
namespace detail {

void throw_serialize_(const char* message) {
    throw serialize_error(message);
}

void seriated_buffer_impl_::clear() {
    // Room stays for the next chunk of a stream unless it grew unusually large.
    constexpr std::size_t keep_arena = std::size_t{1} << 20;
    elements.clear();
    arena.clear();
    if (arena.capacity() > keep_arena)
        std::vector<char>().swap(arena);
    blocks.clear();
    narrow.clear();
    wide.clear();
}

namespace {

namespace msg = serialize_messages;
using buffer_impl = seriated_buffer_impl_;

// The element at `index`; past the end an attached reader may load the next chunk, whose
// first element is taken.
const serial_element_& locate(buffer_impl& b, std::size_t index) {
    if (index < b.elements.size())
        return b.elements[index];
    if (b.reader != nullptr && b.reader->pump() && !b.elements.empty())
        return b.elements[0];
    throw_serialize_(msg::bad_positioner);
}

serial_element_ make_element(unsigned tag, std::uint64_t value) {
    return {tag, static_cast<std::uint8_t>(tag), value};
}

template <class T> void add_scalar(buffer_impl& b, T value) {
    using rule = serial_scalar_<T>;
    b.push(make_element(rule::tag, rule::to_wire(value)));
}

template <class T> T get_scalar(buffer_impl& b, std::size_t index) {
    using rule = serial_scalar_<T>;
    const serial_element_& e = locate(b, index);
    if (e.tag != rule::tag)
        throw_serialize_(msg::type_mismatch);
    return rule::from_wire(static_cast<typename rule::wire>(e.value));
}

template <class W> void store_unit(char* out, W unit) {
    std::memcpy(out, &unit, sizeof(W));
}
template <class W> W load_unit(const char* in) {
    W unit;
    std::memcpy(&unit, in, sizeof(W));
    return unit;
}

// An array block with the units of `data`; `rule` converts each value.
template <class Rule, class T>
void add_array(buffer_impl& b, const T* data, std::size_t count, unsigned base) {
    using W = typename Rule::wire;
    if (data == nullptr && count != 0)
        throw_serialize_(msg::bad_array_pointer);
    if (count > 0xFFFFFFFFu)
        throw_serialize_(msg::array_too_long);
    const std::size_t offset = b.arena.size();
    b.arena.resize(offset + count * sizeof(W));
    char* out = b.arena.data() + offset;
    for (std::size_t i = 0; i < count; ++i)
        store_unit<W>(out + i * sizeof(W), Rule::to_wire(data[i]));
    try {
        b.blocks.push_back({offset, static_cast<std::uint32_t>(count)});
    } catch (...) {
        b.arena.resize(offset);
        throw;
    }
    b.push(make_element(serial_tag::array_bit | base, b.blocks.size() - 1));
}

// The block of the array element at `index`, after the type checks of every array getter.
const serial_array_block_& block_of(buffer_impl& b, std::size_t index, unsigned base) {
    const serial_element_& e = locate(b, index);
    if ((e.tag & serial_tag::base_mask) != base)
        throw_serialize_(msg::type_mismatch);
    if ((e.tag & serial_tag::array_bit) == 0)
        throw_serialize_(msg::not_an_array);
    return b.blocks[e.value];
}

template <class Rule, class T>
void copy_block(const buffer_impl& b, const serial_array_block_& block, T* buffer) {
    using W = typename Rule::wire;
    const char* in = b.arena.data() + block.offset;
    for (std::size_t i = 0; i < block.count; ++i)
        buffer[i] = Rule::from_wire(load_unit<W>(in + i * sizeof(W)));
}

template <class Rule, class T>
std::size_t get_array(buffer_impl& b, std::size_t index, T* buffer, std::size_t capacity,
                      unsigned base) {
    const serial_array_block_& block = block_of(b, index, base);
    if (buffer == nullptr)
        return block.count;
    if (capacity < block.count)
        throw_serialize_(msg::buffer_too_small);
    copy_block<Rule>(b, block, buffer);
    return block.count;
}

// Dump bytes pass through unchanged.
struct dump_rule {
    using wire = std::uint8_t;
    static std::uint8_t to_wire(unsigned char value) { return value; }
    static unsigned char from_wire(std::uint8_t unit) { return unit; }
};

template <class C> void add_text(buffer_impl& b, const C* text, std::size_t length, unsigned tag) {
    std::size_t units = length;
    if constexpr (std::is_same_v<C, wchar_t>)
        units = utf16_length_(text, length);
    if (units > max_serial_string)
        throw_serialize_(msg::string_too_long);
    if (text == nullptr && length != 0)
        throw_serialize_(msg::bad_array_pointer);
    C* stored = nullptr;
    if (length != 0) {
        if constexpr (std::is_same_v<C, wchar_t>)
            stored = b.wide.allocate(length);
        else
            stored = b.narrow.allocate(length);
        std::memcpy(stored, text, length * sizeof(C));
    }
    b.push({static_cast<std::uint32_t>(length << 8 | tag), static_cast<std::uint8_t>(tag),
            reinterpret_cast<std::uintptr_t>(stored)});
}

template <class C>
const serial_element_& text_element(buffer_impl& b, std::size_t index, unsigned tag) {
    const serial_element_& e = locate(b, index);
    if ((e.tag & 0xFF) != tag)
        throw_serialize_(msg::type_mismatch);
    return e;
}
template <class C> const C* text_of(const serial_element_& e) {
    return reinterpret_cast<const C*>(static_cast<std::uintptr_t>(e.value));
}
std::size_t length_of(const serial_element_& e) {
    return e.tag >> 8;
}

// --- byte form -------------------------------------------------------------------------

std::size_t serial_size(const buffer_impl& b, const serial_element_& e) {
    const unsigned base = e.tag & serial_tag::base_mask;
    if ((e.tag & serial_tag::array_bit) != 0)
        return 5 + std::size_t{b.blocks[e.value].count} * serial_width_(base);
    if (base == serial_tag::string)
        return 5 + length_of(e);
    if (base == serial_tag::wstring)
        return 5 + 2 * utf16_length_(text_of<wchar_t>(e), length_of(e));
    if (base == 0 || base == serial_tag::dump || base > serial_tag::string)
        throw_serialize_(msg::unsupported_type);
    return 1 + serial_width_(base);
}

char* put_u32(char* out, std::uint32_t value) {
    store_unit(out, value);
    return out + 4;
}

char* put_element(const buffer_impl& b, const serial_element_& e, char* out) {
    *out++ = static_cast<char>(e.wire_tag);
    const unsigned base = e.tag & serial_tag::base_mask;
    if ((e.tag & serial_tag::array_bit) != 0) {
        const serial_array_block_& block = b.blocks[e.value];
        const std::size_t bytes = std::size_t{block.count} * serial_width_(base);
        out = put_u32(out, block.count);
        if (bytes != 0)
            std::memcpy(out, b.arena.data() + block.offset, bytes);
        return out + bytes;
    }
    if (base == serial_tag::string) {
        const std::size_t length = length_of(e);
        out = put_u32(out, static_cast<std::uint32_t>(length));
        if (length != 0)
            std::memcpy(out, text_of<char>(e), length);
        return out + length;
    }
    if (base == serial_tag::wstring) {
        const wchar_t* text = text_of<wchar_t>(e);
        out = put_u32(out, static_cast<std::uint32_t>(utf16_length_(text, length_of(e))));
        return put_utf16_(out, text, length_of(e));
    }
    // Scalars hold their units in the low bytes of the value (datetime: time, then day).
    const unsigned width = serial_width_(base);
    std::memcpy(out, &e.value, width);
    return out + width;
}

void append_element(const buffer_impl& b, const serial_element_& e, std::vector<char>& out) {
    const std::size_t start = out.size();
    out.resize(start + serial_size(b, e));
    put_element(b, e, out.data() + start);
}

// Reads the byte form of `[p, end)` into `b`, checking every length against what is left
// before anything is allocated for it.
class parser {
public:
    parser(buffer_impl& b, const unsigned char* p, const unsigned char* end)
        : b_(b), p_(p), end_(end) {}

    void run() {
        while (p_ != end_) {
            const unsigned tag = *p_++;
            const unsigned base = tag & serial_tag::base_mask;
            if ((tag & serial_tag::array_bit) != 0)
                array(tag, base);
            else if (base == serial_tag::string)
                text<char>(tag, serial_tag::string);
            else if (base == serial_tag::wstring)
                text<wchar_t>(tag, serial_tag::wstring);
            else if (base != 0 && base != serial_tag::dump && base < serial_tag::string)
                scalar(tag, base);
            else if ((tag & 0x80) == 0)
                throw_serialize_(msg::unsupported_deserialization);
            else
                array(tag, base);
        }
    }

private:
    void need(std::uint64_t bytes) const {
        if (static_cast<std::uint64_t>(end_ - p_) < bytes)
            throw_serialize_(msg::data_broken);
    }
    std::uint32_t u32() {
        need(4);
        std::uint32_t value;
        std::memcpy(&value, p_, 4);
        p_ += 4;
        return value;
    }

    void scalar(unsigned tag, unsigned base) {
        const unsigned width = serial_width_(base);
        need(width);
        std::uint64_t value = 0;
        std::memcpy(&value, p_, width);
        p_ += width;
        b_.push({base, static_cast<std::uint8_t>(tag), value});
    }

    void array(unsigned tag, unsigned base) {
        if (base == 0 || base == serial_tag::wstring || base > serial_tag::timestamp)
            throw_serialize_(msg::non_plain_type);
        const std::uint32_t count = u32();
        const std::uint64_t bytes = std::uint64_t{count} * serial_width_(base);
        need(bytes);
        const std::size_t offset = b_.arena.size();
        b_.arena.insert(b_.arena.end(), p_, p_ + bytes);
        p_ += bytes;
        b_.blocks.push_back({offset, count});
        b_.push(
            {serial_tag::array_bit | base, static_cast<std::uint8_t>(tag), b_.blocks.size() - 1});
    }

    template <class C> void text(unsigned tag, unsigned base) {
        const std::uint32_t length = u32();
        need(std::uint64_t{length} * (sizeof(C) == 1 ? 1 : 2));
        if (length > max_serial_string)
            throw_serialize_(msg::string_too_long);
        C* stored = nullptr;
        std::size_t stored_length = length;
        if (length != 0) {
            if constexpr (sizeof(C) == 1) {
                stored = b_.narrow.allocate(length);
                std::memcpy(stored, p_, length);
                p_ += length;
            } else {
                stored = b_.wide.allocate(length);
                stored_length = get_utf16_(p_, length, stored);
                b_.wide.give_back(length - stored_length);
                p_ += 2 * std::size_t{length};
            }
        }
        b_.push({static_cast<std::uint32_t>(stored_length << 8 | base),
                 static_cast<std::uint8_t>(tag), reinterpret_cast<std::uintptr_t>(stored)});
    }

    buffer_impl& b_;
    const unsigned char* p_;
    const unsigned char* end_;
};

std::uint64_t datetime_units(int day_value, int time_value) {
    return static_cast<std::uint64_t>(static_cast<std::uint32_t>(day_value)) << 32 |
           static_cast<std::uint32_t>(time_value);
}

} // namespace
} // namespace detail

using detail::serial_tag::array_bit;
namespace tag = detail::serial_tag;

seriated_buffer::seriated_buffer() : impl_(std::make_unique<detail::seriated_buffer_impl_>()) {}
seriated_buffer::seriated_buffer(const std::vector<char>& data) : seriated_buffer() {
    set_seriated_data_(data.data(), data.size());
}
seriated_buffer::seriated_buffer(const_iterator first, const_iterator last) : seriated_buffer() {
    set_seriated_data_(first, last);
}
seriated_buffer::seriated_buffer(seriated_buffer&& other)
    : impl_(std::exchange(other.impl_, std::make_unique<detail::seriated_buffer_impl_>())) {}
seriated_buffer::seriated_buffer(detail::ISerialStreamReader& reader) : seriated_buffer() {
    attach_reader_(reader);
}
seriated_buffer::seriated_buffer(detail::ISerialStreamWriter& writer, std::size_t chunk_elements)
    : seriated_buffer() {
    attach_writer_(writer, chunk_elements);
}
seriated_buffer::~seriated_buffer() = default;

void seriated_buffer::attach_reader_(detail::ISerialStreamReader& reader) {
    impl_->reader = &reader;
}
void seriated_buffer::attach_writer_(detail::ISerialStreamWriter& writer,
                                     std::size_t chunk_elements) {
    impl_->writer = &writer;
    impl_->chunk_limit = chunk_elements;
}

void seriated_buffer::swap(seriated_buffer& other) {
    impl_.swap(other.impl_);
}

std::size_t seriated_buffer::size() const {
    return impl_->elements.size();
}

bool seriated_buffer::available_(std::size_t index) const {
    detail::seriated_buffer_impl_& b = *impl_;
    return index < b.elements.size() ||
           (b.reader != nullptr && b.reader->pump() && !b.elements.empty());
}

void seriated_buffer::set_seriated_data(const char* data, std::size_t size) {
    clear_data_();
    set_seriated_data_(data, size);
}
void seriated_buffer::set_seriated_data(const std::vector<char>& data) {
    clear_data_();
    set_seriated_data_(data.data(), data.size());
}
void seriated_buffer::set_seriated_data_range(const_iterator first, const_iterator last) {
    clear_data_();
    set_seriated_data_(first, last);
}
void seriated_buffer::append_seriated_data(const char* data, std::size_t size) {
    set_seriated_data_(data, size);
}
void seriated_buffer::append_seriated_data(const std::vector<char>& data) {
    set_seriated_data_(data.data(), data.size());
}
void seriated_buffer::append_seriated_data_range(const_iterator first, const_iterator last) {
    set_seriated_data_(first, last);
}
void seriated_buffer::get_seriated_data(std::vector<char>& out) const {
    get_seriated_data_(0, size(), out);
}
void seriated_buffer::get_seriated_data_range(positioner first, positioner last,
                                              std::vector<char>& out) const {
    get_seriated_data_(position(first), position(last), out);
}
void seriated_buffer::clear() {
    clear_data_();
}

void seriated_buffer::clear_data_() {
    impl_->clear();
}

void seriated_buffer::get_seriated_data_(std::size_t first, std::size_t last,
                                         std::vector<char>& out) const {
    const detail::seriated_buffer_impl_& b = *impl_;
    // Elements in the table are sized first and written in one go.
    const std::size_t held = std::min(last, b.elements.size());
    if (first < held) {
        std::size_t bytes = 0;
        for (std::size_t i = first; i < held; ++i)
            bytes += detail::serial_size(b, b.elements[i]);
        const std::size_t start = out.size();
        out.resize(start + bytes);
        char* p = out.data() + start;
        for (std::size_t i = first; i < held; ++i)
            p = detail::put_element(b, b.elements[i], p);
    }
    for (std::size_t i = std::max(first, held); i < last; ++i)
        detail::append_element(b, detail::locate(*impl_, i), out);
}

void seriated_buffer::set_seriated_data_(const_iterator first, const_iterator last) {
    if (first != last)
        set_seriated_data_(&*first, static_cast<std::size_t>(last - first));
}

void seriated_buffer::set_seriated_data_(const char* data, std::size_t size) {
    if (size == 0)
        return;
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    detail::parser(*impl_, bytes, bytes + size).run();
}

// The typed operations, one template each, stamped out for every scalar type.
#define QEL_SERIAL_TYPED(name, type)                                                               \
    void seriated_buffer::add_##name(type value) {                                                 \
        detail::add_scalar(*impl_, value);                                                         \
    }                                                                                              \
    void seriated_buffer::add_##name(const type* data, std::size_t count) {                        \
        using rule = detail::serial_scalar_<type>;                                                 \
        detail::add_array<rule>(*impl_, data, count, rule::tag);                                   \
    }                                                                                              \
    type seriated_buffer::get_##name(positioner p) const {                                         \
        return detail::get_scalar<type>(*impl_, position(p));                                      \
    }                                                                                              \
    std::size_t seriated_buffer::get_##name(positioner p, type* buffer, std::size_t capacity)      \
        const {                                                                                    \
        using rule = detail::serial_scalar_<type>;                                                 \
        return detail::get_array<rule>(*impl_, position(p), buffer, capacity, rule::tag);          \
    }
QEL_SERIAL_TYPED(bool, bool)
QEL_SERIAL_TYPED(char, char)
QEL_SERIAL_TYPED(uint8, unsigned char)
QEL_SERIAL_TYPED(wchar, wchar_t)
QEL_SERIAL_TYPED(int16, short)
QEL_SERIAL_TYPED(uint16, unsigned short)
QEL_SERIAL_TYPED(int32, int)
QEL_SERIAL_TYPED(uint32, unsigned int)
QEL_SERIAL_TYPED(int64, std::int64_t)
QEL_SERIAL_TYPED(uint64, std::uint64_t)
QEL_SERIAL_TYPED(float, float)
QEL_SERIAL_TYPED(double, double)
QEL_SERIAL_TYPED(long_double, long double)
#undef QEL_SERIAL_TYPED

void seriated_buffer::add_dump(const void* data, std::size_t size) {
    detail::add_array<detail::dump_rule>(*impl_, static_cast<const unsigned char*>(data), size,
                                         tag::dump);
}
void seriated_buffer::add_dump(const std::vector<char>& data) {
    add_dump(data.data(), data.size());
}
std::size_t seriated_buffer::get_dump(positioner p, void* buffer, std::size_t capacity) const {
    return detail::get_array<detail::dump_rule>(
        *impl_, position(p), static_cast<unsigned char*>(buffer), capacity, tag::dump);
}
void seriated_buffer::get_dump(positioner p, std::vector<char>& out) const {
    const auto& block = detail::block_of(*impl_, position(p), tag::dump);
    out.resize(block.count);
    if (block.count != 0)
        std::memcpy(out.data(), impl_->arena.data() + block.offset, block.count);
}

// Dates and times keep their counts; the tag tells them apart.
namespace {
template <unsigned Tag, class U> void add_units(detail::seriated_buffer_impl_& b, U units) {
    b.push(detail::make_element(Tag, units));
}
template <unsigned Tag>
std::uint64_t get_units(detail::seriated_buffer_impl_& b, std::size_t index) {
    const detail::serial_element_& e = detail::locate(b, index);
    if (e.tag != Tag)
        detail::throw_serialize_(detail::serialize_messages::type_mismatch);
    return e.value;
}
std::uint64_t u32_units(int value) {
    return static_cast<std::uint32_t>(value);
}
int int_of(std::uint64_t units) {
    return static_cast<int>(static_cast<std::uint32_t>(units));
}
} // namespace

void seriated_buffer::add_timeperiod(const time_period& value) {
    add_timeperiod_val(value.get());
}
void seriated_buffer::add_timeperiod_val(int value) {
    add_units<tag::timeperiod>(*impl_, u32_units(value));
}
void seriated_buffer::add_time(const time& value) {
    add_time_val(value.get());
}
void seriated_buffer::add_time_val(int value) {
    add_units<tag::time>(*impl_, u32_units(value));
}
void seriated_buffer::add_date(const date& value) {
    add_date_val(value.get());
}
void seriated_buffer::add_date_val(int value) {
    add_units<tag::date>(*impl_, u32_units(value));
}
void seriated_buffer::add_datetime(const timestamp& value) {
    const std::int64_t day = value.get() / detail::hundredths_per_day;
    const std::int64_t time_value = value.get() - day * detail::hundredths_per_day;
    add_datetime_val(static_cast<int>(day), static_cast<int>(time_value));
}
void seriated_buffer::add_datetime_val(int day_value, int time_value) {
    add_units<tag::datetime>(*impl_, detail::datetime_units(day_value, time_value));
}
void seriated_buffer::add_timeinterval(const time_interval& value) {
    add_timeinterval_val(value.get());
}
void seriated_buffer::add_timeinterval_val(std::int64_t value) {
    add_units<tag::timeinterval>(*impl_, static_cast<std::uint64_t>(value));
}
void seriated_buffer::add_timestamp(const timestamp& value) {
    add_timestamp_val(value.get());
}
void seriated_buffer::add_timestamp_val(std::int64_t value) {
    add_units<tag::timestamp>(*impl_, static_cast<std::uint64_t>(value));
}

time_period seriated_buffer::get_timeperiod(positioner p) const {
    return time_period(get_timeperiod_val(p));
}
time seriated_buffer::get_time(positioner p) const {
    return time(get_time_val(p));
}
date seriated_buffer::get_date(positioner p) const {
    return date(get_date_val(p));
}
timestamp seriated_buffer::get_datetime(positioner p) const {
    int day_value = 0;
    int time_value = 0;
    get_datetime_val(p, day_value, time_value);
    return timestamp(std::int64_t{day_value} * detail::hundredths_per_day + time_value);
}
time_interval seriated_buffer::get_timeinterval(positioner p) const {
    return time_interval(get_timeinterval_val(p));
}
timestamp seriated_buffer::get_timestamp(positioner p) const {
    return timestamp(get_timestamp_val(p));
}
int seriated_buffer::get_timeperiod_val(positioner p) const {
    return int_of(get_units<tag::timeperiod>(*impl_, position(p)));
}
int seriated_buffer::get_time_val(positioner p) const {
    return int_of(get_units<tag::time>(*impl_, position(p)));
}
int seriated_buffer::get_date_val(positioner p) const {
    return int_of(get_units<tag::date>(*impl_, position(p)));
}
void seriated_buffer::get_datetime_val(positioner p, int& day_value, int& time_value) const {
    const std::uint64_t units = get_units<tag::datetime>(*impl_, position(p));
    day_value = int_of(units >> 32);
    time_value = int_of(units);
}
std::int64_t seriated_buffer::get_timeinterval_val(positioner p) const {
    return static_cast<std::int64_t>(get_units<tag::timeinterval>(*impl_, position(p)));
}
std::int64_t seriated_buffer::get_timestamp_val(positioner p) const {
    return static_cast<std::int64_t>(get_units<tag::timestamp>(*impl_, position(p)));
}

void seriated_buffer::add_wstring(const std::wstring& value) {
    detail::add_text(*impl_, value.data(), value.size(), tag::wstring);
}
void seriated_buffer::add_wstring(const wchar_t* data, std::size_t length) {
    detail::add_text(*impl_, data, length, tag::wstring);
}
void seriated_buffer::add_string(const std::string& value) {
    detail::add_text(*impl_, value.data(), value.size(), tag::string);
}
void seriated_buffer::add_string(const char* data, std::size_t length) {
    detail::add_text(*impl_, data, length, tag::string);
}

void seriated_buffer::get_string(positioner p, std::string& out) const {
    const auto& e = detail::text_element<char>(*impl_, position(p), tag::string);
    out.assign(detail::text_of<char>(e), detail::length_of(e));
}
void seriated_buffer::get_wstring(positioner p, std::wstring& out) const {
    const auto& e = detail::text_element<wchar_t>(*impl_, position(p), tag::wstring);
    out.assign(detail::text_of<wchar_t>(e), detail::length_of(e));
}
std::size_t seriated_buffer::get_string_len(positioner p) const {
    return detail::length_of(detail::text_element<char>(*impl_, position(p), tag::string));
}
std::size_t seriated_buffer::get_wstring_len(positioner p) const {
    return detail::length_of(detail::text_element<wchar_t>(*impl_, position(p), tag::wstring));
}
const char* seriated_buffer::get_string(positioner p) const {
    return detail::text_of<char>(detail::text_element<char>(*impl_, position(p), tag::string));
}
const wchar_t* seriated_buffer::get_wstring(positioner p) const {
    return detail::text_of<wchar_t>(
        detail::text_element<wchar_t>(*impl_, position(p), tag::wstring));
}

} // namespace qel
