// Compression with two methods: the library's own lzm block format (1) and zlib (2).
// Data moves through deflate_stream / inflate_stream wrappers of any IStream, or through
// one-call functions over memory, vectors, standard streams and IStreams.
#pragma once

#include <qel/exception.h>
#include <qel/export.h>
#include <qel/stream.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

namespace qel {

// Method codes, the only valid values of every `method` argument.
inline constexpr int compress_lzm = 1;
inline constexpr int compress_zlib = 2;

// A compressing IStream over `target` (written, never owned); throws compress_error
// "invalid compression method" for an unknown code.
QEL_API std::unique_ptr<IStream> deflate_stream_factory(IStream& target, int method);
// A decompressing IStream over `source` (read, never owned).
QEL_API std::unique_ptr<IStream> inflate_stream_factory(IStream& source, int method);

class QEL_API basic_compress_stream {
public:
    basic_compress_stream(const basic_compress_stream&) = delete;
    basic_compress_stream& operator=(const basic_compress_stream&) = delete;

    void reset();
    bool error() const;
    bool eof() const;
    bool ok() const;
    IStream& get_interface();

protected:
    explicit basic_compress_stream(std::unique_ptr<IStream>&& impl);
    // A moved-from stream stays usable: it reads and writes nothing and reports error().
    basic_compress_stream(basic_compress_stream&& other) noexcept;
    ~basic_compress_stream();

    // The implementation, or a spent stream once this one was moved from.
    IStream& implementation() const;

    std::unique_ptr<IStream> impl_;
};

// Written like a stream; compressed bytes go to `target`. Pending data is compressed when
// the stream is flushed or destroyed; flush() is the way to see failures.
class QEL_API deflate_stream : public basic_compress_stream {
public:
    deflate_stream(IStream& target, int method);
    deflate_stream(deflate_stream&& other) noexcept;
    ~deflate_stream();

    void write(const void* data, std::size_t size);
    void put(char c);
    void flush();
};

// Read like a stream; compressed bytes come from `source`. A short count is the end.
class QEL_API inflate_stream : public basic_compress_stream {
public:
    inflate_stream(IStream& source, int method);
    inflate_stream(inflate_stream&& other) noexcept;
    ~inflate_stream();

    void read(void* buffer, std::size_t size, std::size_t* read_count = nullptr);
    char get();
};

// One-call families. Vector output is written from index 0 and never shrunk, except by the
// lzm decompressing functions, which append. A streamed `size` above 0 limits the input;
// 0 or less reads to the end.
// Dispatch by method code; the other arguments pass on unchanged (the istream-to-vector
// form takes `size` before `out`).
QEL_API void deflate(int method, const char* data, std::size_t size, std::vector<char>& out);
QEL_API void deflate(int method, const std::vector<char>& in, std::vector<char>& out);
QEL_API void deflate(int method, const char* data, std::size_t size, std::ostream& out);
QEL_API void deflate(int method, const std::vector<char>& in, std::ostream& out);
QEL_API void deflate(int method, const char* data, std::size_t size, IStream& out);
QEL_API void deflate(int method, const std::vector<char>& in, IStream& out);
QEL_API void deflate(int method, std::istream& in, std::int64_t size, std::vector<char>& out);
QEL_API void deflate(int method, IStream& in, std::vector<char>& out, std::int64_t size);
QEL_API void deflate(int method, std::istream& in, std::ostream& out, std::int64_t size);
QEL_API void deflate(int method, IStream& in, IStream& out, std::int64_t size);

QEL_API void inflate(int method, const char* data, std::size_t size, std::vector<char>& out);
QEL_API void inflate(int method, const std::vector<char>& in, std::vector<char>& out);
QEL_API void inflate(int method, const char* data, std::size_t size, std::ostream& out);
QEL_API void inflate(int method, const std::vector<char>& in, std::ostream& out);
QEL_API void inflate(int method, const char* data, std::size_t size, IStream& out);
QEL_API void inflate(int method, const std::vector<char>& in, IStream& out);
QEL_API void inflate(int method, std::istream& in, std::vector<char>& out);
QEL_API void inflate(int method, IStream& in, std::vector<char>& out);
QEL_API void inflate(int method, std::istream& in, std::ostream& out);
QEL_API void inflate(int method, IStream& in, IStream& out);

// The lzm method.
QEL_API void lzm_deflate(const char* data, std::size_t size, std::vector<char>& out);
QEL_API void lzm_deflate(const std::vector<char>& in, std::vector<char>& out);
QEL_API void lzm_deflate(const char* data, std::size_t size, std::ostream& out);
QEL_API void lzm_deflate(const std::vector<char>& in, std::ostream& out);
QEL_API void lzm_deflate(const char* data, std::size_t size, IStream& out);
QEL_API void lzm_deflate(const std::vector<char>& in, IStream& out);
QEL_API void lzm_deflate(std::istream& in, std::vector<char>& out, std::int64_t size);
QEL_API void lzm_deflate(IStream& in, std::vector<char>& out, std::int64_t size);
QEL_API void lzm_deflate(std::istream& in, std::ostream& out, std::int64_t size);
QEL_API void lzm_deflate(IStream& in, IStream& out, std::int64_t size);

QEL_API void lzm_inflate(const char* data, std::size_t size, std::vector<char>& out);
QEL_API void lzm_inflate(const std::vector<char>& in, std::vector<char>& out);
QEL_API void lzm_inflate(const char* data, std::size_t size, std::ostream& out);
QEL_API void lzm_inflate(const std::vector<char>& in, std::ostream& out);
QEL_API void lzm_inflate(const char* data, std::size_t size, IStream& out);
QEL_API void lzm_inflate(const std::vector<char>& in, IStream& out);
QEL_API void lzm_inflate(std::istream& in, std::vector<char>& out);
QEL_API void lzm_inflate(IStream& in, std::vector<char>& out);
QEL_API void lzm_inflate(std::istream& in, std::ostream& out);
QEL_API void lzm_inflate(IStream& in, IStream& out);

// The zlib method: one zlib stream out; concatenated zlib streams in.
QEL_API void zlib_deflate(const char* data, std::size_t size, std::vector<char>& out);
QEL_API void zlib_deflate(const std::vector<char>& in, std::vector<char>& out);
QEL_API void zlib_deflate(const char* data, std::size_t size, std::ostream& out);
QEL_API void zlib_deflate(const std::vector<char>& in, std::ostream& out);
QEL_API void zlib_deflate(const char* data, std::size_t size, IStream& out);
QEL_API void zlib_deflate(const std::vector<char>& in, IStream& out);
QEL_API void zlib_deflate(std::istream& in, std::vector<char>& out, std::int64_t size);
QEL_API void zlib_deflate(IStream& in, std::vector<char>& out, std::int64_t size);
QEL_API void zlib_deflate(std::istream& in, std::ostream& out, std::int64_t size);
QEL_API void zlib_deflate(IStream& in, IStream& out, std::int64_t size);

QEL_API void zlib_inflate(const char* data, std::size_t size, std::vector<char>& out);
QEL_API void zlib_inflate(const std::vector<char>& in, std::vector<char>& out);
QEL_API void zlib_inflate(const char* data, std::size_t size, std::ostream& out);
QEL_API void zlib_inflate(const std::vector<char>& in, std::ostream& out);
QEL_API void zlib_inflate(const char* data, std::size_t size, IStream& out);
QEL_API void zlib_inflate(const std::vector<char>& in, IStream& out);
QEL_API void zlib_inflate(std::istream& in, std::vector<char>& out);
QEL_API void zlib_inflate(IStream& in, std::vector<char>& out);
QEL_API void zlib_inflate(std::istream& in, std::ostream& out);
QEL_API void zlib_inflate(IStream& in, IStream& out);

} // namespace qel
