// Directory work against std::filesystem on the same trees: listing a directory of 20,000
// files with each entry's size and last write time (qel3's enumerator with file_size beside
// directory_iterator with file_size and last_write_time), and the deep size, copy and delete
// of a tree of 5,000 files in 100 directories (dir_deep_* beside recursive_directory_iterator,
// copy with copy_options::recursive and remove_all). qel3 also turns every time into local
// time, which the peer does not. Items are files.
#include <qel/fs.h>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace {

namespace fs = std::filesystem;

const fs::path& folder() {
    static const fs::path path = [] {
        std::random_device seed;
        auto p = fs::temp_directory_path() / ("qel3-fs-bench-" + std::to_string(seed()));
        fs::create_directories(p);
        return p;
    }();
    return path;
}

void write_file(const fs::path& path, std::size_t size) {
    std::ofstream(path, std::ios::binary) << std::string(size, 'x');
}

// 20,000 files of 0 to 99 bytes in one directory.
const fs::path& flat_dir() {
    static const fs::path dir = [] {
        fs::path d = folder() / "flat";
        fs::create_directories(d);
        for (int i = 0; i < 20000; ++i)
            write_file(d / ("file" + std::to_string(i) + ".dat"),
                       static_cast<std::size_t>(i % 100));
        return d;
    }();
    return dir;
}

// 10 directories of 10 directories of 50 files of 1 to 4 KiB.
const fs::path& tree_dir() {
    static const fs::path dir = [] {
        fs::path d = folder() / "tree";
        for (int a = 0; a < 10; ++a)
            for (int b = 0; b < 10; ++b) {
                const fs::path sub = d / ("d" + std::to_string(a)) / ("e" + std::to_string(b));
                fs::create_directories(sub);
                for (int f = 0; f < 50; ++f)
                    write_file(sub / ("f" + std::to_string(f) + ".bin"),
                               static_cast<std::size_t>(1024 * (1 + f % 4)));
            }
        return d;
    }();
    return dir;
}

constexpr int tree_files = 5000;

void qel_enumerate(benchmark::State& state) {
    const std::wstring pattern = (flat_dir() / "*").wstring();
    for (auto _ : state) {
        std::uint64_t total = 0;
        std::int64_t times = 0;
        for (qel::file_enumerator e(pattern); e.more(); e.next()) {
            std::uint64_t size = 0;
            qel::file_size(e.filepath(), size);
            total += size;
            times += e.time(qel::fsobj_last_write).get();
        }
        benchmark::DoNotOptimize(total);
        benchmark::DoNotOptimize(times);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void std_enumerate(benchmark::State& state) {
    for (auto _ : state) {
        std::uintmax_t total = 0;
        std::int64_t times = 0;
        for (const auto& entry : fs::directory_iterator(flat_dir())) {
            total += entry.file_size();
            times += entry.last_write_time().time_since_epoch().count();
        }
        benchmark::DoNotOptimize(total);
        benchmark::DoNotOptimize(times);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void qel_deep_size(benchmark::State& state) {
    const std::wstring dir = tree_dir().wstring();
    for (auto _ : state) {
        std::uint64_t size = 0;
        if (!qel::dir_deep_size(dir, size))
            state.SkipWithError("dir_deep_size failed");
        benchmark::DoNotOptimize(size);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void std_deep_size(benchmark::State& state) {
    for (auto _ : state) {
        std::uintmax_t size = 0;
        for (const auto& entry : fs::recursive_directory_iterator(tree_dir()))
            if (entry.is_regular_file())
                size += entry.file_size();
        benchmark::DoNotOptimize(size);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

const fs::path& copy_target() {
    static const fs::path path = folder() / "copy";
    return path;
}

void qel_deep_copy(benchmark::State& state) {
    for (auto _ : state) {
        if (!qel::dir_deep_copy(tree_dir().wstring(), copy_target().wstring(), false))
            state.SkipWithError("dir_deep_copy failed");
        state.PauseTiming();
        fs::remove_all(copy_target());
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void std_deep_copy(benchmark::State& state) {
    for (auto _ : state) {
        fs::copy(tree_dir(), copy_target(), fs::copy_options::recursive);
        state.PauseTiming();
        fs::remove_all(copy_target());
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void qel_deep_delete(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        fs::copy(tree_dir(), copy_target(), fs::copy_options::recursive);
        state.ResumeTiming();
        if (!qel::dir_deep_delete(copy_target().wstring()))
            state.SkipWithError("dir_deep_delete failed");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void std_deep_delete(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        fs::copy(tree_dir(), copy_target(), fs::copy_options::recursive);
        state.ResumeTiming();
        fs::remove_all(copy_target());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(qel_enumerate)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(std_enumerate)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(qel_deep_size)->Arg(tree_files)->Unit(benchmark::kMillisecond);
BENCHMARK(std_deep_size)->Arg(tree_files)->Unit(benchmark::kMillisecond);
BENCHMARK(qel_deep_copy)->Arg(tree_files)->Unit(benchmark::kMillisecond);
BENCHMARK(std_deep_copy)->Arg(tree_files)->Unit(benchmark::kMillisecond);
BENCHMARK(qel_deep_delete)->Arg(tree_files)->Unit(benchmark::kMillisecond);
BENCHMARK(std_deep_delete)->Arg(tree_files)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    flat_dir();
    tree_dir();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ignored;
    fs::remove_all(folder(), ignored);
    return 0;
}
