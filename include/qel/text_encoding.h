// Character sets, text encodings and conversions between narrow and wide text, and the
// transliteration of Cyrillic text to ASCII.
#pragma once

#include <qel/export.h>

#include <cstddef>
#include <string>

namespace qel {

enum E_CharSet : int {
    cs_default = 0,  // behaves as text_encoding::default_charset()
    cs_ansi = 1,     // the process's ANSI code page
    cs_oem = 2,      // the process's OEM code page
    cs_codepage = 3, // the code page held in the encoding
    cs_utf16le = 4,  // text files only
    cs_utf16be = 5,  // text files only
    cs_utf8 = 6,
};

// One 32-bit word: charset in bits 0-7, flags in bits 8-15, code page in bits 16-31.
class QEL_API text_encoding {
public:
    // Enumerators rather than static members: an exported class's static data would have
    // to be imported from the DLL.
    enum : unsigned int { flag_detect_signature = 0x100, flag_no_signature = 0x200 };

    text_encoding() = default;
    // The packed form, as get() returns it.
    explicit text_encoding(unsigned int value) : value_(value) {}
    text_encoding(E_CharSet charset) : value_(static_cast<unsigned int>(charset) & 0xFFu) {}
    // `flags` is ORed in unchanged: it should hold bits 8-15 only.
    text_encoding(E_CharSet charset, unsigned short codepage, unsigned int flags)
        : value_((static_cast<unsigned int>(codepage) << 16) |
                 (static_cast<unsigned int>(charset) & 0xFFu) | flags) {}
    text_encoding(const text_encoding&) = default;
    text_encoding& operator=(const text_encoding&) = default;

    E_CharSet charset() const { return static_cast<E_CharSet>(value_ & 0xFFu); }
    unsigned short codepage() const { return static_cast<unsigned short>(value_ >> 16); }
    unsigned int flags() const { return value_ & 0xFF00u; }
    unsigned int get() const { return value_; }
    bool is_default() const { return charset() == cs_default; }
    E_CharSet actual_charset() const { return is_default() ? default_charset() : charset(); }
    bool is_equal(const text_encoding& other) const { return value_ == other.value_; }
    bool operator==(const text_encoding& other) const { return is_equal(other); }

    static E_CharSet default_charset() { return cs_ansi; }

private:
    unsigned int value_ = 0;
};

// Flag bits of a text_encoding, read by the text file stream; conversions ignore them.
// On reading: take the character set from the file's signature or content; on writing over
// an existing file: adopt that file's character set.
inline constexpr unsigned int flag_detect_signature = text_encoding::flag_detect_signature;
// On writing: no signature at the start of the file.
inline constexpr unsigned int flag_no_signature = text_encoding::flag_no_signature;

// Conversions. The output string is cleared and receives the whole result; a conversion the
// system refuses (unknown code page, invalid input) gives an empty result, never an error.
// UTF-16 charsets convert nothing here: only text files read and write them.
QEL_API wchar_t char_to_wide(char c, const text_encoding& enc);
QEL_API void char_to_wide(const char* s, std::size_t n, std::wstring& out,
                          const text_encoding& enc);
QEL_API void char_to_wide(const char* s, std::wstring& out, const text_encoding& enc);
QEL_API void char_to_wide(const std::string& s, std::wstring& out, const text_encoding& enc);

QEL_API char wide_to_char(wchar_t c, const text_encoding& enc);
QEL_API void wide_to_char(const wchar_t* s, std::size_t n, std::string& out,
                          const text_encoding& enc);
QEL_API void wide_to_char(const wchar_t* s, std::string& out, const text_encoding& enc);
QEL_API void wide_to_char(const std::wstring& s, std::string& out, const text_encoding& enc);

// Narrow to narrow, through wide text.
QEL_API void char_to_char(const char* s, std::size_t n, std::string& out, const text_encoding& from,
                          const text_encoding& to);
QEL_API void char_to_char(const char* s, std::string& out, const text_encoding& from,
                          const text_encoding& to);
QEL_API void char_to_char(const std::string& s, std::string& out, const text_encoding& from,
                          const text_encoding& to);

// Russian Cyrillic to Latin letters; every other unit from 128 up becomes "?".
QEL_API std::wstring transliterate(const std::wstring& text);
// transliterate() with each unit stored as one byte.
QEL_API std::string transliterate_wide_to_char(const std::wstring& text);

} // namespace qel
