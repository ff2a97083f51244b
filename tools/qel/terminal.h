// The few console facts the tool needs that C++ cannot ask portably.
#pragma once

namespace qel_tool {

bool stderr_is_terminal();
// Standard input and output carry raw bytes (no newline translation).
void use_binary_stdio();

} // namespace qel_tool
