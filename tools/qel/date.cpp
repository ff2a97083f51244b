// qel date: the local date and time under a mask, or a date text checked and explained.
#include "commands.h"

#include <qel/datetime.h>

#include <iostream>
#include <stdexcept>

namespace qel_tool {
namespace {

const char* const weekday_names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                     "Thursday", "Friday", "Saturday"};

int usage() {
    std::cerr << "usage: qel date [MASK]\n"
                 "       qel date --parse TEXT [--mask MASK]\n"
                 "MASK is a date mask (dd.mm.yyyy), a time mask (hh:mm:ss:ii), or both "
                 "separated by a blank\n";
    return 2;
}

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
            throw std::invalid_argument(std::string("invalid mask '") + mask +
                                        "': neither a date nor a time mask");
        }
    }
}

int explain(const std::string& text, const std::string& mask) {
    qel::date value;
    const bool parsed =
        mask.empty() ? qel::from_str(text, value) : qel::from_str(text, mask, '.', value);
    if (!parsed) {
        std::cerr << "qel date: '" << text << "' is not a valid date under the mask '"
                  << (mask.empty() ? "dd.mm.yyyy" : mask) << "' (days 01.01.1901 to 31.12.2099)\n";
        return 1;
    }
    std::cout << qel::to_string(value) << ": day value " << value.get() << ", "
              << weekday_names[value.day_of_week()] << "\n";
    return 0;
}

} // namespace

int run_date(const arguments& args) {
    if (args.empty()) {
        std::cout << qel::to_string(qel::get_system_clock_timestamp()) << "\n";
        return 0;
    }
    if (args[0] != "--parse") {
        if (args.size() != 1 || args[0].rfind("--", 0) == 0)
            return usage();
        std::cout << format_now(args[0]) << "\n";
        return 0;
    }
    if (args.size() == 2)
        return explain(args[1], "");
    if (args.size() == 4 && args[2] == "--mask")
        return explain(args[1], args[3]);
    return usage();
}

} // namespace qel_tool
