// How a text file stream turns wide text into bytes and back: one stateless policy per
// character set, shared by every stream.
#pragma once

#include <qel/text_encoding.h>

#include <iostream>
#include <string>

namespace qel::detail {

class ITextFormatPolicy_impl_ {
public:
    ITextFormatPolicy_impl_(const ITextFormatPolicy_impl_&) = delete;
    ITextFormatPolicy_impl_& operator=(const ITextFormatPolicy_impl_&) = delete;

    // Whether the file must be opened in binary mode.
    virtual bool is_binary() const = 0;
    virtual void write_signature(std::iostream& stream) const = 0;
    // One character; 0 when none.
    virtual wchar_t read_char(std::iostream& stream, const text_encoding& enc) const = 0;
    virtual void write_char(std::iostream& stream, const text_encoding& enc, wchar_t c) const = 0;
    virtual void read_line(std::iostream& stream, const text_encoding& enc,
                           std::wstring& line) const = 0;
    // `text` is NUL-terminated; null counts as empty.
    virtual void write_line(std::iostream& stream, const text_encoding& enc,
                            const wchar_t* text) const = 0;
    virtual void read_solid_text(std::iostream& stream, const text_encoding& enc,
                                 std::wstring& text) const = 0;
    virtual void write_solid_text(std::iostream& stream, const text_encoding& enc,
                                  const wchar_t* text) const = 0;

protected:
    ITextFormatPolicy_impl_() = default;
    ~ITextFormatPolicy_impl_() = default;
};

// The policy for an encoding's charset: 0-2 narrow text, 4 UTF-16 LE, 5 UTF-16 BE, 6 UTF-8,
// anything else the dummy policy, which reads and writes nothing.
const ITextFormatPolicy_impl_& text_format_policy(const text_encoding& enc);
const ITextFormatPolicy_impl_& dummy_text_format_policy();

// Charset and signature length found at the start of a file (up to 400 bytes are read):
// a byte-order mark, or unmarked UTF-16 LE text. False when nothing was read or found;
// `read_any` tells whether any byte was read.
bool detect_signature(std::iostream& stream, E_CharSet& charset, std::size_t& signature_size,
                      bool& read_any);

} // namespace qel::detail
