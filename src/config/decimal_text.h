// Integers as configuration text: decimal, classic locale.
#pragma once

#include <cerrno>
#include <charconv>
#include <climits>
#include <cwchar>
#include <string>

namespace qel::detail {

inline std::wstring decimal_text(int value) {
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    return std::wstring(digits, end);
}

// The whole text as a decimal int in the manner of wcstol; false for anything else.
inline bool read_decimal(const std::wstring& text, int& out) {
    if (text.empty())
        return false;
    wchar_t* end = nullptr;
    errno = 0;
    const long value = std::wcstol(text.c_str(), &end, 10);
    if (errno == ERANGE || end != text.c_str() + text.size() || value < INT_MIN || value > INT_MAX)
        return false;
    out = static_cast<int>(value);
    return true;
}

} // namespace qel::detail
