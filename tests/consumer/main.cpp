// Uses the installed headers and library: prints "consumer ok" and exits 0 when every
// check holds.
#include <qel/qel.h>

#include <cstring>
#include <iostream>

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

    if (failures == 0)
        std::cout << "consumer ok\n";
    return failures == 0 ? 0 : 1;
}
