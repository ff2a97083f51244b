// qel fs: a directory tree with sizes and times, the attributes of one object, and the path
// functions for scripts.
#include "commands.h"
#include "options.h"

#include <qel/fs.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <vector>

namespace qel_tool {
namespace {

struct tree_line {
    std::uint64_t size;
    qel::timestamp written;
    std::string name;
};

// The entries below `dir` in name order, each directory before its contents and sized with
// the sum of everything below it. Links are listed but never entered.
std::uint64_t walk(const std::wstring& dir, const std::string& prefix,
                   std::vector<tree_line>& lines) {
    struct entry {
        std::wstring path;
        std::string name;
        bool dir;
        qel::timestamp written;
    };
    std::vector<entry> entries;
    for (qel::file_enumerator e(qel::concat_path(dir, L"*")); e.more(); e.next())
        entries.push_back(
            {e.filepath(), to_utf8(e.filename()), e.is_dir(), e.time(qel::fsobj_last_write)});
    std::sort(entries.begin(), entries.end(),
              [](const entry& a, const entry& b) { return a.name < b.name; });
    std::uint64_t total = 0;
    for (const auto& item : entries) {
        const std::string name = prefix + item.name;
        std::error_code ignored;
        const bool link = std::filesystem::is_symlink(std::filesystem::path(item.path), ignored);
        if (item.dir && !link) {
            const std::size_t at = lines.size();
            lines.push_back({0, item.written, name + "/"});
            lines[at].size = walk(item.path, name + "/", lines);
            total += lines[at].size;
        } else {
            std::uint64_t size = 0;
            qel::file_size(item.path, size);
            lines.push_back({size, item.written, name + (item.dir ? "/" : "")});
            total += size;
        }
    }
    return total;
}

int tree(const arguments& operands) {
    const std::wstring dir = from_utf8(operands[1]);
    if (!qel::dir_exists(dir))
        throw failure(exit_failure, "no directory " + quoted(operands[1]));
    std::vector<tree_line> lines;
    const std::uint64_t total = walk(dir, "", lines);
    for (const auto& line : lines)
        std::cout << std::setw(12) << line.size << "  " << qel::to_string(line.written) << "  "
                  << line.name << "\n";
    std::cout << std::setw(12) << total << "  total\n";
    return 0;
}

std::string text_of(const qel::variant& value) {
    switch (value.type()) {
    case qel::variant_boolean:
        return value.get_bool() ? "true" : "false";
    case qel::variant_float: {
        char digits[32];
        const auto end = std::to_chars(digits, digits + sizeof digits, value.get_double()).ptr;
        return std::string(digits, end);
    }
    case qel::variant_timestamp:
        return qel::to_string(value.get_timestamp());
    case qel::variant_string:
        return to_utf8(value.get_string());
    default:
        return "?";
    }
}

int attributes(const arguments& operands) {
    qel::fsobj_attribute_map map;
    const unsigned every_group = qel::fsobj_group_attributes | qel::fsobj_group_time |
                                 qel::fsobj_group_size | qel::fsobj_group_version;
    if (!qel::fsobj_attributes(from_utf8(operands[1]), map, every_group))
        throw failure(exit_failure, "cannot read the attributes of " + quoted(operands[1]));
    for (const auto& [group, entries] : map)
        for (const auto& [key, value] : entries)
            std::cout << std::left << std::setw(12) << to_utf8(group) << std::setw(13)
                      << to_utf8(key) << text_of(value) << "\n";
    return 0;
}

// Operations of "qel fs path": their operand count and what they print.
struct path_operation {
    const char* name;
    std::size_t operands;
    // False is a failure of the work (exit 1).
    bool (*run)(const std::vector<std::wstring>& in, std::vector<std::wstring>& out);
};

const path_operation path_operations[] = {
    {"canonical", 1,
     [](const auto& in, auto& out) {
         out.push_back(qel::make_canonical_path(in[0]));
         return true;
     }},
    {"normal", 1,
     [](const auto& in, auto& out) {
         out.push_back(qel::make_normal_path(in[0]));
         return true;
     }},
    {"relative", 2,
     [](const auto& in, auto& out) {
         out.emplace_back();
         return qel::get_relative_path(in[0], in[1], out.back());
     }},
    {"absolute", 2,
     [](const auto& in, auto& out) {
         out.emplace_back();
         return qel::get_absolute_path(in[0], in[1], out.back());
     }},
    {"split", 1,
     [](const auto& in, auto& out) {
         out.resize(3);
         qel::split_path(in[0], out[0], out[1], out[2]);
         return true;
     }},
    {"concat", 2,
     [](const auto& in, auto& out) {
         out.push_back(qel::concat_path(in[0], in[1]));
         return true;
     }},
    {"equal", 2,
     [](const auto& in, auto& out) {
         out.push_back(qel::equal_path(in[0], in[1]) ? L"true" : L"false");
         return true;
     }},
    {"equivalent", 2,
     [](const auto& in, auto& out) {
         out.push_back(qel::equivalent_path(in[0], in[1]) ? L"true" : L"false");
         return true;
     }},
};

int path(const arguments& operands) {
    const std::string op = operands.size() > 1 ? operands[1] : "";
    for (const auto& candidate : path_operations) {
        if (op != candidate.name)
            continue;
        if (operands.size() != candidate.operands + 2)
            usage_error("'path " + op + "' takes " + std::to_string(candidate.operands) +
                        " operand(s)");
        std::vector<std::wstring> in, out;
        for (std::size_t i = 2; i < operands.size(); ++i)
            in.push_back(from_utf8(operands[i]));
        if (!candidate.run(in, out))
            throw failure(exit_failure, "no " + op + " path for these operands");
        for (const auto& line : out)
            std::cout << to_utf8(line) << "\n";
        return 0;
    }
    usage_error("expected a path operation: canonical, normal, relative, absolute, split, "
                "concat, equal or equivalent");
}

} // namespace

int run_fs(const arguments& args) {
    const parsed_options given = parse_options(args, {});
    const arguments& operands = given.operands;
    const std::string action = operands.empty() ? "" : operands[0];
    if (action == "path")
        return path(operands);
    if ((action == "tree" || action == "attributes") && operands.size() != 2)
        usage_error("'" + action + "' takes one operand");
    if (action == "tree")
        return tree(operands);
    if (action == "attributes")
        return attributes(operands);
    usage_error("expected tree, attributes or path");
}

} // namespace qel_tool
