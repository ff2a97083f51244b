// The messages and type texts of the variant family, in one place.
#pragma once

namespace qel::detail::variant_messages {

inline constexpr const char* incompatible_types = "incompatible types: ";
inline constexpr const char* type_separator = " and ";
inline constexpr const char* out_of_range = "value out of integer range";
inline constexpr const char* bad_type = "bad variant type";
inline constexpr const char* immutable_impl = "immutable variant impl";

// Indexed by the standard type numbers 0..8.
inline constexpr const char* type_names[] = {
    "none", "string", "integer", "float", "boolean", "date", "time", "timestamp", "ascii_string"};
inline constexpr const char* custom_prefix = "custom";
inline constexpr const char* unknown_type = "unknown";

} // namespace qel::detail::variant_messages
