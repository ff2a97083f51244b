// The standard output console: a Windows console, or a terminal driven by ANSI sequences.
// Without one, setters do nothing and getters return false.
#pragma once

#include <string>

namespace qel::platform {

bool console_cursor(int& x, int& y);
void set_console_cursor(int x, int y);
void show_console_cursor(bool show);
bool console_size(int& columns, int& rows);
// Blank cells from (x, y) on, row after row; the cursor does not move.
void fill_console_blanks(int x, int y, long count);
void set_console_title(const std::string& title);
// Colours as 4-bit values: 0x1 red, 0x2 green, 0x4 blue, 0x8 intensity.
bool console_colors(unsigned int& text, unsigned int& back);
void set_console_colors(unsigned int text, unsigned int back);
// Installs (or, with null, removes) the routine called on a close or interrupt event; it
// returns whether the event was handled. False when the system refuses.
bool console_exit_routine(bool (*routine)());
void console_wait_key();

} // namespace qel::platform
