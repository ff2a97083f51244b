// The library's own UTF-8 codec, shared by exception messages, conversions and text files,
// and the strict one the POSIX code page layer uses for 65001. A leaf: it depends on nothing
// else of the library, so the platform layer may use it too.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qel::detail {

// Appends the UTF-8 form of `text`, one wide unit at a time: UTF-16 surrogates are encoded
// one by one; where wchar_t holds whole code points, a unit above U+FFFF takes four bytes.
void append_utf8(std::string& out, std::wstring_view text);

// Decodes [first, last) up to the first zero byte and appends the units to `out`.
// Broken sequences give U+0000, unsupported lead bytes "?", and a byte-order mark nothing.
// Returns the position where decoding stopped (the zero byte, or `last`).
const char* append_wide_from_utf8(std::wstring& out, const char* first, const char* last);

// Decodes all of [first, last): a zero byte gives U+0000 and decoding goes on.
void append_wide_from_utf8_bytes(std::wstring& out, const char* first, const char* last);

// Code page 65001 as Windows converts it, for systems that have no such code page: every
// maximal invalid part of the bytes becomes U+FFFD, and so does a surrogate or a unit past
// U+10FFFF on the way out. Nothing fails. Both append to `out`.
void decode_utf8_strict(const char* s, std::size_t n, std::wstring& out);
void encode_utf8_strict(const wchar_t* s, std::size_t n, std::string& out);

std::string to_utf8(std::wstring_view text);
std::wstring from_utf8(std::string_view text);

} // namespace qel::detail
