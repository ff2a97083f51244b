#include "platform/file.h"

#include "platform/win/windows_api.h"

#include <limits>

namespace qel::platform {
namespace {

HANDLE handle_of(native_file file) {
    return reinterpret_cast<HANDLE>(file);
}

DWORD creation_of(file_disposition disposition) {
    switch (disposition) {
    case file_disposition::open_existing:
        return OPEN_EXISTING;
    case file_disposition::open_or_create:
    case file_disposition::create_or_truncate:
        // Truncated after opening: CREATE_ALWAYS refuses existing hidden files.
        return OPEN_ALWAYS;
    case file_disposition::create_new:
        return CREATE_NEW;
    }
    return OPEN_EXISTING;
}

DWORD attributes_of(const std::wstring& name) {
    return ::GetFileAttributesW(name.c_str());
}

bool fail_with_last_error(std::error_code* error) {
    return fail_with(static_cast<int>(::GetLastError()), error);
}

bool set_attribute(const std::wstring& name, DWORD bit, bool on, std::error_code* error) {
    DWORD attributes = attributes_of(name);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return fail_with_last_error(error);
    DWORD wanted = on ? (attributes | bit) : (attributes & ~bit);
    if (wanted == attributes)
        return true;
    if (wanted == 0)
        wanted = FILE_ATTRIBUTE_NORMAL;
    return ::SetFileAttributesW(name.c_str(), wanted) != 0 || fail_with_last_error(error);
}

} // namespace

open_status open_status_of(const std::error_code& error) {
    const auto code = static_cast<DWORD>(error.value());
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ? open_status::missing
           : code == ERROR_FILE_EXISTS || code == ERROR_ALREADY_EXISTS  ? open_status::exists
                                                                        : open_status::refused;
}

native_file open_file(const std::wstring& name, const file_access& access, std::error_code* error) {
    if ((!access.read && !access.write) || name.empty())
        return fail_with(ERROR_INVALID_PARAMETER, error), no_file;
    DWORD desired = access.read ? GENERIC_READ : 0;
    if (access.write)
        // Without FILE_WRITE_DATA the system puts every write at the end of the file.
        desired |= access.append ? (FILE_GENERIC_WRITE & ~FILE_WRITE_DATA) : GENERIC_WRITE;
    HANDLE h =
        ::CreateFileW(name.c_str(), desired, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                      nullptr, creation_of(access.disposition), FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return fail_with_last_error(error), no_file;
    if (access.disposition == file_disposition::create_or_truncate && !::SetEndOfFile(h)) {
        fail_with_last_error(error);
        ::CloseHandle(h);
        return no_file;
    }
    return reinterpret_cast<native_file>(h);
}

bool close_file(native_file file, std::error_code* error) {
    return ::CloseHandle(handle_of(file)) != 0 || fail_with_last_error(error);
}

std::int64_t read_file(native_file file, void* buffer, std::size_t size, std::error_code* error) {
    DWORD chunk = static_cast<DWORD>(
        size < std::numeric_limits<DWORD>::max() ? size : std::numeric_limits<DWORD>::max());
    DWORD done = 0;
    if (!::ReadFile(handle_of(file), buffer, chunk, &done, nullptr)) {
        if (::GetLastError() == ERROR_BROKEN_PIPE)
            return 0; // the writing end of a pipe is gone: the end of the input
        fail_with_last_error(error);
        return -1;
    }
    return done;
}

bool write_file(native_file file, const void* data, std::size_t size, std::error_code* error) {
    auto p = static_cast<const char*>(data);
    while (size > 0) {
        DWORD chunk = static_cast<DWORD>(size < 0x40000000u ? size : 0x40000000u);
        DWORD done = 0;
        if (!::WriteFile(handle_of(file), p, chunk, &done, nullptr))
            return fail_with_last_error(error);
        if (done == 0)
            return fail_with(ERROR_WRITE_FAULT, error);
        p += done;
        size -= done;
    }
    return true;
}

std::int64_t seek_file(native_file file, std::int64_t offset, seek_origin origin,
                       std::error_code* error) {
    DWORD method = origin == seek_origin::begin     ? FILE_BEGIN
                   : origin == seek_origin::current ? FILE_CURRENT
                                                    : FILE_END;
    LARGE_INTEGER distance;
    distance.QuadPart = offset;
    LARGE_INTEGER result;
    if (!::SetFilePointerEx(handle_of(file), distance, &result, method))
        return fail_with_last_error(error), -1;
    return result.QuadPart;
}

bool commit_file(native_file file, std::error_code* error) {
    return ::FlushFileBuffers(handle_of(file)) != 0 || fail_with_last_error(error);
}

bool file_exists(const std::wstring& name) {
    return !name.empty() && attributes_of(name) != INVALID_FILE_ATTRIBUTES;
}

std::optional<file_attributes> get_file_attributes(const std::wstring& name,
                                                   std::error_code* error) {
    DWORD attributes = name.empty() ? INVALID_FILE_ATTRIBUTES : attributes_of(name);
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        if (name.empty())
            fail_with(ERROR_INVALID_NAME, error);
        else
            fail_with_last_error(error);
        return std::nullopt;
    }
    file_attributes result;
    result.directory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    result.hidden = (attributes & FILE_ATTRIBUTE_HIDDEN) != 0;
    result.read_only = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    return result;
}

bool set_file_hidden(const std::wstring& name, std::error_code* error) {
    return set_attribute(name, FILE_ATTRIBUTE_HIDDEN, true, error);
}

bool set_file_read_only(const std::wstring& name, bool read_only, std::error_code* error) {
    return set_attribute(name, FILE_ATTRIBUTE_READONLY, read_only, error);
}

std::string_view native_line_end() {
    return "\r\n";
}

bool remove_file(const std::wstring& name, std::error_code* error) {
    return ::DeleteFileW(name.c_str()) != 0 || fail_with_last_error(error);
}

bool replace_file(const std::wstring& source, const std::wstring& target, std::error_code* error) {
    const HANDLE file = ::CreateFileW(source.c_str(), GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return fail_with_last_error(error);
    const bool flushed = ::FlushFileBuffers(file) != 0;
    const DWORD flush_error = ::GetLastError();
    ::CloseHandle(file);
    if (!flushed)
        return fail_with(static_cast<int>(flush_error), error);
    // The replacement takes the attributes of its source: hand over the old file's.
    const DWORD kept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE |
                       FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
    const DWORD old_attributes = attributes_of(target);
    if (old_attributes != INVALID_FILE_ATTRIBUTES && (old_attributes & kept) != 0)
        ::SetFileAttributesW(source.c_str(), old_attributes & kept);
    return ::MoveFileExW(source.c_str(), target.c_str(),
                         MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0 ||
           fail_with_last_error(error);
}

} // namespace qel::platform
