// qel compress / qel decompress: files or standard streams through the library's methods.
#include "commands.h"
#include "io.h"
#include "options.h"

#include <qel/compress.h>

#include <iostream>

namespace qel_tool {
namespace {

struct job {
    int method = qel::compress_lzm;
    bool force = false;
    std::string input;
    std::string output;
};

job parse(const arguments& args) {
    const parsed_options given =
        parse_options(args, {{"--method", "-m", true}, {"--force", "-f", false}});
    job result;
    const std::string method = given.value("--method", "lzm");
    if (method == "zlib")
        result.method = qel::compress_zlib;
    else if (method != "lzm")
        usage_error("unknown method '" + method + "' (lzm or zlib)");
    if (given.operands.size() != 2)
        usage_error("expected IN and OUT");
    result.force = given.has("--force");
    result.input = given.operands[0];
    result.output = given.operands[1];
    return result;
}

// Why decompressing stopped, told from what the input and output streams saw.
[[noreturn]] void report(const qel::compress_error& e, const job& work, input_source& in,
                         output_target& out, bool compressing) {
    in.check();
    out.check();
    if (compressing)
        throw failure(exit_failure, e.what());
    // The zlib method reads until its stream ends; asking past the end means it was cut short.
    if (work.method == qel::compress_zlib && in.stream().drained())
        throw failure(exit_failure, "truncated zlib data in " + quoted(work.input));
    std::string message = "corrupt input " + quoted(work.input) + ": " + e.what();
    if (e.code() != 0)
        message += " (code " + std::to_string(e.code()) + ")";
    throw failure(exit_failure, message);
}

int run(const arguments& args, bool compressing) {
    const job work = parse(args);
    input_source in(work.input);
    output_target out(work.output, work.force, &in);
    {
        progress shown(compressing ? "compressing" : "decompressing", in);
        try {
            // The streamed one-call forms: bounded memory, and a zlib stream that does not
            // reach its end is an error rather than a quiet end of the output.
            if (compressing)
                qel::deflate(work.method, in.stream(), out.stream(), 0);
            else
                qel::inflate(work.method, in.stream(), out.stream());
        } catch (const qel::compress_error& e) {
            report(e, work, in, out, compressing);
        }
    }
    in.check();
    out.commit();
    if (!out.is_standard_output())
        std::cerr << (work.input == "-" ? "standard input" : work.input) << " -> " << work.output
                  << " (" << in.stream().bytes_read() << " -> " << out.stream().bytes_written()
                  << " bytes)\n";
    return 0;
}

} // namespace

int run_compress(const arguments& args) {
    return run(args, true);
}
int run_decompress(const arguments& args) {
    return run(args, false);
}

} // namespace qel_tool
