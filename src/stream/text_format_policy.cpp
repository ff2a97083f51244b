#include "stream/text_format_policy.h"

#include "core/utf8.h"
#include "platform/codepage.h"
#include "stream/file_buffer.h"

#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string_view>
#include <typeinfo>

namespace qel::detail {
namespace {

using traits = std::char_traits<char>;
constexpr std::ios_base::iostate end_of_input = std::ios_base::eofbit | std::ios_base::failbit;
constexpr wchar_t lf = L'\n';
constexpr wchar_t cr = L'\r';

// Bytes move through the stream buffer's inline path; a failed read sets end and fail, a
// failed write sets bad, as the byte streams do.
bool next_byte(std::iostream& stream, unsigned char& byte) {
    auto c = stream.rdbuf()->sbumpc();
    if (traits::eq_int_type(c, traits::eof())) {
        stream.setstate(end_of_input);
        return false;
    }
    byte = static_cast<unsigned char>(traits::to_char_type(c));
    return true;
}

void put_bytes(std::iostream& stream, const char* bytes, std::size_t size) {
    if (!stream.good()) {
        stream.setstate(std::ios_base::badbit);
        return;
    }
    auto n = static_cast<std::streamsize>(size);
    if (stream.rdbuf()->sputn(bytes, n) != n)
        stream.setstate(std::ios_base::badbit);
}

// Reads may start: false, with fail added, once any flag is set.
bool may_read(std::iostream& stream) {
    if (stream.good())
        return true;
    stream.setstate(std::ios_base::failbit);
    return false;
}

std::streamoff remaining_size(std::iostream& stream) {
    std::streambuf* buffer = stream.rdbuf();
    std::streamoff here = buffer->pubseekoff(0, std::ios_base::cur);
    std::streamoff end = buffer->pubseekoff(0, std::ios_base::end);
    buffer->pubseekoff(here, std::ios_base::beg);
    return here < 0 || end < here ? 0 : end - here;
}

class dummy_policy final : public ITextFormatPolicy_impl_ {
public:
    bool is_binary() const override { return false; }
    void write_signature(std::iostream&) const override {}
    wchar_t read_char(std::iostream&, const text_encoding&) const override { return 0; }
    void write_char(std::iostream&, const text_encoding&, wchar_t) const override {}
    void read_line(std::iostream&, const text_encoding&, std::wstring&) const override {}
    void write_line(std::iostream&, const text_encoding&, const wchar_t*) const override {}
    void read_solid_text(std::iostream&, const text_encoding&, std::wstring&) const override {}
    void write_solid_text(std::iostream&, const text_encoding&, const wchar_t*) const override {}
};

// Narrow text in a code page; the file is in text mode, so line ends are LF here.
class char_policy final : public ITextFormatPolicy_impl_ {
public:
    bool is_binary() const override { return false; }
    void write_signature(std::iostream&) const override {}

    wchar_t read_char(std::iostream& stream, const text_encoding& enc) const override {
        unsigned char byte = 0;
        if (!may_read(stream) || !next_byte(stream, byte))
            return 0;
        return char_to_wide(static_cast<char>(byte), enc);
    }

    void write_char(std::iostream& stream, const text_encoding& enc, wchar_t c) const override {
        char byte = wide_to_char(c, enc);
        put_bytes(stream, &byte, 1);
    }

    void read_line(std::iostream& stream, const text_encoding& enc,
                   std::wstring& line) const override {
        line.clear();
        if (stream.eof())
            return;
        std::string bytes;
        unsigned char byte = 0;
        if (may_read(stream))
            while (next_byte(stream, byte) && byte != '\n')
                bytes.push_back(static_cast<char>(byte));
        char_to_wide(bytes, line, enc);
    }

    void write_line(std::iostream& stream, const text_encoding& enc,
                    const wchar_t* text) const override {
        write_solid_text(stream, enc, text);
        put_bytes(stream, "\n", 1);
    }

    void read_solid_text(std::iostream& stream, const text_encoding& enc,
                         std::wstring& text) const override {
        text.clear();
        std::string bytes;
        bytes.reserve(static_cast<std::size_t>(remaining_size(stream)));
        if (may_read(stream)) {
            char chunk[4096];
            std::streamsize n;
            while ((n = stream.rdbuf()->sgetn(chunk, sizeof chunk)) > 0)
                bytes.append(chunk, static_cast<std::size_t>(n));
            stream.setstate(end_of_input);
        }
        char_to_wide(bytes, text, enc);
    }

    void write_solid_text(std::iostream& stream, const text_encoding& enc,
                          const wchar_t* text) const override {
        std::string bytes;
        wide_to_char(text, bytes, enc);
        put_bytes(stream, bytes.data(), bytes.size());
    }
};

// UTF-16 and UTF-8 files: binary, line ends written as CR LF, and CR, U+FEFF and U+FFFE
// dropped on reading. `Format` supplies the signature and the unit format as static
// functions, so the per-unit calls are inlined:
//   read_unit(stream)        one UTF-16 unit (a whole code point where wchar_t holds them);
//                            flags tell the end
//   encode_unit(bytes, unit) appends the bytes of one unit
//   signature                the byte-order mark
template <class Format> class unicode_policy final : public ITextFormatPolicy_impl_ {
public:
    bool is_binary() const override { return true; }

    void write_signature(std::iostream& stream) const override {
        put_bytes(stream, Format::signature.data(), Format::signature.size());
    }

    wchar_t read_char(std::iostream& stream, const text_encoding&) const override {
        if (!may_read(stream))
            return 0;
        for (;;) {
            wchar_t unit = Format::read_unit(stream);
            if (!stream.good())
                return 0;
            if (!skipped(unit))
                return unit;
        }
    }

    void write_char(std::iostream& stream, const text_encoding&, wchar_t c) const override {
        std::string bytes;
        append_text_unit(bytes, c);
        put_bytes(stream, bytes.data(), bytes.size());
    }

    void read_line(std::iostream& stream, const text_encoding&, std::wstring& line) const override {
        line.clear();
        if (stream.eof())
            return;
        read_units(stream, line, true);
    }

    void write_line(std::iostream& stream, const text_encoding&,
                    const wchar_t* text) const override {
        std::string bytes = encode_text(text);
        Format::encode_unit(bytes, cr);
        Format::encode_unit(bytes, lf);
        put_bytes(stream, bytes.data(), bytes.size());
    }

    void read_solid_text(std::iostream& stream, const text_encoding&,
                         std::wstring& text) const override {
        text.clear();
        text.reserve(static_cast<std::size_t>(remaining_size(stream) / 2 + 1));
        read_units(stream, text, false);
    }

    void write_solid_text(std::iostream& stream, const text_encoding&,
                          const wchar_t* text) const override {
        if (!text)
            return;
        std::string bytes = encode_text(text);
        put_bytes(stream, bytes.data(), bytes.size());
    }

private:
    static bool skipped(wchar_t unit) { return unit == cr || unit == 0xFEFF || unit == 0xFFFE; }

    static void append_text_unit(std::string& bytes, wchar_t unit) {
        if (unit == lf)
            Format::encode_unit(bytes, cr);
        Format::encode_unit(bytes, unit);
    }

    static std::string encode_text(const wchar_t* text) {
        std::string bytes;
        if (text) {
            std::size_t length = std::wcslen(text);
            bytes.reserve(length * 2 + 4);
            for (std::size_t i = 0; i < length; ++i)
                append_text_unit(bytes, text[i]);
        }
        return bytes;
    }

    // Units up to a failing read (or LF when `to_line_end`), without the skipped ones.
    static void read_units(std::iostream& stream, std::wstring& text, bool to_line_end) {
        if (!may_read(stream))
            return;
        // A file's own buffer is the case worth a fast path; comparing types costs less than
        // a dynamic_cast on every line.
        std::streambuf* const buffer = stream.rdbuf();
        auto* file = Format::scans_buffer && buffer && typeid(*buffer) == typeid(file_buffer)
                         ? static_cast<file_buffer*>(buffer)
                         : nullptr;
        for (;;) {
            if constexpr (Format::scans_buffer) {
                if (file && Format::take_buffered(*file, text, to_line_end))
                    return;
            }
            wchar_t unit = Format::read_unit(stream);
            if (!stream.good() || (to_line_end && unit == lf))
                return;
            if (skipped(unit))
                continue;
            text.push_back(unit);
            if (stream.eof())
                return;
        }
    }
};

constexpr bool wide_holds_code_points = sizeof(wchar_t) == 4;

bool is_high_surrogate(unsigned unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool is_low_surrogate(unsigned unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// UTF-16 in either byte order. Where wchar_t holds code points, a surrogate pair is one
// unit in memory and two in the file; a lone surrogate passes as its value.
template <bool big_endian> struct utf16_format {
    static constexpr bool scans_buffer = false;
    static constexpr std::string_view signature = big_endian ? "\xFE\xFF" : "\xFF\xFE";

    static wchar_t read_unit(std::iostream& stream) {
        unsigned unit = read_file_unit(stream);
        if (wide_holds_code_points && is_high_surrogate(unit) && stream.good()) {
            // Look at the next unit in the read-ahead when it is there...
            if (auto* file = dynamic_cast<file_buffer*>(stream.rdbuf())) {
                auto [first, last] = file->buffered_input();
                if (last - first >= 2) {
                    auto b0 = static_cast<unsigned char>(first[0]);
                    auto b1 = static_cast<unsigned char>(first[1]);
                    unsigned next =
                        big_endian ? (unsigned{b0} << 8) | b1 : b0 | (unsigned{b1} << 8);
                    if (!is_low_surrogate(next))
                        return static_cast<wchar_t>(unit);
                    file->consume(2);
                    return static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) +
                                                (next - 0xDC00));
                }
            }
            // ...else read it and step back when it does not complete a pair.
            std::streambuf* buffer = stream.rdbuf();
            std::streamoff after_unit = buffer->pubseekoff(0, std::ios_base::cur);
            unsigned next = read_file_unit(stream);
            if (stream.good() && is_low_surrogate(next))
                return static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
            // Not a pair: the next unit is left for the next read.
            stream.clear();
            buffer->pubseekoff(after_unit, std::ios_base::beg);
        }
        return static_cast<wchar_t>(unit);
    }

    static void encode_unit(std::string& bytes, wchar_t unit) {
        auto code = static_cast<std::uint32_t>(unit);
        if (wide_holds_code_points && code > 0xFFFF) {
            code = code > 0x10FFFF ? 0xFFFD : code;
            if (code > 0xFFFF) {
                code -= 0x10000;
                put_file_unit(bytes, 0xD800 + (code >> 10));
                put_file_unit(bytes, 0xDC00 + (code & 0x3FF));
                return;
            }
        }
        put_file_unit(bytes, code);
    }

    // Bytes missing at the end count as 0.
    static unsigned read_file_unit(std::iostream& stream) {
        unsigned char first = 0, second = 0;
        if (next_byte(stream, first))
            next_byte(stream, second);
        return big_endian ? (unsigned{first} << 8) | second : first | (unsigned{second} << 8);
    }

    static void put_file_unit(std::string& bytes, std::uint32_t unit) {
        char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
        bytes.push_back(big_endian ? high : low);
        bytes.push_back(big_endian ? low : high);
    }
};

struct utf8_format {
    static constexpr bool scans_buffer = true;
    static constexpr std::string_view signature = "\xEF\xBB\xBF";

    static bool is_continuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

    // Takes what read_unit would give, and read_units keep, straight from the read-ahead:
    // ASCII without CR, and whole two- and three-byte sequences other than U+FEFF and U+FFFE.
    // Stops before anything else, which read_unit then reads, or after the LF that ends a
    // line when `to_line_end` (and returns true). Reading byte by byte through the stream
    // costs several times as much.
    static bool take_buffered(file_buffer& file, std::wstring& text, bool to_line_end) {
        for (;;) {
            const auto [first, last] = file.buffered_input();
            const auto* const begin = reinterpret_cast<const unsigned char*>(first);
            const auto* at = begin;
            // No continuation byte is an LF, so a sequence whole in the read-ahead is whole
            // before the line's LF too.
            const void* lf_found =
                to_line_end && first != last
                    ? std::memchr(first, '\n', static_cast<std::size_t>(last - first))
                    : nullptr;
            const auto* const stop = static_cast<const unsigned char*>(
                lf_found ? lf_found : static_cast<const void*>(last));
            // At most one unit a byte: written in place, the excess cut off below.
            const std::size_t kept = text.size();
            text.resize(kept + static_cast<std::size_t>(stop - at));
            wchar_t* const out = text.data() + kept;
            wchar_t* o = out;
            while (at != stop) {
                // Eight ASCII bytes without CR at a time: the common case.
                if (stop - at >= 8) {
                    std::uint64_t word;
                    std::memcpy(&word, at, 8);
                    constexpr std::uint64_t ones = 0x0101010101010101;
                    constexpr std::uint64_t highs = 0x8080808080808080;
                    const std::uint64_t cr_bytes = word ^ 0x0D * ones; // zero where CR
                    if (((word | ((cr_bytes - ones) & ~cr_bytes)) & highs) == 0) {
                        for (int k = 0; k < 8; ++k)
                            o[k] = static_cast<wchar_t>(at[k]);
                        o += 8;
                        at += 8;
                        continue;
                    }
                }
                const unsigned lead = *at;
                if (lead < 0x80) {
                    if (lead != '\r')
                        *o++ = static_cast<wchar_t>(lead);
                    ++at;
                } else if (lead >= 0xC0 && lead < 0xE0 && stop - at >= 2 &&
                           is_continuation(at[1])) {
                    *o++ = static_cast<wchar_t>((lead & 0x1F) << 6 | (at[1] & 0x3Fu));
                    at += 2;
                } else if (lead >= 0xE0 && lead < 0xF0 && stop - at >= 3 &&
                           is_continuation(at[1]) && is_continuation(at[2])) {
                    const unsigned unit =
                        (lead & 0x0F) << 12 | (at[1] & 0x3Fu) << 6 | (at[2] & 0x3Fu);
                    if (unit != 0xFEFF && unit != 0xFFFE)
                        *o++ = static_cast<wchar_t>(unit);
                    at += 3;
                } else {
                    break;
                }
            }
            text.resize(kept + static_cast<std::size_t>(o - out));
            const bool line_end = at == stop && lf_found != nullptr;
            file.consume(static_cast<std::size_t>(at - begin) + (line_end ? 1 : 0));
            // Past the read-ahead's end, and only there, the next piece is taken the same way.
            if (line_end || at == begin || at != stop)
                return line_end;
        }
    }

    // One sequence: a byte-order mark is skipped, a broken sequence sets fail and gives 0,
    // a lead byte from F0 up gives "?" unless wchar_t can hold the code point.
    static wchar_t read_unit(std::iostream& stream) {
        for (;;) {
            unsigned char lead = 0;
            if (!next_byte(stream, lead))
                return 0;
            if (lead < 0x80)
                return static_cast<wchar_t>(lead);
            if (lead < 0xC0)
                return broken(stream);
            if (lead >= 0xF0)
                return long_sequence(stream, lead);
            unsigned char c1 = 0, c2 = 0;
            if (!continuation(stream, c1))
                return broken(stream);
            if (lead < 0xE0)
                return static_cast<wchar_t>(((lead & 0x1F) << 6) | (c1 & 0x3F));
            if (!continuation(stream, c2))
                return broken(stream);
            if (lead == 0xEF && c1 == 0xBB && c2 == 0xBF)
                continue;
            return static_cast<wchar_t>(((lead & 0x0F) << 12) | ((c1 & 0x3F) << 6) | (c2 & 0x3F));
        }
    }

    static void encode_unit(std::string& bytes, wchar_t unit) {
        append_utf8(bytes, std::wstring_view(&unit, 1));
    }

    static wchar_t broken(std::iostream& stream) {
        if (stream.good())
            stream.setstate(std::ios_base::failbit);
        return 0;
    }

    // Reads the next byte, which must be a continuation byte (it is consumed either way).
    static bool continuation(std::iostream& stream, unsigned char& byte) {
        return next_byte(stream, byte) && (byte & 0xC0) == 0x80;
    }

    static wchar_t long_sequence(std::iostream& stream, unsigned char lead) {
        std::streambuf* buffer = stream.rdbuf();
        std::uint32_t code = lead & 0x07;
        int count = 0;
        for (;;) {
            auto c = buffer->sgetc();
            if (traits::eq_int_type(c, traits::eof()) || (traits::to_char_type(c) & 0xC0) != 0x80)
                break;
            code = (code << 6) | (traits::to_char_type(c) & 0x3F);
            buffer->sbumpc();
            ++count;
            if (wide_holds_code_points && lead <= 0xF4 && count == 3 && code <= 0x10FFFF)
                return static_cast<wchar_t>(code);
        }
        return L'?';
    }
};

const dummy_policy dummy;
const char_policy narrow;
const unicode_policy<utf16_format<false>> utf16le;
const unicode_policy<utf16_format<true>> utf16be;
const unicode_policy<utf8_format> utf8;

} // namespace

const ITextFormatPolicy_impl_& dummy_text_format_policy() {
    return dummy;
}

const ITextFormatPolicy_impl_& text_format_policy(const text_encoding& enc) {
    switch (enc.charset()) {
    case cs_default:
    case cs_ansi:
    case cs_oem:
        return narrow;
    case cs_utf16le:
        return utf16le;
    case cs_utf16be:
        return utf16be;
    case cs_utf8:
        return utf8;
    default:
        return dummy;
    }
}

bool detect_signature(std::iostream& stream, E_CharSet& charset, std::size_t& signature_size,
                      bool& read_any) {
    char start[400];
    auto n = static_cast<std::size_t>(stream.rdbuf()->sgetn(start, sizeof start));
    read_any = n > 0;
    auto starts_with = [&](const char* bom, std::size_t size) {
        return n >= size && std::char_traits<char>::compare(start, bom, size) == 0;
    };
    signature_size = 0;
    if (starts_with("\xFF\xFE", 2)) {
        charset = cs_utf16le;
        signature_size = 2;
    } else if (starts_with("\xFE\xFF", 2)) {
        charset = cs_utf16be;
        signature_size = 2;
    } else if (starts_with("\xEF\xBB\xBF", 3)) {
        charset = cs_utf8;
        signature_size = 3;
    } else if (read_any && platform::looks_like_utf16le(start, n)) {
        charset = cs_utf16le;
    } else {
        return false;
    }
    return true;
}

} // namespace qel::detail
