// Dynamically typed values: qel::variant beside QVariant and std::variant holding the same
// kinds (integer, double, wide string, boolean, date), 1,000,000 values of mixed types.
// Each benchmark constructs, copies or compares the whole set; copies and constructions
// include destroying what they made. "defaults" sets hold 80% default values (0, 0.0, empty
// text, false, 01.01.2001), which qel::variant keeps in shared singletons; "values" sets hold
// none. Throughput counts values.
#include <qel/variant.h>

#include <QDate>
#include <QString>
#include <QVariant>
#include <benchmark/benchmark.h>

#include <compare>
#include <cstdint>
#include <random>
#include <string>
#include <variant>
#include <vector>

namespace {

constexpr std::size_t value_count = 1'000'000;
constexpr int default_day = 730500;
// QDate's Julian day of 01.01.0001 (proleptic Gregorian) less one: day values count from 1.
constexpr qint64 julian_offset = 1721425;

struct day {
    int value;
    auto operator<=>(const day&) const = default;
};
using std_value = std::variant<int, double, std::wstring, bool, day>;

// The same values for every library: a kind 0..4 and a number.
struct source_value {
    int kind;
    int number;
};

std::vector<source_value> make_source(bool defaults) {
    std::mt19937 random(42);
    std::vector<source_value> out(value_count);
    for (auto& v : out) {
        v.kind = static_cast<int>(random() % 5);
        const bool is_default = defaults && random() % 10 < 8;
        v.number = is_default ? 0 : static_cast<int>(random() % 100000) + 1;
    }
    return out;
}

const std::vector<source_value>& source(bool defaults) {
    static const auto with_defaults = make_source(true);
    static const auto without = make_source(false);
    return defaults ? with_defaults : without;
}

std::wstring text_of(int number) {
    return number == 0 ? std::wstring() : L"value " + std::to_wstring(number);
}

qel::variant make_qel(const source_value& s) {
    switch (s.kind) {
    case 0:
        return qel::variant(s.number);
    case 1:
        return qel::variant(s.number * 0.25);
    case 2:
        return qel::variant(text_of(s.number));
    case 3:
        return qel::variant(s.number != 0);
    default:
        return qel::variant(qel::date_aux_{}, default_day + s.number);
    }
}

QVariant make_qt(const source_value& s) {
    switch (s.kind) {
    case 0:
        return QVariant(s.number);
    case 1:
        return QVariant(s.number * 0.25);
    case 2:
        return QVariant(QString::fromStdWString(text_of(s.number)));
    case 3:
        return QVariant(s.number != 0);
    default:
        return QVariant(QDate::fromJulianDay(julian_offset + default_day + s.number));
    }
}

std_value make_std(const source_value& s) {
    switch (s.kind) {
    case 0:
        return s.number;
    case 1:
        return s.number * 0.25;
    case 2:
        return text_of(s.number);
    case 3:
        return s.number != 0;
    default:
        return day{default_day + s.number};
    }
}

template <class T, class Make> std::vector<T> build(bool defaults, Make make) {
    std::vector<T> out;
    out.reserve(value_count);
    for (const auto& s : source(defaults))
        out.push_back(make(s));
    return out;
}

template <class T, class Make> void construct(benchmark::State& state, Make make) {
    for (auto _ : state) {
        auto values = build<T>(state.range(0) != 0, make);
        benchmark::DoNotOptimize(values.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * value_count));
}

template <class T, class Make> void copy(benchmark::State& state, Make make) {
    const auto values = build<T>(state.range(0) != 0, make);
    for (auto _ : state) {
        auto copies = values;
        benchmark::DoNotOptimize(copies.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * value_count));
}

// Each value against its neighbour: equality and three-way order.
template <class T, class Make, class Compare>
void compare(benchmark::State& state, Make make, Compare order) {
    const auto values = build<T>(state.range(0) != 0, make);
    for (auto _ : state) {
        int sum = 0;
        for (std::size_t i = 1; i < values.size(); ++i)
            sum += order(values[i - 1], values[i]);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * value_count));
}

int order_qel(const qel::variant& a, const qel::variant& b) {
    return (a.is_equal(b) ? 4 : 0) + a.compare(b);
}
int order_qt(const QVariant& a, const QVariant& b) {
    const QPartialOrdering o = QVariant::compare(a, b);
    return (a == b ? 4 : 0) + (o == QPartialOrdering::Less ? -1 : o == QPartialOrdering::Greater);
}
int order_std(const std_value& a, const std_value& b) {
    const auto o = a <=> b;
    return (a == b ? 4 : 0) + (o < 0 ? -1 : o > 0);
}

void BM_construct_qel(benchmark::State& s) {
    construct<qel::variant>(s, make_qel);
}
void BM_construct_qt(benchmark::State& s) {
    construct<QVariant>(s, make_qt);
}
void BM_construct_std(benchmark::State& s) {
    construct<std_value>(s, make_std);
}
void BM_copy_qel(benchmark::State& s) {
    copy<qel::variant>(s, make_qel);
}
void BM_copy_qt(benchmark::State& s) {
    copy<QVariant>(s, make_qt);
}
void BM_copy_std(benchmark::State& s) {
    copy<std_value>(s, make_std);
}
void BM_compare_qel(benchmark::State& s) {
    compare<qel::variant>(s, make_qel, order_qel);
}
void BM_compare_qt(benchmark::State& s) {
    compare<QVariant>(s, make_qt, order_qt);
}
void BM_compare_std(benchmark::State& s) {
    compare<std_value>(s, make_std, order_std);
}

} // namespace

// Argument 1: the default-heavy set; 0: no default values.
BENCHMARK(BM_construct_qel)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_construct_qt)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_construct_std)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_copy_qel)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_copy_qt)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_copy_std)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_compare_qel)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_compare_qt)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_compare_std)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
