// The zlib method: one zlib stream out, any concatenation of zlib streams in.
#include "compress/byte_io.h"
#include "compress/compress_messages.h"
#include "compress/compress_stream_impl.h"

#include <zlib.h>

#include <algorithm>

namespace qel {
namespace detail {
namespace {

constexpr std::size_t piece_size = 65535;
constexpr const char* zlib_interface_version = "1.2.8";

[[noreturn]] void throw_zlib_error(int code) {
    throw compress_error(compress_messages::zlib_error, code);
}

// A z_stream set up for one direction, ended on every way out.
class zlib_stream {
public:
    enum direction { compress, decompress };

    explicit zlib_stream(direction way) : way_(way) { start(); }
    zlib_stream(const zlib_stream&) = delete;
    zlib_stream& operator=(const zlib_stream&) = delete;
    ~zlib_stream() { end(); }

    // Ends the current zlib stream and begins a new one; pending input stays available.
    void restart() {
        const Bytef* next_in = record_.next_in;
        uInt avail_in = record_.avail_in;
        end();
        start();
        record_.next_in = const_cast<Bytef*>(next_in);
        record_.avail_in = avail_in;
    }

    void set_input(const char* data, std::size_t size) {
        record_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
        record_.avail_in = static_cast<uInt>(size);
    }
    bool input_used_up() const { return record_.avail_in == 0; }

    // One deflate or inflate call into `size` bytes at `out`; returns zlib's result and the
    // bytes produced.
    int step(char* out, std::size_t size, int flush, std::size_t& produced) {
        record_.next_out = reinterpret_cast<Bytef*>(out);
        record_.avail_out = static_cast<uInt>(size);
        int result = way_ == compress ? ::deflate(&record_, flush) : ::inflate(&record_, flush);
        produced = size - record_.avail_out;
        return result;
    }

private:
    void start() {
        record_ = z_stream{};
        int result = way_ == compress
                         ? deflateInit_(&record_, Z_DEFAULT_COMPRESSION, zlib_interface_version,
                                        sizeof(z_stream))
                         : inflateInit_(&record_, zlib_interface_version, sizeof(z_stream));
        if (result != Z_OK)
            throw_zlib_error(result);
        open_ = true;
    }
    void end() {
        if (open_)
            way_ == compress ? deflateEnd(&record_) : inflateEnd(&record_);
        open_ = false;
    }

    direction way_;
    z_stream record_{};
    bool open_ = false;
};

// The error code an inflate result stands for, or 0 when decoding may go on.
int inflate_error(int result) {
    if (result == Z_DATA_ERROR || result == Z_MEM_ERROR)
        return result;
    return result == Z_NEED_DICT ? Z_DATA_ERROR : 0;
}

// Where one zlib call writes: the piece buffer, passed on to the sink after the call...
template <class Sink> class piece_output {
public:
    piece_output(std::vector<char>& piece, Sink& sink) : piece_(piece), sink_(sink) {}
    std::size_t size() const { return piece_size; }
    char* area() { return piece_.data(); }
    void keep(std::size_t produced) { sink_.write(piece_.data(), produced); }
    void drop() {}

private:
    std::vector<char>& piece_;
    Sink& sink_;
};

// ...or, at the end of an output vector, the vector itself, so the bytes are not copied a
// second time. Nobody sees the pieces there, so they grow with the output: fewer calls, and
// less of zlib's copying of its window after each call. Where the vector still holds old
// bytes past the write position, pieces go through the buffer, so that a failing call
// leaves those bytes as they were.
template <> class piece_output<vector_overwrite_sink> {
public:
    piece_output(std::vector<char>& piece, vector_overwrite_sink& sink)
        : piece_(piece), sink_(sink) {}
    std::size_t size() const { return size_; }
    char* area() {
        in_place_ = sink_.at_end();
        if (!in_place_) {
            size_ = piece_size;
            return piece_.data();
        }
        size_ = std::clamp(sink_.room(), piece_size, largest_area);
        return sink_.open_area(size_);
    }
    void keep(std::size_t produced) {
        if (in_place_)
            sink_.close_area(produced);
        else
            sink_.write(piece_.data(), produced);
    }
    void drop() {
        if (in_place_)
            sink_.close_area(0);
    }

private:
    static constexpr std::size_t largest_area = std::size_t{1} << 30;
    std::vector<char>& piece_;
    vector_overwrite_sink& sink_;
    std::size_t size_ = piece_size;
    bool in_place_ = false;
};

// Memory input handed to zlib in slices its 32-bit counters can hold.
class sliced_input {
public:
    sliced_input(const char* data, std::size_t size) : data_(data), left_(size) {}
    // Gives zlib the next slice once it has used up the current one.
    void top_up(zlib_stream& z) {
        if (!z.input_used_up() || left_ == 0)
            return;
        std::size_t slice = std::min(left_, largest_slice);
        z.set_input(data_, slice);
        data_ += slice;
        left_ -= slice;
    }
    bool last_slice_given() const { return left_ == 0; }

private:
    static constexpr std::size_t largest_slice = std::size_t{1} << 30;
    const char* data_;
    std::size_t left_;
};

// Deflates the available input with `flush`, passing each piece on, until a call leaves
// room in the output piece.
template <class Sink>
void deflate_pieces(zlib_stream& z, std::vector<char>& piece, int flush, Sink& sink) {
    piece_output<Sink> out(piece, sink);
    std::size_t produced = 0;
    do {
        char* area = out.area();
        z.step(area, out.size(), flush, produced);
        out.keep(produced);
    } while (produced == out.size());
}

// Inflates the available input the same way; returns the last result.
template <class Sink> int inflate_pieces(zlib_stream& z, std::vector<char>& piece, Sink& sink) {
    piece_output<Sink> out(piece, sink);
    std::size_t produced = 0;
    int result = Z_OK;
    do {
        char* area = out.area();
        result = z.step(area, out.size(), Z_NO_FLUSH, produced);
        if (int code = inflate_error(result)) {
            out.drop();
            throw_zlib_error(code);
        }
        out.keep(produced);
    } while (produced == out.size());
    return result;
}

template <class Sink> void deflate_memory(const char* data, std::size_t size, Sink& sink) {
    zlib_stream z(zlib_stream::compress);
    std::vector<char> piece(piece_size);
    sliced_input input(data, size);
    do {
        input.top_up(z);
        deflate_pieces(z, piece, input.last_slice_given() ? Z_FINISH : Z_NO_FLUSH, sink);
    } while (!input.last_slice_given());
}

template <class Source, class Sink>
void deflate_streamed(Source& source, Sink& sink, std::int64_t limit) {
    zlib_stream z(zlib_stream::compress);
    std::vector<char> piece(piece_size);
    std::vector<char> chunk(piece_size);
    std::int64_t done = 0;
    for (;;) {
        std::size_t wanted = next_chunk_size(piece_size, limit, done);
        std::size_t got = wanted == 0 ? 0 : source.read(chunk.data(), wanted);
        done += static_cast<std::int64_t>(got);
        z.set_input(chunk.data(), got);
        int flush = got == 0 ? Z_FINISH : Z_NO_FLUSH;
        deflate_pieces(z, piece, flush, sink);
        if (flush == Z_FINISH)
            break;
    }
}

template <class Sink> void inflate_memory(const char* data, std::size_t size, Sink& sink) {
    zlib_stream z(zlib_stream::decompress);
    std::vector<char> piece(piece_size);
    sliced_input input(data, size);
    input.top_up(z);
    for (;;) {
        if (inflate_pieces(z, piece, sink) != Z_STREAM_END) {
            if (!z.input_used_up() || input.last_slice_given())
                throw_zlib_error(Z_DATA_ERROR);
            input.top_up(z); // the stream goes on in the next slice
            continue;
        }
        if (z.input_used_up() && input.last_slice_given())
            return;
        z.restart(); // the next zlib stream follows
        input.top_up(z);
    }
}

// How inflating one chunk of streamed input ended.
enum class chunk_end {
    input_finished,  // a zlib stream ended with the chunk, and the source is at its end
    stream_complete, // the chunk is used up right after a complete zlib stream
    stream_open,     // the chunk is used up inside a zlib stream
};

// Inflates the chunk given to `z`, starting a new zlib stream after each complete one.
template <class Sink>
chunk_end inflate_chunk(zlib_stream& z, std::vector<char>& piece, Sink& sink, bool source_ended) {
    for (;;) {
        if (inflate_pieces(z, piece, sink) != Z_STREAM_END)
            return chunk_end::stream_open;
        if (z.input_used_up() && source_ended)
            return chunk_end::input_finished;
        z.restart();
        if (z.input_used_up())
            return chunk_end::stream_complete;
    }
}

template <class Source, class Sink> void inflate_streamed(Source& source, Sink& sink) {
    zlib_stream z(zlib_stream::decompress);
    std::vector<char> piece(piece_size);
    std::vector<char> chunk(piece_size);
    bool complete = false;
    for (;;) {
        std::size_t got = source.read(chunk.data(), chunk.size());
        if (got == 0) {
            if (complete)
                return;
            throw_zlib_error(Z_DATA_ERROR);
        }
        const bool source_ended = source.at_end();
        z.set_input(chunk.data(), got);
        chunk_end end = inflate_chunk(z, piece, sink, source_ended);
        if (end == chunk_end::input_finished)
            return;
        complete = end == chunk_end::stream_complete;
    }
}

class zlib_deflate_stream_impl_ final : public basic_deflate_stream_impl_ {
public:
    explicit zlib_deflate_stream_impl_(IStream& target)
        : basic_deflate_stream_impl_(target, piece_size), zlib_(zlib_stream::compress),
          piece_(piece_size) {}
    ~zlib_deflate_stream_impl_() override { final_flush_quietly(); }

    void deflate_data(const void* data, std::size_t size, bool finish) override {
        // zlib takes nothing after the end of a stream: later bytes start a new one, which
        // the decompressing side reads as a concatenation.
        if (stream_finished_)
            zlib_.restart();
        stream_finished_ = false;
        istream_sink sink(*wrapped_);
        sliced_input input(static_cast<const char*>(data), size);
        do {
            input.top_up(zlib_);
            int flush = finish && input.last_slice_given() ? Z_FINISH : Z_NO_FLUSH;
            deflate_pieces(zlib_, piece_, flush, sink);
        } while (!input.last_slice_given());
        stream_finished_ = finish;
    }

private:
    zlib_stream zlib_;
    std::vector<char> piece_;
    bool stream_finished_ = false;
};

// Collects the output of one inflate call into the shell's buffer.
struct append_sink {
    std::vector<char>& out;
    void write(const char* data, std::size_t size) { out.insert(out.end(), data, data + size); }
};

class zlib_inflate_stream_impl_ final : public basic_inflate_stream_impl_ {
public:
    explicit zlib_inflate_stream_impl_(IStream& source)
        : basic_inflate_stream_impl_(source), zlib_(zlib_stream::decompress), piece_(piece_size),
          chunk_(piece_size) {}

    bool inflate_data(std::vector<char>& out) override {
        istream_source source(*wrapped_);
        std::size_t got = source.read(chunk_.data(), chunk_.size());
        if (source.failed())
            throw_input_error();
        if (got == 0)
            return false;
        const bool source_ended = source.at_end();
        zlib_.set_input(chunk_.data(), got);
        append_sink sink{out};
        return inflate_chunk(zlib_, piece_, sink, source_ended) != chunk_end::input_finished;
    }

private:
    zlib_stream zlib_;
    std::vector<char> piece_;
    std::vector<char> chunk_;
};

} // namespace

std::unique_ptr<IStream> make_zlib_deflate_stream(IStream& target) {
    return std::make_unique<zlib_deflate_stream_impl_>(target);
}

std::unique_ptr<IStream> make_zlib_inflate_stream(IStream& source) {
    return std::make_unique<zlib_inflate_stream_impl_>(source);
}

} // namespace detail

using namespace detail;

void zlib_deflate(const char* data, std::size_t size, std::vector<char>& out) {
    vector_overwrite_sink sink(out);
    deflate_memory(data, size, sink);
}
void zlib_deflate(const std::vector<char>& in, std::vector<char>& out) {
    zlib_deflate(in.data(), in.size(), out);
}
void zlib_deflate(const char* data, std::size_t size, std::ostream& out) {
    ostream_sink sink(out);
    deflate_memory(data, size, sink);
}
void zlib_deflate(const std::vector<char>& in, std::ostream& out) {
    zlib_deflate(in.data(), in.size(), out);
}
void zlib_deflate(const char* data, std::size_t size, IStream& out) {
    istream_sink sink(out);
    deflate_memory(data, size, sink);
}
void zlib_deflate(const std::vector<char>& in, IStream& out) {
    zlib_deflate(in.data(), in.size(), out);
}
void zlib_deflate(std::istream& in, std::vector<char>& out, std::int64_t size) {
    std_istream_source source(in);
    vector_overwrite_sink sink(out);
    deflate_streamed(source, sink, size);
}
void zlib_deflate(IStream& in, std::vector<char>& out, std::int64_t size) {
    istream_source source(in);
    vector_overwrite_sink sink(out);
    deflate_streamed(source, sink, size);
}
void zlib_deflate(std::istream& in, std::ostream& out, std::int64_t size) {
    std_istream_source source(in);
    ostream_sink sink(out);
    deflate_streamed(source, sink, size);
}
void zlib_deflate(IStream& in, IStream& out, std::int64_t size) {
    istream_source source(in);
    istream_sink sink(out);
    deflate_streamed(source, sink, size);
}

void zlib_inflate(const char* data, std::size_t size, std::vector<char>& out) {
    vector_overwrite_sink sink(out);
    inflate_memory(data, size, sink);
}
void zlib_inflate(const std::vector<char>& in, std::vector<char>& out) {
    zlib_inflate(in.data(), in.size(), out);
}
void zlib_inflate(const char* data, std::size_t size, std::ostream& out) {
    ostream_sink sink(out);
    inflate_memory(data, size, sink);
}
void zlib_inflate(const std::vector<char>& in, std::ostream& out) {
    zlib_inflate(in.data(), in.size(), out);
}
void zlib_inflate(const char* data, std::size_t size, IStream& out) {
    istream_sink sink(out);
    inflate_memory(data, size, sink);
}
void zlib_inflate(const std::vector<char>& in, IStream& out) {
    zlib_inflate(in.data(), in.size(), out);
}
void zlib_inflate(std::istream& in, std::vector<char>& out) {
    std_istream_source source(in);
    vector_overwrite_sink sink(out);
    inflate_streamed(source, sink);
}
void zlib_inflate(IStream& in, std::vector<char>& out) {
    istream_source source(in);
    vector_overwrite_sink sink(out);
    inflate_streamed(source, sink);
}
void zlib_inflate(std::istream& in, std::ostream& out) {
    std_istream_source source(in);
    ostream_sink sink(out);
    inflate_streamed(source, sink);
}
void zlib_inflate(IStream& in, IStream& out) {
    istream_source source(in);
    istream_sink sink(out);
    inflate_streamed(source, sink);
}

} // namespace qel
