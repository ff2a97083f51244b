// Command-line options of the subcommands: "--name VALUE" or "--name=VALUE", short aliases,
// "--" ending the options, and "-" as an operand (standard input or output).
#pragma once

#include "commands.h"

#include <initializer_list>
#include <map>
#include <string>

namespace qel_tool {

struct option {
    const char* name;  // "--force"
    const char* alias; // "-f", or nullptr
    bool takes_value;
};

struct parsed_options {
    std::map<std::string, std::string> given; // by long name; flags map to ""
    arguments operands;

    bool has(const std::string& name) const { return given.count(name) != 0; }
    std::string value(const std::string& name, const std::string& otherwise = "") const {
        auto found = given.find(name);
        return found == given.end() ? otherwise : found->second;
    }
};

// Throws a usage error for an unknown option or a missing value.
parsed_options parse_options(const arguments& args, std::initializer_list<option> known);

// Whether the arguments ask for help (-h or --help before any "--").
bool asks_for_help(const arguments& args);

} // namespace qel_tool
