// The library's UTF-8 codec: encoding one wide unit at a time and lenient decoding.
#include "test_support.h"

#include "core/utf8.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace {

using qel_test::bytes;

using qel_test::units;

using qel::detail::append_utf8_;
using qel::detail::append_wide_from_utf8_;
using qel::detail::from_utf8_;
using qel::detail::to_utf8_;

constexpr bool whole_code_points = sizeof(wchar_t) == 4;

TEST(Utf8Test, EncodesEachLengthClass) {
    EXPECT_EQ(to_utf8_(L""), "");
    EXPECT_EQ(to_utf8_(L"Az\x01\x7F"), bytes({0x41, 0x7A, 0x01, 0x7F}));
    EXPECT_EQ(to_utf8_(units({0x80, 0xE9, 0x7FF})), bytes({0xC2, 0x80, 0xC3, 0xA9, 0xDF, 0xBF}));
    EXPECT_EQ(to_utf8_(units({0x800, 0x20AC, 0xFFFF})),
              bytes({0xE0, 0xA0, 0x80, 0xE2, 0x82, 0xAC, 0xEF, 0xBF, 0xBF}));
    // The byte-order mark is an ordinary character for the encoder.
    EXPECT_EQ(to_utf8_(units({0xFEFF})), bytes({0xEF, 0xBB, 0xBF}));
    // Every unit is encoded, an embedded U+0000 included.
    EXPECT_EQ(to_utf8_(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(Utf8Test, EncodesSurrogatesSeparately) {
    EXPECT_EQ(to_utf8_(units({0xD83D, 0xDE00})), bytes({0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}));
    EXPECT_EQ(to_utf8_(units({0xDC00})), bytes({0xED, 0xB0, 0x80}));
    // Units above U+FFFF exist only where wchar_t holds whole code points.
    if constexpr (whole_code_points) {
        EXPECT_EQ(to_utf8_(units({0x10000})), bytes({0xF0, 0x90, 0x80, 0x80}));
        EXPECT_EQ(to_utf8_(units({0x1F600})), bytes({0xF0, 0x9F, 0x98, 0x80}));
        EXPECT_EQ(to_utf8_(units({0x10FFFF})), bytes({0xF4, 0x8F, 0xBF, 0xBF}));
    }
}

TEST(Utf8Test, AppendUtf8KeepsExistingContent) {
    std::string out = "x";
    append_utf8_(out, units({0xE9}));
    append_utf8_(out, L"");
    append_utf8_(out, L"y");
    EXPECT_EQ(out, bytes({0x78, 0xC3, 0xA9, 0x79}));
}

TEST(Utf8Test, EveryBmpUnitRoundTrips) {
    for (unsigned u = 1; u <= 0xFFFF; ++u) {
        if (u == 0xFEFF)
            continue; // a byte-order mark is dropped by the decoder
        const std::wstring text = units({0x41, u, 0x42});
        ASSERT_EQ(from_utf8_(to_utf8_(text)), text) << "unit " << std::hex << u;
    }
    if constexpr (whole_code_points) { // UTF-16 has no such units
        const std::wstring text = units({0x10000, 0x1F600, 0x10FFFF});
        EXPECT_EQ(from_utf8_(to_utf8_(text)), text);
    }
}

TEST(Utf8Test, DecodesWellFormedSequences) {
    EXPECT_EQ(from_utf8_(""), L"");
    EXPECT_EQ(from_utf8_("plain"), L"plain");
    EXPECT_EQ(from_utf8_(bytes({0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xDF, 0xBF})),
              units({0xE9, 0x20AC, 0x7FF}));
    // No check for overlong forms or encoded surrogates: the arithmetic decides.
    EXPECT_EQ(from_utf8_(bytes({0xC1, 0xBF})), units({0x7F}));
    EXPECT_EQ(from_utf8_(bytes({0xC0, 0x80, 0x41})), units({0, 0x41}));
    EXPECT_EQ(from_utf8_(bytes({0xE0, 0x81, 0x81})), units({0x41}));
    EXPECT_EQ(from_utf8_(bytes({0xED, 0xA0, 0xBD})), units({0xD83D}));
}

TEST(Utf8Test, ByteOrderMarksVanish) {
    EXPECT_EQ(from_utf8_(bytes({0xEF, 0xBB, 0xBF, 0x41})), L"A");
    EXPECT_EQ(from_utf8_(bytes({0xEF, 0xBB, 0xBF})), L"");
    EXPECT_EQ(from_utf8_(bytes({0x41, 0xEF, 0xBB, 0xBF, 0xEF, 0xBB, 0xBF, 0x42})), L"AB");
}

TEST(Utf8Test, BrokenSequencesGiveOneNulUnit) {
    // A continuation byte without a lead.
    EXPECT_EQ(from_utf8_(bytes({0x80})), units({0}));
    EXPECT_EQ(from_utf8_(bytes({0x41, 0xBF, 0xBF, 0x42})), units({0x41, 0, 0, 0x42}));
    // The byte that breaks a sequence is consumed with it.
    EXPECT_EQ(from_utf8_(bytes({0xC3, 0x41})), units({0}));
    EXPECT_EQ(from_utf8_(bytes({0xC3, 0x41, 0x42})), units({0, 0x42}));
    EXPECT_EQ(from_utf8_(bytes({0xC3, 0xC3, 0xA9})), units({0, 0}));
    EXPECT_EQ(from_utf8_(bytes({0xE2, 0x41, 0x42})), units({0, 0x42}));
    EXPECT_EQ(from_utf8_(bytes({0xE2, 0x82, 0x41, 0x42})), units({0, 0x42}));
    EXPECT_EQ(from_utf8_(bytes({0xE2, 0xC3, 0xA9})), units({0, 0}));
    // Input that ends inside a sequence.
    EXPECT_EQ(from_utf8_(bytes({0x41, 0xC3})), units({0x41, 0}));
    EXPECT_EQ(from_utf8_(bytes({0x41, 0xE2, 0x82})), units({0x41, 0}));
    EXPECT_EQ(from_utf8_(bytes({0xEF, 0xBB})), units({0}));
}

TEST(Utf8Test, FourByteAndLongerLeads) {
    const std::string emoji = bytes({0x41, 0xF0, 0x9F, 0x98, 0x80, 0x42});
    const std::string max = bytes({0xF4, 0x8F, 0xBF, 0xBF});
    if constexpr (whole_code_points) {
        EXPECT_EQ(from_utf8_(emoji), units({0x41, 0x1F600, 0x42}));
        EXPECT_EQ(from_utf8_(max), units({0x10FFFF}));
    } else {
        EXPECT_EQ(from_utf8_(emoji), units({0x41, 0x3F, 0x42}));
        EXPECT_EQ(from_utf8_(max), units({0x3F}));
    }
    // Neither platform decodes these: the lead and its continuation bytes become one "?".
    EXPECT_EQ(from_utf8_(bytes({0xF4, 0x90, 0x80, 0x80, 0x41})), L"?A"); // above U+10FFFF
    EXPECT_EQ(from_utf8_(bytes({0xF5, 0x80, 0x80, 0x80, 0x41})), L"?A");
    EXPECT_EQ(from_utf8_(bytes({0xF8, 0x88, 0x80, 0x80, 0x80, 0x41})), L"?A");
    EXPECT_EQ(from_utf8_(bytes({0xFF, 0x41})), L"?A");
    EXPECT_EQ(from_utf8_(bytes({0xF0, 0x9F, 0x98, 0x41})), L"?A"); // too short
    EXPECT_EQ(from_utf8_(bytes({0xF0, 0x41})), L"?A");
    EXPECT_EQ(from_utf8_(bytes({0xF0})), L"?");
    EXPECT_EQ(from_utf8_(bytes({0xF0, 0xF0, 0x9F})), L"??");
}

TEST(Utf8Test, DecodingStopsAtTheFirstZeroByte) {
    auto decode = [](const std::string& in, std::wstring& out) {
        return append_wide_from_utf8_(out, in.data(), in.data() + in.size()) - in.data();
    };
    std::wstring out = L"xy";
    EXPECT_EQ(decode(std::string("ab\0cd", 5), out), 2);
    EXPECT_EQ(out, L"xyab");

    out.clear();
    EXPECT_EQ(decode("abc", out), 3);
    EXPECT_EQ(out, L"abc");

    // The zero byte is never consumed, not even as the second byte of a sequence.
    out.clear();
    EXPECT_EQ(decode(bytes({0xC3, 0x00, 0x41}), out), 1);
    EXPECT_EQ(out, units({0}));
    out.clear();
    EXPECT_EQ(decode(bytes({0xE2, 0x82, 0x00, 0x41}), out), 2);
    EXPECT_EQ(out, units({0}));
    out.clear();
    EXPECT_EQ(decode(bytes({0xEF, 0xBB, 0xBF, 0x00, 0x41}), out), 3);
    EXPECT_EQ(out, L"");
    out.clear();
    EXPECT_EQ(decode(bytes({0xF0, 0x9F, 0x00, 0x41}), out), 2);
    EXPECT_EQ(out, L"?");

    EXPECT_EQ(from_utf8_(std::string("a\0b", 3)), L"a");
}

} // namespace
