// A character-array stream buffer with fixed growth steps, a high-water mark that bounds
// reads and seeks, and freezing. Offsets are 32-bit: a buffer never exceeds 2^31-1 bytes.
#pragma once

#include <cstddef>
#include <ios>
#include <streambuf>

namespace qel::detail {

class memory_buffer final : public std::streambuf {
public:
    // Dynamic: owned, allocated on the first write, grows by half (at least 32 bytes).
    memory_buffer();
    // Over the caller's writable bytes; writing starts at the first NUL when `append`.
    memory_buffer(char* data, std::size_t size, bool append);
    // Over the caller's bytes, never written.
    memory_buffer(const char* data, std::size_t size);
    memory_buffer(const memory_buffer&) = delete;
    memory_buffer& operator=(const memory_buffer&) = delete;
    ~memory_buffer() override;

    // Moves the read and/or write position; returns the new offset from the buffer start or -1.
    std::streamoff seek(std::streamoff offset, int way, int mode);
    // Bytes from the write start to the write position; 0 without a write area.
    std::streamoff written_size() const;
    // Bytes from the read position to the write position (what write_to may hand out).
    std::streamoff unread_written_size() const;

    // While frozen every write fails and the buffer cannot move.
    const char* freeze();
    void unfreeze();

protected:
    int_type overflow(int_type c) override;
    int_type underflow() override;
    std::streamsize xsgetn(char* out, std::streamsize count) override;
    std::streamsize xsputn(const char* in, std::streamsize count) override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir way,
                     std::ios_base::openmode mode) override;
    pos_type seekpos(pos_type pos, std::ios_base::openmode mode) override;

private:
    static std::size_t usable_size(const char* data, std::size_t size);
    // Grows a dynamic buffer until `needed` more bytes fit after the write position, one
    // growth step at a time; returns how many of them fit afterwards.
    std::streamsize make_room(std::streamsize needed);
    char* read_limit() const;
    void set_write_pos(char* pos, char* write_end);
    void note_written();

    char* data_ = nullptr;
    std::size_t capacity_ = 0;
    bool dynamic_ = false;
    bool frozen_ = false;
    char* high_water_ = nullptr;
    char* frozen_write_end_ = nullptr;
};

} // namespace qel::detail
