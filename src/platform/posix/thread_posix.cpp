// Slots through pthread keys. A key that could not be created is remembered as missing so
// that every later use fails, as an exhausted TLS index does on Windows.
#include "platform/thread.h"

#include "thread/thread_messages.h"

#include <pthread.h>
#include <unistd.h>

#include <stdexcept>

namespace qel::platform {

class thread_local_impl_posix_ final : public detail::thread_local_impl_ {
public:
    thread_local_impl_posix_() : valid_(pthread_key_create(&key_, nullptr) == 0) {}
    ~thread_local_impl_posix_() override {
        if (valid_)
            pthread_key_delete(key_);
    }
    void* get() const override {
        if (!valid_)
            throw std::runtime_error(detail::thread_messages::local_reading_failure);
        return pthread_getspecific(key_);
    }
    void set(void* value) override {
        if (!valid_ || pthread_setspecific(key_, value) != 0)
            throw std::runtime_error(detail::thread_messages::local_writing_failure);
    }

private:
    pthread_key_t key_{};
    bool valid_;
};

detail::thread_local_impl_* new_thread_local() {
    return new thread_local_impl_posix_();
}

void* native_thread_handle(std::thread& thread) {
    static_assert(sizeof(pthread_t) <= sizeof(void*));
    return reinterpret_cast<void*>(thread.native_handle());
}

unsigned processor_count() {
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<unsigned>(online) : 1;
}

} // namespace qel::platform
