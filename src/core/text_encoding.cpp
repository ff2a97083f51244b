#include <qel/text_encoding.h>

#include "core/utf8.h"
#include "platform/codepage.h"

#include <cstring>
#include <cwchar>

namespace qel {
namespace {

// The system code page for charsets 0 to 3; false for the charsets it has no part in.
bool system_codepage(const text_encoding& enc, unsigned int& codepage) {
    switch (enc.charset()) {
    case cs_default:
    case cs_ansi:
        codepage = platform::ansi_codepage;
        return true;
    case cs_oem:
        codepage = platform::oem_codepage;
        return true;
    case cs_codepage:
        codepage = enc.codepage();
        return true;
    default:
        return false;
    }
}

} // namespace

void char_to_wide(const char* s, std::size_t n, std::wstring& out, const text_encoding& enc) {
    out.clear();
    if (n == 0)
        return;
    unsigned int codepage = 0;
    if (enc.charset() == cs_utf8)
        detail::append_wide_from_utf8_bytes(out, s, s + n);
    else if (system_codepage(enc, codepage))
        platform::multibyte_to_wide(codepage, s, n, out);
}

void char_to_wide(const char* s, std::wstring& out, const text_encoding& enc) {
    char_to_wide(s, s ? std::strlen(s) : 0, out, enc);
}

void char_to_wide(const std::string& s, std::wstring& out, const text_encoding& enc) {
    char_to_wide(s.data(), s.size(), out, enc);
}

wchar_t char_to_wide(char c, const text_encoding& enc) {
    unsigned int codepage = 0;
    std::wstring unit;
    if (!system_codepage(enc, codepage) || !platform::multibyte_to_wide(codepage, &c, 1, unit) ||
        unit.size() != 1)
        return 0;
    return unit[0];
}

void wide_to_char(const wchar_t* s, std::size_t n, std::string& out, const text_encoding& enc) {
    out.clear();
    if (n == 0)
        return;
    unsigned int codepage = 0;
    if (enc.charset() == cs_utf8)
        detail::append_utf8(out, std::wstring_view(s, n));
    else if (system_codepage(enc, codepage))
        platform::wide_to_multibyte(codepage, s, n, out);
}

void wide_to_char(const wchar_t* s, std::string& out, const text_encoding& enc) {
    wide_to_char(s, s ? std::wcslen(s) : 0, out, enc);
}

void wide_to_char(const std::wstring& s, std::string& out, const text_encoding& enc) {
    wide_to_char(s.data(), s.size(), out, enc);
}

char wide_to_char(wchar_t c, const text_encoding& enc) {
    unsigned int codepage = 0;
    std::string bytes;
    // A character that takes two bytes in a multi-byte code page does not fit one char.
    if (!system_codepage(enc, codepage) || !platform::wide_to_multibyte(codepage, &c, 1, bytes) ||
        bytes.size() != 1)
        return 0;
    return bytes[0];
}

void char_to_char(const char* s, std::size_t n, std::string& out, const text_encoding& from,
                  const text_encoding& to) {
    std::wstring wide;
    char_to_wide(s, n, wide, from);
    wide_to_char(wide, out, to);
}

void char_to_char(const char* s, std::string& out, const text_encoding& from,
                  const text_encoding& to) {
    char_to_char(s, s ? std::strlen(s) : 0, out, from, to);
}

void char_to_char(const std::string& s, std::string& out, const text_encoding& from,
                  const text_encoding& to) {
    char_to_char(s.data(), s.size(), out, from, to);
}

} // namespace qel
