#include "stream/stream_state.h"

#include <algorithm>
#include <limits>

namespace qel::detail {
namespace {

constexpr std::ios_base::iostate end_of_input = std::ios_base::eofbit | std::ios_base::failbit;

std::streamsize clamp_size(std::size_t size) {
    constexpr auto most = static_cast<std::size_t>(std::numeric_limits<std::streamsize>::max());
    return static_cast<std::streamsize>(std::min(size, most));
}

} // namespace

void stream_read(std::iostream& stream, void* buffer, std::size_t size, std::size_t* read_count) {
    std::size_t count = 0;
    if (!stream.good()) {
        stream.setstate(std::ios_base::failbit);
    } else {
        count = static_cast<std::size_t>(
            stream.rdbuf()->sgetn(static_cast<char*>(buffer), clamp_size(size)));
        if (count < size)
            stream.setstate(end_of_input);
    }
    if (read_count)
        *read_count = count;
}

char stream_get(std::iostream& stream) {
    if (!stream.good()) {
        stream.setstate(std::ios_base::failbit);
        return 0;
    }
    auto c = stream.rdbuf()->sbumpc();
    if (std::iostream::traits_type::eq_int_type(c, std::iostream::traits_type::eof())) {
        stream.setstate(end_of_input);
        return 0;
    }
    return std::iostream::traits_type::to_char_type(c);
}

void stream_write(std::iostream& stream, const void* data, std::size_t size) {
    if (!stream.good()) {
        stream.setstate(std::ios_base::badbit);
        return;
    }
    auto n = clamp_size(size);
    if (stream.rdbuf()->sputn(static_cast<const char*>(data), n) != n)
        stream.setstate(std::ios_base::badbit);
}

void stream_put(std::iostream& stream, char c) {
    if (!stream.good()) {
        stream.setstate(std::ios_base::badbit);
        return;
    }
    if (std::iostream::traits_type::eq_int_type(stream.rdbuf()->sputc(c),
                                                std::iostream::traits_type::eof()))
        stream.setstate(std::ios_base::badbit);
}

void stream_flush(std::iostream& stream) {
    if (stream.good() && stream.rdbuf()->pubsync() == -1)
        stream.setstate(std::ios_base::badbit);
}

bool stream_error(const std::iostream& stream) {
    return stream.bad() || (stream.fail() && !stream.eof());
}

std::fpos<int> stream_pos(std::streamoff offset) {
    return std::fpos<int>(offset);
}

std::streamoff seek_target(std::streamoff base, std::streamoff offset) {
    if (offset > 0 && base > std::numeric_limits<std::streamoff>::max() - offset)
        return -1;
    std::streamoff target = base + offset;
    return target < 0 ? -1 : target;
}

} // namespace qel::detail
