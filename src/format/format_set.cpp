// Format texts with named sections, and formatting through a caller's format set.
#include "format/format_internal.h"

#include <string>
#include <type_traits>

namespace qel {
namespace {

// The set interface and record of each value type.
template <class V> struct kind_of;
#define QEL_KIND_(V, K, SET)                                                                       \
    template <> struct kind_of<V> {                                                                \
        static constexpr E_Format kind = K;                                                        \
        static const auto& set(const IAllFormatSet& all) { return all.SET(); }                     \
    };
QEL_KIND_(integer_format, E_Format_integer, integer_formats)
QEL_KIND_(float_format, E_Format_float, float_formats)
QEL_KIND_(bool_format, E_Format_bool, bool_formats)
QEL_KIND_(date_format, E_Format_date, date_formats)
QEL_KIND_(time_format, E_Format_time, time_formats)
QEL_KIND_(timestamp_format, E_Format_timestamp, timestamp_formats)
#undef QEL_KIND_

template <class V> struct record_of {
    using type = std::conditional_t<
        std::is_same_v<V, bool>, bool_format,
        std::conditional_t<std::is_floating_point_v<V>, float_format, integer_format>>;
};
template <> struct record_of<date> { using type = date_format; };
template <> struct record_of<time> { using type = time_format; };
template <> struct record_of<timestamp> { using type = timestamp_format; };
template <class V> using record_t = typename record_of<V>::type;

// The scoped access unlocks on every way out, exceptions included.
template <class V> std::wstring general(IAllFormatSetSharedAccess& a, const V& v) {
    const scoped_all_format_set_access lock(a);
    return do_format(v, kind_of<record_t<V>>::set(lock.get()).general_format());
}

template <class V>
std::wstring by_name(IAllFormatSetSharedAccess& a, const std::wstring& name, const V& v) {
    const scoped_all_format_set_access lock(a);
    return do_format(v, kind_of<record_t<V>>::set(lock.get()).named_format(name));
}

template <class V>
std::wstring as(IAllFormatSetSharedAccess& a, const std::wstring& spec, const V& v) {
    using R = record_t<V>;
    if (spec.empty())
        return general(a, v);
    std::wstring name;
    if (get_named_format(kind_of<R>::kind, spec, name))
        return by_name(a, name, v);
    R record;
    if (str_to_format(spec, record))
        return do_format(v, record);
    return general(a, v);
}

template <class R> void copy_by_name(IAllFormatSetSharedAccess& a, const std::wstring& name, R& f) {
    const scoped_all_format_set_access lock(a);
    f = kind_of<R>::set(lock.get()).named_format(name);
}

template <class R> bool copy_as(IAllFormatSetSharedAccess& a, const std::wstring& spec, R& f) {
    if (spec.empty()) {
        const scoped_all_format_set_access lock(a);
        f = kind_of<R>::set(lock.get()).general_format();
        return true;
    }
    std::wstring name;
    if (get_named_format(kind_of<R>::kind, spec, name)) {
        copy_by_name(a, name, f);
        return true;
    }
    return str_to_format(spec, f);
}

} // namespace

bool has_format(E_Format k, const std::wstring& spec) {
    return detail::find_section(spec, detail::format_letter(k)).found();
}

void remove_format(E_Format k, std::wstring& spec) {
    const detail::section_pos pos = detail::find_section(spec, detail::format_letter(k));
    if (pos.found())
        spec.erase(pos.open, pos.close - pos.open + 1);
}

bool is_named_format(E_Format k, const std::wstring& spec) {
    const detail::section_pos pos = detail::find_section(spec, detail::format_letter(k));
    return pos.found() && pos.open + 2 < pos.close && spec[pos.open + 2] == L'@';
}

bool get_named_format(E_Format k, const std::wstring& spec, std::wstring& name) {
    if (!is_named_format(k, spec))
        return false;
    const detail::section_pos pos = detail::find_section(spec, detail::format_letter(k));
    name = spec.substr(pos.open + 3, pos.close - pos.open - 3);
    return true;
}

void set_named_format(E_Format k, const std::wstring& name, std::wstring& spec) {
    const wchar_t letter = detail::format_letter(k);
    if (name.empty())
        remove_format(k, spec);
    else
        detail::put_section(spec, letter, std::wstring(1, letter) + L"(@" + name + L')');
}

#define QEL_FORMAT_THROUGH_SET_(V)                                                                 \
    std::wstring do_format_general(IAllFormatSetSharedAccess& a, V v) {                            \
        return general(a, v);                                                                      \
    }                                                                                              \
    std::wstring do_format_by_name(IAllFormatSetSharedAccess& a, const std::wstring& name, V v) {  \
        return by_name(a, name, v);                                                                \
    }                                                                                              \
    std::wstring do_format_as(IAllFormatSetSharedAccess& a, const std::wstring& spec, V v) {       \
        return as(a, spec, v);                                                                     \
    }

QEL_FORMATTED_TYPES_(QEL_FORMAT_THROUGH_SET_)
#undef QEL_FORMAT_THROUGH_SET_

#define QEL_GET_FORMAT_(T)                                                                         \
    void get_format_by_name(IAllFormatSetSharedAccess& a, const std::wstring& name, T& f) {        \
        copy_by_name(a, name, f);                                                                  \
    }                                                                                              \
    bool get_format_as(IAllFormatSetSharedAccess& a, const std::wstring& spec, T& f) {             \
        return copy_as(a, spec, f);                                                                \
    }

QEL_GET_FORMAT_(integer_format)
QEL_GET_FORMAT_(float_format)
QEL_GET_FORMAT_(bool_format)
QEL_GET_FORMAT_(date_format)
QEL_GET_FORMAT_(time_format)
QEL_GET_FORMAT_(timestamp_format)
#undef QEL_GET_FORMAT_

} // namespace qel
