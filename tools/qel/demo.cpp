// A short tour of the library's families, run in a temporary folder.
#include "commands.h"

#include <qel/qel.h>

#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace qel_tool {
namespace {

std::string hex(const std::string& bytes) {
    std::ostringstream out;
    for (char b : bytes)
        out << std::hex << std::setw(2) << std::setfill('0') << int(static_cast<unsigned char>(b))
            << ' ';
    std::string text = out.str();
    return text.empty() ? text : text.substr(0, text.size() - 1);
}

const char* flags(const qel::IStream& s) {
    if (s.ok())
        return "ok";
    return s.error() ? "error" : "eof";
}

void demo_errors() {
    std::cout << "== errors\n";
    try {
        throw qel::basic_exception(L"caf\u00e9 \u20ac");
    } catch (const qel::basic_exception& e) {
        std::cout << "  wide message stored as UTF-8: " << hex(e.what()) << "\n"
                  << "  wide_what() gives back " << e.wide_what().size() << " units\n";
    }
}

void demo_memory_stream() {
    std::cout << "== memory stream\n";
    qel::memory_stream memory;
    const std::string text = "hello, streams";
    memory.write(text.data(), text.size());
    std::cout << "  wrote " << memory.get_size() << " bytes\n";
    memory.seek(7, std::ios_base::beg, std::ios_base::in);
    char word[16] = {};
    std::size_t count = 0;
    memory.read(word, sizeof word, &count);
    std::cout << "  read from offset 7: \"" << std::string(word, count) << "\" (" << count
              << " bytes, state " << flags(memory.get_interface()) << ")\n";
    memory.reset();
    memory.lock();
    memory.write("x", 1);
    std::cout << "  write while locked: state " << flags(memory.get_interface()) << "\n";
    memory.unlock();
    memory.reset();
}

void demo_file_stream(const std::filesystem::path& folder) {
    std::cout << "== file stream\n";
    std::wstring name = (folder / "demo.bin").wstring();
    {
        qel::file_stream file(name, qel::file_stream_mode::create());
        qel::memory_stream memory;
        for (int i = 0; i < 1000; ++i)
            memory.put(static_cast<char>('a' + i % 26));
        memory.write_to(file.get_interface());
        std::cout << "  created demo.bin with " << file.get_size() << " bytes\n";
    }
    {
        auto mode = qel::file_stream_mode::append();
        mode |= qel::file_stream_option::flush_on_close();
        qel::file_stream file(name, mode);
        file.write("!\n", 2);
        file.flush();
        std::cout << "  appended 2 bytes (committed on flush), size now " << file.get_size()
                  << "\n";
    }
    qel::file_stream file(name, qel::file_stream_mode::read());
    file.seek(-2, std::ios_base::end, std::ios_base::in);
    char tail = file.get();
    std::cout << "  byte before the end: '" << tail << "'\n";
    qel::file_stream missing(name + L".missing", qel::file_stream_mode::read());
    std::cout << "  opening a missing file: is_open " << std::boolalpha << missing.is_open()
              << ", error " << missing.error() << "\n";
}

void demo_text(const std::filesystem::path& folder) {
    std::cout << "== text files and encodings\n";
    std::wstring name = (folder / "greeting.txt").wstring();
    const std::wstring line = L"\x041F\x0440\x0438\x0432\x0435\x0442, text files!";
    {
        qel::text_file_stream out(name, qel::file_stream_mode::create(), qel::cs_utf16le);
        out.write_line(line);
        std::cout << "  wrote one UTF-16 LE line with signature: " << out.get_size() << " bytes\n";
    }
    qel::text_file_stream in(name, qel::file_stream_mode::read(),
                             qel::text_encoding(qel::cs_default, 0, qel::flag_detect_signature));
    std::wstring back;
    in.read_line(back);
    std::cout << "  read back with detection: charset " << in.get_encoding().charset() << ", "
              << (back == line ? "same line" : "DIFFERENT line") << "\n"
              << "  transliterated: " << qel::transliterate_wide_to_char(back) << "\n";
    std::string utf8;
    qel::wide_to_char(back, utf8, qel::cs_utf8);
    std::cout << "  as UTF-8: " << utf8.size() << " bytes for " << back.size() << " characters\n";
}

void demo_compression() {
    std::cout << "== compression\n";
    std::string text;
    for (int i = 0; text.size() < 100000; ++i)
        text +=
            "line " + std::to_string(i % 50) + ": the quick brown fox jumps over the lazy dog\n";
    for (int method : {qel::compress_lzm, qel::compress_zlib}) {
        const char* name = method == qel::compress_lzm ? "lzm" : "zlib";
        qel::memory_stream packed;
        {
            qel::deflate_stream deflating(packed.get_interface(), method);
            deflating.write(text.data(), text.size());
            deflating.flush();
        }
        packed.seek(0, std::ios_base::beg, std::ios_base::in);
        qel::inflate_stream inflating(packed.get_interface(), method);
        std::string back(text.size() + 1, '\0');
        std::size_t count = 0;
        inflating.read(back.data(), back.size(), &count);
        back.resize(count);
        std::cout << "  " << name << ": " << text.size() << " bytes -> " << packed.get_size()
                  << " bytes, decompressed " << (back == text ? "identical" : "DIFFERENT") << "\n";
    }
    try {
        std::vector<char> out;
        qel::inflate(qel::compress_lzm, "not lzm", 7, out);
    } catch (const qel::compress_error& e) {
        std::cout << "  decoding bytes that are not lzm: \"" << e.what() << "\"\n";
    }
}

void demo_datetime() {
    std::cout << "== date and time\n";
    std::cout << "  now: " << qel::get_system_clock_timestamp() << " (zone offset "
              << qel::get_system_time_zone().hours() << " h, standard time)\n";
    qel::date day(31, 1, 2004);
    std::cout << "  " << day << " as DD.MM.YY with '/': " << qel::to_string(day, "DD.MM.YY", '/')
              << ", as yyyymmdd: " << qel::to_string(day, "yyyymmdd", '.') << "\n";
    day.inc_month(1);
    std::cout << "  one month later: " << day << " (the day is lowered to fit)\n";
    qel::date parsed;
    const bool ok = qel::from_str(std::string("1.2.03"), parsed);
    std::cout << "  \"1.2.03\" parses " << (ok ? "to " + qel::to_string(parsed) : "not")
              << ", day value " << parsed.get() << "\n";
    std::cout << "  \"29.02.2001\" parses "
              << (qel::from_str(std::string("29.02.2001"), parsed) ? "(unexpectedly)" : "not")
              << "\n";
    qel::timestamp stamp(2004, 2, 29, 23, 0, 0, 0);
    stamp += qel::time_interval(1, qel::time(2, 30, 0, 0));
    std::cout << "  29.02.2004 23:00 plus 1 day 02:30: " << stamp << "\n";
}

void demo_format() {
    std::cout << "== value formatting\n";
    qel::float_format money;
    const bool read = qel::str_to_format(L"F(12;2;; ;,;nu;-; ;EUR)", money);
    std::cout << "  -1234.565 under F(12;2;; ;,;nu;-; ;EUR)" << (read ? "" : " (unread)") << ": ["
              << qel_tool::to_utf8(qel::do_format(-1234.565, money)) << "]\n";
}

void demo_log(const std::filesystem::path& folder) {
    std::cout << "== log file shared by threads\n";
    const auto name = folder / "demo.log";
    auto log = qel::log_file_stream_factory(name.wstring(), L"qel demo log", true, nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&log, t] {
            for (int i = 0; i < 250; ++i) {
                qel::log_record record(*log);
                *log << "thread " << std::to_string(t) << " record " << std::to_string(i);
            }
        });
    for (auto& thread : threads)
        thread.join();
    std::ifstream in(name);
    std::string header, first;
    std::getline(in, header);
    std::getline(in, first);
    std::size_t lines = 2;
    for (std::string line; std::getline(in, line);)
        ++lines;
    std::cout << "  4 threads wrote 1000 records: " << lines << " lines with the header \""
              << header << "\"\n  first record: " << first << "\n";
}

void demo_serialization() {
    std::cout << "== serialization\n";
    qel::memory_stream memory;
    {
        qel::out_serialize_stream out(memory.get_interface());
        out << 42 << std::string("text") << qel::date(31, 1, 2004) << 2.5;
    }
    std::string framed(static_cast<std::size_t>(memory.get_size()), '\0');
    memory.seek(0, std::ios_base::beg, std::ios_base::in);
    memory.read(framed.data(), framed.size());
    std::cout << "  4 values in one chunk of " << framed.size() << " bytes:\n    "
              << hex(framed.substr(0, 16)) << " (magic, zero, body length)\n    "
              << hex(framed.substr(16)) << "\n";
    memory.reset();
    memory.seek(0, std::ios_base::beg, std::ios_base::in);
    qel::in_serialize_stream in(memory.get_interface());
    int number = 0;
    std::string text;
    qel::date day;
    double real = 0;
    in >> number >> text >> day >> real;
    std::cout << "  read back: " << number << ", \"" << text << "\", " << day << ", " << real
              << (in.eof() ? " (end of stream)" : "") << "\n";
    try {
        in >> number;
    } catch (const qel::serialize_error& e) {
        std::cout << "  one more read: \"" << e.what() << "\"\n";
    }
}

void demo_variant() {
    std::cout << "== variant\n";
    const qel::variant values[] = {qel::variant(),
                                   qel::variant(42),
                                   qel::variant(2.5),
                                   qel::variant(L"text"),
                                   qel::variant(qel::date(31, 1, 2004)),
                                   qel::variant(true)};
    qel::inout_serialize io;
    for (const auto& v : values) {
        std::cout << "  " << qel::variant_type_to_string(v.type()) << " \""
                  << to_utf8(v.to_string()) << "\"\n";
        v.store(io);
    }
    std::cout << "  42 sorts before 2.5 (integers before floats): "
              << (values[1].compare(values[2]) < 0 ? "yes" : "no") << "\n";
    try {
        (void)values[1].get_string();
    } catch (const qel::variant_type_mismatch& e) {
        std::cout << "  42 as a string: \"" << e.what() << "\"\n";
    }
    bool same = true;
    for (const auto& v : values)
        same = same && qel::variant(static_cast<const qel::in_serialize&>(io)).is_equal(v);
    std::cout << "  stored and loaded back equal: " << (same ? "yes" : "no") << "\n";
}

void demo_profile(const std::filesystem::path& folder) {
    std::cout << "== profile\n";
    const auto name = (folder / "demo.ini").wstring();
    { std::ofstream(folder / "demo.ini") << "; kept as written\n[Window]\nwidth = 640\n"; }
    qel::profile settings(name);
    settings.write("window", "width", settings.read("WINDOW", "Width", 0) * 2);
    settings.write("Recent", "file1", L"notes.txt");
    settings.flush();
    std::ifstream in(folder / "demo.ini");
    for (std::string line; std::getline(in, line);)
        std::cout << "  "
                  << (line.empty() || line.back() != '\r' ? line : line.substr(0, line.size() - 1))
                  << "\n";
}

std::filesystem::path make_temp_folder() {
    std::random_device seed;
    auto base = std::filesystem::temp_directory_path();
    std::filesystem::path folder;
    do {
        folder = base / ("qel-demo-" + std::to_string(seed()));
    } while (!std::filesystem::create_directory(folder));
    return folder;
}

} // namespace

// Waits for the go signal, then takes one 48-byte block from the shared pool.
struct pool_body : qel::IThreadBody {
    qel::mem_pool& pool;
    qel::thread_event go;
    void* block = nullptr;
    explicit pool_body(qel::mem_pool& p) : pool(p) {}
    void run(qel::IThreadState& state) override {
        while (!go.wait(qel::time_period(10)))
            if (state.is_shutdown())
                return;
        block = pool.alloc(48);
    }
};

void demo_fs(const std::filesystem::path& folder) {
    std::cout << "== paths, files and directories\n";
    std::cout << "  canonical of C:\\a\\.\\b\\..\\c\\: "
              << to_utf8(qel::make_canonical_path(L"C:\\a\\.\\b\\..\\c\\")) << "\n";
    std::wstring relative;
    qel::get_relative_path(L"C:\\a\\b", L"C:\\a\\c\\d.txt", relative);
    std::cout << "  C:\\a\\c\\d.txt seen from C:\\a\\b: " << to_utf8(relative) << "\n";
    const std::wstring tree = qel::concat_path(folder.wstring(), L"tree");
    qel::create_path(qel::concat_path(tree, L"a\\b"));
    for (const wchar_t* name : {L"one.txt", L"a\\two.txt", L"a\\b\\three.dat"}) {
        qel::file_stream file(qel::concat_path(tree, name), qel::file_stream_mode::create());
        file.write("12345", 5);
    }
    std::uint64_t size = 0;
    qel::dir_deep_size(tree, size);
    const std::wstring copy = qel::concat_path(folder.wstring(), L"copy");
    const bool copied = qel::dir_deep_copy(tree, copy, false);
    std::cout << "  created a tree of 3 files, " << size << " bytes in all; deep copy "
              << (copied ? "done" : "FAILED") << "\n  .txt files in the copy:";
    for (qel::file_enumerator e(copy, L"txt"); e.more(); e.next())
        std::cout << " " << to_utf8(e.filename());
    qel::fsobj_attribute_map attributes;
    qel::fsobj_attributes(qel::concat_path(copy, L"one.txt"), attributes,
                          qel::fsobj_group_attributes | qel::fsobj_group_size);
    std::cout << "\n  one.txt: " << attributes[L"SIZE"][L"BYTES"].get_double()
              << " bytes, read-only " << std::boolalpha
              << attributes[L"ATTRIBUTES"][L"READONLY"].get_bool()
              << "\n  deep delete of the copy: "
              << (qel::dir_deep_delete(copy) && !qel::dir_exists(copy) ? "done" : "FAILED") << "\n";
}

void demo_threads() {
    std::cout << "== threads and memory\n";
    qel::mem_pool pool(256, qel::mem_pool::multi_thread);
    pool_body body(pool);
    qel::worker_thread worker(body);
    worker.start();
    void* mine = pool.alloc(48);
    pool.free(mine);
    std::cout << "  worker waiting; joined within 0 ms: "
              << (worker.join(qel::time_period(0)) ? "yes" : "no") << "\n";
    body.go.signal();
    worker.join();
    std::cout << "  after the event the worker took the slot main had freed: "
              << (body.block == mine ? "yes" : "no") << "\n";
    pool.free(body.block);
}

void demo_system(const std::filesystem::path& folder) {
    std::cout << "== identifiers and system services\n";
    const qel::unique_id id(qel::unique_id_marker_{});
    qel::uuid parsed;
    std::cout << "  new UUID " << id.to_string() << ", parses back equal: "
              << (qel::uuid_from_str(id.to_string(), parsed) && id.is_equal(parsed) ? "yes" : "no")
              << "\n";
    std::cout << "  running on " << to_utf8(qel::get_os_description()) << " with "
              << qel::get_processors_number() << " processor(s)\n";
    std::ofstream(folder / "build.ini") << "[Platform]\nVersion=2.15\nBuild=357\n"
                                        << "BuildDate=17.11.2026\n";
    qel::software_version version;
    const std::int64_t mark = qel::start_watch();
    version.read(folder.wstring());
    std::cout << "  build.ini reads as " << to_utf8(qel::get_version_string(version, L"")) << " in "
              << static_cast<int>(qel::stop_watch(mark) * 1e6) << " us\n";
}

int run_demo(const arguments& args) {
    if (!args.empty())
        usage_error("takes no arguments");
    auto folder = make_temp_folder();
    std::cout << "qel demo in " << folder.string() << "\n";
    demo_errors();
    demo_memory_stream();
    demo_file_stream(folder);
    demo_text(folder);
    demo_compression();
    demo_datetime();
    demo_format();
    demo_log(folder);
    demo_serialization();
    demo_variant();
    demo_profile(folder);
    demo_fs(folder);
    demo_threads();
    demo_system(folder);
    std::filesystem::remove_all(folder);
    std::cout << "done; temporary folder removed\n";
    return 0;
}

} // namespace qel_tool
