// What the tool needs of the operating system beyond the library: its arguments as UTF-8,
// file identities, raw handles with the system's reason for a failure, durable replacement
// of a file, and clean-up on an interrupt. One implementation per target.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qel_tool::sys {

// The command-line arguments after the program name, as UTF-8.
std::vector<std::string> arguments(int argc, char** argv);

bool stderr_is_terminal();

// The system's text for an error number (errno, or GetLastError() on Windows).
std::string error_text(int code);

enum class file_kind { missing, regular, directory, other };

// What a name leads to, links followed.
struct file_facts {
    file_kind kind = file_kind::missing;
    int error = 0; // the reason when kind is missing
    std::uint64_t volume = 0;
    std::uint64_t index = 0;
    std::int64_t size = -1; // regular files only
    bool read_only = false;
};

file_facts inspect(const std::wstring& path);
bool same_file(const file_facts& a, const file_facts& b);

// Where links lead: the name of the file that `path` finally names, or `path` itself when
// it is no link or leads nowhere yet.
std::wstring final_path(const std::wstring& path);
// The folder part of `path`, with its trailing separator; empty for a bare name.
std::wstring folder_of(const std::wstring& path);

// Raw handles. Every call returns false (or -1) on failure with the reason in `error`.
using handle = std::intptr_t;
inline constexpr handle no_handle = -1;

handle standard_input();
handle standard_output();
handle open_for_reading(const std::wstring& path, int& error);
// `create_new`: a new file that must not exist yet; otherwise an existing file or device.
handle open_for_writing(const std::wstring& path, bool create_new, int& error);
std::int64_t read(handle h, void* buffer, std::size_t size, int& error);
bool write(handle h, const void* data, std::size_t size, int& error);
// Writes the system's buffers of a file through to the disk.
bool commit(handle h, int& error);
bool close(handle h, int& error);

// Gives `file` the permissions (attributes on Windows) of `model`.
bool copy_permissions(const std::wstring& model, const std::wstring& file);
// Puts `source` in the place of `target` in one step, durably.
bool replace_file(const std::wstring& source, const std::wstring& target, int& error);
bool remove_file(const std::wstring& path);

// While a name is set, an interrupt (SIGINT, SIGTERM, SIGHUP; Ctrl-C, Ctrl-Break or closing
// the console on Windows) removes that file before the process ends. Empty: nothing.
void remove_on_interrupt(const std::wstring& path);

} // namespace qel_tool::sys
