// Calendar and clock values: `date` (a day value counted from 01.01.0001), `time`
// (hundredths of a second since midnight), `timestamp` (both in one count), the durations
// `time_period` (milliseconds) and `time_interval` (hundredths), and their text forms under
// masks such as "dd.mm.yyyy" and "hh:mm:ss:ii", in narrow and wide text.
#pragma once

#include <qel/export.h>

#include <cstdint>
#include <iosfwd>
#include <string>

namespace qel {

namespace detail {

// Hundredths of a second in a day.
inline constexpr int hundredths_per_day = 8640000;

// Brings any count into 0..8639999 modulo a day.
QEL_API int normalize_time_(int tv);
// ((h * 60 + m) * 60 + s) * 100 + i, without checks.
QEL_API int hms_to_tv_(int hours, int minutes, int seconds, int hundredths);
// Truncating split; hours are not reduced modulo 24.
QEL_API void tv_to_hms_(int tv, int& hours, int& minutes, int& seconds, int& hundredths);
// True for 01.01.1901 (693975) up to 31.12.2099 (766658).
QEL_API bool is_valid_dv_(int dv);
// Day value under the four-year leap rule; the month is folded into 1..12, the day is not.
QEL_API int dmy_to_dv_(int day, int month, int year);
QEL_API void dv_to_dmy_(int dv, int& day, int& month, int& year);

} // namespace detail

class time_interval;

// A length of time in milliseconds (32 bits); no operation checks for overflow.
class QEL_API time_period {
public:
    time_period() = default;
    time_period(int ms) : value_(ms) {}
    time_period(int s, int ms);
    time_period(int m, int s, int ms);
    time_period(int h, int m, int s, int ms);
    time_period(int d, int h, int m, int s, int ms);

    void put(int d, int h, int m, int s, int ms);
    void get(int& d, int& h, int& m, int& s, int& ms) const;
    bool empty() const { return value_ == 0; }
    int get() const { return value_; }
    void put(int ms) { value_ = ms; }
    time_period& operator=(int ms) {
        value_ = ms;
        return *this;
    }

    // Totals of the whole count, not components.
    int days() const { return value_ / 86400000; }
    int hours() const { return value_ / 3600000; }
    int minutes() const { return value_ / 60000; }
    int seconds() const { return value_ / 1000; }
    int millisecs() const { return value_; }
    int hundredths_of_second() const { return value_ / 10; }
    void put_days(int d);
    void put_hours(int h);
    void put_minutes(int m);
    void put_seconds(int s);
    void put_millisecs(int ms) { value_ = ms; }

    time_period& operator+=(const time_period& other);
    time_period& operator-=(const time_period& other);
    time_period& operator+=(int ms);
    time_period& operator-=(int ms);
    time_period& operator++();
    time_period operator++(int);
    time_period& operator--();
    time_period operator--(int);

private:
    std::int32_t value_ = 0;
};

// A time of day in hundredths of a second since midnight, normally 0..8639999.
class QEL_API time {
public:
    time() = default;
    time(int tv) : value_(tv) {}
    // Normalised: time(25, 0, 0, 0) is 01:00:00.00.
    time(int h, int m, int s, int i);

    void put(int tv) { value_ = tv; }
    int get() const { return value_; }
    // Only 0..23, 0..59, 0..59, 0..99; otherwise false and the value stays.
    bool put(int h, int m, int s, int i);
    void get(int& h, int& m, int& s) const;
    void get(int& h, int& m, int& s, int& i) const;

    // Arithmetic wraps round midnight.
    time& operator+=(const time& other);
    time& operator-=(const time& other);
    time& operator+=(int hundredths);
    time& operator-=(int hundredths);

    void put_system_clock();
    static time min_limit() { return time(0); }
    // One past 23:59:59.99.
    static time max_limit() { return time(detail::hundredths_per_day); }

private:
    std::int32_t value_ = 0;
};

// A calendar day as its day value; valid from 01.01.1901 to 31.12.2099.
class QEL_API date {
public:
    date() = default;
    date(int dv) : value_(dv) {}
    // Not validated: date(0, 3, 2004) is 29.02.2004.
    date(int day, int month, int year);

    void put(int dv) { value_ = dv; }
    int get() const { return value_; }
    // Validated; false leaves the value unchanged.
    bool put(int day, int month, int year);
    void get(int& day, int& month, int& year) const;
    bool is_valid() const;

    // Day values wrap at 32 bits like every other count of the family.
    date& operator+=(int days) {
        value_ =
            static_cast<int>(static_cast<unsigned int>(value_) + static_cast<unsigned int>(days));
        return *this;
    }
    date& operator-=(int days) {
        value_ =
            static_cast<int>(static_cast<unsigned int>(value_) - static_cast<unsigned int>(days));
        return *this;
    }
    date& operator++() { return *this += 1; }
    date operator++(int) {
        date old = *this;
        ++*this;
        return old;
    }
    date& operator--() { return *this -= 1; }
    date operator--(int) {
        date old = *this;
        --*this;
        return old;
    }

    // -1 for an invalid value, otherwise 0 (Sunday) .. 6 (Saturday).
    int day_of_week() const;
    // Whole months; the day is lowered until it exists, and nothing moves when no day does.
    void inc_month(int n);
    void dec_month(int n);

    void put_system_clock();
    static date min_limit() { return date(693975); }
    static date max_limit() { return date(766658); }

private:
    std::int32_t value_ = 730500; // 01.01.2001
};

// A signed length in hundredths of a second, the unit of timestamps.
class QEL_API time_interval {
public:
    time_interval() = default;
    time_interval(std::int64_t hundredths) : value_(hundredths) {}
    time_interval(int days, const time& t);
    time_interval(const time& t) : value_(t.get()) {}

    std::int64_t get() const { return value_; }
    // Truncating: both parts negative for a negative count.
    void get(int& days, time& t) const;
    void put(int days);
    void put(const time& t) { value_ = t.get(); }
    void put(int days, const time& t);
    // Rounded to the nearest hundredth, halves away from zero.
    void put_days(double days);
    void put_hours(double hours);
    void put_seconds(double seconds);
    double days() const;
    double hours() const;
    double seconds() const;
    // The count cut to its low 32 bits, and that value in milliseconds.
    int hundredths_of_second() const;
    int milliseconds() const;
    time_period to_period() const;
    bool empty() const { return value_ == 0; }

    time_interval& operator+=(const time_interval& other);
    time_interval& operator-=(const time_interval& other);
    time_interval& operator+=(const time_period& period);
    time_interval& operator-=(const time_period& period);

private:
    std::int64_t value_ = 0;
};

// Day value * 8640000 + time value: hundredths of a second since 01.01.0001.
class QEL_API timestamp {
public:
    timestamp() = default;
    timestamp(std::int64_t count) : value_(count) {}
    timestamp(const date& d, const time& t);
    timestamp(const date& d);
    // Year first; neither part validated nor normalised.
    timestamp(int year, int month, int day, int hour, int minute, int second, int hundredths);

    std::int64_t get() const { return value_; }
    void put(std::int64_t count) { value_ = count; }
    date get_date() const;
    time get_time() const;
    void get(date& d, time& t) const;
    void put(const date& d, const time& t);
    void put(const date& d);
    void get(int& year, int& month, int& day, int& hour, int& minute, int& second,
             int& hundredths) const;
    void put(int year, int month, int day, int hour, int minute, int second, int hundredths);

    timestamp& operator+=(const time_interval& interval);
    timestamp& operator-=(const time_interval& interval);
    timestamp& operator+=(const time_period& period);
    timestamp& operator-=(const time_period& period);
    // Not normalised, so the date part carries.
    timestamp& operator+=(const time& t);
    timestamp& operator-=(const time& t);

    void put_system_clock();

private:
    std::int64_t value_ = std::int64_t{730500} * detail::hundredths_per_day;
};

QEL_API time get_system_clock_time();
QEL_API date get_system_clock_date();
QEL_API timestamp get_system_clock_timestamp();
// -1 outside the valid range or for a triple that date::put refuses.
QEL_API int get_day_of_week(int dv);
QEL_API int get_day_of_week(int day, int month, int year);
// The standard-time offset from UTC in hundredths, positive east; no daylight saving.
QEL_API time_interval get_system_time_zone();

// Text of dates and times under masks.
//
// A date mask names its fields with d (day), m (month) and y (year); a time mask with
// h (hours), m (minutes), s (seconds) and i (hundredths). A field is one letter repeated, and
// its length is the field's width. Lower case pads with '0', upper case with blanks:
// 01.02.2003 is "01.02.2003" under "dd.mm.yyyy" and " 1. 2.2003" under "DD.MM.YYYY".
// Fields are separated by the mask separator, '.' in date masks and ':' in time masks; the
// `sep` argument is what the text has in its place ("dd.mm.yyyy" with '/' reads and writes
// "01/02/2003"). A mask with no separator is fixed-width: "yyyymmdd", "hhmmss".
//
// A mask given by the caller is checked; one that breaks a rule throws
// std::invalid_argument "invalid date mask" or "invalid time mask" before anything is
// written or stored. The rules: every field has at least two characters, one letter of its
// type in one case; no letter appears in two fields (in either case); a year field is not
// three long ("yy", "yyyy" and longer are fine); nothing else, not even another separator,
// may appear. The empty mask is valid and gives empty text. The defaults are "dd.mm.yyyy"
// with '.', "hh:mm:ss:ii" with ':', and one blank between them in timestamps.
//
// Writing never fails: a number wider than its field shows as '*'s, except that a year
// from 1950 to 2049 fits a two-digit field as its last two digits.
//
// Reading: each field may be shorter than its mask field and may have blanks around it; a
// two-digit year 0..49 is 20xx and 50..99 is 19xx. Day, month, year, hours and minutes are
// required, missing seconds and hundredths read as 0. A value is accepted only inside the
// valid range: dates that exist from 01.01.1901 to 31.12.2099, times 00:00:00:00 to
// 23:59:59:99. Anything else is a mismatch (false), never an exception.
QEL_API void to_str(const date& value, const std::string& mask, char sep, std::string& out);
QEL_API void to_str(const date& value, const std::wstring& mask, wchar_t sep, std::wstring& out);
QEL_API void to_str(const date& value, std::string& out);
QEL_API void to_str(const date& value, std::wstring& out);
QEL_API std::string to_string(const date& value, const std::string& mask, char sep);
QEL_API std::wstring to_wstring(const date& value, const std::wstring& mask, wchar_t sep);
QEL_API std::string to_string(const date& value);
QEL_API std::wstring to_wstring(const date& value);

QEL_API void to_str(const time& value, const std::string& mask, char sep, std::string& out);
QEL_API void to_str(const time& value, const std::wstring& mask, wchar_t sep, std::wstring& out);
QEL_API void to_str(const time& value, std::string& out);
QEL_API void to_str(const time& value, std::wstring& out);
QEL_API std::string to_string(const time& value, const std::string& mask, char sep);
QEL_API std::wstring to_wstring(const time& value, const std::wstring& mask, wchar_t sep);
QEL_API std::string to_string(const time& value);
QEL_API std::wstring to_wstring(const time& value);

QEL_API void to_str(const timestamp& value, const std::string& date_mask, char date_sep,
                    char datetime_sep, const std::string& time_mask, char time_sep,
                    std::string& out);
QEL_API void to_str(const timestamp& value, const std::wstring& date_mask, wchar_t date_sep,
                    wchar_t datetime_sep, const std::wstring& time_mask, wchar_t time_sep,
                    std::wstring& out);
QEL_API void to_str(const timestamp& value, std::string& out);
QEL_API void to_str(const timestamp& value, std::wstring& out);
QEL_API std::string to_string(const timestamp& value, const std::string& date_mask, char date_sep,
                              char datetime_sep, const std::string& time_mask, char time_sep);
QEL_API std::wstring to_wstring(const timestamp& value, const std::wstring& date_mask,
                                wchar_t date_sep, wchar_t datetime_sep,
                                const std::wstring& time_mask, wchar_t time_sep);
QEL_API std::string to_string(const timestamp& value);
QEL_API std::wstring to_wstring(const timestamp& value);

// Parsing: a value starting at `pos`; on success `end` is just past it. False leaves
// `value` and `end` unchanged. A `pos` beyond the text throws std::out_of_range.
[[nodiscard]] QEL_API bool extract_from_str(const std::string& text, const std::string& mask,
                                            char sep, std::uint64_t pos, std::uint64_t& end,
                                            date& value);
[[nodiscard]] QEL_API bool extract_from_str(const std::wstring& text, const std::wstring& mask,
                                            wchar_t sep, std::uint64_t pos, std::uint64_t& end,
                                            date& value);
[[nodiscard]] QEL_API bool extract_from_str(const std::string& text, std::uint64_t pos,
                                            std::uint64_t& end, date& value);
[[nodiscard]] QEL_API bool extract_from_str(const std::wstring& text, std::uint64_t pos,
                                            std::uint64_t& end, date& value);
[[nodiscard]] QEL_API bool extract_from_str(const std::string& text, const std::string& mask,
                                            char sep, std::uint64_t pos, std::uint64_t& end,
                                            time& value);
[[nodiscard]] QEL_API bool extract_from_str(const std::wstring& text, const std::wstring& mask,
                                            wchar_t sep, std::uint64_t pos, std::uint64_t& end,
                                            time& value);
[[nodiscard]] QEL_API bool extract_from_str(const std::string& text, std::uint64_t pos,
                                            std::uint64_t& end, time& value);
[[nodiscard]] QEL_API bool extract_from_str(const std::wstring& text, std::uint64_t pos,
                                            std::uint64_t& end, time& value);

// The whole text must be one value; a parsed leading part may be stored even when text
// remains after it and the result is false.
[[nodiscard]] QEL_API bool from_str(const std::string& text, const std::string& mask, char sep,
                                    date& value);
[[nodiscard]] QEL_API bool from_str(const std::wstring& text, const std::wstring& mask, wchar_t sep,
                                    date& value);
[[nodiscard]] QEL_API bool from_str(const std::string& text, date& value);
[[nodiscard]] QEL_API bool from_str(const std::wstring& text, date& value);
// The value under the default mask, or `def` when the text is not one.
QEL_API date from_str(const std::string& text, const date& def);
QEL_API date from_str(const std::wstring& text, const date& def);
[[nodiscard]] QEL_API bool from_str(const std::string& text, const std::string& mask, char sep,
                                    time& value);
[[nodiscard]] QEL_API bool from_str(const std::wstring& text, const std::wstring& mask, wchar_t sep,
                                    time& value);
[[nodiscard]] QEL_API bool from_str(const std::string& text, time& value);
[[nodiscard]] QEL_API bool from_str(const std::wstring& text, time& value);
QEL_API time from_str(const std::string& text, const time& def);
QEL_API time from_str(const std::wstring& text, const time& def);

// A timestamp is stored only when the date, the date-time separator and the time all match.
[[nodiscard]] QEL_API bool from_str(const std::string& text, const std::string& date_mask,
                                    char date_sep, char datetime_sep, const std::string& time_mask,
                                    char time_sep, timestamp& value);
[[nodiscard]] QEL_API bool from_str(const std::wstring& text, const std::wstring& date_mask,
                                    wchar_t date_sep, wchar_t datetime_sep,
                                    const std::wstring& time_mask, wchar_t time_sep,
                                    timestamp& value);
[[nodiscard]] QEL_API bool from_str(const std::string& text, timestamp& value);
[[nodiscard]] QEL_API bool from_str(const std::wstring& text, timestamp& value);
QEL_API timestamp from_str(const std::string& text, const timestamp& def);
QEL_API timestamp from_str(const std::wstring& text, const timestamp& def);

// Periods as "d h:m:s.mmm"; intervals as days, a blank and the time "hh:mm:ss:ii".
QEL_API void to_str(const time_period& value, std::string& out);
QEL_API void to_str(const time_period& value, std::wstring& out);
QEL_API std::string to_string(const time_period& value);
QEL_API std::wstring to_wstring(const time_period& value);
QEL_API void to_str(const time_interval& value, std::string& out);
QEL_API void to_str(const time_interval& value, std::wstring& out);
QEL_API std::string to_string(const time_interval& value);
QEL_API std::wstring to_wstring(const time_interval& value);
[[nodiscard]] QEL_API bool from_str(const std::string& text, time_interval& value);
[[nodiscard]] QEL_API bool from_str(const std::wstring& text, time_interval& value);
QEL_API time_interval from_str(const std::string& text, const time_interval& def);
QEL_API time_interval from_string(const std::wstring& text, const time_interval& def);

// Default texts; reading sets failbit on a mismatch (timestamps and intervals read two words).
QEL_API std::ostream& operator<<(std::ostream& out, const date& value);
QEL_API std::ostream& operator<<(std::ostream& out, const time& value);
QEL_API std::ostream& operator<<(std::ostream& out, const timestamp& value);
QEL_API std::ostream& operator<<(std::ostream& out, const time_period& value);
QEL_API std::ostream& operator<<(std::ostream& out, const time_interval& value);
QEL_API std::istream& operator>>(std::istream& in, date& value);
QEL_API std::istream& operator>>(std::istream& in, time& value);
QEL_API std::istream& operator>>(std::istream& in, timestamp& value);
QEL_API std::istream& operator>>(std::istream& in, time_interval& value);

} // namespace qel
