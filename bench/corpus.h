// The benchmark corpus: files read once and shared by every benchmark.
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace qel_bench {

inline std::string corpus_folder() {
    const char* folder = std::getenv("QEL_BENCH_CORPUS");
    return folder ? folder : QEL_BENCH_CORPUS;
}

inline const std::vector<char>& corpus_file(const std::string& name) {
    static std::map<std::string, std::vector<char>> files;
    auto found = files.find(name);
    if (found != files.end())
        return found->second;
    std::ifstream in(corpus_folder() + "/" + name, std::ios::binary);
    if (!in)
        throw std::runtime_error("missing corpus file " + name);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return files.emplace(name, std::move(bytes)).first->second;
}

inline const char* const corpus_names[] = {"binary.bin", "log.txt", "prose.txt", "random.bin",
                                           "source.txt"};

} // namespace qel_bench
