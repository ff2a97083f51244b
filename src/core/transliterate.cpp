#include <qel/text_encoding.h>

#include <cstdint>

namespace qel {
namespace {

// Latin forms of U+0410..U+044F, upper case first.
constexpr const wchar_t* cyrillic[64] = {
    L"A",  L"B", L"V", L"G",  L"D",  L"E",    L"ZH", L"Z", L"I", L"Y", L"K",  L"L",  L"M",
    L"N",  L"O", L"P", L"R",  L"S",  L"T",    L"U",  L"F", L"H", L"C", L"CH", L"SH", L"SHCH",
    L"''", L"y", L"'", L"E",  L"YU", L"YA",   L"a",  L"b", L"v", L"g", L"d",  L"e",  L"zh",
    L"z",  L"i", L"y", L"k",  L"l",  L"m",    L"n",  L"o", L"p", L"r", L"s",  L"t",  L"u",
    L"f",  L"h", L"c", L"ch", L"sh", L"shch", L"''", L"y", L"'", L"e", L"yu", L"ya",
};

const wchar_t* latin_form(wchar_t c) {
    if (c >= 0x410 && c <= 0x44F)
        return cyrillic[c - 0x410];
    if (c == 0x401)
        return L"Yo";
    if (c == 0x451)
        return L"yo";
    return L"?";
}

} // namespace

std::wstring transliterate(const std::wstring& text) {
    std::wstring result;
    result.reserve(text.size());
    for (wchar_t c : text) {
        if (static_cast<std::uint32_t>(c) < 128)
            result.push_back(c);
        else
            result += latin_form(c);
    }
    return result;
}

std::string transliterate_wide_to_char(const std::wstring& text) {
    std::wstring latin = transliterate(text);
    return std::string(latin.begin(), latin.end());
}

} // namespace qel
