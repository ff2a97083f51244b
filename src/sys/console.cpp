// The text console: cursor, screen, title, colours and the exit notification.
#include <qel/console.h>
#include <qel/text_encoding.h>

#include "platform/console.h"

#include <atomic>
#include <iostream>

namespace qel {
namespace {

// Read by the control routine, which runs on a thread of the system's or in a signal handler.
std::atomic<IConsoleExitNotify*> exit_handler{nullptr};

bool on_exit_event() {
    IConsoleExitNotify* notify = exit_handler.load();
    if (!notify)
        return false;
    notify->on_console_exit();
    return true;
}

std::string to_oem(const std::wstring& text) {
    std::string oem;
    wide_to_char(text, oem, text_encoding(cs_oem, 0, 0));
    return oem;
}

} // namespace

IConsoleExitNotify::IConsoleExitNotify() = default;
IConsoleExitNotify::IConsoleExitNotify(const IConsoleExitNotify&) = default;
IConsoleExitNotify& IConsoleExitNotify::operator=(const IConsoleExitNotify&) = default;
IConsoleExitNotify::~IConsoleExitNotify() = default;

console_cursor_pos get_console_cursor_pos() {
    console_cursor_pos pos;
    if (!platform::console_cursor(pos.x, pos.y))
        pos = console_cursor_pos();
    return pos;
}

void set_console_cursor_pos(const console_cursor_pos& pos) {
    platform::set_console_cursor(pos.x, pos.y);
}

void show_console_cursor(bool show) {
    platform::show_console_cursor(show);
}

console_cursor_pos get_console_size() {
    console_cursor_pos size;
    if (!platform::console_size(size.x, size.y))
        size = console_cursor_pos();
    return size;
}

void clear_console_screen() {
    const console_cursor_pos size = get_console_size();
    platform::set_console_cursor(0, 0);
    platform::fill_console_blanks(0, 0, static_cast<long>(size.x) * size.y);
}

void clear_console_screen_rect(const console_cursor_pos& from, const console_cursor_pos& to) {
    const long width = get_console_size().x;
    platform::fill_console_blanks(from.x, from.y, (to.y - from.y - 1) * width - from.x + to.x);
}

void set_console_title(const std::wstring& title) {
    platform::set_console_title(to_oem(title));
}

std::string translate_console_text(const std::wstring& text) {
    return to_oem(text);
}

unsigned int get_console_text_color() {
    unsigned int text = 0;
    unsigned int back = 0;
    return platform::console_colors(text, back) ? text : 0;
}

unsigned int get_console_back_color() {
    unsigned int text = 0;
    unsigned int back = 0;
    return platform::console_colors(text, back) ? back : 0;
}

void set_console_text_color(unsigned int color) {
    unsigned int text = 0;
    unsigned int back = 0;
    if (platform::console_colors(text, back))
        platform::set_console_colors(color & 15, back);
}

void set_console_back_color(unsigned int color) {
    unsigned int text = 0;
    unsigned int back = 0;
    if (platform::console_colors(text, back))
        platform::set_console_colors(text, color & 15);
}

std::ostream& operator<<(std::ostream& out, const console_text_color& color) {
    if (&out == &std::cout) {
        out.flush(); // text already written keeps the colour it was written in
        set_console_text_color(color.color());
    }
    return out;
}

std::ostream& operator<<(std::ostream& out, const console_back_color& color) {
    if (&out == &std::cout) {
        out.flush();
        set_console_back_color(color.color());
    }
    return out;
}

bool set_console_exit_handler(IConsoleExitNotify* notify) {
    exit_handler.store(notify);
    return platform::console_exit_routine(notify ? on_exit_event : nullptr);
}

void console_wait_any_char() {
    platform::console_wait_key();
}

} // namespace qel
