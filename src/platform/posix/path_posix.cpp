#include "platform/posix/path_posix.h"

#include "core/utf8.h"

#include <algorithm>

namespace qel::platform {

std::string posix_path(const std::wstring& name) {
    std::string path = detail::to_utf8(name);
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

bool is_dot_name(const std::wstring& name) {
    std::wstring trimmed = name;
    while (trimmed.size() > 1 && (trimmed.back() == L'/' || trimmed.back() == L'\\'))
        trimmed.pop_back();
    auto slash = trimmed.find_last_of(L"/\\");
    std::size_t start = slash == std::wstring::npos ? 0 : slash + 1;
    return start < trimmed.size() && trimmed[start] == L'.' && trimmed.substr(start) != L"." &&
           trimmed.substr(start) != L"..";
}

} // namespace qel::platform
