// A pool for many small allocations of repeating sizes: every size below a limit has a
// bucket of equal slots reused last-in first-out; larger requests go to the general heap.
#pragma once

#include <qel/export.h>

#include <cstdint>

namespace qel {

namespace detail {
class mem_pool_impl_;
} // namespace detail

// Bucket memory goes back to the system only when the pool is destroyed, slots still handed
// out included; blocks at or above the limit must be freed by the caller.
class QEL_API mem_pool {
public:
    enum E_TheadModel : std::int32_t { single_thread = 0, multi_thread = 1 };

    // multi_thread guards the buckets with one lock, which waiters spin on (yielding their
    // time slice) rather than sleep on: a pooled call holds it for nanoseconds.
    mem_pool(std::uint64_t size_limit, E_TheadModel model);
    // The source is left without an implementation and may only be destroyed.
    mem_pool(mem_pool&& other) noexcept;
    ~mem_pool();
    mem_pool(const mem_pool&) = delete;
    mem_pool& operator=(const mem_pool&) = delete;

    // Null for 0; std::bad_alloc when the heap is exhausted. Blocks carry no alignment
    // beyond what their 16-byte header and the sizes before them give.
    void* alloc(std::uint64_t size);
    // p comes from alloc of this pool, or is null.
    void free(void* p);
    std::uint64_t max_size() const;

private:
    detail::mem_pool_impl_* impl_;
};

} // namespace qel
