// qel profile: read, change and list the keys of a profile file, keeping its comments and
// layout.
#include "commands.h"
#include "options.h"

#include <qel/profile.h>

#include <algorithm>
#include <cwctype>
#include <filesystem>
#include <iostream>
#include <vector>

namespace qel_tool {
namespace {

// The library gives an empty profile for a file it cannot open; reading one is an error.
void require_file(const std::string& name) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(std::filesystem::path(from_utf8(name)), ignored))
        throw failure(exit_failure, "cannot read " + quoted(name));
}

bool same_name(const std::wstring& a, const std::wstring& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](wchar_t x, wchar_t y) {
        return std::towupper(static_cast<std::wint_t>(x)) ==
               std::towupper(static_cast<std::wint_t>(y));
    });
}

int get(const arguments& operands) {
    require_file(operands[1]);
    qel::profile file(from_utf8(operands[1]));
    file.set_autosave(false);
    const std::wstring section = from_utf8(operands[2]);
    const std::wstring key = from_utf8(operands[3]);
    if (!file.is_key_exist(section, key))
        throw failure(exit_failure, "no key '" + operands[3] + "' in section '" + operands[2] +
                                        "' of " + quoted(operands[1]));
    std::cout << to_utf8(file.read(section, key, std::wstring())) << "\n";
    return 0;
}

int set(const arguments& operands) {
    qel::profile file(from_utf8(operands[1]));
    file.set_autosave(false);
    file.write(from_utf8(operands[2]), from_utf8(operands[3]), from_utf8(operands[4]));
    file.flush();
    if (!file.is_equal(from_utf8(operands[1])))
        throw failure(exit_failure, "cannot write " + quoted(operands[1]));
    return 0;
}

int list(const arguments& operands) {
    require_file(operands[1]);
    qel::profile file(from_utf8(operands[1]));
    file.set_autosave(false);
    std::vector<std::wstring> sections;
    file.get_sections(sections);
    if (operands.size() == 3) {
        // The section as the file spells it.
        const std::wstring wanted = from_utf8(operands[2]);
        std::erase_if(sections, [&](const std::wstring& name) { return !same_name(name, wanted); });
        if (sections.empty())
            throw failure(exit_failure,
                          "no section '" + operands[2] + "' in " + quoted(operands[1]));
    }
    std::vector<std::wstring> keys;
    for (const std::wstring& section : sections) {
        std::cout << "[" << to_utf8(section) << "]\n";
        file.get_section_keys(section, keys);
        for (const std::wstring& key : keys)
            std::cout << to_utf8(key) << " = " << to_utf8(file.read(section, key, std::wstring()))
                      << "\n";
    }
    return 0;
}

} // namespace

int run_profile(const arguments& args) {
    const parsed_options given = parse_options(args, {});
    const arguments& operands = given.operands;
    const std::string action = operands.empty() ? "" : operands[0];
    if (action == "get" && operands.size() == 4)
        return get(operands);
    if (action == "set" && operands.size() == 5)
        return set(operands);
    if (action == "list" && (operands.size() == 2 || operands.size() == 3))
        return list(operands);
    usage_error(action == "get" || action == "set" || action == "list"
                    ? "wrong number of operands for '" + action + "'"
                    : "expected get, set or list");
}

} // namespace qel_tool
