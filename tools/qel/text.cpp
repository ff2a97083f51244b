// qel convert / qel translit: text files between character sets, Cyrillic to Latin.
//
// convert streams: the input is read in pieces that end after a line feed (or, in a line
// too long for one piece, at a place that splits no character and no CR LF), each piece is
// decoded to code points, its CR LF become LF, and it is encoded and written with CR LF.
// Code pages go through the library's conversions; UTF-8 and UTF-16 are handled here so
// that no character is lost: characters beyond U+FFFF, NUL and lone surrogates (as the
// library's own UTF-8 writer leaves them) all pass.
#include "commands.h"
#include "io.h"
#include "options.h"

#include <qel/stream.h>
#include <qel/text_encoding.h>

#include <cstdlib>
#include <iostream>
#include <optional>

namespace qel_tool {
namespace {

constexpr std::size_t piece_size = 256 << 10;
constexpr char32_t lf = U'\n';
constexpr char32_t cr = U'\r';

enum class form { codepage, utf8, utf16le, utf16be };

struct encoding {
    form kind = form::codepage;
    qel::text_encoding codepage; // for form::codepage: cs_ansi, cs_oem or cs_codepage
    std::string name;
};

std::optional<encoding> parse_encoding(const std::string& name) {
    if (name == "ansi")
        return encoding{form::codepage, qel::text_encoding(qel::cs_ansi), name};
    if (name == "oem")
        return encoding{form::codepage, qel::text_encoding(qel::cs_oem), name};
    if (name == "utf8")
        return encoding{form::utf8, {}, name};
    if (name == "utf16le")
        return encoding{form::utf16le, {}, name};
    if (name == "utf16be")
        return encoding{form::utf16be, {}, name};
    if (name.size() > 2 && name.size() <= 7 && name.compare(0, 2, "cp") == 0 &&
        name.find_first_not_of("0123456789", 2) == std::string::npos) {
        unsigned long page = std::strtoul(name.c_str() + 2, nullptr, 10);
        if (page > 0 && page < 65536)
            return encoding{
                form::codepage,
                qel::text_encoding(qel::cs_codepage, static_cast<unsigned short>(page), 0), name};
    }
    return std::nullopt;
}

// A code page the system does not have converts nothing at all.
void require_known_codepage(const encoding& enc) {
    if (enc.kind != form::codepage)
        return;
    std::string probe;
    qel::wide_to_char(L"a", probe, enc.codepage);
    if (!probe.empty())
        return;
    std::string number = std::to_string(enc.codepage.codepage());
    if (enc.codepage.charset() != qel::cs_codepage) {
        const char* variable =
            enc.codepage.charset() == qel::cs_ansi ? "QEL_ANSI_CODEPAGE" : "QEL_OEM_CODEPAGE";
        const char* value = std::getenv(variable);
        number = std::string(value ? value : "?") + " (" + variable + ")";
    }
    usage_error("unknown code page " + number);
}

// Signatures.
const std::string utf8_signature = "\xEF\xBB\xBF";
const std::string utf16le_signature = "\xFF\xFE";
const std::string utf16be_signature = "\xFE\xFF";

const std::string& signature_of(form kind) {
    static const std::string none;
    return kind == form::utf8      ? utf8_signature
           : kind == form::utf16le ? utf16le_signature
           : kind == form::utf16be ? utf16be_signature
                                   : none;
}

bool starts_with(const std::string& bytes, const std::string& prefix) {
    return !prefix.empty() && bytes.compare(0, prefix.size(), prefix) == 0;
}

// --from auto: a file's encoding as the library's text files find it; standard input by its
// signature alone. Unmarked text is ANSI.
encoding detect(const input_source& in, const std::string& first_bytes) {
    qel::E_CharSet found = qel::cs_default;
    if (in.name() != "-") {
        qel::text_file_stream probe(
            from_utf8(in.name()), qel::file_stream_mode::read(),
            qel::text_encoding(qel::cs_default, 0, qel::flag_detect_signature));
        found = probe.get_encoding().charset();
    } else if (starts_with(first_bytes, utf16le_signature)) {
        found = qel::cs_utf16le;
    } else if (starts_with(first_bytes, utf16be_signature)) {
        found = qel::cs_utf16be;
    } else if (starts_with(first_bytes, utf8_signature)) {
        found = qel::cs_utf8;
    }
    switch (found) {
    case qel::cs_utf16le:
        return *parse_encoding("utf16le");
    case qel::cs_utf16be:
        return *parse_encoding("utf16be");
    case qel::cs_utf8:
        return *parse_encoding("utf8");
    default:
        return *parse_encoding("ansi");
    }
}

// Wide text holds UTF-16 units on Windows and code points on Linux; valid surrogate pairs
// become one code point either way.
template <class Units> void append_code_points(std::u32string& out, const Units& units) {
    for (std::size_t i = 0; i < units.size(); ++i) {
        auto c = static_cast<char32_t>(units[i]);
        const auto next = i + 1 < units.size() ? static_cast<char32_t>(units[i + 1]) : 0;
        if (c >= 0xD800 && c <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
            ++i;
        }
        out.push_back(c);
    }
}

std::wstring to_wide(const std::u32string& text) {
    std::wstring wide;
    for (char32_t c : text) {
        if (sizeof(wchar_t) == 2 && c > 0xFFFF) {
            wide.push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
            wide.push_back(static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
        } else {
            wide.push_back(static_cast<wchar_t>(c));
        }
    }
    return wide;
}

// UTF-8, with surrogates accepted one by one as the library's writer leaves them (and pairs
// of them joined); returns the offset of the first invalid byte, or npos.
std::size_t decode_utf8(const std::string& bytes, std::u32string& out) {
    auto p = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t n = bytes.size();
    std::u32string units;
    for (std::size_t i = 0; i < n;) {
        const unsigned char b = p[i];
        const int extra = b < 0x80   ? 0
                          : b < 0xC2 ? -1
                          : b < 0xE0 ? 1
                          : b < 0xF0 ? 2
                          : b < 0xF5 ? 3
                                     : -1;
        if (extra < 0 || i + static_cast<std::size_t>(extra) >= n)
            return i;
        char32_t c = extra == 0 ? b : b & (0x3F >> extra);
        for (int k = 1; k <= extra; ++k) {
            if ((p[i + static_cast<std::size_t>(k)] & 0xC0) != 0x80)
                return i;
            c = (c << 6) | (p[i + static_cast<std::size_t>(k)] & 0x3F);
        }
        const char32_t smallest[] = {0, 0x80, 0x800, 0x10000};
        if (c < smallest[extra] || c > 0x10FFFF)
            return i;
        units.push_back(c);
        i += static_cast<std::size_t>(extra) + 1;
    }
    append_code_points(out, units);
    return std::string::npos;
}

void encode_utf8(char32_t c, std::string& out) {
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (c >> 6)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (c >> 12)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (c >> 18)));
        out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

void encode_utf16(char32_t c, bool big_endian, std::string& out) {
    auto unit = [&](char32_t u) {
        const char low = static_cast<char>(u & 0xFF), high = static_cast<char>(u >> 8);
        out.push_back(big_endian ? high : low);
        out.push_back(big_endian ? low : high);
    };
    if (c > 0xFFFF) {
        unit(0xD800 + ((c - 0x10000) >> 10));
        unit(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
        unit(c);
    }
}

class converter {
public:
    converter(const encoding& from, const encoding& to, bool signature, std::string input)
        : from_(from), to_(to), signature_(signature), input_(std::move(input)) {}

    // The bytes of `piece` that can be converted now without splitting a character or a
    // CR LF; everything at the end of the input.
    std::size_t ready(const std::string& piece, bool at_end) const {
        if (at_end)
            return piece.size();
        const bool wide = from_.kind == form::utf16le || from_.kind == form::utf16be;
        const std::size_t step = wide ? 2 : 1;
        auto unit_at = [&](std::size_t i) -> unsigned {
            if (!wide)
                return static_cast<unsigned char>(piece[i]);
            const unsigned a = static_cast<unsigned char>(piece[i]);
            const unsigned b = static_cast<unsigned char>(piece[i + 1]);
            return from_.kind == form::utf16le ? a | (b << 8) : (a << 8) | b;
        };
        std::size_t end = piece.size() - piece.size() % step;
        for (std::size_t i = end; i >= step; i -= step)
            if (unit_at(i - step) == lf)
                return i;
        // One long line: cut before the start of a character, never after a CR.
        while (end >= step) {
            const unsigned last = unit_at(end - step);
            const bool cuts = last == cr || (wide && last >= 0xD800 && last <= 0xDBFF) ||
                              (from_.kind == form::utf8 && last >= 0x80) ||
                              // Trail bytes of double-byte code pages are 0x40 and above.
                              (from_.kind == form::codepage && last >= 0x40);
            if (!cuts)
                return end;
            end -= step;
        }
        return piece.size(); // nothing better: the piece as it is
    }

    // Converts the next bytes of the input.
    void convert(const std::string& bytes, std::uint64_t offset, std::string& out) {
        std::u32string text;
        decode(bytes, offset, text);
        out.clear();
        if (!started_) {
            started_ = true;
            if (signature_)
                out += signature_of(to_.kind);
        }
        std::u32string chunk;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == cr && i + 1 < text.size() && text[i + 1] == lf)
                continue; // CR LF is read as LF, and LF is written as CR LF
            if (text[i] == lf)
                chunk.push_back(cr);
            chunk.push_back(text[i]);
        }
        characters_ += chunk.size();
        encode(chunk, out);
    }

    std::uint64_t characters() const { return characters_; }
    std::uint64_t replaced() const { return replaced_; }

private:
    void decode(const std::string& bytes, std::uint64_t offset, std::u32string& text) {
        std::size_t skip = 0;
        if (offset == 0 && starts_with(bytes, signature_of(from_.kind)))
            skip = signature_of(from_.kind).size();
        const std::string body = bytes.substr(skip);
        switch (from_.kind) {
        case form::codepage: {
            std::wstring wide;
            qel::char_to_wide(body, wide, from_.codepage);
            append_code_points(text, wide);
            break;
        }
        case form::utf8: {
            std::size_t bad = decode_utf8(body, text);
            if (bad != std::string::npos)
                throw failure(exit_failure, "invalid UTF-8 at byte " +
                                                std::to_string(offset + skip + bad) + " of " +
                                                input_);
            break;
        }
        case form::utf16le:
        case form::utf16be: {
            if (body.size() % 2 != 0)
                throw failure(exit_failure, input_ + " ends in half a UTF-16 character");
            std::wstring units;
            for (std::size_t i = 0; i < body.size(); i += 2) {
                const unsigned a = static_cast<unsigned char>(body[i]);
                const unsigned b = static_cast<unsigned char>(body[i + 1]);
                units.push_back(static_cast<wchar_t>(from_.kind == form::utf16le ? a | (b << 8)
                                                                                 : (a << 8) | b));
            }
            append_code_points(text, units);
            break;
        }
        }
    }

    void encode(const std::u32string& text, std::string& out) {
        switch (to_.kind) {
        case form::codepage: {
            const std::wstring wide = to_wide(text);
            std::string bytes;
            qel::wide_to_char(wide, bytes, to_.codepage);
            // Characters the code page cannot show come out as its default character.
            std::wstring back;
            qel::char_to_wide(bytes, back, to_.codepage);
            if (back != wide)
                for (std::size_t i = 0; i < wide.size(); ++i)
                    replaced_ += i >= back.size() || back[i] != wide[i];
            out += bytes;
            break;
        }
        case form::utf8:
            for (char32_t c : text)
                encode_utf8(c, out);
            break;
        case form::utf16le:
        case form::utf16be:
            for (char32_t c : text)
                encode_utf16(c, to_.kind == form::utf16be, out);
            break;
        }
    }

    encoding from_;
    encoding to_;
    bool signature_;
    std::string input_;
    bool started_ = false;
    std::uint64_t characters_ = 0;
    std::uint64_t replaced_ = 0;
};

} // namespace

int run_convert(const arguments& args) {
    const parsed_options given = parse_options(args, {{"--from", nullptr, true},
                                                      {"--to", nullptr, true},
                                                      {"--no-signature", nullptr, false},
                                                      {"--force", "-f", false}});
    if (!given.has("--from") || !given.has("--to"))
        usage_error("--from and --to are required");
    if (given.operands.size() != 2)
        usage_error("expected IN and OUT");
    const bool auto_from = given.value("--from") == "auto";
    std::optional<encoding> from = auto_from ? encoding{} : parse_encoding(given.value("--from"));
    std::optional<encoding> to = parse_encoding(given.value("--to"));
    if (!from)
        usage_error("unknown encoding '" + given.value("--from") + "'");
    if (!to)
        usage_error("unknown encoding '" + given.value("--to") + "'");
    if (!auto_from)
        require_known_codepage(*from);
    require_known_codepage(*to);

    input_source in(given.operands[0]);
    output_target out(given.operands[1], given.has("--force"), &in);
    progress shown("converting", in);

    std::string piece(piece_size, '\0'), converted;
    std::size_t held = 0; // bytes carried over from the last piece
    std::uint64_t offset = 0;
    std::optional<converter> conversion;
    for (bool at_end = false; !at_end;) {
        std::size_t count = 0;
        in.stream().read(piece.data() + held, piece.size() - held, &count);
        in.check();
        const std::size_t size = held + count;
        at_end = size < piece.size();
        const std::string bytes = piece.substr(0, size);
        if (!conversion) {
            if (auto_from)
                from = detect(in, bytes);
            conversion.emplace(*from, *to, !given.has("--no-signature"), quoted(in.name()));
        }
        const std::size_t ready = conversion->ready(bytes, at_end);
        conversion->convert(bytes.substr(0, ready), offset, converted);
        out.stream().write(converted.data(), converted.size());
        out.check();
        offset += ready;
        held = size - ready;
        piece.replace(0, held, bytes, ready, held);
    }
    out.commit();
    if (conversion->replaced() > 0)
        std::cerr << "qel convert: warning: characters without a form in " << to->name
                  << " became its default character: " << conversion->replaced() << "\n";
    std::cerr << (in.name() == "-" ? "standard input" : in.name()) << " (" << from->name << ") -> "
              << (out.is_standard_output() ? "standard output" : out.name()) << " (" << to->name
              << "), " << conversion->characters() << " characters\n";
    return 0;
}

int run_translit(const arguments& args) {
    const parsed_options given = parse_options(args, {});
    if (given.operands.empty())
        usage_error("nothing to transliterate");
    std::string joined;
    for (const auto& arg : given.operands)
        joined += (joined.empty() ? "" : " ") + arg;
    std::cout << qel::transliterate_wide_to_char(from_utf8(joined)) << "\n";
    return 0;
}

} // namespace qel_tool
