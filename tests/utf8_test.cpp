// The library's UTF-8 codec, the one place UTF-8 is tested: exception messages, conversions
// under cs_utf8 and UTF-8 text files all use it. Expectations are bytes worked out by hand;
// the sweeps check round trips, which a wrong length class or bit shift breaks.
#include "test_support.h"

#include "core/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using qel_test::bytes;
using qel_test::units;

using qel::detail::append_utf8;
using qel::detail::append_wide_from_utf8;
using qel::detail::append_wide_from_utf8_bytes;
using qel::detail::from_utf8;
using qel::detail::to_utf8;

constexpr bool whole_code_points = sizeof(wchar_t) == 4;

// Both decoders on input without zero bytes.
std::wstring decoded(const std::string& in) {
    std::wstring all = L"x";
    append_wide_from_utf8_bytes(all, in.data(), in.data() + in.size());
    EXPECT_EQ(all.substr(0, 1), L"x");
    EXPECT_EQ(from_utf8(in), all.substr(1)) << "the two decoders disagree";
    return all.substr(1);
}

TEST(Utf8Test, EncodesEachLengthClassAndSurrogatesOneByOne) {
    struct row {
        std::wstring text;
        std::string utf8;
    };
    const row rows[] = {
        {L"", ""},
        {std::wstring(L"A\0\x7F", 3), std::string("A\0\x7F", 3)},
        {units({0x80, 0xE9, 0x7FF}), bytes({0xC2, 0x80, 0xC3, 0xA9, 0xDF, 0xBF})},
        {units({0x800, 0x20AC, 0xFEFF, 0xFFFF}),
         bytes({0xE0, 0xA0, 0x80, 0xE2, 0x82, 0xAC, 0xEF, 0xBB, 0xBF, 0xEF, 0xBF, 0xBF})},
        {units({0xD83D, 0xDE00, 0xDC00}),
         bytes({0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80, 0xED, 0xB0, 0x80})},
    };
    for (const row& r : rows)
        EXPECT_EQ(to_utf8(r.text), r.utf8) << r.utf8.size();
    if constexpr (whole_code_points) { // units above U+FFFF exist only there
        EXPECT_EQ(to_utf8(units({0x10000, 0x1F600, 0x10FFFF})),
                  bytes({0xF0, 0x90, 0x80, 0x80, 0xF0, 0x9F, 0x98, 0x80, 0xF4, 0x8F, 0xBF, 0xBF}));
    }
    std::string out = "x";
    append_utf8(out, units({0xE9}));
    EXPECT_EQ(out, bytes({0x78, 0xC3, 0xA9}));
}

TEST(Utf8Test, EveryUnitRoundTrips) {
    std::wstring all;
    for (unsigned u = 1; u <= (whole_code_points ? 0x10FFFFu : 0xFFFFu); ++u)
        if (u != 0xFEFF && (u < 0xD800 || u > 0xDFFF || !whole_code_points))
            all.push_back(static_cast<wchar_t>(u)); // a byte-order mark is dropped on decoding
    const std::string encoded = to_utf8(all);
    EXPECT_EQ(decoded(encoded), all);
    // 0x7F one-byte units, then two-byte units up to 0x7FF, then three bytes up to 0xFFFF.
    const std::size_t bmp = 0x7F + 2 * (0x7FF - 0x7F) + 3 * (0xFFFF - 0x7FF - 1);
    EXPECT_EQ(encoded.size(), bmp + (whole_code_points ? 4 * 0x100000 - 3 * 0x800 : 0));
}

TEST(Utf8Test, DecodesLeniently) {
    const std::wstring emoji = whole_code_points ? units({0x1F600}) : L"?";
    struct row {
        std::string utf8;
        std::wstring text;
    };
    const row rows[] = {
        {"plain", L"plain"},
        {bytes({0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xDF, 0xBF}), units({0xE9, 0x20AC, 0x7FF})},
        // No check for overlong forms or encoded surrogates: the arithmetic decides.
        {bytes({0xC1, 0xBF, 0xE0, 0x81, 0x81}), units({0x7F, 0x41})},
        {bytes({0xED, 0xA0, 0xBD}), units({0xD83D})},
        // Byte-order marks vanish wherever they are.
        {bytes({0xEF, 0xBB, 0xBF, 0x41, 0xEF, 0xBB, 0xBF, 0xEF, 0xBB, 0xBF, 0x42}), L"AB"},
        // A broken sequence gives one U+0000 and takes the byte that broke it.
        {bytes({0x41, 0xBF, 0xBF, 0x42}), units({0x41, 0, 0, 0x42})},
        {bytes({0xC3, 0x41, 0x42}), units({0, 0x42})},
        {bytes({0xC3, 0xC3, 0xA9}), units({0, 0})},
        {bytes({0xE2, 0x82, 0x41, 0x42}), units({0, 0x42})},
        {bytes({0xE2, 0xC3, 0xA9}), units({0, 0})},
        {bytes({0x41, 0xE2, 0x82}), units({0x41, 0})},
        {bytes({0xEF, 0xBB}), units({0})},
        // Four-byte forms decode only where wchar_t holds them; others are one "?" with every
        // continuation byte they have.
        {bytes({0x41, 0xF0, 0x9F, 0x98, 0x80, 0x42}), L"A" + emoji + L"B"},
        {bytes({0xF4, 0x90, 0x80, 0x80, 0x41}), L"?A"}, // above U+10FFFF
        {bytes({0xF5, 0x80, 0x80, 0x80, 0x41}), L"?A"},
        {bytes({0xF8, 0x88, 0x80, 0x80, 0x80, 0x41}), L"?A"},
        {bytes({0xFF, 0x41}), L"?A"},
        {bytes({0xF0, 0x9F, 0x98, 0x41}), L"?A"},
        {bytes({0xF0, 0xF0, 0x9F}), L"??"},
    };
    for (const row& r : rows)
        EXPECT_EQ(decoded(r.utf8), r.text) << testing::PrintToString(r.utf8);
}

TEST(Utf8Test, ZeroBytes) {
    // The bounded decoder takes a zero byte as U+0000 and goes on.
    std::wstring all;
    const std::string nul = bytes({0x61, 0, 0xC3, 0xA9});
    append_wide_from_utf8_bytes(all, nul.data(), nul.data() + nul.size());
    EXPECT_EQ(all, units({0x61, 0, 0xE9}));
    // The other stops there and never consumes it, not even inside a sequence.
    struct row {
        std::string utf8;
        long stop;
        std::wstring text;
    };
    const row rows[] = {
        {std::string("ab\0cd", 5), 2, L"ab"},    {"abc", 3, L"abc"},
        {bytes({0xC3, 0, 0x41}), 1, units({0})}, {bytes({0xE2, 0x82, 0, 0x41}), 2, units({0})},
        {bytes({0xEF, 0xBB, 0xBF, 0}), 3, L""},  {bytes({0xF0, 0x9F, 0, 0x41}), 2, L"?"},
    };
    for (const row& r : rows) {
        std::wstring out = L"xy";
        const char* first = r.utf8.data();
        EXPECT_EQ(append_wide_from_utf8(out, first, first + r.utf8.size()) - first, r.stop);
        EXPECT_EQ(out, L"xy" + r.text);
    }
    EXPECT_EQ(from_utf8(std::string("a\0b", 3)), L"a");
}

} // namespace
