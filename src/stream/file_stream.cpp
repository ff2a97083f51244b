#include "stream/file_stream_impl.h"

#include <qel/stream.h>

namespace qel {

IFileStream::~IFileStream() = default;

namespace detail {

class FileStream_impl_ final : public BasicFileStream_impl_<IFileStream> {
public:
    FileStream_impl_(const std::wstring& name, file_stream_mode mode) {
        open_(name, mode.get(), true);
    }
};

} // namespace detail

std::unique_ptr<IFileStream> file_stream_factory(const std::wstring& name, file_stream_mode mode) {
    return std::make_unique<detail::FileStream_impl_>(name, mode);
}

file_stream::file_stream() = default;
file_stream::file_stream(const std::wstring& name, file_stream_mode mode)
    : impl_(file_stream_factory(name, mode)) {}
file_stream::file_stream(file_stream&& other) noexcept = default;
file_stream& file_stream::operator=(file_stream&& other) noexcept = default;
file_stream::~file_stream() = default;

bool file_stream::open(const std::wstring& name, file_stream_mode mode) {
    // The new file opens first; replacing the old implementation then closes the old file.
    impl_ = file_stream_factory(name, mode);
    return impl_->is_open();
}

bool file_stream::is_open() const {
    return impl_ && impl_->is_open();
}
void file_stream::close() {
    if (impl_)
        impl_->close();
}

void file_stream::read(void* buffer, std::size_t size, std::size_t* read_count) {
    impl_->read(buffer, size, read_count);
}
void file_stream::write(const void* data, std::size_t size) {
    impl_->write(data, size);
}
char file_stream::get() {
    return impl_->get();
}
void file_stream::put(char c) {
    impl_->put(c);
}
void file_stream::flush() {
    impl_->flush();
}
void file_stream::reset() {
    impl_->reset();
}
bool file_stream::error() const {
    return impl_->error();
}
bool file_stream::eof() const {
    return impl_->eof();
}
bool file_stream::ok() const {
    return impl_->ok();
}
std::fpos<int> file_stream::seek(std::fpos<int> pos, int way, int mode) {
    return impl_->seek(pos, way, mode);
}
std::fpos<int> file_stream::get_pos(int mode) {
    return impl_->get_pos(mode);
}
std::int64_t file_stream::get_size() {
    return impl_->get_size();
}
IFileStream& file_stream::get_interface() {
    return *impl_;
}

} // namespace qel
