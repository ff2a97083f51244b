// qel date: the local date and time under a mask, or a date text checked and explained.
#include "commands.h"
#include "options.h"

#include <qel/datetime.h>

#include <iostream>
#include <stdexcept>

namespace qel_tool {
namespace {

const char* const weekday_names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                     "Thursday", "Friday", "Saturday"};

// A date mask, a time mask, or "DATE TIME"; a one-part mask is tried as a date mask first.
std::string format_now(const std::string& mask) {
    const qel::timestamp now = qel::get_system_clock_timestamp();
    const std::size_t blank = mask.find(' ');
    if (blank != std::string::npos)
        return qel::to_string(now, mask.substr(0, blank), '.', ' ', mask.substr(blank + 1), ':');
    try {
        return qel::to_string(now.get_date(), mask, '.');
    } catch (const std::invalid_argument&) {
        try {
            return qel::to_string(now.get_time(), mask, ':');
        } catch (const std::invalid_argument&) {
            usage_error("invalid mask '" + mask + "': neither a date nor a time mask");
        }
    }
}

int explain(const std::string& text, const std::string& mask) {
    qel::date value;
    bool parsed = false;
    try {
        parsed = mask.empty() ? qel::from_str(text, value) : qel::from_str(text, mask, '.', value);
    } catch (const std::invalid_argument& e) {
        usage_error("'" + mask + "': " + e.what());
    }
    if (!parsed)
        throw failure(exit_failure, "'" + text + "' is not a valid date under the mask '" +
                                        (mask.empty() ? "dd.mm.yyyy" : mask) +
                                        "' (days 01.01.1901 to 31.12.2099)");
    std::cout << qel::to_string(value) << ": day value " << value.get() << ", "
              << weekday_names[value.day_of_week()] << "\n";
    return 0;
}

} // namespace

int run_date(const arguments& args) {
    const parsed_options given =
        parse_options(args, {{"--parse", nullptr, true}, {"--mask", nullptr, true}});
    if (given.has("--parse")) {
        if (!given.operands.empty())
            usage_error("--parse takes no MASK operand (use --mask)");
        return explain(given.value("--parse"), given.value("--mask"));
    }
    if (given.has("--mask") || given.operands.size() > 1)
        usage_error("expected at most one MASK");
    if (given.operands.empty())
        std::cout << qel::to_string(qel::get_system_clock_timestamp()) << "\n";
    else
        std::cout << format_now(given.operands[0]) << "\n";
    return 0;
}

} // namespace qel_tool
