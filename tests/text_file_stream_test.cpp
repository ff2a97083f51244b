// Text file streams: signatures and line ends written byte for byte, character-set detection,
// the line, character and whole-text readers of each character set, flags and open failures.
#include "test_support.h"

#include <qel/stream.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace {

using qel_test::bytes;

using qel_test::units;

using qel::E_CharSet;
using qel::file_stream_mode;
using qel::text_encoding;
using qel::text_file_stream;
using qel_test::read_bytes;
using qel_test::temp_dir;
using qel_test::write_bytes;

constexpr bool whole_code_points = sizeof(wchar_t) == 4;
constexpr unsigned detect = qel::flag_detect_signature;
constexpr unsigned no_signature = qel::flag_no_signature;
const std::string bom = "\xEF\xBB\xBF";

text_encoding enc(E_CharSet cs, unsigned flags = 0) {
    return text_encoding(cs, 0, flags);
}

// ASCII text as UTF-16 bytes (optionally with the signature) or as itself.
std::string utf16(const std::string& ascii, bool big_endian, bool signature = false) {
    std::string out = signature ? (big_endian ? bytes({0xFE, 0xFF}) : bytes({0xFF, 0xFE})) : "";
    for (char c : ascii) {
        out.push_back(big_endian ? '\0' : c);
        out.push_back(big_endian ? c : '\0');
    }
    return out;
}

// The file's bytes after `body` wrote to it through a stream opened with `mode` and `e`.
template <class Body>
std::string written(const temp_dir& dir, const text_encoding& e, Body body,
                    file_stream_mode mode = file_stream_mode::create()) {
    {
        text_file_stream s(dir.wide("out.txt"), mode, e);
        EXPECT_TRUE(s.is_open());
        body(s);
    }
    return read_bytes(dir.path("out.txt"));
}

// Opens `content` for reading with encoding `e`.
text_file_stream reader(const temp_dir& dir, const std::string& content, const text_encoding& e) {
    write_bytes(dir.path("in.txt"), content);
    text_file_stream s(dir.wide("in.txt"), file_stream_mode::read(), e);
    EXPECT_TRUE(s.is_open());
    return s;
}

// Lines as a caller reads them: loop while ok(), accept a line when error() is false.
std::vector<std::wstring> lines_of(text_file_stream& s) {
    std::vector<std::wstring> lines;
    std::wstring line;
    while (s.ok()) {
        s.read_line(line);
        if (!s.error())
            lines.push_back(line);
    }
    return lines;
}

std::wstring chars_of(text_file_stream& s) {
    std::wstring text;
    for (wchar_t c = s.read_char(); c != 0; c = s.read_char())
        text.push_back(c);
    return text;
}

std::wstring solid_of(text_file_stream& s) {
    std::wstring text = L"junk";
    s.read_solid_text(text);
    return text;
}

TEST(TextFileWrite, SignatureAndLineEndOfEachCharset) {
    temp_dir dir;
    auto abc = [](text_file_stream& s) { s.write_line(L"abc"); };
    EXPECT_EQ(written(dir, enc(qel::cs_utf8), abc),
              bytes({0xEF, 0xBB, 0xBF, 0x61, 0x62, 0x63, 0x0D, 0x0A}));
    EXPECT_EQ(written(dir, enc(qel::cs_utf16le), abc),
              bytes({0xFF, 0xFE, 0x61, 0, 0x62, 0, 0x63, 0, 0x0D, 0, 0x0A, 0}));
    EXPECT_EQ(written(dir, enc(qel::cs_utf16be), abc),
              bytes({0xFE, 0xFF, 0, 0x61, 0, 0x62, 0, 0x63, 0, 0x0D, 0, 0x0A}));
    EXPECT_EQ(written(dir, enc(qel::cs_utf8), abc, file_stream_mode::write()),
              bytes({0xEF, 0xBB, 0xBF, 0x61, 0x62, 0x63, 0x0D, 0x0A}));
    for (E_CharSet cs : {qel::cs_default, qel::cs_ansi, qel::cs_oem})
        EXPECT_EQ(written(dir, enc(cs), abc), "abc\r\n") << cs;

    // No signature with flag 0x200, nor when appending (to a new or an existing file).
    EXPECT_EQ(written(dir, enc(qel::cs_utf8, no_signature), abc), "abc\r\n");
    EXPECT_EQ(written(dir, enc(qel::cs_utf16le, no_signature), abc), utf16("abc\r\n", false));
    EXPECT_EQ(written(dir, enc(qel::cs_utf16be, no_signature), abc), utf16("abc\r\n", true));
    std::filesystem::remove(dir.path("out.txt"));
    EXPECT_EQ(written(dir, enc(qel::cs_utf16le), abc, file_stream_mode::append()),
              utf16("abc\r\n", false));
    write_bytes(dir.path("out.txt"), utf16("x\r\n", true, true));
    EXPECT_EQ(written(dir, enc(qel::cs_utf16be), abc, file_stream_mode::append()),
              utf16("x\r\nabc\r\n", true, true));
    write_bytes(dir.path("out.txt"), bom + "x");
    EXPECT_EQ(written(dir, enc(qel::cs_utf8), abc, file_stream_mode::append()), bom + "xabc\r\n");
}

TEST(TextFileWrite, LineEndsAndNullTexts) {
    temp_dir dir;
    auto body = [](text_file_stream& s) {
        s.write_char(L'a');
        s.write_char(L'\n');
        s.write_line(static_cast<const wchar_t*>(nullptr));
        s.write_solid_text(static_cast<const wchar_t*>(nullptr));
        s.write_solid_text(L"b\nc");
        s.write_solid_text(std::wstring());
        s.write_line(std::wstring(L"d"));
        s.write_solid_text(std::wstring(L"e"));
    };
    const std::string text = "a\r\n\r\nb\r\ncd\r\ne";
    EXPECT_EQ(written(dir, enc(qel::cs_ansi), body), text);
    EXPECT_EQ(written(dir, enc(qel::cs_utf8, no_signature), body), text);
    EXPECT_EQ(written(dir, enc(qel::cs_utf16le, no_signature), body), utf16(text, false));
    EXPECT_EQ(written(dir, enc(qel::cs_utf16be), body), utf16(text, true, true));
}

TEST(TextFileWrite, NonAsciiText) {
    temp_dir dir;
    // "Жé€" and a line end.
    auto body = [](text_file_stream& s) { s.write_line(units({0x416, 0xE9, 0x20AC})); };
    EXPECT_EQ(written(dir, enc(qel::cs_utf8, no_signature), body),
              bytes({0xD0, 0x96, 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0x0D, 0x0A}));
    EXPECT_EQ(written(dir, enc(qel::cs_utf16le, no_signature), body),
              bytes({0x16, 0x04, 0xE9, 0x00, 0xAC, 0x20, 0x0D, 0, 0x0A, 0}));
    EXPECT_EQ(written(dir, enc(qel::cs_utf16be, no_signature), body),
              bytes({0x04, 0x16, 0x00, 0xE9, 0x20, 0xAC, 0, 0x0D, 0, 0x0A}));
    auto cafe = [](text_file_stream& s) { s.write_line(units({0x63, 0xE9})); };
#ifdef _WIN32
    EXPECT_EQ(written(dir, enc(qel::cs_ansi), cafe), bytes({0x63, 0xE9, 0x0D, 0x0A})); // 1252
#else
    EXPECT_EQ(written(dir, enc(qel::cs_ansi), cafe), bytes({0x63, 0xC3, 0xA9, 0x0D, 0x0A}));
#endif
}

TEST(TextFileWrite, DetectFlagAdoptsTheExistingFilesCharset) {
    temp_dir dir;
    auto abc = [](text_file_stream& s) { s.write_line(L"abc"); };
    // Whatever charset is requested, an existing UTF-16 BE file stays UTF-16 BE.
    for (E_CharSet cs : {qel::cs_ansi, qel::cs_utf16le, qel::cs_utf8}) {
        write_bytes(dir.path("out.txt"), utf16("old text\r\n", true, true));
        text_file_stream s(dir.wide("out.txt"), file_stream_mode::create(), enc(cs, detect));
        EXPECT_TRUE(s.get_encoding() == enc(qel::cs_utf16be)) << s.get_encoding().get();
        s.write_line(L"abc");
        s.close();
        EXPECT_EQ(read_bytes(dir.path("out.txt")), utf16("abc\r\n", true, true)) << cs;
    }
    write_bytes(dir.path("out.txt"), bom + "old");
    EXPECT_EQ(written(dir, enc(qel::cs_utf16le, detect), abc), bom + "abc\r\n");
    write_bytes(dir.path("out.txt"), utf16("old", false, true));
    EXPECT_EQ(written(dir, enc(qel::cs_utf8, detect), abc), utf16("abc\r\n", false, true));
    // Nothing found, or an empty file: the default charset (ANSI) with no flags.
    for (const std::string& old :
         {std::string("plain old text, nothing else\r\n"), std::string()}) {
        write_bytes(dir.path("out.txt"), old);
        text_file_stream s(dir.wide("out.txt"), file_stream_mode::create(),
                           enc(qel::cs_utf16le, detect));
        EXPECT_EQ(s.get_encoding().get(), 0u);
        s.write_line(L"abc");
        s.close();
        EXPECT_EQ(read_bytes(dir.path("out.txt")), "abc\r\n");
    }
    // No file yet: the requested encoding stays, flags included.
    std::filesystem::remove(dir.path("out.txt"));
    text_file_stream s(dir.wide("out.txt"), file_stream_mode::create(),
                       enc(qel::cs_utf16le, detect));
    EXPECT_TRUE(s.get_encoding() == enc(qel::cs_utf16le, detect));
    s.write_line(L"abc");
    s.close();
    EXPECT_EQ(read_bytes(dir.path("out.txt")), utf16("abc\r\n", false, true));
}

TEST(TextFileRead, DetectsSignatures) {
    temp_dir dir;
    struct sample {
        std::string content;
        E_CharSet found;
    };
    for (const sample& m : {sample{utf16("ab\r\nc", false, true), qel::cs_utf16le},
                            sample{utf16("ab\r\nc", true, true), qel::cs_utf16be},
                            sample{bom + "ab\r\nc", qel::cs_utf8}}) {
        for (E_CharSet requested : {qel::cs_default, qel::cs_oem, qel::cs_utf16be}) {
            auto s = reader(dir, m.content, enc(requested, detect | no_signature));
            // The charset alone: no flags, code page 0.
            EXPECT_EQ(s.get_encoding().get(), static_cast<unsigned>(m.found)) << m.found;
            EXPECT_EQ(s.read_char(), L'a') << m.found;
            EXPECT_EQ(lines_of(s), (std::vector<std::wstring>{L"b", L"c"})) << m.found;
        }
    }
}

TEST(TextFileRead, WithoutSignatureTheRequestedEncodingStays) {
    temp_dir dir;
    auto plain =
        reader(dir, "Plain eight-bit text, nothing else\r\nline 2", enc(qel::cs_ansi, detect));
    EXPECT_TRUE(plain.get_encoding() == enc(qel::cs_ansi, detect));
    EXPECT_EQ(lines_of(plain),
              (std::vector<std::wstring>{L"Plain eight-bit text, nothing else", L"line 2"}));
    // A binary charset reopens the file in binary mode: 0x1A is an ordinary character.
    auto u8 = reader(dir, "a\x1A\x62\r\nc", enc(qel::cs_utf8, detect));
    EXPECT_TRUE(u8.get_encoding() == enc(qel::cs_utf8, detect));
    EXPECT_EQ(solid_of(u8), L"a\x1A\x62\nc");
    auto empty = reader(dir, "", enc(qel::cs_utf16be, detect));
    EXPECT_TRUE(empty.get_encoding() == enc(qel::cs_utf16be, detect));
    std::wstring line = L"junk";
    empty.read_line(line);
    EXPECT_EQ(line, L"");
    EXPECT_TRUE(empty.eof());
    EXPECT_FALSE(empty.error());
}

TEST(TextFileRead, InvalidUtf8IsAnError) {
    temp_dir dir;
    for (const std::string& content : {std::string("a\x80\nb"), std::string("a\xC3\x41\nb")}) {
        auto s = reader(dir, content, enc(qel::cs_utf8));
        std::wstring line;
        s.read_line(line);
        EXPECT_EQ(line, L"a");
        EXPECT_TRUE(s.error());
        EXPECT_FALSE(s.eof());
    }
}

TEST(TextFileRead, LineEndsOfEachPolicy) {
    temp_dir dir;
    const std::string text = "a\rb\r\n\r\nc";
    // The Char policy keeps a lone CR; the Unicode policies drop every CR.
    auto ansi = reader(dir, text, enc(qel::cs_ansi));
    EXPECT_EQ(lines_of(ansi), (std::vector<std::wstring>{L"a\rb", L"", L"c"}));
    ansi = reader(dir, text, enc(qel::cs_oem));
    EXPECT_EQ(chars_of(ansi), L"a\rb\n\nc");
    ansi = reader(dir, text, enc(qel::cs_default));
    EXPECT_EQ(solid_of(ansi), L"a\rb\n\nc");
    for (const auto& [content, cs] :
         {std::pair{text, qel::cs_utf8}, std::pair{utf16(text, false), qel::cs_utf16le},
          std::pair{utf16(text, true), qel::cs_utf16be}}) {
        auto s = reader(dir, content, enc(cs));
        EXPECT_EQ(lines_of(s), (std::vector<std::wstring>{L"ab", L"", L"c"})) << cs;
        s = reader(dir, content, enc(cs));
        EXPECT_EQ(chars_of(s), L"ab\n\nc") << cs;
        s = reader(dir, content, enc(cs));
        EXPECT_EQ(solid_of(s), L"ab\n\nc") << cs;
    }
    // 0x1A ends the input for the Char policy only.
    const std::string stop = std::string("ab") + '\x1A' + "cd\r\n";
    ansi = reader(dir, stop, enc(qel::cs_ansi));
    EXPECT_EQ(solid_of(ansi), L"ab");
    ansi = reader(dir, stop, enc(qel::cs_ansi));
    EXPECT_EQ(lines_of(ansi), std::vector<std::wstring>{L"ab"});
    auto u8 = reader(dir, stop, enc(qel::cs_utf8));
    EXPECT_EQ(solid_of(u8), std::wstring(L"ab") + L'\x1A' + L"cd\n");
    // A final line end leaves one more, empty, line that ends with the end flag.
    ansi = reader(dir, "x\r\n", enc(qel::cs_ansi));
    EXPECT_EQ(lines_of(ansi), (std::vector<std::wstring>{L"x", L""}));
}

// Lines of 100 KB of UTF-8, so that sequences, CR LF pairs, dropped CRs and marks fall on
// every side of the 32 KiB read-ahead's edges.
TEST(TextFileRead, Utf8AcrossTheReadAhead) {
    const std::pair<std::string, std::wstring> pieces[] = {
        {"a", L"a"}, {"xyz ", L"xyz "},     {"\xC3\xA9", L"\u00E9"}, {"\xE2\x82\xAC", L"\u20AC"},
        {"\r", L""}, {"\xEF\xBB\xBF", L""}, {"\xEF\xBF\xBE", L""},
    };
    std::mt19937 rng(3);
    std::string content;
    std::vector<std::wstring> lines(1);
    std::wstring solid;
    while (content.size() < 100000) {
        if (rng() % 40 == 0) {
            content += "\r\n";
            solid += L'\n';
            lines.emplace_back();
            continue;
        }
        const auto& [bytes, wide] = pieces[rng() % std::size(pieces)];
        content += bytes;
        solid += wide;
        lines.back() += wide;
    }
    temp_dir dir;
    auto s = reader(dir, content, enc(qel::cs_utf8));
    EXPECT_EQ(lines_of(s), lines);
    s = reader(dir, content, enc(qel::cs_utf8));
    EXPECT_EQ(solid_of(s), solid);
}

TEST(TextFileRoundTrip, EachCharsetReadsBackWhatItWrote) {
    temp_dir dir;
    const std::wstring cafe = units({0x63, 0x61, 0x66, 0xE9});
    const std::wstring cyrillic = units({0x41F, 0x440, 0x438, 0x432, 0x435, 0x442, 0x20, 0x20AC});
    for (E_CharSet cs : {qel::cs_default, qel::cs_ansi, qel::cs_oem, qel::cs_utf16le,
                         qel::cs_utf16be, qel::cs_utf8}) {
        const bool unicode = cs >= qel::cs_utf16le;
        const std::vector<std::wstring> lines = {
            L"first", L"", unicode ? cyrillic : cafe, L"", std::wstring(300, L'x'), L"tail"};
        std::wstring solid;
        for (const auto& line : lines)
            solid += line + (&line == &lines.back() ? L"" : L"\n");
        for (unsigned flags : {0u, no_signature}) {
            const text_encoding e = enc(cs, flags);
            written(dir, e, [&](text_file_stream& s) {
                for (std::size_t i = 0; i + 1 < lines.size(); ++i)
                    s.write_line(lines[i]);
                s.write_solid_text(lines.back());
            });
            text_file_stream s(dir.wide("out.txt"), file_stream_mode::read(), e);
            EXPECT_EQ(lines_of(s), lines) << cs << " " << flags;
            ASSERT_TRUE(s.open(dir.wide("out.txt"), file_stream_mode::read(), e));
            EXPECT_EQ(solid_of(s), solid) << cs << " " << flags;
            if (unicode) {
                ASSERT_TRUE(s.open(dir.wide("out.txt"), file_stream_mode::read(), e));
                EXPECT_EQ(chars_of(s), solid) << cs << " " << flags;
            }
            if (unicode && flags == 0) {
                ASSERT_TRUE(s.open(dir.wide("out.txt"), file_stream_mode::read(),
                                   enc(qel::cs_ansi, detect)));
                EXPECT_EQ(s.get_encoding().get(), static_cast<unsigned>(cs));
                EXPECT_EQ(solid_of(s), solid) << cs;
            }
        }
    }
}

TEST(TextFileUnicode, SupplementaryCharacters) {
    temp_dir dir;
    // One code point: one unit where wchar_t holds code points, a surrogate pair elsewhere;
    // the files hold the pair either way.
    const std::wstring emoji = L"\U0001F600";
    EXPECT_EQ(emoji.size(), whole_code_points ? 1u : 2u);
    auto write_emoji = [&](text_file_stream& s) { s.write_solid_text(emoji); };
    const std::string le = bytes({0x3D, 0xD8, 0x00, 0xDE});
    EXPECT_EQ(written(dir, enc(qel::cs_utf16le, no_signature), write_emoji), le);
    EXPECT_EQ(written(dir, enc(qel::cs_utf16be, no_signature), write_emoji),
              bytes({0xD8, 0x3D, 0xDE, 0x00}));
    auto s = reader(dir, le + bytes({0x61, 0}), enc(qel::cs_utf16le));
    EXPECT_EQ(solid_of(s), emoji + L"a");
    s = reader(dir, le, enc(qel::cs_utf16le));
    EXPECT_EQ(s.read_char(), emoji[0]);
    // A lone surrogate passes as its value.
    s = reader(dir, bytes({0x3D, 0xD8, 0x61, 0x00, 0x00, 0xDE}), enc(qel::cs_utf16le));
    EXPECT_EQ(solid_of(s), units({0xD83D, 0x61, 0xDE00}));
    // UTF-8: four bytes where wchar_t holds code points; elsewhere each surrogate takes three
    // bytes, and a four-byte sequence reads as "?".
    const std::string four = bytes({0xF0, 0x9F, 0x98, 0x80});
    EXPECT_EQ(written(dir, enc(qel::cs_utf8, no_signature), write_emoji),
              whole_code_points ? four : bytes({0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}));
    s = reader(dir, four + "b", enc(qel::cs_utf8));
    EXPECT_EQ(solid_of(s), whole_code_points ? emoji + L"b" : std::wstring(L"?b"));
}

TEST(TextFileOpen, CloseAndReopen) {
    temp_dir dir;
    text_file_stream s;
    EXPECT_TRUE(s.open(dir.wide("a.txt"), file_stream_mode::create(),
                       text_encoding(qel::cs_utf16be, 1251, no_signature)));
    EXPECT_EQ(s.get_encoding().get(), 0x04E30205u);
    s.write_line(L"a");
    // Opening another file closes the first one, which then holds all its text.
    EXPECT_TRUE(s.open(dir.wide("b.txt"), file_stream_mode::create(), enc(qel::cs_utf8)));
    EXPECT_EQ(read_bytes(dir.path("a.txt")), utf16("a\r\n", true));
    s.close();
    EXPECT_FALSE(s.is_open());
    EXPECT_EQ(s.get_encoding().get(), 0u);
    EXPECT_EQ(read_bytes(dir.path("b.txt")), "\xEF\xBB\xBF");
    text_file_stream moved(std::move(s));
    EXPECT_FALSE(moved.is_open());
}

} // namespace
