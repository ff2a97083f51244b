// Shared libraries loaded by name and kept loaded while an object holds them.
#pragma once

#include <memory>
#include <qel/export.h>
#include <string>

namespace qel {

namespace detail {
class dynamic_library_impl_;
} // namespace detail

enum E_DynamicLoad { dynamic_load_now = 0, dynamic_load_later = 1 };

// A shared library kept loaded while the object holds it. Failures show as is_loaded() false
// and null addresses; the system's reason is not kept.
class QEL_API dynamic_library {
public:
    dynamic_library();
    // dynamic_load_now loads at once; check with is_loaded().
    dynamic_library(const std::wstring& filename, E_DynamicLoad mode);
    // The other is left unloaded with an empty name.
    dynamic_library(dynamic_library&& other) noexcept;
    dynamic_library& operator=(dynamic_library&& other) noexcept;
    dynamic_library(const dynamic_library&) = delete;
    dynamic_library& operator=(const dynamic_library&) = delete;
    ~dynamic_library();

    // Loads the name again before releasing the module held so far, so a library loaded
    // twice stays mapped throughout.
    bool load();
    bool load(const std::wstring& filename);
    bool is_loaded() const;
    void free();
    // Null when not loaded or when the library has no such symbol.
    void* get_addr(const char* name) const;
    const std::wstring& filename() const { return filename_; }

private:
    std::wstring filename_;
    std::unique_ptr<detail::dynamic_library_impl_> module_;
};

} // namespace qel
