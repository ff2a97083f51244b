// The line rules of profile files, shared by the profile index and visit_profile.
#pragma once

#include <string>
#include <string_view>

namespace qel::detail {

enum class profile_line { skipped, section, key, unrecognised };

inline bool is_profile_blank(wchar_t c) {
    return c == L' ' || c == L'\t';
}

inline std::wstring_view trim_profile_blanks(std::wstring_view text) {
    std::size_t first = 0;
    std::size_t last = text.size();
    while (first < last && is_profile_blank(text[first]))
        ++first;
    while (last > first && is_profile_blank(text[last - 1]))
        --last;
    return text.substr(first, last - first);
}

// Classifies one line; name and value are set for headers (name) and key lines (both).
inline profile_line classify_profile_line(std::wstring_view line, std::wstring_view& name,
                                          std::wstring_view& value) {
    if (line.empty() || line[0] == L';')
        return profile_line::skipped;
    std::size_t p = 0;
    while (p < line.size() && is_profile_blank(line[p]))
        ++p;
    if (p == line.size())
        return profile_line::skipped;
    if (line[p] == L'[') {
        const std::size_t close = line.find(L']', p + 1);
        if (close != std::wstring_view::npos) {
            name = trim_profile_blanks(line.substr(p + 1, close - p - 1));
            return profile_line::section;
        }
    }
    const std::size_t equals = line.find(L'=', p);
    if (equals == std::wstring_view::npos || equals == p)
        return profile_line::unrecognised;
    name = trim_profile_blanks(line.substr(p, equals - p));
    value = trim_profile_blanks(line.substr(equals + 1));
    return profile_line::key;
}

} // namespace qel::detail
