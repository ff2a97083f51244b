// Facts about the machine and the process, and the stopwatch. Each query asks the system at
// the moment of the call; nothing is cached but the counter's frequency.
#include <qel/sysinfo.h>

#include "platform/system.h"

namespace qel {

std::wstring get_system_name() {
    return platform::computer_name();
}

std::wstring get_current_user_name() {
    return platform::user_name();
}

bool is_current_user_admin() {
    return platform::user_is_admin();
}

bool is_current_process_admin() {
    return platform::process_is_admin();
}

std::wstring get_processor_description() {
    return platform::processor_description();
}

int get_processors_number() {
    const int count = platform::system_processor_count();
    return count > 0 ? count : 1;
}

std::wstring get_os_name() {
    return platform::os_name();
}

std::wstring get_os_version() {
    return platform::os_version();
}

std::wstring get_os_xbit() {
    return L"x64";
}

std::wstring get_os_description() {
    return get_os_name() + L" " + get_os_version() + L" (" + get_os_xbit() + L")";
}

bool is_server_os() {
    return platform::is_server_os();
}

std::uint32_t get_current_process_id() {
    return platform::process_id();
}

std::uint32_t get_current_thread_id() {
    return platform::thread_id();
}

bool get_env_variable(const std::wstring& name, std::wstring& value) {
    std::wstring raw;
    if (!platform::env_variable(name, raw))
        return false;
    if (raw.find(L'%') == std::wstring::npos) {
        value = std::move(raw);
        return true;
    }
    std::wstring expanded;
    if (!platform::expand_env_references(raw, expanded))
        return false;
    value = std::move(expanded);
    return true;
}

void get_memory_info(memory_info& total, memory_info& available) {
    platform::memory_amounts all;
    platform::memory_amounts free;
    platform::memory_status(all, free);
    total = {all.virtual_size, all.physical_size, all.page_file_size};
    available = {free.virtual_size, free.physical_size, free.page_file_size};
}

// ---- Stopwatch

namespace {

// Read once while the library loads; 1 when the system has no counter.
const std::int64_t counter_frequency = [] {
    const std::int64_t frequency = platform::counter_frequency();
    return frequency > 0 ? frequency : std::int64_t{1};
}();

// reading - mark in 64-bit two's complement: wraps rather than overflows.
double seconds(std::int64_t reading, std::int64_t mark) {
    const auto ticks = static_cast<std::int64_t>(static_cast<std::uint64_t>(reading) -
                                                 static_cast<std::uint64_t>(mark));
    return static_cast<double>(ticks) / static_cast<double>(counter_frequency);
}

} // namespace

std::int64_t start_watch() {
    return platform::counter_reading();
}

double next_watch(std::int64_t& mark) {
    const std::int64_t now = platform::counter_reading();
    const double elapsed = seconds(now, mark);
    mark = now;
    return elapsed;
}

double stop_watch(std::int64_t mark) {
    return seconds(platform::counter_reading(), mark);
}

} // namespace qel
