// Date and timestamp text with the default masks against the C library's strftime and
// strptime on the same values. strftime gets its fields already split (struct tm), the
// strongest case for it; qel splits day values itself. std::chrono's formatting
// (std::format of calendar types) is missing from g++ 12's library, so it is not measured.
// Throughput counts text characters.
#include <qel/datetime.h>

#include <benchmark/benchmark.h>

#include <ctime>
#include <string>
#include <vector>

namespace {

constexpr int value_count = 4096;

struct sample {
    std::vector<qel::date> dates;
    std::vector<qel::timestamp> stamps;
    std::vector<std::tm> fields;
    std::vector<int> hundredths; // beside `fields`, which has no place for them
    std::vector<std::string> date_texts;
    std::vector<std::string> stamp_texts;
    std::size_t date_chars = 0;
    std::size_t stamp_chars = 0;
};

const sample& values() {
    static const sample s = [] {
        sample out;
        unsigned state = 12345;
        for (int i = 0; i < value_count; ++i) {
            state = state * 1103515245u + 12345u;
            const int dv = 693975 + int(state % 72684u);
            const int tv = int((state >> 3) % 8640000u);
            qel::date d(dv);
            qel::timestamp ts(d, qel::time(tv));
            out.dates.push_back(d);
            out.stamps.push_back(ts);
            int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, hundredths = 0;
            ts.get(year, month, day, hour, minute, second, hundredths);
            std::tm tm{};
            tm.tm_year = year - 1900;
            tm.tm_mon = month - 1;
            tm.tm_mday = day;
            tm.tm_hour = hour;
            tm.tm_min = minute;
            tm.tm_sec = second;
            out.fields.push_back(tm);
            out.hundredths.push_back(hundredths);
            out.date_texts.push_back(qel::to_string(d));
            out.stamp_texts.push_back(qel::to_string(ts));
            out.date_chars += out.date_texts.back().size();
            out.stamp_chars += out.stamp_texts.back().size();
        }
        return out;
    }();
    return s;
}

void report(benchmark::State& state, std::size_t chars) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * chars));
}

void append_two_digits(char* at, int value) {
    at[0] = char('0' + value / 10);
    at[1] = char('0' + value % 10);
}

void qel_format_date(benchmark::State& state) {
    const auto& s = values();
    std::string out;
    for (auto _ : state)
        for (const auto& d : s.dates) {
            qel::to_str(d, out);
            benchmark::DoNotOptimize(out.data());
        }
    report(state, s.date_chars);
}

void strftime_format_date(benchmark::State& state) {
    const auto& s = values();
    char out[32];
    for (auto _ : state)
        for (const auto& tm : s.fields) {
            std::strftime(out, sizeof out, "%d.%m.%Y", &tm);
            benchmark::DoNotOptimize(out);
        }
    report(state, s.date_chars);
}

void qel_parse_date(benchmark::State& state) {
    const auto& s = values();
    qel::date d;
    for (auto _ : state)
        for (const auto& text : s.date_texts) {
            benchmark::DoNotOptimize(qel::from_str(text, d));
            benchmark::DoNotOptimize(d);
        }
    report(state, s.date_chars);
}

void strptime_parse_date(benchmark::State& state) {
    const auto& s = values();
    std::tm tm{};
    for (auto _ : state)
        for (const auto& text : s.date_texts) {
            benchmark::DoNotOptimize(strptime(text.c_str(), "%d.%m.%Y", &tm));
            benchmark::DoNotOptimize(tm);
        }
    report(state, s.date_chars);
}

void qel_format_timestamp(benchmark::State& state) {
    const auto& s = values();
    std::string out;
    for (auto _ : state)
        for (const auto& ts : s.stamps) {
            qel::to_str(ts, out);
            benchmark::DoNotOptimize(out.data());
        }
    report(state, s.stamp_chars);
}

// strftime has no hundredths: they are appended by hand, already split like the other fields.
void strftime_format_timestamp(benchmark::State& state) {
    const auto& s = values();
    char out[48];
    for (auto _ : state)
        for (std::size_t i = 0; i < s.fields.size(); ++i) {
            const std::size_t n =
                std::strftime(out, sizeof out, "%d.%m.%Y %H:%M:%S:", &s.fields[i]);
            append_two_digits(out + n, s.hundredths[i]);
            out[n + 2] = '\0';
            benchmark::DoNotOptimize(out);
        }
    report(state, s.stamp_chars);
}

void qel_parse_timestamp(benchmark::State& state) {
    const auto& s = values();
    qel::timestamp ts;
    for (auto _ : state)
        for (const auto& text : s.stamp_texts) {
            benchmark::DoNotOptimize(qel::from_str(text, ts));
            benchmark::DoNotOptimize(ts);
        }
    report(state, s.stamp_chars);
}

void strptime_parse_timestamp(benchmark::State& state) {
    const auto& s = values();
    std::tm tm{};
    int hundredths = 0;
    for (auto _ : state)
        for (const auto& text : s.stamp_texts) {
            const char* rest = strptime(text.c_str(), "%d.%m.%Y %H:%M:%S:", &tm);
            if (rest)
                hundredths = (rest[0] - '0') * 10 + (rest[1] - '0');
            benchmark::DoNotOptimize(tm);
            benchmark::DoNotOptimize(hundredths);
        }
    report(state, s.stamp_chars);
}

} // namespace

BENCHMARK(qel_format_date)->Name("qel_format_date/default_mask");
BENCHMARK(strftime_format_date)->Name("strftime_format_date/default_mask");
BENCHMARK(qel_parse_date)->Name("qel_parse_date/default_mask");
BENCHMARK(strptime_parse_date)->Name("strptime_parse_date/default_mask");
BENCHMARK(qel_format_timestamp)->Name("qel_format_timestamp/default_mask");
BENCHMARK(strftime_format_timestamp)->Name("strftime_format_timestamp/default_mask");
BENCHMARK(qel_parse_timestamp)->Name("qel_parse_timestamp/default_mask");
BENCHMARK(strptime_parse_timestamp)->Name("strptime_parse_timestamp/default_mask");

BENCHMARK_MAIN();
