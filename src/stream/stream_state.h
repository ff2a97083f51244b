// Byte transfer with the library's flag rules, for streams built on a std::streambuf.
#pragma once

#include <qel/stream.h>

#include <iostream>

namespace qel::detail {

// Once any flag is set, reads only add fail and writes only add bad, until reset.
void stream_read_(std::iostream& stream, void* buffer, std::size_t size, std::size_t* read_count);
char stream_get_(std::iostream& stream);
void stream_write_(std::iostream& stream, const void* data, std::size_t size);
void stream_put_(std::iostream& stream, char c);
// Flushes the buffer's output side; bad when the device refuses.
void stream_flush_(std::iostream& stream);
bool stream_error_(const std::iostream& stream);

std::fpos<int> stream_pos_(std::streamoff offset);
// `base + offset` for a seek, or -1 when it would be negative or overflow.
std::streamoff seek_target_(std::streamoff base, std::streamoff offset);

// The flag-keeping half of IStream, shared by the stream implementations. The derived class
// owns the buffer and attaches it in its constructor.
template <class Interface> class iostream_stream_ : public Interface {
public:
    void read(void* buffer, std::size_t size, std::size_t* read_count) override {
        stream_read_(stream_, buffer, size, read_count);
    }
    void write(const void* data, std::size_t size) override { stream_write_(stream_, data, size); }
    char get() override { return stream_get_(stream_); }
    void put(char c) override { stream_put_(stream_, c); }
    void reset() override { stream_.clear(); }
    bool error() const override { return stream_error_(stream_); }
    bool eof() const override { return stream_.eof(); }
    bool ok() const override { return stream_.rdstate() == std::ios_base::goodbit; }

protected:
    iostream_stream_() : stream_(nullptr) {}
    void attach(std::streambuf* buffer) { stream_.rdbuf(buffer); }

    std::iostream stream_;
};

} // namespace qel::detail
