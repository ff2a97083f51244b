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

// A compressing IStream over `target` (written, never owned; it must outlive the stream);
// throws compress_error "invalid compression method" for an unknown code. Unlike the other
// streams, compression streams throw: compress_error for codec and output failures (see the
// one-call table below), and "not implemented" for what they lack (reading, get, seek,
// get_pos, get_size). error(), eof(), ok() and reset() are those of `target`.
QEL_API std::unique_ptr<IStream> deflate_stream_factory(IStream& target, int method);
// A decompressing IStream over `source` (read, never owned; it must outlive the stream).
// Writing, put, flush and seek throw "not implemented"; corrupt data throws compress_error
// from read() and get(). A read that returns fewer bytes than asked is the end of the data.
QEL_API std::unique_ptr<IStream> inflate_stream_factory(IStream& source, int method);

// Value wrapper shared by deflate_stream and inflate_stream.
class QEL_API basic_compress_stream {
public:
    basic_compress_stream(const basic_compress_stream&) = delete;
    basic_compress_stream& operator=(const basic_compress_stream&) = delete;

    // The wrapped stream's flags; a moved-from stream reports error().
    void reset();
    bool error() const;
    bool eof() const;
    bool ok() const;
    // The compressing or decompressing IStream itself, owned by this object.
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
    // Throws compress_error "invalid compression method" for an unknown code.
    deflate_stream(IStream& target, int method);
    deflate_stream(deflate_stream&& other) noexcept;
    ~deflate_stream();

    // Each full block is compressed and written at once: compress_error on failure.
    void write(const void* data, std::size_t size);
    void put(char c);
    // Compresses what is pending, ends the method's stream and flushes `target`; throws
    // compress_error ("output stream error" when `target` reports error()).
    void flush();
};

// Read like a stream; compressed bytes come from `source`. A short count is the end.
class QEL_API inflate_stream : public basic_compress_stream {
public:
    // Throws compress_error "invalid compression method" for an unknown code.
    inflate_stream(IStream& source, int method);
    inflate_stream(inflate_stream&& other) noexcept;
    ~inflate_stream();

    void read(void* buffer, std::size_t size, std::size_t* read_count = nullptr);
    char get();
};

// One-call families: deflate/inflate (method code first), lzm_* and zlib_*, ten forms each.
// Every form reads its whole input and writes the whole result, or throws compress_error.
//
//   input                            | meaning
//   ---------------------------------+---------------------------------------------------------
//   const char* data, size_t size    | the `size` bytes at `data`
//   const std::vector<char>& in      | all of `in`
//   std::istream& in  (deflate only: | read until a read yields nothing; a `size` above 0 stops
//     std::int64_t size)             | after `size` bytes, 0 or less reads to the end
//   IStream& in       (idem)         | as std::istream
//
//   output                           | meaning
//   ---------------------------------+---------------------------------------------------------
//   std::vector<char>& out           | written from index 0 and grown as needed, never shrunk:
//                                    | bytes beyond the result stay, so pass an empty vector.
//                                    | Exception: lzm inflating appends to what `out` holds.
//   std::ostream& out                | written with write(); not good() after it throws
//   IStream& out                     | written with write(); error() after it throws
//
//   compress_error message           | thrown when
//   ---------------------------------+---------------------------------------------------------
//   "invalid compression method"     | deflate/inflate with a code other than 1 or 2
//   "output stream error"            | the output stream failed
//   "input stream error"             | lzm inflating: the input stream failed, or a
//                                    | std::istream ended inside a block
//   "input stream unexpected end"    | inflating an IStream that ends inside an lzm block
//   "LZM ..." and others, code 0     | corrupt lzm data (docs/lzm_format.md lists them)
//   "ZLIB error", zlib's code        | corrupt zlib data, or zlib itself failed
//
// What was written before a throw stays written. The forms with a std::istream or IStream
// input and vector output take `size` after `out` for deflating (except the dispatching
// istream form, which takes it before `out`); inflating forms have no `size`.
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

// The lzm method: blocks of at most 8191 bytes, format in docs/lzm_format.md.
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

// Options of the lzm one-call forms that can split their work between threads.
struct lzm_options {
    // Threads to work with: 1 is the calling thread alone, 0 one per processor the process
    // may use. The work is split at block boundaries, and each thread gets at least 16 blocks
    // (about 128 KiB), so small inputs stay in the calling thread.
    unsigned threads = 1;
};

// As the forms above, with the work split between threads: the same bytes, the same
// compress_error, and the same bytes left in `out` after it as with one thread.
QEL_API void lzm_deflate(const char* data, std::size_t size, std::vector<char>& out,
                         const lzm_options& options);
QEL_API void lzm_inflate(const char* data, std::size_t size, std::vector<char>& out,
                         const lzm_options& options);

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
