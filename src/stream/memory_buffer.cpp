#include "stream/memory_buffer.h"
#include "stream/stream_state.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

namespace qel::detail {
namespace {

constexpr std::size_t largest_buffer = INT_MAX;
constexpr std::size_t minimum_increment = 32;

// The size after one growth step, or `size` itself when no step is possible.
std::size_t grown_size(std::size_t size) {
    std::size_t increment = std::max(size / 2, minimum_increment);
    while (largest_buffer - increment < size) {
        increment /= 2;
        if (increment < 1)
            return size;
    }
    return size + increment;
}

} // namespace

memory_buffer::memory_buffer() : dynamic_(true) {}

memory_buffer::memory_buffer(char* data, std::size_t size, bool append)
    : data_(data), capacity_(usable_size(data, size)) {
    char* end = data_ + capacity_;
    char* write_start = data_;
    if (append) {
        auto nul = static_cast<char*>(std::memchr(data_, 0, capacity_));
        write_start = nul ? nul : end;
    }
    setg(data_, data_, write_start);
    setp(write_start, end);
    high_water_ = end;
}

memory_buffer::memory_buffer(const char* data, std::size_t size)
    : data_(const_cast<char*>(data)), capacity_(usable_size(data, size)) {
    // Never written: there is no write area, so every write reaches overflow and fails.
    setg(data_, data_, data_ + capacity_);
    high_water_ = data_ + capacity_;
}

memory_buffer::~memory_buffer() {
    if (dynamic_)
        delete[] data_;
}

std::size_t memory_buffer::usable_size(const char* data, std::size_t size) {
    // A null pointer is empty text, as `v.data()` of an empty vector may be.
    if (size == 0)
        return data ? std::strlen(data) : 0;
    return std::min(size, largest_buffer);
}

char* memory_buffer::read_limit() const {
    return std::max(high_water_, pptr());
}

void memory_buffer::note_written() {
    if (pptr() > high_water_)
        high_water_ = pptr();
}

void memory_buffer::set_write_pos(char* pos, char* write_end) {
    char* start = pbase();
    setp(start, write_end);
    pbump(static_cast<int>(pos - start));
}

std::streamsize memory_buffer::make_room(std::streamsize needed) {
    std::streamsize room = pptr() ? std::max<std::streamsize>(epptr() - pptr(), 0) : 0;
    if (frozen_ || room >= needed || !dynamic_)
        return frozen_ ? 0 : room;

    std::size_t write_offset = pptr() ? static_cast<std::size_t>(pptr() - data_) : 0;
    std::size_t new_capacity = capacity_;
    while (new_capacity < write_offset + static_cast<std::size_t>(needed)) {
        std::size_t next = grown_size(new_capacity);
        if (next == new_capacity)
            break;
        new_capacity = next;
    }
    if (new_capacity == capacity_)
        return room;
    char* grown = new (std::nothrow) char[new_capacity];
    if (!grown)
        return room;

    if (capacity_ > 0)
        std::memcpy(grown, data_, capacity_);
    auto moved = [&](char* p) { return p ? grown + (p - data_) : grown; };
    char* read_pos = moved(gptr());
    char* write_start = moved(pbase());
    char* write_pos = moved(pptr());
    high_water_ = moved(high_water_);
    delete[] data_;
    data_ = grown;
    capacity_ = new_capacity;
    setg(data_, read_pos, std::max(write_pos, high_water_));
    setp(write_start, data_ + capacity_);
    pbump(static_cast<int>(write_pos - write_start));
    return epptr() - pptr();
}

std::streamsize memory_buffer::xsputn(const char* in, std::streamsize count) {
    std::streamsize n = std::min(count, make_room(count));
    if (n <= 0)
        return 0;
    std::memcpy(pptr(), in, static_cast<std::size_t>(n));
    pbump(static_cast<int>(n));
    note_written();
    return n;
}

memory_buffer::int_type memory_buffer::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return frozen_ ? traits_type::eof() : traits_type::not_eof(c);
    char byte = traits_type::to_char_type(c);
    return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
}

memory_buffer::int_type memory_buffer::underflow() {
    if (!gptr())
        return traits_type::eof();
    char* limit = read_limit();
    if (gptr() >= limit)
        return traits_type::eof();
    setg(eback(), gptr(), limit);
    return traits_type::to_int_type(*gptr());
}

std::streamsize memory_buffer::xsgetn(char* out, std::streamsize count) {
    if (!gptr())
        return 0;
    setg(eback(), gptr(), std::max(egptr(), read_limit()));
    std::streamsize n = std::min<std::streamsize>(count, egptr() - gptr());
    if (n <= 0)
        return 0;
    std::memcpy(out, gptr(), static_cast<std::size_t>(n));
    gbump(static_cast<int>(n));
    return n;
}

std::streamoff memory_buffer::seek(std::streamoff offset, int way, int mode) {
    note_written();
    const bool in = (mode & std::ios_base::in) != 0;
    const bool out = (mode & std::ios_base::out) != 0;
    const std::streamoff high_water = high_water_ ? high_water_ - data_ : 0;

    auto target_from = [&](char* current) -> std::streamoff {
        switch (way) {
        case std::ios_base::beg:
            return offset;
        case std::ios_base::end:
            return seek_target(high_water, offset);
        case std::ios_base::cur:
            return seek_target(current - data_, offset);
        default:
            return -1;
        }
    };

    if (in && gptr()) {
        if (way == std::ios_base::cur && out)
            return -1;
        std::streamoff target = target_from(gptr());
        if (target < 0 || target > high_water)
            return -1;
        setg(eback(), data_ + target, std::max(data_ + target, read_limit()));
        if (out && pptr())
            set_write_pos(data_ + target, epptr());
        return target;
    }
    if (out && pptr()) {
        std::streamoff target = target_from(pptr());
        if (target < 0 || target > high_water)
            return -1;
        set_write_pos(data_ + target, epptr());
        return target;
    }
    return -1;
}

memory_buffer::pos_type memory_buffer::seekoff(off_type offset, std::ios_base::seekdir way,
                                               std::ios_base::openmode mode) {
    return pos_type(seek(offset, way, mode));
}

memory_buffer::pos_type memory_buffer::seekpos(pos_type pos, std::ios_base::openmode mode) {
    return pos_type(seek(pos, std::ios_base::beg, mode));
}

std::streamoff memory_buffer::written_size() const {
    return pptr() ? pptr() - pbase() : 0;
}

std::streamoff memory_buffer::unread_written_size() const {
    if (!pptr() || !gptr())
        return 0;
    return std::max<std::streamoff>(pptr() - gptr(), 0);
}

const char* memory_buffer::freeze() {
    if (!frozen_) {
        frozen_ = true;
        if (pptr()) {
            frozen_write_end_ = epptr();
            set_write_pos(pptr(), data_); // nothing fits any more
        }
    }
    return gptr();
}

void memory_buffer::unfreeze() {
    if (!frozen_)
        return;
    frozen_ = false;
    if (pptr())
        set_write_pos(pptr(), frozen_write_end_);
}

} // namespace qel::detail
