// Calendar helpers shared inside the date and time family; inline so that the text code
// does not pay for calls through the library's exported entry points.
#pragma once

#include <cstdint>

namespace qel::detail {

// Days before each month, common and leap year. A thirteenth entry, the length of the year,
// serves the month folding (a month of -11, -23, ... folds to index 12 of the year before,
// which is January of the year after it) and ends the month search.
inline constexpr int days_before_month[2][13] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366},
};

// dv_to_dmy_.
inline void split_day_value(int dv, int& day, int& month, int& year) {
    const int q = dv / 1461;
    const int r = dv - 1461 * q;
    int k = r / 365;
    if (k == 4)
        k = 3;
    year = 4 * q + 1 + k;
    const int day_of_year = r - 365 * k;
    const int* table = days_before_month[year % 4 == 0];
    int i = 11;
    if (day_of_year >= 0) {
        // The largest i with table[i] <= day_of_year: months are at most 31 days long, so it
        // is day_of_year / 31 or the one after.
        i = day_of_year / 31;
        i += table[i + 1] <= day_of_year ? 1 : 0;
    } else {
        while (i > 0 && table[i] > day_of_year)
            --i;
    }
    month = i + 1;
    day = day_of_year - table[i] + 1;
}

// Day 1..31, month 1..12, year 1901..2099, and the triple survives a round trip through
// its day value (so 31 April and 29 February 2001 are refused). Within these bounds that
// holds exactly when the day exists in its month under the four-year rule.
inline bool is_valid_dmy(int day, int month, int year) {
    if (day < 1 || day > 31 || month < 1 || month > 12 || year < 1901 || year > 2099)
        return false;
    const int* table = days_before_month[year % 4 == 0];
    return day <= table[month] - table[month - 1];
}

// dmy_to_dv_ for a triple that passed is_valid_dmy (no folding needed).
inline int valid_day_value(int day, int month, int year) {
    return 365 * (year - 1) + (year - 1) / 4 - 1 + days_before_month[year % 4 == 0][month - 1] +
           day;
}

// tv_to_hms_.
inline void split_time_value(int tv, int& hours, int& minutes, int& seconds, int& hundredths) {
    const int total_seconds = tv / 100;
    hours = total_seconds / 3600;
    minutes = (total_seconds - 3600 * hours) / 60;
    seconds = total_seconds - 60 * (60 * hours + minutes);
    hundredths = tv - 100 * total_seconds;
}

// 64-bit counts wrap on overflow, as the 32-bit ones do, instead of being undefined.
inline std::int64_t wrapping_add(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}
inline std::int64_t wrapping_sub(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

// normalize_time_ for counts beyond 32 bits (sums of two times).
std::int64_t normalize_time64(std::int64_t v);

// Rounds to the nearest integer, halves away from zero; the library's own code because
// some runtimes' llround misround values just below one half.
std::int64_t round_half_away(double value);

} // namespace qel::detail
