// System services. Facts about the machine are checked against sources the library does not
// use (the C runtime, std::thread, sysconf); build descriptions through real "build.ini" files;
// the Linux console under a pseudo-terminal whose output is read back byte for byte.
#include <qel/console.h>
#include <qel/dynamic_library.h>
#include <qel/sysinfo.h>
#include <qel/text_encoding.h>
#include <qel/version.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <io.h>
#include <process.h>
#else
#include <csignal>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

#ifdef _WIN32
unsigned int runtime_pid() {
    return static_cast<unsigned int>(_getpid());
}
bool stdout_is_terminal() {
    return _isatty(_fileno(stdout)) != 0;
}
void put_env(const std::string& name, const std::string& value) {
    _putenv((name + "=" + value).c_str());
}
const wchar_t* const system_library = L"kernel32.dll";
const char* const system_symbol = "GetProcAddress";
#else
unsigned int runtime_pid() {
    return static_cast<unsigned int>(::getpid());
}
bool stdout_is_terminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}
void put_env(const std::string& name, const std::string& value) {
    ::setenv(name.c_str(), value.c_str(), 1);
}
const wchar_t* const system_library = L"libc.so.6";
const char* const system_symbol = "getpid";
#endif

std::wstring widen(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

TEST(SystemInfo, AgreesWithIndependentSources) {
    EXPECT_EQ(qel::get_current_process_id(), runtime_pid());
    std::uint32_t other_thread = 0;
    std::thread([&] { other_thread = qel::get_current_thread_id(); }).join();
    EXPECT_NE(other_thread, qel::get_current_thread_id());
    EXPECT_NE(other_thread, 0u);
    EXPECT_EQ(qel::get_processors_number(),
              static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
    EXPECT_FALSE(qel::get_processor_description().empty());
    EXPECT_FALSE(qel::get_system_name().empty());
    EXPECT_FALSE(qel::get_current_user_name().empty());
    EXPECT_EQ(qel::get_os_xbit(), L"x64");
    EXPECT_EQ(qel::get_os_description(),
              qel::get_os_name() + L" " + qel::get_os_version() + L" (x64)");

    qel::memory_info total;
    qel::memory_info available;
    qel::get_memory_info(total, available);
    EXPECT_GT(total.physical_size, 1u << 20);
    EXPECT_GE(total.page_file_size, total.physical_size);
    EXPECT_GE(total.virtual_size, std::uint64_t{1} << 40);
    EXPECT_LE(available.physical_size, total.physical_size);
    EXPECT_LE(available.virtual_size, total.virtual_size);
    EXPECT_GT(available.physical_size, 0u);
#ifdef _WIN32
    // Wine and Windows both fill these variables in for every process.
    EXPECT_EQ(qel::get_system_name(), widen(std::getenv("COMPUTERNAME")));
    EXPECT_EQ(qel::get_os_name().rfind(L"Windows ", 0), 0u);
    EXPECT_EQ(std::count(qel::get_os_version().begin(), qel::get_os_version().end(), L'.'), 2);
#else
    char host[256] = {};
    ::gethostname(host, sizeof host - 1);
    EXPECT_EQ(qel::get_system_name(), widen(host));
    EXPECT_EQ(total.physical_size, static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
                                       static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)));
    EXPECT_FALSE(qel::is_server_os());
    if (::geteuid() == 0) {
        EXPECT_TRUE(qel::is_current_user_admin());
        EXPECT_TRUE(qel::is_current_process_admin());
    }
    std::ifstream release("/proc/sys/kernel/osrelease");
    std::string kernel;
    std::getline(release, kernel);
    EXPECT_EQ(qel::get_os_version(), widen(kernel));
#endif
}

TEST(SystemInfo, EnvironmentVariablesExpandReferences) {
    put_env("QEL_TEST_A", "alpha");
    put_env("QEL_TEST_B", "x%QEL_TEST_A%y%QEL_TEST_MISSING%z%");
    put_env("QEL_TEST_C", "%%QEL_TEST_A%%");
    struct row {
        const wchar_t* name;
        bool found;
        const wchar_t* value;
    };
    const row rows[] = {
        {L"QEL_TEST_A", true, L"alpha"},
        {L"QEL_TEST_B", true, L"xalphay%QEL_TEST_MISSING%z%"},
        {L"QEL_TEST_C", true, L"%alpha%"},
        {L"QEL_TEST_UNSET", false, L"untouched"},
    };
    for (const row& r : rows) {
        std::wstring value = L"untouched";
        EXPECT_EQ(qel::get_env_variable(r.name, value), r.found) << r.name;
        EXPECT_EQ(value, r.value);
    }
#ifndef _WIN32
    // The C runtime on Windows cannot set a variable to the empty text (it removes it).
    put_env("QEL_TEST_EMPTY", "");
    std::wstring value = L"untouched";
    EXPECT_FALSE(qel::get_env_variable(L"QEL_TEST_EMPTY", value));
    EXPECT_EQ(value, L"untouched");
#endif
}

TEST(SoftwareVersion, ArchitectureTexts) {
    struct row {
        qel::software_architecture value;
        const char* text;
    };
    const row rows[] = {{qel::sa_unknown, ""},
                        {qel::sa_x86, "x86"},
                        {qel::sa_x64, "x64"},
                        {static_cast<qel::software_architecture>(3), ""}};
    for (const row& r : rows) {
        EXPECT_EQ(qel::to_string(r.value), r.text);
        EXPECT_EQ(qel::to_wstring(r.value), widen(r.text));
        if (*r.text) {
            EXPECT_EQ(qel::from_str(std::string(r.text)), r.value);
            EXPECT_EQ(qel::from_str(widen(r.text)), r.value);
        }
    }
    for (const char* bad : {"X64", " x64", "x64 ", "", "amd64"})
        EXPECT_EQ(qel::from_str(std::string(bad)), qel::sa_unknown) << bad;
    EXPECT_EQ(qel::get_current_process_architecture(), qel::sa_x64);
    EXPECT_EQ(qel::get_current_os_architecture(), qel::sa_x64);
}

TEST(SoftwareVersion, ReadsBuildDescriptions) {
    qel_test::temp_dir dir;
    struct row {
        const char* version;
        std::uint32_t packed;
        const wchar_t* text;
    };
    const row rows[] = {
        {"3.2", 0x03000002, L"3.002"},         {"2.15", 0x02000105, L"2.015"},
        {"2.015", 0x02000105, L"2.015"},       {"2.150", 0x02010500, L"2.150"},
        {"2.1234", 0x02020304, L"2.234"},      {" 2.+7", 0x02000007, L"2.007"},
        {"255.999", 0xFF090909, L"255.999"},   {"2.1.3", 0x1000000, L"1.000"},
        {"256.1", 0x1000000, L"1.000"},        {"2.", 0x1000000, L"1.000"},
        {".5", 0x1000000, L"1.000"},           {"x.1", 0x1000000, L"1.000"},
        {"2.4294967296", 0x1000000, L"1.000"}, {"", 0x1000000, L"1.000"},
    };
    const qel::date kept(730500);
    for (const row& r : rows) {
        SCOPED_TRACE(r.version);
        std::ofstream(dir.path("build.ini"))
            << "; build\n[platform]\nVersion=" << r.version << "\nBuild=57\nBuildDate=01.02.2015\n"
            << "Architecture=x86\n[Other]\nBuild=9\n";
        qel::software_version v;
        v.read(dir.path().wstring());
        EXPECT_EQ(v.version, r.packed);
        EXPECT_EQ(qel::get_version_string(v.version), r.text);
        EXPECT_EQ(v.build, 57);
        EXPECT_EQ(v.build_date.get(), qel::date(1, 2, 2015).get());
        EXPECT_EQ(v.architecture, qel::sa_x64);
        v.build_date = kept;
        v.read(dir.path().wstring() + L"/", L"Other");
        EXPECT_EQ(v.build, 9);
        EXPECT_EQ(v.version, 0x1000000u);
        EXPECT_EQ(v.build_date.get(), kept.get());
    }
    std::filesystem::remove(dir.path("build.ini"));
    qel::software_version missing;
    missing.build_date = kept;
    missing.read(dir.path().wstring());
    EXPECT_EQ(missing.version, 0x1000000u);
    EXPECT_EQ(missing.build, 0);
    EXPECT_EQ(missing.build_date.get(), kept.get());
    EXPECT_EQ(missing.architecture, qel::sa_x64);
}

TEST(SoftwareVersion, TemplatesReplaceTheFirstOccurrence) {
    const qel::software_version plain;
    EXPECT_EQ(qel::get_version_string(plain, L""),
              L"1.000  (build 1, " + qel::to_wstring(qel::date()) + L")");
    qel::software_version v;
    v.version = 0x03000002;
    v.build = -4;
    v.build_date = qel::date(1, 2, 2015);
    v.architecture = qel::sa_x86;
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"", L"3.002 x86 (build -4, 01.02.2015)"}, {L"%VER%-%VER%", L"3.002-%VER%"},
        {L"%ver% %ARCH%%BUILD%", L"%ver% x86-4"},   {L"%DATE%%", L"01.02.2015%"},
        {L"%%VER%DATE%", L"%3.002DATE%"},           {L"no tags", L"no tags"},
    };
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(qel::get_version_string(v, text), expected) << text;
}

TEST(SoftwareVersion, SerializesFourElementsInOrder) {
    qel::software_version v;
    v.version = 0x02000105;
    v.build = -2;
    v.build_date = qel::date(730500);
    v.architecture = qel::sa_x64;
    qel::out_serialize out;
    out << v;
    std::vector<char> data;
    out.get_seriated_data(data);
    const unsigned char expected[] = {8,  0x05, 0x01, 0x00, 0x02, 7, 0xFE, 0xFF, 0xFF, 0xFF,
                                      18, 0x84, 0x25, 0x0B, 0x00, 8, 2,    0,    0,    0};
    ASSERT_EQ(data.size(), sizeof expected);
    EXPECT_EQ(std::memcmp(data.data(), expected, sizeof expected), 0);
    qel::in_serialize in(data);
    qel::software_version back;
    in >> back;
    EXPECT_TRUE(back.is_equal(v));
    back.build = 3;
    EXPECT_FALSE(back.is_equal(v));
}

TEST(DynamicLibrary, LoadsLooksUpAndReleases) {
    qel::dynamic_library later(system_library, qel::dynamic_load_later);
    EXPECT_FALSE(later.is_loaded());
    EXPECT_EQ(later.get_addr(system_symbol), nullptr);
    EXPECT_TRUE(later.load());
    EXPECT_NE(later.get_addr(system_symbol), nullptr);
    EXPECT_EQ(later.get_addr("qel_no_such_symbol"), nullptr);
#ifndef _WIN32
    EXPECT_EQ(later.get_addr(system_symbol), reinterpret_cast<void*>(&::getpid));
#endif
    EXPECT_TRUE(later.load()); // a reload keeps it usable
    EXPECT_NE(later.get_addr(system_symbol), nullptr);

    qel::dynamic_library now(system_library, qel::dynamic_load_now);
    EXPECT_TRUE(now.is_loaded());
    qel::dynamic_library moved(std::move(now));
    EXPECT_TRUE(moved.is_loaded());
    EXPECT_FALSE(now.is_loaded()); // NOLINT(bugprone-use-after-move): the state is the point
    EXPECT_TRUE(now.filename().empty());
    moved.free();
    moved.free();
    EXPECT_FALSE(moved.is_loaded());
    EXPECT_EQ(moved.get_addr(system_symbol), nullptr);

    qel::dynamic_library missing(L"qel-no-such-library.so.9", qel::dynamic_load_now);
    EXPECT_FALSE(missing.is_loaded());
    EXPECT_FALSE(missing.load());
    EXPECT_EQ(missing.get_addr(system_symbol), nullptr);
    EXPECT_EQ(missing.filename(), L"qel-no-such-library.so.9");
    EXPECT_TRUE(missing.load(system_library));
    EXPECT_FALSE(qel::dynamic_library().is_loaded());
}

TEST(Stopwatch, MeasuresWhatTheSteadyClockMeasures) {
    const std::int64_t first = qel::start_watch();
    const double immediate = qel::stop_watch(first);
    EXPECT_GE(immediate, 0.0);
    EXPECT_LT(immediate, 0.5);
    std::int64_t mark = first;
    const auto clock_start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const double lap1 = qel::next_watch(mark);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const double lap2 = qel::next_watch(mark);
    const double total = qel::stop_watch(first);
    const double clock =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - clock_start).count();
    EXPECT_GE(lap1, 0.029);
    EXPECT_GE(lap2, 0.029);
    EXPECT_NE(mark, first);
    EXPECT_GE(total, lap1 + lap2);
    EXPECT_LT(total - (lap1 + lap2), 0.05);
    EXPECT_NEAR(total, clock, 0.05);
}

TEST(Console, WithoutTerminalNothingIsDrawn) {
    if (stdout_is_terminal())
        GTEST_SKIP() << "standard output is a terminal here; the pseudo-terminal test covers it";
    qel::set_console_text_color(12);
    EXPECT_EQ(qel::get_console_text_color(), 0u);
    EXPECT_EQ(qel::get_console_back_color(), 0u);
    EXPECT_EQ(qel::get_console_size().x, 0);
    EXPECT_EQ(qel::get_console_cursor_pos().y, 0);
    std::ostringstream other;
    other << qel::console_text_color(4) << qel::console_back_color(1) << "x";
    EXPECT_EQ(other.str(), "x");
#ifdef _WIN32
    EXPECT_EQ(qel::translate_console_text(L"a\u00e9"), std::string("a\x82")); // OEM code page 437
#else
    EXPECT_EQ(qel::translate_console_text(L"a\u00e9"), std::string("a\xC3\xA9")); // UTF-8
#endif
}

#ifndef _WIN32
// The Windows console cannot be attached to a pipe that a test could read back; Linux draws
// on a pseudo-terminal, which the test plays: it reads every byte and answers the cursor
// position request as a terminal would.
struct exit_counter final : qel::IConsoleExitNotify {
    volatile std::sig_atomic_t calls = 0;
    void on_console_exit() override { calls = calls + 1; }
};

void draw_on_terminal() {
    qel::set_console_title(L"T\u00e9");
    qel::set_console_cursor_pos({4, 2});
    qel::show_console_cursor(false);
    qel::set_console_text_color(12); // blue and intensity: bright blue
    std::cout << qel::console_back_color(1) << "x";
    const qel::console_cursor_pos size = qel::get_console_size();
    std::printf("[%d %d %u %u]", size.x, size.y, qel::get_console_text_color(),
                qel::get_console_back_color());
    qel::clear_console_screen_rect({0, 2}, {5, 4});
    const qel::console_cursor_pos pos = qel::get_console_cursor_pos();
    std::printf("[%d %d]", pos.x, pos.y);
    exit_counter counter;
    const bool set = qel::set_console_exit_handler(&counter);
    std::raise(SIGINT);
    std::printf("[%d %d]", set ? 1 : 0, static_cast<int>(counter.calls));
    std::fflush(stdout);
    qel::set_console_exit_handler(nullptr);
    std::raise(SIGINT); // the default action again: the process ends here
    std::_Exit(0);
}

TEST(Console, DrawsOnAPseudoTerminal) {
    int master = -1;
    winsize size{};
    size.ws_col = 80;
    size.ws_row = 24;
    std::cout.flush(); // nothing buffered may reach the child's terminal
    std::fflush(stdout);
    const pid_t child = ::forkpty(&master, nullptr, nullptr, &size);
    ASSERT_GE(child, 0);
    if (child == 0)
        draw_on_terminal();
    std::string drawn;
    char buffer[512];
    for (;;) {
        const ssize_t n = ::read(master, buffer, sizeof buffer);
        if (n <= 0)
            break; // EIO once the child has gone
        drawn.append(buffer, static_cast<std::size_t>(n));
        if (drawn.size() >= 4 && drawn.compare(drawn.size() - 4, 4, "\x1b[6n") == 0) {
            ASSERT_EQ(::write(master, "\x1b[7;9R", 6), 6);
        }
    }
    ::close(master);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
    const std::string expected = "\x1b]0;T\xC3\xA9\x07"
                                 "\x1b[3;5H"
                                 "\x1b[?25l"
                                 "\x1b[94;40m"
                                 "\x1b[94;41m"
                                 "x[80 24 12 1]"
                                 "\x1b"
                                 "7\x1b[3;1H" +
                                 std::string(85, ' ') +
                                 "\x1b"
                                 "8\x1b[6n[8 6][1 1]";
    EXPECT_EQ(drawn, expected);
}
#endif

} // namespace
