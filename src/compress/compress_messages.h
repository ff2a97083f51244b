// The messages of compress_error, in one place.
#pragma once

namespace qel::detail::compress_messages {

inline constexpr const char* output_stream_error = "output stream error";
inline constexpr const char* input_stream_error = "input stream error";
inline constexpr const char* input_unexpected_end = "input stream unexpected end";
inline constexpr const char* zlib_error = "ZLIB error";
inline constexpr const char* lzm_header_not_found = "LZM header not found";
inline constexpr const char* out_of_input = "out of input buffer error";
inline constexpr const char* size_too_large = "LZM decompressed data size too large";
inline constexpr const char* offset_out_of_block = "LZM assert: match offset out of block";
inline constexpr const char* match_overlaps_output = "LZM assert: match overlaps its output";
inline constexpr const char* uncompress_size_mismatch = "LZM assert: uncompress size mismatch";
inline constexpr const char* compress_size_mismatch = "LZM assert: compress size mismatch";
inline constexpr const char* block_too_large = "LZM assert: block too large";
inline constexpr const char* literal_run_too_long = "LZM assert: select: uncompressed seq to long";
inline constexpr const char* match_too_long = "LZM assert: select: match seq to long";
inline constexpr const char* offset_too_long = "LZM assert: select: offset to long";
inline constexpr const char* invalid_marker = "LZM assert: select: invalid marker type";

} // namespace qel::detail::compress_messages
