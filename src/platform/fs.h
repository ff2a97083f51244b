// Directories, attributes, times and whole-file operations as the system offers them. Like
// file.h, every call that can fail takes an optional `error` that receives the system's reason.
#pragma once

#include "platform/clock.h"
#include "platform/file.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace qel {
class IFileEnumerator;
}

namespace qel::platform {

// How the system spells paths: the separator it writes, whether a single leading separator
// makes a path absolute, and whether letter case tells names apart.
struct path_rules {
    wchar_t separator;
    bool slash_root;
    bool case_sensitive;
};
path_rules native_path_rules();
// Lowers the letters of a path for comparison as the system's names compare.
void lower_path_key(std::wstring& key);

// A time as the system stores it; local_time_of reads it as the local wall clock.
struct file_time {
    std::int64_t value = 0;
};
bool local_time_of(file_time time, local_clock_reading& reading);

struct object_info {
    bool directory = false;
    bool read_only = false;
    bool hidden = false;
    bool archive = false;
    bool compressed = false;
    bool encrypted = false;
    bool system = false;
    bool temporary = false;
    std::uint64_t size = 0;
    file_time creation;
    file_time last_write;
    file_time last_access;
};
std::optional<object_info> object_info_of(const std::wstring& path,
                                          std::error_code* error = nullptr);

// What tells two names of one object apart from names of two objects.
struct object_identity {
    std::uint64_t volume = 0;
    std::uint64_t index = 0;
    std::uint64_t size = 0;
    std::int64_t last_write = 0;
    bool operator==(const object_identity&) const = default;
};
std::optional<object_identity> identity_of(const std::wstring& path,
                                           std::error_code* error = nullptr);

struct directory_entry {
    std::wstring name;
    bool directory = false;
    // A symbolic link, never followed by the tree walks (always false on Windows, where the
    // walks go by the directory bit alone).
    bool link = false;
    std::uint64_t size = 0; // of files, when asked for
};
// Every entry of `dir` but "." and "..", in the system's order. `identity` receives the
// directory's own identity, by which the tree walks notice a cycle.
bool list_directory(const std::wstring& dir, bool with_sizes, std::vector<directory_entry>& entries,
                    object_identity* identity = nullptr, std::error_code* error = nullptr);

// Removes the files `names[done..]` of `dir` in order, advancing `done` past each one removed;
// false leaves `done` at the first that resisted.
bool remove_files(const std::wstring& dir, const std::vector<std::wstring>& names,
                  std::size_t& done, std::error_code* error = nullptr);

// The entries matching a wildcard pattern; never null.
std::unique_ptr<IFileEnumerator> open_file_enumerator(const std::wstring& pattern);
// The stored name of the first entry matching `pattern`, "." and ".." included where the
// system lists them.
bool first_match(const std::wstring& pattern, std::wstring& name);

// Opens an existing file for reading while letting others only read it too.
native_file open_file_shared_read(const std::wstring& path);

// Copies contents and attributes; a symbolic link is copied as a link.
bool copy_file(const std::wstring& from, const std::wstring& to, bool fail_if_exists,
               std::error_code* error = nullptr);
// Replaces an existing file at `to`; with `allow_copy` crosses volumes by copying.
bool move_file(const std::wstring& from, const std::wstring& to, bool allow_copy,
               std::error_code* error = nullptr);
bool create_directory(const std::wstring& path, std::error_code* error = nullptr);
bool remove_directory(const std::wstring& path, std::error_code* error = nullptr);
bool free_space(const std::wstring& path, std::uint64_t& bytes, std::error_code* error = nullptr);
std::wstring current_directory();
bool change_directory(const std::wstring& path, std::error_code* error = nullptr);
// Sets or clears the hidden attribute where the system stores one.
bool set_hidden(const std::wstring& path, bool hidden, std::error_code* error = nullptr);
// The file and product versions of a version resource, as "a.b.c.d"; false without one.
bool file_version(const std::wstring& path, std::wstring& file, std::wstring& product);

} // namespace qel::platform
