// qel log: one record appended to a log file, as a program's threads append theirs.
#include "commands.h"
#include "options.h"

#include <qel/log.h>

namespace qel_tool {
namespace {

// The tool's text is UTF-8 throughout, so the header is too; the prefix stays the default.
struct utf8_traits final : qel::ILogTraits {
    bool is_enabled(qel::ILogFileStream& log) const override {
        return qel::default_log_traits().is_enabled(log);
    }
    void on_record_end(qel::ILogFileStream&) const override {}
    void to_narrow(const wchar_t* text, std::uint64_t length, std::string& out) const override {
        out = to_utf8(std::wstring(text, static_cast<std::size_t>(length)));
    }
    void write_prefix(std::ostream& out) const override {
        qel::default_log_traits().write_prefix(out);
    }
};

} // namespace

int run_log(const arguments& args) {
    const parsed_options given =
        parse_options(args, {{"--no-prefix", nullptr, false}, {"--header", nullptr, true}});
    if (given.operands.size() < 2)
        usage_error("expected FILE and TEXT");
    const utf8_traits traits;
    const std::string& file = given.operands[0];
    auto log = qel::log_file_stream_factory(from_utf8(file), from_utf8(given.value("--header")),
                                            !given.has("--no-prefix"), &traits);
    qel::log_record record(*log);
    if (!record)
        throw failure(exit_failure, "cannot open or create the log " + quoted(file));
    for (std::size_t i = 1; i < given.operands.size(); ++i)
        *log << (i > 1 ? " " : "") << given.operands[i];
    if (!log->is_record_open())
        throw failure(exit_failure, "cannot write the record to " + quoted(file));
    return 0;
}

} // namespace qel_tool
