// Code pages as Windows converts them, with their tables taken from glibc's iconv; 65001 (UTF-8)
// goes to the strict codec beside the library's own, which converts it the way Windows does.
#include "platform/codepage.h"

#include "core/utf8.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <iconv.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace qel::platform {
namespace {

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

// Single- and double-byte code pages are read and written through tables, built once per code
// page from iconv one byte or one lead-trail pair at a time, and used the way Windows uses its
// own: a lead byte takes the next byte as its trail unless that is a NUL, and an invalid pair, a
// lone lead byte or a character without bytes becomes the default character instead of an
// error. Read alone, no character waits for a combining mark, so 1255 and 1258 stay uncomposed
// as on Windows; and where glibc's tables and Windows's differ they are patched below.

// Bytes glibc leaves undefined or reads otherwise, as Windows maps them: mostly to private-use
// characters.
struct byte_run {
    unsigned short codepage;
    unsigned char first, last;
    char16_t unit; // of `first`, counting up
};

constexpr byte_run windows_bytes[] = {
    {857, 0xD5, 0xD5, 0xF8BB},  {857, 0xE7, 0xE7, 0xF8BC},  {857, 0xF2, 0xF2, 0xF8BD},
    {864, 0x25, 0x25, 0x0025},  {864, 0xA6, 0xA7, 0xF8BE},  {864, 0xFF, 0xFF, 0xF8C0},
    {874, 0xDB, 0xDE, 0xF8C1},  {874, 0xFC, 0xFF, 0xF8C5},  {932, 0xA0, 0xA0, 0xF8F0},
    {932, 0xFD, 0xFF, 0xF8F1},  {936, 0xFF, 0xFF, 0xF8F5},  {949, 0xFF, 0xFF, 0xF8F7},
    {950, 0xFF, 0xFF, 0xF8F8},  {1253, 0xAA, 0xAA, 0xF8F9}, {1253, 0xD2, 0xD2, 0xF8FA},
    {1253, 0xFF, 0xFF, 0xF8FB}, {1255, 0xCA, 0xCA, 0x05BA}, {1255, 0xD9, 0xDF, 0xF88D},
    {1255, 0xFB, 0xFC, 0xF894}, {1255, 0xFF, 0xFF, 0xF896}, {1257, 0xA1, 0xA1, 0xF8FC},
    {1257, 0xA5, 0xA5, 0xF8FD},
};

// Pairs glibc leaves undefined and Windows maps to private-use characters, counting up through
// each lead's trail bytes in order: the user-defined areas, and in 936 what GBK leaves over.
struct pair_run {
    unsigned short codepage;
    unsigned char first_lead, last_lead;
    unsigned char trails[2][2]; // up to two ranges of trail bytes
    char16_t unit;
};

constexpr pair_run windows_pairs[] = {
    {936, 0xAA, 0xAF, {{0xA1, 0xFE}, {}}, 0xE000},
    {936, 0xF8, 0xFE, {{0xA1, 0xFE}, {}}, 0xE234},
    {936, 0xA1, 0xA7, {{0x40, 0x7E}, {0x80, 0xA0}}, 0xE4C6},
    {936, 0x81, 0xFE, {{0x40, 0x7E}, {0x80, 0xFE}}, 0xE766},
    {949, 0xC9, 0xC9, {{0xA1, 0xFE}, {}}, 0xE000},
    {949, 0xFE, 0xFE, {{0xA1, 0xFE}, {}}, 0xE05E},
    {950, 0x81, 0x8D, {{0x40, 0x7E}, {0xA1, 0xFE}}, 0xEEB8},
    {950, 0x8E, 0xA0, {{0x40, 0x7E}, {0xA1, 0xFE}}, 0xE311},
    {950, 0xFA, 0xFE, {{0x40, 0x7E}, {0xA1, 0xFE}}, 0xE000},
};

// Characters Windows writes otherwise than glibc: look-alikes glibc has no bytes for, and box
// drawings with two codes, where Windows takes the other one.
struct written_as {
    unsigned short codepage;
    char16_t unit;
    std::uint16_t code;
};

constexpr written_as windows_codes[] = {
    {950, 0x00A2, 0xA246}, {950, 0x00A3, 0xA247}, {950, 0x00A5, 0xA244}, {950, 0x2022, 0xA145},
    {950, 0x2609, 0xA1F3}, {950, 0x2641, 0xA1F2}, {950, 0xFF64, 0xA14E}, {950, 0x2550, 0xF9F9},
    {950, 0x255E, 0xF9E9}, {950, 0x2561, 0xF9EB}, {950, 0x256A, 0xF9EA},
};

enum class reading { unit, invalid, incomplete };

// One byte or pair read from iconv's initial state to its end.
reading read_alone(iconv_t cd, const char* bytes, std::size_t n, char16_t& unit) {
    ::iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(bytes);
    std::size_t in_left = n;
    std::array<wchar_t, 4> units{};
    char* to = reinterpret_cast<char*>(units.data());
    std::size_t to_left = sizeof units;
    if (::iconv(cd, &in, &in_left, &to, &to_left) == static_cast<std::size_t>(-1))
        return errno == EINVAL ? reading::incomplete : reading::invalid;
    // Decoders that wait for a combining mark give the character on the flush. Anything but one
    // unit counts as invalid: 949's A2 E8, for one, reads as nothing.
    if (::iconv(cd, nullptr, nullptr, &to, &to_left) == static_cast<std::size_t>(-1) ||
        to_left != sizeof units - sizeof(wchar_t) || static_cast<std::uint32_t>(units[0]) > 0xFFFF)
        return reading::invalid;
    unit = static_cast<char16_t>(units[0]);
    return reading::unit;
}

class codepage_table {
public:
    // Null for a code page iconv does not know.
    static const codepage_table* find(unsigned int codepage);

    void read(const char* s, std::size_t n, std::wstring& out) const {
        auto p = reinterpret_cast<const unsigned char*>(s);
        const auto end = p + n;
        out.reserve(n);
        while (p < end) {
            unsigned char b = *p++;
            if (!lead_[b]) {
                out.push_back(single_[b]);
            } else if (p == end || *p == 0) { // no trail: the NUL is read on its own
                out.push_back(default_unit_);
            } else {
                char16_t unit = pairs_[std::size_t{b} << 8 | *p++];
                out.push_back(unit ? unit : default_unit_);
            }
        }
    }

    void write(const wchar_t* s, std::size_t n, std::string& out) const {
        out.reserve(n);
        for (std::size_t i = 0; i < n; ++i) {
            auto unit = static_cast<std::uint32_t>(s[i]);
            std::uint16_t code = unit < codes_.size() ? codes_[unit] : 0;
            if (code == 0 && unit != 0)
                out.push_back('?');
            else if (code > 0xFF)
                out.append({static_cast<char>(code >> 8), static_cast<char>(code & 0xFF)});
            else
                out.push_back(static_cast<char>(code));
        }
    }

private:
    static std::unique_ptr<codepage_table> build(unsigned int codepage);
    void fill_codes(iconv_t writer);
    void add_lead(unsigned char b) {
        lead_[b] = true;
        pairs_.resize(0x10000);
    }
    char16_t unit_of(unsigned code) const {
        return code <= 0xFF ? (lead_[code] ? 0 : single_[code])
                            : (lead_[code >> 8] ? pairs_[code] : 0);
    }

    std::array<char16_t, 256> single_{};
    std::array<bool, 256> lead_{};
    std::vector<char16_t> pairs_;      // by lead << 8 | trail; 0 for none
    std::vector<std::uint16_t> codes_; // by unit: a byte or lead << 8 | trail; 0 for none
    wchar_t default_unit_ = L'?';
};

std::unique_ptr<codepage_table> codepage_table::build(unsigned int codepage) {
    const std::string name = iconv_name(codepage);
    converter reader("WCHAR_T", name.c_str());
    converter writer(name.c_str(), "WCHAR_T");
    if (!reader.valid() || !writer.valid())
        return nullptr;
    auto t = std::make_unique<codepage_table>();
    for (unsigned b = 0; b < 256; ++b) {
        const char byte = static_cast<char>(b);
        switch (read_alone(reader.get(), &byte, 1, t->single_[b])) {
        case reading::unit:
            break;
        // A byte the code page leaves undefined reads as the unit of the same value, as
        // Windows maps the undefined bytes of its tables.
        case reading::invalid:
            t->single_[b] = static_cast<char16_t>(b);
            break;
        case reading::incomplete:
            t->add_lead(static_cast<unsigned char>(b));
            break;
        }
    }
    for (const byte_run& r : windows_bytes)
        for (unsigned b = r.first; r.codepage == codepage && b <= r.last; ++b)
            t->single_[b] = static_cast<char16_t>(r.unit + (b - r.first));
    for (unsigned lead = 0x80; lead < 256; ++lead) {
        for (unsigned trail = 1; t->lead_[lead] && trail < 256; ++trail) {
            const char pair[2] = {static_cast<char>(lead), static_cast<char>(trail)};
            char16_t unit = 0;
            if (read_alone(reader.get(), pair, 2, unit) == reading::unit)
                t->pairs_[lead << 8 | trail] = unit;
        }
    }
    for (const pair_run& r : windows_pairs) {
        if (r.codepage != codepage)
            continue;
        char16_t unit = r.unit;
        for (unsigned lead = r.first_lead; lead <= r.last_lead; ++lead) {
            t->add_lead(static_cast<unsigned char>(lead));
            for (const auto& range : r.trails)
                for (unsigned trail = range[0]; range[1] != 0 && trail <= range[1]; ++trail)
                    if (t->pairs_[lead << 8 | trail] == 0)
                        t->pairs_[lead << 8 | trail] = unit++;
        }
    }
    // Windows reads what 932 cannot as the katakana middle dot.
    if (codepage == 932)
        t->default_unit_ = 0x30FB;
    t->fill_codes(writer.get());
    for (const written_as& w : windows_codes)
        if (w.codepage == codepage)
            t->codes_[w.unit] = w.code;
    return t;
}

// Writing: each character's lowest code, or, where several codes read as it, the one iconv
// writes.
void codepage_table::fill_codes(iconv_t writer) {
    codes_.assign(0x10000, 0);
    std::vector<bool> several(0x10000);
    for (unsigned code = 1; code < 0x10000; ++code) {
        char16_t unit = unit_of(code);
        if (unit == 0)
            continue;
        if (codes_[unit] == 0)
            codes_[unit] = static_cast<std::uint16_t>(code);
        else
            several[unit] = true;
    }
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        if (!several[unit])
            continue;
        ::iconv(writer, nullptr, nullptr, nullptr, nullptr);
        wchar_t w = static_cast<wchar_t>(unit);
        char* in = reinterpret_cast<char*>(&w);
        std::size_t in_left = sizeof w;
        unsigned char bytes[4];
        char* to = reinterpret_cast<char*>(bytes);
        std::size_t to_left = sizeof bytes;
        if (::iconv(writer, &in, &in_left, &to, &to_left) == static_cast<std::size_t>(-1))
            continue;
        std::size_t written = sizeof bytes - to_left;
        unsigned code = written == 1   ? unsigned{bytes[0]}
                        : written == 2 ? (unsigned{bytes[0]} << 8 | bytes[1])
                                       : 0u;
        if (code != 0 && unit_of(code) == unit)
            codes_[unit] = static_cast<std::uint16_t>(code);
    }
}

const codepage_table* codepage_table::find(unsigned int codepage) {
    // Never destroyed: conversions may still run in the destructors of other statics.
    static auto& mutex = *new std::mutex;
    static auto& tables = *new std::map<unsigned int, std::unique_ptr<codepage_table>>;
    std::lock_guard<std::mutex> lock(mutex);
    auto [it, added] = tables.try_emplace(codepage);
    if (added)
        it->second = build(codepage);
    return it->second.get();
}

} // namespace

bool multibyte_to_wide(unsigned int codepage, const char* s, std::size_t n, std::wstring& out) {
    out.clear();
    codepage = resolve(codepage);
    if (codepage == utf8_codepage) {
        detail::decode_utf8_strict(s, n, out);
        return true;
    }
    const codepage_table* table = codepage_table::find(codepage);
    if (!table)
        return false;
    table->read(s, n, out);
    return true;
}

bool wide_to_multibyte(unsigned int codepage, const wchar_t* s, std::size_t n, std::string& out) {
    out.clear();
    codepage = resolve(codepage);
    if (codepage == utf8_codepage) {
        detail::encode_utf8_strict(s, n, out);
        return true;
    }
    const codepage_table* table = codepage_table::find(codepage);
    if (!table)
        return false;
    table->write(s, n, out);
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
        unsigned unit = p[2 * i] | (unsigned{p[2 * i + 1]} << 8);
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
