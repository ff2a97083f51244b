#include <qel/mem_pool.h>
#include <qel/thread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

namespace {

TEST(ThreadLocalSlot, ValuesAreSeparatePerThreadAndPerSlot) {
    int a = 0, b = 0;
    qel::thread_local_slot first(&a);
    qel::thread_local_slot second;
    EXPECT_EQ(first.get(), &a);
    EXPECT_EQ(second.get(), nullptr);
    second.set(&b);
    EXPECT_EQ(first.get(), &a);
    EXPECT_EQ(second.get(), &b);

    void* seen_first = &a;
    void* seen_second = &a;
    std::thread([&] {
        seen_first = first.get();
        second.set(&a);
        seen_second = second.get();
    }).join();
    EXPECT_EQ(seen_first, nullptr);
    EXPECT_EQ(seen_second, &a);
    EXPECT_EQ(second.get(), &b);
    second.set(nullptr);
    EXPECT_EQ(second.get(), nullptr);
}

TEST(ThreadEvent, ManualResetAndTimedWaits) {
    qel::thread_event ev(true);
    ev.wait();
    EXPECT_TRUE(ev.wait(qel::time_period(0)));
    EXPECT_TRUE(ev.get()); // waits leave it set
    ev.reset();
    for (int ms : {-5, 0, 20})
        EXPECT_FALSE(ev.wait(qel::time_period(ms))) << ms;

    std::thread signaller([&] { ev.signal(); });
    EXPECT_TRUE(ev.wait(qel::time_period(60000)));
    signaller.join();
}

TEST(ThreadSemaphore, CountsFollowPostsAndWaits) {
    qel::thread_semaphore sem(2);
    EXPECT_TRUE(sem.try_wait());
    EXPECT_TRUE(sem.wait(qel::time_period(0)));
    EXPECT_FALSE(sem.try_wait());
    EXPECT_FALSE(sem.wait(qel::time_period(-1)));
    EXPECT_FALSE(sem.wait(qel::time_period(10)));
    EXPECT_EQ(sem.get_count(), 0);
    sem.post();
    EXPECT_EQ(sem.get_count(), 1);
    sem.wait();
    EXPECT_EQ(sem.get_count(), 0);

    qel::thread_semaphore negative(-2);
    for (int posts = 1; posts <= 3; ++posts) {
        negative.post();
        EXPECT_EQ(negative.try_wait(), posts == 3) << posts;
    }
}

TEST(ThreadSemaphore, EveryPostWakesOneBlockedWaiter) {
    qel::thread_semaphore sem;
    std::atomic<int> passed{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i)
        waiters.emplace_back([&] {
            sem.wait();
            ++passed;
        });
    for (int i = 0; i < 4; ++i)
        sem.post();
    for (auto& t : waiters)
        t.join();
    EXPECT_EQ(passed.load(), 4);
    EXPECT_EQ(sem.get_count(), 0);
}

// Runs until released or shut down; answers message 7 with the data it was given.
struct gated_body : qel::IThreadBody {
    qel::thread_event release;
    bool throw_at_end = false;
    std::atomic<bool> saw_shutdown{false};
    void* message_data = nullptr;
    bool message_seen = false;
    void run(qel::IThreadState& state) override {
        int data = 0;
        message_seen = qel::worker_thread::message(7, &data);
        while (!release.wait(qel::time_period(1)))
            if (state.is_shutdown()) {
                saw_shutdown = true;
                break;
            }
        if (throw_at_end)
            throw std::runtime_error("body failure");
    }
    bool message(int code, void* data) override {
        message_data = data;
        return code == 7;
    }
};

TEST(WorkerThread, IdleWorkerJoinsAtOnce) {
    gated_body body;
    qel::worker_thread worker(body);
    EXPECT_FALSE(worker.joinable());
    EXPECT_TRUE(worker.join(qel::time_period(0)));
    EXPECT_TRUE(worker.join_finished());
    EXPECT_FALSE(worker.running());
    EXPECT_EQ(worker.get_id(), std::thread::id());
    EXPECT_FALSE(qel::worker_thread::message(7, nullptr)); // not on a worker
}

TEST(WorkerThread, TimedJoinWaitsForTheBodyAndRunningJoins) {
    gated_body body;
    qel::worker_thread worker(body);
    worker.start();
    EXPECT_TRUE(worker.joinable());
    EXPECT_NE(worker.native_handle(), nullptr);
    for (int ms : {-1, 0, 10})
        EXPECT_FALSE(worker.join(qel::time_period(ms))) << ms;
    EXPECT_TRUE(worker.running());
    EXPECT_TRUE(worker.joinable());

    body.release.signal();
    while (worker.running()) {
    }
    EXPECT_FALSE(worker.joinable());
    EXPECT_EQ(worker.get_id(), std::thread::id());
    EXPECT_TRUE(body.message_seen);
    EXPECT_NE(body.message_data, nullptr);
    EXPECT_FALSE(body.saw_shutdown);
}

TEST(WorkerThread, ShutdownEndsTheBodyAndAWorkerRestarts) {
    gated_body body;
    body.throw_at_end = true;
    qel::worker_thread worker(body);
    for (int round = 0; round < 2; ++round) {
        worker.start();
        EXPECT_FALSE(worker.is_shutdown()) << round;
        worker.shutdown();
        EXPECT_TRUE(worker.is_shutdown());
        worker.join(); // the body's exception stays on its thread
        EXPECT_TRUE(body.saw_shutdown.exchange(false)) << round;
        EXPECT_FALSE(worker.joinable());
    }
    EXPECT_TRUE(worker.join(qel::time_period(0)));
}

struct self_joining_body : qel::IThreadBody {
    qel::worker_thread* worker = nullptr;
    std::thread::id seen_id;
    bool deadlock_reported = false;
    void run(qel::IThreadState&) override {
        seen_id = worker->get_id();
        try {
            worker->join();
        } catch (const std::system_error& e) {
            deadlock_reported = e.code() == std::errc::resource_deadlock_would_occur;
        }
    }
};

TEST(WorkerThread, JoinFromTheWorkerItselfThrows) {
    self_joining_body body;
    qel::worker_thread worker(body);
    body.worker = &worker;
    worker.start();
    worker.join();
    EXPECT_TRUE(body.deadlock_reported);
    EXPECT_NE(body.seen_id, std::thread::id());
    EXPECT_NE(body.seen_id, std::this_thread::get_id());
}

TEST(MemPool, SmallSizesComeFromBucketsAndLargeOnesFromTheHeap) {
    qel::mem_pool pool(64, qel::mem_pool::single_thread);
    EXPECT_EQ(pool.alloc(0), nullptr);
    pool.free(nullptr);
    EXPECT_EQ(pool.max_size(), UINT64_MAX);

    auto* a = static_cast<char*>(pool.alloc(63));
    auto* b = static_cast<char*>(pool.alloc(63));
    EXPECT_EQ(a - b, 63 + 16); // neighbouring slots, handed out from the top down
    auto* c = static_cast<char*>(pool.alloc(64));
    auto* d = static_cast<char*>(pool.alloc(64));
    EXPECT_NE(c - d, 64 + 16);
    std::memset(c, 1, 64);
    pool.free(c);
    pool.free(d);

    pool.free(a);
    pool.free(b);
    EXPECT_EQ(pool.alloc(63), b); // last in, first out
    EXPECT_EQ(pool.alloc(63), a);
}

// Lengths of the runs of slots that follow each other at one stride, top down.
std::vector<int> chunk_runs(qel::mem_pool& pool, std::uint64_t size, int count) {
    std::vector<int> runs;
    char* previous = nullptr;
    for (int i = 0; i < count; ++i) {
        auto* p = static_cast<char*>(pool.alloc(size));
        if (previous != nullptr && previous - p == static_cast<std::ptrdiff_t>(size + 16))
            ++runs.back();
        else
            runs.push_back(1);
        previous = p;
    }
    return runs;
}

TEST(MemPool, ChunksDoubleUpToTheirByteCap) {
    struct row {
        std::uint64_t size;
        int count;
        std::vector<int> runs;
    };
    // 0x3FFFF / 1040 = 252 slots; a slot above the cap gets chunks of one.
    const row rows[] = {
        {16, 4 + 8 + 16 + 32, {4, 8, 16, 32}},
        {1024, 4 + 8 + 16 + 32 + 64 + 128 + 252 + 1, {4, 8, 16, 32, 64, 128, 252, 1}},
        {0x40000, 7, {4, 1, 1, 1}},
    };
    for (const auto& r : rows) {
        qel::mem_pool pool(0x40001, qel::mem_pool::single_thread);
        EXPECT_EQ(chunk_runs(pool, r.size, r.count), r.runs) << r.size;
    }
}

TEST(MemPool, GuardedPoolServesConcurrentThreads) {
    qel::mem_pool pool(257, qel::mem_pool::multi_thread);
    qel::mem_pool moved(std::move(pool));
    std::atomic<int> corrupted{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            std::vector<unsigned char*> blocks;
            for (int round = 0; round < 200; ++round) {
                for (std::uint64_t size = 16; size <= 256; size += 48) {
                    auto* p = static_cast<unsigned char*>(moved.alloc(size));
                    std::memset(p, t, size);
                    blocks.push_back(p);
                }
                if (round % 3 == 0)
                    continue; // let some blocks build up
                for (auto* p : blocks) {
                    if (p[0] != t)
                        ++corrupted;
                    moved.free(p);
                }
                blocks.clear();
            }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(corrupted.load(), 0);
}

} // namespace
