#include "platform/file.h"
#include "platform/fs.h"
#include "platform/posix/path_posix.h"

#include "core/utf8.h"

#include <qel/fs.h>

#include <cerrno>
#include <climits>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utility>

namespace qel::platform {
namespace {

file_time time_of(const struct statx_timestamp& t) {
    return {static_cast<std::int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec};
}

file_time time_of(const struct timespec& t) {
    return {static_cast<std::int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec};
}

bool statx_at(int dir, const char* name, int flags, struct statx& info, std::error_code* error) {
    if (::statx(dir, name, flags, STATX_BASIC_STATS | STATX_BTIME, &info) != 0)
        return fail_with(errno, error);
    return true;
}

object_info info_of(const struct statx& st, const std::wstring& path) {
    object_info info;
    info.directory = S_ISDIR(st.stx_mode);
    info.read_only = (st.stx_mode & S_IWUSR) == 0;
    info.hidden = is_dot_name(path);
    info.size = info.directory ? 0 : st.stx_size;
    // Without a birth time the change time is the closest the file system keeps.
    info.creation = (st.stx_mask & STATX_BTIME) ? time_of(st.stx_btime) : time_of(st.stx_ctime);
    info.last_write = time_of(st.stx_mtime);
    info.last_access = time_of(st.stx_atime);
    return info;
}

class fd_closer {
public:
    explicit fd_closer(int fd) : fd_(fd) {}
    fd_closer(const fd_closer&) = delete;
    fd_closer& operator=(const fd_closer&) = delete;
    ~fd_closer() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_;
};

bool has_wildcard(std::wstring_view pattern) {
    return pattern.find_first_of(L"*?") != std::wstring_view::npos;
}

// "*" any run of characters, "?" any one; "*.*" matches every name, as on Windows.
bool matches(std::wstring_view pattern, std::wstring_view name) {
    if (pattern == L"*.*")
        return true;
    std::size_t p = 0, n = 0, star = std::wstring_view::npos, resume = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == L'?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (p < pattern.size() && pattern[p] == L'*') {
            star = p++;
            resume = n;
        } else if (star != std::wstring_view::npos) {
            p = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == L'*')
        ++p;
    return p == pattern.size();
}

bool is_dots(const char* name) {
    return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

// A directory read with readdir; a name without wildcards is looked up alone.
class posix_file_enumerator_impl_ final : public IFileEnumerator {
public:
    explicit posix_file_enumerator_impl_(const std::wstring& pattern) {
        std::wstring name, ext;
        split_path(pattern, dir_, name, ext);
        name_pattern_ = name + ext;
        const std::string dir = dir_.empty() ? std::string(".") : posix_path(dir_);
        if (!has_wildcard(name_pattern_)) {
            // One name: present or not, found without reading the directory.
            const std::string single = detail::to_utf8(name_pattern_);
            struct stat info {};
            if (!name_pattern_.empty() && name_pattern_ != L"." && name_pattern_ != L".." &&
                ::stat((dir + "/" + single).c_str(), &info) == 0) {
                folder_ = ::opendir(dir.c_str());
                current_ = single;
                wide_ = name_pattern_;
                type_ = S_ISDIR(info.st_mode) ? DT_DIR : DT_REG;
                valid_ = folder_ != nullptr;
                single_ = true;
            }
            return;
        }
        match_all_ = name_pattern_ == L"*" || name_pattern_ == L"*.*";
        folder_ = ::opendir(dir.c_str());
        valid_ = folder_ != nullptr;
        if (valid_)
            next();
    }
    posix_file_enumerator_impl_(const posix_file_enumerator_impl_&) = delete;
    posix_file_enumerator_impl_& operator=(const posix_file_enumerator_impl_&) = delete;
    ~posix_file_enumerator_impl_() override {
        if (folder_)
            ::closedir(folder_);
    }

    std::wstring filename() override {
        if (wide_.empty())
            wide_ = detail::from_utf8(current_);
        return wide_;
    }
    std::wstring filepath() override { return concat_path(dir_, filename()); }
    timestamp time(E_FSObjTime which) override {
        timestamp result(std::int64_t{6311520000000});
        const file_time* chosen = nullptr;
        if (which == fsobj_creation || which == fsobj_last_write || which == fsobj_last_access) {
            if (!load())
                return result;
            chosen = which == fsobj_creation     ? &info_.creation
                     : which == fsobj_last_write ? &info_.last_write
                                                 : &info_.last_access;
        }
        local_clock_reading r{};
        if (chosen && local_time_of(*chosen, r))
            result =
                timestamp(r.year, r.month, r.day, r.hour, r.minute, r.second, r.milliseconds / 10);
        return result;
    }
    bool is_dir() const override {
        if (type_ == DT_DIR)
            return true;
        if (type_ != DT_UNKNOWN && type_ != DT_LNK)
            return false;
        // Links count as what they point at, as the times do.
        struct stat info {};
        return ::fstatat(::dirfd(folder_), current_.c_str(), &info, 0) == 0 &&
               S_ISDIR(info.st_mode);
    }
    bool done() const override { return !valid_; }
    bool next() override {
        loaded_ = false;
        wide_.clear();
        if (!valid_ || single_)
            return valid_ = false;
        while (const dirent* entry = ::readdir(folder_)) {
            if (is_dots(entry->d_name))
                continue;
            current_ = entry->d_name;
            type_ = entry->d_type;
            if (match_all_)
                return true;
            wide_ = detail::from_utf8(current_);
            if (matches(name_pattern_, wide_))
                return true;
        }
        return valid_ = false;
    }

private:
    bool load() {
        if (!loaded_) {
            struct statx st {};
            if (!statx_at(::dirfd(folder_), current_.c_str(), AT_STATX_SYNC_AS_STAT, st, nullptr))
                return false;
            info_ = info_of(st, filename());
            loaded_ = true;
        }
        return true;
    }

    std::wstring dir_;
    std::wstring name_pattern_;
    DIR* folder_ = nullptr;
    std::string current_;
    std::wstring wide_;
    unsigned char type_ = DT_UNKNOWN;
    bool valid_ = false;
    bool single_ = false;
    bool match_all_ = false;
    bool loaded_ = false;
    object_info info_;
};

bool copy_contents(int in, int out, std::error_code* error) {
    bool use_range = true;
    for (;;) {
        if (use_range) {
            const ssize_t n = ::copy_file_range(in, nullptr, out, nullptr, 1 << 30, 0);
            if (n > 0)
                continue;
            if (n == 0)
                return true;
            if (errno == EINTR)
                continue;
            if (errno != ENOSYS && errno != EXDEV && errno != EINVAL && errno != EOPNOTSUPP)
                return fail_with(errno, error);
            use_range = false;
        }
        char buffer[65536];
        const ssize_t got = ::read(in, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return fail_with(errno, error);
        if (got == 0)
            return true;
        if (!write_file(out, buffer, static_cast<std::size_t>(got), error))
            return false;
    }
}

bool copy_link(const std::string& from, const std::string& to, bool fail_if_exists,
               std::error_code* error) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(from.c_str(), target, sizeof target - 1);
    if (length < 0)
        return fail_with(errno, error);
    target[length] = 0;
    if (!fail_if_exists && ::unlink(to.c_str()) != 0 && errno != ENOENT)
        return fail_with(errno, error);
    return ::symlink(target, to.c_str()) == 0 || fail_with(errno, error);
}

} // namespace

path_rules native_path_rules() {
    return {L'/', true, true};
}

void lower_path_key(std::wstring&) {}

bool local_time_of(file_time time, local_clock_reading& reading) {
    std::int64_t seconds = time.value / 1000000000;
    std::int64_t nanoseconds = time.value % 1000000000;
    if (nanoseconds < 0) {
        --seconds;
        nanoseconds += 1000000000;
    }
    const auto t = static_cast<std::time_t>(seconds);
    struct tm local {};
    if (!::localtime_r(&t, &local))
        return false;
    reading = {local.tm_year + 1900,
               local.tm_mon + 1,
               local.tm_mday,
               local.tm_hour,
               local.tm_min,
               local.tm_sec,
               static_cast<int>(nanoseconds / 1000000)};
    return true;
}

std::optional<object_info> object_info_of(const std::wstring& path, std::error_code* error) {
    const std::string name = posix_path(path);
    struct statx st {};
    if (name.empty()) {
        fail_with(ENOENT, error);
        return std::nullopt;
    }
    if (!statx_at(AT_FDCWD, name.c_str(), AT_STATX_SYNC_AS_STAT, st, error))
        return std::nullopt;
    return info_of(st, path);
}

std::optional<object_identity> identity_of(const std::wstring& path, std::error_code* error) {
    struct stat st {};
    if (::stat(posix_path(path).c_str(), &st) != 0) {
        fail_with(errno, error);
        return std::nullopt;
    }
    return object_identity{static_cast<std::uint64_t>(st.st_dev),
                           static_cast<std::uint64_t>(st.st_ino),
                           static_cast<std::uint64_t>(st.st_size), time_of(st.st_mtim).value};
}

bool list_directory(const std::wstring& dir, bool with_sizes, std::vector<directory_entry>& entries,
                    object_identity* identity, std::error_code* error) {
    entries.clear();
    fd_closer fd(::open(posix_path(dir).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0)
        return fail_with(errno, error);
    if (identity) {
        struct stat st {};
        if (::fstat(fd.get(), &st) != 0)
            return fail_with(errno, error);
        *identity = {static_cast<std::uint64_t>(st.st_dev), static_cast<std::uint64_t>(st.st_ino),
                     0, 0};
    }
    DIR* folder = ::fdopendir(fd.get());
    if (!folder)
        return fail_with(errno, error);
    fd.release();
    errno = 0;
    while (const dirent* entry = ::readdir(folder)) {
        if (is_dots(entry->d_name))
            continue;
        directory_entry item;
        item.name = detail::from_utf8(entry->d_name);
        unsigned char type = entry->d_type;
        struct stat st {};
        const bool need_stat = type == DT_UNKNOWN || (with_sizes && type == DT_REG);
        if (need_stat) {
            if (::fstatat(::dirfd(folder), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
                const int code = errno;
                ::closedir(folder);
                return fail_with(code, error);
            }
            type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISLNK(st.st_mode) ? DT_LNK : DT_REG;
            if (S_ISREG(st.st_mode))
                item.size = static_cast<std::uint64_t>(st.st_size);
        }
        item.directory = type == DT_DIR;
        item.link = type == DT_LNK;
        entries.push_back(std::move(item));
        errno = 0;
    }
    const int code = errno;
    ::closedir(folder);
    return code == 0 || fail_with(code, error);
}

bool remove_files(const std::wstring& dir, const std::vector<std::wstring>& names,
                  std::size_t& done, std::error_code* error) {
    if (done >= names.size())
        return true;
    // Names relative to the open directory spare the system a walk along the path for each.
    const fd_closer fd(::open(posix_path(dir).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0)
        return fail_with(errno, error);
    for (; done < names.size(); ++done)
        if (::unlinkat(fd.get(), detail::to_utf8(names[done]).c_str(), 0) != 0)
            return fail_with(errno, error);
    return true;
}

std::unique_ptr<IFileEnumerator> open_file_enumerator(const std::wstring& pattern) {
    return std::make_unique<posix_file_enumerator_impl_>(pattern);
}

bool first_match(const std::wstring& pattern, std::wstring& name) {
    const auto match = open_file_enumerator(pattern);
    if (match->done())
        return false;
    name = match->filename();
    return true;
}

native_file open_file_shared_read(const std::wstring& path) {
    return open_file(path, {true, false, false, file_disposition::open_existing});
}

bool copy_file(const std::wstring& from, const std::wstring& to, bool fail_if_exists,
               std::error_code* error) {
    const std::string source = posix_path(from);
    const std::string target = posix_path(to);
    struct stat st {};
    if (source.empty() || target.empty() || ::lstat(source.c_str(), &st) != 0)
        return fail_with(source.empty() || target.empty() ? ENOENT : errno, error);
    if (S_ISLNK(st.st_mode))
        return copy_link(source, target, fail_if_exists, error);
    if (S_ISDIR(st.st_mode))
        return fail_with(EISDIR, error);
    if (!fail_if_exists) {
        // Truncating the source itself would lose it.
        struct stat old {};
        if (::stat(target.c_str(), &old) == 0 && old.st_dev == st.st_dev && old.st_ino == st.st_ino)
            return fail_with(EINVAL, error);
    }
    fd_closer in(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    if (in.get() < 0)
        return fail_with(errno, error);
    const int create = fail_if_exists ? O_EXCL : O_TRUNC;
    fd_closer out(
        ::open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | create, st.st_mode & 07777));
    if (out.get() < 0)
        return fail_with(errno, error);
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    if (!copy_contents(in.get(), out.get(), error) ||
        ::fchmod(out.get(), st.st_mode & 07777) != 0 || ::futimens(out.get(), times) != 0) {
        const int code = errno;
        ::unlink(target.c_str());
        return error && *error ? false : fail_with(code, error);
    }
    return ::close(out.release()) == 0 || fail_with(errno, error);
}

bool move_file(const std::wstring& from, const std::wstring& to, bool allow_copy,
               std::error_code* error) {
    const std::string source = posix_path(from);
    const std::string target = posix_path(to);
    if (::rename(source.c_str(), target.c_str()) == 0)
        return true;
    if (errno != EXDEV || !allow_copy)
        return fail_with(errno, error);
    // Another volume: copy, then remove the original; directories do not cross.
    return copy_file(from, to, false, error) &&
           (::unlink(source.c_str()) == 0 || fail_with(errno, error));
}

bool create_directory(const std::wstring& path, std::error_code* error) {
    return ::mkdir(posix_path(path).c_str(), 0777) == 0 || fail_with(errno, error);
}

bool remove_directory(const std::wstring& path, std::error_code* error) {
    return ::rmdir(posix_path(path).c_str()) == 0 || fail_with(errno, error);
}

bool free_space(const std::wstring& path, std::uint64_t& bytes, std::error_code* error) {
    struct statvfs info {};
    if (::statvfs(posix_path(path).c_str(), &info) != 0)
        return fail_with(errno, error);
    bytes = static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
    return true;
}

std::wstring current_directory() {
    std::string buffer(256, '\0');
    while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
        if (errno != ERANGE)
            return {};
        buffer.resize(buffer.size() * 2);
    }
    buffer.resize(buffer.find('\0'));
    return detail::from_utf8(buffer);
}

bool change_directory(const std::wstring& path, std::error_code* error) {
    return ::chdir(posix_path(path).c_str()) == 0 || fail_with(errno, error);
}

// A dot name is what hides a file here.
bool set_hidden(const std::wstring&, bool, std::error_code*) {
    return true;
}

bool file_version(const std::wstring&, std::wstring&, std::wstring&) {
    return false;
}

} // namespace qel::platform
