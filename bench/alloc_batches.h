// Batches of 256 blocks of 16 to 256 bytes (fixed random sizes) allocated, then freed in LIFO
// or shuffled order: the workload every allocator benchmark runs, with the pool's two forms.
#pragma once

#include <qel/mem_pool.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

namespace alloc_bench {

constexpr int batch = 256;

// Sizes 16..256 and a free order: LIFO (reverse) or a fixed shuffle.
struct workload {
    std::vector<std::size_t> sizes;
    std::vector<int> order;
    explicit workload(bool random) : sizes(batch), order(batch) {
        std::mt19937 rng(42);
        for (int i = 0; i < batch; ++i) {
            sizes[static_cast<std::size_t>(i)] = 16 + rng() % 241;
            order[static_cast<std::size_t>(i)] = batch - 1 - i;
        }
        if (random)
            std::shuffle(order.begin(), order.end(), rng);
    }
};

template <class Alloc, class Free>
inline void run_batches(benchmark::State& state, bool random, Alloc alloc, Free release) {
    workload w(random);
    std::vector<void*> blocks(batch);
    for (auto _ : state) {
        for (int i = 0; i < batch; ++i)
            blocks[static_cast<std::size_t>(i)] = alloc(w.sizes[static_cast<std::size_t>(i)]);
        benchmark::DoNotOptimize(blocks.data());
        for (int i : w.order)
            release(blocks[static_cast<std::size_t>(i)]);
    }
    state.SetItemsProcessed(state.iterations() * batch);
}

inline qel::mem_pool& shared_pool() {
    static qel::mem_pool pool(257, qel::mem_pool::multi_thread);
    return pool;
}

inline void pool_single(benchmark::State& state) {
    qel::mem_pool pool(257, qel::mem_pool::single_thread);
    run_batches(
        state, state.range(0) != 0, [&](std::size_t n) { return pool.alloc(n); },
        [&](void* p) { pool.free(p); });
}

inline void pool_guarded(benchmark::State& state) {
    run_batches(
        state, state.range(0) != 0, [](std::size_t n) { return shared_pool().alloc(n); },
        [](void* p) { shared_pool().free(p); });
}

} // namespace alloc_bench
