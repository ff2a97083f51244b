// Path text: splitting, joining, comparing and the canonical forms. Only normalize_path,
// equivalent_path and the two searches ask the file system.
#include "fs/path_text.h"

#include "platform/fs.h"

#include <qel/fs.h>

#include <algorithm>
#include <cwctype>

namespace qel {
namespace detail {

const platform::path_rules& path_rules_() {
    static const platform::path_rules rules = platform::native_path_rules();
    return rules;
}

std::wstring path_key_(const std::wstring& path) {
    std::wstring key = path;
    std::replace(key.begin(), key.end(), L'/', L'\\');
    if (!path_rules_().case_sensitive)
        platform::lower_path_key(key);
    return key;
}

std::vector<path_piece_> path_pieces_(std::wstring_view text) {
    std::vector<path_piece_> pieces;
    std::size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && is_separator_(text[i]))
            ++i;
        const std::size_t begin = i;
        while (i < text.size() && !is_separator_(text[i]))
            ++i;
        if (i > begin)
            pieces.push_back({begin, i});
    }
    return pieces;
}

path_root_ root_of_(std::wstring_view text, const std::vector<path_piece_>& pieces,
                    bool unc_as_written) {
    const bool unc = text.size() >= 2 && (unc_as_written && !path_rules_().slash_root
                                              ? text[0] == L'\\' && text[1] == L'\\'
                                              : is_separator_(text[0]) && is_separator_(text[1]));
    if (unc && !pieces.empty())
        return path_root_::unc;
    if (path_rules_().slash_root && !text.empty() && is_separator_(text[0]))
        return path_root_::slash;
    if (!pieces.empty() && pieces[0].size() == 2 && text[pieces[0].begin + 1] == L':')
        return path_root_::drive;
    return path_root_::none;
}

} // namespace detail

namespace {

using detail::is_separator_;
using detail::path_piece_;
using detail::path_root_;

wchar_t separator() {
    return detail::path_rules_().separator;
}

// Where the system writes slashes, no backslash of the input survives in a result.
std::wstring native(std::wstring text) {
    if (separator() != L'\\')
        std::replace(text.begin(), text.end(), L'\\', separator());
    return text;
}

std::wstring_view view(const std::wstring& text, const path_piece_& piece) {
    return std::wstring_view(text).substr(piece.begin, piece.size());
}

bool is_dot(std::wstring_view piece) {
    return piece == L".";
}

bool is_dot_dot(std::wstring_view piece) {
    return piece == L"..";
}

// The root of an absolute key as far as two paths must share it to be related: the first
// component, be it a drive or a server.
std::wstring root_key(const std::wstring& key, const std::vector<path_piece_>& pieces) {
    switch (detail::root_of_(key, pieces, false)) {
    case path_root_::unc:
    case path_root_::drive:
        return std::wstring(view(key, pieces[0]));
    case path_root_::slash:
        return L"\\";
    case path_root_::none:
        break;
    }
    return L"";
}

// Trailing separators removed, but a lone root "/" stays.
std::wstring trim_trailing(const std::wstring& text) {
    std::size_t end = text.size();
    while (end > 0 && is_separator_(text[end - 1]))
        --end;
    if (end == 0 && !text.empty() && detail::path_rules_().slash_root)
        return std::wstring(1, separator());
    return text.substr(0, end);
}

std::vector<std::wstring> split_list(const std::wstring& list, wchar_t sep) {
    std::vector<std::wstring> entries;
    std::size_t begin = 0;
    while (begin <= list.size()) {
        std::size_t end = list.find(sep, begin);
        if (end == std::wstring::npos)
            end = list.size();
        if (end > begin)
            entries.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return entries;
}

bool resolve_entry(const std::wstring& base, const std::wstring& entry, std::wstring& dir) {
    if (entry == L".") {
        dir = base;
        return true;
    }
    return get_absolute_path(base, entry, dir);
}

} // namespace

bool is_absolute_path(const std::wstring& path) {
    const std::wstring key = detail::path_key_(path);
    const auto pieces = detail::path_pieces_(key);
    if (key.size() >= 2 && key[0] == L'\\' && key[1] == L'\\')
        return true;
    return detail::root_of_(key, pieces, false) != path_root_::none;
}

bool is_relative_path(const std::wstring& path) {
    return !is_absolute_path(path);
}

bool is_sub_path(const std::wstring& parent, const std::wstring& path) {
    const std::wstring parent_key = detail::path_key_(parent);
    const std::wstring path_key = detail::path_key_(path);
    const auto outer = detail::path_pieces_(parent_key);
    const auto inner = detail::path_pieces_(path_key);
    if (outer.size() > inner.size())
        return false;
    for (std::size_t i = 0; i < outer.size(); ++i)
        if (view(parent_key, outer[i]) != view(path_key, inner[i]))
            return false;
    return true;
}

bool is_canonical_path(const std::wstring& path) {
    // Components only: a drive or server name counts as an ordinary one, a lone root as none.
    bool other_seen = false;
    for (const auto& piece : detail::path_pieces_(path)) {
        const auto text = view(path, piece);
        if (is_dot(text))
            return false;
        if (is_dot_dot(text)) {
            if (other_seen)
                return false;
        } else {
            other_seen = true;
        }
    }
    return true;
}

void canonicalize_path(std::wstring& path) {
    const auto pieces = detail::path_pieces_(path);
    if (pieces.empty())
        return;
    const path_root_ root = detail::root_of_(path, pieces, true);
    std::wstring result;
    std::size_t first = 0;
    if (root == path_root_::unc)
        result.assign(2, separator());
    if (root == path_root_::unc || root == path_root_::drive) {
        result += view(path, pieces[0]);
        first = 1;
    } else if (root == path_root_::slash) {
        result = separator();
    }
    // Ordinary components met so far; a root counts as one, so ".." never climbs above it.
    bool ordinary_met = root != path_root_::none;
    std::vector<std::wstring_view> kept;
    for (std::size_t i = first; i < pieces.size(); ++i) {
        const auto text = view(path, pieces[i]);
        if (is_dot(text))
            continue;
        if (is_dot_dot(text)) {
            if (!ordinary_met)
                kept.push_back(text);
            else if (!kept.empty())
                kept.pop_back();
            continue;
        }
        kept.push_back(text);
        ordinary_met = true;
    }
    bool need_separator = root == path_root_::unc || root == path_root_::drive;
    for (const auto& text : kept) {
        if (need_separator)
            result += separator();
        result += text;
        need_separator = true;
    }
    path = std::move(result);
}

std::wstring make_canonical_path(const std::wstring& path) {
    std::wstring copy = path;
    canonicalize_path(copy);
    return copy;
}

void normalize_path(std::wstring& path) {
    if (path.empty() || !is_absolute_path(path))
        return;
    const auto pieces = detail::path_pieces_(path);
    if (pieces.empty())
        return;
    const path_root_ root = detail::root_of_(path, pieces, true);
    std::wstring result;
    std::size_t first = 0;
    if (root == path_root_::unc) {
        result.assign(2, separator());
        result += view(path, pieces[0]);
        first = 1;
    } else if (root == path_root_::drive) {
        result +=
            static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(path[pieces[0].begin])));
        result += L':';
        first = 1;
    }
    bool found = true;
    for (std::size_t i = first; i < pieces.size(); ++i) {
        result += separator();
        const std::wstring component(view(path, pieces[i]));
        if (found) {
            // The system's spelling of the name; a wildcard component takes the first match.
            std::wstring stored;
            found = platform::first_match(result + component, stored);
            result += found ? stored : component;
        } else {
            result += component;
        }
    }
    path = std::move(result);
}

std::wstring make_normal_path(const std::wstring& path) {
    std::wstring copy = path;
    normalize_path(copy);
    return copy;
}

bool get_relative_path(const std::wstring& base, const std::wstring& path, std::wstring& result) {
    const std::wstring base_key = detail::path_key_(base);
    const std::wstring path_key = detail::path_key_(path);
    const auto from = detail::path_pieces_(base_key);
    const auto to = detail::path_pieces_(path_key);
    const bool base_absolute = is_absolute_path(base);
    if (from.empty() || to.empty() || base_absolute != is_absolute_path(path)) {
        result.clear();
        return false;
    }
    if (base_absolute && root_key(base_key, from) != root_key(path_key, to)) {
        result = native(path);
        return true;
    }
    std::size_t common = 0;
    while (common < from.size() && common < to.size() &&
           view(base_key, from[common]) == view(path_key, to[common]))
        ++common;
    std::wstring out;
    for (std::size_t i = common; i < from.size(); ++i) {
        if (!out.empty())
            out += separator();
        out += L"..";
    }
    if (common < to.size()) {
        if (!out.empty())
            out += separator();
        out.append(path, to[common].begin, std::wstring::npos);
    }
    result = native(std::move(out));
    return true;
}

bool get_absolute_path(const std::wstring& base, const std::wstring& path, std::wstring& result) {
    const std::wstring base_key = detail::path_key_(base);
    if (detail::path_pieces_(base_key).empty()) {
        result.clear();
        return false;
    }
    if (is_absolute_path(path)) {
        result = native(path);
        return true;
    }
    const auto pieces = detail::path_pieces_(path);
    std::size_t up = 0;
    std::size_t stay = 0;
    for (const auto& piece : pieces) {
        const auto text = view(path, piece);
        if (is_dot_dot(text))
            ++up;
        else if (is_dot(text))
            ++stay;
        else
            break;
    }
    if (up == 0) {
        std::wstring out = base;
        if (!path.empty()) {
            if (!is_separator_(base.back()) && !is_separator_(path.front()))
                out += separator();
            out += path;
        }
        result = native(std::move(out));
        return true;
    }
    // The separator `up` levels above the end of base, and the one ending the dot components.
    std::size_t rank = up + (base_key.back() == L'\\' ? 1 : 0);
    std::size_t cut = std::wstring::npos;
    for (std::size_t i = base_key.size(); i-- > 0;)
        if (base_key[i] == L'\\' && --rank == 0) {
            cut = i;
            break;
        }
    rank = up + stay + (is_separator_(path.front()) ? 1 : 0);
    std::size_t rest = std::wstring::npos;
    for (std::size_t i = 0; i < path.size(); ++i)
        if (is_separator_(path[i]) && --rank == 0) {
            rest = i + 1;
            break;
        }
    if (cut == std::wstring::npos || rest == std::wstring::npos) {
        result.clear();
        return false;
    }
    result = native(base.substr(0, cut + 1) + path.substr(rest));
    return true;
}

void make_path(const std::wstring& dir, const std::wstring& name, const std::wstring& ext,
               std::wstring& result) {
    std::wstring out = dir;
    if (!out.empty() && !is_separator_(out.back()))
        out += separator();
    out += name;
    if (!ext.empty()) {
        if (ext.front() != L'.')
            out += L'.';
        out += ext;
    }
    result = native(std::move(out));
}

std::wstring make_path(const std::wstring& dir, const std::wstring& name, const std::wstring& ext) {
    std::wstring result;
    make_path(dir, name, ext, result);
    return result;
}

void split_path(const std::wstring& path, std::wstring& dir, std::wstring& name,
                std::wstring& ext) {
    const std::size_t drive = path.size() >= 2 && path[1] == L':' ? 2 : 0;
    const std::size_t last = path.find_last_of(L"\\/");
    const std::size_t start = last == std::wstring::npos || last < drive ? drive : last + 1;
    const std::size_t dot = path.rfind(L'.');
    const std::size_t name_end = dot == std::wstring::npos || dot < start ? path.size() : dot;
    std::wstring out_dir = path.substr(0, start);
    std::wstring out_name = path.substr(start, name_end - start);
    std::wstring out_ext = path.substr(name_end);
    dir = native(std::move(out_dir));
    name = std::move(out_name);
    ext = std::move(out_ext);
}

void concat_path(const std::wstring& left, const std::wstring& right, std::wstring& result) {
    std::size_t begin = 0;
    while (begin < right.size() && is_separator_(right[begin]))
        ++begin;
    std::size_t end = left.size();
    while (end > 0 && is_separator_(left[end - 1]))
        --end;
    std::wstring out;
    out.reserve(end + 1 + right.size() - begin);
    if (end == 0 && !left.empty() && detail::path_rules_().slash_root)
        out = separator(); // the root stays
    else
        out.append(left, 0, end);
    if (begin < right.size()) {
        if (!out.empty() && !is_separator_(out.back()))
            out += separator();
        out.append(right, begin, std::wstring::npos);
    }
    result = native(std::move(out));
}

std::wstring concat_path(const std::wstring& left, const std::wstring& right) {
    std::wstring result;
    concat_path(left, right, result);
    return result;
}

bool equal_path(const std::wstring& a, const std::wstring& b) {
    return detail::path_key_(a) == detail::path_key_(b);
}

bool equivalent_path(const std::wstring& a, const std::wstring& b) {
    if (equal_path(a, b))
        return true;
    const auto first = platform::identity_of(a);
    const auto second = first ? platform::identity_of(b) : std::nullopt;
    return second && *first == *second;
}

std::wstring extract_dir(const std::wstring& path) {
    std::wstring dir, name, ext;
    split_path(path, dir, name, ext);
    return trim_trailing(dir);
}

std::wstring extract_name(const std::wstring& path) {
    std::wstring dir, name, ext;
    split_path(path, dir, name, ext);
    return name;
}

std::wstring extract_ext(const std::wstring& path) {
    std::wstring dir, name, ext;
    split_path(path, dir, name, ext);
    return ext;
}

std::wstring extract_name_ext(const std::wstring& path) {
    std::wstring dir, name, ext;
    split_path(path, dir, name, ext);
    return name + ext;
}

std::wstring force_extension(const std::wstring& path, const std::wstring& ext) {
    std::wstring dir, name, old_ext;
    split_path(path, dir, name, old_ext);
    return make_path(dir, name, ext);
}

std::wstring remove_extension(const std::wstring& path) {
    return force_extension(path, std::wstring());
}

std::wstring default_extension(const std::wstring& path, const std::wstring& ext) {
    return has_extension(path) ? path : force_extension(path, ext);
}

bool has_extension(const std::wstring& path) {
    return !extract_ext(path).empty();
}

bool find_file_by_dir_list(const std::wstring& name, const std::wstring& base,
                           const std::wstring& dir_list, wchar_t separator_char,
                           std::wstring& result) {
    result.clear();
    if (dir_list.empty() || name.empty())
        return false;
    bool first = true;
    for (const auto& entry : split_list(dir_list, separator_char)) {
        std::wstring dir, candidate;
        const bool made =
            resolve_entry(base, entry, dir) && get_absolute_path(dir, name, candidate);
        if (made && first)
            result = candidate;
        first = false;
        if (made && file_exists(candidate)) {
            result = candidate;
            return true;
        }
    }
    return false;
}

bool find_dir_by_dir_list(const std::wstring& path, const std::wstring& base,
                          const std::wstring& dir_list, wchar_t separator_char,
                          std::wstring& result) {
    result.clear();
    std::wstring absolute;
    if (dir_list.empty() || path.empty() || !get_absolute_path(base, path, absolute))
        return false;
    for (const auto& entry : split_list(dir_list, separator_char)) {
        std::wstring dir;
        if (resolve_entry(base, entry, dir) && is_sub_path(dir, absolute)) {
            result = entry;
            return true;
        }
    }
    return false;
}

} // namespace qel
