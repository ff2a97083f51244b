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

std::optional<struct stat> stat_of(const std::wstring& name) {
    std::string path = posix_path(name);
    struct stat info {};
    if (path.empty() || ::stat(path.c_str(), &info) != 0)
        return std::nullopt;
    return info;
}

} // namespace

native_file open_file(const std::wstring& name, const file_access& access) {
    open_status ignored;
    return open_file(name, access, ignored);
}

native_file open_file(const std::wstring& name, const file_access& access, open_status& status) {
    status = open_status::refused;
    if (!access.read && !access.write)
        return no_file;
    std::string path = posix_path(name);
    if (path.empty())
        return no_file;
    int fd;
    do {
        fd = ::open(path.c_str(), open_flags(access), 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        status = errno == ENOENT   ? open_status::missing
                 : errno == EEXIST ? open_status::exists
                                   : open_status::refused;
        return no_file;
    }
    // A directory opens for reading only; a new file cannot be one.
    struct stat info {};
    if (!access.write && (::fstat(fd, &info) != 0 || S_ISDIR(info.st_mode))) {
        ::close(fd);
        return no_file;
    }
    status = open_status::opened;
    return fd;
}

bool close_file(native_file file) {
    return ::close(descriptor(file)) == 0;
}

std::int64_t read_file(native_file file, void* buffer, std::size_t size) {
    ssize_t n;
    do {
        n = ::read(descriptor(file), buffer, size);
    } while (n < 0 && errno == EINTR);
    return n;
}

bool write_file(native_file file, const void* data, std::size_t size) {
    auto p = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t n = ::write(descriptor(file), p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

std::int64_t seek_file(native_file file, std::int64_t offset, seek_origin origin) {
    int whence = origin == seek_origin::begin     ? SEEK_SET
                 : origin == seek_origin::current ? SEEK_CUR
                                                  : SEEK_END;
    return ::lseek(descriptor(file), static_cast<off_t>(offset), whence);
}

bool commit_file(native_file file) {
    return ::fsync(descriptor(file)) == 0;
}

bool file_exists(const std::wstring& name) {
    return stat_of(name).has_value();
}

std::optional<file_attributes> get_file_attributes(const std::wstring& name) {
    auto info = stat_of(name);
    if (!info)
        return std::nullopt;
    file_attributes attributes;
    attributes.directory = S_ISDIR(info->st_mode);
    attributes.hidden = is_dot_name(name);
    attributes.read_only = (info->st_mode & S_IWUSR) == 0;
    return attributes;
}

// A dot name is what makes a file hidden here; there is nothing to store.
bool set_file_hidden(const std::wstring& name) {
    return file_exists(name);
}

bool set_file_read_only(const std::wstring& name, bool read_only) {
    auto info = stat_of(name);
    if (!info)
        return false;
    mode_t mode = info->st_mode & 07777;
    mode = read_only ? (mode & ~mode_t(S_IWUSR | S_IWGRP | S_IWOTH)) : (mode | S_IWUSR);
    return ::chmod(posix_path(name).c_str(), mode) == 0;
}

std::string_view native_line_end() {
    return "\n";
}

} // namespace qel::platform
