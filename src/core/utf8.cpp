#include "core/utf8.h"

#include <cstdint>
#include <cstring>

namespace qel::detail {
namespace {

constexpr bool wide_holds_code_points = sizeof(wchar_t) == 4;

bool is_continuation(unsigned char b) {
    return (b & 0xC0) == 0x80;
}

// Writes the UTF-8 form of one unit at `p` and returns the end of what was written.
char* encode_unit(char* p, std::uint32_t u) {
    if (u < 0x80) {
        *p++ = static_cast<char>(u);
    } else if (u < 0x800) {
        *p++ = static_cast<char>(0xC0 | (u >> 6));
        *p++ = static_cast<char>(0x80 | (u & 0x3F));
    } else if (u < 0x10000) {
        *p++ = static_cast<char>(0xE0 | (u >> 12));
        *p++ = static_cast<char>(0x80 | ((u >> 6) & 0x3F));
        *p++ = static_cast<char>(0x80 | (u & 0x3F));
    } else if (u <= 0x10FFFF) {
        *p++ = static_cast<char>(0xF0 | (u >> 18));
        *p++ = static_cast<char>(0x80 | ((u >> 12) & 0x3F));
        *p++ = static_cast<char>(0x80 | ((u >> 6) & 0x3F));
        *p++ = static_cast<char>(0x80 | (u & 0x3F));
    } else {
        p = encode_unit(p, 0xFFFD); // not a code point at all
    }
    return p;
}

// A four-byte sequence F0..F4 with three continuation bytes, when wide text can hold it.
bool decode_four_byte(const unsigned char* p, const unsigned char* end, std::uint32_t& unit) {
    if (!wide_holds_code_points || p[0] > 0xF4 || end - p < 4 || !is_continuation(p[1]) ||
        !is_continuation(p[2]) || !is_continuation(p[3]))
        return false;
    unit = (std::uint32_t(p[0] & 0x07) << 18) | (std::uint32_t(p[1] & 0x3F) << 12) |
           (std::uint32_t(p[2] & 0x3F) << 6) | std::uint32_t(p[3] & 0x3F);
    return unit <= 0x10FFFF;
}

} // namespace

void append_utf8(std::string& out, std::wstring_view text) {
    // Room for one byte a unit first: most text is mostly ASCII, and the string is
    // zero-filled as it grows. The first unit that needs more makes room for the worst case.
    const std::size_t n = text.size();
    out.resize(out.size() + n);
    char* p = out.data() + out.size() - n;
    bool worst_case_room = false;
    std::size_t i = 0;
    while (i < n) {
        // Runs of ASCII sixteen units at a time, narrowed from a local copy; after a block
        // that is not all ASCII, the next sixteen units go one by one.
        std::size_t one_by_one_until = n;
        if (n - i >= 16) {
            wchar_t block[16];
            std::memcpy(block, text.data() + i, sizeof block);
            std::uint32_t any = 0;
            for (wchar_t c : block)
                any |= static_cast<std::uint32_t>(c);
            if (any < 0x80) {
                for (int k = 0; k < 16; ++k)
                    p[k] = static_cast<char>(block[k]);
                p += 16;
                i += 16;
                continue;
            }
            one_by_one_until = i + 16;
        }
        for (; i < one_by_one_until; ++i) {
            std::uint32_t u = static_cast<std::uint32_t>(text[i]);
            if (!wide_holds_code_points)
                u &= 0xFFFF;
            if (u < 0x80) {
                *p++ = static_cast<char>(u);
                continue;
            }
            if (!worst_case_room) {
                const auto written = static_cast<std::size_t>(p - out.data());
                out.resize(written + 4 * (n - i));
                p = out.data() + written;
                worst_case_room = true;
            }
            p = encode_unit(p, u);
        }
    }
    out.resize(static_cast<std::size_t>(p - out.data()));
}

namespace {

// Decodes from `p` into `o` (room for one unit per byte) up to `end`, or up to a zero byte
// when `zero_ends`; otherwise a zero byte gives U+0000. Returns where decoding stopped.
const unsigned char* decode_utf8(const unsigned char* p, const unsigned char* end, wchar_t*& o,
                                 bool zero_ends) {
    // A byte at `q` that is a continuation byte; a zero byte or the end is not.
    auto continuation_at = [end](const unsigned char* q) { return q < end && is_continuation(*q); };
    while (p < end) {
        // Runs of ASCII without a zero byte, sixteen bytes at a time, widened from a local copy
        // so the compiler knows the output does not overlap the input.
        while (end - p >= 16) {
            unsigned char block[16];
            std::memcpy(block, p, sizeof block);
            std::uint64_t low, high;
            std::memcpy(&low, block, 8);
            std::memcpy(&high, block + 8, 8);
            constexpr std::uint64_t ones = 0x0101010101010101u, highs = 0x8080808080808080u;
            if (((low | ((low - ones) & ~low) | high | ((high - ones) & ~high)) & highs) != 0)
                break;
            for (int i = 0; i < 16; ++i)
                o[i] = static_cast<wchar_t>(block[i]);
            o += 16;
            p += 16;
        }
        if (p == end)
            break;
        unsigned char b = *p;
        if (b == 0 && zero_ends)
            break;
        if (b < 0x80) {
            *o++ = static_cast<wchar_t>(b);
            ++p;
        } else if (b < 0xC0) {
            *o++ = L'\0';
            ++p;
        } else if (b < 0xE0) {
            bool valid = continuation_at(p + 1);
            *o++ = valid ? static_cast<wchar_t>(((b & 0x1F) << 6) | (p[1] & 0x3F)) : L'\0';
            p += (p + 1 < end && p[1] != 0) ? 2 : 1;
        } else if (b < 0xF0) {
            bool first_ok = continuation_at(p + 1);
            bool valid = first_ok && continuation_at(p + 2);
            if (valid) {
                if (!(b == 0xEF && p[1] == 0xBB && p[2] == 0xBF))
                    *o++ = static_cast<wchar_t>(((b & 0x0F) << 12) | ((p[1] & 0x3F) << 6) |
                                                (p[2] & 0x3F));
                p += 3;
            } else {
                *o++ = L'\0';
                // Bytes read are consumed even when they break the sequence; a zero byte is not.
                ++p;
                if (p < end && *p != 0) {
                    ++p;
                    if (first_ok && p < end && *p != 0)
                        ++p;
                }
            }
        } else {
            std::uint32_t unit = 0;
            if (decode_four_byte(p, end, unit)) {
                *o++ = static_cast<wchar_t>(unit);
                p += 4;
            } else {
                *o++ = L'?';
                ++p;
                while (continuation_at(p))
                    ++p;
            }
        }
    }
    return p;
}

// Appends the decoding of [first, last) to `out`: never more units than bytes, so the
// units are written through a pointer and the string trimmed afterwards.
const char* append_decoded(std::wstring& out, const char* first, const char* last, bool zero_ends) {
    const std::size_t used = out.size();
    out.resize(used + static_cast<std::size_t>(last - first));
    wchar_t* o = out.data() + used;
    auto stop = decode_utf8(reinterpret_cast<const unsigned char*>(first),
                            reinterpret_cast<const unsigned char*>(last), o, zero_ends);
    out.resize(static_cast<std::size_t>(o - out.data()));
    return reinterpret_cast<const char*>(stop);
}

} // namespace

const char* append_wide_from_utf8(std::wstring& out, const char* first, const char* last) {
    return append_decoded(out, first, last, true);
}

void append_wide_from_utf8_bytes(std::wstring& out, const char* first, const char* last) {
    append_decoded(out, first, last, false);
}

std::string to_utf8(std::wstring_view text) {
    std::string out;
    append_utf8(out, text);
    return out;
}

std::wstring from_utf8(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    append_wide_from_utf8(out, text.data(), text.data() + text.size());
    return out;
}

namespace {
constexpr wchar_t replacement = 0xFFFD;
} // namespace

void decode_utf8_strict(const char* s, std::size_t n, std::wstring& out) {
    auto p = reinterpret_cast<const unsigned char*>(s);
    const auto end = p + n;
    out.reserve(n);
    while (p < end) {
        unsigned char b = *p;
        if (b < 0x80) {
            out.push_back(static_cast<wchar_t>(b));
            ++p;
            continue;
        }
        int extra = b >= 0xC2 && b <= 0xDF   ? 1
                    : b >= 0xE0 && b <= 0xEF ? 2
                    : b >= 0xF0 && b <= 0xF4 ? 3
                                             : -1;
        if (extra < 0) {
            out.push_back(replacement);
            ++p;
            continue;
        }
        // The second byte's range excludes overlong forms, surrogates and code points past
        // U+10FFFF.
        unsigned char low = b == 0xE0 ? 0xA0 : b == 0xF0 ? 0x90 : 0x80;
        unsigned char high = b == 0xED ? 0x9F : b == 0xF4 ? 0x8F : 0xBF;
        std::uint32_t unit = b & (0x3F >> extra);
        const unsigned char* q = p + 1;
        bool valid = true;
        for (int i = 0; i < extra; ++i, ++q) {
            bool in_range = q < end && (i == 0 ? (*q >= low && *q <= high) : is_continuation(*q));
            if (!in_range) {
                valid = false;
                break;
            }
            unit = (unit << 6) | (*q & 0x3F);
        }
        out.push_back(valid ? static_cast<wchar_t>(unit) : replacement);
        p = q;
    }
}

void encode_utf8_strict(const wchar_t* s, std::size_t n, std::string& out) {
    const std::size_t start = out.size();
    out.resize(start + 4 * n);
    char* p = out.data() + start;
    for (std::size_t i = 0; i < n; ++i) {
        auto u = static_cast<std::uint32_t>(s[i]);
        p = encode_unit(p, u >= 0xD800 && u <= 0xDFFF ? replacement : u);
    }
    out.resize(static_cast<std::size_t>(p - out.data()));
}

} // namespace qel::detail
