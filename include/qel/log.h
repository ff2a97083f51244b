// Log files shared by the threads of a program: one text line per record, each record
// written whole between an open and a close of the file.
#pragma once

#include <qel/export.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

namespace qel {

class ILogFileStream;

// The policy of a log file stream. The stream calls every slot with its lock held and never
// deletes its traits: they stay the caller's and must outlive the stream.
class QEL_API ILogTraits {
public:
    ILogTraits() = default;
    ILogTraits(const ILogTraits&) = default;
    ILogTraits& operator=(const ILogTraits&) = default;

    // False refuses the record: nothing is opened, created or written.
    virtual bool is_enabled(ILogFileStream& stream) const = 0;
    // Called after the record's file was closed.
    virtual void on_record_end(ILogFileStream& stream) const = 0;
    // Replaces `out` with the narrow text of the `length` wide units at `text`.
    virtual void to_narrow(const wchar_t* text, std::uint64_t length, std::string& out) const = 0;
    // Writes what starts a record; the stream adds a tab after it.
    virtual void write_prefix(std::ostream& out) const = 0;

protected:
    virtual ~ILogTraits();
};

// The process-wide default policy: every record is enabled, wide text converts with the
// default text_encoding, and the prefix is the local date and time, "dd.mm.yyyy<TAB>hh:mm:ss:ii".
QEL_API const ILogTraits& default_log_traits();

// A log file that several threads append records to. Between records the file is closed, so
// other programs may read, move or remove it; the next record creates it again.
class QEL_API ILogFileStream {
public:
    ILogFileStream() = default;
    ILogFileStream(const ILogFileStream&) = default;
    ILogFileStream& operator=(const ILogFileStream&) = default;
    virtual ~ILogFileStream();

    // Takes the stream's lock and opens the file; true keeps the lock until end_record. False
    // when the traits refuse, the file cannot be opened, or this thread has a record open.
    virtual bool begin_record() = 0;
    // Ends the line, writes and closes the file, releases the lock; never throws.
    virtual void end_record() = 0;
    // The stream's recursive lock, to keep several records or settings together.
    virtual void lock() = 0;
    virtual void unlock() = 0;
    // A changed name or header takes effect with the next record.
    virtual std::wstring get_filename() = 0;
    virtual void set_filename(const std::wstring& filename) = 0;
    // The line that starts a newly created file; empty for none.
    virtual std::wstring get_header() = 0;
    virtual void set_header(const std::wstring& header) = 0;
    virtual bool is_prefix_enabled() = 0;
    virtual void set_prefix_enabled(bool enabled) = 0;
    // Leaves the file existing and empty.
    virtual void clear() = 0;
    // A record is open and nothing written to it failed. Takes no lock.
    virtual bool is_record_open() = 0;
    // Inside a record only: narrow text as it is, wide text through the traits' to_narrow.
    virtual void write_narrow(const std::string& text) = 0;
    virtual void write_wide(const wchar_t* text, std::uint64_t length) = 0;

    // Text of the open record; nothing when no record is open.
    ILogFileStream& operator<<(const std::string& text);
    ILogFileStream& operator<<(const char* text);
    ILogFileStream& operator<<(char c);
    ILogFileStream& operator<<(const std::wstring& text);
    ILogFileStream& operator<<(const wchar_t* text);
    ILogFileStream& operator<<(wchar_t c);
};

// A stream with no header, the prefix on and the default traits. The file is not touched
// until the first record.
QEL_API std::unique_ptr<ILogFileStream> log_file_stream_factory(const std::wstring& filename);
// A null `traits` selects default_log_traits().
QEL_API std::unique_ptr<ILogFileStream> log_file_stream_factory(const std::wstring& filename,
                                                                const std::wstring& header,
                                                                bool prefix_enabled,
                                                                const ILogTraits* traits);

// One record of a log file stream, ended when the object is destroyed:
//     if (qel::log_record record{*log}) *log << "started";
class QEL_API log_record {
public:
    // Begins a record; the object is active only when the stream's begin_record succeeded.
    explicit log_record(ILogFileStream& stream);
    log_record(log_record&& other) noexcept;
    log_record(const log_record&) = delete;
    log_record& operator=(const log_record&) = delete;
    ~log_record();

    bool is_active() const { return stream_ != nullptr; }
    explicit operator bool() const { return stream_ != nullptr; }

private:
    ILogFileStream* stream_;
};

} // namespace qel
