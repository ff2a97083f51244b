// The mask engine behind every date and time text, one template for char and wchar_t.
// A mask is checked and compiled once into the positions of its fields; formatting and
// parsing then work from that layout.
#pragma once

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

} // namespace qel::detail
