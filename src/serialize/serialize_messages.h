// Every message text of the serialization family, in one place.
#pragma once

namespace qel::detail::serialize_messages {

inline constexpr const char bad_positioner[] = "bad extract positioner";
inline constexpr const char type_mismatch[] = "extracted data type mismatch";
inline constexpr const char not_an_array[] = "extracted data is not an array";
inline constexpr const char buffer_too_small[] = "array buffer too small";
inline constexpr const char bad_array_pointer[] = "bad array pointer";
inline constexpr const char array_too_long[] = "array too long";
inline constexpr const char string_too_long[] = "string too long";
inline constexpr const char unsupported_type[] = "unsupported data type";
inline constexpr const char non_plain_type[] = "non-plain data type";
inline constexpr const char unsupported_deserialization[] = "deserialization unsupported type";
inline constexpr const char data_broken[] = "seriated data broken";
inline constexpr const char io_error[] = "serialization io error";
inline constexpr const char data_corrupted[] = "serialization data corrupted";
inline constexpr const char unexpected_eof[] = "unexpected end of file";
inline constexpr const char data_truncation[] = "unexpected data truncation";

} // namespace qel::detail::serialize_messages

namespace qel::detail {

[[noreturn]] void throw_serialize_(const char* message);

} // namespace qel::detail
