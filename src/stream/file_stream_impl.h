// The file stream implementation, shared with the text file stream.
#pragma once

#include "stream/file_buffer.h"
#include "stream/file_open.h"
#include "stream/stream_state.h"

namespace qel::detail {

template <class Interface> class BasicFileStream_impl_ : public iostream_stream<Interface> {
public:
    BasicFileStream_impl_() { this->attach(&buffer_); }
    BasicFileStream_impl_(const BasicFileStream_impl_&) = delete;
    BasicFileStream_impl_& operator=(const BasicFileStream_impl_&) = delete;
    ~BasicFileStream_impl_() override { close(); }

    void flush() override { stream_flush(this->stream_); }

    // A file has one position for reading and writing, so `mode` does not matter.
    std::fpos<int> seek(std::fpos<int> pos, int way, int) override {
        return stream_pos(buffer_.seek(std::streamoff(pos), way));
    }
    std::fpos<int> get_pos(int mode) override { return seek(0, std::ios_base::cur, mode); }

    std::int64_t get_size() override {
        std::streamoff here = buffer_.seek(0, std::ios_base::cur);
        if (here < 0)
            return -1;
        std::streamoff end = buffer_.seek(0, std::ios_base::end);
        buffer_.seek(here, std::ios_base::beg);
        return end;
    }

    bool is_open() const override { return buffer_.is_open(); }

    void close() override {
        if (!buffer_.is_open())
            return;
        // Committed even when a flag is set: the data must reach the disk either way.
        if ((close_flags_ & close_flag_flush) && buffer_.pubsync() == -1)
            this->stream_.setstate(std::ios_base::badbit);
        if (!buffer_.close())
            this->stream_.setstate(std::ios_base::failbit);
        close_flags_ = 0;
    }

protected:
    void open_(const std::wstring& name, unsigned int mode, bool binary) {
        close_flags_ = open_file_stream(buffer_, this->stream_, name, mode, binary);
    }

    file_buffer buffer_;
    unsigned int close_flags_ = 0;
};

} // namespace qel::detail
