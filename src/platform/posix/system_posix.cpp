// Facts about the machine from uname, /proc and /etc/os-release; the user from the password
// and group databases; shared libraries through dlopen; the counter is CLOCK_MONOTONIC.
#include "platform/system.h"

#include "platform/codepage.h"
#include "platform/posix/path_posix.h"

#include <dlfcn.h>
#include <grp.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

namespace qel::platform {
namespace {

std::wstring wide(const std::string& text) {
    std::wstring out;
    multibyte_to_wide(utf8_codepage, text.data(), text.size(), out);
    return out;
}

std::string narrow(const std::wstring& text) {
    std::string out;
    wide_to_multibyte(utf8_codepage, text.data(), text.size(), out);
    return out;
}

// The value after "key" and its separator (':' or '=') on the first line that has it.
std::string file_value(const char* file, const std::string& key, char separator) {
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, key.size(), key) != 0)
            continue;
        std::size_t at = line.find_first_not_of(" \t", key.size());
        if (at == std::string::npos || line[at] != separator)
            continue;
        at = line.find_first_not_of(" \t", at + 1);
        return at == std::string::npos ? std::string() : line.substr(at);
    }
    return std::string();
}

// A /proc/meminfo amount in bytes.
std::uint64_t meminfo(const char* key) {
    const std::string value = file_value("/proc/meminfo", key, ':');
    return std::strtoull(value.c_str(), nullptr, 10) * 1024;
}

bool is_admin_group(gid_t gid) {
    const group* g = ::getgrgid(gid);
    if (!g)
        return false;
    const std::string name = g->gr_name;
    return name == "sudo" || name == "wheel" || name == "admin";
}

bool any_admin_group(const gid_t* groups, int count) {
    for (int i = 0; i < count; ++i)
        if (is_admin_group(groups[i]))
            return true;
    return false;
}

class dynamic_library_impl_posix_ final : public detail::dynamic_library_impl_ {
public:
    explicit dynamic_library_impl_posix_(const std::wstring& filename)
        : handle_(filename.empty()
                      ? nullptr
                      : ::dlopen(posix_path(filename).c_str(), RTLD_NOW | RTLD_LOCAL)) {}
    dynamic_library_impl_posix_(const dynamic_library_impl_posix_&) = delete;
    dynamic_library_impl_posix_& operator=(const dynamic_library_impl_posix_&) = delete;
    ~dynamic_library_impl_posix_() override {
        if (handle_)
            ::dlclose(handle_);
    }
    bool is_loaded() const override { return handle_ != nullptr; }
    void* get_addr(const char* name) const override {
        return handle_ && name ? ::dlsym(handle_, name) : nullptr;
    }

private:
    void* handle_;
};

} // namespace

std::wstring computer_name() {
    utsname names{};
    return ::uname(&names) == 0 ? wide(names.nodename) : std::wstring();
}

std::wstring user_name() {
    const passwd* user = ::getpwuid(::geteuid());
    return user ? wide(user->pw_name) : std::wstring();
}

bool user_is_admin() {
    const uid_t uid = ::geteuid();
    const passwd* user = ::getpwuid(uid);
    if (uid == 0 || !user)
        return uid == 0;
    const gid_t primary = user->pw_gid;
    const std::string name = user->pw_name;
    int count = 64;
    std::vector<gid_t> groups(static_cast<std::size_t>(count));
    if (::getgrouplist(name.c_str(), primary, groups.data(), &count) < 0) {
        groups.resize(static_cast<std::size_t>(count));
        if (::getgrouplist(name.c_str(), primary, groups.data(), &count) < 0)
            return false;
    }
    return any_admin_group(groups.data(), count);
}

bool process_is_admin() {
    if (::geteuid() == 0)
        return true;
    const int count = ::getgroups(0, nullptr);
    if (count <= 0)
        return is_admin_group(::getegid());
    std::vector<gid_t> groups(static_cast<std::size_t>(count));
    const int got = ::getgroups(count, groups.data());
    return is_admin_group(::getegid()) || (got > 0 && any_admin_group(groups.data(), got));
}

std::wstring processor_description() {
    return wide(file_value("/proc/cpuinfo", "model name", ':'));
}

int system_processor_count() {
    const long count = ::sysconf(_SC_NPROCESSORS_ONLN);
    return count > 0 ? static_cast<int>(count) : 0;
}

std::wstring os_name() {
    std::string name = file_value("/etc/os-release", "PRETTY_NAME", '=');
    if (name.size() >= 2 && (name.front() == '"' || name.front() == '\'') &&
        name.back() == name.front())
        name = name.substr(1, name.size() - 2);
    if (!name.empty())
        return wide(name);
    utsname names{};
    return ::uname(&names) == 0 ? wide(names.sysname) : std::wstring();
}

std::wstring os_version() {
    utsname names{};
    return ::uname(&names) == 0 ? wide(names.release) : std::wstring();
}

bool is_server_os() {
    return false; // Linux draws no line between server and workstation editions
}

std::uint32_t process_id() {
    return static_cast<std::uint32_t>(::getpid());
}

std::uint32_t thread_id() {
    return static_cast<std::uint32_t>(::gettid());
}

bool env_variable(const std::wstring& name, std::wstring& value) {
    const char* found = std::getenv(narrow(name).c_str());
    if (!found || !*found)
        return false;
    value = wide(found);
    return true;
}

bool expand_env_references(const std::wstring& text, std::wstring& expanded) {
    expanded.clear();
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t open = text.find(L'%', at);
        const std::size_t close =
            open == std::wstring::npos ? std::wstring::npos : text.find(L'%', open + 1);
        if (close == std::wstring::npos) {
            expanded.append(text, at, std::wstring::npos);
            break;
        }
        expanded.append(text, at, open - at);
        const char* value =
            close > open + 1 ? std::getenv(narrow(text.substr(open + 1, close - open - 1)).c_str())
                             : nullptr;
        if (value) {
            expanded += wide(value);
            at = close + 1;
        } else {
            // As on Windows: an unknown reference stays, and its closing % may open the next.
            expanded.append(text, open, close - open);
            at = close;
        }
    }
    return true;
}

void memory_status(memory_amounts& total, memory_amounts& available) {
    struct sysinfo facts {};
    if (::sysinfo(&facts) == 0) {
        const std::uint64_t unit = facts.mem_unit;
        total.physical_size = facts.totalram * unit;
        total.page_file_size = (facts.totalram + facts.totalswap) * unit;
        const std::uint64_t free_memory = meminfo("MemAvailable");
        available.physical_size = free_memory ? free_memory : facts.freeram * unit;
        available.page_file_size = available.physical_size + facts.freeswap * unit;
    }
    // The user half of the 48-bit address space, unless a limit is set.
    total.virtual_size = std::uint64_t{1} << 47;
    rlimit limit{};
    if (::getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY)
        total.virtual_size = limit.rlim_cur;
    const std::string size = file_value("/proc/self/status", "VmSize", ':');
    const std::uint64_t used = std::strtoull(size.c_str(), nullptr, 10) * 1024;
    available.virtual_size = used < total.virtual_size ? total.virtual_size - used : 0;
}

std::unique_ptr<detail::dynamic_library_impl_> load_library(const std::wstring& filename) {
    return std::make_unique<dynamic_library_impl_posix_>(filename);
}

std::int64_t counter_frequency() {
    return 1000000000;
}

std::int64_t counter_reading() {
    timespec now{};
    if (::clock_gettime(CLOCK_MONOTONIC, &now) != 0)
        return 0;
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

} // namespace qel::platform
