// The open routine shared by the file, text file and log file streams.
#pragma once

#include "stream/file_buffer.h"

#include <iostream>
#include <string>

namespace qel::detail {

// Close flag: flush the output side before closing.
inline constexpr unsigned int close_flag_flush = 0x1;

// Opens `name` into `buffer` as the file_stream_mode value `mode` says, in binary or text
// mode, sets or clears the fail flag of `stream`, and returns the close flags.
unsigned int open_file_stream(file_buffer& buffer, std::iostream& stream, const std::wstring& name,
                              unsigned int mode, bool binary);

// A file written under a name whose base name starts with a dot ("..x", ".a.txt", not
// ".profile") gets the hidden attribute where the system keeps one.
void hide_dot_named_file_(const std::wstring& name);

} // namespace qel::detail
