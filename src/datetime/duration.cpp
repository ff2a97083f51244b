// Durations: time_period in milliseconds, time_interval in hundredths, and the zone offset.
#include "datetime/calendar_internal.h"

#include <qel/datetime.h>

#include "platform/clock.h"

#include <climits>
#include <cmath>
#include <cstdint>

namespace qel {
namespace detail {

std::int64_t round_half_away(double value) {
    // What llround gives on x86 for values it cannot represent (and NaN): no undefined cast.
    if (!(std::fabs(value) < 9.2e18))
        return INT64_MIN;
    const double whole = std::trunc(value);
    const double rest = value - whole;
    if (rest >= 0.5)
        return static_cast<std::int64_t>(whole) + 1;
    if (rest <= -0.5)
        return static_cast<std::int64_t>(whole) - 1;
    return static_cast<std::int64_t>(whole);
}

} // namespace detail

namespace {

constexpr std::int64_t ms_per_second = 1000;
constexpr std::int64_t ms_per_minute = 60 * ms_per_second;
constexpr std::int64_t ms_per_hour = 60 * ms_per_minute;
constexpr std::int64_t ms_per_day = 24 * ms_per_hour;
constexpr std::int64_t hundredths_per_day = detail::hundredths_per_day;

// Periods wrap on overflow instead of being undefined.
std::int32_t wrap32(std::int64_t value) {
    return static_cast<std::int32_t>(value);
}

} // namespace

// time_period

time_period::time_period(int s, int ms) : value_(wrap32(s * ms_per_second + ms)) {}

time_period::time_period(int m, int s, int ms)
    : value_(wrap32((std::int64_t{m} * 60 + s) * ms_per_second + ms)) {}

time_period::time_period(int h, int m, int s, int ms)
    : value_(wrap32(((std::int64_t{h} * 60 + m) * 60 + s) * ms_per_second + ms)) {}

time_period::time_period(int d, int h, int m, int s, int ms) {
    put(d, h, m, s, ms);
}

void time_period::put(int d, int h, int m, int s, int ms) {
    value_ = wrap32((((std::int64_t{d} * 24 + h) * 60 + m) * 60 + s) * ms_per_second + ms);
}

void time_period::get(int& d, int& h, int& m, int& s, int& ms) const {
    d = static_cast<int>(value_ / ms_per_day);
    int rest = static_cast<int>(value_ - d * ms_per_day);
    h = static_cast<int>(rest / ms_per_hour);
    rest -= static_cast<int>(h * ms_per_hour);
    m = static_cast<int>(rest / ms_per_minute);
    rest -= static_cast<int>(m * ms_per_minute);
    s = static_cast<int>(rest / ms_per_second);
    ms = static_cast<int>(rest - s * ms_per_second);
}

void time_period::put_days(int d) {
    value_ = wrap32(d * ms_per_day);
}
void time_period::put_hours(int h) {
    value_ = wrap32(h * ms_per_hour);
}
void time_period::put_minutes(int m) {
    value_ = wrap32(m * ms_per_minute);
}
void time_period::put_seconds(int s) {
    value_ = wrap32(s * ms_per_second);
}

time_period& time_period::operator+=(const time_period& other) {
    return *this += other.value_;
}
time_period& time_period::operator-=(const time_period& other) {
    return *this -= other.value_;
}

time_period& time_period::operator+=(int ms) {
    value_ = wrap32(std::int64_t{value_} + ms);
    return *this;
}

time_period& time_period::operator-=(int ms) {
    value_ = wrap32(std::int64_t{value_} - ms);
    return *this;
}

time_period& time_period::operator++() {
    return *this += 1;
}
time_period& time_period::operator--() {
    return *this -= 1;
}

time_period time_period::operator++(int) {
    time_period old = *this;
    ++*this;
    return old;
}

time_period time_period::operator--(int) {
    time_period old = *this;
    --*this;
    return old;
}

// time_interval

time_interval::time_interval(int days, const time& t) {
    put(days, t);
}

void time_interval::get(int& days, time& t) const {
    days = static_cast<int>(value_ / hundredths_per_day);
    t = time(static_cast<int>(value_ - days * hundredths_per_day));
}

void time_interval::put(int days) {
    value_ = days * hundredths_per_day;
}

void time_interval::put(int days, const time& t) {
    value_ = days * hundredths_per_day + t.get();
}

void time_interval::put_days(double days) {
    value_ = detail::round_half_away(days * 8640000.0);
}

void time_interval::put_hours(double hours) {
    value_ = detail::round_half_away(hours * 360000.0);
}

void time_interval::put_seconds(double seconds) {
    value_ = detail::round_half_away(seconds * 100.0);
}

double time_interval::days() const {
    return double(value_) / 8640000.0;
}
double time_interval::hours() const {
    return double(value_) / 360000.0;
}
double time_interval::seconds() const {
    return double(value_) / 100.0;
}

int time_interval::hundredths_of_second() const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value_));
}

int time_interval::milliseconds() const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value_) * 10u);
}

time_period time_interval::to_period() const {
    return time_period(milliseconds());
}

time_interval& time_interval::operator+=(const time_interval& other) {
    value_ = detail::wrapping_add(value_, other.value_);
    return *this;
}

time_interval& time_interval::operator-=(const time_interval& other) {
    value_ = detail::wrapping_sub(value_, other.value_);
    return *this;
}

time_interval& time_interval::operator+=(const time_period& period) {
    value_ = detail::wrapping_add(value_, period.millisecs() / 10);
    return *this;
}

time_interval& time_interval::operator-=(const time_period& period) {
    value_ = detail::wrapping_sub(value_, period.millisecs() / 10);
    return *this;
}

time_interval get_system_time_zone() {
    // The runtime's zone data is loaded once, on first use, safely across threads.
    static const bool initialised = (platform::initialise_time_zone(), true);
    (void)initialised;
    const long seconds_west = platform::standard_offset_seconds_west();
    return time_interval(detail::round_half_away(-double(seconds_west) * 100.0));
}

} // namespace qel
