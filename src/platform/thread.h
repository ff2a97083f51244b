// Per-thread slots and native thread handles of the system's thread library.
#pragma once

#include <thread>

namespace qel::detail {

// One pointer per thread. get and set throw std::runtime_error on failure.
class thread_local_impl_ {
public:
    virtual ~thread_local_impl_();
    virtual void* get() const = 0;
    virtual void set(void* value) = 0;
};

} // namespace qel::detail

namespace qel::platform {

// A new slot, null on every thread. A slot the system could not give fails on first use.
detail::thread_local_impl_* new_thread_local();

// The system's handle of the thread (a HANDLE on Windows, a pthread_t on POSIX).
void* native_thread_handle(std::thread& thread);

// The processors this process may run on now, at least 1.
unsigned processor_count();

} // namespace qel::platform
