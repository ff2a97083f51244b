// Crash-safe saving of a profile's lines.
#pragma once

#include <qel/text_encoding.h>

#include <string>
#include <vector>

namespace qel::detail {

// Writes the lines to a temporary file beside `name`, then puts it in place of `name` in
// one step. A target that exists but cannot be written, or a folder that cannot take the
// temporary file, leaves everything as it was.
void save_profile_lines_(const std::wstring& name, const std::vector<std::wstring>& lines,
                         const text_encoding& encoding);

// Test seam: called once the temporary file is complete, before it replaces the target.
extern void (*profile_before_replace_)(const std::wstring& temporary);

} // namespace qel::detail
