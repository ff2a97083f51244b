// Uses the installed headers and library: prints "consumer ok" and exits 0 when every
// check holds.
#include <qel/qel.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

// A caller's own log policy, derived from the library's interface.
struct tagged_traits final : qel::ILogTraits {
    bool is_enabled(qel::ILogFileStream&) const override { return true; }
    void on_record_end(qel::ILogFileStream&) const override {}
    void to_narrow(const wchar_t* text, std::uint64_t length, std::string& out) const override {
        qel::default_log_traits().to_narrow(text, length, out);
    }
    void write_prefix(std::ostream& out) const override { out << "consumer"; }
};

int main() {
    int failures = 0;
    auto check = [&](bool condition, const char* what) {
        if (!condition) {
            std::cerr << "consumer check failed: " << what << "\n";
            ++failures;
        }
    };

    qel::memory_stream memory;
    memory.write("installed", 9);
    check(memory.get_size() == 9, "memory stream size");
    memory.seek(0, std::ios_base::beg, std::ios_base::in);
    char text[9] = {};
    std::size_t count = 0;
    memory.read(text, sizeof text, &count);
    check(count == 9 && std::memcmp(text, "installed", 9) == 0, "memory stream read back");

    try {
        throw qel::compress_error("thrown across the library boundary", 7);
    } catch (const qel::basic_exception& e) {
        check(std::strcmp(e.what(), "thrown across the library boundary") == 0, "message");
        check(dynamic_cast<const qel::compress_error*>(&e)->code() == 7, "code");
    }

    qel::file_stream missing(L"no-such-folder/no-such-file", qel::file_stream_mode::read());
    check(!missing.is_open() && missing.error(), "missing file fails to open");

    bool caught = false;
    try {
        std::vector<char> unpacked;
        qel::inflate(qel::compress_lzm, "not lzm", 7, unpacked);
    } catch (const qel::compress_error&) {
        caught = true; // thrown inside the library, caught by its type out here
    }
    check(caught, "library exception caught by type");

    const tagged_traits traits;
    const std::string log_name = "qel3-consumer.log";
    std::remove(log_name.c_str());
    {
        auto log = qel::log_file_stream_factory(L"qel3-consumer.log", L"", true, &traits);
        qel::log_record record(*log);
        *log << L"record";
        check(record.is_active(), "log record begins");
    }
    std::ifstream written(log_name, std::ios::binary);
    std::string line;
    std::getline(written, line);
    check(line.rfind("consumer\trecord", 0) == 0, "log record with the caller's prefix");
    written.close();
    std::remove(log_name.c_str());

    if (failures == 0)
        std::cout << "consumer ok\n";
    return failures == 0 ? 0 : 1;
}
