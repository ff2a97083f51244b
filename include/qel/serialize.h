// Serialization: seriated_buffer, an ordered sequence of typed elements with a compact
// little-endian byte form (the seriated data); the operator-based writer and reader
// out_serialize, in_serialize and inout_serialize; and out_serialize_stream /
// in_serialize_stream, which carry an unbounded sequence over any IStream in framed chunks.
// Every failure is a serialize_error. Wide text crosses the byte form as UTF-16 units.
#pragma once

#include <qel/datetime.h>
#include <qel/exception.h>
#include <qel/export.h>
#include <qel/stream.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace qel {

namespace detail {

// What a positioner points at: never dereferenced, the pointer's value is the element index.
struct serial_iterator_impl_ {
    std::uintptr_t index_ = 0;
};

// Reader hook of a buffer: loads the next chunk into the buffer and resets the reading
// position to 0, or returns false when the input has ended.
class QEL_API ISerialStreamReader {
public:
    ISerialStreamReader() = default;
    virtual bool pump() = 0;

protected:
    ISerialStreamReader(const ISerialStreamReader&) = default;
    ISerialStreamReader& operator=(const ISerialStreamReader&) = default;
    ~ISerialStreamReader() = default;
};

// Writer hook of a buffer: writes out the elements collected so far and empties the buffer.
class QEL_API ISerialStreamWriter {
public:
    ISerialStreamWriter() = default;
    virtual void overflow() = 0;

protected:
    ISerialStreamWriter(const ISerialStreamWriter&) = default;
    ISerialStreamWriter& operator=(const ISerialStreamWriter&) = default;
    ~ISerialStreamWriter() = default;
};

class seriated_buffer_impl_;

} // namespace detail

// Ordered typed elements, addressed by positioners (begin() is element 0). Every get_*
// checks the stored type tag and throws "extracted data type mismatch" on another type.
// Array getters take (p, buffer, capacity) and return the element count; a null buffer
// only asks for the count.
class QEL_API seriated_buffer {
public:
    using positioner = const detail::serial_iterator_impl_*;
    using const_iterator = std::vector<char>::const_iterator;

    seriated_buffer();
    // Parse seriated data; throws on broken data.
    explicit seriated_buffer(const std::vector<char>& data);
    seriated_buffer(const_iterator first, const_iterator last);
    // Takes the other's content; the other is left empty.
    seriated_buffer(seriated_buffer&& other);
    seriated_buffer(const seriated_buffer&) = delete;
    seriated_buffer& operator=(const seriated_buffer&) = delete;
    ~seriated_buffer();

    void swap(seriated_buffer& other);

    std::size_t size() const;
    positioner begin() const { return to_positioner_(0); }
    positioner end() const { return to_positioner_(size()); }
    std::size_t position(positioner p) const { return reinterpret_cast<std::uintptr_t>(p); }

    // The set_ forms clear first; the append_ forms add the parsed elements at the end.
    virtual void set_seriated_data(const char* data, std::size_t size);
    virtual void set_seriated_data(const std::vector<char>& data);
    virtual void set_seriated_data_range(const_iterator first, const_iterator last);
    virtual void append_seriated_data(const char* data, std::size_t size);
    virtual void append_seriated_data(const std::vector<char>& data);
    virtual void append_seriated_data_range(const_iterator first, const_iterator last);
    // Appends the seriated data of all elements, or of [first, last), to `out`.
    virtual void get_seriated_data(std::vector<char>& out) const;
    virtual void get_seriated_data_range(positioner first, positioner last,
                                         std::vector<char>& out) const;
    // Removes every element and releases the storage of strings and arrays.
    virtual void clear();

    void add_bool(bool value);
    void add_char(char value);
    void add_uint8(unsigned char value);
    // Outside the UTF-16 range (wide wchar_t only), U+FFFD is stored.
    void add_wchar(wchar_t value);
    void add_int16(short value);
    void add_uint16(unsigned short value);
    void add_int32(int value);
    void add_uint32(unsigned int value);
    void add_int64(std::int64_t value);
    void add_uint64(std::uint64_t value);
    void add_float(float value);
    void add_double(double value);
    // Stored as a double.
    void add_long_double(long double value);

    // Arrays: the data is copied. A null pointer is allowed only with count 0.
    void add_bool(const bool* data, std::size_t count);
    void add_char(const char* data, std::size_t count);
    void add_uint8(const unsigned char* data, std::size_t count);
    void add_wchar(const wchar_t* data, std::size_t count);
    void add_int16(const short* data, std::size_t count);
    void add_uint16(const unsigned short* data, std::size_t count);
    void add_int32(const int* data, std::size_t count);
    void add_uint32(const unsigned int* data, std::size_t count);
    void add_int64(const std::int64_t* data, std::size_t count);
    void add_uint64(const std::uint64_t* data, std::size_t count);
    void add_float(const float* data, std::size_t count);
    void add_double(const double* data, std::size_t count);
    void add_long_double(const long double* data, std::size_t count);
    void add_dump(const void* data, std::size_t size);
    void add_dump(const std::vector<char>& data);

    void add_timeperiod(const time_period& value);
    void add_timeperiod_val(int value);
    void add_time(const time& value);
    void add_time_val(int value);
    void add_date(const date& value);
    void add_date_val(int value);
    // Split into day value and time value (truncating division by 8640000).
    void add_datetime(const timestamp& value);
    void add_datetime_val(int day_value, int time_value);
    void add_timeinterval(const time_interval& value);
    void add_timeinterval_val(std::int64_t value);
    // The whole count.
    void add_timestamp(const timestamp& value);
    void add_timestamp_val(std::int64_t value);
    // At most 0xFFFFFF characters (UTF-16 units for wide text), else "string too long".
    void add_wstring(const std::wstring& value);
    void add_wstring(const wchar_t* data, std::size_t length);
    void add_string(const std::string& value);
    void add_string(const char* data, std::size_t length);

    bool get_bool(positioner p) const;
    char get_char(positioner p) const;
    unsigned char get_uint8(positioner p) const;
    wchar_t get_wchar(positioner p) const;
    short get_int16(positioner p) const;
    unsigned short get_uint16(positioner p) const;
    int get_int32(positioner p) const;
    unsigned int get_uint32(positioner p) const;
    std::int64_t get_int64(positioner p) const;
    std::uint64_t get_uint64(positioner p) const;
    float get_float(positioner p) const;
    double get_double(positioner p) const;
    long double get_long_double(positioner p) const;

    // "array buffer too small" when `capacity` is below the count.
    std::size_t get_bool(positioner p, bool* buffer, std::size_t capacity) const;
    std::size_t get_char(positioner p, char* buffer, std::size_t capacity) const;
    std::size_t get_uint8(positioner p, unsigned char* buffer, std::size_t capacity) const;
    std::size_t get_wchar(positioner p, wchar_t* buffer, std::size_t capacity) const;
    std::size_t get_int16(positioner p, short* buffer, std::size_t capacity) const;
    std::size_t get_uint16(positioner p, unsigned short* buffer, std::size_t capacity) const;
    std::size_t get_int32(positioner p, int* buffer, std::size_t capacity) const;
    std::size_t get_uint32(positioner p, unsigned int* buffer, std::size_t capacity) const;
    std::size_t get_int64(positioner p, std::int64_t* buffer, std::size_t capacity) const;
    std::size_t get_uint64(positioner p, std::uint64_t* buffer, std::size_t capacity) const;
    std::size_t get_float(positioner p, float* buffer, std::size_t capacity) const;
    std::size_t get_double(positioner p, double* buffer, std::size_t capacity) const;
    std::size_t get_long_double(positioner p, long double* buffer, std::size_t capacity) const;
    std::size_t get_dump(positioner p, void* buffer, std::size_t capacity) const;
    // Resizes `out` to the dump's size.
    void get_dump(positioner p, std::vector<char>& out) const;

    time_period get_timeperiod(positioner p) const;
    time get_time(positioner p) const;
    date get_date(positioner p) const;
    // Day value * 8640000 + time value.
    timestamp get_datetime(positioner p) const;
    time_interval get_timeinterval(positioner p) const;
    timestamp get_timestamp(positioner p) const;
    int get_timeperiod_val(positioner p) const;
    int get_time_val(positioner p) const;
    int get_date_val(positioner p) const;
    void get_datetime_val(positioner p, int& day_value, int& time_value) const;
    std::int64_t get_timeinterval_val(positioner p) const;
    std::int64_t get_timestamp_val(positioner p) const;

    void get_string(positioner p, std::string& out) const;
    void get_wstring(positioner p, std::wstring& out) const;
    std::size_t get_string_len(positioner p) const;
    std::size_t get_wstring_len(positioner p) const;
    // The characters in the buffer's own storage: not terminated, null when empty, valid
    // until the buffer is cleared or destroyed.
    const char* get_string(positioner p) const;
    const wchar_t* get_wstring(positioner p) const;

protected:
    // Attach the hooks of a serialization stream.
    explicit seriated_buffer(detail::ISerialStreamReader& reader);
    seriated_buffer(detail::ISerialStreamWriter& writer, std::size_t chunk_elements);
    // Re-attach after a move, so that the hook is the object that owns the buffer now.
    void attach_reader_(detail::ISerialStreamReader& reader);
    void attach_writer_(detail::ISerialStreamWriter& writer, std::size_t chunk_elements);

    // Whether element `index` exists, loading the next chunk through a reader hook if not;
    // a load restarts the reader's position at 0.
    bool available_(std::size_t index) const;

    static positioner to_positioner_(std::size_t index) {
        return reinterpret_cast<positioner>(static_cast<std::uintptr_t>(index));
    }

private:
    void clear_data_();
    void get_seriated_data_(std::size_t first, std::size_t last, std::vector<char>& out) const;
    void set_seriated_data_(const_iterator first, const_iterator last);
    void set_seriated_data_(const char* data, std::size_t size);

    std::unique_ptr<detail::seriated_buffer_impl_> impl_;
};

// Writes values in order with <<; each appends one element.
class QEL_API out_serialize : public virtual seriated_buffer {
public:
    out_serialize();
    out_serialize(out_serialize&& other);
    ~out_serialize();

    out_serialize& operator<<(bool value);
    out_serialize& operator<<(char value);
    out_serialize& operator<<(unsigned char value);
    out_serialize& operator<<(wchar_t value);
    out_serialize& operator<<(short value);
    out_serialize& operator<<(unsigned short value);
    out_serialize& operator<<(int value);
    out_serialize& operator<<(unsigned int value);
    out_serialize& operator<<(std::int64_t value);
    out_serialize& operator<<(std::uint64_t value);
    out_serialize& operator<<(float value);
    out_serialize& operator<<(double value);
    out_serialize& operator<<(long double value);
    out_serialize& operator<<(const time_period& value);
    out_serialize& operator<<(const time& value);
    out_serialize& operator<<(const date& value);
    out_serialize& operator<<(const time_interval& value);
    // One 64-bit count (tag 21); add_datetime writes the split form.
    out_serialize& operator<<(const timestamp& value);
    out_serialize& operator<<(const std::wstring& value);
    out_serialize& operator<<(const std::string& value);
    // Terminated text; a null pointer writes an empty string.
    out_serialize& operator<<(const wchar_t* value);
    out_serialize& operator<<(const char* value);

    // long long where it is a type of its own beside std::int64_t.
    template <class T>
    requires(std::same_as<T, long long> && !std::same_as<long long, std::int64_t>) out_serialize&
    operator<<(T value) {
        return *this << static_cast<std::int64_t>(value);
    }
    template <class T>
    requires(std::same_as<T, unsigned long long> &&
             !std::same_as<unsigned long long, std::uint64_t>) out_serialize&
    operator<<(T value) {
        return *this << static_cast<std::uint64_t>(value);
    }

protected:
    out_serialize(detail::ISerialStreamWriter& writer, std::size_t chunk_elements);
};

// Reads values in the order written with >>, from a current position that each successful
// read advances. A failed read throws and leaves the position where it was.
class QEL_API in_serialize : public virtual seriated_buffer {
public:
    in_serialize();
    explicit in_serialize(const std::vector<char>& data);
    in_serialize(const_iterator first, const_iterator last);
    // Takes the other's content and position; the other restarts at 0.
    in_serialize(in_serialize&& other);
    ~in_serialize();

    const in_serialize& operator>>(bool& value) const;
    const in_serialize& operator>>(char& value) const;
    const in_serialize& operator>>(unsigned char& value) const;
    const in_serialize& operator>>(wchar_t& value) const;
    const in_serialize& operator>>(short& value) const;
    const in_serialize& operator>>(unsigned short& value) const;
    const in_serialize& operator>>(int& value) const;
    const in_serialize& operator>>(unsigned int& value) const;
    const in_serialize& operator>>(std::int64_t& value) const;
    const in_serialize& operator>>(std::uint64_t& value) const;
    const in_serialize& operator>>(float& value) const;
    const in_serialize& operator>>(double& value) const;
    const in_serialize& operator>>(long double& value) const;
    const in_serialize& operator>>(time_period& value) const;
    const in_serialize& operator>>(time& value) const;
    const in_serialize& operator>>(date& value) const;
    const in_serialize& operator>>(time_interval& value) const;
    const in_serialize& operator>>(timestamp& value) const;
    const in_serialize& operator>>(std::wstring& value) const;
    const in_serialize& operator>>(std::string& value) const;

    template <class T>
    requires(std::same_as<T, long long> &&
             !std::same_as<long long, std::int64_t>) const in_serialize&
    operator>>(T& value) const {
        std::int64_t v = 0;
        *this >> v;
        value = v;
        return *this;
    }
    template <class T>
    requires(std::same_as<T, unsigned long long> &&
             !std::same_as<unsigned long long, std::uint64_t>) const in_serialize&
    operator>>(T& value) const {
        std::uint64_t v = 0;
        *this >> v;
        value = v;
        return *this;
    }

    // The raw counts of tags 16, 17, 18, 20 and 21.
    int extract_timeperiod() const;
    int extract_time() const;
    int extract_date() const;
    std::int64_t extract_chronointerval() const;
    std::int64_t extract_chrono() const;

    // Arrays: return the count; only a call with a buffer reads the element and advances,
    // so a null buffer asks for the size first.
    std::size_t get_bool_array(bool* buffer, std::size_t capacity) const;
    std::size_t get_char_array(char* buffer, std::size_t capacity) const;
    std::size_t get_wchar_array(wchar_t* buffer, std::size_t capacity) const;
    std::size_t get_byte_array(unsigned char* buffer, std::size_t capacity) const;
    std::size_t get_int16_array(short* buffer, std::size_t capacity) const;
    std::size_t get_uint16_array(unsigned short* buffer, std::size_t capacity) const;
    std::size_t get_int32_array(int* buffer, std::size_t capacity) const;
    std::size_t get_uint32_array(unsigned int* buffer, std::size_t capacity) const;
    std::size_t get_int64_array(std::int64_t* buffer, std::size_t capacity) const;
    std::size_t get_uint64_array(std::uint64_t* buffer, std::size_t capacity) const;
    std::size_t get_float_array(float* buffer, std::size_t capacity) const;
    std::size_t get_double_array(double* buffer, std::size_t capacity) const;
    std::size_t get_long_double_array(long double* buffer, std::size_t capacity) const;
    std::size_t get_dump_data(void* buffer, std::size_t capacity) const;
    void get_dump_data(std::vector<char>& out) const;

    // Moves on by one element without reading it.
    void skip() const;
    positioner current() const { return to_positioner_(current_); }
    // Not checked: a bad position shows at the next read.
    void set_current(positioner p) { current_ = position(p); }
    void swap(in_serialize& other);

    // Each restarts reading at the first element.
    void set_seriated_data(const char* data, std::size_t size) override;
    void set_seriated_data(const std::vector<char>& data) override;
    void set_seriated_data_range(const_iterator first, const_iterator last) override;
    void append_seriated_data(const char* data, std::size_t size) override;
    void append_seriated_data(const std::vector<char>& data) override;
    void append_seriated_data_range(const_iterator first, const_iterator last) override;
    void clear() override;

protected:
    explicit in_serialize(detail::ISerialStreamReader& reader);

private:
    template <class T, class Get> const in_serialize& read_(T& value, Get get) const;
    template <class T, class Get>
    std::size_t read_array_(T* buffer, std::size_t capacity, Get get) const;

    mutable std::size_t current_ = 0;
};

// Writes and reads one buffer: what is written with << is read back with >> from the
// current position.
class QEL_API inout_serialize : public out_serialize, public in_serialize {
public:
    inout_serialize();
    explicit inout_serialize(const std::vector<char>& data);
    inout_serialize(const_iterator first, const_iterator last);
    inout_serialize(inout_serialize&& other);
    ~inout_serialize();

    void swap(inout_serialize& other);
};

// Writes its elements to `target` (referenced, not owned) in chunks of at most 1024: each
// chunk is the magic 10 1B E3 CA, four zero bytes, the 64-bit body length and the seriated
// data. Failures of the target throw "serialization io error". Pending elements are written
// by flush() and by the destructor, which swallows every error.
class QEL_API out_serialize_stream : public out_serialize, private detail::ISerialStreamWriter {
public:
    explicit out_serialize_stream(IStream& target);
    out_serialize_stream(out_serialize_stream&& other);
    ~out_serialize_stream();

    // Writes the pending elements as one chunk; does not flush the target.
    void flush();
    // Writes the given seriated data at once as a chunk of its own, before pending elements.
    void append_seriated_data(const char* data, std::size_t size) override;
    void append_seriated_data(const std::vector<char>& data) override;
    void append_seriated_data_range(const_iterator first, const_iterator last) override;

private:
    void set_seriated_data(const char*, std::size_t) override {}
    void set_seriated_data(const std::vector<char>&) override {}
    void set_seriated_data_range(const_iterator, const_iterator) override {}
    void get_seriated_data(std::vector<char>&) const override {}
    void get_seriated_data_range(positioner, positioner, std::vector<char>&) const override {}
    void clear() override {}

    void overflow() override;
    void flush_();
    void write_(const void* data, std::size_t size);
    void write_chunk_(const void* data, std::size_t size);
    void write_chunk_(const std::vector<char>& data);

    IStream* target_;
};

// Reads the chunks of an out_serialize_stream from `source` (referenced, not owned), one at
// a time as >> needs them. A header without the magic, or announcing a body above 1 GiB,
// throws "serialization data corrupted"; a body cut short "unexpected end of file".
class QEL_API in_serialize_stream : public in_serialize, private detail::ISerialStreamReader {
public:
    explicit in_serialize_stream(IStream& source);
    in_serialize_stream(in_serialize_stream&& other);
    ~in_serialize_stream();

    // Every element of the loaded chunk read, and the source at the size it had at
    // construction.
    bool eof() const;

private:
    void set_seriated_data(const char*, std::size_t) override {}
    void set_seriated_data(const std::vector<char>&) override {}
    void set_seriated_data_range(const_iterator, const_iterator) override {}
    void append_seriated_data(const char*, std::size_t) override {}
    void append_seriated_data(const std::vector<char>&) override {}
    void append_seriated_data_range(const_iterator, const_iterator) override {}
    void get_seriated_data(std::vector<char>&) const override {}
    void get_seriated_data_range(positioner, positioner, std::vector<char>&) const override {}
    void clear() override {}

    bool pump() override;
    bool read_(void* buffer, std::size_t size);

    IStream* source_;
    std::int64_t source_size_;
};

} // namespace qel
