// Subcommands of the qel tool and what they share. Each command takes the arguments after
// its name and returns the process exit code: 0 success, 1 a failure of the work, 2 a usage
// error. A command that cannot go on throws `failure`; main prints it as "qel CMD: message".
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace qel_tool {

using arguments = std::vector<std::string>;

inline constexpr int exit_failure = 1;
inline constexpr int exit_usage = 2;

class failure : public std::runtime_error {
public:
    failure(int exit_code, const std::string& message, bool show_usage = false)
        : std::runtime_error(message), exit_code_(exit_code), show_usage_(show_usage) {}
    int exit_code() const { return exit_code_; }
    bool show_usage() const { return show_usage_; }

private:
    int exit_code_;
    bool show_usage_;
};

// Arguments the command cannot take: the message, then the command's usage line.
[[noreturn]] inline void usage_error(const std::string& message) {
    throw failure(exit_usage, message, true);
}

// File names and messages are UTF-8 in the tool and wide text at the library.
std::wstring from_utf8(const std::string& text);
std::string to_utf8(const std::wstring& text);
// A name for messages: quoted, or "standard input/output" for "-".
std::string quoted(const std::string& name, bool output = false);

int run_demo(const arguments& args);
int run_compress(const arguments& args);
int run_decompress(const arguments& args);
int run_convert(const arguments& args);
int run_translit(const arguments& args);
int run_date(const arguments& args);
int run_log(const arguments& args);
int run_dump(const arguments& args);
int run_format(const arguments& args);
int run_profile(const arguments& args);
int run_uuid(const arguments& args);
int run_sysinfo(const arguments& args);
int run_version(const arguments& args);
int run_fs(const arguments& args);

} // namespace qel_tool
