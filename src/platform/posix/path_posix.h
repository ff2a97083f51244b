// Wide Windows-style names as the POSIX system wants them.
#pragma once

#include <string>

namespace qel::platform {

// UTF-8 with every backslash turned into a slash.
std::string posix_path(const std::wstring& name);
// The last component starts with a dot.
bool is_dot_name(const std::wstring& name);

} // namespace qel::platform
