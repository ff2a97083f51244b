// Buckets of equal slots, one per request size below the limit. A slot is a 16-byte header
// (owner bucket, next free slot) followed by the caller's bytes; slots are packed without
// padding, so the stride is exactly the size plus 16.
#include <qel/mem_pool.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <thread>

namespace qel::detail {

namespace {

constexpr std::uint64_t header_size = 16;
constexpr std::uint64_t first_chunk_slots = 4;
// A chunk grows no larger than this unless one slot alone is larger.
constexpr std::uint64_t chunk_byte_cap = 0x3FFFF;

struct bucket;

// Slots are packed at odd strides, so header fields are copied rather than read in place.
using slot = unsigned char*;

template <class T> T load(const unsigned char* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}
template <class T> void store(unsigned char* at, T value) {
    std::memcpy(at, &value, sizeof value);
}
bucket* owner_of(slot s) {
    return load<bucket*>(s);
}
slot next_of(slot s) {
    return load<slot>(s + sizeof(bucket*));
}
void set_owner(slot s, bucket* b) {
    store(s, b);
}
void set_next(slot s, slot next) {
    store(s + sizeof(bucket*), next);
}
static_assert(2 * sizeof(void*) == header_size);

struct chunk {
    chunk* next;
    std::uint64_t count;
    unsigned char* memory;
};

struct bucket {
    std::uint64_t slot_size;
    std::uint64_t newest_count = 0;
    slot free_head = nullptr;
    chunk* chunks = nullptr;
};

void* heap_alloc(std::uint64_t bytes) {
    if (bytes > std::numeric_limits<std::size_t>::max())
        throw std::bad_alloc();
    void* p = std::malloc(static_cast<std::size_t>(bytes));
    if (p == nullptr)
        throw std::bad_alloc();
    return p;
}

void add_chunk(bucket& b, std::uint64_t count) {
    if (count > std::numeric_limits<std::uint64_t>::max() / b.slot_size)
        throw std::bad_alloc();
    auto* c = static_cast<chunk*>(heap_alloc(sizeof(chunk)));
    try {
        c->memory = static_cast<unsigned char*>(heap_alloc(count * b.slot_size));
    } catch (...) {
        std::free(c);
        throw;
    }
    c->count = count;
    c->next = b.chunks;
    b.chunks = c;
    b.newest_count = count;
    // Threaded backwards so the chunk's last slot is handed out first.
    slot previous = nullptr;
    for (std::uint64_t i = 0; i < count; ++i) {
        slot s = c->memory + i * b.slot_size;
        set_owner(s, &b);
        set_next(s, previous);
        previous = s;
    }
    b.free_head = previous;
}

[[gnu::noinline]] bucket* new_bucket(std::uint64_t size) {
    auto* b = new bucket{size + header_size};
    try {
        add_chunk(*b, first_chunk_slots);
    } catch (...) {
        delete b;
        throw;
    }
    return b;
}

// Kept out of line so that the hot paths need no saved registers.
[[gnu::noinline]] void grow(bucket& b) {
    std::uint64_t count = 2 * b.newest_count;
    if (count * b.slot_size > chunk_byte_cap) {
        count = chunk_byte_cap / b.slot_size;
        if (count == 0)
            count = 1;
    }
    add_chunk(b, count);
}

slot take_slot(bucket& b) {
    if (b.free_head == nullptr)
        grow(b);
    slot s = b.free_head;
    b.free_head = next_of(s);
    set_next(s, nullptr);
    return s;
}

} // namespace

class mem_pool_impl_ {
public:
    explicit mem_pool_impl_(std::uint64_t limit, bool guarded = false)
        : limit_(limit), guarded_(guarded),
          buckets_(std::make_unique<bucket*[]>(static_cast<std::size_t>(limit))) {}
    virtual ~mem_pool_impl_() {
        for (std::uint64_t i = 0; i < limit_; ++i) {
            bucket* b = buckets_[i];
            if (b == nullptr)
                continue;
            while (chunk* c = b->chunks) {
                b->chunks = c->next;
                std::free(c->memory);
                std::free(c);
            }
            delete b;
        }
    }
    mem_pool_impl_(const mem_pool_impl_&) = delete;
    mem_pool_impl_& operator=(const mem_pool_impl_&) = delete;

    virtual void lock() {}
    virtual void unlock() {}

    void* alloc(std::uint64_t size) {
        if (size == 0)
            return nullptr;
        if (size >= limit_)
            return heap_block(size);
        if (!guarded_)
            return pooled_slot(size) + header_size;
        return guarded_alloc(size);
    }

    void free(void* p) {
        if (p == nullptr)
            return;
        slot s = static_cast<slot>(p) - header_size;
        if (!guarded_)
            return release(s);
        guarded_free(s);
    }

private:
    // The guarded and heap paths stay out of line, so that the single-threaded pooled path
    // compiles to a leaf that saves no registers.
    [[gnu::noinline]] static void* heap_block(std::uint64_t size) {
        if (size > std::numeric_limits<std::uint64_t>::max() - header_size)
            throw std::bad_alloc();
        auto s = static_cast<slot>(heap_alloc(size + header_size));
        set_owner(s, nullptr);
        set_next(s, nullptr);
        return s + header_size;
    }

    [[gnu::noinline]] void* guarded_alloc(std::uint64_t size) {
        lock();
        struct unlock_at_end {
            mem_pool_impl_& pool;
            ~unlock_at_end() { pool.unlock(); }
        } guard{*this};
        return pooled_slot(size) + header_size;
    }

    [[gnu::noinline]] void guarded_free(slot s) {
        lock();
        release(s);
        unlock();
    }

    slot pooled_slot(std::uint64_t size) {
        bucket*& b = buckets_[size];
        if (b == nullptr)
            b = new_bucket(size);
        return take_slot(*b);
    }

    static void release(slot s) {
        if (bucket* b = owner_of(s)) {
            set_next(s, b->free_head);
            b->free_head = s;
        } else {
            std::free(s);
        }
    }

    std::uint64_t limit_;
    // The single-threaded pool skips the lock calls on its hot paths; they do nothing there.
    bool guarded_;
    std::unique_ptr<bucket*[]> buckets_;
};

class mem_pool_mt_impl_ final : public mem_pool_impl_ {
public:
    explicit mem_pool_mt_impl_(std::uint64_t limit) : mem_pool_impl_(limit, true) {}
    // A pooled call holds the lock for a few nanoseconds, far less than a sleep in the kernel
    // and the wake-up cost: waiters spin on a read of the flag and give up their time slice
    // now and then, so that a holder preempted on a busy processor can finish.
    void lock() override {
        for (;;) {
            if (!held_.exchange(true, std::memory_order_acquire))
                return;
            for (int spins = 1; held_.load(std::memory_order_relaxed); ++spins)
                if (spins % spins_before_yield == 0)
                    std::this_thread::yield();
        }
    }
    void unlock() override { held_.store(false, std::memory_order_release); }

private:
    static constexpr int spins_before_yield = 8;
    std::atomic<bool> held_{false};
};

} // namespace qel::detail

namespace qel {

mem_pool::mem_pool(std::uint64_t size_limit, E_TheadModel model)
    : impl_(model == multi_thread ? new detail::mem_pool_mt_impl_(size_limit)
                                  : new detail::mem_pool_impl_(size_limit)) {}

mem_pool::mem_pool(mem_pool&& other) noexcept : impl_(other.impl_) {
    other.impl_ = nullptr;
}

mem_pool::~mem_pool() {
    delete impl_;
}

void* mem_pool::alloc(std::uint64_t size) {
    return impl_->alloc(size);
}

void mem_pool::free(void* p) {
    impl_->free(p);
}

std::uint64_t mem_pool::max_size() const {
    return std::numeric_limits<std::uint64_t>::max();
}

} // namespace qel
