// Files as the operating system offers them: one implementation per target, in win/ or posix/.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

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

// Opens a regular file shared for reading, writing and deletion by other openers.
// Directories, empty names and missing folders give no_file.
native_file open_file(const std::wstring& name, const file_access& access);

// Why an open failed: the file or a folder on its path is missing, the file exists where
// create_new wanted none, or any other refusal.
enum class open_status { opened, missing, exists, refused };
native_file open_file(const std::wstring& name, const file_access& access, open_status& status);
bool close_file(native_file file);
// Bytes read (0 at the end) or -1.
std::int64_t read_file(native_file file, void* buffer, std::size_t size);
// Writes everything or fails; a file opened to append takes every write at its end.
bool write_file(native_file file, const void* data, std::size_t size);
// The new position from the start, or -1.
std::int64_t seek_file(native_file file, std::int64_t offset, seek_origin origin);
// Writes the system's buffers through to the disk.
bool commit_file(native_file file);

struct file_attributes {
    bool directory = false;
    bool hidden = false;
    bool read_only = false;
};

bool file_exists(const std::wstring& name);
std::optional<file_attributes> get_file_attributes(const std::wstring& name);
// Gives an existing file the hidden attribute (where the system stores one).
bool set_file_hidden(const std::wstring& name);
bool set_file_read_only(const std::wstring& name, bool read_only);

// What ends a line in this system's text files.
std::string_view native_line_end();

} // namespace qel::platform
