#include "platform/codepage.h"
#include "platform/win/windows_api.h"

#include <climits>

namespace qel::platform {
namespace {

constexpr std::size_t short_text = 255;

// The conversion pattern of both directions: short texts through a local buffer in one call,
// longer ones (or a short one that did not fit) with a size query first.
template <class From, class To, class Convert>
bool convert(const From* s, std::size_t n, std::basic_string<To>& out, Convert call) {
    out.clear();
    if (n == 0)
        return true;
    if (n > INT_MAX)
        return false;
    const int length = static_cast<int>(n);
    if (n < short_text) {
        To local[short_text + 1];
        int done = call(s, length, local, static_cast<int>(short_text + 1));
        if (done > 0) {
            out.assign(local, static_cast<std::size_t>(done));
            return true;
        }
        if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER)
            return false;
    }
    int needed = call(s, length, nullptr, 0);
    if (needed <= 0)
        return false;
    out.resize(static_cast<std::size_t>(needed));
    int done = call(s, length, out.data(), needed);
    if (done <= 0) {
        out.clear();
        return false;
    }
    out.resize(static_cast<std::size_t>(done));
    return true;
}

} // namespace

bool multibyte_to_wide(unsigned int codepage, const char* s, std::size_t n, std::wstring& out) {
    return convert(s, n, out, [codepage](const char* in, int length, wchar_t* to, int room) {
        return ::MultiByteToWideChar(codepage, 0, in, length, to, room);
    });
}

bool wide_to_multibyte(unsigned int codepage, const wchar_t* s, std::size_t n, std::string& out) {
    return convert(s, n, out, [codepage](const wchar_t* in, int length, char* to, int room) {
        return ::WideCharToMultiByte(codepage, 0, in, length, to, room, nullptr, nullptr);
    });
}

bool looks_like_utf16le(const char* bytes, std::size_t size) {
    if (size == 0 || size > INT_MAX)
        return false;
    return ::IsTextUnicode(bytes, static_cast<int>(size), nullptr) != FALSE;
}

} // namespace qel::platform
