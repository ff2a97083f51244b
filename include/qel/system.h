// System services: facts about the machine, the operating system and the process; build
// descriptions of software ("build.ini") and architectures; the text console; shared
// libraries loaded on demand; and a stopwatch over the high-resolution counter.
//
// Nothing here throws for a failure of the system: queries give empty text, false or 0.
#pragma once

#include <qel/datetime.h>
#include <qel/export.h>
#include <qel/serialize.h>

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

namespace qel {

// ---- System and process information ------------------------------------------------------

// Amounts in bytes. virtual_size is the user-mode address space, page_file_size the commit
// limit (physical memory plus page files or swap).
struct memory_info {
    std::uint64_t virtual_size = 0;
    std::uint64_t physical_size = 0;
    std::uint64_t page_file_size = 0;
};

QEL_API std::wstring get_system_name();
QEL_API std::wstring get_current_user_name();
// Windows: the account's privilege level, true when the network management library cannot
// be used. Linux: uid 0 or a member of the group sudo, wheel or admin.
QEL_API bool is_current_user_admin();
// Windows: the thread's token is in the Administrators group. Linux: euid 0 or one of the
// process's groups is sudo, wheel or admin.
QEL_API bool is_current_process_admin();
// The processor's marketing name as the system stores it, blanks included.
QEL_API std::wstring get_processor_description();
// At least 1.
QEL_API int get_processors_number();
// "Windows 10" and the like; on Linux the distribution's PRETTY_NAME.
QEL_API std::wstring get_os_name();
// "major.minor.build" on Windows, the kernel release on Linux.
QEL_API std::wstring get_os_version();
// Always "x64".
QEL_API std::wstring get_os_xbit();
// Name, blank, version, " (x64)".
QEL_API std::wstring get_os_description();
QEL_API bool is_server_os();
QEL_API std::uint32_t get_current_process_id();
QEL_API std::uint32_t get_current_thread_id();
// The variable's value with %NAME% references expanded. False, and `value` unchanged, when
// the variable is missing or empty.
QEL_API bool get_env_variable(const std::wstring& name, std::wstring& value);
QEL_API void get_memory_info(memory_info& total, memory_info& available);

// ---- Software version and architecture ---------------------------------------------------

enum software_architecture { sa_unknown = 0, sa_x86 = 1, sa_x64 = 2 };

// "x86", "x64", or empty for any other value.
QEL_API std::string to_string(software_architecture value);
QEL_API std::wstring to_wstring(software_architecture value);
// Exactly "x86" or "x64" (case-sensitive); anything else is sa_unknown.
QEL_API software_architecture from_str(const std::string& text);
QEL_API software_architecture from_str(const std::wstring& text);
// sa_x64: the architecture the library was built for, and the system's.
QEL_API software_architecture get_current_process_architecture();
QEL_API software_architecture get_current_os_architecture();

// One build of a program. `version` is packed: the major number in bits 31-24 and the three
// decimal digits of the minor number one per byte below it, so 0x02000105 is 2.015.
class QEL_API software_version {
public:
    std::uint32_t version = 0x1000000;
    std::int32_t build = 1;
    date build_date;
    software_architecture architecture = sa_unknown;

    bool is_equal(const software_version& other) const;
    // Reads the keys Version (X.Y), Build and BuildDate (dd.mm.yyyy) of `section` ("Platform"
    // when null) in the file "build.ini" of the folder `path`. A missing file or key gives
    // 1.000 and build 0; a missing or bad date leaves build_date as it was. The architecture
    // becomes the running process's, whatever the file says.
    void read(const std::wstring& path, const wchar_t* section = nullptr);
    // version, build, build_date, architecture (as unsigned 32-bit), in this order.
    void store(out_serialize& out) const;
    void load(const in_serialize& in);
};

QEL_API out_serialize& operator<<(out_serialize& out, const software_version& value);
QEL_API const in_serialize& operator>>(const in_serialize& in, software_version& value);

// The packed version as text: "2.015".
QEL_API std::wstring get_version_string(std::uint32_t version);
// The template with the first %VER%, %ARCH%, %BUILD% and %DATE% replaced, in that order;
// an empty template is "%VER% %ARCH% (build %BUILD%, %DATE%)".
QEL_API std::wstring get_version_string(const software_version& version,
                                        const std::wstring& text_template);

// ---- Console -----------------------------------------------------------------------------
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

// ---- Dynamic libraries -------------------------------------------------------------------

namespace detail {
class dynamic_library_impl_;
} // namespace detail

enum E_DynamicLoad { dynamic_load_now = 0, dynamic_load_later = 1 };

// A shared library kept loaded while the object holds it. Failures show as is_loaded() false
// and null addresses; the system's reason is not kept.
class QEL_API dynamic_library {
public:
    dynamic_library();
    // dynamic_load_now loads at once; check with is_loaded().
    dynamic_library(const std::wstring& filename, E_DynamicLoad mode);
    // The other is left unloaded with an empty name.
    dynamic_library(dynamic_library&& other) noexcept;
    dynamic_library& operator=(dynamic_library&& other) noexcept;
    dynamic_library(const dynamic_library&) = delete;
    dynamic_library& operator=(const dynamic_library&) = delete;
    ~dynamic_library();

    // Loads the name again before releasing the module held so far, so a library loaded
    // twice stays mapped throughout.
    bool load();
    bool load(const std::wstring& filename);
    bool is_loaded() const;
    void free();
    // Null when not loaded or when the library has no such symbol.
    void* get_addr(const char* name) const;
    const std::wstring& filename() const { return filename_; }

private:
    std::wstring filename_;
    std::unique_ptr<detail::dynamic_library_impl_> module_;
};

// ---- Stopwatch ---------------------------------------------------------------------------

// A mark: the counter's raw reading (0 when it cannot be read).
QEL_API std::int64_t start_watch();
// Seconds since `mark`; the mark moves to now, for lap times.
QEL_API double next_watch(std::int64_t& mark);
// Seconds since `mark`.
QEL_API double stop_watch(std::int64_t mark);

} // namespace qel
