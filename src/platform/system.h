// Facts about the machine and the process, shared libraries and the high-resolution counter.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace qel::detail {

// One loaded module; the destructor releases it.
class dynamic_library_impl_ {
public:
    virtual ~dynamic_library_impl_();
    // False when loading failed.
    virtual bool is_loaded() const = 0;
    virtual void* get_addr(const char* name) const = 0;
};

} // namespace qel::detail

namespace qel::platform {

// Empty text, false or 0 on failure everywhere.
std::wstring computer_name();
std::wstring user_name();
bool user_is_admin();
bool process_is_admin();
std::wstring processor_description();
// As the system reports it (GetSystemInfo, online processors); 0 when it does not say.
int system_processor_count();
std::wstring os_name();
std::wstring os_version();
bool is_server_os();
std::uint32_t process_id();
std::uint32_t thread_id();
// The raw value; false when the variable is missing or empty.
bool env_variable(const std::wstring& name, std::wstring& value);
// %NAME% references replaced by the variables' values; unknown names stay as they are.
bool expand_env_references(const std::wstring& text, std::wstring& expanded);

struct memory_amounts {
    std::uint64_t virtual_size = 0, physical_size = 0, page_file_size = 0;
};
void memory_status(memory_amounts& total, memory_amounts& available);

// Never null; a module that did not load answers is_loaded() with false.
std::unique_ptr<detail::dynamic_library_impl_> load_library(const std::wstring& filename);

// Ticks per second, 0 when the system has no counter; and one reading, 0 on failure.
std::int64_t counter_frequency();
std::int64_t counter_reading();

} // namespace qel::platform
