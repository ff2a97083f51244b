// The mask engine: checking, formatting and parsing under date and time masks.
#include "datetime/datetime_text.h"

#include "datetime/calendar_internal.h"

#include <climits>
#include <stdexcept>

namespace qel::detail {
namespace {

template <class Ch> using view = std::basic_string_view<Ch>;

template <class Ch> constexpr char lower_ascii(Ch c) {
    if (c >= Ch('A') && c <= Ch('Z'))
        return static_cast<char>(c - Ch('A') + 'a');
    if (c >= Ch('a') && c <= Ch('z'))
        return static_cast<char>(c);
    return '\0';
}

template <class Ch> bool is_digit(Ch c) {
    return c >= Ch('0') && c <= Ch('9');
}

// The white space that strtol skips in the C locale.
template <class Ch> bool is_c_space(Ch c) {
    return c == Ch(' ') || (c >= Ch('\t') && c <= Ch('\r'));
}

template <class Ch> constexpr bool contains(view<Ch> text, Ch c) {
    for (Ch x : text)
        if (x == c)
            return true;
    return false;
}

constexpr int letter_index(const char* letters, char lower) {
    for (int i = 0; lower != '\0' && letters[i] != '\0'; ++i)
        if (letters[i] == lower)
            return i;
    return -1;
}

// Adds one field to the layout, or returns false when it breaks a rule.
template <class Ch>
constexpr bool add_field(compiled_mask& out, view<Ch> field, std::size_t start,
                         const mask_kind& kind) {
    if (field.size() < 2)
        return false;
    const int letter = letter_index(kind.letters, lower_ascii(field[0]));
    if (letter < 0 || out.field_of_letter[letter] >= 0)
        return false;
    for (Ch c : field)
        if (c != field[0])
            return false;
    if (kind.is_date && kind.letters[letter] == 'y' && field.size() == 3)
        return false;
    out.field_of_letter[letter] = int(out.field_count);
    out.fields[out.field_count++] = {start, field.size(), letter,
                                     lower_ascii(field[0]) == field[0]};
    return true;
}

template <class Ch>
constexpr bool compile_into(compiled_mask& out, view<Ch> mask, const mask_kind& kind) {
    const Ch separator = Ch(kind.separator);
    out.length = mask.size();
    out.separated = contains(mask, separator);
    std::size_t start = 0;
    if (out.separated) {
        for (std::size_t i = 0; i <= mask.size(); ++i) {
            if (i == mask.size() || mask[i] == separator) {
                if (!add_field(out, mask.substr(start, i - start), start, kind))
                    return false;
                start = i + 1;
            }
        }
        return true;
    }
    while (start < mask.size()) {
        std::size_t stop = start + 1;
        while (stop < mask.size() && mask[stop] == mask[start])
            ++stop;
        if (!add_field(out, mask.substr(start, stop - start), start, kind))
            return false;
        start = stop;
    }
    return true;
}

constexpr compiled_mask compile_default(std::string_view mask, const mask_kind& kind) {
    compiled_mask out;
    compile_into(out, mask, kind);
    return out;
}

constexpr int digit_count(unsigned int magnitude) {
    int count = 1;
    while (magnitude >= 10) {
        magnitude /= 10;
        ++count;
    }
    return count;
}

// Smallest number with more digits than the index, for widths up to 9.
constexpr unsigned int too_wide[10] = {1,      10,      100,      1000,      10000,
                                       100000, 1000000, 10000000, 100000000, 1000000000};

template <class Ch>
inline void write_field(Ch* at, std::size_t width, bool zero_pad, int value, bool year) {
    if (year && width == 2 && value >= 1950 && value <= 2049)
        value -= value >= 2000 ? 2000 : 1900;
    const Ch pad = zero_pad ? Ch('0') : Ch(' ');
    if (value >= 0 && (width >= 10 || unsigned(value) < too_wide[width])) {
        // Every position gets a digit, two at a time, so leading zeros are the zero padding;
        // blank padding then turns them into blanks. Fixed step counts keep branches
        // predictable.
        unsigned int rest = unsigned(value);
        std::size_t i = width;
        for (; i >= 2; i -= 2) {
            const char* pair = digit_pairs + 2 * (rest % 100);
            at[i - 2] = static_cast<Ch>(pair[0]);
            at[i - 1] = static_cast<Ch>(pair[1]);
            rest /= 100;
        }
        if (i == 1)
            at[0] = static_cast<Ch>('0' + rest % 10);
        if (!zero_pad)
            for (std::size_t j = 0; j + 1 < width && at[j] == Ch('0'); ++j)
                at[j] = pad;
        return;
    }
    // Negative numbers keep their minus sign in front of the digits.
    const unsigned int magnitude = 0u - static_cast<unsigned int>(value);
    const std::size_t count = std::size_t(digit_count(magnitude)) + 1;
    if (value >= 0 || count > width) {
        for (std::size_t i = 0; i < width; ++i)
            at[i] = Ch('*');
        return;
    }
    unsigned int rest = magnitude;
    Ch* digit = at + width;
    do {
        *--digit = static_cast<Ch>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    *--digit = Ch('-');
    while (digit != at)
        *--digit = pad;
}

template <class Ch>
inline bool read_integer_inline(view<Ch> text, std::size_t& consumed, std::size_t& digits,
                                int& value) {
    std::size_t at = 0;
    while (at < text.size() && is_c_space(text[at]))
        ++at;
    bool negative = false;
    if (at < text.size() && (text[at] == Ch('+') || text[at] == Ch('-'))) {
        negative = text[at] == Ch('-');
        ++at;
    }
    const std::size_t first_digit = at;
    long long magnitude = 0;
    for (; at < text.size() && is_digit(text[at]); ++at) {
        magnitude = magnitude * 10 + (text[at] - Ch('0'));
        if (magnitude > 2147483648LL)
            magnitude = 2147483649LL; // stays out of range whatever follows
    }
    if (at == first_digit || magnitude > (negative ? 2147483648LL : INT_MAX))
        return false;
    consumed = at;
    digits = at - first_digit;
    value = static_cast<int>(negative ? -magnitude : magnitude);
    return true;
}

// One field's text: blanks and tabs around a strtol-style integer that takes up the rest.
template <class Ch> inline bool read_field(view<Ch> piece, int& value, std::size_t& digits) {
    // Common case first: nothing but up to nine digits, which cannot overflow.
    if (!piece.empty() && piece.size() <= 9) {
        int number = 0;
        std::size_t i = 0;
        for (; i < piece.size(); ++i) {
            const unsigned int digit = unsigned(piece[i]) - unsigned('0');
            if (digit > 9)
                break;
            number = number * 10 + int(digit);
        }
        if (i == piece.size()) {
            value = number;
            digits = i;
            return true;
        }
    }
    while (!piece.empty() && (piece.front() == Ch(' ') || piece.front() == Ch('\t')))
        piece.remove_prefix(1);
    while (!piece.empty() && (piece.back() == Ch(' ') || piece.back() == Ch('\t')))
        piece.remove_suffix(1);
    std::size_t consumed = 0;
    return !piece.empty() && read_integer_inline(piece, consumed, digits, value) &&
           consumed == piece.size();
}

// Checks the values read (in the kind's letter order) and stores them with their end.
template <bool IsDate>
inline bool check_and_store(int* read, std::size_t year_digits, std::uint64_t new_end,
                            std::uint64_t& end, int* values) {
    constexpr int letter_count = IsDate ? 3 : 4;
    if constexpr (IsDate) {
        int& year = read[2];
        if (year_digits <= 2 && year >= 0 && year <= 49)
            year += 2000;
        else if (year_digits <= 2 && year >= 50 && year <= 99)
            year += 1900;
        if (!is_valid_dmy(read[0], read[1], year))
            return false;
    } else if (read[0] < 0 || read[0] > 23 || read[1] < 0 || read[1] > 59 || read[2] < 0 ||
               read[2] > 59 || read[3] < 0 || read[3] > 99) {
        return false;
    }
    for (int letter = 0; letter < letter_count; ++letter)
        values[letter] = read[letter];
    end = new_end;
    return true;
}

// The common case: the stretch is as long as the mask, every field is full of digits and
// every separator is in its place. The general steps would then cut exactly the mask's
// fields, strip nothing and read plain numbers, so they are read directly. Returns false
// when the text is not of this shape (`handled` false) or when it fails the checks.
template <class Ch, bool IsDate>
inline bool parse_plain(view<Ch> stretch, const compiled_mask& mask, Ch sep, std::uint64_t pos,
                        std::uint64_t& end, int* values, bool& handled) {
    constexpr const mask_kind& kind = IsDate ? date_mask_kind : time_mask_kind;
    handled = false;
    // A digit separator would cut fields apart in the general steps.
    if (stretch.size() != mask.length || (mask.separated && is_digit(sep)))
        return false;
    int read[max_mask_fields] = {};
    std::size_t year_digits = 0;
    for (std::size_t i = 0; i < mask.field_count; ++i) {
        const mask_field& f = mask.fields[i];
        if (f.width > 9 || (mask.separated && i > 0 && stretch[f.start - 1] != sep))
            return false;
        int number = 0;
        for (std::size_t j = f.start; j < f.start + f.width; ++j) {
            const unsigned int digit = unsigned(stretch[j]) - unsigned('0');
            if (digit > 9)
                return false;
            number = number * 10 + int(digit);
        }
        read[f.letter] = number;
        if (IsDate && f.letter == 2)
            year_digits = f.width;
    }
    handled = true;
    for (int letter = 0; letter < kind.required_fields; ++letter)
        if (mask.field_of_letter[letter] < 0)
            return false;
    return check_and_store<IsDate>(read, year_digits, pos + mask.length, end, values);
}

} // namespace

template <class Ch> compiled_mask compile_mask(view<Ch> mask, const mask_kind& kind) {
    compiled_mask out;
    if (!compile_into(out, mask, kind))
        throw std::invalid_argument(kind.error);
    return out;
}

namespace {

constexpr compiled_mask default_date = compile_default("dd.mm.yyyy", date_mask_kind);
constexpr compiled_mask default_time = compile_default("hh:mm:ss:ii", time_mask_kind);
static_assert(default_date.field_count == 3 && default_time.field_count == 4);

} // namespace

const compiled_mask& default_date_mask() {
    return default_date;
}
const compiled_mask& default_time_mask() {
    return default_time;
}

template <class Ch, bool IsDate>
void format_fields(const int* values, const compiled_mask& mask, Ch sep,
                   std::basic_string<Ch>& out) {
    // Every character of a valid mask is a separator or a field, so appending separators
    // and filling the fields in gives the whole text.
    const std::size_t offset = out.size();
    out.append(mask.length, sep);
    Ch* text = out.data() + offset;
    for (std::size_t i = 0; i < mask.field_count; ++i) {
        const mask_field& f = mask.fields[i];
        const bool year = IsDate && f.letter == 2;
        write_field(text + f.start, f.width, f.zero_pad, values[f.letter], year);
    }
}

template <class Ch>
bool read_integer(view<Ch> text, std::size_t& consumed, std::size_t& digits, int& value) {
    return read_integer_inline(text, consumed, digits, value);
}

template <class Ch, bool IsDate>
bool parse_fields(view<Ch> text, const compiled_mask& mask, Ch sep, std::uint64_t pos,
                  std::uint64_t& end, int* values) {
    constexpr const mask_kind& kind = IsDate ? date_mask_kind : time_mask_kind;
    constexpr int letter_count = IsDate ? 3 : 4;
    const view<Ch> stretch = text.substr(pos, mask.length); // throws beyond the end
    bool handled = false;
    const bool plain = parse_plain<Ch, IsDate>(stretch, mask, sep, pos, end, values, handled);
    if (handled)
        return plain;
    const std::size_t count = mask.field_count;

    view<Ch> pieces[max_mask_fields] = {};
    std::size_t separators = 0;
    if (mask.separated) {
        std::size_t start = 0, piece = 0;
        for (std::size_t i = 0; i < stretch.size(); ++i) {
            if (stretch[i] == sep) {
                if (piece < count)
                    pieces[piece] = stretch.substr(start, i - start);
                ++piece;
                start = i + 1;
            }
        }
        if (piece < count)
            pieces[piece] = stretch.substr(start);
        separators = piece;
    } else {
        std::size_t start = 0;
        for (std::size_t i = 0; i < count && start < stretch.size(); ++i) {
            pieces[i] = stretch.substr(start, mask.fields[i].width);
            start += pieces[i].size();
        }
    }
    // Text after the last field is not taken: keep its leading blanks and digits only.
    if (count > 0) {
        view<Ch>& last = pieces[count - 1];
        std::size_t keep = 0;
        while (keep < last.size() && last[keep] == Ch(' '))
            ++keep;
        while (keep < last.size() && is_digit(last[keep]))
            ++keep;
        last = last.substr(0, keep);
    }

    int read[max_mask_fields] = {};
    std::size_t year_digits = 0;
    for (int letter = 0; letter < letter_count; ++letter) {
        const int index = mask.field_of_letter[letter];
        if (index < 0) {
            if (letter < kind.required_fields)
                return false;
            continue; // missing seconds or hundredths count as 0
        }
        const view<Ch> piece = pieces[index];
        if (piece.size() > mask.fields[index].width)
            return false;
        std::size_t digits = 0;
        if (!read_field(piece, read[letter], digits))
            return false;
        if (IsDate && letter == 2)
            year_digits = digits;
    }

    std::size_t taken = 0;
    for (std::size_t i = 0; i < count; ++i)
        taken += pieces[i].size();
    return check_and_store<IsDate>(read, year_digits, pos + separators + taken, end, values);
}

template compiled_mask compile_mask<char>(view<char>, const mask_kind&);
template compiled_mask compile_mask<wchar_t>(view<wchar_t>, const mask_kind&);
template void format_fields<char, true>(const int*, const compiled_mask&, char, std::string&);
template void format_fields<char, false>(const int*, const compiled_mask&, char, std::string&);
template void format_fields<wchar_t, true>(const int*, const compiled_mask&, wchar_t,
                                           std::wstring&);
template void format_fields<wchar_t, false>(const int*, const compiled_mask&, wchar_t,
                                            std::wstring&);
template bool parse_fields<char, true>(view<char>, const compiled_mask&, char, std::uint64_t,
                                       std::uint64_t&, int*);
template bool parse_fields<char, false>(view<char>, const compiled_mask&, char, std::uint64_t,
                                        std::uint64_t&, int*);
template bool parse_fields<wchar_t, true>(view<wchar_t>, const compiled_mask&, wchar_t,
                                          std::uint64_t, std::uint64_t&, int*);
template bool parse_fields<wchar_t, false>(view<wchar_t>, const compiled_mask&, wchar_t,
                                           std::uint64_t, std::uint64_t&, int*);
template bool read_integer<char>(view<char>, std::size_t&, std::size_t&, int&);
template bool read_integer<wchar_t>(view<wchar_t>, std::size_t&, std::size_t&, int&);

} // namespace qel::detail
