// Files as the operating system offers them: one implementation per target, in win/ or posix/.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace qel::platform {

// An open file of the system; -1 is no file.
using native_file = std::intptr_t;
inline constexpr native_file no_file = -1;

enum class file_disposition {
    open_existing,  // fails when the file is missing
    open_or_create, // keeps existing content
    create_or_truncate,
    create_new, // fails when the file exists
};

struct file_access {
    bool read = false;
    bool write = false;
    bool append = false; // every write goes to the current end of the file
    file_disposition disposition = file_disposition::open_existing;
};

enum class seek_origin { begin, current, end };

// Every call that can fail takes an optional `error`, which receives the system's reason
// (errno, or GetLastError() on Windows, as std::system_category) when the call fails; it is
// left alone on success.

// Opens a regular file shared for reading, writing and deletion by other openers.
// Directories, empty names and missing folders give no_file.
native_file open_file(const std::wstring& name, const file_access& access,
                      std::error_code* error = nullptr);
bool close_file(native_file file, std::error_code* error = nullptr);

// Why an open failed: the file or a folder on its path is missing, the file exists where
// create_new wanted none, or any other refusal.
enum class open_status { opened, missing, exists, refused };
// The status that a failure's reason stands for.
open_status open_status_of(const std::error_code& error);
inline native_file open_file(const std::wstring& name, const file_access& access,
                             open_status& status) {
    std::error_code error;
    native_file file = open_file(name, access, &error);
    status = file != no_file ? open_status::opened : open_status_of(error);
    return file;
}
// Bytes read (0 at the end) or -1.
std::int64_t read_file(native_file file, void* buffer, std::size_t size,
                       std::error_code* error = nullptr);
// Writes everything or fails; a file opened to append takes every write at its end.
bool write_file(native_file file, const void* data, std::size_t size,
                std::error_code* error = nullptr);
// The new position from the start, or -1.
std::int64_t seek_file(native_file file, std::int64_t offset, seek_origin origin,
                       std::error_code* error = nullptr);
// Writes the system's buffers through to the disk.
bool commit_file(native_file file, std::error_code* error = nullptr);

struct file_attributes {
    bool directory = false;
    bool hidden = false;
    bool read_only = false;
};

bool file_exists(const std::wstring& name);
std::optional<file_attributes> get_file_attributes(const std::wstring& name,
                                                   std::error_code* error = nullptr);
// Gives an existing file the hidden attribute (where the system stores one).
bool set_file_hidden(const std::wstring& name, std::error_code* error = nullptr);
bool set_file_read_only(const std::wstring& name, bool read_only, std::error_code* error = nullptr);

bool remove_file(const std::wstring& name, std::error_code* error = nullptr);
// Puts `source` in place of `target` in one step once source is on the disk, so that a crash
// leaves the old file or the new one whole; the new file keeps the target's permissions.
bool replace_file(const std::wstring& source, const std::wstring& target,
                  std::error_code* error = nullptr);

// Stores `code` as a system error in `error`, when one is asked for; returns false.
inline bool fail_with(int code, std::error_code* error) {
    if (error)
        *error = std::error_code(code, std::system_category());
    return false;
}

// What ends a line in this system's text files.
std::string_view native_line_end();

} // namespace qel::platform
