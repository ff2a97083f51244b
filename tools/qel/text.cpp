// qel convert / qel translit: text files between character sets, Cyrillic to Latin.
#include "commands.h"

#include <qel/stream.h>
#include <qel/text_encoding.h>

#include <filesystem>
#include <iostream>
#include <optional>

namespace qel_tool {
namespace {

// ansi, oem, cpNNNN, utf8, utf16le, utf16be, or auto (detect when reading).
std::optional<qel::text_encoding> parse_encoding(const std::string& name, bool reading) {
    if (name == "ansi")
        return qel::text_encoding(qel::cs_ansi);
    if (name == "oem")
        return qel::text_encoding(qel::cs_oem);
    if (name == "utf8")
        return qel::text_encoding(qel::cs_utf8);
    if (name == "utf16le")
        return qel::text_encoding(qel::cs_utf16le);
    if (name == "utf16be")
        return qel::text_encoding(qel::cs_utf16be);
    if (name == "auto" && reading)
        return qel::text_encoding(qel::cs_default, 0, qel::flag_detect_signature);
    if (name.size() > 2 && name.compare(0, 2, "cp") == 0 &&
        name.find_first_not_of("0123456789", 2) == std::string::npos && name.size() <= 7) {
        unsigned long page = std::stoul(name.substr(2));
        if (page > 0 && page < 65536)
            return qel::text_encoding(qel::cs_codepage, static_cast<unsigned short>(page), 0);
    }
    return std::nullopt;
}

// Text files speak ANSI, OEM and Unicode; an explicit code page is converted here from the
// file's bytes, with the same CR LF line ends.
bool is_codepage(const qel::text_encoding& enc) {
    return enc.charset() == qel::cs_codepage;
}

std::string read_bytes(const std::wstring& name, bool& opened) {
    qel::file_stream file(name, qel::file_stream_mode::read());
    opened = file.is_open();
    std::string bytes(opened ? static_cast<std::size_t>(file.get_size()) : 0, '\0');
    std::size_t count = 0;
    file.read(bytes.data(), bytes.size(), &count);
    bytes.resize(count);
    return bytes;
}

// The text of a file, line ends as LF; empty when the file does not open or is broken.
std::optional<std::wstring> read_text(const std::wstring& name, const qel::text_encoding& enc,
                                      qel::text_encoding& found) {
    found = enc;
    if (is_codepage(enc)) {
        bool opened = false;
        std::string bytes = read_bytes(name, opened);
        if (!opened)
            return std::nullopt;
        std::wstring wide, text;
        qel::char_to_wide(bytes, wide, enc);
        for (std::size_t i = 0; i < wide.size(); ++i)
            if (!(wide[i] == L'\r' && i + 1 < wide.size() && wide[i + 1] == L'\n'))
                text.push_back(wide[i]);
        return text;
    }
    qel::text_file_stream in(name, qel::file_stream_mode::read(), enc);
    if (!in.is_open())
        return std::nullopt;
    std::wstring text;
    in.read_solid_text(text);
    found = in.get_encoding();
    if (in.error())
        return std::nullopt;
    return text;
}

bool write_text(const std::wstring& name, const qel::text_encoding& enc, const std::wstring& text) {
    if (is_codepage(enc)) {
        std::wstring with_cr;
        for (wchar_t c : text) {
            if (c == L'\n')
                with_cr.push_back(L'\r');
            with_cr.push_back(c);
        }
        std::string bytes;
        qel::wide_to_char(with_cr, bytes, enc);
        qel::file_stream out(name, qel::file_stream_mode::create());
        out.write(bytes.data(), bytes.size());
        out.flush();
        return out.is_open() && !out.error();
    }
    qel::text_file_stream out(name, qel::file_stream_mode::create(), enc);
    out.write_solid_text(text);
    out.flush();
    return out.is_open() && !out.error();
}

int usage() {
    std::cerr << "usage: qel convert --from ENC --to ENC [--no-signature] [--force] IN OUT\n"
              << "       ENC: ansi, oem, cpNNNN, utf8, utf16le, utf16be; --from also auto\n";
    return 2;
}

} // namespace

int run_convert(const arguments& args) {
    std::optional<qel::text_encoding> from, to;
    bool signature = true, force = false;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if ((arg == "--from" || arg == "--to") && i + 1 < args.size()) {
            auto parsed = parse_encoding(args[++i], arg == "--from");
            if (!parsed) {
                std::cerr << "qel convert: unknown encoding '" << args[i] << "'\n";
                return usage();
            }
            (arg == "--from" ? from : to) = parsed;
        } else if (arg == "--no-signature") {
            signature = false;
        } else if (arg == "--force" || arg == "-f") {
            force = true;
        } else if (!arg.empty() && arg[0] == '-') {
            std::cerr << "qel convert: unknown option '" << arg << "'\n";
            return usage();
        } else {
            names.push_back(arg);
        }
    }
    if (!from || !to || names.size() != 2)
        return usage();
    if (!force && std::filesystem::exists(names[1])) {
        std::cerr << "qel convert: '" << names[1] << "' exists (use --force to overwrite it)\n";
        return 1;
    }

    qel::text_encoding found;
    auto text = read_text(std::filesystem::path(names[0]).wstring(), *from, found);
    if (!text) {
        std::cerr << "qel convert: cannot read '" << names[0] << "' as that encoding\n";
        return 1;
    }
    qel::text_encoding write_as(to->charset(), to->codepage(),
                                signature ? 0 : qel::flag_no_signature);
    if (!write_text(std::filesystem::path(names[1]).wstring(), write_as, *text)) {
        std::cerr << "qel convert: cannot write '" << names[1] << "'\n";
        return 1;
    }
    std::cerr << names[0] << " (" << (from->flags() ? "detected charset " : "charset ")
              << found.actual_charset() << ") -> " << names[1] << " (charset "
              << write_as.actual_charset() << "), " << text->size() << " characters\n";
    return 0;
}

int run_translit(const arguments& args) {
    if (args.empty()) {
        std::cerr << "usage: qel translit TEXT...\n";
        return 2;
    }
    std::string joined;
    for (const auto& arg : args)
        joined += (joined.empty() ? "" : " ") + arg;
    std::wstring wide;
    qel::char_to_wide(joined, wide, qel::text_encoding());
    std::cout << qel::transliterate_wide_to_char(wide) << "\n";
    return 0;
}

} // namespace qel_tool
