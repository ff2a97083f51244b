// Sources and sinks of the one-call compression functions: one template per algorithm
// serves memory, vectors, standard streams and IStreams alike.
#pragma once

#include <qel/compress.h>

#include <algorithm>
#include <cstring>
#include <istream>
#include <ostream>
#include <vector>

namespace qel::detail {

[[noreturn]] void throw_output_error();
[[noreturn]] void throw_input_error();
[[noreturn]] void throw_unexpected_end();

// Writes from index 0 over what the vector holds, growing it but never shrinking it.
class vector_overwrite_sink {
public:
    explicit vector_overwrite_sink(std::vector<char>& out) : out_(out) {}
    void write(const char* data, std::size_t size) {
        if (out_.size() < position_ + size)
            out_.resize(position_ + size);
        if (size > 0)
            std::memcpy(out_.data() + position_, data, size);
        position_ += size;
    }

    // Nothing the vector held lies past the write position.
    bool at_end() const { return position_ == out_.size(); }
    // As many bytes as have been written: room to fill without reallocating often.
    std::size_t room() const { return position_; }

    // A writable area of `size` bytes at the write position, for producers that write in
    // place; close_area keeps the first `used` bytes of it.
    char* open_area(std::size_t size) {
        size_before_area_ = out_.size();
        if (out_.size() < position_ + size)
            out_.resize(position_ + size);
        return out_.data() + position_;
    }
    void close_area(std::size_t used) {
        position_ += used;
        out_.resize(std::max(size_before_area_, position_));
    }

private:
    std::vector<char>& out_;
    std::size_t position_ = 0;
    std::size_t size_before_area_ = 0;
};

class ostream_sink {
public:
    explicit ostream_sink(std::ostream& out) : out_(out) {}
    void write(const char* data, std::size_t size) {
        out_.write(data, static_cast<std::streamsize>(size));
        if (!out_.good())
            throw_output_error();
    }

private:
    std::ostream& out_;
};

class istream_sink {
public:
    explicit istream_sink(IStream& out) : out_(out) {}
    void write(const char* data, std::size_t size) {
        out_.write(data, size);
        if (out_.error())
            throw_output_error();
    }

private:
    IStream& out_;
};

// Streamed input, read in chunks; `at_end` tells whether the source has reached its end.
class std_istream_source {
public:
    explicit std_istream_source(std::istream& in) : in_(in) {}
    std::size_t read(char* buffer, std::size_t size) {
        in_.read(buffer, static_cast<std::streamsize>(size));
        return static_cast<std::size_t>(in_.gcount());
    }
    // Reads exactly `size` bytes or throws "input stream error".
    void read_exactly(char* buffer, std::size_t size) {
        if (read(buffer, size) != size || !in_.good())
            throw_input_error();
    }
    bool at_end() const { return in_.eof(); }

private:
    std::istream& in_;
};

class istream_source {
public:
    explicit istream_source(IStream& in) : in_(in) {}
    std::size_t read(char* buffer, std::size_t size) {
        std::size_t count = 0;
        in_.read(buffer, size, &count);
        return count;
    }
    // Reads exactly `size` bytes: "input stream error" when the stream fails,
    // "input stream unexpected end" when it runs short.
    void read_exactly(char* buffer, std::size_t size) {
        std::size_t count = read(buffer, size);
        if (in_.error())
            throw_input_error();
        if (count != size)
            throw_unexpected_end();
    }
    bool at_end() const { return in_.eof(); }
    bool failed() const { return in_.error(); }

private:
    IStream& in_;
};

// The length of the next chunk of a streamed input: `chunk`, or less so as not to pass a
// positive `limit`; 0 when the limit has been reached.
inline std::size_t next_chunk_size(std::size_t chunk, std::int64_t limit, std::int64_t done) {
    if (limit <= 0)
        return chunk;
    return static_cast<std::size_t>(std::min<std::int64_t>(
        static_cast<std::int64_t>(chunk), std::max<std::int64_t>(limit - done, 0)));
}

} // namespace qel::detail
