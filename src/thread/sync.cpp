// Events and semaphores. Timed waits run against the system clock; a period of zero or fewer
// milliseconds only tests the condition.
#include <qel/thread.h>

#include <chrono>

namespace qel {

namespace {

template <class Condition>
bool wait_for_ms(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, int ms,
                 Condition condition) {
    if (ms <= 0)
        return condition();
    auto deadline = std::chrono::system_clock::now() + std::chrono::milliseconds(ms);
    return cv.wait_until(lock, deadline, condition);
}

} // namespace

bool thread_event::get() const {
    std::lock_guard lock(mutex_);
    return flag_;
}

void thread_event::signal() {
    std::lock_guard lock(mutex_);
    flag_ = true;
    cv_.notify_all();
}

void thread_event::reset() {
    std::lock_guard lock(mutex_);
    flag_ = false;
}

void thread_event::wait() {
    std::unique_lock lock(mutex_);
    cv_.wait(lock, [this] { return flag_; });
}

bool thread_event::wait(const time_period& period) {
    std::unique_lock lock(mutex_);
    return wait_for_ms(cv_, lock, period.get(), [this] { return flag_; });
}

int thread_semaphore::get_count() const {
    std::lock_guard lock(mutex_);
    return count_;
}

void thread_semaphore::post() {
    std::lock_guard lock(mutex_);
    ++count_;
    cv_.notify_one();
}

void thread_semaphore::wait() {
    std::unique_lock lock(mutex_);
    cv_.wait(lock, [this] { return count_ > 0; });
    --count_;
}

bool thread_semaphore::wait(const time_period& period) {
    return wait_(period.get());
}

bool thread_semaphore::try_wait() {
    return wait_(0);
}

bool thread_semaphore::wait_(int milliseconds) {
    std::unique_lock lock(mutex_);
    if (!wait_for_ms(cv_, lock, milliseconds, [this] { return count_ > 0; }))
        return false;
    --count_;
    return true;
}

} // namespace qel
