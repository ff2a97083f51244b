// Code-page conversions of the system, and its test for unmarked UTF-16 text.
#pragma once

#include <cstddef>
#include <string>

namespace qel::platform {

// Code page numbers with the system's meaning: 0 the process's ANSI code page, 1 its OEM
// code page, 65001 UTF-8.
inline constexpr unsigned int ansi_codepage = 0;
inline constexpr unsigned int oem_codepage = 1;
inline constexpr unsigned int utf8_codepage = 65001;

// Replace `out` with the conversion of [s, s + n); false, with `out` empty, when the system
// refuses (unknown code page, invalid input). Wide to narrow writes the code page's default
// character for a unit it cannot map.
bool multibyte_to_wide(unsigned int codepage, const char* s, std::size_t n, std::wstring& out);
bool wide_to_multibyte(unsigned int codepage, const wchar_t* s, std::size_t n, std::string& out);

// Whether the bytes look like UTF-16 little-endian text without a signature.
bool looks_like_utf16le(const char* bytes, std::size_t size);

} // namespace qel::platform
