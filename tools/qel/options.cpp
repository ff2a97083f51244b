#include "options.h"

namespace qel_tool {

parsed_options parse_options(const arguments& args, std::initializer_list<option> known) {
    parsed_options result;
    bool options_ended = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (options_ended || arg == "-" || arg.empty() || arg[0] != '-') {
            result.operands.push_back(arg);
            continue;
        }
        if (arg == "--") {
            options_ended = true;
            continue;
        }
        const std::size_t equals = arg.rfind("--", 0) == 0 ? arg.find('=') : std::string::npos;
        const std::string word = arg.substr(0, equals);
        const option* match = nullptr;
        for (const option& o : known)
            if (word == o.name || (o.alias && word == o.alias))
                match = &o;
        if (!match)
            usage_error("unknown option '" + word + "'");
        std::string value;
        if (match->takes_value) {
            if (equals != std::string::npos)
                value = arg.substr(equals + 1);
            else if (i + 1 < args.size())
                value = args[++i];
            else
                usage_error(std::string("missing value for ") + match->name);
        } else if (equals != std::string::npos) {
            usage_error(std::string(match->name) + " takes no value");
        }
        result.given[match->name] = value;
    }
    return result;
}

bool asks_for_help(const arguments& args) {
    for (const std::string& arg : args) {
        if (arg == "--")
            return false;
        if (arg == "--help" || arg == "-h")
            return true;
    }
    return false;
}

} // namespace qel_tool
