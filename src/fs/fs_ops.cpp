// File and directory operations over the platform layer. Nothing here throws: a refusal of
// the system is a false result.
#include "fs/path_text.h"
#include "platform/file.h"
#include "platform/fs.h"

#include <qel/fs.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace qel {
namespace {

bool to_timestamp(platform::file_time time, timestamp& result) {
    platform::local_clock_reading r{};
    if (!platform::local_time_of(time, r))
        return false;
    result = timestamp(r.year, r.month, r.day, r.hour, r.minute, r.second, r.milliseconds / 10);
    return true;
}

// A name whose base name starts with a dot is hidden, any other visible; ".profile" has an
// empty base name and is therefore visible.
void apply_hidden_rule(const std::wstring& path) {
    const std::wstring name = extract_name(path);
    platform::set_hidden(path, !name.empty() && name.front() == L'.');
}

bool is_read_only(const std::wstring& path) {
    const auto attributes = platform::get_file_attributes(path);
    return attributes && attributes->read_only;
}

bool copy_one(const std::wstring& from, const std::wstring& to, bool overwrite) {
    bool copied = platform::copy_file(from, to, !overwrite);
    if (!copied && overwrite && is_read_only(to))
        copied = platform::set_file_read_only(to, false) && platform::copy_file(from, to, false);
    if (copied)
        apply_hidden_rule(to);
    return copied;
}

// Directories being walked, by identity: meeting one again means the tree loops.
using walk_trail = std::vector<platform::object_identity>;

bool enter(const std::wstring& dir, bool with_sizes,
           std::vector<platform::directory_entry>& entries, walk_trail& trail) {
    platform::object_identity identity;
    // A failing listing ends with the entries read so far, as an enumerator would.
    platform::list_directory(dir, with_sizes, entries, &identity);
    if (identity != platform::object_identity{} &&
        std::find(trail.begin(), trail.end(), identity) != trail.end())
        return false;
    trail.push_back(identity);
    return true;
}

// The files (links included) of one directory, removed together.
struct file_group {
    std::wstring dir;
    std::vector<std::wstring> names;
};

// Files and directories below `dir`, each directory after its contents.
bool collect(const std::wstring& dir, std::vector<file_group>& files,
             std::vector<std::wstring>& dirs, walk_trail& trail) {
    std::vector<platform::directory_entry> entries;
    if (!enter(dir, false, entries, trail))
        return false;
    file_group own{dir, {}};
    for (auto& entry : entries) {
        if (entry.directory && !entry.link) {
            // Files keep the walk's order: those met before this directory go first.
            if (!own.names.empty())
                files.push_back(std::exchange(own, file_group{dir, {}}));
            if (!collect(concat_path(dir, entry.name), files, dirs, trail))
                return false;
        } else {
            own.names.push_back(std::move(entry.name));
        }
    }
    if (!own.names.empty())
        files.push_back(std::move(own));
    trail.pop_back();
    dirs.push_back(dir);
    return true;
}

// Removes the group's files in order; one that resists gets the read-only retry.
bool remove_group(const file_group& group) {
    std::size_t done = 0;
    while (!platform::remove_files(group.dir, group.names, done)) {
        if (!file_delete(concat_path(group.dir, group.names[done])))
            return false;
        ++done;
    }
    return true;
}

bool add_sizes(const std::wstring& dir, std::uint64_t& total, walk_trail& trail) {
    std::vector<platform::directory_entry> entries;
    if (!enter(dir, true, entries, trail))
        return false;
    for (const auto& entry : entries) {
        if (!entry.directory)
            total += entry.size;
        else if (!entry.link && !add_sizes(concat_path(dir, entry.name), total, trail))
            return false;
    }
    trail.pop_back();
    return true;
}

bool copy_tree(const std::wstring& from, const std::wstring& to, bool overwrite,
               walk_trail& trail) {
    std::vector<platform::directory_entry> entries;
    if (!create_path(to) || !enter(from, false, entries, trail))
        return false;
    for (const auto& entry : entries) {
        const std::wstring source = concat_path(from, entry.name);
        const std::wstring target = concat_path(to, entry.name);
        const bool copied = entry.directory && !entry.link
                                ? copy_tree(source, target, overwrite, trail)
                                : copy_one(source, target, overwrite);
        if (!copied)
            return false;
    }
    trail.pop_back();
    return true;
}

std::wstring absolute_canonical(const std::wstring& path) {
    std::wstring absolute = path;
    if (!is_absolute_path(path))
        get_absolute_path(get_current_dir(), path, absolute);
    return make_canonical_path(absolute);
}

} // namespace

bool file_exists(const std::wstring& path) {
    const auto attributes = platform::get_file_attributes(path);
    return attributes && !attributes->directory;
}

bool dir_exists(const std::wstring& path) {
    const auto attributes = platform::get_file_attributes(path);
    return attributes && attributes->directory;
}

bool file_delete(const std::wstring& path) {
    if (platform::remove_file(path))
        return true;
    return is_read_only(path) && platform::set_file_read_only(path, false) &&
           platform::remove_file(path);
}

bool file_copy(const std::wstring& from, const std::wstring& to, bool overwrite) {
    return copy_one(from, to, overwrite);
}

bool file_move(const std::wstring& from, const std::wstring& to) {
    if (!platform::move_file(from, to, true))
        return false;
    apply_hidden_rule(to);
    return true;
}

bool file_rename(const std::wstring& path, const std::wstring& new_name) {
    const std::wstring dir = extract_dir(path);
    const std::wstring new_dir = extract_dir(new_name);
    if (!new_dir.empty() && !equal_path(new_dir, dir))
        return false;
    const std::wstring target =
        concat_path(dir, new_dir.empty() ? new_name : extract_name_ext(new_name));
    if (!platform::move_file(path, target, false))
        return false;
    apply_hidden_rule(target);
    return true;
}

bool file_size(const std::wstring& path, std::uint64_t& size) {
    const auto info = platform::object_info_of(path);
    if (!info || info->directory)
        return false;
    size = info->size;
    return true;
}

bool file_compare(const std::wstring& a, const std::wstring& b) {
    struct closer {
        platform::native_file file;
        ~closer() {
            if (file != platform::no_file)
                platform::close_file(file);
        }
    };
    const closer first{platform::open_file_shared_read(a)};
    const closer second{platform::open_file_shared_read(b)};
    if (first.file == platform::no_file || second.file == platform::no_file)
        return false;
    const auto first_size = platform::seek_file(first.file, 0, platform::seek_origin::end);
    const auto second_size = platform::seek_file(second.file, 0, platform::seek_origin::end);
    if (first_size < 0 || first_size != second_size ||
        platform::seek_file(first.file, 0, platform::seek_origin::begin) != 0 ||
        platform::seek_file(second.file, 0, platform::seek_origin::begin) != 0)
        return false;
    constexpr std::size_t block = 16384;
    std::vector<char> left(block);
    std::vector<char> right(block);
    for (;;) {
        const auto got = platform::read_file(first.file, left.data(), block);
        const auto other = platform::read_file(second.file, right.data(), block);
        if (got < 0 || got != other)
            return false;
        if (got == 0)
            return true;
        if (std::memcmp(left.data(), right.data(), static_cast<std::size_t>(got)) != 0)
            return false;
    }
}

bool dir_create(const std::wstring& path) {
    return platform::create_directory(path);
}

bool dir_delete(const std::wstring& path) {
    return platform::remove_directory(path);
}

bool dir_deep_delete(const std::wstring& path) {
    std::vector<file_group> files;
    std::vector<std::wstring> dirs;
    walk_trail trail;
    // Everything is listed before anything goes.
    if (!dir_exists(path) || !collect(path, files, dirs, trail))
        return false;
    for (const auto& group : files)
        if (!remove_group(group))
            return false;
    for (const auto& dir : dirs)
        if (!platform::remove_directory(dir))
            return false;
    return true;
}

bool dir_deep_copy(const std::wstring& from, const std::wstring& to, bool overwrite) {
    if (!dir_exists(from) || equal_path(from, to))
        return false;
    // A target inside the source would be copied into itself without end.
    if (is_sub_path(absolute_canonical(from), absolute_canonical(to)))
        return false;
    walk_trail trail;
    return copy_tree(from, to, overwrite, trail);
}

bool dir_deep_size(const std::wstring& path, std::uint64_t& size) {
    if (!dir_exists(path))
        return false;
    std::uint64_t total = 0;
    walk_trail trail;
    if (!add_sizes(path, total, trail))
        return false;
    size = total;
    return true;
}

bool dir_free_size(const std::wstring& path, std::uint64_t& size) {
    return dir_exists(path) && platform::free_space(path, size);
}

bool create_path(const std::wstring& path) {
    std::size_t from = 0;
    const bool unc =
        detail::root_of_(path, detail::path_pieces_(path), true) == detail::path_root_::unc;
    if (unc) {
        // Past the server name and the separator after it.
        from = 2;
        while (from < path.size() && !detail::is_separator_(path[from]))
            ++from;
        ++from;
    }
    while (from < path.size()) {
        const std::size_t found = path.find_first_of(L"\\/", from);
        if (found == std::wstring::npos)
            break;
        const std::wstring level = path.substr(0, found);
        // An empty level is the root "/" where the system has one; elsewhere it cannot be made.
        const bool root = level.empty() && detail::path_rules_().slash_root;
        if (!root && !dir_exists(level) && !platform::create_directory(level))
            return false;
        from = found + 1;
    }
    return dir_exists(path) || platform::create_directory(path);
}

std::wstring get_current_dir() {
    return platform::current_directory();
}

bool set_current_dir(const std::wstring& path) {
    return platform::change_directory(path);
}

bool fsobj_time(const std::wstring& path, E_FSObjTime which, timestamp& result) {
    if (which != fsobj_creation && which != fsobj_last_write && which != fsobj_last_access)
        return false;
    const auto info = platform::object_info_of(path);
    if (!info)
        return false;
    const platform::file_time time = which == fsobj_creation     ? info->creation
                                     : which == fsobj_last_write ? info->last_write
                                                                 : info->last_access;
    return to_timestamp(time, result);
}

bool fsobj_attributes(const std::wstring& path, fsobj_attribute_map& result, unsigned mask) {
    const auto info = platform::object_info_of(path);
    if (!info)
        return false;
    if (mask & fsobj_group_attributes) {
        auto& group = result[L"ATTRIBUTES"];
        group[L"ARCHIVE"] = variant(info->archive);
        group[L"COMPRESSED"] = variant(info->compressed);
        group[L"DIRECTORY"] = variant(info->directory);
        group[L"ENCRYPTED"] = variant(info->encrypted);
        group[L"HIDDEN"] = variant(info->hidden);
        group[L"READONLY"] = variant(info->read_only);
        group[L"SYSTEM"] = variant(info->system);
        group[L"TEMPORARY"] = variant(info->temporary);
    }
    if (mask & fsobj_group_time) {
        auto& group = result[L"TIME"];
        const std::pair<const wchar_t*, platform::file_time> times[] = {
            {L"CREATION", info->creation},
            {L"LAST_ACCESS", info->last_access},
            {L"LAST_WRITE", info->last_write}};
        for (const auto& [key, time] : times) {
            timestamp value;
            to_timestamp(time, value);
            group[key] = variant(value);
        }
    }
    if (mask & fsobj_group_size) {
        auto& group = result[L"SIZE"];
        const double bytes = static_cast<double>(info->size);
        group[L"BYTES"] = variant(bytes);
        group[L"KB"] = variant(bytes * (1.0 / 1024));
        group[L"MB"] = variant(bytes * (1.0 / 1048576));
    }
    std::wstring file_version, product_version;
    if ((mask & fsobj_group_version) &&
        platform::file_version(path, file_version, product_version)) {
        auto& group = result[L"VERSION"];
        group[L"FILE"] = variant(file_version);
        group[L"PRODUCT"] = variant(product_version);
    }
    return true;
}

} // namespace qel
