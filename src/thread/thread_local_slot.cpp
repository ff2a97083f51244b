#include "platform/thread.h"

#include <qel/thread.h>

#include <memory>

namespace qel {

detail::thread_local_impl_::~thread_local_impl_() = default;

thread_local_slot::thread_local_slot() : impl_(platform::new_thread_local()) {}

thread_local_slot::thread_local_slot(void* value) {
    std::unique_ptr<detail::thread_local_impl_> impl(platform::new_thread_local());
    impl->set(value);
    impl_ = impl.release();
}

thread_local_slot::~thread_local_slot() {
    delete impl_;
}

void* thread_local_slot::get() const {
    return impl_->get();
}

void thread_local_slot::set(void* value) {
    impl_->set(value);
}

} // namespace qel
