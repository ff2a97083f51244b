// Arbitrary bytes decoded from UTF-8, through the conversion functions and through an
// exception's wide_what(). Nothing may crash, and the decoder's invariants must hold:
//
// - every decoding step consumes at least one byte and appends at most one unit, so the
//   result never has more units than the input has bytes;
// - bytes below 0x80 decode to themselves (a zero byte too, when the length is given);
// - the encoder writes every unit in its shortest form, and the decoder reads every shortest
//   form back, except U+FEFF: its shortest form is the byte-order mark, which decoding drops.
//   Decoding may produce U+FEFF from a longer (four-byte) form, so the round trip
//   wide -> UTF-8 -> wide gives the units back with every U+FEFF removed;
// - a message's zero byte ends it: a round trip through an exception also stops at the first
//   U+0000 unit (broken sequences decode to U+0000 even when the input has no zero byte).
#include <qel/exception.h>
#include <qel/text_encoding.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const qel::text_encoding utf8(qel::cs_utf8);

std::wstring without_bom(std::wstring units) {
    units.erase(std::remove(units.begin(), units.end(), L'\xFEFF'), units.end());
    return units;
}

void check(bool holds) {
    if (!holds)
        std::abort();
}

void through_conversions(const char* bytes, std::size_t size) {
    std::wstring wide = L"stale";
    qel::char_to_wide(bytes, size, wide, utf8);
    check(wide.size() <= size);

    if (std::none_of(bytes, bytes + size, [](char c) { return (c & 0x80) != 0; })) {
        check(wide.size() == size);
        for (std::size_t i = 0; i < size; ++i)
            check(wide[i] == static_cast<wchar_t>(bytes[i]));
    }

    std::string narrow = "stale";
    qel::wide_to_char(wide, narrow, utf8);
    check(narrow.size() >= wide.size());
    std::wstring again = L"stale";
    qel::char_to_wide(narrow, again, utf8);
    check(again == without_bom(wide));

    // Encoding is a function of the units: the text decoded a second time encodes the same.
    std::string narrow_again;
    qel::wide_to_char(again, narrow_again, utf8);
    std::string expected;
    qel::wide_to_char(without_bom(wide), expected, utf8);
    check(narrow_again == expected);
}

void through_exception(const char* bytes, std::size_t size) {
    const std::string text(bytes, size);
    const std::size_t message_size = std::strlen(text.c_str()); // up to the first NUL
    const qel::basic_exception error(text);
    check(std::strcmp(error.what(), text.c_str()) == 0);

    const std::wstring wide = error.wide_what();
    check(wide.size() <= message_size);

    // Up to a zero byte both decoders follow the same rules. Only a lead byte from 0xF0 cut
    // off by the end may be read differently (the end of a length-bounded input is not a
    // zero byte), so the comparison leaves such messages out.
    if (std::none_of(text.c_str(), text.c_str() + message_size,
                     [](char c) { return static_cast<unsigned char>(c) >= 0xF0; })) {
        std::wstring converted;
        qel::char_to_wide(text.c_str(), message_size, converted, utf8);
        check(wide == converted);
    }

    const std::wstring up_to_nul = wide.substr(0, wide.find(L'\0'));
    const qel::basic_exception rebuilt(wide); // every unit is encoded, U+0000 included
    check(rebuilt.wide_what() == without_bom(up_to_nul));

    // A message built from the prefix before any U+0000 carries no zero byte.
    const qel::basic_exception from_prefix(up_to_nul.c_str());
    check(std::strcmp(from_prefix.what(), rebuilt.what()) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto bytes = reinterpret_cast<const char*>(data);
    through_conversions(bytes, size);
    through_exception(bytes, size);
    return 0;
}
