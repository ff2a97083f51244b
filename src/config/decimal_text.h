// Integers as configuration text: decimal, classic locale.
#pragma once

#include <charconv>
#include <string>

namespace qel::detail {

inline std::wstring decimal_text(int value) {
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    return std::wstring(digits, end);
}

} // namespace qel::detail
