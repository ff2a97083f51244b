// qel: the command-line face of the qel3 library.
#include "commands.h"
#include "options.h"
#include "system.h"

#include <qel/text_encoding.h>
#include <qel/version.h>

#include <iostream>

namespace qel_tool {

std::wstring from_utf8(const std::string& text) {
    // Code page 65001 keeps every character, those beyond U+FFFF included.
    std::wstring wide;
    qel::char_to_wide(text, wide, qel::text_encoding(qel::cs_codepage, 65001, 0));
    return wide;
}

std::string to_utf8(const std::wstring& text) {
    std::string narrow;
    qel::wide_to_char(text, narrow, qel::text_encoding(qel::cs_codepage, 65001, 0));
    return narrow;
}

std::string quoted(const std::string& name, bool output) {
    if (name == "-")
        return output ? "standard output" : "standard input";
    return "'" + name + "'";
}

} // namespace qel_tool

namespace {

struct command {
    const char* name;
    const char* usage;
    const char* summary;
    const char* details;
    int (*run)(const qel_tool::arguments&);
};

const command commands[] = {
    {"demo", "demo", "run a short tour of the library in a temporary folder", "",
     qel_tool::run_demo},
    {"compress", "compress [--method lzm|zlib] [--threads N] [--force] IN OUT",
     "compress IN into OUT (lzm by default)",
     "IN or OUT may be - for standard input or output. An existing OUT is replaced only with\n"
     "--force, and only once the whole output is written; on a failure or an interrupt it\n"
     "stays as it was. A progress line shows on a terminal for inputs of 16 MiB or more.\n"
     "--threads N (1 to 1024) splits lzm work between N threads, with the same output as one;\n"
     "the input is then read into memory first. By default a file of 1 MiB or more uses\n"
     "one thread per processor, anything else (and standard input) one thread.\n",
     qel_tool::run_compress},
    {"decompress", "decompress [--method lzm|zlib] [--threads N] [--force] IN OUT",
     "decompress IN into OUT (lzm by default)",
     "IN or OUT may be - for standard input or output. Corrupt or truncated input is an\n"
     "error (exit code 1) and leaves no output behind. --threads N as for compress: lzm only,\n"
     "by default one thread per processor for a file of 1 MiB or more.\n",
     qel_tool::run_decompress},
    {"convert", "convert --from ENC --to ENC [--no-signature] [--force] IN OUT",
     "convert a text file between encodings",
     "ENC is ansi, oem, cpNNNN (a code page number), utf8, utf16le or utf16be; --from auto\n"
     "takes the encoding from the file's signature or content (ANSI when nothing marks it).\n"
     "Line ends are written as CR LF. Unicode output starts with a signature unless\n"
     "--no-signature is given. IN or OUT may be - for standard input or output.\n",
     qel_tool::run_convert},
    {"translit", "translit TEXT...", "print TEXT with Cyrillic letters transliterated to Latin", "",
     qel_tool::run_translit},
    {"date", "date [MASK] | date --parse TEXT [--mask MASK]",
     "print the local date and time, or check a date text",
     "MASK is a date mask (dd.mm.yyyy), a time mask (hh:mm:ss:ii), or both separated by a\n"
     "blank. --parse checks TEXT as a date and prints its day value and weekday; a text that\n"
     "is no valid date gives a message and exit code 1.\n",
     qel_tool::run_date},
    {"format", "format VALUE --spec TEXT | format --explain TEXT",
     "show a value under a format text, or explain a format text",
     "TEXT holds sections such as I(8;';n;-;;) for integers, F(;2;;;,;;-;;) for numbers,\n"
     "B(yes;no;) for booleans, D(dd.mm.yyyy;.), T(hh:mm:ss:ii;:;p;.) and\n"
     "S(dd.mm.yyyy;.;hh:mm:ss:ii;:;;.; ;) for dates, times and timestamps. The first section\n"
     "decides how VALUE is read. --explain prints the record each section reads as. A VALUE\n"
     "of the wrong kind gives a message and exit code 1.\n",
     qel_tool::run_format},
    {"log", "log [--no-prefix] [--header TEXT] FILE TEXT...",
     "append one record (TEXT... joined by blanks) to the log FILE",
     "The record is one line: the local date, a tab, the time (hh:mm:ss:ii), a tab, then the\n"
     "text; --no-prefix leaves only the text. --header TEXT is written as the first line\n"
     "of a log that does not exist yet. Line ends are CR LF on Windows, LF elsewhere. Other\n"
     "programs may read, move or remove the log between records.\n",
     qel_tool::run_log},
    {"dump", "dump [--method lzm|zlib] FILE",
     "list the elements of seriated data or of a serialization stream",
     "One line per element: index, tag, type name and value. A serialization stream is told\n"
     "apart from plain seriated data by its chunk header; --method decompresses FILE first.\n"
     "FILE may be - for standard input. Broken data gives a message with the byte offset of\n"
     "the element or chunk that cannot be read, and exit code 1.\n",
     qel_tool::run_dump},
    {"profile", "profile get FILE SECTION KEY | set FILE SECTION KEY VALUE | list FILE [SECTION]",
     "read, change or list the keys of a profile (INI) file",
     "Section and key names are matched in any case. set keeps every comment, blank line and\n"
     "the spelling of everything it does not change; a new key goes after the last key of its\n"
     "section, a new section at the end. The file is replaced in one step, so an interrupted\n"
     "set leaves the old file whole. A missing key or file is an error (exit code 1).\n",
     qel_tool::run_profile},
    {"uuid", "uuid [-n N]", "print N new UUIDs (one by default), one a line",
     "Random (version 4) UUIDs in the 36-character form, lower case.\n", qel_tool::run_uuid},
    {"sysinfo", "sysinfo [--json]", "describe this machine, its system and this process",
     "A table of the computer and user name, administrator rights, processor, operating\n"
     "system, process and thread ids and memory in bytes; --json prints the same as one JSON\n"
     "object for scripts.\n",
     qel_tool::run_sysinfo},
    {"version", "version [BUILD.INI|FOLDER] [--template T] [--section S]",
     "print the version text of a build description",
     "Reads the keys Version (X.Y), Build and BuildDate (dd.mm.yyyy) of the section\n"
     "Platform (or S) of BUILD.INI, of FOLDER/build.ini, or of ./build.ini; - reads it from\n"
     "standard input. T may hold %VER%, %ARCH%, %BUILD% and %DATE%; the first of each is\n"
     "replaced. The default is \"%VER% %ARCH% (build %BUILD%, %DATE%)\". A missing file is\n"
     "an error (exit code 1).\n",
     qel_tool::run_version},
    {"fs", "fs tree DIR | attributes PATH | path OP ARGS...",
     "list a directory tree, show the attributes of a file, or work on path text",
     "tree lists every entry below DIR in name order with its size (for a directory the sum\n"
     "of everything below it), its last write time in local time and its path from DIR,\n"
     "then the total; symbolic links are listed, not entered. attributes prints the\n"
     "attribute groups of PATH, one GROUP KEY VALUE line each. path OP ARGS prints the\n"
     "result of a path function: canonical P, normal P, relative BASE P, absolute BASE P,\n"
     "split P (directory, name and extension on three lines), concat LEFT RIGHT,\n"
     "equal A B, equivalent A B. A path that cannot be made is an error (exit code 1).\n",
     qel_tool::run_fs},
};

void print_overview(std::ostream& out) {
    out << "qel " << QEL_VERSION_STRING << ": tools of the qel3 utility library\n\n"
        << "Usage:\n"
        << "  qel help [COMMAND]\n      show this help, or the help of one command\n"
        << "  qel --version\n      show the version\n";
    for (const auto& c : commands)
        out << "  qel " << c.usage << "\n      " << c.summary << "\n";
    out << "\nEvery command takes -h or --help.\n";
}

void print_help(const command& c) {
    std::cout << "usage: qel " << c.usage << "\n" << c.summary << "\n" << c.details;
}

const command* find(const std::string& name) {
    for (const auto& c : commands)
        if (name == c.name)
            return &c;
    return nullptr;
}

int run(const command& c, const qel_tool::arguments& args) {
    if (qel_tool::asks_for_help(args)) {
        print_help(c);
        return 0;
    }
    try {
        return c.run(args);
    } catch (const qel_tool::failure& e) {
        std::cerr << "qel " << c.name << ": " << e.what() << "\n";
        if (e.show_usage())
            std::cerr << "usage: qel " << c.usage << "\n";
        return e.exit_code();
    } catch (const std::exception& e) {
        std::cerr << "qel " << c.name << ": " << e.what() << "\n";
        return qel_tool::exit_failure;
    }
}

} // namespace

int main(int argc, char** argv) {
    const qel_tool::arguments args = qel_tool::sys::arguments(argc, argv);
    if (args.empty()) {
        print_overview(std::cerr);
        return qel_tool::exit_usage;
    }
    const std::string& first = args[0];
    if (first == "--help" || first == "-h" || first == "help") {
        if (args.size() > 1 && first == "help") {
            const command* c = find(args[1]);
            if (!c) {
                std::cerr << "qel help: unknown command '" << args[1] << "'\n";
                return qel_tool::exit_usage;
            }
            print_help(*c);
            return 0;
        }
        print_overview(std::cout);
        return 0;
    }
    if (first == "--version") {
        std::cout << "qel " << QEL_VERSION_STRING << "\n";
        return 0;
    }
    if (const command* c = find(first))
        return run(*c, qel_tool::arguments(args.begin() + 1, args.end()));
    std::cerr << "qel: unknown command '" << first << "' (try qel help)\n";
    return qel_tool::exit_usage;
}
