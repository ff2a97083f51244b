// Byte transfer with the library's flag rules, for streams built on a std::streambuf.
#pragma once

#include <qel/stream.h>

#include <iostream>

namespace qel::detail {

// Once any flag is set, reads only add fail and writes only add bad, until reset.
void stream_read(std::iostream& stream, void* buffer, std::size_t size, std::size_t* read_count);
char stream_get(std::iostream& stream);
void stream_write(std::iostream& stream, const void* data, std::size_t size);
void stream_put(std::iostream& stream, char c);
// Flushes the buffer's output side; bad when the device refuses.
void stream_flush(std::iostream& stream);
bool stream_error(const std::iostream& stream);

std::fpos<int> stream_pos(std::streamoff offset);
// `base + offset` for a seek, or -1 when it would be negative or overflow.
std::streamoff seek_target(std::streamoff base, std::streamoff offset);

// The flag-keeping half of IStream, shared by the stream implementations. The derived class
// owns the buffer and attaches it in its constructor.
template <class Interface> class iostream_stream : public Interface {
public:
    void read(void* buffer, std::size_t size, std::size_t* read_count) override {
        stream_read(stream_, buffer, size, read_count);
    }
    void write(const void* data, std::size_t size) override { stream_write(stream_, data, size); }
    char get() override { return stream_get(stream_); }
    void put(char c) override { stream_put(stream_, c); }
    void reset() override { stream_.clear(); }
    bool error() const override { return stream_error(stream_); }
    bool eof() const override { return stream_.eof(); }
    bool ok() const override { return stream_.rdstate() == std::ios_base::goodbit; }

protected:
    iostream_stream() : stream_(nullptr) {}
    void attach(std::streambuf* buffer) { stream_.rdbuf(buffer); }

    std::iostream stream_;
};

} // namespace qel::detail
