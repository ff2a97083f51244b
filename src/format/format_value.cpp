// do_format: numbers, booleans, dates, times and timestamps under a format record.
#include "format/format_internal.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iomanip>
#include <locale>
#include <sstream>
#include <string>
#include <type_traits>

namespace qel {
namespace {

void pad_front(std::wstring& text, std::int32_t width) {
    if (width > 0 && text.size() < static_cast<std::size_t>(width))
        text.insert(0, static_cast<std::size_t>(width) - text.size(), L' ');
}

std::wstring widen(const char* first, const char* last) {
    std::wstring out(static_cast<std::size_t>(last - first), L'\0');
    for (std::size_t i = 0; first != last; ++first, ++i)
        out[i] = static_cast<wchar_t>(static_cast<unsigned char>(*first));
    return out;
}

// Separators between every three characters of `digits`, counted from the right.
std::wstring group(const std::wstring& digits, wchar_t sep) {
    std::wstring out;
    out.reserve(digits.size() + digits.size() / 3);
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i != 0 && (digits.size() - i) % 3 == 0)
            out += sep;
        out += digits[i];
    }
    return out;
}

// Unit, negative style and width, shared by integers and floating point.
void finish_number(std::wstring& text, bool negative, const numeric_format& f) {
    if (f.show_unit && !f.unit.empty()) {
        std::wstring sep = f.use_unit_separator ? std::wstring(1, f.unit_separator) : L"";
        text = f.unit_first ? f.unit + sep + text : text + sep + f.unit;
    }
    if (negative && f.negative_in_parentheses) {
        if (f.show_unit && f.unit_first) {
            const std::size_t minus = text.rfind(L'-');
            if (minus != std::wstring::npos)
                text.erase(minus, 1);
            text = L'(' + text + L')';
        } else if (text.size() > 1 && text[0] == L'-') {
            text[0] = L'(';
            text += L')';
        }
    }
    pad_front(text, f.width);
}

std::wstring zero_text(const numeric_format& f) {
    std::wstring text = f.zero_text;
    pad_front(text, f.width);
    return text;
}

template <class I> std::wstring format_integer(I v, const integer_format& f) {
    if (f.use_zero_text && v == 0)
        return zero_text(f);
    char buf[24];
    const auto res = std::to_chars(buf, buf + sizeof buf, v);
    std::wstring text = widen(buf, res.ptr);
    bool negative = false;
    if constexpr (std::is_signed_v<I>)
        negative = v < 0;
    if (f.use_group_separator) {
        const std::size_t sign = negative ? 1 : 0;
        text = text.substr(0, sign) + group(text.substr(sign), f.group_separator);
    }
    finish_number(text, negative, f);
    return text;
}

// Constants of the floating-point scheme: L significant digits shown, S kept by rounding.
template <class T> struct float_traits;
template <> struct float_traits<double> {
    static constexpr int shown = 15;
    static constexpr int kept = 14;
    using bits = std::uint64_t;
};
template <> struct float_traits<float> {
    static constexpr int shown = 6;
    static constexpr int kept = 5;
    using bits = std::uint32_t;
};

// Within four units in the last place of one half (both non-negative here).
template <class T> bool near_half(T x) {
    using B = typename float_traits<T>::bits;
    const B a = std::bit_cast<B>(x);
    const B b = std::bit_cast<B>(T(0.5));
    return (a > b ? a - b : b - a) <= 4;
}

// Rounds to k decimals, halves away from zero. The fraction of the scaled value is itself
// rounded to the type's significant digits first, so 2.675 * 100 = 267.49999999999997
// still counts as a half; mingw's std::round cannot be trusted for this under Wine.
template <class T> T round_decimals(T value, int k) {
    T scale = 1;
    for (int i = 0; i < k && !std::isinf(scale); ++i)
        scale *= 10;
    for (int i = 0; i > k && scale != 0; --i)
        scale /= 10;
    const T product = value * scale;
    // An infinite scale times zero gives NaN: that value stays as it is, like an overflow.
    if (!std::isfinite(product))
        return value;
    T ip = 0;
    T frac = std::modf(product, &ip);
    if (ip != 0)
        frac = round_decimals(frac, float_traits<T>::kept -
                                        static_cast<int>(std::floor(std::log10(std::fabs(ip)))));
    const T mag = std::fabs(frac);
    if (mag >= T(0.5) || near_half(mag))
        ip += value < 0 ? T(-1) : T(1);
    return ip / scale;
}

// The stream's default notation with L significant digits, or fixed with min(p, L) decimals.
template <class T> std::wstring float_text(T v, std::int32_t precision) {
    constexpr int shown = float_traits<T>::shown;
    char buf[400];
    std::to_chars_result res{};
    const double d = v;
    if (precision == -1)
        res = std::to_chars(buf, buf + sizeof buf, d, std::chars_format::general, shown);
    else // a negative precision means printf's default of six
        res = std::to_chars(buf, buf + sizeof buf, d, std::chars_format::fixed,
                            precision < 0 ? 6 : std::min<int>(precision, shown));
    return widen(buf, res.ptr);
}

template <class T> std::wstring format_float(T v, const float_format& f) {
    if (!std::isfinite(v)) {
        std::wostringstream out;
        out.imbue(std::locale::classic());
        if (f.width != -1)
            out << std::setw(f.width);
        out << v;
        return out.str();
    }
    int p = f.precision;
    if (f.max_precision != -1)
        p = f.precision == -1 ? f.max_precision : std::min(f.precision, f.max_precision);
    if (p != -1) {
        v = round_decimals(v, p);
    } else {
        const T ip = std::trunc(v);
        if (ip != 0) {
            const int digits = static_cast<int>(std::log10(std::fabs(ip))) + 1;
            if (float_traits<T>::shown - digits > 0)
                v = round_decimals(v, float_traits<T>::kept - digits);
        }
    }
    if (f.use_zero_text && v == 0)
        return zero_text(f);
    const bool negative = v < 0;
    std::wstring text = float_text(v, f.precision);
    if (f.use_group_separator) {
        if (text.find(L'e') != std::wstring::npos)
            text = float_text(v, f.max_precision);
        if (text.find(L'e') == std::wstring::npos) {
            if (negative)
                text.erase(0, 1);
            const std::size_t point = std::min(text.find(L'.'), text.size());
            text = group(text.substr(0, point), f.group_separator) + text.substr(point);
            if (negative)
                text.insert(0, 1, L'-');
        }
    }
    if (f.decimal_separator != L'.') {
        const std::size_t point = text.rfind(L'.');
        if (point != std::wstring::npos)
            text[point] = f.decimal_separator;
    }
    finish_number(text, negative, f);
    return text;
}

} // namespace

std::wstring do_format(int v, const integer_format& f) {
    return format_integer(v, f);
}
std::wstring do_format(long v, const integer_format& f) {
    return format_integer(v, f);
}
std::wstring do_format(long long v, const integer_format& f) {
    return format_integer(v, f);
}
std::wstring do_format(unsigned int v, const integer_format& f) {
    return format_integer(v, f);
}
std::wstring do_format(unsigned long v, const integer_format& f) {
    return format_integer(v, f);
}
std::wstring do_format(unsigned long long v, const integer_format& f) {
    return format_integer(v, f);
}

std::wstring do_format(float v, const float_format& f) {
    return format_float(v, f);
}
std::wstring do_format(double v, const float_format& f) {
    return format_float(v, f);
}
std::wstring do_format(long double v, const float_format& f) {
    return format_float(static_cast<double>(v), f);
}

std::wstring do_format(bool v, const bool_format& f) {
    if (v)
        return f.true_text.empty() ? L"+" : f.true_text;
    return f.false_text.empty() ? L"-" : f.false_text;
}

std::wstring do_format(const date& v, const date_format& f) {
    return to_wstring(v, f.mask, f.separator);
}

std::wstring do_format(const time& v, const time_format& f) {
    std::wstring text = to_wstring(v, f.mask, f.separator);
    if (f.use_hundredths_separator) {
        const std::size_t at = f.mask.find(L'i');
        if (at != std::wstring::npos && at > 0 && at - 1 < text.size())
            text[at - 1] = f.hundredths_separator;
    }
    return text;
}

std::wstring do_format(const timestamp& v, const timestamp_format& f) {
    const std::int64_t offset =
        f.use_system_time_zone ? get_system_time_zone().get() : f.time_zone_offset;
    // Wraps rather than overflows for counts at the ends of the range.
    const auto shifted = static_cast<std::int64_t>(static_cast<std::uint64_t>(v.get()) +
                                                   static_cast<std::uint64_t>(offset));
    const std::int64_t days = shifted / detail::hundredths_per_day;
    const std::int64_t rest = shifted - days * detail::hundredths_per_day;
    const std::wstring date_text = do_format(date(static_cast<int>(days)), f.date);
    const std::wstring time_text = do_format(time(static_cast<int>(rest)), f.time);
    return f.time_first ? time_text + f.datetime_separator + date_text
                        : date_text + f.datetime_separator + time_text;
}

} // namespace qel
