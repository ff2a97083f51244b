// The buffering shells shared by every compressing and decompressing stream.
#pragma once

#include <qel/compress.h>

#include <vector>

namespace qel::detail {

// An IStream over a wrapped stream; operations a compression stream lacks throw
// compress_no_impl_, and the state questions go to the wrapped stream.
class basic_compress_stream_impl_ : public IStream {
public:
    explicit basic_compress_stream_impl_(IStream& wrapped) : wrapped_(&wrapped) {}

    void read(void* buffer, std::size_t size, std::size_t* read_count) override;
    void write(const void* data, std::size_t size) override;
    char get() override;
    void put(char c) override;
    void flush() override = 0;
    void reset() override { wrapped_->reset(); }
    bool error() const override { return wrapped_->error(); }
    bool eof() const override { return wrapped_->eof(); }
    bool ok() const override { return wrapped_->ok(); }
    std::fpos<int> seek(std::fpos<int> pos, int way, int mode) override;
    std::fpos<int> get_pos(int mode) override;
    std::int64_t get_size() override;

protected:
    IStream* wrapped_;
};

// Collects bytes up to a threshold before handing them to the codec in one call.
class basic_deflate_stream_impl_ : public basic_compress_stream_impl_ {
public:
    basic_deflate_stream_impl_(IStream& target, std::size_t threshold);

    void write(const void* data, std::size_t size) override;
    void put(char c) override { write(&c, 1); }
    void flush() override;

    // Compresses `size` bytes (data is null when size is 0) and writes them to the wrapped
    // stream; `finish` ends the method's output stream.
    virtual void deflate_data(const void* data, std::size_t size, bool finish) = 0;

protected:
    void final_flush();
    // For destructors of concrete streams: pending data goes out, errors are swallowed.
    void final_flush_quietly() noexcept;

private:
    std::size_t threshold_;
    std::vector<char> buffer_;
    bool processed_ = false;
    bool finished_ = false;
};

// Delivers decoded bytes piece by piece as the codec produces them.
class basic_inflate_stream_impl_ : public basic_compress_stream_impl_ {
public:
    explicit basic_inflate_stream_impl_(IStream& source) : basic_compress_stream_impl_(source) {}

    void read(void* buffer, std::size_t size, std::size_t* read_count) override;
    char get() override;
    void flush() override;
    bool eof() const override;
    std::fpos<int> get_pos(int mode) override;
    std::int64_t get_size() override;

    // Appends the next piece of decoded data to `out` (handed over empty); false when the
    // compressed input is exhausted.
    virtual bool inflate_data(std::vector<char>& out) = 0;

private:
    std::vector<char> buffer_;
    std::size_t read_position_ = 0;
    bool exhausted_ = false;
};

std::unique_ptr<IStream> make_lzm_deflate_stream(IStream& target);
std::unique_ptr<IStream> make_lzm_inflate_stream(IStream& source);
std::unique_ptr<IStream> make_zlib_deflate_stream(IStream& target);
std::unique_ptr<IStream> make_zlib_inflate_stream(IStream& source);

} // namespace qel::detail
