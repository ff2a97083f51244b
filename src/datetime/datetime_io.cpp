// Public text functions of dates, times, timestamps and durations in narrow and wide text,
// and their stream operators; each is a thin shell over the one template in datetime_text.
#include "datetime/calendar_internal.h"
#include "datetime/datetime_text.h"

#include <qel/datetime.h>

#include <istream>
#include <ostream>

namespace qel {
namespace {

using detail::compiled_mask;
using detail::date_mask_kind;
using detail::mask_kind;
using detail::time_mask_kind;

template <class Ch> using view = std::basic_string_view<Ch>;
template <class Ch> using string = std::basic_string<Ch>;

constexpr std::int64_t per_day = detail::hundredths_per_day;

// Blanks are spaces and tabs.
template <class Ch> bool is_blank(Ch c) {
    return c == Ch(' ') || c == Ch('\t');
}

// The format_* helpers append to `out`.
template <class Ch>
void format_date(const date& value, const compiled_mask& mask, Ch sep, string<Ch>& out) {
    int fields[3]; // day, month, year
    detail::split_day_value(value.get(), fields[0], fields[1], fields[2]);
    detail::format_fields<Ch, true>(fields, mask, sep, out);
}

template <class Ch>
void format_time(const time& value, const compiled_mask& mask, Ch sep, string<Ch>& out) {
    int fields[4];
    detail::split_time_value(value.get(), fields[0], fields[1], fields[2], fields[3]);
    detail::format_fields<Ch, false>(fields, mask, sep, out);
}

// The date and time parts of a timestamp, as its get_date() and get_time() give them.
int date_part(const timestamp& value) {
    return static_cast<int>(value.get() / per_day);
}
int time_part(const timestamp& value) {
    return static_cast<int>(value.get() % per_day);
}

template <class Ch>
void format_timestamp(const timestamp& value, const compiled_mask& date_mask, Ch date_sep,
                      Ch datetime_sep, const compiled_mask& time_mask, Ch time_sep,
                      string<Ch>& out) {
    format_date(date(date_part(value)), date_mask, date_sep, out);
    out += datetime_sep;
    format_time(time(time_part(value)), time_mask, time_sep, out);
}

// The entry points without masks: the text is written in one piece when every field is
// plain digits, otherwise through the general steps.
constexpr std::size_t date_length = detail::default_date_length;
constexpr std::size_t time_length = detail::default_time_length;
constexpr std::size_t timestamp_length = date_length + 1 + time_length;

template <class Ch> void default_date_text(const date& value, string<Ch>& out) {
    Ch text[date_length];
    if (detail::format_default_date(value.get(), Ch('.'), text)) {
        out.assign(text, date_length);
        return;
    }
    out.clear();
    format_date(value, detail::default_date_mask(), Ch('.'), out);
}

template <class Ch> void default_time_text(const time& value, string<Ch>& out) {
    Ch text[time_length];
    if (detail::format_default_time(value.get(), Ch(':'), text)) {
        out.assign(text, time_length);
        return;
    }
    out.clear();
    format_time(value, detail::default_time_mask(), Ch(':'), out);
}

template <class Ch> void default_timestamp_text(const timestamp& value, string<Ch>& out) {
    Ch text[timestamp_length];
    if (detail::format_default_date(date_part(value), Ch('.'), text) &&
        detail::format_default_time(time_part(value), Ch(':'), text + date_length + 1)) {
        text[date_length] = Ch(' ');
        out.assign(text, timestamp_length);
        return;
    }
    out.clear();
    format_timestamp(value, detail::default_date_mask(), Ch('.'), Ch(' '),
                     detail::default_time_mask(), Ch(':'), out);
}

template <class Ch>
bool extract_date(view<Ch> text, const compiled_mask& mask, Ch sep, std::uint64_t pos,
                  std::uint64_t& end, date& value) {
    int fields[3]; // day, month, year
    if (!detail::parse_fields<Ch, true>(text, mask, sep, pos, end, fields))
        return false;
    value.put(detail::valid_day_value(fields[0], fields[1], fields[2]));
    return true;
}

template <class Ch>
bool extract_time(view<Ch> text, const compiled_mask& mask, Ch sep, std::uint64_t pos,
                  std::uint64_t& end, time& value) {
    int fields[4];
    if (!detail::parse_fields<Ch, false>(text, mask, sep, pos, end, fields))
        return false;
    // The fields are in range, so the count needs no wrapping.
    value.put(((fields[0] * 60 + fields[1]) * 60 + fields[2]) * 100 + fields[3]);
    return true;
}

template <class Ch>
bool default_extract_date(view<Ch> text, std::uint64_t pos, std::uint64_t& end, date& value) {
    if (pos <= text.size() && text.size() - pos >= date_length) {
        int dv = 0;
        switch (detail::parse_default_date(text.data() + pos, Ch('.'), dv)) {
        case detail::plain_parse::accepted:
            value.put(dv);
            end = pos + date_length;
            return true;
        case detail::plain_parse::refused:
            return false;
        case detail::plain_parse::not_plain:
            break;
        }
    }
    return extract_date(text, detail::default_date_mask(), Ch('.'), pos, end, value);
}

template <class Ch>
bool default_extract_time(view<Ch> text, std::uint64_t pos, std::uint64_t& end, time& value) {
    if (pos <= text.size() && text.size() - pos >= time_length) {
        int tv = 0;
        switch (detail::parse_default_time(text.data() + pos, Ch(':'), tv)) {
        case detail::plain_parse::accepted:
            value.put(tv);
            end = pos + time_length;
            return true;
        case detail::plain_parse::refused:
            return false;
        case detail::plain_parse::not_plain:
            break;
        }
    }
    return extract_time(text, detail::default_time_mask(), Ch(':'), pos, end, value);
}

template <class Ch, class T, class Extract>
bool whole_text(view<Ch> text, const compiled_mask& mask, Ch sep, T& value, Extract extract) {
    std::uint64_t end = 0;
    return extract(text, mask, sep, 0, end, value) && end == text.size();
}

template <class Ch, class T, class Extract>
bool whole_text(view<Ch> text, T& value, Extract extract) {
    std::uint64_t end = 0;
    return extract(text, 0, end, value) && end == text.size();
}

template <class Ch>
bool parse_timestamp(view<Ch> text, const compiled_mask& date_mask, Ch date_sep, Ch datetime_sep,
                     const compiled_mask& time_mask, Ch time_sep, timestamp& value) {
    date day;
    time clock;
    std::uint64_t date_end = 0, time_end = 0;
    if (!extract_date(text, date_mask, date_sep, 0, date_end, day) || date_end >= text.size() ||
        text[date_end] != datetime_sep ||
        !extract_time(text, time_mask, time_sep, date_end + 1, time_end, clock) ||
        time_end != text.size())
        return false;
    value.put(day.get() * per_day + clock.get());
    return true;
}

template <class Ch> bool default_parse_timestamp(view<Ch> text, timestamp& value) {
    if (text.size() == timestamp_length && text[date_length] == Ch(' ')) {
        int dv = 0, tv = 0;
        const auto day = detail::parse_default_date(text.data(), Ch('.'), dv);
        const auto clock = detail::parse_default_time(text.data() + date_length + 1, Ch(':'), tv);
        if (day != detail::plain_parse::not_plain && clock != detail::plain_parse::not_plain) {
            if (day != detail::plain_parse::accepted || clock != detail::plain_parse::accepted)
                return false;
            value.put(std::int64_t{dv} * per_day + tv);
            return true;
        }
    }
    return parse_timestamp(text, detail::default_date_mask(), Ch('.'), Ch(' '),
                           detail::default_time_mask(), Ch(':'), value);
}

template <class Ch> void format_period(const time_period& value, string<Ch>& out) {
    int d = 0, h = 0, m = 0, s = 0, ms = 0;
    value.get(d, h, m, s, ms);
    std::string text = std::to_string(d);
    text += ' ';
    text += std::to_string(h);
    text += ':';
    text += std::to_string(m);
    text += ':';
    text += std::to_string(s);
    text += '.';
    std::string millis = std::to_string(ms);
    // Zero-padded to three digits after any sign, as printf's %03d does.
    const std::size_t sign = ms < 0 ? 1 : 0;
    if (millis.size() < 3)
        millis.insert(sign, 3 - millis.size(), '0');
    text += millis;
    out.assign(text.begin(), text.end());
}

template <class Ch> void format_interval(const time_interval& value, string<Ch>& out) {
    // Whole days in 64 bits: the int of get() cannot hold every interval's days.
    const std::int64_t days = value.get() / per_day;
    const time part(static_cast<int>(value.get() - days * per_day));
    const std::string day_text = std::to_string(days);
    out.assign(day_text.begin(), day_text.end());
    out += Ch(' ');
    format_time(part, detail::default_time_mask(), Ch(':'), out);
}

template <class Ch> bool parse_interval(view<Ch> text, time_interval& value) {
    if (text.empty())
        return false;
    std::size_t consumed = 0, digits = 0;
    int days = 0;
    if (!detail::read_integer(text, consumed, digits, days) || consumed >= text.size() ||
        !is_blank(text[consumed]))
        return false;
    time part;
    std::uint64_t end = 0;
    if (!extract_time(text, detail::default_time_mask(), Ch(':'), consumed + 1, end, part) ||
        end != text.size())
        return false;
    value = time_interval(days * per_day + part.get());
    return true;
}

template <class Ch> compiled_mask checked(const string<Ch>& mask, const mask_kind& kind) {
    return detail::compile_mask(view<Ch>(mask), kind);
}

template <class T> std::istream& read_word(std::istream& in, T& value) {
    std::string word;
    if (in >> word && !from_str(word, value))
        in.setstate(std::ios_base::failbit);
    return in;
}

template <class T> std::istream& read_two_words(std::istream& in, T& value) {
    std::string first, second;
    if (in >> first >> second && !from_str(first + ' ' + second, value))
        in.setstate(std::ios_base::failbit);
    return in;
}

} // namespace

// date

void to_str(const date& value, const std::string& mask, char sep, std::string& out) {
    const compiled_mask compiled = checked(mask, date_mask_kind);
    out.clear();
    format_date(value, compiled, sep, out);
}
void to_str(const date& value, const std::wstring& mask, wchar_t sep, std::wstring& out) {
    const compiled_mask compiled = checked(mask, date_mask_kind);
    out.clear();
    format_date(value, compiled, sep, out);
}
void to_str(const date& value, std::string& out) {
    default_date_text(value, out);
}
void to_str(const date& value, std::wstring& out) {
    default_date_text(value, out);
}
std::string to_string(const date& value, const std::string& mask, char sep) {
    std::string out;
    to_str(value, mask, sep, out);
    return out;
}
std::wstring to_wstring(const date& value, const std::wstring& mask, wchar_t sep) {
    std::wstring out;
    to_str(value, mask, sep, out);
    return out;
}
std::string to_string(const date& value) {
    std::string out;
    to_str(value, out);
    return out;
}
std::wstring to_wstring(const date& value) {
    std::wstring out;
    to_str(value, out);
    return out;
}

// time

void to_str(const time& value, const std::string& mask, char sep, std::string& out) {
    const compiled_mask compiled = checked(mask, time_mask_kind);
    out.clear();
    format_time(value, compiled, sep, out);
}
void to_str(const time& value, const std::wstring& mask, wchar_t sep, std::wstring& out) {
    const compiled_mask compiled = checked(mask, time_mask_kind);
    out.clear();
    format_time(value, compiled, sep, out);
}
void to_str(const time& value, std::string& out) {
    default_time_text(value, out);
}
void to_str(const time& value, std::wstring& out) {
    default_time_text(value, out);
}
std::string to_string(const time& value, const std::string& mask, char sep) {
    std::string out;
    to_str(value, mask, sep, out);
    return out;
}
std::wstring to_wstring(const time& value, const std::wstring& mask, wchar_t sep) {
    std::wstring out;
    to_str(value, mask, sep, out);
    return out;
}
std::string to_string(const time& value) {
    std::string out;
    to_str(value, out);
    return out;
}
std::wstring to_wstring(const time& value) {
    std::wstring out;
    to_str(value, out);
    return out;
}

// timestamp

void to_str(const timestamp& value, const std::string& date_mask, char date_sep, char datetime_sep,
            const std::string& time_mask, char time_sep, std::string& out) {
    const auto dm = checked(date_mask, date_mask_kind);
    const auto tm = checked(time_mask, time_mask_kind);
    out.clear();
    format_timestamp(value, dm, date_sep, datetime_sep, tm, time_sep, out);
}
void to_str(const timestamp& value, const std::wstring& date_mask, wchar_t date_sep,
            wchar_t datetime_sep, const std::wstring& time_mask, wchar_t time_sep,
            std::wstring& out) {
    const auto dm = checked(date_mask, date_mask_kind);
    const auto tm = checked(time_mask, time_mask_kind);
    out.clear();
    format_timestamp(value, dm, date_sep, datetime_sep, tm, time_sep, out);
}
void to_str(const timestamp& value, std::string& out) {
    default_timestamp_text(value, out);
}
void to_str(const timestamp& value, std::wstring& out) {
    default_timestamp_text(value, out);
}
std::string to_string(const timestamp& value, const std::string& date_mask, char date_sep,
                      char datetime_sep, const std::string& time_mask, char time_sep) {
    std::string out;
    to_str(value, date_mask, date_sep, datetime_sep, time_mask, time_sep, out);
    return out;
}
std::wstring to_wstring(const timestamp& value, const std::wstring& date_mask, wchar_t date_sep,
                        wchar_t datetime_sep, const std::wstring& time_mask, wchar_t time_sep) {
    std::wstring out;
    to_str(value, date_mask, date_sep, datetime_sep, time_mask, time_sep, out);
    return out;
}
std::string to_string(const timestamp& value) {
    std::string out;
    to_str(value, out);
    return out;
}
std::wstring to_wstring(const timestamp& value) {
    std::wstring out;
    to_str(value, out);
    return out;
}

// parsing dates and times

bool extract_from_str(const std::string& text, const std::string& mask, char sep, std::uint64_t pos,
                      std::uint64_t& end, date& value) {
    return extract_date<char>(text, checked(mask, date_mask_kind), sep, pos, end, value);
}
bool extract_from_str(const std::wstring& text, const std::wstring& mask, wchar_t sep,
                      std::uint64_t pos, std::uint64_t& end, date& value) {
    return extract_date<wchar_t>(text, checked(mask, date_mask_kind), sep, pos, end, value);
}
bool extract_from_str(const std::string& text, std::uint64_t pos, std::uint64_t& end, date& value) {
    return default_extract_date<char>(text, pos, end, value);
}
bool extract_from_str(const std::wstring& text, std::uint64_t pos, std::uint64_t& end,
                      date& value) {
    return default_extract_date<wchar_t>(text, pos, end, value);
}
bool extract_from_str(const std::string& text, const std::string& mask, char sep, std::uint64_t pos,
                      std::uint64_t& end, time& value) {
    return extract_time<char>(text, checked(mask, time_mask_kind), sep, pos, end, value);
}
bool extract_from_str(const std::wstring& text, const std::wstring& mask, wchar_t sep,
                      std::uint64_t pos, std::uint64_t& end, time& value) {
    return extract_time<wchar_t>(text, checked(mask, time_mask_kind), sep, pos, end, value);
}
bool extract_from_str(const std::string& text, std::uint64_t pos, std::uint64_t& end, time& value) {
    return default_extract_time<char>(text, pos, end, value);
}
bool extract_from_str(const std::wstring& text, std::uint64_t pos, std::uint64_t& end,
                      time& value) {
    return default_extract_time<wchar_t>(text, pos, end, value);
}

bool from_str(const std::string& text, const std::string& mask, char sep, date& value) {
    return whole_text<char>(text, checked(mask, date_mask_kind), sep, value, extract_date<char>);
}
bool from_str(const std::wstring& text, const std::wstring& mask, wchar_t sep, date& value) {
    return whole_text<wchar_t>(text, checked(mask, date_mask_kind), sep, value,
                               extract_date<wchar_t>);
}
bool from_str(const std::string& text, date& value) {
    return whole_text<char>(text, value, default_extract_date<char>);
}
bool from_str(const std::wstring& text, date& value) {
    return whole_text<wchar_t>(text, value, default_extract_date<wchar_t>);
}
date from_str(const std::string& text, const date& def) {
    date value;
    return from_str(text, value) ? value : def;
}
date from_str(const std::wstring& text, const date& def) {
    date value;
    return from_str(text, value) ? value : def;
}

bool from_str(const std::string& text, const std::string& mask, char sep, time& value) {
    return whole_text<char>(text, checked(mask, time_mask_kind), sep, value, extract_time<char>);
}
bool from_str(const std::wstring& text, const std::wstring& mask, wchar_t sep, time& value) {
    return whole_text<wchar_t>(text, checked(mask, time_mask_kind), sep, value,
                               extract_time<wchar_t>);
}
bool from_str(const std::string& text, time& value) {
    return whole_text<char>(text, value, default_extract_time<char>);
}
bool from_str(const std::wstring& text, time& value) {
    return whole_text<wchar_t>(text, value, default_extract_time<wchar_t>);
}
time from_str(const std::string& text, const time& def) {
    time value;
    return from_str(text, value) ? value : def;
}
time from_str(const std::wstring& text, const time& def) {
    time value;
    return from_str(text, value) ? value : def;
}

// parsing timestamps

bool from_str(const std::string& text, const std::string& date_mask, char date_sep,
              char datetime_sep, const std::string& time_mask, char time_sep, timestamp& value) {
    const auto dm = checked(date_mask, date_mask_kind);
    const auto tm = checked(time_mask, time_mask_kind);
    return parse_timestamp<char>(text, dm, date_sep, datetime_sep, tm, time_sep, value);
}
bool from_str(const std::wstring& text, const std::wstring& date_mask, wchar_t date_sep,
              wchar_t datetime_sep, const std::wstring& time_mask, wchar_t time_sep,
              timestamp& value) {
    const auto dm = checked(date_mask, date_mask_kind);
    const auto tm = checked(time_mask, time_mask_kind);
    return parse_timestamp<wchar_t>(text, dm, date_sep, datetime_sep, tm, time_sep, value);
}
bool from_str(const std::string& text, timestamp& value) {
    return default_parse_timestamp<char>(text, value);
}
bool from_str(const std::wstring& text, timestamp& value) {
    return default_parse_timestamp<wchar_t>(text, value);
}
timestamp from_str(const std::string& text, const timestamp& def) {
    timestamp value;
    return from_str(text, value) ? value : def;
}
timestamp from_str(const std::wstring& text, const timestamp& def) {
    timestamp value;
    return from_str(text, value) ? value : def;
}

// durations

void to_str(const time_period& value, std::string& out) {
    format_period(value, out);
}
void to_str(const time_period& value, std::wstring& out) {
    format_period(value, out);
}
std::string to_string(const time_period& value) {
    std::string out;
    format_period(value, out);
    return out;
}
std::wstring to_wstring(const time_period& value) {
    std::wstring out;
    format_period(value, out);
    return out;
}

void to_str(const time_interval& value, std::string& out) {
    format_interval(value, out);
}
void to_str(const time_interval& value, std::wstring& out) {
    format_interval(value, out);
}
std::string to_string(const time_interval& value) {
    std::string out;
    format_interval(value, out);
    return out;
}
std::wstring to_wstring(const time_interval& value) {
    std::wstring out;
    format_interval(value, out);
    return out;
}
bool from_str(const std::string& text, time_interval& value) {
    return parse_interval<char>(text, value);
}
bool from_str(const std::wstring& text, time_interval& value) {
    return parse_interval<wchar_t>(text, value);
}
time_interval from_str(const std::string& text, const time_interval& def) {
    time_interval value;
    return parse_interval<char>(text, value) ? value : def;
}
time_interval from_string(const std::wstring& text, const time_interval& def) {
    time_interval value;
    return parse_interval<wchar_t>(text, value) ? value : def;
}

// streams

std::ostream& operator<<(std::ostream& out, const date& value) {
    return out << to_string(value);
}
std::ostream& operator<<(std::ostream& out, const time& value) {
    return out << to_string(value);
}
std::ostream& operator<<(std::ostream& out, const timestamp& value) {
    return out << to_string(value);
}
std::ostream& operator<<(std::ostream& out, const time_period& value) {
    return out << to_string(value);
}
std::ostream& operator<<(std::ostream& out, const time_interval& value) {
    return out << to_string(value);
}
std::istream& operator>>(std::istream& in, date& value) {
    return read_word(in, value);
}
std::istream& operator>>(std::istream& in, time& value) {
    return read_word(in, value);
}
std::istream& operator>>(std::istream& in, timestamp& value) {
    return read_two_words(in, value);
}
std::istream& operator>>(std::istream& in, time_interval& value) {
    return read_two_words(in, value);
}

} // namespace qel
