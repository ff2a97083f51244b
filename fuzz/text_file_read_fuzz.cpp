// Arbitrary bytes as a text file, read under every charset (and one past the last), with and
// without signature detection: by lines, by characters and as one solid text. Nothing may
// crash or hang; the state flags are only observed. No reader can deliver more units than
// the file has bytes.
#include <qel/stream.h>
#include <qel/text_encoding.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

// One file per process, so that parallel fuzzing jobs do not share it; removed at exit.
struct scratch_file {
    std::filesystem::path path = std::filesystem::temp_directory_path() /
                                 ("qel_text_file_read_fuzz." + std::to_string(::getpid()));
    std::wstring name = path.wstring();

    ~scratch_file() {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
};

const scratch_file& scratch() {
    static const scratch_file file;
    return file;
}

void check(bool holds) {
    if (!holds)
        std::abort();
}

volatile bool observed = false; // keeps the flag queries from being dropped

void observe(const qel::text_file_stream& stream) {
    observed = stream.error() || stream.eof() || stream.ok();
}

void read_by_lines(const std::wstring& name, const qel::text_encoding& encoding, std::size_t size) {
    qel::text_file_stream stream(name, qel::file_stream_mode::read(), encoding);
    observe(stream);
    if (!stream.is_open())
        return;
    std::wstring line;
    // Each line that leaves the stream ok consumes at least one byte; the dummy policy reads
    // nothing and stays ok forever, hence the bound.
    for (std::size_t lines = 0; stream.ok() && lines <= size + 2; ++lines) {
        line.clear();
        stream.read_line(line);
        check(line.size() <= size);
        observe(stream);
    }
    const qel::E_CharSet in_force = stream.get_encoding().charset();
    const bool reads_nothing = in_force == qel::cs_codepage || in_force > qel::cs_utf8;
    check(reads_nothing || !stream.ok()); // a real reader runs out within size + 1 lines
    // Reading on past the end, or after a failure, stays harmless.
    line = L"kept or cleared";
    stream.read_line(line);
    observe(stream);
    (void)stream.read_char();
    observe(stream);
}

void read_by_characters_then_solid(const std::wstring& name, const qel::text_encoding& encoding,
                                   std::size_t size) {
    qel::text_file_stream stream(name, qel::file_stream_mode::read(), encoding);
    observe(stream);
    if (!stream.is_open())
        return;
    for (int i = 0; i < 4; ++i) {
        (void)stream.read_char();
        observe(stream);
    }
    std::wstring text;
    stream.read_solid_text(text);
    check(text.size() <= size);
    observe(stream);
    stream.reset();
    text.clear();
    stream.read_solid_text(text);
    check(text.size() <= size);
    observe(stream);
    stream.close();
    check(!stream.is_open());
}

void read_solid(const std::wstring& name, const qel::text_encoding& encoding, std::size_t size) {
    qel::text_file_stream stream(name, qel::file_stream_mode::read(), encoding);
    observe(stream);
    if (!stream.is_open())
        return;
    std::wstring text;
    stream.read_solid_text(text);
    check(text.size() <= size);
    observe(stream);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const scratch_file& file = scratch();
    {
        std::ofstream out(file.path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        if (!out)
            std::abort(); // the harness itself failed, not the library
    }
    for (int charset = 0; charset <= 7; ++charset) {
        for (unsigned int flags : {0u, qel::flag_detect_signature}) {
            const qel::text_encoding encoding(static_cast<qel::E_CharSet>(charset), 0, flags);
            read_by_lines(file.name, encoding, size);
            read_by_characters_then_solid(file.name, encoding, size);
            read_solid(file.name, encoding, size);
        }
    }
    return 0;
}
