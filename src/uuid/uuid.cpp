// UUID values, their text and their serialized form: four unsigned 32-bit words.
#include <qel/uuid.h>

#include "platform/uuid.h"

#include <cstring>
#include <ostream>

namespace qel {
namespace {

platform::uuid_bytes& bytes_of(uuid& value) {
    return *reinterpret_cast<platform::uuid_bytes*>(&value);
}
const platform::uuid_bytes& bytes_of(const uuid& value) {
    return *reinterpret_cast<const platform::uuid_bytes*>(&value);
}

template <class String> void to_text(const uuid& value, String& out) {
    typename String::value_type text[36];
    if (platform::uuid_text(bytes_of(value), text))
        out.assign(text, 36);
    else
        out.clear();
}

template <class String> bool from_text(const String& text, uuid& value) {
    return platform::parse_uuid(std::basic_string_view<typename String::value_type>(text),
                                bytes_of(value));
}

// The words in memory order, as they are stored on a little-endian machine.
void to_words(const uuid& value, unsigned int (&words)[4]) {
    const auto& bytes = bytes_of(value);
    for (int w = 0; w < 4; ++w) {
        words[w] = 0;
        for (int b = 3; b >= 0; --b)
            words[w] = (words[w] << 8) | bytes[w * 4 + b];
    }
}

} // namespace

void init_uuid(uuid& value) {
    std::memset(&value, 0, sizeof value);
}

void generate_new_uuid(uuid& value) {
    platform::uuid_bytes bytes = {};
    platform::new_uuid(bytes);
    std::memcpy(&value, bytes, sizeof value);
}

bool is_equal_uuid(const uuid& a, const uuid& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

int uuid_compare(const uuid& a, const uuid& b) {
    return std::memcmp(&a, &b, sizeof a);
}

bool is_empty_uuid(const uuid& value) {
    static constexpr uuid nil = {};
    return is_equal_uuid(value, nil);
}

void uuid_to_str(const uuid& value, std::wstring& out) {
    to_text(value, out);
}

void uuid_to_str(const uuid& value, std::string& out) {
    to_text(value, out);
}

std::wstring uuid_to_wstring(const uuid& value) {
    std::wstring text;
    to_text(value, text);
    return text;
}

std::string uuid_to_string(const uuid& value) {
    std::string text;
    to_text(value, text);
    return text;
}

bool uuid_from_str(const std::wstring& text, uuid& value) {
    return from_text(text, value);
}

bool uuid_from_str(const std::string& text, uuid& value) {
    return from_text(text, value);
}

std::ostream& operator<<(std::ostream& out, const uuid& value) {
    return out << uuid_to_string(value);
}

out_serialize& operator<<(out_serialize& out, const uuid& value) {
    unsigned int words[4];
    to_words(value, words);
    return out << words[0] << words[1] << words[2] << words[3];
}

const in_serialize& operator>>(const in_serialize& in, uuid& value) {
    // Each word is stored as soon as it is read: a failed read keeps the words before it.
    auto& bytes = bytes_of(value);
    for (int w = 0; w < 4; ++w) {
        unsigned int word = 0;
        in >> word;
        for (int b = 0; b < 4; ++b)
            bytes[w * 4 + b] = static_cast<unsigned char>(word >> (8 * b));
    }
    return in;
}

} // namespace qel
