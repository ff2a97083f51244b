// Compression API: the buffering stream shells, method dispatch, the one-call contract, the
// lzm format at block and stream level, and the zlib method. Expected bytes follow the lzm
// format rules (header 5B 5A, little-endian payload length, tokens) worked out by hand.
#include "test_support.h"

#include <qel/compress.h>
#include <qel/stream.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <ios>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using bytes = std::vector<char>;
constexpr int lzm = qel::compress_lzm;
constexpr int zlib = qel::compress_zlib;
constexpr int in = std::ios_base::in;
constexpr int out_mode = std::ios_base::out;

bytes hex(std::initializer_list<int> values) {
    bytes b;
    for (int v : values)
        b.push_back(static_cast<char>(v));
    return b;
}
bytes of(const std::string& s) {
    return bytes(s.begin(), s.end());
}
std::string str(const bytes& b) {
    return std::string(b.begin(), b.end());
}
bytes cat(bytes a, const bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
bytes random_data(std::size_t n, std::uint32_t seed) {
    return of(qel_test::random_bytes(n, seed));
}

// Random stretches, byte runs and copies of earlier bytes at distances up to 8190.
bytes mixed_data(std::size_t n, std::uint32_t seed) {
    std::mt19937 engine(seed);
    bytes b;
    while (b.size() < n) {
        switch (engine() % 3) {
        case 0:
            for (auto i = engine() % 300; i > 0; --i)
                b.push_back(static_cast<char>(engine()));
            break;
        case 1:
            b.insert(b.end(), engine() % 600, static_cast<char>(engine()));
            break;
        default:
            if (!b.empty()) {
                std::size_t dist = 1 + engine() % std::min<std::size_t>(b.size(), 8190);
                for (auto i = 3 + engine() % 40; i > 0; --i)
                    b.push_back(b[b.size() - dist]);
            }
        }
    }
    b.resize(n);
    return b;
}

// Everything written to a memory stream, read from its start.
bytes contents(qel::memory_stream& s) {
    bytes b(static_cast<std::size_t>(s.get_size()));
    s.seek(0, std::ios_base::beg, in);
    std::size_t count = 0;
    s.read(b.data(), b.size(), &count);
    b.resize(count);
    return b;
}
qel::memory_stream source_of(const bytes& b) {
    qel::memory_stream s;
    if (!b.empty())
        s.write(b.data(), b.size());
    return s;
}

// Decoded sizes of the lzm blocks in `data`; each header is checked and each block is
// decoded on its own. `decoded` receives the concatenation.
std::vector<std::size_t> lzm_blocks(const bytes& data, bytes* decoded = nullptr) {
    std::vector<std::size_t> sizes;
    std::size_t at = 0;
    while (at < data.size()) {
        if (at + 4 > data.size() || data[at] != 0x5B || data[at + 1] != 0x5A) {
            ADD_FAILURE() << "no block header at " << at;
            break;
        }
        std::size_t payload = static_cast<unsigned char>(data[at + 2]) |
                              static_cast<std::size_t>(static_cast<unsigned char>(data[at + 3]))
                                  << 8;
        if (at + 4 + payload > data.size()) {
            ADD_FAILURE() << "block at " << at << " runs past the end";
            break;
        }
        bytes block;
        qel::lzm_inflate(data.data() + at, 4 + payload, block);
        sizes.push_back(block.size());
        if (decoded)
            decoded->insert(decoded->end(), block.begin(), block.end());
        at += 4 + payload;
    }
    return sizes;
}

template <class F>
testing::AssertionResult throws_compress_error(F&& f, const std::string& message, int code = 0) {
    try {
        f();
    } catch (const qel::compress_error& e) {
        if (e.what() == message && e.code() == code)
            return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << "compress_error \"" << e.what() << "\" code " << e.code();
    } catch (const std::exception& e) {
        return testing::AssertionFailure() << "other exception: " << e.what();
    }
    return testing::AssertionFailure() << "no exception, expected \"" << message << "\"";
}

// A wrapped stream that records what reaches it; error() answers as told.
class recording_target : public qel::IStream {
public:
    bytes written;
    int writes = 0, flushes = 0;
    bool error_answer = false;

    void read(void*, std::size_t, std::size_t* count) override {
        if (count)
            *count = 0;
    }
    void write(const void* data, std::size_t n) override {
        ++writes;
        auto p = static_cast<const char*>(data);
        written.insert(written.end(), p, p + n);
    }
    char get() override { return 0; }
    void put(char c) override { write(&c, 1); }
    void flush() override { ++flushes; }
    void reset() override {}
    bool error() const override { return error_answer; }
    bool eof() const override { return false; }
    bool ok() const override { return !error_answer; }
    std::fpos<int> seek(std::fpos<int>, int, int) override { return -1; }
    std::fpos<int> get_pos(int) override { return -1; }
    std::int64_t get_size() override { return 0; }
};

constexpr auto lzm_deflate_fn = [](auto&&... a) { qel::lzm_deflate(a...); };
constexpr auto lzm_inflate_fn = [](auto&&... a) { qel::lzm_inflate(a...); };
constexpr auto zlib_deflate_fn = [](auto&&... a) { qel::zlib_deflate(a...); };
constexpr auto zlib_inflate_fn = [](auto&&... a) { qel::zlib_inflate(a...); };

// The outputs of the ten one-call forms, each into a fresh output; `streamed` serves the
// forms with stream input.
template <class F, class G> std::vector<bytes> ten_forms(F f, G streamed, const bytes& input) {
    const char* p = input.data();
    const std::size_t n = input.size();
    std::ostringstream o3, o4, o9;
    qel::memory_stream m5, m6, m10;
    bytes v1, v2, v7, v8;
    std::istringstream s7(str(input)), s9(str(input));
    auto m8 = source_of(input), m10in = source_of(input);
    f(p, n, v1);
    f(input, v2);
    f(p, n, o3);
    f(input, o4);
    f(p, n, m5.get_interface());
    f(input, m6.get_interface());
    streamed(static_cast<std::istream&>(s7), v7);
    streamed(m8.get_interface(), v8);
    streamed(static_cast<std::istream&>(s9), o9);
    streamed(m10in.get_interface(), m10.get_interface());
    return {v1,           v2, of(o3.str()), of(o4.str()), contents(m5),
            contents(m6), v7, v8,           of(o9.str()), contents(m10)};
}
template <class F>
std::vector<bytes> deflate_forms(F f, const bytes& input, std::int64_t size = -1) {
    return ten_forms(
        f, [&](auto& i, auto& o) { f(i, o, size); }, input);
}
template <class F> std::vector<bytes> inflate_forms(F f, const bytes& input) {
    return ten_forms(f, f, input);
}

// Everything an inflate_stream delivers, read in pieces of `piece` bytes.
bytes drain(qel::inflate_stream& s, std::size_t piece = 5000) {
    bytes all, buffer(piece);
    for (;;) {
        std::size_t count = piece + 1;
        s.read(buffer.data(), piece, &count);
        EXPECT_LE(count, piece);
        all.insert(all.end(), buffer.begin(), buffer.begin() + std::min(count, piece));
        if (count < piece)
            return all;
    }
}

const bytes abc_block = hex({0x5B, 0x5A, 0x04, 0x00, 0x03, 0x41, 0x42, 0x43});
const bytes run_block = hex({0x5B, 0x5A, 0x03, 0x00, 0x00, 0x05, 0x78});

// ---------------------------------------------------------------------------------------
// Deflating and inflating stream shells

TEST(CompressShellTest, LzmFlushEndsBlockAndDestructorEmitsTheRest) {
    recording_target target;
    const bytes first = of("0123456789"), second = of("abcdefghij");
    {
        qel::deflate_stream s(target, lzm);
        s.write(first.data(), first.size());
        EXPECT_TRUE(target.written.empty());
        s.flush();
        EXPECT_EQ(target.written, cat(hex({0x5B, 0x5A, 0x0B, 0x00, 0x0A}), first));
        s.flush(); // nothing new: no further block
        s.write(second.data(), second.size());
        EXPECT_EQ(target.written.size(), 15u);
    }
    EXPECT_EQ(target.written, cat(cat(hex({0x5B, 0x5A, 0x0B, 0x00, 0x0A}), first),
                                  cat(hex({0x5B, 0x5A, 0x0B, 0x00, 0x0A}), second)));
    bytes decoded;
    qel::lzm_inflate(target.written, decoded);
    EXPECT_EQ(decoded, cat(first, second));
}

TEST(CompressShellTest, NothingReachesTheTargetBeforeTheThreshold) {
    const bytes input = random_data(70000, 2);
    recording_target l;
    {
        qel::deflate_stream s(l, lzm);
        for (std::size_t i = 0; i < 8190; ++i)
            s.put(input[i]);
        EXPECT_EQ(l.writes, 0);
        s.put(input[8190]);
        bytes decoded;
        EXPECT_EQ(lzm_blocks(l.written, &decoded), std::vector<std::size_t>{8191});
        EXPECT_EQ(decoded, bytes(input.begin(), input.begin() + 8191));
    }
    recording_target z;
    {
        qel::deflate_stream s(z, zlib);
        for (std::size_t at = 0; at < 65534; at += 1000)
            s.write(input.data() + at, std::min<std::size_t>(1000, 65534 - at));
        EXPECT_EQ(z.writes, 0);
        s.write(input.data() + 65534, 1);
        // 65535 incompressible bytes fill zlib's block buffer several times.
        EXPECT_GT(z.written.size(), 0u);
        s.write(input.data() + 65535, 4465); // below the threshold again
        s.flush();
    }
    bytes decoded;
    qel::zlib_inflate(z.written, decoded);
    EXPECT_EQ(decoded, bytes(input.begin(), input.begin() + 70000));
}

TEST(CompressShellTest, DestructorEmitsPendingDataAndSwallowsErrors) {
    const bytes input = mixed_data(3000, 3);
    for (int method : {lzm, zlib}) {
        recording_target target;
        {
            qel::deflate_stream s(target, method);
            s.write(input.data(), input.size());
            EXPECT_EQ(target.writes, 0);
        }
        bytes decoded;
        qel::inflate(method, target.written, decoded);
        EXPECT_EQ(decoded, input);
        EXPECT_EQ(target.flushes, 0);

        char buffer[5] = {};
        qel::memory_stream full(buffer, sizeof buffer, out_mode);
        {
            qel::deflate_stream s(full.get_interface(), method);
            s.write(input.data(), input.size());
            EXPECT_TRUE(throws_compress_error([&] { s.flush(); }, "output stream error"));
            s.write(input.data(), 10);
        } // the destructor's failure does not escape

        // A moved-from stream is spent: it moves no bytes and is never ok.
        recording_target unused;
        qel::deflate_stream from(unused, method);
        qel::deflate_stream to(std::move(from));
        qel::inflate_stream source(unused, method);
        qel::inflate_stream taken(std::move(source));
        from.write(input.data(), input.size());
        from.flush();
        std::size_t count = 7;
        source.read(buffer, 1, &count);
        EXPECT_EQ(count, 0u);
        EXPECT_TRUE(unused.written.empty());
        EXPECT_TRUE(!from.ok() && from.error() && !source.ok() && source.error());
    }
}

TEST(CompressShellTest, InflatePositionCountsUndeliveredBytesAndGetEndsWithZero) {
    auto source = source_of(cat(abc_block, run_block)); // 8 + 7 compressed bytes
    qel::inflate_stream s(source.get_interface(), lzm);
    qel::IStream& si = s.get_interface();
    EXPECT_EQ(si.get_size(), 15);
    EXPECT_EQ(std::streamoff(si.get_pos(in)), 0);
    EXPECT_EQ(s.get(), 'A');
    EXPECT_EQ(std::streamoff(si.get_pos(in)), 8 - 2);
    EXPECT_EQ(s.get(), 'B');
    EXPECT_EQ(s.get(), 'C');
    EXPECT_EQ(std::streamoff(si.get_pos(in)), 8);
    EXPECT_EQ(s.get(), 'x');
    EXPECT_EQ(std::streamoff(si.get_pos(in)), 15 - 4);
    char rest[8] = {};
    std::size_t count = 0;
    s.read(rest, 4, &count);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(std::string(rest, 4), "xxxx");
    EXPECT_FALSE(s.eof());
    EXPECT_EQ(s.get(), '\0');
    EXPECT_TRUE(s.eof());
    s.read(rest, 8, &count);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(si.get_size(), 15);

    // The wrapped stream can be at its end while decoded bytes still wait.
    bytes packed;
    qel::zlib_deflate(of("hello"), packed);
    auto zsource = source_of(packed);
    qel::inflate_stream z(zsource.get_interface(), zlib);
    EXPECT_EQ(z.get(), 'h');
    EXPECT_TRUE(zsource.eof());
    EXPECT_FALSE(z.eof());
    EXPECT_EQ(z.get_interface().get_size(), static_cast<std::int64_t>(packed.size()));
    EXPECT_EQ(str(drain(z)), "ello");
    EXPECT_TRUE(z.eof());
    EXPECT_EQ(z.get(), '\0');
}

// ---------------------------------------------------------------------------------------
// Method dispatch

// ---------------------------------------------------------------------------------------
// One-call contract

TEST(CompressOneCallTest, VectorOutputIsOverwrittenFromIndexZeroExceptLzmInflateAppends) {
    const bytes a_block = hex({0x5B, 0x5A, 0x02, 0x00, 0x01, 0x41});
    bytes out(20, '#');
    qel::lzm_deflate("A", 1, out);
    EXPECT_EQ(out, cat(a_block, bytes(14, '#')));
    out = bytes(20, '#');
    std::istringstream is("AB");
    qel::lzm_deflate(is, out, 0);
    EXPECT_EQ(out, cat(hex({0x5B, 0x5A, 0x03, 0x00, 0x02, 0x41, 0x42}), bytes(13, '#')));
    out = bytes(2, '#');
    qel::lzm_deflate("A", 1, out);
    EXPECT_EQ(out, a_block);

    const bytes text = of("hello, hello, hello");
    bytes packed;
    qel::zlib_deflate(text, packed);
    out = bytes(1000, '#');
    qel::zlib_deflate(text, out);
    EXPECT_EQ(out, cat(packed, bytes(1000 - packed.size(), '#')));

    out = bytes(100, '#');
    qel::zlib_inflate(packed, out);
    EXPECT_EQ(out, cat(text, bytes(100 - text.size(), '#')));
    out = bytes(100, '#');
    std::istringstream zs(str(packed));
    qel::zlib_inflate(zs, out);
    EXPECT_EQ(out, cat(text, bytes(100 - text.size(), '#')));

    out = of("pre");
    qel::lzm_inflate(abc_block, out);
    EXPECT_EQ(str(out), "preABC");
    std::istringstream ls(str(run_block));
    qel::lzm_inflate(ls, out);
    auto ms = source_of(abc_block);
    qel::lzm_inflate(ms.get_interface(), out);
    EXPECT_EQ(str(out), "preABCxxxxxABC");
}

TEST(CompressOneCallTest, EmptyInput) {
    for (const bytes& o : deflate_forms(lzm_deflate_fn, {}))
        EXPECT_TRUE(o.empty());
    for (const bytes& o : inflate_forms(lzm_inflate_fn, {}))
        EXPECT_TRUE(o.empty());
    bytes keep = of("keep");
    qel::lzm_deflate(bytes(), keep);
    qel::lzm_inflate(bytes(), keep);
    EXPECT_EQ(keep, of("keep"));

    // zlib: a complete stream holding no bytes, the same from every form.
    auto forms = deflate_forms(zlib_deflate_fn, {});
    for (const bytes& o : forms)
        EXPECT_EQ(o, forms[0]);
    EXPECT_FALSE(forms[0].empty());
    for (const bytes& o : inflate_forms(zlib_inflate_fn, forms[0]))
        EXPECT_TRUE(o.empty());
    qel::zlib_inflate(forms[0], keep);
    EXPECT_EQ(keep, of("keep"));
}

TEST(CompressOneCallTest, PositiveSizeLimitsStreamedInput) {
    const bytes input = random_data(20000, 5);
    for (std::int64_t size :
         {std::int64_t{10000}, std::int64_t{0}, std::int64_t{-1}, std::int64_t{30000}}) {
        SCOPED_TRACE(size);
        const bytes expected(input.begin(), input.begin() + (size == 10000 ? 10000 : 20000));
        const std::vector<std::size_t> sizes = size == 10000
                                                   ? std::vector<std::size_t>{8191, 1809}
                                                   : std::vector<std::size_t>{8191, 8191, 3618};
        auto forms = deflate_forms(lzm_deflate_fn, input, size);
        for (std::size_t f = 6; f < 10; ++f) { // the streamed forms
            bytes decoded;
            EXPECT_EQ(lzm_blocks(forms[f], &decoded), sizes) << "form " << f + 1;
            EXPECT_EQ(decoded, expected) << "form " << f + 1;
        }
        auto zforms = deflate_forms(zlib_deflate_fn, input, size);
        for (std::size_t f = 6; f < 10; ++f) {
            bytes decoded;
            qel::zlib_inflate(zforms[f], decoded);
            EXPECT_EQ(decoded, expected) << "form " << f + 1;
        }
    }
    // The limit stops reading: the rest of the source stays there.
    const bytes big = random_data(100000, 6);
    std::istringstream is(str(big));
    bytes packed, decoded;
    qel::zlib_deflate(is, packed, 70000);
    EXPECT_EQ(is.tellg(), 70000);
    qel::zlib_inflate(packed, decoded);
    EXPECT_EQ(decoded, bytes(big.begin(), big.begin() + 70000));
    auto src = source_of(big);
    qel::lzm_deflate(src.get_interface(), packed, 10000);
    EXPECT_EQ(std::streamoff(src.get_pos(in)), 10000);
}

TEST(CompressOneCallTest, AllTenFormsRoundTrip) {
    const bytes input = mixed_data(140000, 8);
    auto packed = deflate_forms(lzm_deflate_fn, input);
    for (const bytes& o : packed)
        EXPECT_EQ(o, packed[0]);                  // memory and streamed input cut the same blocks
    EXPECT_EQ(lzm_blocks(packed[0]).size(), 18u); // ceil(140000 / 8191)
    for (const bytes& o : inflate_forms(lzm_inflate_fn, packed[0]))
        EXPECT_EQ(o, input);

    auto zpacked = deflate_forms(zlib_deflate_fn, input);
    for (const bytes& z : zpacked) {
        bytes decoded;
        qel::zlib_inflate(z, decoded);
        EXPECT_EQ(decoded, input);
    }
    for (const bytes& o : inflate_forms(zlib_inflate_fn, zpacked[0]))
        EXPECT_EQ(o, input);
}

// ---------------------------------------------------------------------------------------
// lzm streams

TEST(LzmStreamTest, DecodesTheWorkedExamplesInEveryForm) {
    const std::vector<std::pair<bytes, std::string>> cases = {
        {abc_block, "ABC"},
        {run_block, "xxxxx"},
        {hex({0x5B, 0x5A, 0x06, 0x00, 0x03, 0x61, 0x62, 0x63, 0x80, 0x03}), "abcabc"},
        {hex({0x5B, 0x5A, 0x00, 0x00}), ""},
        {cat(cat(hex({0x5B, 0x5A, 0x00, 0x00}), abc_block), run_block), "ABCxxxxx"},
    };
    for (const auto& [input, expected] : cases) {
        for (const bytes& o : inflate_forms(lzm_inflate_fn, input))
            EXPECT_EQ(str(o), expected);
        auto src = source_of(input);
        qel::inflate_stream s(src.get_interface(), lzm);
        EXPECT_EQ(str(drain(s, 3)), expected);
    }
}

// Decodes `input` from memory (to a vector and to a std::ostream), from a std::istream, from
// an IStream and through an inflate_stream: each delivers `before`, then throws.
void expect_lzm_failure(const bytes& input, const std::string& before,
                        const std::string& memory_msg, const std::string& istream_msg,
                        const std::string& stream_msg) {
    bytes v1, v2, v3;
    std::ostringstream os;
    std::istringstream is(str(input));
    auto s3 = source_of(input), s4 = source_of(input);
    EXPECT_TRUE(throws_compress_error([&] { qel::lzm_inflate(input, v1); }, memory_msg));
    EXPECT_TRUE(throws_compress_error([&] { qel::lzm_inflate(input, os); }, memory_msg));
    EXPECT_TRUE(throws_compress_error([&] { qel::lzm_inflate(is, v2); }, istream_msg));
    EXPECT_TRUE(
        throws_compress_error([&] { qel::lzm_inflate(s3.get_interface(), v3); }, stream_msg));
    for (const std::string& got : {str(v1), os.str(), str(v2), str(v3)})
        EXPECT_EQ(got, before);
    qel::inflate_stream s(s4.get_interface(), lzm);
    bytes buffer(before.size() + 1);
    std::size_t count = 0;
    s.read(buffer.data(), before.size(), &count);
    EXPECT_EQ(std::string(buffer.data(), count), before);
    EXPECT_TRUE(throws_compress_error([&] { s.read(buffer.data(), 1, &count); }, stream_msg));
}

TEST(LzmStreamTest, BadMagicIsRejectedAlsoAfterValidBlocks) {
    const std::string msg = "LZM header not found";
    const bytes valid = cat(abc_block, run_block);
    expect_lzm_failure(hex({0x5B, 0x5B, 0x04, 0x00, 0x03, 0x41, 0x42, 0x43}), "", msg, msg, msg);
    expect_lzm_failure(hex({0x5A, 0x5B, 0x04, 0x00, 0x03, 0x41, 0x42, 0x43}), "", msg, msg, msg);
    expect_lzm_failure(cat(valid, hex({0x5A, 0x5B, 0x00, 0x00})), "ABCxxxxx", msg, msg, msg);
    expect_lzm_failure(cat(valid, cat(hex({0x5B, 0x00, 0x04, 0x00}), abc_block)), "ABCxxxxx", msg,
                       msg, msg);
}

TEST(LzmStreamTest, TruncatedPayloadDeliversEarlierBlocksThenFails) {
    expect_lzm_failure(cat(cat(abc_block, run_block), hex({0x5B, 0x5A, 0x04, 0x00, 0x03, 0x41})),
                       "ABCxxxxx", "out of input buffer error", "input stream error",
                       "input stream unexpected end");
}

// A faulty block (an offset past the block's bytes, a cut literal run, 8415 bytes, a bad
// magic) among 60 valid ones, at the start, in the first pair, at the edges of three
// threads' shares and at the end: every form fails as decoding the blocks one by one does,
// with the same message and the same bytes left (a stream output gets whole blocks only).
TEST(LzmStreamTest, FaultyBlockAmongValidOnesFailsAsBlockByBlock) {
    bytes packed;
    qel::lzm_deflate(mixed_data(60 * 8191, 21), packed);
    std::vector<bytes> valid;
    for (std::size_t at = 0, n = 0; at < packed.size(); at += n) {
        n = 4 + (static_cast<unsigned char>(packed[at + 2]) |
                 static_cast<std::size_t>(static_cast<unsigned char>(packed[at + 3])) << 8);
        valid.push_back(bytes(packed.begin() + static_cast<long>(at),
                              packed.begin() + static_cast<long>(at + n)));
    }
    bytes oversized = hex({0x5B, 0x5A, 99, 0x00});
    for (int i = 0; i < 33; ++i)
        oversized = cat(oversized, hex({0x00, 0xFF, 0x7A}));
    const bytes faults[] = {
        cat(cat(hex({0x5B, 0x5A, 0x17, 0x00, 0x14}), bytes(20, 'a')), hex({0x80, 0x50})),
        hex({0x5B, 0x5A, 0x06, 0x00, 0x02, 0x61, 0x62, 0x1E, 0x78, 0x79}), oversized,
        hex({0x5A, 0x5B, 0x00, 0x00})};
    for (const bytes& fault : faults) {
        for (std::size_t k : std::vector<std::size_t>{0, 1, 2, 19, 20, 21, 41, 60}) {
            std::vector<bytes> blocks(valid.begin(), valid.begin() + static_cast<long>(k));
            blocks.push_back(fault);
            blocks.insert(blocks.end(), valid.begin() + static_cast<long>(k), valid.end());
            bytes input, decoded, complete;
            std::string msg;
            for (const bytes& b : blocks) {
                input = cat(input, b);
                if (!msg.empty())
                    continue;
                try {
                    qel::lzm_inflate(b, decoded);
                    complete = decoded;
                } catch (const qel::compress_error& e) {
                    msg = e.what();
                }
            }
            bytes v1, v2, v3 = of("x");
            std::ostringstream o1, o2;
            std::istringstream i2(str(input));
            auto m1 = source_of(input);
            EXPECT_TRUE(throws_compress_error([&] { qel::lzm_inflate(input, v1); }, msg));
            EXPECT_TRUE(throws_compress_error([&] { qel::lzm_inflate(input, o1); }, msg));
            EXPECT_TRUE(
                throws_compress_error([&] { qel::lzm_inflate(m1.get_interface(), v2); }, msg));
            EXPECT_TRUE(throws_compress_error([&] { qel::lzm_inflate(i2, o2); }, msg));
            EXPECT_TRUE(throws_compress_error(
                [&] { qel::lzm_inflate(input.data(), input.size(), v3, qel::lzm_options{3}); },
                msg));
            EXPECT_EQ(v1, decoded) << "block " << k;
            EXPECT_EQ(v2, decoded) << "block " << k;
            EXPECT_EQ(v3, cat(of("x"), decoded)) << "block " << k;
            EXPECT_EQ(of(o1.str()), complete) << "block " << k;
            EXPECT_EQ(of(o2.str()), complete) << "block " << k;
        }
    }
}

// The forms with threads give the bytes of the single-thread forms, also around the
// vector's earlier contents: deflating overwrites from index 0, inflating appends.
TEST(LzmParallelTest, SameBytesAsOneThread) {
    const bytes junk(40 * 8191, 'j');
    for (std::size_t size : std::vector<std::size_t>{0, 5, 32 * 8191 - 1, 48 * 8191 + 7}) {
        const bytes data = mixed_data(size, static_cast<std::uint32_t>(size));
        bytes packed;
        qel::lzm_deflate(data, packed);
        for (unsigned threads : {0u, 2u, 3u, 8u}) {
            for (const bytes& start : {bytes{}, junk}) {
                bytes one = start, split = start, back = start, split_back = start;
                qel::lzm_deflate(data.data(), data.size(), one);
                qel::lzm_deflate(data.data(), data.size(), split, qel::lzm_options{threads});
                qel::lzm_inflate(packed.data(), packed.size(), back);
                qel::lzm_inflate(packed.data(), packed.size(), split_back,
                                 qel::lzm_options{threads});
                EXPECT_EQ(split, one) << size << " bytes, " << threads << " threads";
                EXPECT_EQ(split_back, back) << size << " bytes, " << threads << " threads";
            }
        }
    }
}

// ---------------------------------------------------------------------------------------
// zlib method

TEST(ZlibMethodTest, BrokenInputThrowsZlibError) {
    const bytes input = mixed_data(5000, 10);
    bytes packed;
    qel::zlib_deflate(input, packed);
    const bytes truncated(packed.begin(), packed.end() - 30);
    bytes bad_header = packed;
    bad_header[1] = static_cast<char>(bad_header[1] ^ 1); // header check fails
    bytes bad_method = packed;
    bad_method[0] = 0x79; // compression method 9
    for (const bytes& broken : {bytes(), truncated, bad_header, bad_method}) {
        SCOPED_TRACE(broken.size());
        bytes out;
        EXPECT_TRUE(
            throws_compress_error([&] { qel::zlib_inflate(broken, out); }, "ZLIB error", -3));
        std::istringstream is(str(broken));
        EXPECT_TRUE(throws_compress_error([&] { qel::zlib_inflate(is, out); }, "ZLIB error", -3));
        auto src = source_of(broken);
        EXPECT_TRUE(throws_compress_error([&] { qel::zlib_inflate(src.get_interface(), out); },
                                          "ZLIB error", -3));
    }
    // The decompressing stream ends quietly with a short read on a truncated stream.
    auto src = source_of(truncated);
    qel::inflate_stream s(src.get_interface(), zlib);
    bytes got = drain(s);
    EXPECT_LT(got.size(), input.size());
    EXPECT_TRUE(std::equal(got.begin(), got.end(), input.begin()));
    char c = 'q';
    std::size_t count = 1;
    s.read(&c, 1, &count);
    EXPECT_EQ(count, 0u);
}

TEST(ZlibMethodTest, StreamOfExactly65535CompressedBytes) {
    // Incompressible data grows by a fixed overhead; search the length that gives 65535.
    const bytes pool = random_data(65535, 12);
    bytes packed;
    std::size_t n = 65300;
    for (; n <= pool.size(); ++n) {
        packed.clear();
        qel::zlib_deflate(pool.data(), n, packed);
        if (packed.size() >= 65535)
            break;
    }
    ASSERT_EQ(packed.size(), 65535u);
    const bytes input(pool.begin(), pool.begin() + static_cast<std::ptrdiff_t>(n));
    for (const bytes& o : inflate_forms(zlib_inflate_fn, packed))
        EXPECT_EQ(o, input);
    auto src = source_of(packed);
    qel::inflate_stream s(src.get_interface(), zlib);
    EXPECT_EQ(drain(s), input);
    // A second stream starting exactly at the chunk boundary.
    bytes small;
    qel::zlib_deflate(of("tail"), small);
    std::istringstream is(str(cat(packed, small)));
    bytes out;
    qel::zlib_inflate(is, out);
    EXPECT_EQ(out, cat(input, of("tail")));
}

// ---------------------------------------------------------------------------------------
// Round trips through the streams

// Sizes around the lzm block size and the zlib piece size, and their multiples.
TEST(CompressRoundTripTest, DeflateStreamToMemoryToInflateStreamAndOneCall) {
    for (int method : {lzm, zlib}) {
        for (std::size_t n : {1, 8190, 8191, 8192, 16382, 16383, 24574, 65534, 65535, 65536, 131070,
                              131071, 196606}) {
            SCOPED_TRACE(testing::Message() << "method " << method << " size " << n);
            for (int kind = 0; kind < 3; ++kind) {
                const bytes input = kind == 0   ? random_data(n, static_cast<std::uint32_t>(n))
                                    : kind == 1 ? mixed_data(n, static_cast<std::uint32_t>(n))
                                                : bytes(n, '\x7F');
                qel::memory_stream carrier;
                {
                    qel::deflate_stream d(carrier.get_interface(), method);
                    for (std::size_t at = 0; at < n; at += 4099)
                        d.write(input.data() + at, std::min<std::size_t>(4099, n - at));
                    if (kind == 1)
                        d.flush();
                }
                carrier.seek(0, std::ios_base::beg, in);
                qel::inflate_stream s(carrier.get_interface(), method);
                EXPECT_EQ(drain(s, 3000), input);
                EXPECT_TRUE(s.eof());
                // The one-call functions from memory and from a std::istream.
                bytes packed, decoded;
                qel::deflate(method, input, packed);
                std::istringstream is(str(packed));
                qel::inflate(method, is, decoded);
                EXPECT_EQ(decoded, input);
            }
        }
    }
}

} // namespace
