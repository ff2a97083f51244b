// The lzm block codec: token choice, token layouts, the encoder's output byte for byte, the
// decoder's handling of valid and malformed payloads, and round trips.
#include "test_support.h"

#include "compress/lzm_block.h"

#include <qel/exception.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using qel_test::bytes;

using namespace qel::detail;

std::string encode(const std::string& in) {
    static lzm_block_encoder encoder; // reused, as the library does
    std::size_t n = encoder.encode(in.data(), in.size());
    EXPECT_EQ(n, encoder.payload().size());
    return std::string(encoder.payload().begin(), encoder.payload().end());
}

std::string decode(const std::string& payload) {
    std::vector<char> out;
    std::size_t n = lzm_decode_block(payload.data(), payload.size(), out);
    EXPECT_EQ(n, out.size());
    return std::string(out.begin(), out.end());
}

template <class F> std::string error_of(F f) {
    try {
        f();
    } catch (const qel::compress_error& e) {
        EXPECT_EQ(e.code(), 0);
        return e.what();
    }
    return "no error";
}

std::string decode_error(const std::string& payload) {
    return error_of([&] { decode(payload); });
}

// What bytes taken as literals encode to: runs of 63 and one shorter run.
std::string literal_runs(const std::string& s) {
    std::string out;
    for (std::size_t at = 0; at < s.size(); at += 63) {
        std::size_t n = std::min<std::size_t>(63, s.size() - at);
        out += static_cast<char>(n);
        out += s.substr(at, n);
    }
    return out;
}

// Bytes 0x00..0x3F in which no three-byte sequence occurs twice and no byte three times in a
// row, so the encoder keeps them all as literals. Their triples hash below 1024.
std::string filler(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<bool> seen(1 << 18);
    std::string s;
    while (s.size() < n) {
        const std::size_t k = s.size();
        const unsigned a = k < 2 ? 64 : static_cast<unsigned char>(s[k - 2]);
        const unsigned b = k < 2 ? 64 : static_cast<unsigned char>(s[k - 1]);
        auto key = [&](unsigned c) { return (a << 12 | b << 6 | c) & 0x3FFFF; };
        auto fits = [&](unsigned c) { return k < 2 || (!(a == b && b == c) && !seen[key(c)]); };
        unsigned c = rng() % 64;
        for (int tries = 0; !fits(c) && tries < 64; ++tries)
            c = (c + 1) % 64;
        EXPECT_TRUE(fits(c)) << "filler stuck at " << k;
        if (k >= 2)
            seen[key(c)] = true;
        s += static_cast<char>(c);
    }
    return s;
}

// Filler with `length` bytes at `from` repeated at `to`, so the only match the encoder can
// take is that one. The repeated bytes are 0xC5 then distinct bytes from 0x41: only their
// first triple hashes to 3072 or above, so no other position replaces its table entry. A
// marker before the copy and one after it keep the match from growing at either end.
std::string planted(std::size_t n, std::size_t from, std::size_t to, std::size_t length) {
    std::string s = filler(n, static_cast<unsigned>(n + from + to));
    std::string x(1, '\xC5');
    for (std::size_t i = 1; i < length; ++i)
        x += static_cast<char>(0x40 + i);
    s.replace(from, length, x);
    s.replace(to, length, x);
    if (to > from + length)
        s[to - 1] = '\x81';
    if (to + length < n)
        s[to + length] = '\x80';
    return s;
}

std::string pattern(std::size_t n) {
    std::string s;
    for (std::size_t i = 0; i < n; ++i)
        s += static_cast<char>((i * 131 + i / 97) & 0xFF);
    return s;
}

// --- token choice ---------------------------------------------------------------------------

TEST(LzmSelect, FollowsTheRuleTable) {
    struct row {
        std::size_t lit, len, off;
        int kind;
        bool flush;
    };
    const row rows[] = {
        {0, 2, 1, 0, false},      {40, 2, 8191, 0, false}, // too short: literal, nothing flushed
        {0, 3, 1, 2, false},      {0, 6, 4095, 2, false},  // no literals pending: "10" first
        {0, 7, 511, 1, false},    {0, 10, 511, 1, false},  {0, 7, 512, 3, false},
        {0, 11, 1, 3, false},     {0, 6, 4096, 3, false},  {0, 34, 8191, 3, false},
        {1, 3, 1, 1, false},      {3, 10, 511, 1, false}, // "01" carries 1..3 literals
        {3, 10, 512, 3, false},   {3, 11, 511, 3, false},  {4, 3, 1, 3, false},
        {15, 34, 8191, 3, false},                         // "11" carries up to 15
        {16, 3, 1, 2, true},      {16, 6, 4095, 2, true}, // 16 or more: flush, then choose
        {16, 7, 4095, 3, true},   {16, 3, 4096, 3, true},  {63, 34, 8191, 3, true},
        {16, 8, 100, 3, true}, // never "01" after the flush
    };
    for (const row& r : rows) {
        lzm_choice_ c = lzm_select(r.lit, r.len, r.off);
        EXPECT_EQ(c.kind, r.kind) << r.lit << " " << r.len << " " << r.off;
        EXPECT_EQ(c.flush_literals, r.flush) << r.lit << " " << r.len << " " << r.off;
    }
}

// --- token writers --------------------------------------------------------------------------

std::string put_match(int kind, const std::string& lits, std::size_t len, std::size_t off,
                      std::size_t position) {
    char out[32];
    std::size_t n = lzm_put_match(out, kind, lits.data(), lits.size(), len, off, position);
    return std::string(out, n);
}

// The writer the encoder uses after flushing literals; bytes worked out by hand.
TEST(LzmTokens, MatchLayoutsAtTheirLimits) {
    EXPECT_EQ(put_match(1, "xyz", 10, 511, 511), bytes({0x7F, 0xFF}) + "xyz");
    EXPECT_EQ(put_match(1, "q", 5, 256, 300), bytes({0x55, 0x00}) + "q");
    EXPECT_EQ(put_match(2, "", 4, 0x234, 8000), bytes({0x92, 0x34}));
    EXPECT_EQ(put_match(3, "", 3, 1, 1), bytes({0xC0, 0x00, 0x08}));
    EXPECT_EQ(put_match(3, "ab", 12, 0x1234, 5000), bytes({0xC9, 0x91, 0xA1}) + "ab");
    const std::string fifteen = "ABCDEFGHIJKLMNO";
    EXPECT_EQ(put_match(3, fifteen, 34, 8191, 8191), bytes({0xFF, 0xFF, 0xFF}) + fifteen);
}

// --- encoder --------------------------------------------------------------------------------

TEST(LzmEncoder, HandWorkedPayloads) {
    std::string x; // 60 distinct bytes
    for (unsigned c = 0x40; c < 0x7C; ++c)
        x += static_cast<char>(c);
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {"A", bytes({0x01, 0x41})},
        {"aa", bytes({0x02, 0x61, 0x61})},
        // Runs: pending literals go out first; the last byte is a tail literal.
        {std::string(300, '\0'), bytes({0x00, 0xFF, 0x00, 0x00, 0x2D, 0x00})},
        {"aaa", bytes({0x00, 0x03, 0x61})},
        {"xyaaaab", bytes({0x02, 0x78, 0x79, 0x00, 0x04, 0x61, 0x01, 0x62})},
        {std::string(257, 'z'), bytes({0x00, 0xFF, 0x7A, 0x02, 0x7A, 0x7A})},
        // Three pending literals travel in a "01"; with none pending "10" wins; a match never
        // grows past its offset.
        {"abcabc", bytes({0x70, 0x03, 0x61, 0x62, 0x63})},
        {"abcabcabc", bytes({0x70, 0x03, 0x61, 0x62, 0x63, 0x80, 0x03})},
        // Four pending literals need a "11". The positions a match covers do not enter the
        // table, so "bcd" at 8 finds position 1, not 5.
        {"abcdabcdbcd", bytes({0xD0, 0x00, 0x21, 0x61, 0x62, 0x63, 0x64, 0x80, 0x07})},
        // Bounded by the block end, then by 34 (after 60 pending literals are flushed), then by
        // the block end again; positions 34..59 were literals, so they are in the table.
        {"abcdabc", bytes({0xD0, 0x00, 0x20, 0x61, 0x62, 0x63, 0x64})},
        {x + x, std::string("\x3C") + x + bytes({0xC3, 0x01, 0xE7, 0xC2, 0x01, 0xE7})},
        // "acg" hashes like "abc" and replaces it in the table: no match, nine literals.
        {"abcacgabc", std::string("\x09") + "abcacgabc"},
    };
    for (const auto& [in, payload] : rows)
        EXPECT_EQ(encode(in), payload) << in;
    // A block of literals only: 130 runs of 63 and a tail of one.
    const std::string unique = filler(8191, 1);
    EXPECT_EQ(encode(unique), literal_runs(unique.substr(0, 8190)) + '\x01' + unique.back());
}

TEST(LzmEncoder, MatchesAtTheTokenLimits) {
    { // "01": 3 literals (position 570 = 9*63 + 3), length 10, offset 511
        const std::string s = planted(600, 59, 570, 10);
        EXPECT_EQ(encode(s), literal_runs(s.substr(0, 567)) + bytes({0x7F, 0xFF}) +
                                 s.substr(567, 3) + literal_runs(s.substr(580)));
    }
    { // "11" carrying 15 literals: length 20, offset 100
        const std::string s = planted(200, 41, 141, 20);
        EXPECT_EQ(encode(s), literal_runs(s.substr(0, 126)) + bytes({0xFE, 0x03, 0x21}) +
                                 s.substr(126, 15) + literal_runs(s.substr(161)));
    }
    { // 20 pending literals are flushed, then "10" with length 6 and offset 4095
        const std::string s = planted(4200, 20, 4115, 6);
        EXPECT_EQ(encode(s), literal_runs(s.substr(0, 4115)) + bytes({0xBF, 0xFF}) +
                                 literal_runs(s.substr(4121)));
    }
    { // 63 pending literals at the match: flushed, and the match takes the flush's "11"
      // (lzm_select(0, 7, 100) alone would give "01")
        const std::string s = planted(300, 26, 126, 7);
        EXPECT_EQ(encode(s), literal_runs(s.substr(0, 126)) + bytes({0xC0, 0x03, 0x24}) +
                                 literal_runs(s.substr(133)));
    }
    { // 30 pending literals are flushed, then "11" with length 34 and offset 8157
        const std::string s = planted(8191, 0, 8157, 34);
        EXPECT_EQ(encode(s), literal_runs(s.substr(0, 8157)) + bytes({0xC3, 0xFE, 0xEF}));
    }
}

// --- decoder --------------------------------------------------------------------------------

TEST(LzmDecoder, DecodesEachTokenKind) {
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {bytes({0x03, 0x41, 0x42, 0x43}), "ABC"},
        {bytes({0x00, 0x05, 0x78}), "xxxxx"},
        {bytes({0x00, 0x00, 0x78}), ""},
        {bytes({0x03, 0x61, 0x62, 0x63, 0x80, 0x03}), "abcabc"},
        {bytes({0x70, 0x03, 0x61, 0x62, 0x63}), "abcabc"},
        {bytes({0x03, 0x61, 0x62, 0x63, 0xC4, 0x00, 0x18, 0x64}), "abcdbcd"},
    };
    for (const auto& [payload, text] : rows)
        EXPECT_EQ(decode(payload), text) << text;
}

TEST(LzmDecoder, FieldsAtTheirLimits) {
    const std::string p508 = pattern(508), p4095 = pattern(4095);
    EXPECT_EQ(decode(literal_runs(p508) + bytes({0x7F, 0xFF}) + "xyz"),
              p508 + "xyz" + p508.substr(0, 10));
    EXPECT_EQ(decode(literal_runs(p4095) + bytes({0xBF, 0xFF})), p4095 + p4095.substr(0, 6));
    // 8142 + 15 literals + 34 copied = 8191, the largest block.
    const std::string p8142 = pattern(8142), fifteen = "ABCDEFGHIJKLMNO";
    EXPECT_EQ(decode(literal_runs(p8142) + bytes({0xFF, 0xFE, 0xEF}) + fifteen),
              p8142 + fifteen + p8142.substr(0, 34));
    const std::string p4658 = pattern(4658);
    EXPECT_EQ(decode(literal_runs(p4658) + bytes({0xC9, 0x91, 0xA1}) + "ab"),
              p4658 + "ab" + p4658.substr(0, 12));
}

TEST(LzmDecoder, TruncatedPayloads) {
    const std::string abc = bytes({0x03, 0x61, 0x62, 0x63});
    for (const std::string& payload :
         {bytes({0x03, 0x41, 0x42}), bytes({0x00}), bytes({0x00, 0x05}), abc + bytes({0x41}),
          abc + bytes({0x80}), abc + bytes({0xC0, 0x00}), abc + bytes({0x60, 0x03, 0x78}),
          abc + bytes({0xC8, 0x00, 0x18, 0x78})})
        EXPECT_EQ(decode_error(payload), "out of input buffer error") << payload.size();
}

TEST(LzmDecoder, SizeLimit) {
    std::string runs;
    for (int i = 0; i < 32; ++i)
        runs += bytes({0x00, 0xFF, 0x00}); // 8160 bytes
    EXPECT_EQ(decode(runs + bytes({0x00, 0x1F, 0x01})).size(), 8191u);
    EXPECT_EQ(decode(runs + literal_runs(pattern(28)) + bytes({0x80, 0x03})).size(), 8191u);
    // One byte more through each token kind, at the payload end and far from it.
    const std::string over[] = {
        runs + bytes({0x00, 0x20, 0x01}),
        runs + bytes({0x00, 0x1F, 0x01, 0x01, 0x41}),
        runs + literal_runs(pattern(29)) + bytes({0x80, 0x03}),
        runs + literal_runs(pattern(28)) + bytes({0xC4, 0x00, 0x18, 0x41}),
        runs + literal_runs(pattern(31)) + bytes({0x50, 0x03, 0x41}), // the literal itself
    };
    for (const std::string& payload : over) {
        EXPECT_EQ(decode_error(payload), "LZM decompressed data size too large");
        EXPECT_EQ(decode_error(payload + literal_runs(pattern(40))),
                  "LZM decompressed data size too large");
    }
    // An oversized block is decoded to its end before its size is refused: every byte stays
    // appended, and an input fault further on is the one reported.
    std::string huge;
    for (int i = 0; i < 3000; ++i)
        huge += bytes({0x00, 0xFF, 0x00});
    std::vector<char> out;
    EXPECT_THROW(lzm_decode_block(huge.data(), huge.size(), out), qel::compress_error);
    EXPECT_EQ(out.size(), 3000u * 255u);
    EXPECT_EQ(decode_error(huge + bytes({0x05, 0x61})), "out of input buffer error");
    EXPECT_EQ(decode_error(huge + bytes({0x80, 0x00})), "LZM assert: match offset out of block");
}

TEST(LzmDecoder, InvalidMatches) {
    const std::string out_of_block = "LZM assert: match offset out of block";
    const std::string overlap = "LZM assert: match overlaps its output";
    const std::string abc = bytes({0x03, 0x61, 0x62, 0x63});
    const std::pair<std::string, std::string> cases[] = {
        {bytes({0x80, 0x01}), out_of_block},        {abc + bytes({0x80, 0x00}), out_of_block},
        {abc + bytes({0x80, 0x04}), out_of_block},  {abc + bytes({0xC0, 0x00, 0x20}), out_of_block},
        {bytes({0x50, 0x02, 0x61}), out_of_block}, // the carried literal counts
        {abc + bytes({0x80, 0x02}), overlap},       {bytes({0x50, 0x01, 0x61}), overlap},
        {abc + bytes({0xC0, 0x00, 0x19}), overlap},
    };
    // Also with more payload behind the fault, as in the middle of a block.
    const std::string more = literal_runs(pattern(40));
    for (const auto& [payload, message] : cases) {
        EXPECT_EQ(decode_error(payload), message);
        EXPECT_EQ(decode_error(payload + more), message);
    }
}

// After a run of long matches the fast path copies 32 bytes a match: the faults and the size
// limit still fall where they did, and the bytes before a fault stay.
TEST(LzmDecoder, FaultsAfterLongMatches) {
    std::string payload = literal_runs(pattern(40));
    std::string expected;
    for (std::size_t i = 0; i < 840; ++i)
        expected += pattern(40)[i % 40];
    for (int i = 0; i < 40; ++i)
        payload += bytes({0xC2, 0x01, 0x41}); // "11": length 20, offset 40
    const std::string more = literal_runs(pattern(40));
    const std::pair<std::string, std::string> cases[] = {
        {bytes({0xC2, 0x1A, 0x49}), "LZM assert: match offset out of block"}, // offset 841
        {bytes({0xC2, 0x00, 0x99}), "LZM assert: match overlaps its output"}, // offset 19
    };
    for (const auto& [fault, message] : cases) {
        const std::string faulty = payload + fault + more;
        std::vector<char> out;
        EXPECT_EQ(error_of([&] { lzm_decode_block(faulty.data(), faulty.size(), out); }), message);
        EXPECT_EQ(std::string(out.begin(), out.end()), expected);
    }
    for (int i = 0; i < 367; ++i)
        payload += bytes({0xC2, 0x01, 0x41});
    EXPECT_EQ(decode(payload + bytes({0xC1, 0x01, 0x40})).size(), 8191u); // length 11
    EXPECT_EQ(decode_error(payload + bytes({0xC1, 0x01, 0x41}) + more),
              "LZM decompressed data size too large");
}

// --- round trips ----------------------------------------------------------------------------

void expect_round_trip(const std::string& in) {
    const std::string payload = encode(in);
    ASSERT_EQ(decode(payload), in) << "size " << in.size();
}

TEST(LzmRoundTrip, RandomDataAndRuns) {
    std::mt19937 rng(5);
    for (std::size_t size : {1, 2, 3, 4, 34, 63, 64, 1000, 8190, 8191}) {
        for (unsigned alphabet : {256u, 4u, 2u}) {
            std::string s(size, '\0');
            for (char& c : s)
                c = static_cast<char>(rng() % alphabet);
            expect_round_trip(s);
        }
    }
    for (int round = 0; round < 50; ++round) {
        std::string s;
        while (s.size() < 8191)
            s.append(rng() % (round < 25 ? 8 : 600) + 1, static_cast<char>(rng() % 3));
        s.resize(8191 - static_cast<std::size_t>(round));
        expect_round_trip(s);
    }
}

TEST(LzmRoundTrip, RepeatsAtEveryDistance) {
    std::mt19937 rng(9);
    std::string base(8191, '\0');
    for (char& c : base)
        c = static_cast<char>(rng());
    for (std::size_t distance = 1; distance <= 8190; ++distance) {
        std::string s = base;
        std::size_t len = std::min<std::size_t>(40, 8191 - distance);
        std::size_t from = (8191 - distance - len) / 2;
        for (std::size_t i = 0; i < len; ++i)
            s[from + distance + i] = s[from + i];
        expect_round_trip(s);
        if (HasFatalFailure())
            return;
    }
}

} // namespace
