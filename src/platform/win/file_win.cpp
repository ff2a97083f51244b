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

bool set_attribute(const std::wstring& name, DWORD bit, bool on) {
    DWORD attributes = attributes_of(name);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return false;
    DWORD wanted = on ? (attributes | bit) : (attributes & ~bit);
    if (wanted == attributes)
        return true;
    if (wanted == 0)
        wanted = FILE_ATTRIBUTE_NORMAL;
    return ::SetFileAttributesW(name.c_str(), wanted) != 0;
}

} // namespace

native_file open_file(const std::wstring& name, const file_access& access) {
    open_status ignored;
    return open_file(name, access, ignored);
}

native_file open_file(const std::wstring& name, const file_access& access, open_status& status) {
    status = open_status::refused;
    if ((!access.read && !access.write) || name.empty())
        return no_file;
    DWORD desired = access.read ? GENERIC_READ : 0;
    if (access.write)
        // Without FILE_WRITE_DATA the system puts every write at the end of the file.
        desired |= access.append ? (FILE_GENERIC_WRITE & ~FILE_WRITE_DATA) : GENERIC_WRITE;
    HANDLE h =
        ::CreateFileW(name.c_str(), desired, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                      nullptr, creation_of(access.disposition), FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        DWORD error = ::GetLastError();
        status =
            error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? open_status::missing
            : error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS  ? open_status::exists
                                                                           : open_status::refused;
        return no_file;
    }
    if (access.disposition == file_disposition::create_or_truncate && !::SetEndOfFile(h)) {
        ::CloseHandle(h);
        return no_file;
    }
    status = open_status::opened;
    return reinterpret_cast<native_file>(h);
}

bool close_file(native_file file) {
    return ::CloseHandle(handle_of(file)) != 0;
}

std::int64_t read_file(native_file file, void* buffer, std::size_t size) {
    DWORD chunk = static_cast<DWORD>(
        size < std::numeric_limits<DWORD>::max() ? size : std::numeric_limits<DWORD>::max());
    DWORD done = 0;
    if (!::ReadFile(handle_of(file), buffer, chunk, &done, nullptr))
        return ::GetLastError() == ERROR_BROKEN_PIPE ? 0 : -1;
    return done;
}

bool write_file(native_file file, const void* data, std::size_t size) {
    auto p = static_cast<const char*>(data);
    while (size > 0) {
        DWORD chunk = static_cast<DWORD>(size < 0x40000000u ? size : 0x40000000u);
        DWORD done = 0;
        if (!::WriteFile(handle_of(file), p, chunk, &done, nullptr) || done == 0)
            return false;
        p += done;
        size -= done;
    }
    return true;
}

std::int64_t seek_file(native_file file, std::int64_t offset, seek_origin origin) {
    DWORD method = origin == seek_origin::begin     ? FILE_BEGIN
                   : origin == seek_origin::current ? FILE_CURRENT
                                                    : FILE_END;
    LARGE_INTEGER distance;
    distance.QuadPart = offset;
    LARGE_INTEGER result;
    if (!::SetFilePointerEx(handle_of(file), distance, &result, method))
        return -1;
    return result.QuadPart;
}

bool commit_file(native_file file) {
    return ::FlushFileBuffers(handle_of(file)) != 0;
}

bool file_exists(const std::wstring& name) {
    return !name.empty() && attributes_of(name) != INVALID_FILE_ATTRIBUTES;
}

std::optional<file_attributes> get_file_attributes(const std::wstring& name) {
    DWORD attributes = name.empty() ? INVALID_FILE_ATTRIBUTES : attributes_of(name);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return std::nullopt;
    file_attributes result;
    result.directory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    result.hidden = (attributes & FILE_ATTRIBUTE_HIDDEN) != 0;
    result.read_only = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    return result;
}

bool set_file_hidden(const std::wstring& name) {
    return set_attribute(name, FILE_ATTRIBUTE_HIDDEN, true);
}

bool set_file_read_only(const std::wstring& name, bool read_only) {
    return set_attribute(name, FILE_ATTRIBUTE_READONLY, read_only);
}

std::string_view native_line_end() {
    return "\r\n";
}

} // namespace qel::platform
