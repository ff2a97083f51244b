// Shared libraries held by an owning object; the platform module releases itself.
#include <qel/dynamic_library.h>

#include "platform/system.h"

#include <utility>

namespace qel {

detail::dynamic_library_impl_::~dynamic_library_impl_() = default;

dynamic_library::dynamic_library() = default;

dynamic_library::dynamic_library(const std::wstring& filename, E_DynamicLoad mode)
    : filename_(filename) {
    if (mode == dynamic_load_now)
        load();
}

dynamic_library::dynamic_library(dynamic_library&& other) noexcept
    : filename_(std::exchange(other.filename_, std::wstring())), module_(std::move(other.module_)) {
}

dynamic_library& dynamic_library::operator=(dynamic_library&& other) noexcept {
    if (this != &other) {
        filename_ = std::exchange(other.filename_, std::wstring());
        module_ = std::move(other.module_);
    }
    return *this;
}

dynamic_library::~dynamic_library() = default;

bool dynamic_library::load() {
    // The new module is loaded before the old one goes.
    auto loaded = platform::load_library(filename_);
    module_ = std::move(loaded);
    return is_loaded();
}

bool dynamic_library::load(const std::wstring& filename) {
    filename_ = filename;
    return load();
}

bool dynamic_library::is_loaded() const {
    return module_ && module_->is_loaded();
}

void dynamic_library::free() {
    module_.reset();
}

void* dynamic_library::get_addr(const char* name) const {
    return module_ ? module_->get_addr(name) : nullptr;
}

} // namespace qel
