#include "platform/file.h"
#include "platform/posix/path_posix.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qel::platform {
namespace {

int open_flags(const file_access& access) {
    int flags = O_CLOEXEC;
    if (access.read && access.write)
        flags |= O_RDWR;
    else if (access.write)
        flags |= O_WRONLY;
    else
        flags |= O_RDONLY;
    if (access.append)
        flags |= O_APPEND;
    if (access.disposition != file_disposition::open_existing)
        flags |= O_CREAT;
    if (access.disposition == file_disposition::create_or_truncate)
        flags |= O_TRUNC;
    if (access.disposition == file_disposition::create_new)
        flags |= O_EXCL;
    return flags;
}

int descriptor(native_file file) {
    return static_cast<int>(file);
}

std::optional<struct stat> stat_of(const std::wstring& name, std::error_code* error = nullptr) {
    std::string path = posix_path(name);
    struct stat info {};
    if (path.empty() || ::stat(path.c_str(), &info) != 0) {
        fail_with(path.empty() ? ENOENT : errno, error);
        return std::nullopt;
    }
    return info;
}

} // namespace

open_status open_status_of(const std::error_code& error) {
    return error.value() == ENOENT || error.value() == ENOTDIR ? open_status::missing
           : error.value() == EEXIST                           ? open_status::exists
                                                               : open_status::refused;
}

native_file open_file(const std::wstring& name, const file_access& access, std::error_code* error) {
    if (!access.read && !access.write)
        return fail_with(EINVAL, error), no_file;
    std::string path = posix_path(name);
    if (path.empty())
        return fail_with(ENOENT, error), no_file;
    int fd;
    do {
        fd = ::open(path.c_str(), open_flags(access), 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return fail_with(errno, error), no_file;
    // A directory opens for reading only, and a new file cannot be one.
    struct stat info {};
    if (!access.write && (::fstat(fd, &info) != 0 || S_ISDIR(info.st_mode))) {
        fail_with(S_ISDIR(info.st_mode) ? EISDIR : errno, error);
        ::close(fd);
        return no_file;
    }
    return fd;
}

bool close_file(native_file file, std::error_code* error) {
    return ::close(descriptor(file)) == 0 || fail_with(errno, error);
}

std::int64_t read_file(native_file file, void* buffer, std::size_t size, std::error_code* error) {
    ssize_t n;
    do {
        n = ::read(descriptor(file), buffer, size);
    } while (n < 0 && errno == EINTR);
    if (n < 0)
        fail_with(errno, error);
    return n;
}

bool write_file(native_file file, const void* data, std::size_t size, std::error_code* error) {
    auto p = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t n = ::write(descriptor(file), p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return fail_with(n < 0 ? errno : EIO, error);
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

std::int64_t seek_file(native_file file, std::int64_t offset, seek_origin origin,
                       std::error_code* error) {
    int whence = origin == seek_origin::begin     ? SEEK_SET
                 : origin == seek_origin::current ? SEEK_CUR
                                                  : SEEK_END;
    off_t result = ::lseek(descriptor(file), static_cast<off_t>(offset), whence);
    if (result < 0)
        fail_with(errno, error);
    return result;
}

bool commit_file(native_file file, std::error_code* error) {
    return ::fsync(descriptor(file)) == 0 || fail_with(errno, error);
}

bool file_exists(const std::wstring& name) {
    return stat_of(name).has_value();
}

std::optional<file_attributes> get_file_attributes(const std::wstring& name,
                                                   std::error_code* error) {
    auto info = stat_of(name, error);
    if (!info)
        return std::nullopt;
    file_attributes attributes;
    attributes.directory = S_ISDIR(info->st_mode);
    attributes.hidden = is_dot_name(name);
    attributes.read_only = (info->st_mode & S_IWUSR) == 0;
    return attributes;
}

// A dot name is what makes a file hidden here; there is nothing to store.
bool set_file_hidden(const std::wstring& name, std::error_code* error) {
    return stat_of(name, error).has_value();
}

bool set_file_read_only(const std::wstring& name, bool read_only, std::error_code* error) {
    auto info = stat_of(name, error);
    if (!info)
        return false;
    mode_t mode = info->st_mode & 07777;
    mode = read_only ? (mode & ~mode_t(S_IWUSR | S_IWGRP | S_IWOTH)) : (mode | S_IWUSR);
    return ::chmod(posix_path(name).c_str(), mode) == 0 || fail_with(errno, error);
}

bool remove_file(const std::wstring& name, std::error_code* error) {
    return ::unlink(posix_path(name).c_str()) == 0 || fail_with(errno, error);
}

bool replace_file(const std::wstring& source, const std::wstring& target, std::error_code* error) {
    const std::string from = posix_path(source);
    const std::string to = posix_path(target);
    const int fd = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return fail_with(errno, error);
    struct stat old_info {};
    if (::stat(to.c_str(), &old_info) == 0)
        ::fchmod(fd, old_info.st_mode & 07777);
    if (::fsync(fd) != 0) {
        const int code = errno;
        ::close(fd);
        return fail_with(code, error);
    }
    ::close(fd);
    if (::rename(from.c_str(), to.c_str()) != 0)
        return fail_with(errno, error);
    // The new name itself must reach the disk too.
    const std::size_t slash = to.rfind('/');
    const std::string folder = slash == std::string::npos ? "."
                               : slash == 0               ? "/"
                                                          : to.substr(0, slash);
    const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}

std::string_view native_line_end() {
    return "\n";
}

} // namespace qel::platform
