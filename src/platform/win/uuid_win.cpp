// UUIDs through the RPC runtime.
#include "platform/uuid.h"

#include "platform/win/windows_api.h"

#include <rpc.h>

#include <cstring>
#include <string>

namespace qel::platform {

void new_uuid(uuid_bytes& bytes) {
    UUID value = {};
    (void)UuidCreate(&value);
    std::memcpy(bytes, &value, sizeof value);
}

bool uuid_text(const uuid_bytes& bytes, wchar_t (&text)[36]) {
    UUID value;
    std::memcpy(&value, bytes, sizeof value);
    RPC_WSTR result = nullptr;
    if (UuidToStringW(&value, &result) != RPC_S_OK || !result)
        return false;
    const auto* units = reinterpret_cast<const wchar_t*>(result);
    const bool whole = std::wcslen(units) == 36;
    if (whole)
        std::memcpy(text, units, sizeof text);
    RpcStringFreeW(&result);
    return whole;
}

bool uuid_text(const uuid_bytes& bytes, char (&text)[36]) {
    wchar_t wide[36];
    if (!uuid_text(bytes, wide))
        return false;
    for (int i = 0; i < 36; ++i)
        text[i] = static_cast<char>(wide[i]);
    return true;
}

bool parse_uuid(std::wstring_view text, uuid_bytes& bytes) {
    std::wstring terminated(text);
    UUID value;
    if (UuidFromStringW(reinterpret_cast<RPC_WSTR>(terminated.data()), &value) != RPC_S_OK)
        return false;
    std::memcpy(bytes, &value, sizeof value);
    return true;
}

bool parse_uuid(std::string_view text, uuid_bytes& bytes) {
    std::wstring wide(text.size(), L'\0');
    for (std::size_t i = 0; i < text.size(); ++i)
        wide[i] = static_cast<wchar_t>(static_cast<signed char>(text[i]));
    return parse_uuid(std::wstring_view(wide), bytes);
}

} // namespace qel::platform
