// The system's UUID generator and the 36-character text form.
#pragma once

#include <string_view>

namespace qel::platform {

using uuid_bytes = unsigned char[16];

// The bytes are left zero when the generator gives nothing.
void new_uuid(uuid_bytes& bytes);
// The 36 characters (no terminator); false when the system gives no text.
bool uuid_text(const uuid_bytes& bytes, wchar_t (&text)[36]);
bool uuid_text(const uuid_bytes& bytes, char (&text)[36]);
// Exactly 36 characters, digits in either case; `bytes` is written only on success.
bool parse_uuid(std::wstring_view text, uuid_bytes& bytes);
bool parse_uuid(std::string_view text, uuid_bytes& bytes);

} // namespace qel::platform
