#include "platform/posix/path_posix.h"

#include "core/utf8.h"

#include <algorithm>
#include <string_view>

namespace qel::platform {

std::string posix_path(const std::wstring& name) {
    std::string path = detail::to_utf8(name);
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

bool is_dot_name(const std::wstring& name) {
    std::wstring_view trimmed = name;
    while (trimmed.size() > 1 && (trimmed.back() == L'/' || trimmed.back() == L'\\'))
        trimmed.remove_suffix(1);
    const auto slash = trimmed.find_last_of(L"/\\");
    const auto last = trimmed.substr(slash == std::wstring_view::npos ? 0 : slash + 1);
    return !last.empty() && last.front() == L'.' && last != L"." && last != L"..";
}

} // namespace qel::platform
