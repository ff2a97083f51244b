// The benchmark corpus: files read once and shared by every benchmark. The folder comes from
// QEL_BENCH_CORPUS (environment, then build setting); where it has no such file, a stand-in
// of the same kind and size is generated, so the benchmarks run from the repository alone.
// Figures in docs/performance.md are measured on the real corpus.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace qel_bench {

inline std::string corpus_folder() {
    const char* folder = std::getenv("QEL_BENCH_CORPUS");
    return folder ? folder : QEL_BENCH_CORPUS;
}

// Text of `size` bytes made of lines from `line`, deterministic for a name.
template <class Line> std::vector<char> generated(std::size_t size, Line line) {
    std::mt19937 engine(12345);
    std::string text;
    while (text.size() < size)
        text += line(engine);
    return std::vector<char>(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size));
}

inline std::vector<char> stand_in(const std::string& name) {
    static const char* const words[] = {"the",    "of",     "and",   "stream",  "river",  "house",
                                        "winter", "letter", "quiet", "across",  "never",  "again",
                                        "light",  "under",  "would", "between", "morning"};
    auto word = [](std::mt19937& e) { return std::string(words[e() % std::size(words)]); };
    if (name == "prose.txt")
        return generated(3000000, [&](std::mt19937& e) {
            std::string s = word(e);
            for (unsigned n = 5 + e() % 12; n > 0; --n)
                s += " " + word(e);
            return s + ".\n";
        });
    if (name == "log.txt")
        return generated(4000073, [&](std::mt19937& e) {
            return "2026-11-" + std::to_string(10 + e() % 20) +
                   " 12:" + std::to_string(10 + e() % 50) + ":" + std::to_string(10 + e() % 50) +
                   " INFO worker-" + std::to_string(e() % 8) + " request " +
                   std::to_string(e() % 100000) + " took " + std::to_string(e() % 900) + " ms\n";
        });
    if (name == "source.txt")
        return generated(3618121, [&](std::mt19937& e) {
            return "    if (" + word(e) + "_" + word(e) + " > " + std::to_string(e() % 64) +
                   ") {\n        " + word(e) + "(" + word(e) + ", " + std::to_string(e() % 9) +
                   ");\n    }\n";
        });
    std::mt19937 engine(99);
    std::vector<char> bytes(name == "random.bin" ? 1000000 : 2190440);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        // Binary stand-in: records of small counters and flags between random bytes.
        bytes[i] = static_cast<char>(name == "random.bin" || i % 16 >= 12 ? engine() : i / 64 % 7);
    return bytes;
}

inline const std::vector<char>& corpus_file(const std::string& name) {
    static std::map<std::string, std::vector<char>> files;
    auto found = files.find(name);
    if (found != files.end())
        return found->second;
    std::ifstream in(corpus_folder() + "/" + name, std::ios::binary);
    std::vector<char> bytes =
        in ? std::vector<char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())
           : stand_in(name);
    return files.emplace(name, std::move(bytes)).first->second;
}

inline const char* const corpus_names[] = {"binary.bin", "log.txt", "prose.txt", "random.bin",
                                           "source.txt"};

} // namespace qel_bench
