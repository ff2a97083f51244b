#include "system.h"

#include "commands.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qel_tool::sys {
namespace {

int fd_of(handle h) {
    return static_cast<int>(h);
}

std::string native(const std::wstring& path) {
    return to_utf8(path);
}

} // namespace

std::vector<std::string> arguments(int argc, char** argv) {
    return std::vector<std::string>(argv + 1, argv + argc);
}

bool stderr_is_terminal() {
    return ::isatty(STDERR_FILENO) == 1;
}

std::string error_text(int code) {
    return std::strerror(code);
}

file_facts inspect(const std::wstring& path) {
    file_facts facts;
    struct stat info {};
    if (::stat(native(path).c_str(), &info) != 0) {
        facts.error = errno;
        return facts;
    }
    facts.kind = S_ISREG(info.st_mode)   ? file_kind::regular
                 : S_ISDIR(info.st_mode) ? file_kind::directory
                                         : file_kind::other;
    facts.volume = static_cast<std::uint64_t>(info.st_dev);
    facts.index = static_cast<std::uint64_t>(info.st_ino);
    if (facts.kind == file_kind::regular)
        facts.size = static_cast<std::int64_t>(info.st_size);
    // The rule of the library's attributes: no write bit for the owner.
    facts.read_only = (info.st_mode & S_IWUSR) == 0;
    return facts;
}

bool same_file(const file_facts& a, const file_facts& b) {
    return a.kind != file_kind::missing && b.kind != file_kind::missing && a.volume == b.volume &&
           a.index == b.index;
}

std::wstring final_path(const std::wstring& path) {
    std::string name = native(path);
    // A chain of links, each resolved against the folder of the one before it.
    for (int hops = 0; hops < 40; ++hops) {
        struct stat info {};
        if (::lstat(name.c_str(), &info) != 0 || !S_ISLNK(info.st_mode))
            break;
        std::string target(PATH_MAX, '\0');
        ssize_t n = ::readlink(name.c_str(), target.data(), target.size());
        if (n <= 0)
            break;
        target.resize(static_cast<std::size_t>(n));
        if (target[0] != '/') {
            auto slash = name.rfind('/');
            target =
                (slash == std::string::npos ? std::string() : name.substr(0, slash + 1)) + target;
        }
        name = target;
    }
    return from_utf8(name);
}

std::wstring folder_of(const std::wstring& path) {
    auto slash = path.rfind(L'/');
    return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash + 1);
}

handle standard_input() {
    return STDIN_FILENO;
}

handle standard_output() {
    return STDOUT_FILENO;
}

handle open_for_reading(const std::wstring& path, int& error) {
    int fd;
    do {
        fd = ::open(native(path).c_str(), O_RDONLY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        error = errno;
    return fd < 0 ? no_handle : fd;
}

handle open_for_writing(const std::wstring& path, bool create_new, int& error) {
    int flags = O_WRONLY | O_CLOEXEC | (create_new ? O_CREAT | O_EXCL : 0);
    int fd;
    do {
        fd = ::open(native(path).c_str(), flags, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        error = errno;
    return fd < 0 ? no_handle : fd;
}

std::int64_t read(handle h, void* buffer, std::size_t size, int& error) {
    ssize_t n;
    do {
        n = ::read(fd_of(h), buffer, size);
    } while (n < 0 && errno == EINTR);
    if (n < 0)
        error = errno;
    return n;
}

bool write(handle h, const void* data, std::size_t size, int& error) {
    auto p = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t n = ::write(fd_of(h), p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            error = n < 0 ? errno : EIO;
            return false;
        }
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

bool commit(handle h, int& error) {
    if (::fsync(fd_of(h)) == 0)
        return true;
    error = errno;
    return false;
}

bool close(handle h, int& error) {
    if (::close(fd_of(h)) == 0)
        return true;
    error = errno;
    return false;
}

bool copy_permissions(const std::wstring& model, const std::wstring& file) {
    struct stat info {};
    return ::stat(native(model).c_str(), &info) == 0 &&
           ::chmod(native(file).c_str(), info.st_mode & 07777) == 0;
}

bool replace_file(const std::wstring& source, const std::wstring& target, int& error) {
    if (::rename(native(source).c_str(), native(target).c_str()) != 0) {
        error = errno;
        return false;
    }
    // The new name lasts only once the folder itself is on the disk.
    std::wstring folder = folder_of(target);
    int fd = ::open(folder.empty() ? "." : native(folder).c_str(), O_RDONLY | O_DIRECTORY);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
    return true;
}

bool remove_file(const std::wstring& path) {
    return ::unlink(native(path).c_str()) == 0;
}

namespace {

// The handler may only touch what was prepared before it was installed.
char interrupt_victim[PATH_MAX + 1];
volatile std::sig_atomic_t victim_set = 0;

void on_interrupt(int signal_number) {
    if (victim_set)
        ::unlink(interrupt_victim);
    std::signal(signal_number, SIG_DFL);
    std::raise(signal_number);
}

} // namespace

void remove_on_interrupt(const std::wstring& path) {
    static const bool installed = [] {
        struct sigaction action {};
        action.sa_handler = on_interrupt;
        sigemptyset(&action.sa_mask);
        for (int s : {SIGINT, SIGTERM, SIGHUP})
            ::sigaction(s, &action, nullptr);
        return true;
    }();
    (void)installed;
    victim_set = 0;
    std::string name = native(path);
    if (name.empty() || name.size() > PATH_MAX)
        return;
    std::memcpy(interrupt_victim, name.c_str(), name.size() + 1);
    victim_set = 1;
}

} // namespace qel_tool::sys
