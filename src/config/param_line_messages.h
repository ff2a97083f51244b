// The messages of param_line_error, in one place.
#pragma once

#include <qel/param_line.h>

#include <string>

namespace qel::detail::param_line_messages {

inline constexpr const wchar_t* names_not_loaded = L"can't load parameter names";
inline constexpr const wchar_t* unknown_parameter = L": unknown parameter";
inline constexpr const wchar_t* no_main_parameter = L": main parameter not defined";
inline constexpr const wchar_t* expected_equals = L": expected '='";
inline constexpr const wchar_t* expected_prefix = L": expected ";
inline constexpr const wchar_t* expected_suffix = L" parameter";
inline constexpr const wchar_t* macro_expected = L": macro parameter expected";
inline constexpr const wchar_t* unknown_macro_tag = L": unknown macro tag";
inline constexpr const wchar_t* unknown_error = L"unknown error";

inline const wchar_t* type_name(E_ParamLineItemType type) {
    switch (type) {
    case plit_string:
        return L"string";
    case plit_integer:
        return L"integer";
    case plit_float:
        return L"float";
    case plit_boolean:
        return L"boolean";
    case plit_date:
        return L"date";
    case plit_time:
        return L"time";
    case plit_subline:
        return L"subline";
    case plit_subline_array:
        return L"subline array";
    default:
        return L"unknown type";
    }
}

inline std::wstring message(const std::wstring& name, int code, E_ParamLineItemType type) {
    switch (code) {
    case 1:
        return names_not_loaded;
    case 2:
        return name + unknown_parameter;
    case 3:
        return name + no_main_parameter;
    case 4:
        return name + expected_equals;
    case 5:
        return name + expected_prefix + type_name(type) + expected_suffix;
    case 6:
        return name + macro_expected;
    case 7:
        return name + unknown_macro_tag;
    default:
        return unknown_error;
    }
}

} // namespace qel::detail::param_line_messages
