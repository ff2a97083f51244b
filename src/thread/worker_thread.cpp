#include "platform/thread.h"

#include <qel/thread.h>

#include <system_error>

namespace qel {

IThreadState::~IThreadState() = default;
IThreadBody::~IThreadBody() = default;

bool IThreadBody::message(int, void*) {
    return false;
}

// Created with the module: every worker thread finds its own body here.
thread_local_slot worker_thread::m_tl_body;

worker_thread::~worker_thread() {
    // Leaving the thread without an owner is worse than waiting for it.
    if (joinable()) {
        shutdown();
        if (std::this_thread::get_id() == get_id()) {
            thread_.detach();
            return;
        }
        try {
            join_();
        } catch (...) {
        }
    }
}

void worker_thread::start() {
    join_();
    shutdown_.exchange(false);
    finished_.reset();
    {
        // The new thread may join itself before the assignment is done.
        std::lock_guard lock(join_mutex_);
        thread_ = std::thread([this] { thread_body_(); });
    }
    std::this_thread::yield();
}

void worker_thread::shutdown() {
    shutdown_.store(true);
}

bool worker_thread::is_shutdown() const {
    return shutdown_.load();
}

void worker_thread::record_id_(std::thread::id id) {
    while (spin_.test_and_set(std::memory_order_acquire)) {
    }
    id_ = id;
    spin_.clear(std::memory_order_release);
}

std::thread::id worker_thread::get_id() const {
    while (spin_.test_and_set(std::memory_order_acquire)) {
    }
    std::thread::id id = id_;
    spin_.clear(std::memory_order_release);
    return id;
}

void worker_thread::thread_body_() {
    record_id_(std::this_thread::get_id());
    try {
        m_tl_body.set(&body_);
        try {
            body_.run(*this);
        } catch (...) {
        }
        m_tl_body.set(nullptr);
    } catch (...) {
    }
    finished_.signal();
}

void worker_thread::join_() {
    // Checked before the lock: another thread may hold it while joining this one.
    if (get_id() == std::this_thread::get_id())
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    std::lock_guard lock(join_mutex_);
    if (!thread_.joinable())
        return;
    thread_.join();
    thread_ = std::thread();
    record_id_(std::thread::id());
}

void worker_thread::join() {
    join_();
}

bool worker_thread::join(const time_period& period) {
    if (!joinable())
        return true;
    if (!finished_.wait(period))
        return false;
    join_();
    return true;
}

bool worker_thread::join_finished() {
    if (!joinable())
        return true;
    if (!finished_.get())
        return false;
    join_();
    return true;
}

bool worker_thread::joinable() const {
    std::lock_guard lock(join_mutex_);
    return thread_.joinable();
}

void* worker_thread::native_handle() {
    std::lock_guard lock(join_mutex_);
    return platform::native_thread_handle(thread_);
}

bool worker_thread::message(int code, void* data) {
    auto* body = static_cast<IThreadBody*>(m_tl_body.get());
    return body != nullptr && body->message(code, data);
}

} // namespace qel
