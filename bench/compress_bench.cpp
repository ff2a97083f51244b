// lzm against LZ4 compressing the same 8191-byte blocks, and the zlib method against zlib
// called directly. Counters: bytes per second of uncompressed data, and "ratio" =
// compressed size / original size.
#include "corpus.h"

#include <qel/compress.h>

#include <benchmark/benchmark.h>
#include <lz4.h>
#include <zlib.h>

#include <algorithm>

namespace {

using qel_bench::corpus_file;
constexpr std::size_t block = 8191;

void report(benchmark::State& state, std::size_t original, std::size_t compressed) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * original));
    state.counters["ratio"] = double(compressed) / double(original);
}

// LZ4 over independent blocks, each stored as a 4-byte length and the block.
std::vector<char> lz4_compress_blocks(const std::vector<char>& in) {
    std::vector<char> out;
    std::vector<char> dst(static_cast<std::size_t>(LZ4_compressBound(block)));
    for (std::size_t at = 0; at < in.size(); at += block) {
        int n = static_cast<int>(std::min(block, in.size() - at));
        int packed = LZ4_compress_default(in.data() + at, dst.data(), n, int(dst.size()));
        out.insert(out.end(), reinterpret_cast<char*>(&packed),
                   reinterpret_cast<char*>(&packed) + 4);
        out.insert(out.end(), dst.data(), dst.data() + packed);
    }
    return out;
}

void lzm_compress(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    std::vector<char> out;
    for (auto _ : state) {
        qel::lzm_deflate(in, out);
        benchmark::DoNotOptimize(out.data());
    }
    report(state, in.size(), out.size()); // every pass writes the same bytes from index 0
}

void lz4_compress(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    std::vector<char> dst(static_cast<std::size_t>(LZ4_compressBound(block)));
    std::size_t total = 0;
    for (auto _ : state) {
        total = 0;
        for (std::size_t at = 0; at < in.size(); at += block) {
            int n = static_cast<int>(std::min(block, in.size() - at));
            total += 4 + std::size_t(
                             LZ4_compress_default(in.data() + at, dst.data(), n, int(dst.size())));
        }
        benchmark::DoNotOptimize(dst.data());
    }
    report(state, in.size(), total);
}

void lzm_decompress(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    std::vector<char> packed;
    qel::lzm_deflate(in, packed);
    std::vector<char> out;
    out.reserve(in.size());
    for (auto _ : state) {
        out.clear();
        qel::lzm_inflate(packed, out);
        benchmark::DoNotOptimize(out.data());
    }
    if (out != in)
        state.SkipWithError("lzm round trip differs");
    report(state, in.size(), packed.size());
}

void lz4_decompress(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    std::vector<char> packed = lz4_compress_blocks(in);
    std::vector<char> out(in.size());
    for (auto _ : state) {
        std::size_t at = 0, written = 0;
        while (at < packed.size()) {
            int n = 0;
            std::copy(packed.data() + at, packed.data() + at + 4, reinterpret_cast<char*>(&n));
            at += 4;
            written += std::size_t(LZ4_decompress_safe(packed.data() + at, out.data() + written, n,
                                                       int(std::min(block, out.size() - written))));
            at += std::size_t(n);
        }
        benchmark::DoNotOptimize(out.data());
    }
    if (out != in)
        state.SkipWithError("LZ4 round trip differs");
    report(state, in.size(), packed.size());
}

void zlib_method_compress(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    std::vector<char> out;
    for (auto _ : state) {
        qel::zlib_deflate(in, out);
        benchmark::DoNotOptimize(out.data());
    }
    report(state, in.size(), out.size());
}

void zlib_raw_compress(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    std::vector<Bytef> out(compressBound(uLong(in.size())));
    uLongf size = 0;
    for (auto _ : state) {
        size = uLongf(out.size());
        compress2(out.data(), &size, reinterpret_cast<const Bytef*>(in.data()), uLong(in.size()),
                  Z_DEFAULT_COMPRESSION);
        benchmark::DoNotOptimize(out.data());
    }
    report(state, in.size(), size);
}

void zlib_method_decompress(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    std::vector<char> packed;
    qel::zlib_deflate(in, packed);
    std::vector<char> out;
    out.reserve(in.size());
    for (auto _ : state) {
        out.clear(); // exactly the output, as a caller who reuses a vector asks for it
        qel::zlib_inflate(packed, out);
        benchmark::DoNotOptimize(out.data());
    }
    if (out != in)
        state.SkipWithError("zlib method round trip differs");
    report(state, in.size(), packed.size());
}

void zlib_raw_decompress(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    std::vector<Bytef> packed(compressBound(uLong(in.size())));
    uLongf packed_size = uLongf(packed.size());
    compress2(packed.data(), &packed_size, reinterpret_cast<const Bytef*>(in.data()),
              uLong(in.size()), Z_DEFAULT_COMPRESSION);
    std::vector<char> out(in.size());
    for (auto _ : state) {
        uLongf size = uLongf(out.size());
        uncompress(reinterpret_cast<Bytef*>(out.data()), &size, packed.data(), packed_size);
        benchmark::DoNotOptimize(out.data());
    }
    if (out != in)
        state.SkipWithError("zlib round trip differs");
    report(state, in.size(), packed_size);
}

// 16 MiB of the corpus files one after the other, repeated.
const std::vector<char>& mixed_16mib() {
    static const std::vector<char> data = [] {
        std::vector<char> all;
        while (all.size() < (16u << 20))
            for (const char* name : qel_bench::corpus_names) {
                const auto& file = corpus_file(name);
                all.insert(all.end(), file.begin(), file.end());
            }
        all.resize(16u << 20);
        return all;
    }();
    return data;
}

// The forms with threads on 16 MiB: `threads` 1 (the calling thread) or 0 (every processor).
void lzm_split_compress(benchmark::State& state, unsigned threads) {
    const auto& in = mixed_16mib();
    std::vector<char> out;
    for (auto _ : state) {
        qel::lzm_deflate(in.data(), in.size(), out, qel::lzm_options{threads});
        benchmark::DoNotOptimize(out.data());
    }
    report(state, in.size(), out.size());
}

void lzm_split_decompress(benchmark::State& state, unsigned threads) {
    const auto& in = mixed_16mib();
    std::vector<char> packed;
    qel::lzm_deflate(in, packed);
    std::vector<char> out;
    out.reserve(in.size());
    for (auto _ : state) {
        out.clear();
        qel::lzm_inflate(packed.data(), packed.size(), out, qel::lzm_options{threads});
        benchmark::DoNotOptimize(out.data());
    }
    if (out != in)
        state.SkipWithError("lzm round trip differs");
    report(state, in.size(), packed.size());
}

// Pairs run next to each other per file so their ratio is read off adjacent lines.
int register_all() {
    for (const char* name : qel_bench::corpus_names) {
        std::string file = name;
        benchmark::RegisterBenchmark(("lzm_compress/" + file).c_str(), lzm_compress, name);
        benchmark::RegisterBenchmark(("lz4_compress/" + file).c_str(), lz4_compress, name);
        benchmark::RegisterBenchmark(("lzm_decompress/" + file).c_str(), lzm_decompress, name);
        benchmark::RegisterBenchmark(("lz4_decompress/" + file).c_str(), lz4_decompress, name);
        benchmark::RegisterBenchmark(("zlib_method_compress/" + file).c_str(), zlib_method_compress,
                                     name);
        benchmark::RegisterBenchmark(("zlib_raw_compress/" + file).c_str(), zlib_raw_compress,
                                     name);
        benchmark::RegisterBenchmark(("zlib_method_decompress/" + file).c_str(),
                                     zlib_method_decompress, name);
        benchmark::RegisterBenchmark(("zlib_raw_decompress/" + file).c_str(), zlib_raw_decompress,
                                     name);
    }
    for (unsigned threads : {1u, 0u}) {
        const std::string suffix = threads == 1 ? "/16MiB_one_thread" : "/16MiB_all_processors";
        benchmark::RegisterBenchmark(("lzm_split_compress" + suffix).c_str(), lzm_split_compress,
                                     threads)
            ->UseRealTime();
        benchmark::RegisterBenchmark(("lzm_split_decompress" + suffix).c_str(),
                                     lzm_split_decompress, threads)
            ->UseRealTime();
    }
    return 0;
}

const int registered = register_all();

} // namespace

BENCHMARK_MAIN();
