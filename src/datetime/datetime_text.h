// The mask engine behind every date and time text, one template for char and wchar_t.
// A mask is checked and compiled once into the positions of its fields; formatting and
// parsing then work from that layout.
#pragma once

#include "datetime/calendar_internal.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qel::detail {

// What a mask may contain: its separator, its field letters (lower case, in the order the
// values are passed: day, month, year / hours, minutes, seconds, hundredths) and the error
// of a broken mask.
struct mask_kind {
    char separator;
    const char* letters;
    int required_fields; // leading letters that a parse cannot do without
    bool is_date;
    const char* error;
};

inline constexpr mask_kind date_mask_kind{'.', "dmy", 3, true, "invalid date mask"};
inline constexpr mask_kind time_mask_kind{':', "hmsi", 2, false, "invalid time mask"};

inline constexpr std::size_t max_mask_fields = 4;

struct mask_field {
    std::size_t start;
    std::size_t width;
    int letter;    // index into mask_kind::letters
    bool zero_pad; // lower-case letter: pad with '0', else with blanks
};

// A valid mask: every character is the separator or belongs to one field, each letter at
// most once.
struct compiled_mask {
    std::size_t length = 0;
    bool separated = false; // fields split at the separator, else fixed width
    std::size_t field_count = 0;
    mask_field fields[max_mask_fields] = {};
    int field_of_letter[max_mask_fields] = {-1, -1, -1, -1};
};

// Checks a caller's mask and compiles it; throws std::invalid_argument with kind.error when
// it breaks the mask rules.
template <class Ch>
compiled_mask compile_mask(std::basic_string_view<Ch> mask, const mask_kind& kind);

// The built-in "dd.mm.yyyy" and "hh:mm:ss:ii".
const compiled_mask& default_date_mask();
const compiled_mask& default_time_mask();

// Appends the text of the values (in the kind's letter order) under the mask to `out`;
// IsDate chooses the date kind, else the time kind.
template <class Ch, bool IsDate>
void format_fields(const int* values, const compiled_mask& mask, Ch sep,
                   std::basic_string<Ch>& out);

// Reads the values (in the kind's letter order) of one starting at `pos`; a date is validated
// and the time ranges are checked. False leaves `values` and `end` unchanged. Throws
// std::out_of_range when `pos` lies beyond the text.
template <class Ch, bool IsDate>
bool parse_fields(std::basic_string_view<Ch> text, const compiled_mask& mask, Ch sep,
                  std::uint64_t pos, std::uint64_t& end, int* values);

// A base-10 integer at the start of `text` in the manner of strtol with a 32-bit long:
// leading white space, an optional sign, at least one digit. False on no digits or overflow;
// otherwise `consumed` counts the characters read and `digits` the digits among them.
template <class Ch>
bool read_integer(std::basic_string_view<Ch> text, std::size_t& consumed, std::size_t& digits,
                  int& value);

// Direct code for the built-in masks, used by the entry points that take no mask; the
// general steps above give the same results, and take over wherever these decline.

inline constexpr std::size_t default_date_length = 10; // "dd.mm.yyyy"
inline constexpr std::size_t default_time_length = 11; // "hh:mm:ss:ii"

inline constexpr char digit_pairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

template <class Ch> inline void put_two_digits(Ch* at, unsigned int value) {
    const char* pair = digit_pairs + 2 * value;
    at[0] = static_cast<Ch>(pair[0]);
    at[1] = static_cast<Ch>(pair[1]);
}

// Writes the date text of `dv` under "dd.mm.yyyy" into at[0..10). False, with nothing
// written, when a field would not be plain digits (a year beyond 9999 or before 1); the
// general steps handle those.
template <class Ch> inline bool format_default_date(int dv, Ch sep, Ch* at) {
    if (dv < 0)
        return false;
    int day = 0, month = 0, year = 0;
    split_day_value(dv, day, month, year);
    if (year > 9999)
        return false;
    put_two_digits(at, unsigned(day));
    at[2] = sep;
    put_two_digits(at + 3, unsigned(month));
    at[5] = sep;
    put_two_digits(at + 6, unsigned(year) / 100);
    put_two_digits(at + 8, unsigned(year) % 100);
    return true;
}

// Writes the time text of `tv` under "hh:mm:ss:ii" into at[0..11); false, with nothing
// written, outside 0 to 99 hours.
template <class Ch> inline bool format_default_time(int tv, Ch sep, Ch* at) {
    if (tv < 0 || tv >= 100 * 360000)
        return false;
    const unsigned int value = unsigned(tv);
    const unsigned int seconds = value / 100;
    const unsigned int minutes = seconds / 60;
    put_two_digits(at, minutes / 60);
    at[2] = sep;
    put_two_digits(at + 3, minutes % 60);
    at[5] = sep;
    put_two_digits(at + 6, seconds % 60);
    at[8] = sep;
    put_two_digits(at + 9, value % 100);
    return true;
}

// The outcome of reading a text of the plain shape.
enum class plain_parse { not_plain, refused, accepted };

template <class Ch> inline unsigned int digit_value(Ch c) {
    return static_cast<unsigned int>(c) - static_cast<unsigned int>('0');
}

// Reads at[0..10) under "dd.mm.yyyy" when it is of the plain shape (digits in every field
// position, `sep` at both separator positions; `sep` is no digit); the date is validated.
template <class Ch> inline plain_parse parse_default_date(const Ch* at, Ch sep, int& dv) {
    const unsigned int d0 = digit_value(at[0]), d1 = digit_value(at[1]);
    const unsigned int m0 = digit_value(at[3]), m1 = digit_value(at[4]);
    const unsigned int y0 = digit_value(at[6]), y1 = digit_value(at[7]);
    const unsigned int y2 = digit_value(at[8]), y3 = digit_value(at[9]);
    if (d0 > 9 || d1 > 9 || m0 > 9 || m1 > 9 || y0 > 9 || y1 > 9 || y2 > 9 || y3 > 9 ||
        at[2] != sep || at[5] != sep)
        return plain_parse::not_plain;
    const int day = int(d0 * 10 + d1);
    const int month = int(m0 * 10 + m1);
    const int year = int((y0 * 10 + y1) * 100 + y2 * 10 + y3);
    if (!is_valid_dmy(day, month, year))
        return plain_parse::refused;
    dv = valid_day_value(day, month, year);
    return plain_parse::accepted;
}

// Reads at[0..11) under "hh:mm:ss:ii" when it is of the plain shape; the ranges are checked.
template <class Ch> inline plain_parse parse_default_time(const Ch* at, Ch sep, int& tv) {
    const unsigned int h0 = digit_value(at[0]), h1 = digit_value(at[1]);
    const unsigned int m0 = digit_value(at[3]), m1 = digit_value(at[4]);
    const unsigned int s0 = digit_value(at[6]), s1 = digit_value(at[7]);
    const unsigned int i0 = digit_value(at[9]), i1 = digit_value(at[10]);
    if (h0 > 9 || h1 > 9 || m0 > 9 || m1 > 9 || s0 > 9 || s1 > 9 || i0 > 9 || i1 > 9 ||
        at[2] != sep || at[5] != sep || at[8] != sep)
        return plain_parse::not_plain;
    const unsigned int hours = h0 * 10 + h1;
    const unsigned int minutes = m0 * 10 + m1;
    const unsigned int seconds = s0 * 10 + s1;
    if (hours > 23 || minutes > 59 || seconds > 59)
        return plain_parse::refused;
    tv = int(((hours * 60 + minutes) * 60 + seconds) * 100 + i0 * 10 + i1);
    return plain_parse::accepted;
}

} // namespace qel::detail
