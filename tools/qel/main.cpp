// qel: the command-line face of the qel3 library.
#include "commands.h"

#include <iostream>

namespace {

struct command {
    const char* name;
    const char* usage;
    const char* summary;
    int (*run)(const qel_tool::arguments&);
};

const command commands[] = {
    {"demo", "demo", "run a short tour of the library in a temporary folder", qel_tool::run_demo},
    {"compress", "compress [--method lzm|zlib] [--force] IN OUT",
     "compress IN into OUT (- for standard input/output; lzm by default)", qel_tool::run_compress},
    {"decompress", "decompress [--method lzm|zlib] [--force] IN OUT",
     "decompress IN into OUT (- for standard input/output)", qel_tool::run_decompress},
    {"convert", "convert --from ENC --to ENC [--no-signature] [--force] IN OUT",
     "convert a text file between encodings (ansi, oem, cpNNNN, utf8, utf16le, utf16be; "
     "--from auto detects the signature)",
     qel_tool::run_convert},
    {"translit", "translit TEXT...", "transliterate Cyrillic text to Latin letters",
     qel_tool::run_translit},
    {"date", "date [MASK] | date --parse TEXT [--mask MASK]",
     "print the local date and time (MASK: date mask, time mask, or both separated by a "
     "blank), or check a date text and show its day value and weekday",
     qel_tool::run_date},
};

void print_help(std::ostream& out) {
    out << "qel " << QEL_VERSION_TEXT << ": tools of the qel3 utility library\n\n"
        << "Usage:\n"
        << "  qel --help\n      show this help\n"
        << "  qel --version\n      show the version\n";
    for (const auto& c : commands)
        out << "  qel " << c.usage << "\n      " << c.summary << "\n";
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        print_help(std::cerr);
        return 2;
    }
    std::string first = argv[1];
    if (first == "--help" || first == "-h" || first == "help") {
        print_help(std::cout);
        return 0;
    }
    if (first == "--version") {
        std::cout << "qel " << QEL_VERSION_TEXT << "\n";
        return 0;
    }
    for (const auto& c : commands) {
        if (first == c.name) {
            try {
                return c.run(qel_tool::arguments(argv + 2, argv + argc));
            } catch (const std::exception& e) {
                std::cerr << "qel " << c.name << ": " << e.what() << "\n";
                return 1;
            }
        }
    }
    std::cerr << "qel: unknown command '" << first << "' (try qel --help)\n";
    return 2;
}
