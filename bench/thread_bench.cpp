// mem_pool against glibc malloc on pooled sizes (mimalloc has its own program, since linking it
// replaces malloc in the whole process); worker start-and-join and event ping-pong against
// std::thread and std::condition_variable.
#include "alloc_batches.h"

#include <qel/thread.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace {

using alloc_bench::pool_guarded;
using alloc_bench::pool_single;
using alloc_bench::run_batches;

void glibc_malloc(benchmark::State& state) {
    run_batches(
        state, state.range(0) != 0, [](std::size_t n) { return std::malloc(n); },
        [](void* p) { std::free(p); });
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
BENCHMARK(pool_guarded)->Arg(0)->Arg(1)->Threads(4);
BENCHMARK(worker_start_join);
BENCHMARK(std_thread_start_join);
BENCHMARK(event_ping_pong);
BENCHMARK(condvar_ping_pong);
BENCHMARK_MAIN();
