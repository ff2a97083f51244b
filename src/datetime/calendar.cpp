// Day values, time values and the three calendar types built on them.
#include "datetime/calendar_internal.h"

#include <qel/datetime.h>

#include "platform/clock.h"

namespace qel {
namespace detail {
namespace {

constexpr int first_valid_dv = 693975; // 01.01.1901
constexpr int last_valid_dv = 766658;  // 31.12.2099

// Counts wrap to 32 bits instead of overflowing: the raw setters accept any value.
int wrap32(std::int64_t value) {
    return static_cast<int>(static_cast<std::int32_t>(value));
}

} // namespace

std::int64_t normalize_time64(std::int64_t v) {
    if (v >= hundredths_per_day)
        return v % hundredths_per_day;
    if (v < 0)
        return v + hundredths_per_day * ((-v - 1) / hundredths_per_day + 1);
    return v;
}

int normalize_time_(int tv) {
    return static_cast<int>(normalize_time64(tv));
}

int hms_to_tv_(int hours, int minutes, int seconds, int hundredths) {
    return wrap32(((std::int64_t{hours} * 60 + minutes) * 60 + seconds) * 100 + hundredths);
}

void tv_to_hms_(int tv, int& hours, int& minutes, int& seconds, int& hundredths) {
    split_time_value(tv, hours, minutes, seconds, hundredths);
}

bool is_valid_dv_(int dv) {
    return dv >= first_valid_dv && dv <= last_valid_dv;
}

int dmy_to_dv_(int day, int month, int year) {
    std::int64_t y = year;
    int index = 0;
    const std::int64_t m0 = std::int64_t{month} - 1;
    if (m0 >= 0) {
        y += m0 / 12;
        index = static_cast<int>(m0 % 12);
    } else {
        const std::int64_t k = (1 - std::int64_t{month}) / 12;
        y -= k + 1;
        index = static_cast<int>(12 * (k + 1) - (1 - std::int64_t{month}));
    }
    const bool leap = y % 4 == 0;
    return wrap32(365 * (y - 1) + (y - 1) / 4 - 1 + days_before_month[leap][index] + day);
}

void dv_to_dmy_(int dv, int& day, int& month, int& year) {
    split_day_value(dv, day, month, year);
}

} // namespace detail

// time

time::time(int h, int m, int s, int i)
    : value_(detail::normalize_time_(detail::hms_to_tv_(h, m, s, i))) {}

bool time::put(int h, int m, int s, int i) {
    if (h < 0 || h > 23 || m < 0 || m > 59 || s < 0 || s > 59 || i < 0 || i > 99)
        return false;
    value_ = detail::hms_to_tv_(h, m, s, i);
    return true;
}

void time::get(int& h, int& m, int& s) const {
    int i = 0;
    detail::tv_to_hms_(value_, h, m, s, i);
}

void time::get(int& h, int& m, int& s, int& i) const {
    detail::tv_to_hms_(value_, h, m, s, i);
}

time& time::operator+=(const time& other) {
    return *this += other.value_;
}
time& time::operator-=(const time& other) {
    return *this -= other.value_;
}

time& time::operator+=(int hundredths) {
    value_ = static_cast<int>(detail::normalize_time64(std::int64_t{value_} + hundredths));
    return *this;
}

time& time::operator-=(int hundredths) {
    value_ = static_cast<int>(detail::normalize_time64(std::int64_t{value_} - hundredths));
    return *this;
}

void time::put_system_clock() {
    const auto now = platform::read_local_clock();
    value_ = detail::hms_to_tv_(now.hour, now.minute, now.second, now.milliseconds / 10);
}

// date

date::date(int day, int month, int year) : value_(detail::dmy_to_dv_(day, month, year)) {}

bool date::put(int day, int month, int year) {
    if (!detail::is_valid_dmy(day, month, year))
        return false;
    value_ = detail::dmy_to_dv_(day, month, year);
    return true;
}

void date::get(int& day, int& month, int& year) const {
    detail::dv_to_dmy_(value_, day, month, year);
}

bool date::is_valid() const {
    return detail::is_valid_dv_(value_);
}

int date::day_of_week() const {
    return get_day_of_week(value_);
}

namespace {

// Stores the triple, lowering the day until it exists; false when no day of the month does.
bool put_nearest_day(date& target, int day, int month, int year) {
    for (; day >= 1; --day)
        if (target.put(day, month, year))
            return true;
    return false;
}

} // namespace

void date::inc_month(int n) {
    int day = 0, month = 0, year = 0;
    get(day, month, year);
    year += n / 12;
    month += n % 12;
    if (month > 12) {
        month -= 12;
        ++year;
    }
    put_nearest_day(*this, day, month, year);
}

void date::dec_month(int n) {
    int day = 0, month = 0, year = 0;
    get(day, month, year);
    year -= n / 12;
    const int r = n % 12;
    if (month > r) {
        month -= r;
    } else {
        month = month + 12 - r;
        --year;
    }
    put_nearest_day(*this, day, month, year);
}

void date::put_system_clock() {
    const auto now = platform::read_local_clock();
    value_ = detail::dmy_to_dv_(now.day, now.month, now.year);
}

// timestamp

namespace {

constexpr std::int64_t per_day = detail::hundredths_per_day;

} // namespace

timestamp::timestamp(const date& d, const time& t) : value_(d.get() * per_day + t.get()) {}

timestamp::timestamp(const date& d) : value_(d.get() * per_day) {}

timestamp::timestamp(int year, int month, int day, int hour, int minute, int second,
                     int hundredths) {
    put(year, month, day, hour, minute, second, hundredths);
}

date timestamp::get_date() const {
    return date(static_cast<int>(value_ / per_day));
}

time timestamp::get_time() const {
    return time(static_cast<int>(value_ % per_day));
}

void timestamp::get(date& d, time& t) const {
    d = get_date();
    t = get_time();
}

void timestamp::put(const date& d, const time& t) {
    value_ = d.get() * per_day + t.get();
}

void timestamp::put(const date& d) {
    value_ = d.get() * per_day;
}

void timestamp::get(int& year, int& month, int& day, int& hour, int& minute, int& second,
                    int& hundredths) const {
    detail::dv_to_dmy_(get_date().get(), day, month, year);
    detail::tv_to_hms_(get_time().get(), hour, minute, second, hundredths);
}

void timestamp::put(int year, int month, int day, int hour, int minute, int second,
                    int hundredths) {
    value_ = detail::dmy_to_dv_(day, month, year) * per_day +
             detail::hms_to_tv_(hour, minute, second, hundredths);
}

timestamp& timestamp::operator+=(const time_interval& interval) {
    value_ = detail::wrapping_add(value_, interval.get());
    return *this;
}

timestamp& timestamp::operator-=(const time_interval& interval) {
    value_ = detail::wrapping_sub(value_, interval.get());
    return *this;
}

timestamp& timestamp::operator+=(const time_period& period) {
    value_ = detail::wrapping_add(value_, period.millisecs() / 10);
    return *this;
}

timestamp& timestamp::operator-=(const time_period& period) {
    value_ = detail::wrapping_sub(value_, period.millisecs() / 10);
    return *this;
}

timestamp& timestamp::operator+=(const time& t) {
    value_ = detail::wrapping_add(value_, t.get());
    return *this;
}

timestamp& timestamp::operator-=(const time& t) {
    value_ = detail::wrapping_sub(value_, t.get());
    return *this;
}

void timestamp::put_system_clock() {
    const auto now = platform::read_local_clock();
    value_ = detail::dmy_to_dv_(now.day, now.month, now.year) * per_day +
             detail::hms_to_tv_(now.hour, now.minute, now.second, now.milliseconds / 10);
}

// free functions

time get_system_clock_time() {
    time value;
    value.put_system_clock();
    return value;
}

date get_system_clock_date() {
    date value;
    value.put_system_clock();
    return value;
}

timestamp get_system_clock_timestamp() {
    timestamp value;
    value.put_system_clock();
    return value;
}

int get_day_of_week(int dv) {
    return detail::is_valid_dv_(dv) ? dv % 7 : -1;
}

int get_day_of_week(int day, int month, int year) {
    if (!detail::is_valid_dmy(day, month, year))
        return -1;
    return detail::dmy_to_dv_(day, month, year) % 7;
}

} // namespace qel
