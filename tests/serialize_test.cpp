// Serialization: the seriated byte form tag by tag (expected bytes worked out by hand from
// the little-endian layout: tag byte, value; strings and arrays with a 32-bit count), the
// typed getters' checks, the << / >> operators, and the chunk framing of the streams.
#include "test_support.h"

#include <qel/compress.h>
#include <qel/serialize.h>
#include <qel/stream.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <ios>
#include <limits>
#include <string>
#include <vector>

namespace {

using bytes = std::vector<char>;
using buffer = qel::seriated_buffer;

bytes hex(std::initializer_list<int> values) {
    bytes b;
    for (int v : values)
        b.push_back(static_cast<char>(v));
    return b;
}
bytes serialized(const buffer& b) {
    bytes out;
    b.get_seriated_data(out);
    return out;
}
// Positioners are indexes in pointer form; pointer arithmetic on them means nothing.
buffer::positioner pos(std::size_t index) {
    return reinterpret_cast<buffer::positioner>(static_cast<std::uintptr_t>(index));
}
bool wide_wchar() {
    return sizeof(wchar_t) > 2;
}

template <class F> testing::AssertionResult throws(F&& f, const std::string& message) {
    try {
        f();
    } catch (const qel::serialize_error& e) {
        if (e.what() == message)
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "serialize_error \"" << e.what() << "\"";
    } catch (const std::exception& e) {
        return testing::AssertionFailure() << "other exception: " << e.what();
    }
    return testing::AssertionFailure() << "no exception, expected \"" << message << "\"";
}

// One element per row: how it is added, its bytes, and a check of the value read back from
// a buffer parsed from those bytes.
struct tag_case {
    const char* name;
    std::function<void(buffer&)> add;
    bytes expected;
    std::function<bool(const buffer&, buffer::positioner)> check;
};

const short int16s[] = {1, 2};
const bool bools[] = {true, false};
const std::int64_t int64s[] = {-2};
const long double long_doubles[] = {0.5L};
const wchar_t wchars[] = {L'A', L'z'};

const std::vector<tag_case> tag_cases = {
    {"bool", [](buffer& b) { b.add_bool(true); }, hex({1, 1}),
     [](const buffer& b, auto p) { return b.get_bool(p); }},
    {"char", [](buffer& b) { b.add_char('a'); }, hex({2, 0x61}),
     [](const buffer& b, auto p) { return b.get_char(p) == 'a'; }},
    {"uint8", [](buffer& b) { b.add_uint8(0xFE); }, hex({3, 0xFE}),
     [](const buffer& b, auto p) { return b.get_uint8(p) == 0xFE; }},
    {"wchar", [](buffer& b) { b.add_wchar(L'\x20AC'); }, hex({4, 0xAC, 0x20}),
     [](const buffer& b, auto p) { return b.get_wchar(p) == L'\x20AC'; }},
    {"int16", [](buffer& b) { b.add_int16(-2); }, hex({5, 0xFE, 0xFF}),
     [](const buffer& b, auto p) { return b.get_int16(p) == -2; }},
    {"uint16", [](buffer& b) { b.add_uint16(0x1234); }, hex({6, 0x34, 0x12}),
     [](const buffer& b, auto p) { return b.get_uint16(p) == 0x1234; }},
    {"int32", [](buffer& b) { b.add_int32(1); }, hex({7, 1, 0, 0, 0}),
     [](const buffer& b, auto p) { return b.get_int32(p) == 1; }},
    {"uint32", [](buffer& b) { b.add_uint32(0x80000001u); }, hex({8, 1, 0, 0, 0x80}),
     [](const buffer& b, auto p) { return b.get_uint32(p) == 0x80000001u; }},
    {"int64", [](buffer& b) { b.add_int64(-1); }, hex({9, 255, 255, 255, 255, 255, 255, 255, 255}),
     [](const buffer& b, auto p) { return b.get_int64(p) == -1; }},
    {"uint64", [](buffer& b) { b.add_uint64(0x0102030405060708u); },
     hex({10, 8, 7, 6, 5, 4, 3, 2, 1}),
     [](const buffer& b, auto p) { return b.get_uint64(p) == 0x0102030405060708u; }},
    {"float", [](buffer& b) { b.add_float(1.0f); }, hex({11, 0, 0, 0x80, 0x3F}),
     [](const buffer& b, auto p) { return b.get_float(p) == 1.0f; }},
    {"double", [](buffer& b) { b.add_double(-2.0); }, hex({12, 0, 0, 0, 0, 0, 0, 0, 0xC0}),
     [](const buffer& b, auto p) { return b.get_double(p) == -2.0; }},
    {"long double", [](buffer& b) { b.add_long_double(0.5L); },
     hex({13, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}),
     [](const buffer& b, auto p) { return b.get_long_double(p) == 0.5L; }},
    {"wstring", [](buffer& b) { b.add_wstring(L"A"); }, hex({15, 1, 0, 0, 0, 0x41, 0}),
     [](const buffer& b, auto p) {
         return b.get_wstring_len(p) == 1 && *b.get_wstring(p) == L'A';
     }},
    {"timeperiod", [](buffer& b) { b.add_timeperiod(qel::time_period(-1)); },
     hex({16, 255, 255, 255, 255}),
     [](const buffer& b, auto p) { return b.get_timeperiod(p).get() == -1; }},
    {"time", [](buffer& b) { b.add_time(qel::time(258)); }, hex({17, 2, 1, 0, 0}),
     [](const buffer& b, auto p) { return b.get_time(p).get() == 258; }},
    {"date", [](buffer& b) { b.add_date(qel::date(730500)); }, hex({18, 0x84, 0x25, 0x0B, 0}),
     [](const buffer& b, auto p) { return b.get_date_val(p) == 730500; }},
    {"datetime", [](buffer& b) { b.add_datetime(qel::timestamp(6311520000005)); },
     hex({19, 5, 0, 0, 0, 0x84, 0x25, 0x0B, 0}),
     [](const buffer& b, auto p) {
         int day = 0, tv = 0;
         b.get_datetime_val(p, day, tv);
         return day == 730500 && tv == 5 && b.get_datetime(p).get() == 6311520000005;
     }},
    {"timeinterval", [](buffer& b) { b.add_timeinterval(qel::time_interval(256)); },
     hex({20, 0, 1, 0, 0, 0, 0, 0, 0}),
     [](const buffer& b, auto p) { return b.get_timeinterval_val(p) == 256; }},
    {"timestamp", [](buffer& b) { b.add_timestamp(qel::timestamp(6311520000005)); },
     hex({21, 0x05, 0x58, 0xE8, 0x83, 0xBD, 0x05, 0, 0}),
     [](const buffer& b, auto p) { return b.get_timestamp(p).get() == 6311520000005; }},
    {"string", [](buffer& b) { b.add_string("ab"); }, hex({22, 2, 0, 0, 0, 0x61, 0x62}),
     [](const buffer& b, auto p) {
         std::string s;
         b.get_string(p, s);
         return s == "ab" && b.get_string_len(p) == 2;
     }},
    {"empty string", [](buffer& b) { b.add_string(std::string()); }, hex({22, 0, 0, 0, 0}),
     [](const buffer& b, auto p) { return b.get_string(p) == nullptr; }},
    {"bool array", [](buffer& b) { b.add_bool(bools, 2); }, hex({33, 2, 0, 0, 0, 1, 0}),
     [](const buffer& b, auto p) {
         bool out[2] = {};
         return b.get_bool(p, out, 2) == 2 && out[0] && !out[1];
     }},
    {"wchar array", [](buffer& b) { b.add_wchar(wchars, 2); },
     hex({36, 2, 0, 0, 0, 0x41, 0, 0x7A, 0}),
     [](const buffer& b, auto p) {
         wchar_t out[2] = {};
         return b.get_wchar(p, out, 2) == 2 && out[1] == L'z';
     }},
    {"int16 array", [](buffer& b) { b.add_int16(int16s, 2); }, hex({37, 2, 0, 0, 0, 1, 0, 2, 0}),
     [](const buffer& b, auto p) {
         short out[2] = {};
         return b.get_int16(p, out, 2) == 2 && out[0] == 1 && out[1] == 2;
     }},
    {"int64 array", [](buffer& b) { b.add_int64(int64s, 1); },
     hex({41, 1, 0, 0, 0, 0xFE, 255, 255, 255, 255, 255, 255, 255}),
     [](const buffer& b, auto p) {
         std::int64_t out = 0;
         return b.get_int64(p, &out, 1) == 1 && out == -2;
     }},
    {"long double array", [](buffer& b) { b.add_long_double(long_doubles, 1); },
     hex({45, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}),
     [](const buffer& b, auto p) {
         long double out = 0;
         return b.get_long_double(p, &out, 1) == 1 && out == 0.5L;
     }},
    {"empty array", [](buffer& b) { b.add_int32(static_cast<const int*>(nullptr), 0); },
     hex({39, 0, 0, 0, 0}),
     [](const buffer& b, auto p) { return b.get_int32(p, nullptr, 0) == 0; }},
    {"dump", [](buffer& b) { b.add_dump("\x01\xFF", 2); }, hex({46, 2, 0, 0, 0, 1, 0xFF}),
     [](const buffer& b, auto p) {
         bytes out;
         b.get_dump(p, out);
         return out == hex({1, 0xFF});
     }},
};

TEST(SeriatedBuffer, EachTagHasItsBytesAndParsesBack) {
    buffer all;
    bytes concatenated;
    for (const auto& c : tag_cases) {
        SCOPED_TRACE(c.name);
        buffer one;
        c.add(one);
        c.add(all);
        EXPECT_EQ(serialized(one), c.expected);
        concatenated.insert(concatenated.end(), c.expected.begin(), c.expected.end());
        buffer parsed(c.expected);
        ASSERT_EQ(parsed.size(), 1u);
        EXPECT_TRUE(c.check(parsed, parsed.begin()));
        EXPECT_EQ(serialized(parsed), c.expected);
    }
    // Concatenated data is the data of the concatenated sequences.
    EXPECT_EQ(serialized(all), concatenated);
    EXPECT_TRUE(serialized(buffer()).empty());
    bytes tail;
    all.get_seriated_data_range(pos(1), pos(3), tail);
    EXPECT_EQ(tail, hex({2, 0x61, 3, 0xFE}));
}

TEST(SeriatedBuffer, GettersCheckTypeArrayAndCapacity) {
    buffer b;
    b.add_int64(5);
    b.add_int32(7);
    const int three[] = {1, 2, 3};
    b.add_int32(three, 3);
    b.add_double(1.0);
    EXPECT_TRUE(throws([&] { b.get_int32(pos(0)); }, "extracted data type mismatch"));
    EXPECT_TRUE(throws([&] { b.get_int32(pos(1), nullptr, 0); }, "extracted data is not an array"));
    EXPECT_TRUE(throws([&] { b.get_int32(pos(2)); }, "extracted data type mismatch"));
    EXPECT_TRUE(throws([&] { b.get_long_double(pos(3)); }, "extracted data type mismatch"));
    EXPECT_TRUE(throws([&] { b.get_string_len(pos(1)); }, "extracted data type mismatch"));
    EXPECT_TRUE(throws([&] { b.get_int32(b.end()); }, "bad extract positioner"));
    int out[3] = {};
    EXPECT_EQ(b.get_int32(pos(2), nullptr, 0), 3u);
    EXPECT_TRUE(throws([&] { b.get_int32(pos(2), out, 2); }, "array buffer too small"));
    EXPECT_EQ(b.get_int32(pos(2), out, 3), 3u);
    EXPECT_EQ(out[2], 3);
    EXPECT_EQ(b.position(b.end()), 4u);
    // Failed adds leave the buffer as it was.
    EXPECT_TRUE(
        throws([&] { b.add_int16(static_cast<const short*>(nullptr), 1); }, "bad array pointer"));
    EXPECT_EQ(b.size(), 4u);
}

TEST(SeriatedBuffer, StringLengthLimit) {
    buffer b;
    EXPECT_TRUE(throws([&] { b.add_string(std::string(0x1000000, 'x')); }, "string too long"));
    b.add_string(std::string(0xFFFFFF, 'x'));
    EXPECT_EQ(b.get_string_len(b.begin()), 0xFFFFFFu);
    // Wide text counts UTF-16 units: one character above U+FFFF takes two where wchar_t is
    // 32 bits, and is already a pair of units where it is 16 bits.
    std::wstring wide(0xFFFFFE, L'a');
    wide += qel_test::units(wide_wchar() ? std::initializer_list<unsigned>{0x1F600}
                                         : std::initializer_list<unsigned>{0xD83D});
    if (wide_wchar())
        EXPECT_TRUE(throws([&] { b.add_wstring(wide); }, "string too long"));
    else
        EXPECT_NO_THROW(b.add_wstring(wide));
    // The parser checks the bytes first, then the limit.
    bytes huge = hex({22, 0, 0, 0, 1});
    EXPECT_TRUE(throws([&] { buffer{huge}; }, "seriated data broken"));
    huge.resize(5 + 0x1000000, 'x');
    EXPECT_TRUE(throws([&] { buffer{huge}; }, "string too long"));
}

TEST(SeriatedBuffer, ParserRejectsBrokenData) {
    const struct {
        bytes data;
        const char* message;
    } cases[] = {
        {hex({7, 1, 0}), "seriated data broken"},
        {hex({0}), "deserialization unsupported type"},
        {hex({14, 0}), "deserialization unsupported type"},
        {hex({23}), "deserialization unsupported type"},
        {hex({0x20, 0, 0, 0, 0}), "non-plain data type"},
        {hex({0x2F, 0, 0, 0, 0}), "non-plain data type"},
        {hex({0x36, 0, 0, 0, 0}), "non-plain data type"},
        {hex({0x80}), "non-plain data type"},
        {hex({39, 2, 0, 0, 0, 1, 0, 0, 0}), "seriated data broken"},
        {hex({39, 0xFF, 0xFF, 0xFF, 0xFF}), "seriated data broken"},
        {hex({15, 2, 0, 0, 0, 0x41, 0}), "seriated data broken"},
        {hex({22, 1, 0, 0}), "seriated data broken"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        EXPECT_TRUE(throws([&] { buffer{c.data}; }, c.message));
    }
    // Elements before the error stay.
    buffer b;
    EXPECT_TRUE(throws([&] { b.set_seriated_data(hex({1, 1, 7, 1})); }, "seriated data broken"));
    EXPECT_EQ(b.size(), 1u);
}

TEST(SeriatedBuffer, WhatParsesWritesBackUnchanged) {
    // Spare tag bits, a dump given as base 14 with bit 7, arrays of the time types.
    const bytes data = hex({0x47, 1, 0, 0, 0, 0x8E, 1, 0, 0,    0, 9, 0x73, 1, 0,    0, 0,
                            1,    0, 0, 0, 2, 0,    0, 0, 0xD2, 0, 0, 0,    0, 0x81, 0});
    buffer b(data);
    EXPECT_EQ(b.get_int32(b.begin()), 1);
    EXPECT_EQ(b.get_dump(pos(1), nullptr, 0), 1u);
    EXPECT_TRUE(throws([&] { b.get_int32(pos(2), nullptr, 0); }, "extracted data type mismatch"));
    EXPECT_EQ(b.get_date_val(pos(3)), 0);
    EXPECT_FALSE(b.get_bool(pos(4)));
    EXPECT_EQ(serialized(b), data);
}

TEST(SeriatedBuffer, WideTextCrossesAsUtf16) {
    // U+1F600 is the pair D83D DE00 in the byte form.
    const std::wstring text =
        wide_wchar() ? qel_test::units({0x1F600, 0x41}) : qel_test::units({0xD83D, 0xDE00, 0x41});
    const bytes form = hex({15, 3, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE, 0x41, 0});
    buffer b;
    b.add_wstring(text);
    EXPECT_EQ(serialized(b), form);
    buffer back(form);
    std::wstring read;
    back.get_wstring(back.begin(), read);
    EXPECT_EQ(read, text);
    EXPECT_EQ(back.get_wstring_len(back.begin()), text.size());
    // A lone surrogate passes as its value.
    buffer lone(hex({15, 2, 0, 0, 0, 0x00, 0xD8, 0x41, 0}));
    lone.get_wstring(lone.begin(), read);
    EXPECT_EQ(read, qel_test::units({0xD800, 0x41}));
    if (wide_wchar()) {
        buffer w;
        w.add_wchar(static_cast<wchar_t>(0x1F600));
        EXPECT_EQ(serialized(w), hex({4, 0xFD, 0xFF}));
    }
}

TEST(SerializeOperators, EveryTypeRoundTrips) {
    qel::out_serialize out;
    out << true << 'c' << static_cast<unsigned char>(200) << L'w' << static_cast<short>(-3)
        << static_cast<unsigned short>(60000) << -4 << 4000000000u << std::int64_t{-5}
        << std::uint64_t{1} << 1.5f << 2.5 << 3.5L << qel::time_period(7) << qel::time(8)
        << qel::date(9) << qel::time_interval(10) << qel::timestamp(11) << std::wstring(L"w")
        << std::string("s") << L"wide" << "narrow" << static_cast<const char*>(nullptr) << 12LL
        << 13ULL;
    out.add_uint8(std::vector<unsigned char>{1, 2}.data(), 2);
    out.add_dump(std::vector<char>{'d'});
    bytes data;
    out.get_seriated_data(data);
    qel::in_serialize in(data);
    bool b = false;
    char c = 0;
    unsigned char uc = 0;
    wchar_t wc = 0;
    short s = 0;
    unsigned short us = 0;
    int i = 0;
    unsigned u = 0;
    std::int64_t i64 = 0;
    std::uint64_t u64 = 0;
    float f = 0;
    double d = 0;
    long double ld = 0;
    qel::time_period tp;
    qel::time t;
    qel::date dt;
    qel::time_interval ti;
    qel::timestamp ts;
    std::wstring ws, ws2;
    std::string ns, ns2, empty = "x";
    long long ll = 0;
    unsigned long long ull = 0;
    in >> b >> c >> uc >> wc >> s >> us >> i >> u >> i64 >> u64 >> f >> d >> ld >> tp >> t >> dt >>
        ti >> ts >> ws >> ns >> ws2 >> ns2 >> empty >> ll >> ull;
    EXPECT_TRUE(b && c == 'c' && uc == 200 && wc == L'w' && s == -3 && us == 60000 && i == -4 &&
                u == 4000000000u && i64 == -5 && u64 == 1 && f == 1.5f && d == 2.5 && ld == 3.5L);
    EXPECT_TRUE(tp.get() == 7 && t.get() == 8 && dt.get() == 9 && ti.get() == 10 &&
                ts.get() == 11 && ws == L"w" && ns == "s" && ws2 == L"wide" && ns2 == "narrow" &&
                empty.empty() && ll == 12 && ull == 13);
    EXPECT_EQ(in.get_byte_array(nullptr, 0), 2u);
    unsigned char pair[2] = {};
    EXPECT_EQ(in.get_byte_array(pair, 2), 2u);
    EXPECT_EQ(pair[1], 2);
    bytes dump;
    in.get_dump_data(dump);
    EXPECT_EQ(dump, bytes{'d'});
    EXPECT_TRUE(throws([&] { in >> i; }, "bad extract positioner"));
}

// The array types the tag table leaves out, through add_ and the in_serialize getters.
template <class T, class Add, class Get>
void array_round_trip(const std::vector<T>& v, Add add, Get get) {
    qel::inout_serialize io;
    (io.*add)(v.data(), v.size());
    std::vector<T> back(v.size());
    EXPECT_EQ((io.*get)(nullptr, 0), v.size());
    EXPECT_EQ((io.*get)(back.data(), back.size()), v.size());
    EXPECT_EQ(back, v);
}

TEST(SerializeOperators, ArraysRoundTrip) {
    using io = qel::inout_serialize;
    using buf = qel::seriated_buffer;
    array_round_trip<char>({'a', '\xFF'},
                           static_cast<void (buf::*)(const char*, std::size_t)>(&buf::add_char),
                           &io::get_char_array);
    array_round_trip<unsigned short>(
        {1, 65535},
        static_cast<void (buf::*)(const unsigned short*, std::size_t)>(&buf::add_uint16),
        &io::get_uint16_array);
    array_round_trip<unsigned>(
        {0, 0xFFFFFFFFu},
        static_cast<void (buf::*)(const unsigned*, std::size_t)>(&buf::add_uint32),
        &io::get_uint32_array);
    array_round_trip<std::uint64_t>(
        {~std::uint64_t{0}},
        static_cast<void (buf::*)(const std::uint64_t*, std::size_t)>(&buf::add_uint64),
        &io::get_uint64_array);
    array_round_trip<float>({-0.5f, 3e38f},
                            static_cast<void (buf::*)(const float*, std::size_t)>(&buf::add_float),
                            &io::get_float_array);
    array_round_trip<double>(
        {1e-300, -2.0}, static_cast<void (buf::*)(const double*, std::size_t)>(&buf::add_double),
        &io::get_double_array);
    array_round_trip<int>({}, static_cast<void (buf::*)(const int*, std::size_t)>(&buf::add_int32),
                          &io::get_int32_array);
}

TEST(SerializeOperators, PositionRules) {
    qel::inout_serialize io;
    io << 1 << 2.5 << std::string("x");
    io.add_timestamp_val(21);
    int i = 0;
    std::int64_t wide_int = 0;
    EXPECT_TRUE(throws([&] { io >> wide_int; }, "extracted data type mismatch"));
    EXPECT_EQ(io.position(io.current()), 0u); // failed reads do not advance
    io >> i;
    io.skip();
    io.skip();
    EXPECT_EQ(io.extract_chrono(), 21);
    EXPECT_TRUE(throws([&] { io >> i; }, "bad extract positioner"));
    io.set_current(pos(1));
    double d = 0;
    io >> d;
    EXPECT_EQ(d, 2.5);
    // Appending restarts reading at the first element; clearing empties everything.
    io.append_seriated_data(hex({7, 9, 0, 0, 0}));
    io >> i;
    EXPECT_EQ(i, 1);
    io.clear();
    EXPECT_EQ(io.size(), 0u);
    EXPECT_EQ(io.position(io.current()), 0u);
    io << 3;
    io >> i;
    EXPECT_EQ(i, 3);
    qel::inout_serialize moved(std::move(io));
    EXPECT_EQ(moved.position(moved.current()), 1u);
    EXPECT_EQ(io.size(), 0u);
    EXPECT_EQ(io.position(io.current()), 0u);
}

// --- streams ---------------------------------------------------------------------------

bytes contents(qel::memory_stream& s) {
    bytes b(static_cast<std::size_t>(s.get_size()));
    s.seek(0, std::ios_base::beg, std::ios_base::in);
    std::size_t count = 0;
    s.read(b.data(), b.size(), &count);
    b.resize(count);
    s.reset();
    s.seek(0, std::ios_base::beg, std::ios_base::in);
    return b;
}
qel::memory_stream stream_of(const bytes& b) {
    qel::memory_stream s;
    s.write(b.data(), b.size());
    s.seek(0, std::ios_base::beg, std::ios_base::in);
    return s;
}
bytes chunk(const bytes& body) {
    bytes c = hex({0x10, 0x1B, 0xE3, 0xCA, 0, 0, 0, 0});
    for (int i = 0; i < 8; ++i)
        c.push_back(static_cast<char>(static_cast<std::uint64_t>(body.size()) >> (8 * i)));
    c.insert(c.end(), body.begin(), body.end());
    return c;
}

TEST(SerializeStream, ChunksOf1024Elements) {
    qel::memory_stream target;
    {
        qel::out_serialize_stream out(target.get_interface());
        for (int i = 0; i < 2500; ++i)
            out << i;
    }
    // Three chunks of 1024, 1024 and 452 elements: bodies of 5120, 5120 and 2260 bytes.
    bytes expected;
    for (int first : {0, 1024, 2048}) {
        buffer part;
        for (int i = first; i < std::min(first + 1024, 2500); ++i)
            part.add_int32(i);
        const bytes framed = chunk(serialized(part));
        expected.insert(expected.end(), framed.begin(), framed.end());
    }
    EXPECT_EQ(expected.size(), 3 * 16 + 5120 + 5120 + 2260u);
    EXPECT_EQ(contents(target), expected);
    qel::in_serialize_stream in(target.get_interface());
    int value = -1;
    for (int i = 0; i < 2500; ++i) {
        in >> value;
        ASSERT_EQ(value, i);
    }
    EXPECT_TRUE(in.eof());
    EXPECT_TRUE(throws([&] { in >> value; }, "bad extract positioner"));
}

TEST(SerializeStream, FlushAndAppendWriteWholeChunks) {
    qel::memory_stream target;
    {
        qel::out_serialize_stream out(target.get_interface());
        out << 1;
        out.flush();
        out.flush();
        out.append_seriated_data(hex({1, 1}));
        out << 2;
        qel::out_serialize_stream moved(std::move(out));
        moved << 3;
    }
    const bytes expected = [] {
        bytes b = chunk(hex({7, 1, 0, 0, 0}));
        for (const bytes& part : {chunk(hex({1, 1})), chunk(hex({7, 2, 0, 0, 0, 7, 3, 0, 0, 0}))})
            b.insert(b.end(), part.begin(), part.end());
        return b;
    }();
    EXPECT_EQ(contents(target), expected);
    qel::memory_stream nothing;
    { qel::out_serialize_stream out(nothing.get_interface()); }
    EXPECT_EQ(nothing.get_size(), 0);
    // Skipping across a chunk boundary skips the next chunk's first element.
    qel::in_serialize_stream in(target.get_interface());
    int i = 0;
    in.skip();
    in.skip();
    in >> i;
    EXPECT_EQ(i, 2);
}

TEST(SerializeStream, HostileInput) {
    bytes too_big = chunk({});
    too_big[8 + 4] = 0x40; // 2^38 bytes announced, nothing follows
    bytes just_over = chunk({});
    just_over[8 + 3] = 0x40; // 1 GiB + 1
    just_over[8] = 1;
    bytes short_body = chunk(hex({7, 1, 0, 0, 0}));
    short_body.pop_back();
    bytes bad_magic = chunk(hex({7, 1, 0, 0, 0}));
    bad_magic[3] = 0;
    const struct {
        bytes data;
        const char* message;
    } cases[] = {
        {bad_magic, "serialization data corrupted"},  {too_big, "serialization data corrupted"},
        {just_over, "serialization data corrupted"},  {short_body, "unexpected end of file"},
        {chunk(hex({7, 1})), "seriated data broken"}, {chunk({}), "bad extract positioner"},
        {bytes(15, 0x10), "bad extract positioner"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        qel::memory_stream source = stream_of(c.data);
        qel::in_serialize_stream in(source.get_interface());
        int i = 0;
        EXPECT_TRUE(throws([&] { in >> i; }, c.message));
    }
    // A target that refuses bytes.
    char room[21]; // one chunk of one int32
    qel::memory_stream full(room, sizeof room, std::ios_base::out);
    qel::out_serialize_stream out(full.get_interface());
    out << 1;
    EXPECT_NO_THROW(out.flush());
    out << 2;
    EXPECT_TRUE(throws([&] { out.flush(); }, "serialization io error"));
}

TEST(SerializeStream, ThroughLzmCompression) {
    qel::memory_stream packed;
    {
        auto deflating = qel::deflate_stream_factory(packed.get_interface(), qel::compress_lzm);
        qel::out_serialize_stream out(*deflating);
        for (int i = 0; i < 3000; ++i)
            out << std::wstring(L"element") << i;
    }
    packed.seek(0, std::ios_base::beg, std::ios_base::in);
    auto inflating = qel::inflate_stream_factory(packed.get_interface(), qel::compress_lzm);
    qel::in_serialize_stream in(*inflating);
    std::wstring text;
    int value = 0;
    for (int i = 0; i < 3000; ++i) {
        in >> text >> value;
        ASSERT_EQ(value, i);
    }
    EXPECT_TRUE(throws([&] { in >> value; }, "bad extract positioner"));
}

} // namespace
