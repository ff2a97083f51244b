// qel compress / qel decompress: files or standard streams through the library's methods.
#include "commands.h"
#include "terminal.h"

#include <qel/compress.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

namespace qel_tool {
namespace {

constexpr std::size_t chunk_size = 1 << 20;
constexpr std::int64_t progress_threshold = 16 << 20;

// Standard input or output as an IStream.
class std_stream final : public qel::IStream {
public:
    explicit std_stream(std::streambuf* buffer) : buffer_(buffer) {}
    void read(void* data, std::size_t size, std::size_t* count) override {
        auto n = static_cast<std::size_t>(
            buffer_->sgetn(static_cast<char*>(data), static_cast<std::streamsize>(size)));
        end_ = n < size;
        if (count)
            *count = n;
    }
    void write(const void* data, std::size_t size) override {
        auto n = buffer_->sputn(static_cast<const char*>(data), static_cast<std::streamsize>(size));
        failed_ = failed_ || n != static_cast<std::streamsize>(size);
    }
    char get() override {
        char c = 0;
        read(&c, 1, nullptr);
        return c;
    }
    void put(char c) override { write(&c, 1); }
    void flush() override { failed_ = failed_ || buffer_->pubsync() == -1; }
    void reset() override { end_ = failed_ = false; }
    bool error() const override { return failed_; }
    bool eof() const override { return end_; }
    bool ok() const override { return !end_ && !failed_; }
    std::fpos<int> seek(std::fpos<int>, int, int) override { return std::fpos<int>(-1); }
    std::fpos<int> get_pos(int) override { return std::fpos<int>(-1); }
    std::int64_t get_size() override { return -1; }

private:
    std::streambuf* buffer_;
    bool end_ = false;
    bool failed_ = false;
};

struct options {
    int method = qel::compress_lzm;
    bool force = false;
    std::string input;
    std::string output;
};

std::optional<options> parse(const arguments& args, const char* command) {
    options result;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--method" && i + 1 < args.size()) {
            const std::string& method = args[++i];
            if (method == "lzm") {
                result.method = qel::compress_lzm;
            } else if (method == "zlib") {
                result.method = qel::compress_zlib;
            } else {
                std::cerr << "qel " << command << ": unknown method '" << method
                          << "' (lzm or zlib)\n";
                return std::nullopt;
            }
        } else if (arg == "--force" || arg == "-f") {
            result.force = true;
        } else if (arg.size() > 1 && arg[0] == '-' && arg != "-") {
            std::cerr << "qel " << command << ": unknown option '" << arg << "'\n";
            return std::nullopt;
        } else {
            names.push_back(arg);
        }
    }
    if (names.size() != 2) {
        std::cerr << "usage: qel " << command << " [--method lzm|zlib] [--force] IN OUT\n"
                  << "       IN or OUT may be - for standard input or output\n";
        return std::nullopt;
    }
    result.input = names[0];
    result.output = names[1];
    return result;
}

// The input and output of one run; a file output that was not finished is removed.
class endpoints {
public:
    bool open(const options& opts, const char* command) {
        if (opts.input == "-" || opts.output == "-")
            use_binary_stdio();
        if (opts.input == "-") {
            input_ = std::make_unique<std_stream>(std::cin.rdbuf());
        } else {
            auto file = std::make_unique<qel::file_stream>(
                std::filesystem::path(opts.input).wstring(), qel::file_stream_mode::read());
            if (!file->is_open()) {
                std::cerr << "qel " << command << ": cannot open '" << opts.input << "'\n";
                return false;
            }
            input_size_ = file->get_size();
            input_file_ = std::move(file);
        }
        if (opts.output == "-") {
            output_ = std::make_unique<std_stream>(std::cout.rdbuf());
            return true;
        }
        if (!opts.force && std::filesystem::exists(opts.output)) {
            std::cerr << "qel " << command << ": '" << opts.output
                      << "' exists (use --force to overwrite it)\n";
            return false;
        }
        auto file = std::make_unique<qel::file_stream>(std::filesystem::path(opts.output).wstring(),
                                                       qel::file_stream_mode::create());
        if (!file->is_open()) {
            std::cerr << "qel " << command << ": cannot create '" << opts.output << "'\n";
            return false;
        }
        output_file_ = std::move(file);
        output_path_ = opts.output;
        return true;
    }

    ~endpoints() {
        if (output_file_ && !finished_) {
            output_file_.reset();
            std::error_code ignored;
            std::filesystem::remove(output_path_, ignored);
        }
    }

    qel::IStream& input() { return input_ ? *input_ : input_file_->get_interface(); }
    qel::IStream& output() { return output_ ? *output_ : output_file_->get_interface(); }
    std::int64_t input_size() const { return input_size_; }
    void finish() { finished_ = true; }

private:
    std::unique_ptr<qel::IStream> input_;
    std::unique_ptr<qel::file_stream> input_file_;
    std::unique_ptr<qel::IStream> output_;
    std::unique_ptr<qel::file_stream> output_file_;
    std::string output_path_;
    std::int64_t input_size_ = -1;
    bool finished_ = false;
};

// A progress line on the terminal for inputs large enough to wait for.
class progress {
public:
    progress(const char* verb, std::int64_t total)
        : verb_(verb), total_(total), shown_(total >= progress_threshold && stderr_is_terminal()) {}
    void advance(std::size_t bytes) {
        done_ += static_cast<std::int64_t>(bytes);
        if (shown_)
            std::cerr << "\r" << verb_ << ": " << (done_ * 100 / total_) << "% (" << (done_ >> 20)
                      << " of " << (total_ >> 20) << " MiB)" << std::flush;
    }
    ~progress() {
        if (shown_)
            std::cerr << "\n";
    }

private:
    const char* verb_;
    std::int64_t total_;
    std::int64_t done_ = 0;
    bool shown_;
};

int run(const arguments& args, const char* command, bool compressing) {
    auto opts = parse(args, command);
    if (!opts)
        return 2;
    endpoints io;
    if (!io.open(*opts, command))
        return 1;
    std::vector<char> chunk(chunk_size);
    try {
        progress shown(compressing ? "compressing" : "decompressing", io.input_size());
        if (compressing) {
            qel::deflate_stream deflating(io.output(), opts->method);
            std::size_t count = 0;
            do {
                io.input().read(chunk.data(), chunk.size(), &count);
                deflating.write(chunk.data(), count);
                shown.advance(count);
            } while (count == chunk.size());
            deflating.flush();
        } else {
            qel::inflate_stream inflating(io.input(), opts->method);
            std::size_t count = 0;
            do {
                inflating.read(chunk.data(), chunk.size(), &count);
                io.output().write(chunk.data(), count);
                shown.advance(count);
            } while (count == chunk.size());
            io.output().flush();
        }
        if (io.input().error() || io.output().error()) {
            std::cerr << "qel " << command << ": " << (io.input().error() ? "reading" : "writing")
                      << " failed\n";
            return 1;
        }
    } catch (const qel::compress_error& e) {
        std::cerr << "qel " << command << ": "
                  << (compressing ? "" : "corrupt or unreadable input: ") << e.what();
        if (e.code() != 0)
            std::cerr << " (code " << e.code() << ")";
        std::cerr << "\n";
        return 1;
    }
    io.finish();
    if (opts->output != "-")
        std::cerr << opts->input << " -> " << opts->output << " ("
                  << std::filesystem::file_size(opts->output) << " bytes)\n";
    return 0;
}

} // namespace

int run_compress(const arguments& args) {
    return run(args, "compress", true);
}
int run_decompress(const arguments& args) {
    return run(args, "decompress", false);
}

} // namespace qel_tool
