// out_serialize, in_serialize and inout_serialize: the seriated_buffer operations behind
// << and >>, with the reading position of in_serialize.
#include <qel/serialize.h>

#include <cstring>
#include <utility>

namespace qel {

out_serialize::out_serialize() = default;
out_serialize::out_serialize(out_serialize&& other) : seriated_buffer(std::move(other)) {}
out_serialize::out_serialize(detail::ISerialStreamWriter& writer, std::size_t chunk_elements)
    : seriated_buffer(writer, chunk_elements) {}
out_serialize::~out_serialize() = default;

// Every << is the add_ operation of its type.
#define QEL_SERIAL_WRITE(type, add)                                                                \
    out_serialize& out_serialize::operator<<(type value) {                                         \
        add(value);                                                                                \
        return *this;                                                                              \
    }
QEL_SERIAL_WRITE(bool, add_bool)
QEL_SERIAL_WRITE(char, add_char)
QEL_SERIAL_WRITE(unsigned char, add_uint8)
QEL_SERIAL_WRITE(wchar_t, add_wchar)
QEL_SERIAL_WRITE(short, add_int16)
QEL_SERIAL_WRITE(unsigned short, add_uint16)
QEL_SERIAL_WRITE(int, add_int32)
QEL_SERIAL_WRITE(unsigned int, add_uint32)
QEL_SERIAL_WRITE(std::int64_t, add_int64)
QEL_SERIAL_WRITE(std::uint64_t, add_uint64)
QEL_SERIAL_WRITE(float, add_float)
QEL_SERIAL_WRITE(double, add_double)
QEL_SERIAL_WRITE(long double, add_long_double)
QEL_SERIAL_WRITE(const time_period&, add_timeperiod)
QEL_SERIAL_WRITE(const time&, add_time)
QEL_SERIAL_WRITE(const date&, add_date)
QEL_SERIAL_WRITE(const time_interval&, add_timeinterval)
QEL_SERIAL_WRITE(const timestamp&, add_timestamp)
QEL_SERIAL_WRITE(const std::wstring&, add_wstring)
QEL_SERIAL_WRITE(const std::string&, add_string)
#undef QEL_SERIAL_WRITE

out_serialize& out_serialize::operator<<(const wchar_t* value) {
    add_wstring(value, value == nullptr ? 0 : std::wcslen(value));
    return *this;
}
out_serialize& out_serialize::operator<<(const char* value) {
    add_string(value, value == nullptr ? 0 : std::strlen(value));
    return *this;
}

in_serialize::in_serialize() = default;
in_serialize::in_serialize(const std::vector<char>& data) : seriated_buffer(data) {}
in_serialize::in_serialize(const_iterator first, const_iterator last)
    : seriated_buffer(first, last) {}
in_serialize::in_serialize(in_serialize&& other)
    : seriated_buffer(std::move(other)), current_(std::exchange(other.current_, 0)) {}
in_serialize::in_serialize(detail::ISerialStreamReader& reader) : seriated_buffer(reader) {}
in_serialize::~in_serialize() = default;

// The position is read after the getter returns: a reader hook may have restarted it at 0.
template <class T, class Get> const in_serialize& in_serialize::read_(T& value, Get get) const {
    get(*this, current(), value);
    ++current_;
    return *this;
}

template <class T, class Get>
std::size_t in_serialize::read_array_(T* buffer, std::size_t capacity, Get get) const {
    const std::size_t count = get(*this, current(), buffer, capacity);
    if (buffer != nullptr)
        ++current_;
    return count;
}

#define QEL_SERIAL_READ(type, getter)                                                              \
    const in_serialize& in_serialize::operator>>(type& value) const {                              \
        return read_(value,                                                                        \
                     [](const seriated_buffer& b, positioner p, type& v) { v = b.getter(p); });    \
    }
QEL_SERIAL_READ(bool, get_bool)
QEL_SERIAL_READ(char, get_char)
QEL_SERIAL_READ(unsigned char, get_uint8)
QEL_SERIAL_READ(wchar_t, get_wchar)
QEL_SERIAL_READ(short, get_int16)
QEL_SERIAL_READ(unsigned short, get_uint16)
QEL_SERIAL_READ(int, get_int32)
QEL_SERIAL_READ(unsigned int, get_uint32)
QEL_SERIAL_READ(std::int64_t, get_int64)
QEL_SERIAL_READ(std::uint64_t, get_uint64)
QEL_SERIAL_READ(float, get_float)
QEL_SERIAL_READ(double, get_double)
QEL_SERIAL_READ(long double, get_long_double)
QEL_SERIAL_READ(time_period, get_timeperiod)
QEL_SERIAL_READ(time, get_time)
QEL_SERIAL_READ(date, get_date)
QEL_SERIAL_READ(time_interval, get_timeinterval)
QEL_SERIAL_READ(timestamp, get_timestamp)
#undef QEL_SERIAL_READ

const in_serialize& in_serialize::operator>>(std::wstring& value) const {
    return read_(value, [](const seriated_buffer& b, positioner p, std::wstring& v) {
        b.get_wstring(p, v);
    });
}
const in_serialize& in_serialize::operator>>(std::string& value) const {
    return read_(
        value, [](const seriated_buffer& b, positioner p, std::string& v) { b.get_string(p, v); });
}

#define QEL_SERIAL_EXTRACT(result, name, getter)                                                   \
    result in_serialize::name() const {                                                            \
        result value = 0;                                                                          \
        read_(value, [](const seriated_buffer& b, positioner p, result& v) { v = b.getter(p); });  \
        return value;                                                                              \
    }
QEL_SERIAL_EXTRACT(int, extract_timeperiod, get_timeperiod_val)
QEL_SERIAL_EXTRACT(int, extract_time, get_time_val)
QEL_SERIAL_EXTRACT(int, extract_date, get_date_val)
QEL_SERIAL_EXTRACT(std::int64_t, extract_chronointerval, get_timeinterval_val)
QEL_SERIAL_EXTRACT(std::int64_t, extract_chrono, get_timestamp_val)
#undef QEL_SERIAL_EXTRACT

#define QEL_SERIAL_READ_ARRAY(name, type, getter)                                                  \
    std::size_t in_serialize::name(type* buffer, std::size_t capacity) const {                     \
        return read_array_(buffer, capacity,                                                       \
                           [](const seriated_buffer& b, positioner p, type* out,                   \
                              std::size_t size) { return b.getter(p, out, size); });               \
    }
QEL_SERIAL_READ_ARRAY(get_bool_array, bool, get_bool)
QEL_SERIAL_READ_ARRAY(get_char_array, char, get_char)
QEL_SERIAL_READ_ARRAY(get_wchar_array, wchar_t, get_wchar)
QEL_SERIAL_READ_ARRAY(get_byte_array, unsigned char, get_uint8)
QEL_SERIAL_READ_ARRAY(get_int16_array, short, get_int16)
QEL_SERIAL_READ_ARRAY(get_uint16_array, unsigned short, get_uint16)
QEL_SERIAL_READ_ARRAY(get_int32_array, int, get_int32)
QEL_SERIAL_READ_ARRAY(get_uint32_array, unsigned int, get_uint32)
QEL_SERIAL_READ_ARRAY(get_int64_array, std::int64_t, get_int64)
QEL_SERIAL_READ_ARRAY(get_uint64_array, std::uint64_t, get_uint64)
QEL_SERIAL_READ_ARRAY(get_float_array, float, get_float)
QEL_SERIAL_READ_ARRAY(get_double_array, double, get_double)
QEL_SERIAL_READ_ARRAY(get_long_double_array, long double, get_long_double)
QEL_SERIAL_READ_ARRAY(get_dump_data, void, get_dump)
#undef QEL_SERIAL_READ_ARRAY

void in_serialize::get_dump_data(std::vector<char>& out) const {
    read_(out,
          [](const seriated_buffer& b, positioner p, std::vector<char>& v) { b.get_dump(p, v); });
}

void in_serialize::skip() const {
    // Crossing into the next chunk of a stream first, so that its first element is skipped.
    available_(current_);
    ++current_;
}

void in_serialize::swap(in_serialize& other) {
    seriated_buffer::swap(other);
    std::swap(current_, other.current_);
}

void in_serialize::set_seriated_data(const char* data, std::size_t size) {
    current_ = 0;
    seriated_buffer::set_seriated_data(data, size);
}
void in_serialize::set_seriated_data(const std::vector<char>& data) {
    current_ = 0;
    seriated_buffer::set_seriated_data(data);
}
void in_serialize::set_seriated_data_range(const_iterator first, const_iterator last) {
    current_ = 0;
    seriated_buffer::set_seriated_data_range(first, last);
}
void in_serialize::append_seriated_data(const char* data, std::size_t size) {
    current_ = 0;
    seriated_buffer::append_seriated_data(data, size);
}
void in_serialize::append_seriated_data(const std::vector<char>& data) {
    current_ = 0;
    seriated_buffer::append_seriated_data(data);
}
void in_serialize::append_seriated_data_range(const_iterator first, const_iterator last) {
    current_ = 0;
    seriated_buffer::append_seriated_data_range(first, last);
}
void in_serialize::clear() {
    current_ = 0;
    seriated_buffer::clear();
}

inout_serialize::inout_serialize() = default;
inout_serialize::inout_serialize(const std::vector<char>& data) : seriated_buffer(data) {}
inout_serialize::inout_serialize(const_iterator first, const_iterator last)
    : seriated_buffer(first, last) {}
inout_serialize::inout_serialize(inout_serialize&& other)
    : seriated_buffer(std::move(other)), out_serialize(std::move(other)),
      in_serialize(std::move(other)) {}
inout_serialize::~inout_serialize() = default;

void inout_serialize::swap(inout_serialize& other) {
    in_serialize::swap(other);
}

} // namespace qel
