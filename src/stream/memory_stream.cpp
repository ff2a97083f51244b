#include "stream/memory_buffer.h"
#include "stream/stream_state.h"

#include <qel/stream.h>

#include <algorithm>

namespace qel {

IStream::~IStream() = default;
IMemoryStream::~IMemoryStream() = default;

namespace detail {

class MemoryStream_impl_ final : public iostream_stream<IMemoryStream> {
public:
    template <class... BufferArgs>
    explicit MemoryStream_impl_(BufferArgs&&... args) : buffer_(args...) {
        attach(&buffer_);
    }

    void flush() override {}
    std::fpos<int> seek(std::fpos<int> pos, int way, int mode) override {
        return stream_pos(buffer_.seek(std::streamoff(pos), way, mode));
    }
    std::fpos<int> get_pos(int mode) override { return seek(0, std::ios_base::cur, mode); }
    std::int64_t get_size() override { return buffer_.written_size(); }
    const void* lock() override { return buffer_.freeze(); }
    void unlock() override { buffer_.unfreeze(); }

    void write_to(IStream& target) override {
        // The pointer is taken at the read position, so the length counts from there too
        // and never runs past the written bytes.
        std::streamoff length = std::min(buffer_.written_size(), buffer_.unread_written_size());
        static const char nothing = 0;
        const void* data = buffer_.freeze();
        target.write(data ? data : &nothing,
                     static_cast<std::size_t>(std::max<std::streamoff>(length, 0)));
        buffer_.unfreeze();
    }

private:
    memory_buffer buffer_;
};

} // namespace detail

std::unique_ptr<IMemoryStream> memory_stream_factory() {
    return std::make_unique<detail::MemoryStream_impl_>();
}

std::unique_ptr<IMemoryStream> memory_stream_factory(void* buffer, std::size_t size, int mode) {
    bool append = (mode & std::ios_base::app) != 0;
    return std::make_unique<detail::MemoryStream_impl_>(static_cast<char*>(buffer), size, append);
}

std::unique_ptr<IMemoryStream> memory_stream_factory(const void* buffer, std::size_t size) {
    return std::make_unique<detail::MemoryStream_impl_>(static_cast<const char*>(buffer), size);
}

memory_stream::memory_stream() : impl_(memory_stream_factory()) {}
memory_stream::memory_stream(void* buffer, std::size_t size, int mode)
    : impl_(memory_stream_factory(buffer, size, mode)) {}
memory_stream::memory_stream(const void* buffer, std::size_t size)
    : impl_(memory_stream_factory(buffer, size)) {}
memory_stream::memory_stream(memory_stream&& other) noexcept = default;
memory_stream& memory_stream::operator=(memory_stream&& other) noexcept = default;
memory_stream::~memory_stream() = default;

void memory_stream::read(void* buffer, std::size_t size, std::size_t* read_count) {
    impl_->read(buffer, size, read_count);
}
void memory_stream::write(const void* data, std::size_t size) {
    impl_->write(data, size);
}
char memory_stream::get() {
    return impl_->get();
}
void memory_stream::put(char c) {
    impl_->put(c);
}
void memory_stream::flush() {
    impl_->flush();
}
void memory_stream::reset() {
    impl_->reset();
}
bool memory_stream::error() const {
    return impl_->error();
}
bool memory_stream::eof() const {
    return impl_->eof();
}
bool memory_stream::ok() const {
    return impl_->ok();
}
std::fpos<int> memory_stream::seek(std::fpos<int> pos, int way, int mode) {
    return impl_->seek(pos, way, mode);
}
std::fpos<int> memory_stream::get_pos(int mode) {
    return impl_->get_pos(mode);
}
std::int64_t memory_stream::get_size() {
    return impl_->get_size();
}
const void* memory_stream::lock() {
    return impl_->lock();
}
void memory_stream::unlock() {
    impl_->unlock();
}
void memory_stream::write_to(IStream& target) {
    impl_->write_to(target);
}
IMemoryStream& memory_stream::get_interface() {
    return *impl_;
}

} // namespace qel
