// The console as a terminal: ANSI sequences on standard output, termios for raw key input and
// the cursor report, signals for the exit notification. Without a terminal on standard output
// nothing is written.
#include "platform/console.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

namespace qel::platform {
namespace {

// A terminal cannot be asked for its colours: the last ones set are remembered, starting
// from the Windows console's default, light grey on black.
std::atomic<unsigned int> current_colors{7};

bool on_terminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

void emit(const std::string& sequence) {
    if (!on_terminal())
        return;
    std::fflush(stdout); // keep the order of what the program printed through stdio
    std::size_t done = 0;
    while (done < sequence.size()) {
        const ssize_t n = ::write(STDOUT_FILENO, sequence.data() + done, sequence.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        done += static_cast<std::size_t>(n);
    }
}

std::string position(int x, int y) {
    return "\x1b[" + std::to_string(y + 1) + ";" + std::to_string(x + 1) + "H";
}

// The controlling terminal in raw mode (no echo, no line editing) for the object's lifetime.
class raw_terminal {
public:
    explicit raw_terminal(bool prefer_stdin) {
        if (prefer_stdin && ::isatty(STDIN_FILENO) == 1) {
            fd_ = STDIN_FILENO;
        } else {
            fd_ = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
            owned_ = fd_ >= 0;
        }
        if (fd_ < 0 || ::tcgetattr(fd_, &saved_) != 0) {
            close();
            return;
        }
        termios raw = saved_;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        if (::tcsetattr(fd_, TCSANOW, &raw) != 0)
            close();
    }
    raw_terminal(const raw_terminal&) = delete;
    raw_terminal& operator=(const raw_terminal&) = delete;
    ~raw_terminal() {
        if (fd_ >= 0)
            ::tcsetattr(fd_, TCSANOW, &saved_);
        close();
    }

    int fd() const { return fd_; }
    // One byte, or -1 when none comes within the time (negative: wait for ever).
    int read_byte(int timeout_ms) const {
        pollfd wait{fd_, POLLIN, 0};
        int ready = 0;
        while ((ready = ::poll(&wait, 1, timeout_ms)) < 0 && errno == EINTR) {
        }
        unsigned char c = 0;
        if (ready <= 0 || ::read(fd_, &c, 1) != 1)
            return -1;
        return c;
    }

private:
    void close() {
        if (owned_ && fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
        owned_ = false;
    }

    int fd_ = -1;
    bool owned_ = false;
    termios saved_{};
};

std::atomic<bool (*)()> exit_routine{nullptr};
const int exit_signals[] = {SIGINT, SIGTERM, SIGHUP};
struct sigaction previous_actions[3];
bool installed = false;

void on_signal(int signal_number) {
    bool (*routine)() = exit_routine.load();
    if (routine && routine())
        return;
    // Nobody took it: the default action ends the process, as without a handler.
    struct sigaction fallback {};
    fallback.sa_handler = SIG_DFL;
    ::sigaction(signal_number, &fallback, nullptr);
    ::raise(signal_number);
}

} // namespace

bool console_cursor(int& x, int& y) {
    if (!on_terminal())
        return false;
    std::fflush(stdout);
    const raw_terminal terminal(false);
    if (terminal.fd() < 0)
        return false;
    static const char request[] = "\x1b[6n";
    if (::write(terminal.fd(), request, sizeof request - 1) != sizeof request - 1)
        return false;
    // The answer is ESC [ row ; column R.
    std::string answer;
    for (int c = terminal.read_byte(500); c >= 0 && answer.size() < 32;
         c = terminal.read_byte(500)) {
        answer += static_cast<char>(c);
        if (c == 'R')
            break;
    }
    int row = 0;
    int column = 0;
    const std::size_t start = answer.rfind("\x1b[");
    if (start == std::string::npos ||
        std::sscanf(answer.c_str() + start, "\x1b[%d;%dR", &row, &column) != 2)
        return false;
    x = column - 1;
    y = row - 1;
    return true;
}

void set_console_cursor(int x, int y) {
    emit(position(x, y));
}

void show_console_cursor(bool show) {
    emit(show ? "\x1b[?25h" : "\x1b[?25l");
}

bool console_size(int& columns, int& rows) {
    winsize size{};
    if (!on_terminal() || ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0)
        return false;
    columns = size.ws_col;
    rows = size.ws_row;
    return true;
}

void fill_console_blanks(int x, int y, long count) {
    if (count <= 0)
        return;
    // Save the cursor, blank, and put it back.
    emit("\x1b"
         "7" +
         position(x, y) + std::string(static_cast<std::size_t>(count), ' ') +
         "\x1b"
         "8");
}

void set_console_title(const std::string& title) {
    emit("\x1b]0;" + title + "\x07");
}

bool console_colors(unsigned int& text, unsigned int& back) {
    if (!on_terminal())
        return false;
    const unsigned int colors = current_colors.load();
    text = colors & 15;
    back = colors >> 4 & 15;
    return true;
}

void set_console_colors(unsigned int text, unsigned int back) {
    if (!on_terminal())
        return;
    current_colors.store((text & 15) | (back & 15) << 4);
    // Red, green and blue are ANSI colours 1, 2 and 4; intensity picks the bright range.
    const unsigned int foreground = (text & 8 ? 90 : 30) + (text & 7);
    const unsigned int background = (back & 8 ? 100 : 40) + (back & 7);
    emit("\x1b[" + std::to_string(foreground) + ";" + std::to_string(background) + "m");
}

bool console_exit_routine(bool (*routine)()) {
    exit_routine.store(routine);
    bool ok = true;
    if (routine && !installed) {
        struct sigaction action {};
        action.sa_handler = on_signal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        for (int i = 0; i < 3; ++i)
            ok = ::sigaction(exit_signals[i], &action, &previous_actions[i]) == 0 && ok;
        installed = true;
    } else if (!routine && installed) {
        for (int i = 0; i < 3; ++i)
            ok = ::sigaction(exit_signals[i], &previous_actions[i], nullptr) == 0 && ok;
        installed = false;
    }
    return ok;
}

void console_wait_key() {
    std::fflush(stdout);
    const raw_terminal terminal(true);
    if (terminal.fd() >= 0)
        terminal.read_byte(-1);
}

} // namespace qel::platform
