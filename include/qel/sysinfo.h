// Facts about the machine, the operating system and the calling process, read from the system
// at each call; and a stopwatch over the high-resolution counter. Nothing here throws for a
// failure of the system: queries give empty text, false or 0.
#pragma once

#include <cstdint>
#include <qel/export.h>
#include <string>

namespace qel {

// Amounts in bytes. virtual_size is the user-mode address space, page_file_size the commit
// limit (physical memory plus page files or swap).
struct memory_info {
    std::uint64_t virtual_size = 0;
    std::uint64_t physical_size = 0;
    std::uint64_t page_file_size = 0;
};

QEL_API std::wstring get_system_name();
QEL_API std::wstring get_current_user_name();
// Windows: the account's privilege level, true when the network management library cannot
// be used. Linux: uid 0 or a member of the group sudo, wheel or admin.
QEL_API bool is_current_user_admin();
// Windows: the thread's token is in the Administrators group. Linux: euid 0 or one of the
// process's groups is sudo, wheel or admin.
QEL_API bool is_current_process_admin();
// The processor's marketing name as the system stores it, blanks included.
QEL_API std::wstring get_processor_description();
// At least 1.
QEL_API int get_processors_number();
// "Windows 10" and the like; on Linux the distribution's PRETTY_NAME.
QEL_API std::wstring get_os_name();
// "major.minor.build" on Windows, the kernel release on Linux.
QEL_API std::wstring get_os_version();
// Always "x64".
QEL_API std::wstring get_os_xbit();
// Name, blank, version, " (x64)".
QEL_API std::wstring get_os_description();
QEL_API bool is_server_os();
QEL_API std::uint32_t get_current_process_id();
QEL_API std::uint32_t get_current_thread_id();
// The variable's value with %NAME% references expanded. False, and `value` unchanged, when
// the variable is missing or empty.
QEL_API bool get_env_variable(const std::wstring& name, std::wstring& value);
QEL_API void get_memory_info(memory_info& total, memory_info& available);

// Stopwatch over the high-resolution counter.

// A mark: the counter's raw reading (0 when it cannot be read).
QEL_API std::int64_t start_watch();
// Seconds since `mark`; the mark moves to now, for lap times.
QEL_API double next_watch(std::int64_t& mark);
// Seconds since `mark`.
QEL_API double stop_watch(std::int64_t mark);

} // namespace qel
