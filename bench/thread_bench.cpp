// mem_pool against glibc malloc and mimalloc on pooled sizes; worker start-and-join and event
// ping-pong against std::thread and std::condition_variable.
#include <qel/mem_pool.h>
#include <qel/thread.h>

#include <benchmark/benchmark.h>
#include <mimalloc.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace {

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
void run_batches(benchmark::State& state, bool random, Alloc alloc, Free release) {
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

qel::mem_pool& shared_pool() {
    static qel::mem_pool pool(257, qel::mem_pool::multi_thread);
    return pool;
}

void pool_single(benchmark::State& state) {
    qel::mem_pool pool(257, qel::mem_pool::single_thread);
    run_batches(
        state, state.range(0) != 0, [&](std::size_t n) { return pool.alloc(n); },
        [&](void* p) { pool.free(p); });
}
void pool_guarded(benchmark::State& state) {
    run_batches(
        state, state.range(0) != 0, [](std::size_t n) { return shared_pool().alloc(n); },
        [](void* p) { shared_pool().free(p); });
}
void glibc_malloc(benchmark::State& state) {
    run_batches(
        state, state.range(0) != 0, [](std::size_t n) { return std::malloc(n); },
        [](void* p) { std::free(p); });
}
void mimalloc(benchmark::State& state) {
    run_batches(
        state, state.range(0) != 0, [](std::size_t n) { return mi_malloc(n); },
        [](void* p) { mi_free(p); });
}

struct empty_body : qel::IThreadBody {
    void run(qel::IThreadState&) override {}
};

void worker_start_join(benchmark::State& state) {
    empty_body body;
    qel::worker_thread worker(body);
    for (auto _ : state) {
        worker.start();
        worker.join();
    }
}
void std_thread_start_join(benchmark::State& state) {
    for (auto _ : state)
        std::thread([] {}).join();
}

// One round trip: ping wakes the other side, which answers with pong.
void event_ping_pong(benchmark::State& state) {
    qel::thread_event ping, pong;
    std::atomic<bool> stop{false};
    std::thread other([&] {
        for (;;) {
            ping.wait();
            ping.reset();
            if (stop)
                return;
            pong.signal();
        }
    });
    for (auto _ : state) {
        ping.signal();
        pong.wait();
        pong.reset();
    }
    stop = true;
    ping.signal();
    other.join();
}
void condvar_ping_pong(benchmark::State& state) {
    std::mutex m;
    std::condition_variable cv;
    int turn = 0; // 1: other side, 2: back here, 3: stop
    std::thread other([&] {
        std::unique_lock lock(m);
        for (;;) {
            cv.wait(lock, [&] { return turn == 1 || turn == 3; });
            if (turn == 3)
                return;
            turn = 2;
            cv.notify_all();
        }
    });
    for (auto _ : state) {
        std::unique_lock lock(m);
        turn = 1;
        cv.notify_all();
        cv.wait(lock, [&] { return turn == 2; });
    }
    {
        std::lock_guard lock(m);
        turn = 3;
    }
    cv.notify_all();
    other.join();
}

} // namespace

BENCHMARK(pool_single)->Arg(0)->Arg(1);
BENCHMARK(glibc_malloc)->Arg(0)->Arg(1)->Threads(1)->Threads(4);
BENCHMARK(mimalloc)->Arg(0)->Arg(1);
BENCHMARK(pool_guarded)->Arg(0)->Arg(1)->Threads(4);
BENCHMARK(worker_start_join);
BENCHMARK(std_thread_start_join);
BENCHMARK(event_ping_pong);
BENCHMARK(condvar_ping_pong);
BENCHMARK_MAIN();
