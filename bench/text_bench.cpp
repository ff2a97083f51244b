// Text conversions and text file reading, qel3 beside what a user would write without it.
//
// - UTF-8 to wide text and back: qel::char_to_wide / qel::wide_to_char with cs_utf8 against
//   glibc's iconv ("UTF-8" <-> "WCHAR_T"), on prose.txt and source.txt. Counter: bytes of
//   UTF-8 per second, in both directions. The iconv side converts into a buffer sized once
//   outside the loop, which is the cheapest way to call it.
// - Reading a 4 MiB text file line by line, as UTF-8 (CR LF line ends, no signature) and as
//   UTF-16 LE (signature FF FE): qel::text_file_stream::read_line in a loop against
//     UTF-8:  std::ifstream + std::getline, the trailing CR dropped, and each line converted
//             to wide text by iconv with one descriptor reused for all lines;
//     UTF-16: std::getline cannot find line ends in UTF-16 bytes, so the baseline reads the
//             file with std::ifstream in 64 KiB chunks, assembles little-endian units
//             (surrogate pairs combined, as wide text on Linux holds code points), and ends a
//             line at each LF, dropping the CR before it.
//   and, for UTF-8, against the same getline split with each line converted by the library's
//   own qel::char_to_wide (getline_char_to_wide/utf8_4MiB).
//   Both sides open the file in every iteration and build each line in one reused
//   std::wstring. Counter: file bytes per second. The files are made once per run in the
//   temporary folder from prose.txt (repeated, line ends made CR LF, cut after the last whole
//   line that fits in 4 MiB) and removed at exit.
//
// Benchmarks are named qel_<operation>/<data> and peer_<operation>/<data>, so that
// bench/ratios.py can pair them.
#include "corpus.h"

#include <qel/stream.h>
#include <qel/text_encoding.h>

#include <benchmark/benchmark.h>
#include <iconv.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using qel_bench::corpus_file;

const qel::text_encoding utf8(qel::cs_utf8);
constexpr std::size_t file_size_limit = 4 * 1024 * 1024;

// An iconv descriptor; throws when glibc does not know the pair.
class converter {
public:
    converter(const char* to, const char* from) : cd_(iconv_open(to, from)) {
        if (cd_ == reinterpret_cast<iconv_t>(-1))
            throw std::runtime_error(std::string("iconv_open failed: ") + from + " to " + to);
    }
    converter(const converter&) = delete;
    converter& operator=(const converter&) = delete;
    ~converter() { iconv_close(cd_); }

    // Converts all of [in, in + in_size) into [out, out + out_size); returns the bytes
    // written, or -1 when the input is invalid or the output does not fit.
    std::ptrdiff_t convert(const void* in, std::size_t in_size, void* out, std::size_t out_size) {
        iconv(cd_, nullptr, nullptr, nullptr, nullptr);
        char* source = const_cast<char*>(static_cast<const char*>(in));
        char* target = static_cast<char*>(out);
        std::size_t source_left = in_size, target_left = out_size;
        if (iconv(cd_, &source, &source_left, &target, &target_left) == static_cast<size_t>(-1))
            return -1;
        return static_cast<std::ptrdiff_t>(out_size - target_left);
    }

private:
    iconv_t cd_;
};

std::wstring iconv_to_wide(converter& cd, const std::vector<char>& in) {
    std::wstring out(in.size(), L'\0');
    std::ptrdiff_t written = cd.convert(in.data(), in.size(), out.data(), out.size() * 4);
    out.resize(written < 0 ? 0 : static_cast<std::size_t>(written) / sizeof(wchar_t));
    return out;
}

void set_bytes(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(bytes));
}

// --- UTF-8 <-> wide --------------------------------------------------------------------

void qel_utf8_to_wide(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    std::wstring out;
    for (auto _ : state) {
        qel::char_to_wide(in.data(), in.size(), out, utf8);
        benchmark::DoNotOptimize(out.data());
    }
    converter cd("WCHAR_T", "UTF-8");
    if (out != iconv_to_wide(cd, in))
        state.SkipWithError("qel3 and iconv decode differently");
    set_bytes(state, in.size());
}

void peer_utf8_to_wide(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    converter cd("WCHAR_T", "UTF-8");
    std::wstring out(in.size(), L'\0');
    std::ptrdiff_t written = 0;
    for (auto _ : state) {
        written = cd.convert(in.data(), in.size(), out.data(), out.size() * sizeof(wchar_t));
        benchmark::DoNotOptimize(out.data());
    }
    if (written < 0)
        state.SkipWithError("iconv refused the input");
    set_bytes(state, in.size());
}

void qel_wide_to_utf8(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    std::wstring wide;
    qel::char_to_wide(in.data(), in.size(), wide, utf8);
    std::string out;
    for (auto _ : state) {
        qel::wide_to_char(wide, out, utf8);
        benchmark::DoNotOptimize(out.data());
    }
    if (out != std::string(in.begin(), in.end()))
        state.SkipWithError("qel3 round trip differs");
    set_bytes(state, in.size());
}

void peer_wide_to_utf8(benchmark::State& state, const char* name) {
    const auto& in = corpus_file(name);
    converter to_wide("WCHAR_T", "UTF-8");
    const std::wstring wide = iconv_to_wide(to_wide, in);
    converter cd("UTF-8", "WCHAR_T");
    std::string out(wide.size() * 4, '\0');
    std::ptrdiff_t written = 0;
    for (auto _ : state) {
        written = cd.convert(wide.data(), wide.size() * sizeof(wchar_t), out.data(), out.size());
        benchmark::DoNotOptimize(out.data());
    }
    if (written < 0 ||
        out.compare(0, static_cast<std::size_t>(written), std::string(in.begin(), in.end())) != 0)
        state.SkipWithError("iconv round trip differs");
    set_bytes(state, in.size());
}

// --- Line reading -----------------------------------------------------------------------

struct line_files {
    std::filesystem::path utf8_path;
    std::filesystem::path utf16_path;
    std::size_t utf8_size = 0;
    std::size_t utf16_size = 0;

    line_files() {
        const std::filesystem::path folder = std::filesystem::temp_directory_path();
        const std::string stem = "qel_text_bench." + std::to_string(::getpid());
        utf8_path = folder / (stem + ".utf8.txt");
        utf16_path = folder / (stem + ".utf16le.txt");

        // prose.txt with CR LF line ends, repeated, cut after the last line that fits.
        const auto& prose = corpus_file("prose.txt");
        std::string text;
        text.reserve(file_size_limit + prose.size() * 2);
        while (text.size() < file_size_limit)
            for (char c : prose) {
                if (c == '\n')
                    text.push_back('\r');
                text.push_back(c);
            }
        text.resize(text.rfind('\n', file_size_limit - 1) + 1);
        write(utf8_path, text);
        utf8_size = text.size();

        // The same text in UTF-16 LE after a signature, cut the same way.
        std::string utf16(text.size() * 2, '\0');
        converter cd("UTF-16LE", "UTF-8");
        std::ptrdiff_t written = cd.convert(text.data(), text.size(), utf16.data(), utf16.size());
        if (written < 0)
            throw std::runtime_error("prose.txt is not valid UTF-8");
        utf16.resize(static_cast<std::size_t>(written));
        std::size_t keep = file_size_limit - 2;
        while (keep >= 2 && !(utf16[keep - 2] == '\n' && utf16[keep - 1] == '\0'))
            keep -= 2;
        utf16.resize(keep);
        write(utf16_path, "\xFF\xFE" + utf16);
        utf16_size = utf16.size() + 2;
    }
    line_files(const line_files&) = delete;
    line_files& operator=(const line_files&) = delete;

    ~line_files() {
        std::error_code ignored;
        std::filesystem::remove(utf8_path, ignored);
        std::filesystem::remove(utf16_path, ignored);
    }

    static void write(const std::filesystem::path& path, const std::string& bytes) {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!out)
            throw std::runtime_error("cannot write " + path.string());
    }
};

const line_files& files() {
    static const line_files made;
    return made;
}

// What the reading loops saw, to check that both sides read the same text.
struct line_totals {
    std::size_t lines = 0;
    std::size_t units = 0;
    std::uint64_t sum = 0; // of all unit values

    void add(const std::wstring& line) {
        ++lines;
        units += line.size();
        for (wchar_t c : line)
            sum += static_cast<std::uint32_t>(c);
    }
};

// The loop a caller writes: read while ok(), accept a line when error() stays false.
// At the end of the file the last read delivers an empty line with only eof set.
std::size_t qel_read_all_lines(const std::filesystem::path& path, qel::E_CharSet charset,
                               line_totals* totals) {
    qel::text_file_stream stream(path.wstring(), qel::file_stream_mode::read(),
                                 qel::text_encoding(charset));
    std::wstring line;
    std::size_t lines = 0;
    while (stream.ok()) {
        stream.read_line(line);
        if (stream.error())
            break;
        if (stream.eof() && line.empty())
            break;
        ++lines;
        benchmark::DoNotOptimize(line.data());
        if (totals)
            totals->add(line);
    }
    return lines;
}

// Lines split by std::getline (a CR before the LF dropped), each turned into wide text by
// `convert(bytes, line)`.
template <class Convert>
std::size_t getline_lines(const std::filesystem::path& path, line_totals* totals, Convert convert) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes;
    std::wstring line;
    std::size_t lines = 0;
    while (std::getline(in, bytes)) {
        if (!bytes.empty() && bytes.back() == '\r')
            bytes.pop_back();
        convert(bytes, line);
        ++lines;
        benchmark::DoNotOptimize(line.data());
        if (totals)
            totals->add(line);
    }
    return lines;
}

std::size_t peer_read_utf8_lines(const std::filesystem::path& path, converter& cd,
                                 line_totals* totals) {
    return getline_lines(path, totals, [&](const std::string& bytes, std::wstring& line) {
        line.resize(bytes.size());
        std::ptrdiff_t written =
            cd.convert(bytes.data(), bytes.size(), line.data(), line.size() * sizeof(wchar_t));
        line.resize(written < 0 ? 0 : static_cast<std::size_t>(written) / sizeof(wchar_t));
    });
}

// The same split, each line converted by the library's own char_to_wide: what reading through
// text_file_stream should not cost more than.
std::size_t split_convert_utf8_lines(const std::filesystem::path& path, line_totals* totals) {
    return getline_lines(path, totals, [](const std::string& bytes, std::wstring& line) {
        qel::char_to_wide(bytes.data(), bytes.size(), line, utf8);
    });
}

std::size_t peer_read_utf16le_lines(const std::filesystem::path& path, line_totals* totals) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> chunk(64 * 1024);
    std::wstring line;
    std::size_t lines = 0;
    bool first = true;
    char odd_byte = 0;
    bool have_odd_byte = false;
    char32_t high = 0; // a high surrogate waiting for its partner
    auto take_unit = [&](char32_t unit) {
        if (first) {
            first = false;
            if (unit == 0xFEFF)
                return;
        }
        if (high != 0) {
            if (unit >= 0xDC00 && unit <= 0xDFFF) {
                line.push_back(
                    static_cast<wchar_t>(0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00)));
                high = 0;
                return;
            }
            line.push_back(static_cast<wchar_t>(high));
            high = 0;
        }
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            high = unit;
        } else if (unit == u'\n') {
            if (!line.empty() && line.back() == L'\r')
                line.pop_back();
            ++lines;
            benchmark::DoNotOptimize(line.data());
            if (totals)
                totals->add(line);
            line.clear();
        } else {
            line.push_back(static_cast<wchar_t>(unit));
        }
    };
    while (in) {
        in.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        auto n = static_cast<std::size_t>(in.gcount());
        std::size_t i = 0;
        if (have_odd_byte && n > 0) {
            take_unit(static_cast<unsigned char>(odd_byte) |
                      (char32_t{static_cast<unsigned char>(chunk[0])} << 8));
            have_odd_byte = false;
            i = 1;
        }
        for (; i + 1 < n; i += 2)
            take_unit(static_cast<unsigned char>(chunk[i]) |
                      (char32_t{static_cast<unsigned char>(chunk[i + 1])} << 8));
        if (i < n) {
            odd_byte = chunk[i];
            have_odd_byte = true;
        }
    }
    if (high != 0)
        line.push_back(static_cast<wchar_t>(high));
    if (!line.empty()) {
        ++lines;
        if (totals)
            totals->add(line);
    }
    return lines;
}

bool same_totals(const line_totals& a, const line_totals& b) {
    return a.lines == b.lines && a.units == b.units && a.sum == b.sum;
}

void qel_read_lines_utf8(benchmark::State& state) {
    const auto& made = files();
    for (auto _ : state)
        benchmark::DoNotOptimize(qel_read_all_lines(made.utf8_path, qel::cs_utf8, nullptr));
    line_totals ours, theirs;
    converter cd("WCHAR_T", "UTF-8");
    qel_read_all_lines(made.utf8_path, qel::cs_utf8, &ours);
    peer_read_utf8_lines(made.utf8_path, cd, &theirs);
    if (!same_totals(ours, theirs))
        state.SkipWithError("qel3 and the baseline read different lines");
    state.counters["lines"] = static_cast<double>(ours.lines);
    set_bytes(state, made.utf8_size);
}

void peer_read_lines_utf8(benchmark::State& state) {
    const auto& made = files();
    converter cd("WCHAR_T", "UTF-8");
    std::size_t lines = 0;
    for (auto _ : state) {
        lines = peer_read_utf8_lines(made.utf8_path, cd, nullptr);
        benchmark::DoNotOptimize(lines);
    }
    state.counters["lines"] = static_cast<double>(lines);
    set_bytes(state, made.utf8_size);
}

void getline_char_to_wide_utf8(benchmark::State& state) {
    const auto& made = files();
    std::size_t lines = 0;
    for (auto _ : state) {
        lines = split_convert_utf8_lines(made.utf8_path, nullptr);
        benchmark::DoNotOptimize(lines);
    }
    line_totals ours, theirs;
    qel_read_all_lines(made.utf8_path, qel::cs_utf8, &ours);
    split_convert_utf8_lines(made.utf8_path, &theirs);
    if (!same_totals(ours, theirs))
        state.SkipWithError("the stream and the split read different lines");
    state.counters["lines"] = static_cast<double>(lines);
    set_bytes(state, made.utf8_size);
}

void qel_read_lines_utf16le(benchmark::State& state) {
    const auto& made = files();
    for (auto _ : state)
        benchmark::DoNotOptimize(qel_read_all_lines(made.utf16_path, qel::cs_utf16le, nullptr));
    line_totals ours, theirs;
    qel_read_all_lines(made.utf16_path, qel::cs_utf16le, &ours);
    peer_read_utf16le_lines(made.utf16_path, &theirs);
    if (!same_totals(ours, theirs))
        state.SkipWithError("qel3 and the baseline read different lines");
    state.counters["lines"] = static_cast<double>(ours.lines);
    set_bytes(state, made.utf16_size);
}

void peer_read_lines_utf16le(benchmark::State& state) {
    const auto& made = files();
    std::size_t lines = 0;
    for (auto _ : state) {
        lines = peer_read_utf16le_lines(made.utf16_path, nullptr);
        benchmark::DoNotOptimize(lines);
    }
    state.counters["lines"] = static_cast<double>(lines);
    set_bytes(state, made.utf16_size);
}

// Pairs run next to each other so their ratio is read off adjacent lines.
int register_all() {
    for (const char* name : {"prose.txt", "source.txt"}) {
        std::string file = name;
        benchmark::RegisterBenchmark(("qel_utf8_to_wide/" + file).c_str(), qel_utf8_to_wide, name);
        benchmark::RegisterBenchmark(("peer_utf8_to_wide/" + file).c_str(), peer_utf8_to_wide,
                                     name);
        benchmark::RegisterBenchmark(("qel_wide_to_utf8/" + file).c_str(), qel_wide_to_utf8, name);
        benchmark::RegisterBenchmark(("peer_wide_to_utf8/" + file).c_str(), peer_wide_to_utf8,
                                     name);
    }
    benchmark::RegisterBenchmark("qel_read_lines/utf8_4MiB", qel_read_lines_utf8);
    benchmark::RegisterBenchmark("peer_read_lines/utf8_4MiB", peer_read_lines_utf8);
    benchmark::RegisterBenchmark("getline_char_to_wide/utf8_4MiB", getline_char_to_wide_utf8);
    benchmark::RegisterBenchmark("qel_read_lines/utf16le_4MiB", qel_read_lines_utf16le);
    benchmark::RegisterBenchmark("peer_read_lines/utf16le_4MiB", peer_read_lines_utf16le);
    return 0;
}

const int registered = register_all();

} // namespace

BENCHMARK_MAIN();
