// Helpers shared by the tests: a private temporary folder and whole-file access.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace qel_test {

#ifdef _WIN32
constexpr bool on_windows = true;
#else
constexpr bool on_windows = false;
#endif

// A fresh folder under the system's temporary folder, removed with everything in it.
class temp_dir {
public:
    temp_dir() {
        std::random_device seed;
        auto base = std::filesystem::temp_directory_path();
        do {
            path_ = base / ("qel3-test-" + std::to_string(seed()));
        } while (!std::filesystem::create_directory(path_));
    }
    temp_dir(const temp_dir&) = delete;
    temp_dir& operator=(const temp_dir&) = delete;
    ~temp_dir() {
        std::error_code ignored;
        for (auto& entry : std::filesystem::recursive_directory_iterator(path_, ignored))
            std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add, ignored);
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path path(const std::string& name) const { return path_ / name; }
    // The name as the library takes it.
    std::wstring wide(const std::string& name) const { return path(name).wstring(); }

private:
    std::filesystem::path path_;
};

// Strings built from code unit and byte values, for expectations written as numbers.
inline std::wstring units(std::initializer_list<unsigned> list) {
    std::wstring out;
    for (unsigned u : list)
        out.push_back(static_cast<wchar_t>(u));
    return out;
}

inline std::string bytes(std::initializer_list<unsigned> list) {
    std::string out;
    for (unsigned b : list)
        out.push_back(static_cast<char>(b));
    return out;
}

inline std::string read_bytes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void write_bytes(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string random_bytes(std::size_t size, std::uint32_t seed) {
    std::mt19937 engine(seed);
    std::string bytes(size, '\0');
    for (auto& b : bytes)
        b = static_cast<char>(engine() & 0xFF);
    return bytes;
}

} // namespace qel_test
