#include "system.h"

#include "commands.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#include <cstdio>
#include <io.h>
#include <limits>
#include <mutex>

namespace qel_tool::sys {
namespace {

HANDLE handle_of(handle h) {
    return reinterpret_cast<HANDLE>(h);
}

handle from_native(HANDLE h) {
    return h == INVALID_HANDLE_VALUE || h == nullptr ? no_handle : reinterpret_cast<handle>(h);
}

int last_error() {
    return static_cast<int>(::GetLastError());
}

constexpr DWORD share_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

} // namespace

std::vector<std::string> arguments(int, char**) {
    // The narrow argv of the runtime is in the ANSI code page; the wide command line has
    // every name as typed.
    int count = 0;
    LPWSTR* wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    std::vector<std::string> result;
    for (int i = 1; wide && i < count; ++i)
        result.push_back(to_utf8(wide[i]));
    ::LocalFree(wide);
    return result;
}

bool stderr_is_terminal() {
    return ::_isatty(::_fileno(stderr)) != 0;
}

std::string error_text(int code) {
    wchar_t* text = nullptr;
    DWORD n = ::FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
    std::wstring message(text ? text : L"", n);
    ::LocalFree(text);
    while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r' ||
                                message.back() == L' ' || message.back() == L'.'))
        message.pop_back();
    return message.empty() ? "error " + std::to_string(code) : to_utf8(message);
}

file_facts inspect(const std::wstring& path) {
    file_facts facts;
    // Opening with no access right reads the facts of files, folders and devices alike.
    HANDLE h = ::CreateFileW(path.c_str(), 0, share_all, nullptr, OPEN_EXISTING,
                             FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        facts.error = last_error();
        return facts;
    }
    BY_HANDLE_FILE_INFORMATION info{};
    if (::GetFileType(h) != FILE_TYPE_DISK || !::GetFileInformationByHandle(h, &info)) {
        facts.kind = file_kind::other;
    } else {
        facts.kind = (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) ? file_kind::directory
                                                                        : file_kind::regular;
        facts.volume = info.dwVolumeSerialNumber;
        facts.index = (std::uint64_t(info.nFileIndexHigh) << 32) | info.nFileIndexLow;
        facts.read_only = (info.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0;
        if (facts.kind == file_kind::regular)
            facts.size = static_cast<std::int64_t>((std::uint64_t(info.nFileSizeHigh) << 32) |
                                                   info.nFileSizeLow);
    }
    ::CloseHandle(h);
    return facts;
}

bool same_file(const file_facts& a, const file_facts& b) {
    return a.kind != file_kind::missing && a.kind != file_kind::other && a.kind == b.kind &&
           a.volume == b.volume && a.index == b.index;
}

std::wstring final_path(const std::wstring& path) {
    HANDLE h = ::CreateFileW(path.c_str(), 0, share_all, nullptr, OPEN_EXISTING,
                             FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return path;
    std::wstring name(32768, L'\0');
    DWORD n = ::GetFinalPathNameByHandleW(h, name.data(), static_cast<DWORD>(name.size()),
                                          FILE_NAME_NORMALIZED);
    ::CloseHandle(h);
    if (n == 0 || n >= name.size())
        return path;
    name.resize(n);
    return name;
}

std::wstring folder_of(const std::wstring& path) {
    auto separator = path.find_last_of(L"\\/:");
    return separator == std::wstring::npos ? std::wstring() : path.substr(0, separator + 1);
}

handle standard_input() {
    return from_native(::GetStdHandle(STD_INPUT_HANDLE));
}

handle standard_output() {
    return from_native(::GetStdHandle(STD_OUTPUT_HANDLE));
}

handle open_for_reading(const std::wstring& path, int& error) {
    HANDLE h = ::CreateFileW(path.c_str(), GENERIC_READ, share_all, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        error = last_error();
    return from_native(h);
}

handle open_for_writing(const std::wstring& path, bool create_new, int& error) {
    HANDLE h =
        ::CreateFileW(path.c_str(), GENERIC_WRITE, share_all, nullptr,
                      create_new ? CREATE_NEW : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        error = last_error();
    return from_native(h);
}

std::int64_t read(handle h, void* buffer, std::size_t size, int& error) {
    DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(size, 1u << 30));
    DWORD done = 0;
    if (::ReadFile(handle_of(h), buffer, chunk, &done, nullptr))
        return done;
    // The writing end of a pipe has gone: that is the end of the input.
    if (::GetLastError() == ERROR_BROKEN_PIPE)
        return 0;
    error = last_error();
    return -1;
}

bool write(handle h, const void* data, std::size_t size, int& error) {
    auto p = static_cast<const char*>(data);
    while (size > 0) {
        DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(size, 1u << 30));
        DWORD done = 0;
        if (!::WriteFile(handle_of(h), p, chunk, &done, nullptr) || done == 0) {
            error = last_error();
            return false;
        }
        p += done;
        size -= done;
    }
    return true;
}

bool commit(handle h, int& error) {
    if (::FlushFileBuffers(handle_of(h)))
        return true;
    error = last_error();
    return false;
}

bool close(handle h, int& error) {
    if (::CloseHandle(handle_of(h)))
        return true;
    error = last_error();
    return false;
}

bool copy_permissions(const std::wstring& model, const std::wstring& file) {
    DWORD attributes = ::GetFileAttributesW(model.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES &&
           ::SetFileAttributesW(file.c_str(), attributes & ~DWORD(FILE_ATTRIBUTE_READONLY)) != 0;
}

bool replace_file(const std::wstring& source, const std::wstring& target, int& error) {
    if (::MoveFileExW(source.c_str(), target.c_str(),
                      MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return true;
    error = last_error();
    return false;
}

bool remove_file(const std::wstring& path) {
    return ::DeleteFileW(path.c_str()) != 0;
}

namespace {

std::mutex victim_lock;
std::wstring interrupt_victim;

// Runs on a thread of its own; returning FALSE lets the default handler end the process.
BOOL WINAPI on_console_event(DWORD) {
    std::lock_guard<std::mutex> guard(victim_lock);
    if (!interrupt_victim.empty())
        ::DeleteFileW(interrupt_victim.c_str());
    return FALSE;
}

} // namespace

void remove_on_interrupt(const std::wstring& path) {
    static const bool installed = ::SetConsoleCtrlHandler(on_console_event, TRUE) != 0;
    (void)installed;
    std::lock_guard<std::mutex> guard(victim_lock);
    interrupt_victim = path;
}

} // namespace qel_tool::sys
