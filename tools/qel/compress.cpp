// qel compress / qel decompress: files or standard streams through the library's methods.
#include "commands.h"
#include "io.h"
#include "options.h"

#include <qel/compress.h>

#include <iostream>
#include <vector>

namespace qel_tool {
namespace {

// Inputs from this size up are split between all processors unless --threads says otherwise.
constexpr std::int64_t split_from = 1 << 20;

struct job {
    int method = qel::compress_lzm;
    bool force = false;
    int threads = 0; // 0: by the input's size
    std::string input;
    std::string output;
};

job parse(const arguments& args) {
    const parsed_options given = parse_options(
        args, {{"--method", "-m", true}, {"--force", "-f", false}, {"--threads", "-t", true}});
    job result;
    const std::string method = given.value("--method", "lzm");
    if (method == "zlib")
        result.method = qel::compress_zlib;
    else if (method != "lzm")
        usage_error("unknown method '" + method + "' (lzm or zlib)");
    if (given.operands.size() != 2)
        usage_error("expected IN and OUT");
    result.force = given.has("--force");
    if (given.has("--threads")) {
        const std::string threads = given.value("--threads");
        const bool digits = !threads.empty() && threads.size() <= 4 &&
                            threads.find_first_not_of("0123456789") == std::string::npos;
        result.threads = digits ? std::stoi(threads) : 0;
        if (result.threads < 1 || result.threads > 1024)
            usage_error("bad thread count '" + threads + "' (1 to 1024)");
    }
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

// The whole input in memory, for the forms that split it between threads.
std::vector<char> read_all(input_source& in) {
    std::vector<char> data;
    if (in.size() > 0)
        data.reserve(static_cast<std::size_t>(in.size()));
    std::vector<char> piece(1 << 20);
    for (std::size_t count = 0;; data.insert(data.end(), piece.data(), piece.data() + count)) {
        in.stream().read(piece.data(), piece.size(), &count);
        if (count == 0)
            return data;
    }
}

// Threads for lzm: as asked, or all processors (0) for a large input of known size; 1 keeps
// to the streamed forms and their bounded memory.
unsigned lzm_threads(const job& work, const input_source& in) {
    if (work.threads != 0)
        return static_cast<unsigned>(work.threads);
    return in.size() >= split_from ? 0 : 1;
}

void convert(const job& work, input_source& in, output_target& out, bool compressing) {
    const unsigned threads = work.method == qel::compress_lzm ? lzm_threads(work, in) : 1;
    if (threads == 1) {
        // The streamed one-call forms: bounded memory, and a zlib stream that does not reach
        // its end is an error rather than a quiet end of the output.
        if (compressing)
            qel::deflate(work.method, in.stream(), out.stream(), 0);
        else
            qel::inflate(work.method, in.stream(), out.stream());
        return;
    }
    const std::vector<char> data = read_all(in);
    in.check();
    std::vector<char> result;
    if (compressing)
        qel::lzm_deflate(data.data(), data.size(), result, qel::lzm_options{threads});
    else
        qel::lzm_inflate(data.data(), data.size(), result, qel::lzm_options{threads});
    out.stream().write(result.data(), result.size());
}

int run(const arguments& args, bool compressing) {
    const job work = parse(args);
    input_source in(work.input);
    output_target out(work.output, work.force, &in);
    {
        progress shown(compressing ? "compressing" : "decompressing", in);
        try {
            convert(work, in, out, compressing);
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
