// UUID generation and text against libuuid (util-linux) on the same values: new random UUIDs
// (uuid_generate_random), the 36-character text (uuid_unparse) and parsing it (uuid_parse).
// qel3 writes into a string it reuses, as a caller formatting many values would; libuuid
// writes into a char array. Items are UUIDs.
#include <qel/uuid.h>

#include <benchmark/benchmark.h>
#include <uuid/uuid.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int value_count = 4096;

struct sample {
    std::vector<qel::uuid> values;
    std::vector<std::string> texts;
};

const sample& values() {
    static const sample s = [] {
        sample out;
        for (int i = 0; i < value_count; ++i) {
            uuid_t raw;
            uuid_generate_random(raw);
            qel::uuid value;
            std::memcpy(&value, raw, sizeof value);
            out.values.push_back(value);
            char text[37];
            uuid_unparse_lower(raw, text);
            out.texts.emplace_back(text);
        }
        return out;
    }();
    return s;
}

void qel_generate(benchmark::State& state) {
    qel::uuid value;
    for (auto _ : state) {
        for (int i = 0; i < value_count; ++i) {
            qel::generate_new_uuid(value);
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(state.iterations() * value_count);
}

void libuuid_generate(benchmark::State& state) {
    uuid_t value;
    for (auto _ : state) {
        for (int i = 0; i < value_count; ++i) {
            uuid_generate_random(value);
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(state.iterations() * value_count);
}

void qel_unparse(benchmark::State& state) {
    const sample& s = values();
    std::string text;
    for (auto _ : state) {
        for (const qel::uuid& value : s.values) {
            qel::uuid_to_str(value, text);
            benchmark::DoNotOptimize(text.data());
        }
    }
    state.SetItemsProcessed(state.iterations() * value_count);
}

void libuuid_unparse(benchmark::State& state) {
    const sample& s = values();
    char text[37];
    for (auto _ : state) {
        for (const qel::uuid& value : s.values) {
            uuid_unparse(reinterpret_cast<const unsigned char*>(&value), text);
            benchmark::DoNotOptimize(text);
        }
    }
    state.SetItemsProcessed(state.iterations() * value_count);
}

void qel_parse(benchmark::State& state) {
    const sample& s = values();
    qel::uuid value;
    for (auto _ : state) {
        for (const std::string& text : s.texts) {
            benchmark::DoNotOptimize(qel::uuid_from_str(text, value));
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(state.iterations() * value_count);
}

void libuuid_parse(benchmark::State& state) {
    const sample& s = values();
    uuid_t value;
    for (auto _ : state) {
        for (const std::string& text : s.texts) {
            benchmark::DoNotOptimize(uuid_parse(text.c_str(), value));
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetItemsProcessed(state.iterations() * value_count);
}

// "name/kind" so that bench/ratios.py pairs each qel3 run with its peer.
const bool registered = [] {
    benchmark::RegisterBenchmark("qel_generate/random", qel_generate);
    benchmark::RegisterBenchmark("libuuid_generate/random", libuuid_generate);
    benchmark::RegisterBenchmark("qel_unparse/text", qel_unparse);
    benchmark::RegisterBenchmark("libuuid_unparse/text", libuuid_unparse);
    benchmark::RegisterBenchmark("qel_parse/text", qel_parse);
    benchmark::RegisterBenchmark("libuuid_parse/text", libuuid_parse);
    return true;
}();

} // namespace

BENCHMARK_MAIN();
