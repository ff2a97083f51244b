// A stream buffer over a system file: one file position for reading and writing, binary or
// text (LF written as CR LF; CR LF read as LF, and a 0x1A byte ends the input).
#pragma once

#include "platform/file.h"

#include <ios>
#include <memory>
#include <streambuf>
#include <string>
#include <system_error>
#include <utility>

namespace qel::detail {

class file_buffer final : public std::streambuf {
public:
    file_buffer() = default;
    file_buffer(const file_buffer&) = delete;
    file_buffer& operator=(const file_buffer&) = delete;
    ~file_buffer() override;

    // `commit` makes every sync write through to the disk.
    bool open(const std::wstring& name, const platform::file_access& access, bool text,
              bool commit);
    bool is_open() const { return file_ != platform::no_file; }
    // Writes pending output and closes; false when either fails.
    bool close();
    // Writes pending output first; returns the new position or -1.
    std::streamoff seek(std::streamoff offset, int way);
    // The system's reason for the first failure since the file was opened; empty if none.
    const std::error_code& last_error() const { return error_; }

    // The bytes read ahead and not yet taken, refilled when none are left; empty at the end
    // of the input (no flag is set here). Readers that scan for a delimiter take several
    // bytes at once with consume().
    std::pair<const char*, const char*> buffered_input() {
        if ((!reading() || gptr() == egptr()) &&
            traits_type::eq_int_type(underflow(), traits_type::eof()))
            return {nullptr, nullptr};
        return {gptr(), egptr()};
    }
    void consume(std::size_t count) { gbump(static_cast<int>(count)); }

protected:
    int sync() override;
    int_type overflow(int_type c) override;
    int_type underflow() override;
    std::streamsize xsgetn(char* out, std::streamsize count) override;
    std::streamsize xsputn(const char* in, std::streamsize count) override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir way,
                     std::ios_base::openmode mode) override;
    pos_type seekpos(pos_type pos, std::ios_base::openmode mode) override;

private:
    static constexpr std::size_t buffer_size = 32 * 1024;

    bool reading() const { return eback() != nullptr; }
    bool writing() const { return pbase() != nullptr; }
    // Moves the system position to where the reader stands and drops the read-ahead.
    bool stop_reading();
    // Writes the put area out and empties it.
    bool write_put_area();
    // Writes the put area out and leaves writing.
    bool stop_writing();
    bool write_out(const char* data, std::size_t size);
    bool start_writing();
    std::streamoff position();
    // File offset of the byte the reader stands on, for text mode.
    std::streamoff text_read_position() const;
    bool fill_binary();
    bool fill_text();
    void drop_read_state();
    // Where a failing system call leaves its reason: only the first one is kept.
    std::error_code* first_error() { return error_ ? nullptr : &error_; }

    platform::native_file file_ = platform::no_file;
    std::error_code error_;
    bool text_ = false;
    bool commit_ = false;
    bool can_read_ = false;
    bool can_write_ = false;
    bool ctrl_z_seen_ = false;
    std::unique_ptr<char[]> get_area_;
    std::unique_ptr<char[]> put_area_;
    // Text mode: the raw bytes behind the get area, and a CR kept for the next fill
    // because the byte after it has not been read yet.
    std::unique_ptr<char[]> raw_;
    std::size_t raw_used_ = 0;
    std::streamoff raw_start_ = 0;
    bool carried_cr_ = false;
    std::unique_ptr<char[]> translated_;
};

} // namespace qel::detail
