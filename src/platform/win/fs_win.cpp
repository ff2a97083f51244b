#include "platform/file.h"
#include "platform/fs.h"

#include "platform/win/windows_api.h"

#include <winver.h>

#include <qel/fs.h>

#include <cstdio>
#include <vector>

namespace qel::platform {
namespace {

bool fail_with_last_error(std::error_code* error) {
    return fail_with(static_cast<int>(::GetLastError()), error);
}

file_time time_of(const FILETIME& t) {
    return {static_cast<std::int64_t>((static_cast<std::uint64_t>(t.dwHighDateTime) << 32) |
                                      t.dwLowDateTime)};
}

std::uint64_t join(DWORD high, DWORD low) {
    return (static_cast<std::uint64_t>(high) << 32) | low;
}

bool is_dots(const wchar_t* name) {
    return name[0] == L'.' && (name[1] == 0 || (name[1] == L'.' && name[2] == 0));
}

// The system's find-first/find-next search over one pattern.
class win_file_enumerator_impl_ final : public IFileEnumerator {
public:
    explicit win_file_enumerator_impl_(const std::wstring& pattern) {
        std::wstring name, ext;
        split_path(pattern, dir_, name, ext);
        find_ = ::FindFirstFileW(pattern.c_str(), &record_);
        valid_ = find_ != INVALID_HANDLE_VALUE;
        skip_dots();
    }
    win_file_enumerator_impl_(const win_file_enumerator_impl_&) = delete;
    win_file_enumerator_impl_& operator=(const win_file_enumerator_impl_&) = delete;
    ~win_file_enumerator_impl_() override {
        if (find_ != INVALID_HANDLE_VALUE)
            ::FindClose(find_);
    }

    std::wstring filename() override { return record_.cFileName; }
    std::wstring filepath() override { return concat_path(dir_, record_.cFileName); }
    timestamp time(E_FSObjTime which) override {
        timestamp result(std::int64_t{6311520000000});
        const FILETIME* chosen = which == fsobj_creation      ? &record_.ftCreationTime
                                 : which == fsobj_last_write  ? &record_.ftLastWriteTime
                                 : which == fsobj_last_access ? &record_.ftLastAccessTime
                                                              : nullptr;
        local_clock_reading r{};
        if (chosen && local_time_of(time_of(*chosen), r))
            result =
                timestamp(r.year, r.month, r.day, r.hour, r.minute, r.second, r.milliseconds / 10);
        return result;
    }
    bool is_dir() const override {
        return (record_.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    }
    bool done() const override { return !valid_; }
    bool next() override {
        valid_ = valid_ && ::FindNextFileW(find_, &record_) != 0;
        skip_dots();
        return valid_;
    }

private:
    void skip_dots() {
        while (valid_ && is_dots(record_.cFileName))
            valid_ = ::FindNextFileW(find_, &record_) != 0;
    }

    HANDLE find_ = INVALID_HANDLE_VALUE;
    WIN32_FIND_DATAW record_{};
    bool valid_ = false;
    std::wstring dir_;
};

std::wstring version_text(DWORD most, DWORD least) {
    wchar_t text[48];
    std::swprintf(text, 48, L"%u.%u.%u.%u", static_cast<unsigned>(HIWORD(most)),
                  static_cast<unsigned>(LOWORD(most)), static_cast<unsigned>(HIWORD(least)),
                  static_cast<unsigned>(LOWORD(least)));
    return text;
}

} // namespace

path_rules native_path_rules() {
    return {L'\\', false, false};
}

void lower_path_key(std::wstring& key) {
    if (!key.empty())
        ::CharLowerBuffW(key.data(), static_cast<DWORD>(key.size()));
}

bool local_time_of(file_time time, local_clock_reading& reading) {
    FILETIME utc;
    utc.dwLowDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(time.value) & 0xFFFFFFFFu);
    utc.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(time.value) >> 32);
    FILETIME local;
    SYSTEMTIME st;
    if (!::FileTimeToLocalFileTime(&utc, &local) || !::FileTimeToSystemTime(&local, &st))
        return false;
    reading = {st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, st.wMilliseconds};
    return true;
}

std::optional<object_info> object_info_of(const std::wstring& path, std::error_code* error) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (path.empty() || !::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) {
        if (path.empty())
            fail_with(ERROR_INVALID_NAME, error);
        else
            fail_with_last_error(error);
        return std::nullopt;
    }
    const DWORD a = data.dwFileAttributes;
    object_info info;
    info.directory = (a & FILE_ATTRIBUTE_DIRECTORY) != 0;
    info.read_only = (a & FILE_ATTRIBUTE_READONLY) != 0;
    info.hidden = (a & FILE_ATTRIBUTE_HIDDEN) != 0;
    info.archive = (a & FILE_ATTRIBUTE_ARCHIVE) != 0;
    info.compressed = (a & FILE_ATTRIBUTE_COMPRESSED) != 0;
    info.encrypted = (a & FILE_ATTRIBUTE_ENCRYPTED) != 0;
    info.system = (a & FILE_ATTRIBUTE_SYSTEM) != 0;
    info.temporary = (a & FILE_ATTRIBUTE_TEMPORARY) != 0;
    info.size = join(data.nFileSizeHigh, data.nFileSizeLow);
    info.creation = time_of(data.ftCreationTime);
    info.last_write = time_of(data.ftLastWriteTime);
    info.last_access = time_of(data.ftLastAccessTime);
    return info;
}

std::optional<object_identity> identity_of(const std::wstring& path, std::error_code* error) {
    const HANDLE h =
        ::CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        fail_with_last_error(error);
        return std::nullopt;
    }
    BY_HANDLE_FILE_INFORMATION info;
    const bool read = ::GetFileInformationByHandle(h, &info) != 0;
    if (!read)
        fail_with_last_error(error);
    ::CloseHandle(h);
    if (!read)
        return std::nullopt;
    return object_identity{info.dwVolumeSerialNumber, join(info.nFileIndexHigh, info.nFileIndexLow),
                           join(info.nFileSizeHigh, info.nFileSizeLow),
                           time_of(info.ftLastWriteTime).value};
}

bool list_directory(const std::wstring& dir, bool, std::vector<directory_entry>& entries,
                    object_identity* identity, std::error_code* error) {
    entries.clear();
    if (identity)
        *identity = {}; // the walks follow the directory bit alone here
    WIN32_FIND_DATAW record;
    const HANDLE find = ::FindFirstFileW(concat_path(dir, L"*").c_str(), &record);
    if (find == INVALID_HANDLE_VALUE)
        return fail_with_last_error(error);
    do {
        if (is_dots(record.cFileName))
            continue;
        directory_entry entry;
        entry.name = record.cFileName;
        entry.directory = (record.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        entry.size = join(record.nFileSizeHigh, record.nFileSizeLow);
        entries.push_back(std::move(entry));
    } while (::FindNextFileW(find, &record));
    const DWORD code = ::GetLastError();
    ::FindClose(find);
    return code == ERROR_NO_MORE_FILES || fail_with(static_cast<int>(code), error);
}

bool remove_files(const std::wstring& dir, const std::vector<std::wstring>& names,
                  std::size_t& done, std::error_code* error) {
    for (; done < names.size(); ++done)
        if (!::DeleteFileW(concat_path(dir, names[done]).c_str()))
            return fail_with_last_error(error);
    return true;
}

std::unique_ptr<IFileEnumerator> open_file_enumerator(const std::wstring& pattern) {
    return std::make_unique<win_file_enumerator_impl_>(pattern);
}

bool first_match(const std::wstring& pattern, std::wstring& name) {
    WIN32_FIND_DATAW record;
    const HANDLE find = ::FindFirstFileW(pattern.c_str(), &record);
    if (find == INVALID_HANDLE_VALUE)
        return false;
    ::FindClose(find);
    name = record.cFileName;
    return true;
}

native_file open_file_shared_read(const std::wstring& path) {
    const HANDLE h = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                   OPEN_EXISTING, 0, nullptr);
    return h == INVALID_HANDLE_VALUE ? no_file : reinterpret_cast<native_file>(h);
}

bool copy_file(const std::wstring& from, const std::wstring& to, bool fail_if_exists,
               std::error_code* error) {
    return ::CopyFileW(from.c_str(), to.c_str(), fail_if_exists ? TRUE : FALSE) != 0 ||
           fail_with_last_error(error);
}

bool move_file(const std::wstring& from, const std::wstring& to, bool allow_copy,
               std::error_code* error) {
    const DWORD flags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH |
                        (allow_copy ? MOVEFILE_COPY_ALLOWED : 0);
    return ::MoveFileExW(from.c_str(), to.c_str(), flags) != 0 || fail_with_last_error(error);
}

bool create_directory(const std::wstring& path, std::error_code* error) {
    return ::CreateDirectoryW(path.c_str(), nullptr) != 0 || fail_with_last_error(error);
}

bool remove_directory(const std::wstring& path, std::error_code* error) {
    return ::RemoveDirectoryW(path.c_str()) != 0 || fail_with_last_error(error);
}

bool free_space(const std::wstring& path, std::uint64_t& bytes, std::error_code* error) {
    ULARGE_INTEGER available;
    if (!::GetDiskFreeSpaceExW(path.c_str(), &available, nullptr, nullptr))
        return fail_with_last_error(error);
    bytes = available.QuadPart;
    return true;
}

std::wstring current_directory() {
    wchar_t buffer[MAX_PATH];
    const DWORD length = ::GetCurrentDirectoryW(MAX_PATH, buffer);
    return length == 0 || length >= MAX_PATH ? std::wstring() : std::wstring(buffer, length);
}

bool change_directory(const std::wstring& path, std::error_code* error) {
    return ::SetCurrentDirectoryW(path.c_str()) != 0 || fail_with_last_error(error);
}

bool set_hidden(const std::wstring& path, bool hidden, std::error_code* error) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return fail_with_last_error(error);
    if (((attributes & FILE_ATTRIBUTE_HIDDEN) != 0) == hidden)
        return true;
    DWORD wanted =
        hidden ? attributes | FILE_ATTRIBUTE_HIDDEN : attributes & ~DWORD{FILE_ATTRIBUTE_HIDDEN};
    if (wanted == 0)
        wanted = FILE_ATTRIBUTE_NORMAL;
    return ::SetFileAttributesW(path.c_str(), wanted) != 0 || fail_with_last_error(error);
}

bool file_version(const std::wstring& path, std::wstring& file, std::wstring& product) {
    DWORD ignored = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0)
        return false;
    std::vector<char> data(size);
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    if (!::GetFileVersionInfoW(path.c_str(), 0, size, data.data()) ||
        !::VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&fixed), &length) ||
        fixed == nullptr || length < sizeof(VS_FIXEDFILEINFO))
        return false;
    file = version_text(fixed->dwFileVersionMS, fixed->dwFileVersionLS);
    product = version_text(fixed->dwProductVersionMS, fixed->dwProductVersionLS);
    return true;
}

} // namespace qel::platform
