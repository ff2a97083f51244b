// The console through the Win32 console API on the standard output handle.
#include "platform/console.h"

#include "platform/win/windows_api.h"

#include <conio.h>

#include <atomic>

namespace qel::platform {
namespace {

HANDLE output() {
    return GetStdHandle(STD_OUTPUT_HANDLE);
}

bool screen_info(CONSOLE_SCREEN_BUFFER_INFO& info) {
    return GetConsoleScreenBufferInfo(output(), &info) != FALSE;
}

// Colour bit (red 1, green 2, blue 4, intensity 8) to attribute bit and back; the background
// bits are these shifted by four.
constexpr WORD attribute_bits[4] = {FOREGROUND_RED, FOREGROUND_GREEN, FOREGROUND_BLUE,
                                    FOREGROUND_INTENSITY};

WORD to_attribute(unsigned int color) {
    WORD bits = 0;
    for (unsigned int i = 0; i < 4; ++i)
        if (color & (1u << i))
            bits = static_cast<WORD>(bits | attribute_bits[i]);
    return bits;
}

unsigned int to_color(WORD attribute) {
    unsigned int color = 0;
    for (unsigned int i = 0; i < 4; ++i)
        if (attribute & attribute_bits[i])
            color |= 1u << i;
    return color;
}

std::atomic<bool (*)()> exit_routine{nullptr};

BOOL WINAPI on_control_event(DWORD) {
    bool (*routine)() = exit_routine.load();
    return routine && routine() ? TRUE : FALSE;
}

} // namespace

bool console_cursor(int& x, int& y) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!screen_info(info))
        return false;
    x = info.dwCursorPosition.X;
    y = info.dwCursorPosition.Y;
    return true;
}

void set_console_cursor(int x, int y) {
    SetConsoleCursorPosition(output(), COORD{static_cast<SHORT>(x), static_cast<SHORT>(y)});
}

void show_console_cursor(bool show) {
    CONSOLE_CURSOR_INFO info{};
    GetConsoleCursorInfo(output(), &info);
    info.bVisible = show ? TRUE : FALSE;
    SetConsoleCursorInfo(output(), &info);
}

bool console_size(int& columns, int& rows) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!screen_info(info))
        return false;
    columns = info.dwSize.X;
    rows = info.dwSize.Y;
    return true;
}

void fill_console_blanks(int x, int y, long count) {
    DWORD written = 0;
    FillConsoleOutputCharacterW(output(), L' ', static_cast<DWORD>(count),
                                COORD{static_cast<SHORT>(x), static_cast<SHORT>(y)}, &written);
}

void set_console_title(const std::string& title) {
    SetConsoleTitleA(title.c_str());
}

bool console_colors(unsigned int& text, unsigned int& back) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!screen_info(info))
        return false;
    text = to_color(info.wAttributes & 0x0F);
    back = to_color(static_cast<WORD>((info.wAttributes >> 4) & 0x0F));
    return true;
}

void set_console_colors(unsigned int text, unsigned int back) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    screen_info(info);
    const WORD kept = static_cast<WORD>(info.wAttributes & ~0xFF);
    SetConsoleTextAttribute(output(),
                            static_cast<WORD>(kept | to_attribute(text) | to_attribute(back) << 4));
}

bool console_exit_routine(bool (*routine)()) {
    exit_routine.store(routine);
    return SetConsoleCtrlHandler(on_control_event, routine ? TRUE : FALSE) != FALSE;
}

void console_wait_key() {
    _getch();
}

} // namespace qel::platform
