// mem_pool against mimalloc on pooled sizes, in a program of its own: linking mimalloc
// replaces malloc and free in the whole process.
#include "alloc_batches.h"

#include <benchmark/benchmark.h>
#include <mimalloc.h>

namespace {

using alloc_bench::pool_single;
using alloc_bench::run_batches;

void mimalloc(benchmark::State& state) {
    run_batches(
        state, state.range(0) != 0, [](std::size_t n) { return mi_malloc(n); },
        [](void* p) { mi_free(p); });
}

} // namespace

BENCHMARK(pool_single)->Arg(0)->Arg(1);
BENCHMARK(mimalloc)->Arg(0)->Arg(1);
BENCHMARK_MAIN();
