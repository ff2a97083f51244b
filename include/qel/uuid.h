// UUIDs: the 16-byte identifier in the layout of the Windows UUID structure, created by the
// system's generator (random, version 4, on Linux), with its standard 36-character text form
// (8-4-4-4-12 hexadecimal digits, lower case out, either case in, no braces).
#pragma once

#include <qel/export.h>
#include <qel/serialize.h>

#include <cstdint>
#include <iosfwd>
#include <string>

namespace qel {

// Fields in memory order; data1..data3 are stored in the machine's (little-endian) order.
struct uuid {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    unsigned char data4[8];
};
static_assert(sizeof(uuid) == 16);

QEL_API void init_uuid(uuid& value);
// Never reports failure: a generator that wrote nothing leaves the nil value.
QEL_API void generate_new_uuid(uuid& value);
QEL_API bool is_equal_uuid(const uuid& a, const uuid& b);
// memcmp of the 16 bytes, so data1 compares by its lowest byte first; <0, 0 or >0.
QEL_API int uuid_compare(const uuid& a, const uuid& b);
QEL_API bool is_empty_uuid(const uuid& value);

// The target is replaced by the text, or emptied when the system cannot give one.
QEL_API void uuid_to_str(const uuid& value, std::wstring& out);
QEL_API void uuid_to_str(const uuid& value, std::string& out);
QEL_API std::wstring uuid_to_wstring(const uuid& value);
QEL_API std::string uuid_to_string(const uuid& value);
// False, with `value` unchanged, for anything but exactly the 36-character form.
QEL_API bool uuid_from_str(const std::wstring& text, uuid& value);
QEL_API bool uuid_from_str(const std::string& text, uuid& value);

QEL_API std::ostream& operator<<(std::ostream& out, const uuid& value);
// Four unsigned 32-bit elements: the 16 bytes as little-endian words in memory order.
QEL_API out_serialize& operator<<(out_serialize& out, const uuid& value);
QEL_API const in_serialize& operator>>(const in_serialize& in, uuid& value);

// Tag: unique_id(unique_id_marker_{}) creates a new identifier.
enum unique_id_marker_ {};

// One uuid with the free functions as members; nil by default.
class QEL_API unique_id {
public:
    unique_id() { init_uuid(value_); }
    explicit unique_id(unique_id_marker_) { generate_new_uuid(value_); }
    unique_id(const uuid& value) : value_(value) {}
    unique_id& operator=(const uuid& value) {
        value_ = value;
        return *this;
    }

    void generate_new() { generate_new_uuid(value_); }
    void to_str(std::string& out) const { uuid_to_str(value_, out); }
    void to_str(std::wstring& out) const { uuid_to_str(value_, out); }
    std::string to_string() const { return uuid_to_string(value_); }
    std::wstring to_wstring() const { return uuid_to_wstring(value_); }
    // On failure the value is unchanged.
    bool from_str(const std::string& text) { return uuid_from_str(text, value_); }
    bool from_str(const std::wstring& text) { return uuid_from_str(text, value_); }
    bool is_equal(const unique_id& other) const { return is_equal_uuid(value_, other.value_); }
    int compare(const unique_id& other) const { return uuid_compare(value_, other.value_); }
    bool is_empty() const { return is_empty_uuid(value_); }

    const uuid& get() const { return value_; }

private:
    uuid value_;
};

} // namespace qel
