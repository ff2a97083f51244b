#include "compress/byte_io.h"
#include "compress/compress_messages.h"
#include "compress/compress_stream_impl.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace detail {

void throw_output_error() {
    throw compress_error(compress_messages::output_stream_error, 0);
}
void throw_input_error() {
    throw compress_error(compress_messages::input_stream_error, 0);
}
void throw_unexpected_end() {
    throw compress_error(compress_messages::input_unexpected_end, 0);
}

void basic_compress_stream_impl_::read(void*, std::size_t, std::size_t*) {
    throw compress_no_impl_();
}
void basic_compress_stream_impl_::write(const void*, std::size_t) {
    throw compress_no_impl_();
}
char basic_compress_stream_impl_::get() {
    throw compress_no_impl_();
}
void basic_compress_stream_impl_::put(char) {
    throw compress_no_impl_();
}
std::fpos<int> basic_compress_stream_impl_::seek(std::fpos<int>, int, int) {
    throw compress_no_impl_();
}
std::fpos<int> basic_compress_stream_impl_::get_pos(int) {
    throw compress_no_impl_();
}
std::int64_t basic_compress_stream_impl_::get_size() {
    throw compress_no_impl_();
}

basic_deflate_stream_impl_::basic_deflate_stream_impl_(IStream& target, std::size_t threshold)
    : basic_compress_stream_impl_(target), threshold_(threshold) {
    buffer_.reserve(threshold);
}

void basic_deflate_stream_impl_::write(const void* data, std::size_t size) {
    auto bytes = static_cast<const char*>(data);
    buffer_.insert(buffer_.end(), bytes, bytes + size);
    finished_ = false;
    if (buffer_.size() < threshold_)
        return;
    deflate_data(buffer_.data(), buffer_.size(), false);
    buffer_.clear();
    processed_ = true;
}

void basic_deflate_stream_impl_::final_flush() {
    if (finished_)
        return;
    if (!buffer_.empty()) {
        deflate_data(buffer_.data(), buffer_.size(), true);
        buffer_.clear();
        processed_ = true;
    } else if (processed_) {
        deflate_data(nullptr, 0, true);
    }
    finished_ = true;
}

void basic_deflate_stream_impl_::final_flush_quietly() noexcept {
    try {
        final_flush();
    } catch (...) {
        // A destructor has no way to report; flush() is where failures show.
    }
}

void basic_deflate_stream_impl_::flush() {
    final_flush();
    wrapped_->flush();
}

void basic_inflate_stream_impl_::read(void* buffer, std::size_t size, std::size_t* read_count) {
    auto out = static_cast<char*>(buffer);
    std::size_t delivered = 0;
    while (delivered < size) {
        std::size_t available = buffer_.size() - read_position_;
        if (available > 0) {
            std::size_t n = std::min(available, size - delivered);
            std::memcpy(out + delivered, buffer_.data() + read_position_, n);
            read_position_ += n;
            delivered += n;
            continue;
        }
        if (exhausted_)
            break;
        buffer_.clear();
        read_position_ = 0;
        exhausted_ = !inflate_data(buffer_);
    }
    if (read_count)
        *read_count = delivered;
}

char basic_inflate_stream_impl_::get() {
    char c = 0;
    read(&c, 1, nullptr);
    return c;
}

void basic_inflate_stream_impl_::flush() {
    throw compress_no_impl_();
}

bool basic_inflate_stream_impl_::eof() const {
    return wrapped_->eof() && read_position_ == buffer_.size();
}

std::fpos<int> basic_inflate_stream_impl_::get_pos(int mode) {
    auto undelivered = static_cast<std::streamoff>(buffer_.size() - read_position_);
    return std::fpos<int>(std::streamoff(wrapped_->get_pos(mode)) - undelivered);
}

std::int64_t basic_inflate_stream_impl_::get_size() {
    return wrapped_->get_size();
}

} // namespace detail

std::unique_ptr<IStream> deflate_stream_factory(IStream& target, int method) {
    switch (method) {
    case compress_lzm:
        return detail::make_lzm_deflate_stream(target);
    case compress_zlib:
        return detail::make_zlib_deflate_stream(target);
    default:
        throw detail::compress_bad_method_();
    }
}

std::unique_ptr<IStream> inflate_stream_factory(IStream& source, int method) {
    switch (method) {
    case compress_lzm:
        return detail::make_lzm_inflate_stream(source);
    case compress_zlib:
        return detail::make_zlib_inflate_stream(source);
    default:
        throw detail::compress_bad_method_();
    }
}

namespace {

// What a moved-from compression stream forwards to: nothing to read or write, never ok.
class spent_stream final : public IStream {
public:
    void read(void*, std::size_t, std::size_t* read_count) override {
        if (read_count)
            *read_count = 0;
    }
    void write(const void*, std::size_t) override {}
    char get() override { return 0; }
    void put(char) override {}
    void flush() override {}
    void reset() override {}
    bool error() const override { return true; }
    bool eof() const override { return false; }
    bool ok() const override { return false; }
    std::fpos<int> seek(std::fpos<int>, int, int) override { return std::fpos<int>(-1); }
    std::fpos<int> get_pos(int) override { return std::fpos<int>(-1); }
    std::int64_t get_size() override { return -1; }
};

} // namespace

IStream& basic_compress_stream::implementation() const {
    static spent_stream spent;
    return impl_ ? *impl_ : spent;
}

basic_compress_stream::basic_compress_stream(std::unique_ptr<IStream>&& impl)
    : impl_(std::move(impl)) {}
basic_compress_stream::basic_compress_stream(basic_compress_stream&& other) noexcept = default;
basic_compress_stream::~basic_compress_stream() = default;
void basic_compress_stream::reset() {
    implementation().reset();
}
bool basic_compress_stream::error() const {
    return implementation().error();
}
bool basic_compress_stream::eof() const {
    return implementation().eof();
}
bool basic_compress_stream::ok() const {
    return implementation().ok();
}
IStream& basic_compress_stream::get_interface() {
    return implementation();
}

deflate_stream::deflate_stream(IStream& target, int method)
    : basic_compress_stream(deflate_stream_factory(target, method)) {}
deflate_stream::deflate_stream(deflate_stream&& other) noexcept = default;
deflate_stream::~deflate_stream() = default;
void deflate_stream::write(const void* data, std::size_t size) {
    implementation().write(data, size);
}
void deflate_stream::put(char c) {
    implementation().put(c);
}
void deflate_stream::flush() {
    implementation().flush();
}

inflate_stream::inflate_stream(IStream& source, int method)
    : basic_compress_stream(inflate_stream_factory(source, method)) {}
inflate_stream::inflate_stream(inflate_stream&& other) noexcept = default;
inflate_stream::~inflate_stream() = default;
void inflate_stream::read(void* buffer, std::size_t size, std::size_t* read_count) {
    implementation().read(buffer, size, read_count);
}
char inflate_stream::get() {
    return implementation().get();
}

} // namespace qel
