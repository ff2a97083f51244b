// Byte streams: the IStream interface, memory streams and file streams.
// These streams never throw for input or output failures; they set state flags instead.
#pragma once

#include <qel/export.h>
#include <qel/text_encoding.h>

#include <cstddef>
#include <cstdint>
#include <ios>
#include <memory>
#include <string>

namespace qel {

// The library's one abstract byte stream. Flags follow the iostream model: end (input ran
// out), fail (an operation could not be done), bad (the stream or device is unusable). In
// memory and file streams, once any flag is set, read/get/write/put do nothing until
// reset() (reads add fail, writes bad); seek, get_pos and get_size work regardless.
class QEL_API IStream {
public:
    IStream() = default;
    IStream(const IStream&) = default;
    IStream& operator=(const IStream&) = default;
    virtual ~IStream();

    // Reads up to `size` bytes; `read_count`, when given, receives how many were read. A
    // short read sets end and fail (not an error()).
    virtual void read(void* buffer, std::size_t size, std::size_t* read_count) = 0;
    // Sets bad when not every byte could be written.
    virtual void write(const void* data, std::size_t size) = 0;
    // Returns 0 and sets end and fail when no byte could be read.
    virtual char get() = 0;
    // Sets bad on failure.
    virtual void put(char c) = 0;
    // Sets bad when the device refuses the pending bytes.
    virtual void flush() = 0;
    // Clears every state flag.
    virtual void reset() = 0;
    // bad, or fail without end: running out of input is not an error.
    virtual bool error() const = 0;
    virtual bool eof() const = 0;
    virtual bool ok() const = 0;
    // `way` is a std::ios_base::seekdir, `mode` a mask of std::ios_base::in and out.
    // Returns the new absolute position, or -1 with nothing moved and no flag changed.
    virtual std::fpos<int> seek(std::fpos<int> pos, int way, int mode) = 0;
    // The current absolute position of the side `mode` names, or -1.
    virtual std::fpos<int> get_pos(int mode) = 0;
    // The byte count of the data (the file's size, a memory stream's written bytes).
    virtual std::int64_t get_size() = 0;
};

// A stream over a memory buffer that can be frozen for direct access.
class QEL_API IMemoryStream : public IStream {
public:
    IMemoryStream() = default;
    IMemoryStream(const IMemoryStream&) = default;
    IMemoryStream& operator=(const IMemoryStream&) = default;
    ~IMemoryStream() override;

    // Freezes the buffer (writes fail and set bad until unlock) and returns a pointer to the
    // byte at the read position, owned by the stream and valid until unlock(), write_to() or
    // destruction.
    virtual const void* lock() = 0;
    virtual void unlock() = 0;
    // Hands the written bytes to `target` in one write call, without copying; the target's
    // flags report the outcome, this stream's are untouched. Leaves the stream unlocked.
    virtual void write_to(IStream& target) = 0;
};

// Empty stream whose buffer grows as bytes are written.
QEL_API std::unique_ptr<IMemoryStream> memory_stream_factory();
// Stream over the caller's writable buffer, which must outlive it and never grows (a write
// that does not fit sets bad). A size of 0 means a NUL-terminated string; with
// std::ios_base::app in `mode` writing starts at its first NUL byte.
QEL_API std::unique_ptr<IMemoryStream> memory_stream_factory(void* buffer, std::size_t size,
                                                             int mode);
// Read-only stream over the caller's buffer, which must outlive it; a size of 0 means a
// NUL-terminated string. Every write sets bad.
QEL_API std::unique_ptr<IMemoryStream> memory_stream_factory(const void* buffer, std::size_t size);

// Value wrapper of memory_stream_factory(); the operations are those of IMemoryStream.
class QEL_API memory_stream {
public:
    memory_stream();
    memory_stream(void* buffer, std::size_t size, int mode);
    memory_stream(const void* buffer, std::size_t size);
    memory_stream(memory_stream&& other) noexcept;
    memory_stream& operator=(memory_stream&& other) noexcept;
    memory_stream(const memory_stream&) = delete;
    memory_stream& operator=(const memory_stream&) = delete;
    ~memory_stream();

    void read(void* buffer, std::size_t size, std::size_t* read_count = nullptr);
    void write(const void* data, std::size_t size);
    char get();
    void put(char c);
    void flush();
    void reset();
    bool error() const;
    bool eof() const;
    bool ok() const;
    std::fpos<int> seek(std::fpos<int> pos, int way, int mode);
    std::fpos<int> get_pos(int mode);
    std::int64_t get_size();
    const void* lock();
    void unlock();
    void write_to(IStream& target);

    IMemoryStream& get_interface();

private:
    std::unique_ptr<IMemoryStream> impl_;
};

namespace detail {

// The bits of a file_stream_mode value: access in bits 0-3, write options in bits 16-27.
inline constexpr unsigned int mode_read = 0x1;
inline constexpr unsigned int mode_write = 0x2;
inline constexpr unsigned int mode_append = 0x10000;
inline constexpr unsigned int mode_create = 0x20000;
inline constexpr unsigned int mode_flush_on_close = 0x40000;

} // namespace detail

// Option bits that extend a file_stream_mode.
class QEL_API file_stream_option {
public:
    file_stream_option() = default;
    file_stream_option(const file_stream_option&) = default;
    file_stream_option& operator=(const file_stream_option&) = default;

    // Commit every flush to the disk and flush before closing; the file is opened shared.
    static file_stream_option flush_on_close() {
        return file_stream_option(detail::mode_flush_on_close);
    }

    bool is_empty() const { return opt_ == 0; }
    unsigned int get_opt() const { return opt_; }

private:
    explicit file_stream_option(unsigned int opt) : opt_(opt) {}
    unsigned int opt_ = 0;
};

// How a file is opened: access bits 0-3 (0x1 read, 0x2 write), write options 16-27
// (0x10000 append, 0x20000 create, 0x40000 flush on close); see detail::mode_*.
class QEL_API file_stream_mode {
public:
    file_stream_mode(const file_stream_mode&) = default;
    file_stream_mode& operator=(const file_stream_mode&) = default;

    static file_stream_mode read() { return file_stream_mode(detail::mode_read); }
    static file_stream_mode write() { return file_stream_mode(detail::mode_write); }
    static file_stream_mode create() {
        return file_stream_mode(detail::mode_create | detail::mode_write);
    }
    static file_stream_mode append() {
        return file_stream_mode(detail::mode_append | detail::mode_write);
    }
    static file_stream_mode read_write() {
        return file_stream_mode(detail::mode_read | detail::mode_write);
    }
    static file_stream_mode read_create() {
        return file_stream_mode(detail::mode_create | detail::mode_read | detail::mode_write);
    }
    static file_stream_mode read_append() {
        return file_stream_mode(detail::mode_append | detail::mode_read | detail::mode_write);
    }

    unsigned int get() const { return value_; }
    unsigned int get_rw() const { return value_ & 0xFu; }
    unsigned int get_rd_opt() const { return value_ & 0xFFF0u; }
    unsigned int get_wr_opt() const { return value_ & 0xFFF0000u; }
    bool is_equal(const file_stream_mode& other) const { return value_ == other.value_; }
    void operator|=(file_stream_option option) { value_ |= option.get_opt(); }

private:
    explicit file_stream_mode(unsigned int value) : value_(value) {}
    unsigned int value_;
};

// A file opened as a stream. Dot-named files: on Windows, opening an existing file with a
// write bit gives it the hidden attribute when its base name (the part before the
// extension) starts with a dot, whether or not the open succeeded: ".a.txt" and "..x" become
// hidden, ".profile" (an extension only) does not. On Linux the dot name itself is what
// makes a file hidden (".profile" included), so nothing is stored.
class QEL_API IFileStream : public IStream {
public:
    IFileStream() = default;
    IFileStream(const IFileStream&) = default;
    IFileStream& operator=(const IFileStream&) = default;
    ~IFileStream() override;

    virtual bool is_open() const = 0;
    virtual void close() = 0;
};

// Opens `name` in binary mode. Never returns null: a failed open gives a closed stream
// with the fail flag set. Dot-named files written become hidden (see IFileStream).
QEL_API std::unique_ptr<IFileStream> file_stream_factory(const std::wstring& name,
                                                         file_stream_mode mode);

// Value wrapper of file_stream_factory(); the operations are those of IFileStream.
class QEL_API file_stream {
public:
    // Holds no file: construct with a name or call open() before any other operation.
    file_stream();
    file_stream(const std::wstring& name, file_stream_mode mode);
    file_stream(file_stream&& other) noexcept;
    file_stream& operator=(file_stream&& other) noexcept;
    file_stream(const file_stream&) = delete;
    file_stream& operator=(const file_stream&) = delete;
    ~file_stream();

    // Replaces (and so closes) the current file; returns whether the new one is open.
    [[nodiscard]] bool open(const std::wstring& name, file_stream_mode mode);
    bool is_open() const;
    void close();

    void read(void* buffer, std::size_t size, std::size_t* read_count = nullptr);
    void write(const void* data, std::size_t size);
    char get();
    void put(char c);
    void flush();
    void reset();
    bool error() const;
    bool eof() const;
    bool ok() const;
    std::fpos<int> seek(std::fpos<int> pos, int way, int mode);
    std::fpos<int> get_pos(int mode);
    std::int64_t get_size();

    IFileStream& get_interface();

private:
    std::unique_ptr<IFileStream> impl_;
};

// A file stream that reads and writes wide text in one of the character sets: ANSI, OEM,
// UTF-16 LE or BE, or UTF-8.
class QEL_API ITextFileStream : public IFileStream {
public:
    ITextFileStream() = default;
    ITextFileStream(const ITextFileStream&) = default;
    ITextFileStream& operator=(const ITextFileStream&) = default;
    ~ITextFileStream() override;

    // The encoding in force: the requested one, or the detected charset alone.
    virtual const text_encoding& get_encoding() const = 0;
    // 0 when no character could be read.
    virtual wchar_t read_char() = 0;
    virtual void write_char(wchar_t c) = 0;
    // The next line without its line end. At the end of the text the end flag is set
    // (error() stays false). A stream with a code-page charset (cs_codepage) reads nothing,
    // leaves `line` as it was and stays ok(): a loop over lines must notice that, for
    // example by presetting `line` to a LF, which no line read ever holds.
    virtual void read_line(std::wstring& line) = 0;
    virtual void write_line(const wchar_t* line) = 0;
    virtual void write_line(const std::wstring& line) = 0;
    // The rest of the file, line ends as LF.
    virtual void read_solid_text(std::wstring& text) = 0;
    virtual void write_solid_text(const wchar_t* text) = 0;
    virtual void write_solid_text(const std::wstring& text) = 0;
};

// Opens a text file for reading (mode read()) or writing (write(), create(), append(), with
// or without flush_on_close()); modes with both access bits open nothing. With
// flag_detect_signature the charset comes from the file's signature or content. New files
// written in a Unicode charset start with a signature unless flag_no_signature is given.
// Never returns null: test is_open(). A failed open sets the fail flag; a mode with both
// access bits sets none. Dot-named files written become hidden (see IFileStream).
QEL_API std::unique_ptr<ITextFileStream> text_file_stream_factory(const std::wstring& name,
                                                                  file_stream_mode mode,
                                                                  const text_encoding& encoding);

// Value wrapper of text_file_stream_factory(); the operations are those of ITextFileStream.
class QEL_API text_file_stream {
public:
    // Holds no file: construct with a name or call open() before any other operation.
    text_file_stream();
    text_file_stream(const std::wstring& name, file_stream_mode mode,
                     const text_encoding& encoding);
    text_file_stream(text_file_stream&& other) noexcept;
    text_file_stream& operator=(text_file_stream&& other) noexcept;
    text_file_stream(const text_file_stream&) = delete;
    text_file_stream& operator=(const text_file_stream&) = delete;
    ~text_file_stream();

    // Replaces (and so closes) the current file; returns whether the new one is open.
    [[nodiscard]] bool open(const std::wstring& name, file_stream_mode mode,
                            const text_encoding& encoding);
    bool is_open() const;
    void close();

    void flush();
    void reset();
    bool error() const;
    bool eof() const;
    bool ok() const;
    std::int64_t get_size();
    const text_encoding& get_encoding() const;
    wchar_t read_char();
    void write_char(wchar_t c);
    void read_line(std::wstring& line);
    void write_line(const wchar_t* line);
    void write_line(const std::wstring& line);
    void read_solid_text(std::wstring& text);
    void write_solid_text(const wchar_t* text);
    void write_solid_text(const std::wstring& text);

    ITextFileStream& get_interface();

private:
    std::unique_ptr<ITextFileStream> impl_;
};

} // namespace qel
