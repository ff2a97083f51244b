// qel dump: the elements of seriated data or of a serialization stream, one per line as
// index, tag, type name and value. Broken data ends the listing with the byte offset of the
// element or chunk that could not be read. A stored variant (an int32 type number 1..8 and an
// element of the matching tag) also shows its type name and text beside its value.
#include "commands.h"
#include "io.h"
#include "options.h"

#include <qel/compress.h>
#include <qel/serialize.h>
#include <qel/variant.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <vector>

namespace qel_tool {
namespace {

using bytes = std::vector<char>;
using positioner = qel::seriated_buffer::positioner;

constexpr unsigned char chunk_magic[4] = {0x10, 0x1B, 0xE3, 0xCA};
constexpr std::size_t chunk_header = 16;
// Array values shown before the rest is summarised.
constexpr std::uint32_t shown_values = 16;

const char* const type_names[32] = {
    "?",         "bool",    "char",       "uint8",  "wchar", "int16",    "uint16",
    "int32",     "uint32",  "int64",      "uint64", "float", "double",   "long_double",
    "dump",      "wstring", "timeperiod", "time",   "date",  "datetime", "timeinterval",
    "timestamp", "string",  "?",          "?",      "?",     "?",        "?",
    "?",         "?",       "?",          "?"};

positioner at(std::size_t index) {
    return reinterpret_cast<positioner>(static_cast<std::uintptr_t>(index));
}

std::uint64_t little_endian(const unsigned char* p, unsigned width) {
    std::uint64_t value = 0;
    for (unsigned i = width; i > 0; --i)
        value = value << 8 | p[i - 1];
    return value;
}

template <class T> std::string number(T value) {
    char text[64];
    auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return std::string(text, end);
}

std::string quoted_text(const std::string& text) {
    std::string out = "\"";
    for (char byte : text) {
        const auto c = static_cast<unsigned char>(byte);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c == 0x7F) {
            static const char digits[] = "0123456789ABCDEF";
            out += "\\x";
            out += digits[c >> 4];
            out += digits[c & 15];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

// One value of a fixed-width base type from its little-endian bytes.
std::string unit_text(unsigned base, const unsigned char* p) {
    switch (base) {
    case 1:
        return p[0] != 0 ? "true" : "false";
    case 2:
        return quoted_text(std::string(1, static_cast<char>(p[0])));
    case 3:
    case 14:
        return number(p[0]);
    case 4: {
        char text[8];
        std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(little_endian(p, 2)));
        return text;
    }
    case 5:
        return number(static_cast<std::int16_t>(little_endian(p, 2)));
    case 6:
        return number(little_endian(p, 2));
    case 7:
    case 16:
    case 17:
    case 18:
        return number(static_cast<std::int32_t>(little_endian(p, 4)));
    case 8:
        return number(little_endian(p, 4));
    case 9:
    case 20:
    case 21:
        return number(static_cast<std::int64_t>(little_endian(p, 8)));
    case 10:
        return number(little_endian(p, 8));
    case 11: {
        float f;
        std::uint32_t u = static_cast<std::uint32_t>(little_endian(p, 4));
        std::memcpy(&f, &u, 4);
        return number(f);
    }
    case 12:
    case 13: {
        double d;
        std::uint64_t u = little_endian(p, 8);
        std::memcpy(&d, &u, 8);
        return number(d);
    }
    case 19: // the time value comes first
        return "day " + number(static_cast<std::int32_t>(little_endian(p + 4, 4))) + " time " +
               number(static_cast<std::int32_t>(little_endian(p, 4)));
    }
    return "?";
}

// Dates and times also in their text form.
std::string scalar_text(const qel::seriated_buffer& b, std::size_t i, unsigned base,
                        const unsigned char* p) {
    std::string text = unit_text(base, p);
    switch (base) {
    case 17:
        return text + " (" + qel::to_string(b.get_time(at(i))) + ")";
    case 18:
        return text + " (" + qel::to_string(b.get_date(at(i))) + ")";
    case 19:
        return text + " (" + qel::to_string(b.get_datetime(at(i))) + ")";
    case 21:
        return text + " (" + qel::to_string(b.get_timestamp(at(i))) + ")";
    }
    return text;
}

// Widths of the array element types in the byte form.
unsigned width_of(unsigned base) {
    static const unsigned char widths[22] = {0, 1, 1, 1, 2, 2, 2, 4, 4, 8, 8,
                                             4, 8, 8, 1, 0, 4, 4, 4, 8, 8, 8};
    return base < 22 ? widths[base] : 0;
}

std::string element_line(const qel::seriated_buffer& b, std::size_t index,
                         std::size_t number_shown) {
    bytes form;
    b.get_seriated_data_range(at(index), at(index + 1), form);
    const auto* p = reinterpret_cast<const unsigned char*>(form.data());
    const unsigned tag = p[0];
    const unsigned base = tag & 31;
    // A dump may also come as base 14 with bit 7 instead of bit 5.
    const bool array = (tag & 32) != 0 || base == 14;
    std::ostringstream line;
    line << number_shown << ' ' << tag << ' ';
    if (array) {
        const auto count = static_cast<std::uint32_t>(little_endian(p + 1, 4));
        line << (base == 14 ? std::string("dump") : std::string(type_names[base]) + "[]") << " ["
             << count << "]";
        for (std::uint32_t k = 0; k < count && k < shown_values; ++k)
            line << ' ' << unit_text(base, p + 5 + std::size_t{k} * width_of(base));
        if (count > shown_values)
            line << " ...";
    } else if (base == 22) {
        std::string text;
        b.get_string(at(index), text);
        line << "string " << quoted_text(text);
    } else if (base == 15) {
        std::wstring text;
        b.get_wstring(at(index), text);
        line << "wstring " << quoted_text(to_utf8(text));
    } else {
        line << type_names[base] << ' ' << scalar_text(b, index, base, p + 1);
    }
    return line.str();
}

// The element tag that follows each stored variant type number 1..8. A none variant has no
// value element and cannot be told from a plain int32 0, so it is not shown.
constexpr unsigned variant_value_tags[9] = {0, 15, 7, 13, 1, 18, 17, 21, 22};

// " = variant TYPE TEXT" when elements index-1 and index hold a stored variant.
std::string variant_note(const qel::seriated_buffer& b, std::size_t index) {
    if (index == 0)
        return {};
    bytes form;
    b.get_seriated_data_range(at(index - 1), at(index + 1), form);
    const auto* p = reinterpret_cast<const unsigned char*>(form.data());
    if (p[0] != 7)
        return {};
    const auto type = static_cast<std::int32_t>(little_endian(p + 1, 4));
    if (type < 1 || type > 8 || p[5] != variant_value_tags[type])
        return {};
    try {
        const qel::variant v{qel::in_serialize(form)};
        return " = variant " + qel::variant_type_to_string(v.type()) + ' ' +
               quoted_text(to_utf8(v.to_string()));
    } catch (const std::exception&) {
        return {};
    }
}

class lister {
public:
    explicit lister(std::string name) : name_(std::move(name)) {}

    // Lists the elements of the seriated data at `offset` in the input.
    void seriated(const char* data, std::size_t size, std::size_t offset) {
        qel::seriated_buffer b;
        try {
            b.set_seriated_data(data, size);
        } catch (const qel::serialize_error& e) {
            list(b);
            // What parsed is written back unchanged, so its length is where the break is.
            bytes good;
            b.get_seriated_data(good);
            broken(e.what(), offset + good.size());
        }
        list(b);
    }

    void stream(const bytes& data) {
        std::size_t at_byte = 0;
        while (at_byte < data.size()) {
            const std::size_t left = data.size() - at_byte;
            if (left < chunk_header)
                broken("chunk header cut short", at_byte);
            const auto* h = reinterpret_cast<const unsigned char*>(data.data() + at_byte);
            if (std::memcmp(h, chunk_magic, 4) != 0)
                broken("serialization data corrupted", at_byte);
            const std::uint64_t length = little_endian(h + 8, 8);
            if (length > left - chunk_header)
                broken("unexpected end of file: the chunk announces " + number(length) +
                           " bytes, " + number(left - chunk_header) + " follow",
                       at_byte);
            seriated(data.data() + at_byte + chunk_header, static_cast<std::size_t>(length),
                     at_byte + chunk_header);
            at_byte += chunk_header + static_cast<std::size_t>(length);
        }
    }

private:
    void list(const qel::seriated_buffer& b) {
        for (std::size_t i = 0; i < b.size(); ++i)
            std::cout << element_line(b, i, shown_++) << variant_note(b, i) << '\n';
    }
    [[noreturn]] void broken(const std::string& what, std::size_t offset) {
        std::cout.flush();
        throw failure(exit_failure, "broken data in " + quoted(name_) + " at byte " +
                                        number(offset) + ": " + what);
    }

    std::string name_;
    std::size_t shown_ = 0;
};

} // namespace

int run_dump(const arguments& args) {
    const parsed_options given = parse_options(args, {{"--method", "-m", true}});
    if (given.operands.size() != 1)
        usage_error("expected one FILE");
    int method = 0;
    if (given.has("--method")) {
        const std::string name = given.value("--method");
        if (name == "lzm")
            method = qel::compress_lzm;
        else if (name == "zlib")
            method = qel::compress_zlib;
        else
            usage_error("unknown method '" + name + "' (lzm or zlib)");
    }
    input_source in(given.operands[0]);
    bytes data;
    char piece[65536];
    std::size_t count = 0;
    do {
        in.stream().read(piece, sizeof piece, &count);
        data.insert(data.end(), piece, piece + count);
    } while (count == sizeof piece);
    in.check();
    if (method != 0) {
        bytes decoded;
        try {
            qel::inflate(method, data.data(), data.size(), decoded);
        } catch (const qel::compress_error& e) {
            throw failure(exit_failure,
                          "corrupt input " + quoted(given.operands[0]) + ": " + e.what());
        }
        data.swap(decoded);
    }
    lister out(given.operands[0]);
    if (data.size() >= 4 && std::memcmp(data.data(), chunk_magic, 4) == 0)
        out.stream(data);
    else
        out.seriated(data.data(), data.size(), 0);
    return 0;
}

} // namespace qel_tool
