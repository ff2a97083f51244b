// Format records: equality and the sectioned text form.
#include "datetime/calendar_internal.h"
#include "format/format_internal.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <system_error>
#include <utility>

namespace qel {
namespace detail {

section_pos find_section(const std::wstring& text, wchar_t letter) {
    section_pos pos;
    const wchar_t head[] = {letter, L'(', L'\0'};
    const std::size_t open = text.find(head);
    if (open == std::wstring::npos)
        return pos;
    const std::size_t close = text.find(L')', open + 2);
    if (close == std::wstring::npos)
        return pos;
    pos.open = open;
    pos.close = close;
    return pos;
}

void put_section(std::wstring& text, wchar_t letter, const std::wstring& section) {
    const section_pos pos = find_section(text, letter);
    if (pos.found())
        text.replace(pos.open, pos.close - pos.open + 1, section);
    else
        text += section;
}

wchar_t format_letter(E_Format k) {
    static constexpr wchar_t letters[] = L"IFBDTS";
    return k >= 1 && k <= 6 ? letters[k - 1] : L'\0';
}

} // namespace detail

namespace {

// Writing -------------------------------------------------------------------------------

void put_number(std::wstring& out, std::int32_t n) {
    if (n != -1)
        out += std::to_wstring(n);
}

void put_flags(std::wstring& out, std::initializer_list<std::pair<bool, wchar_t>> flags) {
    for (const auto& [set, letter] : flags)
        if (set)
            out += letter;
}

void put_numeric_tail(std::wstring& out, const numeric_format& f) {
    out += L';';
    put_flags(out, {{f.use_zero_text, L'z'},
                    {f.negative_in_parentheses, L'n'},
                    {f.h_flag, L'h'},
                    {f.show_unit, L'u'},
                    {f.unit_first, L'f'}});
    out += L';';
    out += f.zero_text;
    out += L';';
    if (f.use_unit_separator)
        out += f.unit_separator;
    out += L';';
    out += f.unit;
}

void put_group(std::wstring& out, const numeric_format& f) {
    out += L';';
    if (f.use_group_separator)
        out += f.group_separator;
}

// Reading -------------------------------------------------------------------------------

// A cursor over the text between the parentheses. `ok` turns false when a number field
// does not parse; `stopped` when an expected ";" is missing, after which nothing is read.
class section_reader {
public:
    section_reader(const std::wstring& text, std::size_t begin, std::size_t end)
        : text_(text), pos_(begin), end_(end) {}

    bool stopped() const { return stopped_ || !ok_; }
    bool ok() const { return ok_; }

    void semicolon() {
        if (stopped())
            return;
        if (pos_ < end_ && text_[pos_] == L';')
            ++pos_;
        else
            stopped_ = true;
    }

    // In the manner of wcstol: blanks, a sign, at least one digit, no overflow.
    void number(std::int32_t& out) {
        if (stopped() || (pos_ < end_ && text_[pos_] == L';'))
            return;
        std::size_t p = pos_;
        while (p < end_ && is_space(text_[p]))
            ++p;
        bool negative = false;
        if (p < end_ && (text_[p] == L'+' || text_[p] == L'-'))
            negative = text_[p++] == L'-';
        std::int64_t value = 0;
        const std::size_t digits = p;
        for (; p < end_ && text_[p] >= L'0' && text_[p] <= L'9'; ++p) {
            value = value * 10 + (text_[p] - L'0');
            if (value > std::int64_t{INT32_MAX} + 1) {
                ok_ = false;
                return;
            }
        }
        if (p == digits || (!negative && value > INT32_MAX)) {
            ok_ = false;
            return;
        }
        out = static_cast<std::int32_t>(negative ? -value : value);
        pos_ = p;
    }

    std::wstring field() {
        const std::size_t start = pos_;
        while (pos_ < end_ && text_[pos_] != L';')
            ++pos_;
        return text_.substr(start, pos_ - start);
    }

    void text(std::wstring& out) {
        if (!stopped())
            out = field();
    }

    // Masks keep their default when the field is empty.
    void mask(std::wstring& out) {
        if (stopped())
            return;
        std::wstring read = field();
        if (!read.empty())
            out = std::move(read);
    }

    // Mask separators take whatever character comes next, ";" included.
    void any_char(wchar_t& out) {
        if (!stopped() && pos_ < end_)
            out = text_[pos_++];
    }

    void plain_char(wchar_t& out) {
        if (!stopped() && pos_ < end_ && text_[pos_] != L';')
            out = text_[pos_++];
    }

    // A separator with its flag: a character sets both; the section's end right after the
    // ";" sets the flag only.
    void flagged_char(bool& flag, wchar_t& out) {
        if (stopped())
            return;
        if (pos_ == end_) {
            flag = true; // the ";" before this field ended the section
            return;
        }
        if (text_[pos_] != L';') {
            out = text_[pos_++];
            flag = true;
        }
    }

    void flags(std::initializer_list<std::pair<bool*, wchar_t>> flags) {
        if (stopped())
            return;
        const std::wstring read = field();
        for (const auto& [flag, letter] : flags)
            *flag = read.find(letter) != std::wstring::npos;
    }

    // Hours as a decimal number (an exponent allowed, as strtod reads it) that fills the field.
    void hours(std::int64_t& out) {
        if (stopped())
            return;
        const std::wstring read = field();
        if (read.empty())
            return;
        std::string narrow;
        for (const wchar_t c : read) {
            if (c > 0x7F) {
                ok_ = false;
                return;
            }
            narrow += static_cast<char>(c);
        }
        const char* first = narrow.data();
        const char* last = first + narrow.size();
        if (first != last && *first == '+')
            ++first;
        double value = 0;
        const auto [ptr, ec] = std::from_chars(first, last, value, std::chars_format::general);
        const double scaled = value * 360000.0;
        if (ec != std::errc() || ptr != last || first == last || !std::isfinite(scaled) ||
            std::fabs(scaled) >= 9.2e18) {
            ok_ = false;
            return;
        }
        out = detail::round_half_away(scaled);
    }

private:
    static bool is_space(wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); }

    const std::wstring& text_;
    std::size_t pos_;
    std::size_t end_;
    bool stopped_ = false;
    bool ok_ = true;
};

template <class F, class Read>
bool read_section(const std::wstring& text, wchar_t letter, F& f, Read read) {
    const detail::section_pos pos = detail::find_section(text, letter);
    if (!pos.found())
        return false;
    f = F();
    section_reader r(text, pos.open + 2, pos.close);
    read(r);
    return r.ok();
}

void read_numeric_tail(section_reader& r, numeric_format& f) {
    r.semicolon();
    r.flags({{&f.use_zero_text, L'z'},
             {&f.negative_in_parentheses, L'n'},
             {&f.h_flag, L'h'},
             {&f.show_unit, L'u'},
             {&f.unit_first, L'f'}});
    r.semicolon();
    r.text(f.zero_text);
    r.semicolon();
    r.flagged_char(f.use_unit_separator, f.unit_separator);
    r.semicolon();
    r.text(f.unit);
}

bool eq_numeric(const numeric_format& a, const numeric_format& b) {
    return a.width == b.width && a.use_group_separator == b.use_group_separator &&
           a.group_separator == b.group_separator && a.use_zero_text == b.use_zero_text &&
           a.zero_text == b.zero_text && a.negative_in_parentheses == b.negative_in_parentheses &&
           a.h_flag == b.h_flag && a.show_unit == b.show_unit && a.unit == b.unit &&
           a.unit_first == b.unit_first && a.use_unit_separator == b.use_unit_separator &&
           a.unit_separator == b.unit_separator;
}

} // namespace

bool eq(const numeric_format& a, const numeric_format& b) {
    return eq_numeric(a, b);
}
bool eq(const integer_format& a, const integer_format& b) {
    return eq_numeric(a, b);
}
bool eq(const float_format& a, const float_format& b) {
    return eq_numeric(a, b) && a.precision == b.precision && a.max_precision == b.max_precision &&
           a.decimal_separator == b.decimal_separator;
}
bool eq(const bool_format& a, const bool_format& b) {
    return a.true_text == b.true_text && a.false_text == b.false_text && a.g_flag == b.g_flag &&
           a.r_flag == b.r_flag;
}
bool eq(const date_format& a, const date_format& b) {
    return a.mask == b.mask && a.separator == b.separator;
}
bool eq(const time_format& a, const time_format& b) {
    return a.mask == b.mask && a.separator == b.separator &&
           a.use_hundredths_separator == b.use_hundredths_separator &&
           a.hundredths_separator == b.hundredths_separator;
}
bool eq(const timestamp_format& a, const timestamp_format& b) {
    return eq(a.date, b.date) && eq(a.time, b.time) &&
           a.datetime_separator == b.datetime_separator && a.time_first == b.time_first &&
           a.use_system_time_zone == b.use_system_time_zone &&
           a.time_zone_offset == b.time_zone_offset;
}

void format_to_str(const integer_format& f, std::wstring& text) {
    std::wstring s = L"I(";
    put_number(s, f.width);
    put_group(s, f);
    put_numeric_tail(s, f);
    s += L')';
    detail::put_section(text, L'I', s);
}

void format_to_str(const float_format& f, std::wstring& text) {
    std::wstring s = L"F(";
    put_number(s, f.width);
    s += L';';
    put_number(s, f.precision);
    s += L';';
    put_number(s, f.max_precision);
    put_group(s, f);
    s += L';';
    s += f.decimal_separator;
    put_numeric_tail(s, f);
    s += L')';
    detail::put_section(text, L'F', s);
}

void format_to_str(const bool_format& f, std::wstring& text) {
    std::wstring s = L"B(" + f.true_text + L';' + f.false_text + L';';
    put_flags(s, {{f.g_flag, L'g'}, {f.r_flag, L'r'}});
    s += L')';
    detail::put_section(text, L'B', s);
}

void format_to_str(const date_format& f, std::wstring& text) {
    detail::put_section(text, L'D', L"D(" + f.mask + L';' + f.separator + L')');
}

void format_to_str(const time_format& f, std::wstring& text) {
    std::wstring s = L"T(" + f.mask + L';' + f.separator + L';';
    put_flags(s, {{f.use_hundredths_separator, L'p'}});
    s += L';';
    s += f.hundredths_separator;
    s += L')';
    detail::put_section(text, L'T', s);
}

void format_to_str(const timestamp_format& f, std::wstring& text) {
    std::wstring s = L"S(" + f.date.mask + L';' + f.date.separator + L';' + f.time.mask + L';' +
                     f.time.separator + L';';
    put_flags(s, {{f.time.use_hundredths_separator, L'p'},
                  {f.time_first, L't'},
                  {f.use_system_time_zone, L's'}});
    s += L';';
    s += f.time.hundredths_separator;
    s += L';';
    s += f.datetime_separator;
    s += L';';
    if (f.time_zone_offset != 0)
        s += do_format(static_cast<double>(f.time_zone_offset) / 360000.0, float_format());
    s += L')';
    detail::put_section(text, L'S', s);
}

bool str_to_format(const std::wstring& text, integer_format& f) {
    return read_section(text, L'I', f, [&f](section_reader& r) {
        r.number(f.width);
        r.semicolon();
        r.flagged_char(f.use_group_separator, f.group_separator);
        read_numeric_tail(r, f);
    });
}

bool str_to_format(const std::wstring& text, float_format& f) {
    return read_section(text, L'F', f, [&f](section_reader& r) {
        r.number(f.width);
        r.semicolon();
        r.number(f.precision);
        r.semicolon();
        r.number(f.max_precision);
        r.semicolon();
        r.flagged_char(f.use_group_separator, f.group_separator);
        r.semicolon();
        r.plain_char(f.decimal_separator);
        read_numeric_tail(r, f);
    });
}

bool str_to_format(const std::wstring& text, bool_format& f) {
    return read_section(text, L'B', f, [&f](section_reader& r) {
        r.text(f.true_text);
        r.semicolon();
        r.text(f.false_text);
        r.semicolon();
        r.flags({{&f.g_flag, L'g'}, {&f.r_flag, L'r'}});
    });
}

bool str_to_format(const std::wstring& text, date_format& f) {
    return read_section(text, L'D', f, [&f](section_reader& r) {
        r.mask(f.mask);
        r.semicolon();
        r.any_char(f.separator);
    });
}

bool str_to_format(const std::wstring& text, time_format& f) {
    return read_section(text, L'T', f, [&f](section_reader& r) {
        r.mask(f.mask);
        r.semicolon();
        r.any_char(f.separator);
        r.semicolon();
        r.flags({{&f.use_hundredths_separator, L'p'}});
        r.semicolon();
        r.any_char(f.hundredths_separator);
    });
}

bool str_to_format(const std::wstring& text, timestamp_format& f) {
    return read_section(text, L'S', f, [&f](section_reader& r) {
        r.mask(f.date.mask);
        r.semicolon();
        r.any_char(f.date.separator);
        r.semicolon();
        r.mask(f.time.mask);
        r.semicolon();
        r.any_char(f.time.separator);
        r.semicolon();
        r.flags({{&f.time.use_hundredths_separator, L'p'},
                 {&f.time_first, L't'},
                 {&f.use_system_time_zone, L's'}});
        r.semicolon();
        r.any_char(f.time.hundredths_separator);
        r.semicolon();
        r.text(f.datetime_separator);
        r.semicolon();
        r.hours(f.time_zone_offset);
    });
}

} // namespace qel
