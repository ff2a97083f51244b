// Shared pieces of the path functions: the comparison key and the component split.
#pragma once

#include "platform/fs.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qel::detail {

inline bool is_separator_(wchar_t c) {
    return c == L'\\' || c == L'/';
}

const platform::path_rules& path_rules_();

// Slashes as backslashes, letters lowered where the system ignores their case; positions stay.
std::wstring path_key_(const std::wstring& path);

struct path_piece_ {
    std::size_t begin;
    std::size_t end;
    std::size_t size() const { return end - begin; }
};
// The components: the text between separators, empty ones dropped.
std::vector<path_piece_> path_pieces_(std::wstring_view text);

enum class path_root_ { none, unc, drive, slash };
// `unc_as_written` asks for two backslashes where the system writes backslashes, as the
// canonical forms do; keys take two of either separator.
path_root_ root_of_(std::wstring_view text, const std::vector<path_piece_>& pieces,
                    bool unc_as_written);

} // namespace qel::detail
