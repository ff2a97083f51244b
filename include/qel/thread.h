// Worker threads with cooperative shutdown, a manual-reset event, a counting semaphore and a
// pointer-sized slot whose value is separate for every thread.
#pragma once

#include <qel/datetime.h>
#include <qel/export.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace qel {

namespace detail {
class thread_local_impl_;
} // namespace detail

// One untyped pointer per thread; a thread that stored nothing reads null. The slot never
// owns what it points to, and values of ended threads are simply lost. get and set throw
// std::runtime_error when the system has no slot to give.
class QEL_API thread_local_slot {
public:
    thread_local_slot();
    // Also stores value for the calling thread only.
    explicit thread_local_slot(void* value);
    ~thread_local_slot();
    thread_local_slot(const thread_local_slot&) = delete;
    thread_local_slot& operator=(const thread_local_slot&) = delete;

    void* get() const;
    void set(void* value);

private:
    detail::thread_local_impl_* impl_;
};

// Lets a running body poll for a shutdown request.
class QEL_API IThreadState {
public:
    IThreadState() = default;
    IThreadState(const IThreadState&) = default;
    IThreadState& operator=(const IThreadState&) = default;
    virtual ~IThreadState();
    virtual bool is_shutdown() const = 0;
};

// What a worker runs; owned by the caller, who keeps it alive until the worker is joined.
class QEL_API IThreadBody {
public:
    IThreadBody() = default;
    IThreadBody(const IThreadBody&) = default;
    IThreadBody& operator=(const IThreadBody&) = default;
    virtual ~IThreadBody();
    // Exceptions escaping run are dropped on the worker thread.
    virtual void run(IThreadState& state) = 0;
    // Reached through worker_thread::message from the body's own thread.
    virtual bool message(int code, void* data);
};

// A manual-reset event: once signalled, every wait returns until reset.
class QEL_API thread_event {
public:
    explicit thread_event(bool initial = false) : flag_(initial) {}
    thread_event(const thread_event&) = delete;
    thread_event& operator=(const thread_event&) = delete;

    bool get() const;
    // Wakes all waiters.
    void signal();
    void reset();
    void wait();
    // A period of zero or fewer milliseconds tests without blocking; returns the flag.
    bool wait(const time_period& period);

private:
    std::condition_variable cv_;
    mutable std::mutex mutex_;
    bool flag_;
};

// A counting semaphore; a negative start needs that many posts plus one before a wait passes.
class QEL_API thread_semaphore {
public:
    explicit thread_semaphore(int initial = 0) : count_(initial) {}
    thread_semaphore(const thread_semaphore&) = delete;
    thread_semaphore& operator=(const thread_semaphore&) = delete;

    int get_count() const;
    // Wakes one waiter.
    void post();
    void wait();
    // A period of zero or fewer milliseconds tests without blocking; true when a count was taken.
    bool wait(const time_period& period);
    bool try_wait();

private:
    bool wait_(int milliseconds);

    std::condition_variable cv_;
    mutable std::mutex mutex_;
    std::int32_t count_;
};

// Runs an IThreadBody on a thread of its own. Idle until start; running until the body
// returns; finished until joined (join, a successful timed join, join_finished or running),
// after which it may be started again. The owner shuts down and joins before destruction;
// a worker destroyed while joinable is shut down and joined by its destructor.
class QEL_API worker_thread : public IThreadState {
public:
    explicit worker_thread(IThreadBody& body) : body_(body) {}
    ~worker_thread() override;
    worker_thread(const worker_thread&) = delete;
    worker_thread& operator=(const worker_thread&) = delete;

    // Clears the shutdown flag and launches the body. A worker still joinable is joined first.
    void start();
    // Only raises the flag; the body ends when run returns.
    void shutdown();
    bool is_shutdown() const override;
    // Throws std::system_error (resource deadlock would occur) when called from the worker.
    void join();
    // False, leaving the thread running, when the body has not finished within the period;
    // zero or fewer milliseconds never block.
    bool join(const time_period& period);
    // Joins a finished worker; false while the body still runs.
    bool join_finished();
    bool running() { return !join_finished(); }
    bool joinable() const;
    // The id the worker thread recorded; empty before it began and after a join.
    std::thread::id get_id() const;
    void* native_handle();

    // The calling worker's body.message(code, data); false on any other thread.
    static bool message(int code, void* data);

private:
    void thread_body_();
    void join_();
    void record_id_(std::thread::id id);

    IThreadBody& body_;
    thread_event finished_;
    mutable std::atomic_flag spin_ = ATOMIC_FLAG_INIT;
    std::thread::id id_;
    mutable std::mutex join_mutex_;
    std::thread thread_;
    std::atomic<bool> shutdown_{false};

    static thread_local_slot m_tl_body;
};

} // namespace qel
