// do_format of integers and doubles with the default records against std::to_chars followed
// by widening (the fastest standard way to wide text) and swprintf, on the same values.
// Integers are shown as plain decimal; doubles in the automatic notation with 15 significant
// digits, which qel3 reaches after its pre-rounding to 14. Throughput counts values.
#include <qel/format.h>

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdint>
#include <cwchar>
#include <string>
#include <vector>

namespace {

constexpr int value_count = 4096;

struct sample {
    std::vector<long long> ints;
    std::vector<double> doubles;
};

const sample& values() {
    static const sample s = [] {
        sample out;
        std::uint64_t state = 88172645463325252ull;
        for (int i = 0; i < value_count; ++i) {
            state ^= state << 13;
            state ^= state >> 7;
            state ^= state << 17;
            // Magnitudes of 1 to 19 digits, both signs.
            const auto digits = static_cast<int>(state % 19);
            long long v = static_cast<long long>(state >> 1);
            for (int d = 18; d > digits; --d)
                v /= 10;
            out.ints.push_back((state & 1) != 0 ? -v : v);
            // Amounts with cents and a spread of magnitudes.
            out.doubles.push_back(static_cast<double>(v % 100000000) / 100.0 *
                                  ((state & 2) != 0 ? -1.0 : 1.0));
        }
        return out;
    }();
    return s;
}

std::wstring widen(const char* first, const char* last) {
    std::wstring out(static_cast<std::size_t>(last - first), L'\0');
    for (std::size_t i = 0; first != last; ++first, ++i)
        out[i] = static_cast<wchar_t>(*first);
    return out;
}

void qel_format_int(benchmark::State& state) {
    const qel::integer_format f;
    for (auto _ : state)
        for (const long long v : values().ints)
            benchmark::DoNotOptimize(qel::do_format(v, f));
    state.SetItemsProcessed(state.iterations() * value_count);
}

void to_chars_int(benchmark::State& state) {
    char buf[24];
    for (auto _ : state)
        for (const long long v : values().ints) {
            const auto res = std::to_chars(buf, buf + sizeof buf, v);
            benchmark::DoNotOptimize(widen(buf, res.ptr));
        }
    state.SetItemsProcessed(state.iterations() * value_count);
}

void swprintf_int(benchmark::State& state) {
    wchar_t buf[24];
    for (auto _ : state)
        for (const long long v : values().ints) {
            const int n = std::swprintf(buf, 24, L"%lld", v);
            benchmark::DoNotOptimize(std::wstring(buf, static_cast<std::size_t>(n)));
        }
    state.SetItemsProcessed(state.iterations() * value_count);
}

void qel_format_double(benchmark::State& state) {
    const qel::float_format f;
    for (auto _ : state)
        for (const double v : values().doubles)
            benchmark::DoNotOptimize(qel::do_format(v, f));
    state.SetItemsProcessed(state.iterations() * value_count);
}

void to_chars_double(benchmark::State& state) {
    char buf[64];
    for (auto _ : state)
        for (const double v : values().doubles) {
            const auto res =
                std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, 15);
            benchmark::DoNotOptimize(widen(buf, res.ptr));
        }
    state.SetItemsProcessed(state.iterations() * value_count);
}

void swprintf_double(benchmark::State& state) {
    wchar_t buf[64];
    for (auto _ : state)
        for (const double v : values().doubles) {
            const int n = std::swprintf(buf, 64, L"%.15g", v);
            benchmark::DoNotOptimize(std::wstring(buf, static_cast<std::size_t>(n)));
        }
    state.SetItemsProcessed(state.iterations() * value_count);
}

} // namespace

BENCHMARK(qel_format_int);
BENCHMARK(to_chars_int);
BENCHMARK(swprintf_int);
BENCHMARK(qel_format_double);
BENCHMARK(to_chars_double);
BENCHMARK(swprintf_double);

BENCHMARK_MAIN();
