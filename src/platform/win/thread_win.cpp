// Slots through TLS indexes. TLS_OUT_OF_INDEXES is kept as the index so that every later use
// fails; TlsGetValue clears the last error on success, so null with an error is a failure.
#include "platform/thread.h"

#include "platform/win/windows_api.h"
#include "thread/thread_messages.h"

#include <pthread.h>

#include <stdexcept>

namespace qel::platform {

class thread_local_impl_win_ final : public detail::thread_local_impl_ {
public:
    thread_local_impl_win_() : index_(TlsAlloc()) {}
    ~thread_local_impl_win_() override {
        if (index_ != TLS_OUT_OF_INDEXES)
            TlsFree(index_);
    }
    void* get() const override {
        void* value = TlsGetValue(index_);
        if (value == nullptr && GetLastError() != ERROR_SUCCESS)
            throw std::runtime_error(detail::thread_messages::local_reading_failure);
        return value;
    }
    void set(void* value) override {
        if (TlsSetValue(index_, value) == 0)
            throw std::runtime_error(detail::thread_messages::local_writing_failure);
    }

private:
    DWORD index_;
};

detail::thread_local_impl_* new_thread_local() {
    return new thread_local_impl_win_();
}

// winpthreads keeps the Windows handle behind its pthread_t.
void* native_thread_handle(std::thread& thread) {
    return pthread_gethandle(thread.native_handle());
}

unsigned processor_count() {
    const DWORD count = GetActiveProcessorCount(ALL_PROCESSOR_GROUPS);
    return count > 0 ? static_cast<unsigned>(count) : 1;
}

} // namespace qel::platform
