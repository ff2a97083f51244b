// Arbitrary text parsed as a UUID in both widths: both agree, a refused text leaves the value
// alone, and an accepted one prints back as the text up to its first NUL, in lower case.
#include <qel/uuid.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::wstring wide;
    for (const char c : text)
        wide.push_back(static_cast<wchar_t>(static_cast<signed char>(c)));
    const qel::uuid marker = {0xDEADBEEF, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
    qel::uuid narrow_value = marker;
    qel::uuid wide_value = marker;
    const bool narrow_ok = qel::uuid_from_str(text, narrow_value);
    const bool wide_ok = qel::uuid_from_str(wide, wide_value);
    if (narrow_ok != wide_ok || !qel::is_equal_uuid(narrow_value, wide_value))
        std::abort();
    if (!narrow_ok) {
        if (!qel::is_equal_uuid(narrow_value, marker))
            std::abort();
        return 0;
    }
    std::string lower = text.substr(0, text.find('\0'));
    for (char& c : lower)
        if (c >= 'A' && c <= 'F')
            c = static_cast<char>(c - 'A' + 'a');
    if (qel::uuid_to_string(narrow_value) != lower)
        std::abort();
    return 0;
}
