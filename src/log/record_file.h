// The narrow file of a log stream. A record is collected in memory and reaches the file in
// one write when it ends, so each record costs one open, one write and one close, and no
// other writer of the file can split it.
#pragma once

#include "platform/file.h"

#include <ostream>
#include <streambuf>
#include <string>

namespace qel::detail {

class record_buffer final : public std::streambuf {
public:
    std::string& text() { return text_; }

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* s, std::streamsize count) override;

private:
    std::string text_;
};

class record_file {
public:
    enum class open_result { failed, opened, created };

    record_file() : out_(&buffer_) {}
    record_file(const record_file&) = delete;
    record_file& operator=(const record_file&) = delete;
    ~record_file();

    // Appends to an existing file, or creates a missing one; never truncates.
    open_result open(const std::wstring& name);
    bool is_open() const { return file_ != platform::no_file; }
    // Where the record's text goes; its state shows write failures.
    std::ostream& stream() { return out_; }
    // Ends the line, writes the record in the system's line ends and closes the file;
    // sets fail when the write or the close fails.
    void close_record();
    // Closes the file and drops the record.
    void discard();
    // Creates the file or empties it; false when it cannot be opened.
    static bool truncate(const std::wstring& name);

private:
    platform::native_file file_ = platform::no_file;
    record_buffer buffer_;
    std::ostream out_;
    std::string translated_;
};

} // namespace qel::detail
