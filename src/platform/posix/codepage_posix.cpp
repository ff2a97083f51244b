// Code pages through glibc's iconv; 65001 (UTF-8) decoded here the way Windows does it:
// invalid sequences become U+FFFD and nothing fails.
#include "platform/codepage.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <string>

namespace qel::platform {
namespace {

constexpr wchar_t replacement = 0xFFFD;

unsigned int codepage_from_environment(const char* variable) {
    const char* text = std::getenv(variable);
    if (!text || !*text)
        return utf8_codepage;
    char* end = nullptr;
    unsigned long value = std::strtoul(text, &end, 10);
    return (*end == '\0' && value > 1 && value < 65536) ? static_cast<unsigned int>(value)
                                                        : utf8_codepage;
}

// ANSI and OEM code pages are UTF-8 unless the environment names others; read once.
unsigned int resolve(unsigned int codepage) {
    static const unsigned int ansi = codepage_from_environment("QEL_ANSI_CODEPAGE");
    static const unsigned int oem = codepage_from_environment("QEL_OEM_CODEPAGE");
    if (codepage == ansi_codepage)
        return ansi;
    if (codepage == oem_codepage)
        return oem;
    return codepage;
}

std::string iconv_name(unsigned int codepage) {
    if (codepage >= 28591 && codepage <= 28599)
        return "ISO-8859-" + std::to_string(codepage - 28590);
    switch (codepage) {
    case 20127:
        return "ASCII";
    case 20866:
        return "KOI8-R";
    case 21866:
        return "KOI8-U";
    default:
        return "CP" + std::to_string(codepage);
    }
}

// An iconv descriptor, closed on every way out.
class converter {
public:
    converter(const char* to, const char* from) : cd_(::iconv_open(to, from)) {}
    converter(const converter&) = delete;
    converter& operator=(const converter&) = delete;
    ~converter() {
        if (valid())
            ::iconv_close(cd_);
    }
    bool valid() const { return cd_ != reinterpret_cast<iconv_t>(-1); }
    iconv_t get() const { return cd_; }

private:
    iconv_t cd_;
};

bool is_continuation(unsigned char b) {
    return (b & 0xC0) == 0x80;
}

// Strict UTF-8 with each maximal invalid part replaced by U+FFFD.
void decode_utf8(const char* s, std::size_t n, std::wstring& out) {
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

void encode_utf8(const wchar_t* s, std::size_t n, std::string& out) {
    out.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        auto u = static_cast<std::uint32_t>(s[i]);
        if ((u >= 0xD800 && u <= 0xDFFF) || u > 0x10FFFF)
            u = replacement;
        if (u < 0x80) {
            out.push_back(static_cast<char>(u));
        } else if (u < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (u >> 6)));
            out.push_back(static_cast<char>(0x80 | (u & 0x3F)));
        } else if (u < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (u >> 12)));
            out.push_back(static_cast<char>(0x80 | ((u >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (u & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (u >> 18)));
            out.push_back(static_cast<char>(0x80 | ((u >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((u >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (u & 0x3F)));
        }
    }
}

// A unit from 0x80 to 0xFF whose byte the code page leaves undefined: reading passes such a
// byte as the unit of the same value, and writing gives the byte back.
bool is_undefined_byte(unsigned int codepage, wchar_t unit) {
    if (unit < 0x80 || unit > 0xFF)
        return false;
    converter cd("WCHAR_T", iconv_name(codepage).c_str());
    char byte = static_cast<char>(unit);
    char* in = &byte;
    std::size_t in_left = 1;
    wchar_t decoded;
    char* to = reinterpret_cast<char*>(&decoded);
    std::size_t to_left = sizeof decoded;
    return cd.valid() &&
           ::iconv(cd.get(), &in, &in_left, &to, &to_left) == static_cast<std::size_t>(-1) &&
           errno == EILSEQ;
}

} // namespace

bool multibyte_to_wide(unsigned int codepage, const char* s, std::size_t n, std::wstring& out) {
    out.clear();
    codepage = resolve(codepage);
    if (codepage == utf8_codepage) {
        decode_utf8(s, n, out);
        return true;
    }
    converter cd("WCHAR_T", iconv_name(codepage).c_str());
    if (!cd.valid())
        return false;
    // Single- and double-byte code pages never give more units than bytes.
    out.resize(n);
    char* in = const_cast<char*>(s);
    std::size_t in_left = n;
    char* to = reinterpret_cast<char*>(out.data());
    std::size_t to_left = n * sizeof(wchar_t);
    while (in_left > 0) {
        if (::iconv(cd.get(), &in, &in_left, &to, &to_left) != static_cast<std::size_t>(-1))
            break;
        if (errno != EILSEQ && errno != EINVAL) {
            out.clear();
            return false;
        }
        // A byte the code page leaves undefined passes as the unit of the same value, as
        // Windows maps them.
        wchar_t unit = static_cast<unsigned char>(*in);
        std::memcpy(to, &unit, sizeof unit);
        to += sizeof unit;
        to_left -= sizeof unit;
        ++in;
        --in_left;
    }
    // Some decoders hold the last character back in case a combining mark follows.
    if (::iconv(cd.get(), nullptr, nullptr, &to, &to_left) == static_cast<std::size_t>(-1)) {
        out.clear();
        return false;
    }
    out.resize(n - to_left / sizeof(wchar_t));
    return true;
}

bool wide_to_multibyte(unsigned int codepage, const wchar_t* s, std::size_t n, std::string& out) {
    out.clear();
    codepage = resolve(codepage);
    if (codepage == utf8_codepage) {
        encode_utf8(s, n, out);
        return true;
    }
    converter cd(iconv_name(codepage).c_str(), "WCHAR_T");
    if (!cd.valid())
        return false;
    std::array<char, 4096> chunk;
    char* in = reinterpret_cast<char*>(const_cast<wchar_t*>(s));
    std::size_t in_left = n * sizeof(wchar_t);
    while (in_left > 0) {
        char* to = chunk.data();
        std::size_t to_left = chunk.size();
        std::size_t result = ::iconv(cd.get(), &in, &in_left, &to, &to_left);
        out.append(chunk.data(), chunk.size() - to_left);
        if (result != static_cast<std::size_t>(-1) || errno == E2BIG)
            continue;
        if (errno != EILSEQ) {
            out.clear();
            return false;
        }
        // A unit the code page cannot show becomes its default character, as on Windows;
        // units standing for undefined bytes go back to those bytes.
        wchar_t unit;
        std::memcpy(&unit, in, sizeof unit);
        out.push_back(is_undefined_byte(codepage, unit) ? static_cast<char>(unit) : '?');
        in += sizeof(wchar_t);
        in_left -= sizeof(wchar_t);
    }
    // Stateful code pages end with their shift back to the initial state.
    char* to = chunk.data();
    std::size_t to_left = chunk.size();
    if (::iconv(cd.get(), nullptr, nullptr, &to, &to_left) == static_cast<std::size_t>(-1)) {
        out.clear();
        return false;
    }
    out.append(chunk.data(), chunk.size() - to_left);
    return true;
}

namespace {

// Printable ASCII, tab and line ends only: what eight-bit text is made of, and what UTF-16
// text never is (Latin UTF-16 has zero high bytes, other scripts high bytes from 0x80 up or
// low bytes outside that set).
bool all_eight_bit_text(const unsigned char* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        unsigned char b = bytes[i];
        if (!(b == '\t' || b == '\n' || b == '\r' || (b >= 0x20 && b < 0x7F)))
            return false;
    }
    return true;
}

} // namespace

bool looks_like_utf16le(const char* bytes, std::size_t size) {
    // Unmarked UTF-16 LE text: whole units, no U+0000 or U+FFFF, one high byte (0 for Latin
    // text, 4 for Cyrillic, ...) in more than half of the units, and more variety in the low
    // bytes than in the high ones. Eight-bit text fails the last two: its odd bytes are
    // letters as varied as its even ones.
    if (size < 2 || size % 2 != 0)
        return false;
    std::array<std::size_t, 256> high_bytes{};
    std::array<bool, 256> low_seen{};
    const std::size_t units = size / 2;
    auto p = reinterpret_cast<const unsigned char*>(bytes);
    for (std::size_t i = 0; i < units; ++i) {
        unsigned unit = p[2 * i] | (p[2 * i + 1] << 8);
        if (unit == 0 || unit == 0xFFFF)
            return false;
        ++high_bytes[p[2 * i + 1]];
        low_seen[p[2 * i]] = true;
    }
    std::size_t most = 0, distinct_high = 0, distinct_low = 0;
    for (std::size_t b = 0; b < 256; ++b) {
        most = high_bytes[b] > most ? high_bytes[b] : most;
        distinct_high += high_bytes[b] != 0;
        distinct_low += low_seen[b];
    }
    return most * 2 > units && distinct_low > distinct_high && !all_eight_bit_text(p, size);
}

} // namespace qel::platform
