// Shared by the format family's sources.
#pragma once

#include <qel/format.h>

#include <cstddef>
#include <string>

namespace qel::detail {

// Position of a section: `open` at its letter, `close` at its ")". Found when the letter is
// followed by "(" and a ")" comes after it.
struct section_pos {
    std::size_t open = std::wstring::npos;
    std::size_t close = std::wstring::npos;
    bool found() const { return close != std::wstring::npos; }
};

section_pos find_section(const std::wstring& text, wchar_t letter);

// Replaces the section of `letter` in place, or appends `section`.
void put_section(std::wstring& text, wchar_t letter, const std::wstring& section);

// Letter of a kind; 0 for values outside 1 to 6.
wchar_t format_letter(E_Format k);

} // namespace qel::detail
