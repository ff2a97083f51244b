// Arbitrary bytes loaded as a profile and saved: a saved profile loads back to the same
// index, always; and the first load already has that index when its lines hold nothing the
// saved UTF-8 file carries differently.
#include <qel/profile.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

struct scratch_files {
    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("qel_profile_fuzz." + std::to_string(::getpid()));
    scratch_files() { std::filesystem::create_directories(folder); }
    ~scratch_files() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
};

const scratch_files& scratch() {
    static const scratch_files files;
    return files;
}

// Lines are written up to their first U+0000, and the code-page reader of an unmarked file
// keeps a CR alone, U+FEFF and U+FFFE within a line where the UTF-8 reader skips them.
bool read_alike_by_every_reader(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    return text.find_first_of(std::string("\0\r", 2)) == std::string::npos &&
           text.find("\xEF\xBB\xBF") == std::string::npos &&
           text.find("\xEF\xBF\xBE") == std::string::npos;
}

void check(bool holds) {
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto given = scratch().folder / "given.ini";
    const auto saved = scratch().folder / "saved.ini";
    const auto resaved = scratch().folder / "resaved.ini";
    {
        std::ofstream out(given, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    qel::profile first(given.wstring());
    first.set_autosave(false);
    first.save_as(saved.wstring(), false);
    qel::profile second(saved.wstring());
    second.set_autosave(false);
    second.save_as(resaved.wstring(), false);
    check(second.is_equal(resaved.wstring()));
    if (read_alike_by_every_reader(data, size))
        check(first.is_equal(second));
    return 0;
}
