// Arbitrary bytes read as a build description: reading never fails, the architecture is
// always the process's, and a version read is either the default or a valid packed version
// whose text reads back to the same value.
#include <qel/version.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

struct scratch_folder {
    std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                   ("qel_build_ini_fuzz." + std::to_string(::getpid()));
    scratch_folder() { std::filesystem::create_directories(folder); }
    ~scratch_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
};

const scratch_folder& scratch() {
    static const scratch_folder folder;
    return folder;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    {
        std::ofstream out(scratch().folder / "build.ini", std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    qel::software_version version;
    version.read(scratch().folder.wstring());
    if (version.architecture != qel::sa_x64)
        std::abort();
    const std::uint32_t v = version.version;
    if ((v >> 16 & 0xFF) > 9 || (v >> 8 & 0xFF) > 9 || (v & 0xFF) > 9)
        std::abort();
    // The text form is itself a valid Version value.
    {
        std::wofstream again(scratch().folder / "build.ini", std::ios::trunc);
        again << L"[Platform]\nVersion=" << qel::get_version_string(v) << L"\n";
    }
    qel::software_version reread;
    reread.read(scratch().folder.wstring());
    if (reread.version != v)
        std::abort();
    (void)qel::get_version_string(version, L"%DATE% %BUILD% %ARCH% %VER%");
    return 0;
}
