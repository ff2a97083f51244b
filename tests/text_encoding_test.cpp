// Text encodings: the packed encoding word, conversions between narrow and wide text under
// each character set and code page, and the transliteration of Cyrillic text to ASCII.
#include "test_support.h"

#include <qel/text_encoding.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string>

namespace {

using qel_test::bytes;

using qel_test::units;

using qel::text_encoding;

constexpr bool whole_code_points = sizeof(wchar_t) == 4;

text_encoding codepage(unsigned short cp) {
    return text_encoding(qel::cs_codepage, cp, 0);
}

const text_encoding utf8(qel::cs_utf8);

// The conversions clear their output first: start from junk to see that.
std::wstring wide(const std::string& s, const text_encoding& enc) {
    std::wstring out = L"junk";
    qel::char_to_wide(s.data(), s.size(), out, enc);
    return out;
}

std::string narrow(const std::wstring& s, const text_encoding& enc) {
    std::string out = "junk";
    qel::wide_to_char(s.data(), s.size(), out, enc);
    return out;
}

// Bytes 0x80-0xFF of the code pages (0x00-0x7F are ASCII in all three); 0 marks a byte the
// code page leaves undefined.
constexpr std::array<std::uint16_t, 128> cp1251_high = {
    0x0402, 0x0403, 0x201A, 0x0453, 0x201E, 0x2026, 0x2020, 0x2021, 0x20AC, 0x2030, 0x0409, 0x2039,
    0x040A, 0x040C, 0x040B, 0x040F, 0x0452, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0,      0x2122, 0x0459, 0x203A, 0x045A, 0x045C, 0x045B, 0x045F, 0x00A0, 0x040E, 0x045E, 0x0408,
    0x00A4, 0x0490, 0x00A6, 0x00A7, 0x0401, 0x00A9, 0x0404, 0x00AB, 0x00AC, 0x00AD, 0x00AE, 0x0407,
    0x00B0, 0x00B1, 0x0406, 0x0456, 0x0491, 0x00B5, 0x00B6, 0x00B7, 0x0451, 0x2116, 0x0454, 0x00BB,
    0x0458, 0x0405, 0x0455, 0x0457, 0x0410, 0x0411, 0x0412, 0x0413, 0x0414, 0x0415, 0x0416, 0x0417,
    0x0418, 0x0419, 0x041A, 0x041B, 0x041C, 0x041D, 0x041E, 0x041F, 0x0420, 0x0421, 0x0422, 0x0423,
    0x0424, 0x0425, 0x0426, 0x0427, 0x0428, 0x0429, 0x042A, 0x042B, 0x042C, 0x042D, 0x042E, 0x042F,
    0x0430, 0x0431, 0x0432, 0x0433, 0x0434, 0x0435, 0x0436, 0x0437, 0x0438, 0x0439, 0x043A, 0x043B,
    0x043C, 0x043D, 0x043E, 0x043F, 0x0440, 0x0441, 0x0442, 0x0443, 0x0444, 0x0445, 0x0446, 0x0447,
    0x0448, 0x0449, 0x044A, 0x044B, 0x044C, 0x044D, 0x044E, 0x044F};

constexpr std::array<std::uint16_t, 128> cp866_high = {
    0x0410, 0x0411, 0x0412, 0x0413, 0x0414, 0x0415, 0x0416, 0x0417, 0x0418, 0x0419, 0x041A, 0x041B,
    0x041C, 0x041D, 0x041E, 0x041F, 0x0420, 0x0421, 0x0422, 0x0423, 0x0424, 0x0425, 0x0426, 0x0427,
    0x0428, 0x0429, 0x042A, 0x042B, 0x042C, 0x042D, 0x042E, 0x042F, 0x0430, 0x0431, 0x0432, 0x0433,
    0x0434, 0x0435, 0x0436, 0x0437, 0x0438, 0x0439, 0x043A, 0x043B, 0x043C, 0x043D, 0x043E, 0x043F,
    0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562, 0x2556, 0x2555, 0x2563, 0x2551, 0x2557,
    0x255D, 0x255C, 0x255B, 0x2510, 0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F,
    0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x2567, 0x2568, 0x2564, 0x2565, 0x2559,
    0x2558, 0x2552, 0x2553, 0x256B, 0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580,
    0x0440, 0x0441, 0x0442, 0x0443, 0x0444, 0x0445, 0x0446, 0x0447, 0x0448, 0x0449, 0x044A, 0x044B,
    0x044C, 0x044D, 0x044E, 0x044F, 0x0401, 0x0451, 0x0404, 0x0454, 0x0407, 0x0457, 0x040E, 0x045E,
    0x00B0, 0x2219, 0x00B7, 0x221A, 0x2116, 0x00A4, 0x25A0, 0x00A0};

// Code page 1252 is Latin-1 from 0xA0 up; only 0x80-0x9F differ.
std::array<std::uint16_t, 128> cp1252_high() {
    std::array<std::uint16_t, 128> t = {
        0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};
    for (unsigned b = 0xA0; b <= 0xFF; ++b)
        t[b - 0x80] = static_cast<std::uint16_t>(b);
    return t;
}

// The unit of byte `b`. A byte the code page leaves undefined gives the unit of the same value
// on both targets, and that unit converts back to the byte: Windows's tables map such bytes to
// the C1 controls both ways, and the library has to do the same on Linux, where iconv has no
// mapping for them.
wchar_t expected_unit(const std::array<std::uint16_t, 128>& high, unsigned b) {
    if (b < 0x80 || high[b - 0x80] == 0)
        return static_cast<wchar_t>(b);
    return static_cast<wchar_t>(high[b - 0x80]);
}

// UTF-8 itself is tested in utf8_test.cpp; here only how the conversions reach it.
TEST(Utf8Conversion, LengthBoundedAndNulTerminatedForms) {
    EXPECT_EQ(wide(std::string("A\0\xC3\xA9", 4), utf8), units({0x41, 0, 0xE9}));
    EXPECT_EQ(narrow(std::wstring(L"a\0\x20AC", 3), utf8), bytes({0x61, 0, 0xE2, 0x82, 0xAC}));
    std::wstring w = L"junk";
    qel::char_to_wide("ab\0cd", w, utf8);
    EXPECT_EQ(w, L"ab");
    qel::char_to_wide(static_cast<const char*>(nullptr), w, utf8);
    EXPECT_EQ(w, L"");
    std::string n = "junk";
    qel::wide_to_char(L"ab\0cd", n, utf8);
    EXPECT_EQ(n, "ab");
    qel::wide_to_char(static_cast<const wchar_t*>(nullptr), n, utf8);
    EXPECT_EQ(n, "");
    // Flags do not take part in conversions.
    EXPECT_EQ(wide("\xC3\xA9", text_encoding(qel::cs_utf8, 0, 0x300)), units({0xE9}));
}

TEST(CodepageConversion, EveryByteMatchesTheTable) {
    struct page {
        unsigned short number;
        std::array<std::uint16_t, 128> high;
    };
    for (const page& p :
         {page{1251, cp1251_high}, page{866, cp866_high}, page{1252, cp1252_high()}}) {
        const text_encoding enc = codepage(p.number);
        std::string all_bytes;
        std::wstring all_units;
        for (unsigned b = 0; b < 256; ++b) {
            all_bytes.push_back(static_cast<char>(b));
            all_units.push_back(expected_unit(p.high, b));
        }
        // 256 units take the long path; each byte alone the single-character form.
        EXPECT_EQ(wide(all_bytes, enc), all_units) << p.number;
        const std::string back = narrow(all_units, enc);
        ASSERT_EQ(back.size(), 256u) << p.number;
        for (unsigned b = 0; b < 256; ++b) {
            EXPECT_EQ(back[b], static_cast<char>(b)) << p.number << " unit of byte " << b;
            EXPECT_EQ(qel::char_to_wide(static_cast<char>(b), enc), all_units[b])
                << p.number << " byte " << b;
            EXPECT_EQ(qel::wide_to_char(all_units[b], enc), static_cast<char>(b))
                << p.number << " unit of byte " << b;
        }
    }
}

TEST(CodepageConversion, ShortAndLongInputsAgree) {
    const text_encoding cp1251 = codepage(1251);
    const std::string cyrillic = "\xCF\xF0\xE8\xE2\xE5\xF2, \xEC\xE8\xF0"; // 10 bytes
    const std::wstring cyrillic_wide = L"\u041F\u0440\u0438\u0432\u0435\u0442, \u043C\u0438\u0440";
    EXPECT_EQ(wide(cyrillic, cp1251), cyrillic_wide);
    for (std::size_t repeat : {25u, 26u, 30u, 100u}) { // 250, 260, 300 and 1000 bytes
        std::string text;
        std::wstring expected;
        for (std::size_t i = 0; i < repeat; ++i) {
            text += cyrillic;
            expected += cyrillic_wide;
        }
        EXPECT_EQ(wide(text, cp1251), expected) << repeat;
        EXPECT_EQ(narrow(expected, cp1251), text) << repeat;
    }
    // Around the 255-unit buffer, with results three times longer than the input.
    const text_encoding cp65001 = codepage(65001);
    for (std::size_t n : {1u, 84u, 85u, 86u, 254u, 255u, 256u, 700u}) {
        std::wstring euros(n, static_cast<wchar_t>(0x20AC));
        std::string encoded;
        for (std::size_t i = 0; i < n; ++i)
            encoded += "\xE2\x82\xAC";
        EXPECT_EQ(narrow(euros, cp65001), encoded) << n;
        EXPECT_EQ(wide(encoded, cp65001), euros) << n;
    }
}

TEST(CodepageConversion, UnmappableUnitsAndFlags) {
    // A unit without a mapping becomes the code page's default character.
    EXPECT_EQ(narrow(units({0x41, 0x4E00, 0x42}), codepage(1251)), "A?B");
    EXPECT_EQ(qel::wide_to_char(static_cast<wchar_t>(0x4E00), codepage(866)), '?');
    EXPECT_EQ(wide("\xC0", text_encoding(qel::cs_codepage, 1251, 0x300)), units({0x410}));
    // Code page 65001 replaces invalid input by U+FFFD and fails nothing.
    EXPECT_EQ(wide("a\xC3", codepage(65001)), units({0x61, 0xFFFD}));
}

TEST(CodepageConversion, PagesConvertAsWindowsTablesDo) {
    enum { reads = 1, writes = 2, both = 3 };
    struct row {
        unsigned short page;
        std::string narrow;
        std::wstring wide;
        int ways;
    };
    const row rows[] = {
        // No character waits for a combining mark, and none is composed with one.
        {1255, "a\xE0", units({0x61, 0x5D0}), both},
        {1255, "\xE9\xC4", units({0x5D9, 0x5B4}), both},
        {1258, bytes({0x41, 0xDE, 0x41, 0x81}), units({0x41, 0x303, 0x41, 0x81}), both},
        // A lone lead byte, or one whose pair means nothing, is the default character.
        {932, "A\x81", units({0x41, 0x30FB}), reads},
        {932, "\x85@B", units({0x30FB, 0x42}), reads},
        {936, "A\x81", L"A?", reads},
        {949, "\xA2\xE8", L"?", reads},
        {949, bytes({0x41, 0xA2, 0xE8, 0x42}), L"A?B", reads},
        // Private-use characters where Windows has one and iconv nothing.
        {932, "\xA0\xFD\xFE\xFF", units({0xF8F0, 0xF8F1, 0xF8F2, 0xF8F3}), both},
        {936, "\xA2\xE3\xAA\xA1", units({0xE76C, 0xE000}), both},
        {950, "\x81\x40\xFF", units({0xEEB8, 0xF8F8}), both},
        {1253, "\xAA", units({0xF8F9}), both},
        // Look-alikes that 950 writes for characters it lacks.
        {950, "\xA2\x46\xA2\x47\xA2\x44\xA1\x45\xA1\xF3\xA1\xF2\xA1\x4E",
         units({0xA2, 0xA3, 0xA5, 0x2022, 0x2609, 0x2641, 0xFF64}), writes},
    };
    for (const row& r : rows) {
        if (r.ways & reads) {
            EXPECT_EQ(wide(r.narrow, codepage(r.page)), r.wide) << r.page << ' ' << r.narrow;
        }
        if (r.ways & writes) {
            EXPECT_EQ(narrow(r.wide, codepage(r.page)), r.narrow) << r.page;
        }
    }
    // One byte alone: a lead byte has no pair to make; a character of two bytes does not fit.
    EXPECT_EQ(qel::char_to_wide('\x81', codepage(932)), static_cast<wchar_t>(0x30FB));
    EXPECT_EQ(qel::char_to_wide('\x81', codepage(949)), L'?');
    EXPECT_EQ(qel::char_to_wide('\xE9', codepage(1255)), static_cast<wchar_t>(0x5D9));
    EXPECT_EQ(qel::wide_to_char(static_cast<wchar_t>(0xF8F0), codepage(932)), '\xA0');
    EXPECT_EQ(qel::wide_to_char(static_cast<wchar_t>(0xA2), codepage(950)), '\0');
}

TEST(CharsetConversion, Utf16AndUnknownCharsetsAndCodepagesGiveNothing) {
    for (const text_encoding& enc : {text_encoding(4u), text_encoding(5u), text_encoding(7u),
                                     text_encoding(0xFFu), codepage(7)}) {
        const unsigned cs = enc.get();
        EXPECT_EQ(wide("abc", enc), L"") << cs;
        EXPECT_EQ(wide(std::string(300, 'a'), enc), L"") << cs;
        EXPECT_EQ(narrow(units({0x20AC}), enc), "") << cs;
        EXPECT_EQ(qel::char_to_wide('a', enc), L'\0') << cs;
        EXPECT_EQ(qel::wide_to_char(L'a', enc), '\0') << cs;
    }
    // Single characters are never converted under UTF-8.
    EXPECT_EQ(qel::char_to_wide('A', utf8), L'\0');
    EXPECT_EQ(qel::wide_to_char(L'A', utf8), '\0');
    EXPECT_EQ(qel::char_to_wide('A', text_encoding(qel::cs_ansi)), L'A');
    EXPECT_EQ(qel::wide_to_char(L'A', text_encoding(qel::cs_ansi)), 'A');
    // An empty input clears the output.
    EXPECT_EQ(wide("", codepage(1251)), L"");
    EXPECT_EQ(narrow(L"", utf8), "");
}

TEST(CharToChar, ConvertsThroughWideText) {
    std::string out = "junk";
    qel::char_to_char("\xC0", out, codepage(1251), utf8);
    EXPECT_EQ(out, bytes({0xD0, 0x90}));
    // "Привет" from code page 866 to 1251.
    qel::char_to_char(std::string("\x8F\xE0\xA8\xA2\xA5\xE2"), out, codepage(866), codepage(1251));
    EXPECT_EQ(out, "\xCF\xF0\xE8\xE2\xE5\xF2");
    qel::char_to_char("\xE4\xB8\x80\x61", 4, out, utf8, codepage(1251));
    EXPECT_EQ(out, "?a");
    qel::char_to_char("a\0b", 3, out, utf8, codepage(1251));
    EXPECT_EQ(out, std::string("a\0b", 3));
    qel::char_to_char("a\0b", out, utf8, codepage(1251));
    EXPECT_EQ(out, "a");
    qel::char_to_char(static_cast<const char*>(nullptr), out, utf8, utf8);
    EXPECT_EQ(out, "");
    // Either side without a narrow conversion gives nothing.
    for (const auto& [from, to] : {std::pair{text_encoding(qel::cs_utf16le), utf8},
                                   std::pair{utf8, text_encoding(qel::cs_utf16be)},
                                   std::pair{codepage(1251), codepage(7)}}) {
        out = "junk";
        qel::char_to_char(std::string("abc"), out, from, to);
        EXPECT_EQ(out, "");
    }
}

// Cyrillic letters U+0410-U+044F in order, then Ё and ё.
const char* const upper_latin[32] = {"A", "B",  "V",  "G",    "D",  "E", "ZH", "Z", "I",  "Y", "K",
                                     "L", "M",  "N",  "O",    "P",  "R", "S",  "T", "U",  "F", "H",
                                     "C", "CH", "SH", "SHCH", "''", "y", "'",  "E", "YU", "YA"};
const char* const lower_latin[32] = {"a", "b",  "v",  "g",    "d",  "e", "zh", "z", "i",  "y", "k",
                                     "l", "m",  "n",  "o",    "p",  "r", "s",  "t", "u",  "f", "h",
                                     "c", "ch", "sh", "shch", "''", "y", "'",  "e", "yu", "ya"};

std::string expected_latin(std::uint32_t u) {
    if (u < 0x80)
        return std::string(1, static_cast<char>(u));
    if (u >= 0x410 && u <= 0x42F)
        return upper_latin[u - 0x410];
    if (u >= 0x430 && u <= 0x44F)
        return lower_latin[u - 0x430];
    if (u == 0x401)
        return "Yo";
    if (u == 0x451)
        return "yo";
    return "?";
}

std::wstring widen_ascii(const std::string& s) {
    return std::wstring(s.begin(), s.end());
}

TEST(Transliteration, EveryUnitFollowsTheTable) {
    std::wstring all;
    std::string expected;
    for (std::uint32_t u = 0; u <= 0xFFFF; ++u) {
        all.push_back(static_cast<wchar_t>(u));
        expected += expected_latin(u);
    }
    if constexpr (whole_code_points) {
        for (std::uint32_t u : {0x10000u, 0x1F600u, 0x10FFFFu}) {
            all.push_back(static_cast<wchar_t>(u));
            expected += '?';
        }
    }
    const std::wstring result = qel::transliterate(all);
    EXPECT_EQ(result, widen_ascii(expected));
    EXPECT_EQ(qel::transliterate_wide_to_char(all), expected);
    for (wchar_t c : result)
        ASSERT_LT(static_cast<std::uint32_t>(c), 128u);
}

} // namespace
