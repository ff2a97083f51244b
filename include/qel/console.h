// The text console of the process: cursor, size, colours, title, OEM text, key input and the
// exit notification.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <qel/export.h>
#include <string>

namespace qel {

//
// The process's standard output console: on Linux a terminal driven by ANSI sequences. With
// no console or terminal every operation does nothing and the getters give zeros.
//
// Colours are 4 bits: 0x1 red, 0x2 green, 0x4 blue, 0x8 intensity (0 black, 15 bright white).

// Zero-based column (x) and row (y).
struct console_cursor_pos {
    int x = 0;
    int y = 0;
    console_cursor_pos() = default;
    console_cursor_pos(int column, int row) : x(column), y(row) {}
};

// Stream manipulators: `std::cout << console_text_color(12)`. On any stream but std::cout
// they write nothing.
class console_text_color {
public:
    explicit console_text_color(unsigned int color) : color_(color) {}
    unsigned int color() const { return color_; }

private:
    unsigned int color_;
};

class console_back_color {
public:
    explicit console_back_color(unsigned int color) : color_(color) {}
    unsigned int color() const { return color_; }

private:
    unsigned int color_;
};

// Told when the console is closed or interrupted (Ctrl+C, Ctrl+Break, close; on Linux SIGINT,
// SIGTERM, SIGHUP). The caller owns the object and keeps it alive while it is registered.
// Windows calls it on a thread of its own; on Linux it runs inside the signal handler, so it
// should only do what a signal handler may (set a flag, write to a pipe).
// The special members are defined in the library, which so holds the type's information.
class QEL_API IConsoleExitNotify {
public:
    IConsoleExitNotify();
    IConsoleExitNotify(const IConsoleExitNotify& other);
    IConsoleExitNotify& operator=(const IConsoleExitNotify& other);
    virtual void on_console_exit() = 0;

protected:
    // Not virtual: the library never deletes a handler.
    ~IConsoleExitNotify();
};

QEL_API console_cursor_pos get_console_cursor_pos();
QEL_API void set_console_cursor_pos(const console_cursor_pos& pos);
QEL_API void show_console_cursor(bool show);
// Columns as x, rows as y.
QEL_API console_cursor_pos get_console_size();
// Blanks the whole screen and puts the cursor at (0, 0).
QEL_API void clear_console_screen();
// Blanks (to.y - from.y - 1) * width - from.x + to.x cells from `from` on, row after row;
// the cursor stays where it is.
QEL_API void clear_console_screen_rect(const console_cursor_pos& from,
                                       const console_cursor_pos& to);
// The title in the OEM code page (UTF-8 on Linux unless QEL_OEM_CODEPAGE says otherwise).
QEL_API void set_console_title(const std::wstring& title);
// `text` in the OEM code page, for a narrow console stream.
QEL_API std::string translate_console_text(const std::wstring& text);
QEL_API unsigned int get_console_text_color();
QEL_API unsigned int get_console_back_color();
QEL_API void set_console_text_color(unsigned int color);
QEL_API void set_console_back_color(unsigned int color);
QEL_API std::ostream& operator<<(std::ostream& out, const console_text_color& color);
QEL_API std::ostream& operator<<(std::ostream& out, const console_back_color& color);
// Registers `notify` (null unregisters and restores the default action: the process ends).
// Returns whether the system took the change.
QEL_API bool set_console_exit_handler(IConsoleExitNotify* notify);
// Waits for one key press, without echo.
QEL_API void console_wait_any_char();

} // namespace qel
