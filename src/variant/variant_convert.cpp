#include "variant/variant_impl.h"
#include "variant/variant_messages.h"

#include <qel/exception.h>
#include <qel/serialize.h>
#include <qel/variant.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>

namespace qel {
namespace detail {

namespace {

constexpr std::uint64_t sign_bit = std::uint64_t{1} << 63;

// An unsigned key that orders like the doubles it comes from; -0.0 and +0.0 meet.
std::uint64_t ordered_bits_(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    return (bits & sign_bit) != 0 ? std::uint64_t{0} - bits : bits | sign_bit;
}

} // namespace

bool nearly_equal_(double x, double y) {
    if (x == y)
        return true;
    if (std::isnan(x) || std::isnan(y))
        return false;
    const std::uint64_t a = ordered_bits_(x);
    const std::uint64_t b = ordered_bits_(y);
    return (a > b ? a - b : b - a) <= 4;
}

int compare_floats_(double x, double y) {
    if (nearly_equal_(x, y))
        return 0;
    return x < y ? -1 : 1;
}

int round_to_int_(long double value) {
    if (value < -2147483648.0L || value > 2147483647.0L)
        throw variant_range_error();
    if (std::isnan(value))
        return 0;
    // Not std::round: mingw's rounds 0.49999999999999994 up under Wine. floor is exact.
    const long double magnitude = std::fabs(value);
    long double whole = std::floor(magnitude);
    if (magnitude - whole >= 0.5L)
        whole += 1;
    return value < 0 ? static_cast<int>(-static_cast<long long>(whole))
                     : static_cast<int>(static_cast<long long>(whole));
}

std::wstring int_text_(int value) {
    return std::to_wstring(value);
}

std::wstring float_text_(double value) {
    std::wostringstream out;
    out.imbue(std::locale::classic());
    out.precision(15);
    out << value;
    return out.str();
}

std::wstring ascii_text_(const std::string& value) {
    std::wstring out;
    out.reserve(value.size());
    // Bytes keep their sign: 0x80..0xFF become the units 0xFF80..0xFFFF.
    for (const char c : value)
        out.push_back(
            static_cast<wchar_t>(static_cast<std::uint16_t>(static_cast<signed char>(c))));
    return out;
}

namespace {

template <class Char> std::basic_string<Char> type_text_(E_VariantType t) {
    std::string narrow;
    if (t >= 0 && t <= variant_ascii_string) {
        narrow = variant_messages::type_names[t];
    } else if (t >= variant_custom) {
        narrow = variant_messages::custom_prefix;
        narrow += '[';
        narrow += std::to_string(t - variant_custom);
        narrow += ']';
    } else {
        narrow = variant_messages::unknown_type;
    }
    return std::basic_string<Char>(narrow.begin(), narrow.end());
}

template <class Char> bool is_c_space_(Char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// strtol's grammar in base 10 over [first, last): blanks, a sign, at least one digit, and
// nothing else.
template <class Char> bool parse_long_(const Char* first, const Char* last, long& out) {
    while (first != last && is_c_space_(*first))
        ++first;
    bool negative = false;
    if (first != last && (*first == '+' || *first == '-'))
        negative = *first++ == '-';
    if (first == last)
        return false;
    long long value = 0;
    for (; first != last; ++first) {
        if (*first < '0' || *first > '9')
            return false;
        value = value * 10 + (*first - '0');
        if (value > static_cast<long long>(std::numeric_limits<int>::max()))
            return false;
    }
    out = static_cast<long>(negative ? -value : value);
    return true;
}

template <class Char> bool type_from_text_(const std::basic_string<Char>& text, E_VariantType& t) {
    for (int k = 0; k <= variant_ascii_string; ++k) {
        const char* name = variant_messages::type_names[k];
        if (text.size() == std::strlen(name) && std::equal(text.begin(), text.end(), name)) {
            t = E_VariantType(k);
            return true;
        }
    }
    const char* prefix = variant_messages::custom_prefix;
    const std::size_t prefix_length = std::strlen(prefix);
    if (text.size() < prefix_length + 1 ||
        !std::equal(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(prefix_length),
                    prefix) ||
        text[prefix_length] != '[')
        return false;
    const std::size_t close = text.find(Char(']'));
    if (close == std::basic_string<Char>::npos)
        return false;
    long k = 0;
    if (!parse_long_(text.data() + prefix_length + 1, text.data() + close, k) || k < 0 || k > 1000)
        return false;
    t = E_VariantType(variant_custom + static_cast<int>(k));
    return true;
}

} // namespace
} // namespace detail

std::string variant_type_to_string(E_VariantType t) {
    return detail::type_text_<char>(t);
}
std::wstring variant_type_to_wstring(E_VariantType t) {
    return detail::type_text_<wchar_t>(t);
}

bool variant_type_from_string(const std::string& text, E_VariantType& t) {
    return detail::type_from_text_(text, t);
}
bool variant_type_from_wstring(const std::wstring& text, E_VariantType& t) {
    return detail::type_from_text_(text, t);
}

bool is_compatible_variant_type(E_VariantType a, E_VariantType b) {
    return a == b || (a == variant_integer && b == variant_float) ||
           (a == variant_float && b == variant_integer);
}

void cast_compatible_variant(variant& v, E_VariantType t) {
    if (v.type() == t)
        return;
    if (t == variant_integer)
        v.set_int(v.get_int());
    else if (t == variant_float)
        v.set_ldouble(v.get_ldouble());
    else
        throw variant_type_mismatch(v.type(), t);
}

void store_variant_type(out_serialize& out, E_VariantType t) {
    out << static_cast<int>(t);
}

E_VariantType load_variant_type(const in_serialize& in) {
    int t = 0;
    in >> t;
    return E_VariantType(t);
}

} // namespace qel
