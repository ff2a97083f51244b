// Serialization streams: seriated data in framed chunks over any IStream.
#include "serialize/serialize_messages.h"

#include <qel/serialize.h>

#include <algorithm>
#include <cstring>
#include <ios>
#include <utility>

namespace qel {
namespace {

namespace msg = detail::serialize_messages;

constexpr std::uint32_t chunk_magic = 0xCAE31B10;
constexpr std::size_t chunk_header_size = 16;
constexpr std::size_t chunk_elements = 1024;
// Bodies above this are taken for corrupt headers rather than allocated.
constexpr std::uint64_t max_chunk_body = std::uint64_t{1} << 30;
// A body is read in steps that grow with what has arrived, so a header announcing more
// than the source holds costs no more memory than the source delivers.
constexpr std::size_t first_body_step = std::size_t{1} << 16;

void put_le(unsigned char* out, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out[i] = static_cast<unsigned char>(value >> (8 * i));
}
std::uint64_t get_le(const unsigned char* in, int bytes) {
    std::uint64_t value = 0;
    for (int i = bytes - 1; i >= 0; --i)
        value = value << 8 | in[i];
    return value;
}

} // namespace

out_serialize_stream::out_serialize_stream(IStream& target)
    : seriated_buffer(static_cast<detail::ISerialStreamWriter&>(*this), chunk_elements),
      target_(&target) {}

out_serialize_stream::out_serialize_stream(out_serialize_stream&& other)
    : seriated_buffer(std::move(other)), out_serialize(std::move(other)), target_(other.target_) {
    attach_writer_(*this, chunk_elements);
}

out_serialize_stream::~out_serialize_stream() {
    try {
        flush_();
    } catch (...) {
        // A destructor cannot report; flush() is the way to see failures.
    }
}

void out_serialize_stream::flush() {
    flush_();
}

void out_serialize_stream::append_seriated_data(const char* data, std::size_t size) {
    write_chunk_(data, size);
}
void out_serialize_stream::append_seriated_data(const std::vector<char>& data) {
    write_chunk_(data);
}
void out_serialize_stream::append_seriated_data_range(const_iterator first, const_iterator last) {
    write_chunk_(first == last ? nullptr : &*first, static_cast<std::size_t>(last - first));
}

void out_serialize_stream::overflow() {
    flush_();
}

void out_serialize_stream::flush_() {
    if (size() == 0)
        return;
    std::vector<char> body;
    seriated_buffer::get_seriated_data(body);
    write_chunk_(body);
    seriated_buffer::clear();
}

void out_serialize_stream::write_(const void* data, std::size_t size) {
    target_->write(data, size);
    if (target_->error())
        detail::throw_serialize_(msg::io_error);
}

void out_serialize_stream::write_chunk_(const void* data, std::size_t size) {
    unsigned char header[chunk_header_size] = {};
    put_le(header, chunk_magic, 4);
    put_le(header + 8, size, 8);
    write_(header, sizeof header);
    write_(data, size);
}

void out_serialize_stream::write_chunk_(const std::vector<char>& data) {
    write_chunk_(data.data(), data.size());
}

in_serialize_stream::in_serialize_stream(IStream& source)
    : seriated_buffer(static_cast<detail::ISerialStreamReader&>(*this)), source_(&source),
      source_size_(source.get_size()) {}

in_serialize_stream::in_serialize_stream(in_serialize_stream&& other)
    : seriated_buffer(std::move(other)), in_serialize(std::move(other)), source_(other.source_),
      source_size_(other.source_size_) {
    attach_reader_(*this);
}

in_serialize_stream::~in_serialize_stream() = default;

bool in_serialize_stream::eof() const {
    return position(current()) == size() &&
           static_cast<std::streamoff>(source_->get_pos(std::ios_base::in)) == source_size_;
}

bool in_serialize_stream::pump() {
    unsigned char header[chunk_header_size];
    if (!read_(header, sizeof header))
        return false;
    if (get_le(header, 4) != chunk_magic)
        detail::throw_serialize_(msg::data_corrupted);
    const std::uint64_t length = get_le(header + 8, 8);
    if (length > max_chunk_body)
        detail::throw_serialize_(msg::data_corrupted);
    std::vector<char> body;
    std::size_t step = first_body_step;
    while (body.size() < length) {
        const std::size_t done = body.size();
        const std::size_t more =
            static_cast<std::size_t>(std::min<std::uint64_t>(step, length - done));
        body.resize(done + more);
        if (!read_(body.data() + done, more))
            detail::throw_serialize_(msg::unexpected_eof);
        step = body.size();
    }
    seriated_buffer::clear();
    set_current(begin());
    seriated_buffer::set_seriated_data(body.data(), body.size());
    return true;
}

bool in_serialize_stream::read_(void* buffer, std::size_t size) {
    std::size_t count = 0;
    source_->read(buffer, size, &count);
    if (source_->error())
        detail::throw_serialize_(msg::io_error);
    if (count == size)
        return true;
    if (source_->eof())
        return false;
    detail::throw_serialize_(msg::data_truncation);
}

} // namespace qel
