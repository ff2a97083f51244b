// qel format: a value shown under an inline format text, or the record a format text reads as.
#include "commands.h"
#include "options.h"

#include <qel/format.h>

#include <charconv>
#include <iostream>
#include <stdexcept>
#include <string>

namespace qel_tool {
namespace {

const char section_letters[] = "IFBDTS";

// Kind of the section that comes first in the text; 0 when there is none.
int first_kind(const std::wstring& spec) {
    int kind = 0;
    std::size_t first = std::wstring::npos;
    for (int k = 1; k <= 6; ++k) {
        const std::wstring head = {static_cast<wchar_t>(section_letters[k - 1]), L'('};
        const std::size_t at = spec.find(head);
        if (at < first && qel::has_format(static_cast<qel::E_Format>(k), spec)) {
            first = at;
            kind = k;
        }
    }
    return kind;
}

template <class F> F read_record(const std::wstring& spec) {
    F f;
    if (!qel::str_to_format(spec, f))
        usage_error("the format text '" + to_utf8(spec) + "' does not read");
    return f;
}

[[noreturn]] void not_a(const std::string& value, const char* what) {
    throw failure(exit_failure, "'" + value + "' is not " + what);
}

template <class V> V parse_number(const std::string& value, const char* what) {
    V v{};
    const char* first = value.data();
    const char* last = first + value.size();
    const auto [ptr, ec] = std::from_chars(first, last, v);
    if (ec != std::errc() || ptr != last)
        not_a(value, what);
    return v;
}

std::wstring format_value(const std::string& value, const std::wstring& spec) {
    const std::wstring wide = from_utf8(value);
    switch (first_kind(spec)) {
    case 1: {
        const auto f = read_record<qel::integer_format>(spec);
        if (!value.empty() && value[0] == '-')
            return qel::do_format(parse_number<long long>(value, "an integer"), f);
        return qel::do_format(parse_number<unsigned long long>(value, "an integer"), f);
    }
    case 2:
        return qel::do_format(parse_number<double>(value, "a number"),
                              read_record<qel::float_format>(spec));
    case 3: {
        const auto f = read_record<qel::bool_format>(spec);
        if (value == "true" || value == "1")
            return qel::do_format(true, f);
        if (value == "false" || value == "0")
            return qel::do_format(false, f);
        not_a(value, "a boolean (true, false, 1 or 0)");
    }
    case 4: {
        qel::date d;
        if (!qel::from_str(wide, d))
            not_a(value, "a date (dd.mm.yyyy)");
        return qel::do_format(d, read_record<qel::date_format>(spec));
    }
    case 5: {
        qel::time t;
        if (!qel::from_str(wide, t))
            not_a(value, "a time (hh:mm:ss:ii)");
        return qel::do_format(t, read_record<qel::time_format>(spec));
    }
    case 6: {
        qel::timestamp s;
        if (!qel::from_str(wide, s))
            not_a(value, "a timestamp (dd.mm.yyyy hh:mm:ss:ii)");
        return qel::do_format(s, read_record<qel::timestamp_format>(spec));
    }
    default:
        usage_error("the format text holds no section (I, F, B, D, T or S followed by \"(...)\")");
    }
}

// Built by appending: g++ 12 warns falsely (-Wrestrict) on "'" + text + "'".
std::string quote(const std::string& text, char mark) {
    std::string out(1, mark);
    out.append(text).push_back(mark);
    return out;
}
std::string show(wchar_t c) {
    return quote(to_utf8(std::wstring(1, c)), '\'');
}
std::string show(const std::wstring& text) {
    return quote(to_utf8(text), '"');
}
const char* show(bool flag) {
    return flag ? "yes" : "no";
}

void explain_numeric(const qel::numeric_format& f) {
    std::cout << "  width " << f.width << "\n  group separator "
              << (f.use_group_separator ? show(f.group_separator) : "none") << "\n  zero text "
              << (f.use_zero_text ? show(f.zero_text) : "none") << "\n  negative in parentheses "
              << show(f.negative_in_parentheses) << "\n  h flag " << show(f.h_flag) << "\n  unit "
              << (f.show_unit ? show(f.unit) : "none") << (f.unit_first ? " first" : "")
              << "\n  unit separator " << (f.use_unit_separator ? show(f.unit_separator) : "none")
              << "\n";
}

void explain_time(const qel::time_format& f, const char* indent) {
    std::cout << indent << "time mask " << show(f.mask) << ", separator " << show(f.separator)
              << ", hundredths separator "
              << (f.use_hundredths_separator ? show(f.hundredths_separator) : "none") << "\n";
}

int explain(const std::wstring& spec) {
    if (first_kind(spec) == 0)
        usage_error("the format text holds no section (I, F, B, D, T or S followed by \"(...)\")");
    if (qel::has_format(qel::E_Format_integer, spec)) {
        std::cout << "integer format:\n";
        explain_numeric(read_record<qel::integer_format>(spec));
    }
    if (qel::has_format(qel::E_Format_float, spec)) {
        const auto f = read_record<qel::float_format>(spec);
        std::cout << "float format:\n";
        explain_numeric(f);
        std::cout << "  precision " << f.precision << "\n  max precision " << f.max_precision
                  << "\n  decimal separator " << show(f.decimal_separator) << "\n";
    }
    if (qel::has_format(qel::E_Format_bool, spec)) {
        const auto f = read_record<qel::bool_format>(spec);
        std::cout << "boolean format:\n  true " << show(f.true_text) << "\n  false "
                  << show(f.false_text) << "\n  g flag " << show(f.g_flag) << "\n  r flag "
                  << show(f.r_flag) << "\n";
    }
    if (qel::has_format(qel::E_Format_date, spec)) {
        const auto f = read_record<qel::date_format>(spec);
        std::cout << "date format:\n  mask " << show(f.mask) << ", separator " << show(f.separator)
                  << "\n";
    }
    if (qel::has_format(qel::E_Format_time, spec)) {
        std::cout << "time format:\n";
        explain_time(read_record<qel::time_format>(spec), "  ");
    }
    if (qel::has_format(qel::E_Format_timestamp, spec)) {
        const auto f = read_record<qel::timestamp_format>(spec);
        std::cout << "timestamp format:\n  date mask " << show(f.date.mask) << ", separator "
                  << show(f.date.separator) << "\n";
        explain_time(f.time, "  ");
        std::cout << "  between " << show(f.datetime_separator)
                  << (f.time_first ? ", time first" : "") << "\n  time zone "
                  << (f.use_system_time_zone ? std::string("the system's")
                                             : std::to_string(f.time_zone_offset) + " hundredths")
                  << "\n";
    }
    return 0;
}

} // namespace

int run_format(const arguments& args) {
    const parsed_options given =
        parse_options(args, {{"--spec", nullptr, true}, {"--explain", nullptr, true}});
    if (given.has("--explain")) {
        if (given.has("--spec") || !given.operands.empty())
            usage_error("--explain takes only the format TEXT");
        return explain(from_utf8(given.value("--explain")));
    }
    if (!given.has("--spec") || given.operands.size() != 1)
        usage_error("expected one VALUE and --spec TEXT");
    try {
        std::cout << to_utf8(format_value(given.operands[0], from_utf8(given.value("--spec"))))
                  << "\n";
    } catch (const std::invalid_argument& e) {
        throw failure(exit_failure, e.what());
    }
    return 0;
}

} // namespace qel_tool
