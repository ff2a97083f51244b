// Facts about the machine through the Win32 API and the registry; modules through
// LoadLibraryW; the counter is QueryPerformanceCounter.
#include "platform/system.h"

#include "platform/win/windows_api.h"

#include <lm.h>

#include <cerrno>
#include <cwchar>
#include <vector>

namespace qel::platform {
namespace {

// A procedure found at run time, as the function type it has.
template <class Function> Function procedure(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

class registry_key {
public:
    explicit registry_key(const wchar_t* name) {
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, name, 0, KEY_QUERY_VALUE, &key_) != ERROR_SUCCESS)
            key_ = nullptr;
    }
    registry_key(const registry_key&) = delete;
    registry_key& operator=(const registry_key&) = delete;
    ~registry_key() {
        if (key_)
            RegCloseKey(key_);
    }
    bool is_open() const { return key_ != nullptr; }

    // A REG_SZ value up to its first NUL; false when missing or of another type.
    bool text(const wchar_t* name, std::wstring& value) const {
        DWORD type = 0;
        DWORD size = 0;
        if (RegQueryValueExW(key_, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
            type != REG_SZ)
            return false;
        std::vector<wchar_t> buffer(size / sizeof(wchar_t) + 1, L'\0');
        if (RegQueryValueExW(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()),
                             &size) != ERROR_SUCCESS ||
            type != REG_SZ)
            return false;
        value = buffer.data();
        return true;
    }

    DWORD number(const wchar_t* name) const {
        DWORD type = 0;
        DWORD value = 0;
        DWORD size = sizeof value;
        if (RegQueryValueExW(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) !=
                ERROR_SUCCESS ||
            type != REG_DWORD)
            return 0;
        return value;
    }

private:
    HKEY key_ = nullptr;
};

// The version data, with Windows 8.1 and later told apart from the 6.2 that GetVersionExW
// reports to programs without a compatibility manifest.
OSVERSIONINFOEXW version_data() {
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof info;
    if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&info)))
        return info;
    if (info.dwPlatformId != VER_PLATFORM_WIN32_NT || info.dwMajorVersion != 6 ||
        info.dwMinorVersion != 2)
        return info;
    const registry_key key(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion");
    std::wstring current;
    std::wstring build;
    if (!key.is_open() || !key.text(L"CurrentVersion", current) ||
        !key.text(L"CurrentBuild", build))
        return info;
    info.dwMinorVersion = 3;
    wchar_t* end = nullptr;
    errno = 0;
    const unsigned long number = std::wcstoul(build.c_str(), &end, 10);
    if (!build.empty() && errno != ERANGE && *end == L'\0')
        info.dwBuildNumber = number;
    return info;
}

// Releases of Windows 6.x by minor version, workstation and server; minor 3 names two
// releases, told apart by the build number.
const wchar_t* release_name(DWORD minor, DWORD build, bool server) {
    static const wchar_t* const names[][2] = {{L"Vista", L"2008"},
                                              {L"7", L"2008 R2"},
                                              {L"8", L"2012"},
                                              {L"8.1", L"2014"},
                                              {L"10", L"2016"}};
    if (minor > 3)
        return L"";
    const DWORD row = minor == 3 && build >= 10000 ? 4 : minor;
    return names[row][server ? 1 : 0];
}

class dynamic_library_impl_win_ final : public detail::dynamic_library_impl_ {
public:
    explicit dynamic_library_impl_win_(const std::wstring& filename)
        : module_(LoadLibraryW(filename.c_str())) {}
    dynamic_library_impl_win_(const dynamic_library_impl_win_&) = delete;
    dynamic_library_impl_win_& operator=(const dynamic_library_impl_win_&) = delete;
    ~dynamic_library_impl_win_() override {
        if (module_)
            FreeLibrary(module_);
    }
    bool is_loaded() const override { return module_ != nullptr; }
    void* get_addr(const char* name) const override {
        return module_ ? reinterpret_cast<void*>(GetProcAddress(module_, name)) : nullptr;
    }

private:
    HMODULE module_;
};

} // namespace

std::wstring computer_name() {
    wchar_t buffer[16];
    DWORD size = 16;
    return GetComputerNameW(buffer, &size) ? std::wstring(buffer, size) : std::wstring();
}

std::wstring user_name() {
    wchar_t buffer[256];
    DWORD size = 256;
    return GetUserNameW(buffer, &size) ? std::wstring(buffer) : std::wstring();
}

bool user_is_admin() {
    wchar_t name[256] = {};
    DWORD size = 256;
    GetUserNameW(name, &size);
    HMODULE netapi = LoadLibraryW(L"NETAPI32.DLL");
    if (!netapi)
        return true;
    using get_info_t = NET_API_STATUS(WINAPI*)(LPCWSTR, LPCWSTR, DWORD, LPBYTE*);
    using free_t = NET_API_STATUS(WINAPI*)(LPVOID);
    const auto get_info = procedure<get_info_t>(netapi, "NetUserGetInfo");
    const auto free_buffer = procedure<free_t>(netapi, "NetApiBufferFree");
    bool admin = true;
    if (get_info && free_buffer) {
        LPBYTE buffer = nullptr;
        if (get_info(nullptr, name, 1, &buffer) != NERR_Success) {
            admin = false;
        } else {
            admin = reinterpret_cast<USER_INFO_1*>(buffer)->usri1_priv == USER_PRIV_ADMIN;
        }
        if (buffer)
            free_buffer(buffer);
    }
    FreeLibrary(netapi);
    return admin;
}

bool process_is_admin() {
    SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
    PSID administrators = nullptr;
    if (!AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID,
                                  DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0, &administrators))
        return false;
    using check_t = BOOL(WINAPI*)(HANDLE, PSID, PBOOL);
    BOOL member = FALSE;
    if (const auto check =
            procedure<check_t>(GetModuleHandleW(L"advapi32.dll"), "CheckTokenMembership"))
        check(nullptr, administrators, &member);
    FreeSid(administrators);
    return member != FALSE;
}

std::wstring processor_description() {
    const registry_key key(L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0");
    if (!key.is_open())
        return std::wstring();
    std::wstring name;
    if (key.text(L"ProcessorNameString", name))
        return name;
    std::wstring vendor;
    std::wstring identifier;
    key.text(L"VendorIdentifier", vendor);
    key.text(L"Identifier", identifier);
    return vendor + L" " + std::to_wstring(key.number(L"~MHz")) + L" MHz (" + identifier + L")";
}

int system_processor_count() {
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    return static_cast<int>(info.dwNumberOfProcessors);
}

std::wstring os_name() {
    const OSVERSIONINFOEXW info = version_data();
    if (info.dwPlatformId != VER_PLATFORM_WIN32_NT)
        return std::wstring();
    std::wstring name = L"Windows ";
    const DWORD major = info.dwMajorVersion;
    const DWORD minor = info.dwMinorVersion;
    if (major == 3 || major == 4) {
        name += L"NT";
    } else if (major == 5) {
        name += minor == 0 ? L"2000" : minor == 1 ? L"XP" : minor == 2 ? L"Server 2003" : L"";
    } else if (major == 6) {
        const bool server = info.wProductType != VER_NT_WORKSTATION;
        name += server ? L"Server " : L"";
        name += release_name(minor, info.dwBuildNumber, server);
    }
    if (info.szCSDVersion[0] != L'\0')
        name += std::wstring(L" ") + info.szCSDVersion;
    return name;
}

std::wstring os_version() {
    const OSVERSIONINFOEXW info = version_data();
    if (info.dwPlatformId != VER_PLATFORM_WIN32_NT)
        return std::wstring();
    return std::to_wstring(info.dwMajorVersion) + L"." + std::to_wstring(info.dwMinorVersion) +
           L"." + std::to_wstring(info.dwBuildNumber);
}

bool is_server_os() {
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof info;
    return GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&info)) &&
           info.wProductType != VER_NT_WORKSTATION;
}

std::uint32_t process_id() {
    return GetCurrentProcessId();
}

std::uint32_t thread_id() {
    return GetCurrentThreadId();
}

bool env_variable(const std::wstring& name, std::wstring& value) {
    const DWORD size = GetEnvironmentVariableW(name.c_str(), nullptr, 0);
    if (size == 0)
        return false;
    std::vector<wchar_t> buffer(size);
    const DWORD length = GetEnvironmentVariableW(name.c_str(), buffer.data(), size);
    if (length == 0 || length >= size)
        return false;
    value.assign(buffer.data(), length);
    return true;
}

bool expand_env_references(const std::wstring& text, std::wstring& expanded) {
    const DWORD size = ExpandEnvironmentStringsW(text.c_str(), nullptr, 0);
    if (size == 0)
        return false;
    std::vector<wchar_t> buffer(size);
    const DWORD written = ExpandEnvironmentStringsW(text.c_str(), buffer.data(), size);
    if (written == 0 || written > size)
        return false;
    expanded.assign(buffer.data(), written - 1);
    return true;
}

void memory_status(memory_amounts& total, memory_amounts& available) {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    GlobalMemoryStatusEx(&status);
    total = {status.ullTotalVirtual, status.ullTotalPhys, status.ullTotalPageFile};
    available = {status.ullAvailVirtual, status.ullAvailPhys, status.ullAvailPageFile};
}

std::unique_ptr<detail::dynamic_library_impl_> load_library(const std::wstring& filename) {
    return std::make_unique<dynamic_library_impl_win_>(filename);
}

std::int64_t counter_frequency() {
    LARGE_INTEGER frequency{};
    return QueryPerformanceFrequency(&frequency) ? frequency.QuadPart : 0;
}

std::int64_t counter_reading() {
    LARGE_INTEGER now{};
    return QueryPerformanceCounter(&now) ? now.QuadPart : 0;
}

} // namespace qel::platform
