#include "stream/file_buffer.h"
#include "stream/stream_state.h"

#include <algorithm>
#include <cstring>

namespace qel::detail {
namespace {

constexpr char ctrl_z = 0x1A;

// Copies `size` bytes to `out` with every LF written as CR LF; returns the bytes written.
std::size_t expand_line_ends(const char* in, std::size_t size, char* out) {
    char* start = out;
    const char* end = in + size;
    while (in < end) {
        auto lf =
            static_cast<const char*>(std::memchr(in, '\n', static_cast<std::size_t>(end - in)));
        const char* stop = lf ? lf : end;
        std::memcpy(out, in, static_cast<std::size_t>(stop - in));
        out += stop - in;
        in = stop;
        if (lf) {
            *out++ = '\r';
            *out++ = '\n';
            ++in;
        }
    }
    return static_cast<std::size_t>(out - start);
}

} // namespace

file_buffer::~file_buffer() {
    close();
}

bool file_buffer::open(const std::wstring& name, const platform::file_access& access, bool text,
                       bool commit) {
    close();
    error_.clear();
    file_ = platform::open_file(name, access, first_error());
    text_ = text;
    commit_ = commit;
    can_read_ = access.read;
    can_write_ = access.write;
    return is_open();
}

bool file_buffer::close() {
    if (!is_open())
        return true;
    bool ok = stop_writing();
    drop_read_state();
    ok = platform::close_file(file_, first_error()) && ok;
    file_ = platform::no_file;
    return ok;
}

void file_buffer::drop_read_state() {
    setg(nullptr, nullptr, nullptr);
    raw_used_ = 0;
    carried_cr_ = false;
    ctrl_z_seen_ = false;
}

bool file_buffer::write_out(const char* data, std::size_t size) {
    if (!text_)
        return platform::write_file(file_, data, size, first_error());
    if (!translated_)
        translated_ = std::make_unique<char[]>(2 * buffer_size);
    while (size > 0) {
        std::size_t chunk = std::min(size, buffer_size);
        std::size_t n = expand_line_ends(data, chunk, translated_.get());
        if (!platform::write_file(file_, translated_.get(), n, first_error()))
            return false;
        data += chunk;
        size -= chunk;
    }
    return true;
}

bool file_buffer::start_writing() {
    if (!is_open() || !can_write_ || !stop_reading())
        return false;
    if (!put_area_)
        put_area_ = std::make_unique<char[]>(buffer_size);
    setp(put_area_.get(), put_area_.get() + buffer_size);
    return true;
}

bool file_buffer::write_put_area() {
    bool ok = write_out(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    setp(pbase(), epptr());
    return ok;
}

bool file_buffer::stop_writing() {
    if (!writing())
        return true;
    bool ok = write_put_area();
    setp(nullptr, nullptr);
    return ok;
}

bool file_buffer::stop_reading() {
    if (!reading())
        return true;
    std::streamoff pos = position();
    drop_read_state();
    return pos >= 0 &&
           platform::seek_file(file_, pos, platform::seek_origin::begin, first_error()) >= 0;
}

std::streamoff file_buffer::position() {
    if (reading()) {
        if (text_)
            return text_read_position();
        std::int64_t system =
            platform::seek_file(file_, 0, platform::seek_origin::current, first_error());
        return system < 0 ? -1 : system - (egptr() - gptr());
    }
    if (!stop_writing())
        return -1;
    return platform::seek_file(file_, 0, platform::seek_origin::current, first_error());
}

std::streamoff file_buffer::text_read_position() const {
    // Walk the raw bytes as the translation did until the reader's place is reached.
    auto wanted = static_cast<std::size_t>(gptr() - eback());
    const char* raw = raw_.get();
    std::size_t i = 0;
    for (std::size_t produced = 0; produced < wanted && i < raw_used_; ++produced)
        i += (raw[i] == '\r' && i + 1 < raw_used_ && raw[i + 1] == '\n') ? 2 : 1;
    return raw_start_ + static_cast<std::streamoff>(i);
}

bool file_buffer::fill_binary() {
    if (!get_area_)
        get_area_ = std::make_unique<char[]>(buffer_size);
    std::int64_t n = platform::read_file(file_, get_area_.get(), buffer_size, first_error());
    char* area = get_area_.get();
    setg(area, area, area + std::max<std::int64_t>(n, 0));
    return n > 0;
}

bool file_buffer::fill_text() {
    if (!raw_)
        raw_ = std::make_unique<char[]>(buffer_size);
    if (!get_area_)
        get_area_ = std::make_unique<char[]>(buffer_size);
    if (!reading()) {
        raw_start_ = platform::seek_file(file_, 0, platform::seek_origin::current, first_error());
        raw_used_ = 0;
    }
    char* area = get_area_.get();
    while (!ctrl_z_seen_) {
        std::size_t carry = carried_cr_ ? 1 : 0;
        raw_start_ += static_cast<std::streamoff>(raw_used_ - carry);
        raw_[0] = carry ? '\r' : raw_[0];
        std::int64_t n =
            platform::read_file(file_, raw_.get() + carry, buffer_size - carry, first_error());
        bool at_end = n <= 0;
        raw_used_ = carry + static_cast<std::size_t>(std::max<std::int64_t>(n, 0));
        carried_cr_ = false;

        const char* raw = raw_.get();
        std::size_t produced = 0;
        for (std::size_t i = 0; i < raw_used_;) {
            char b = raw[i];
            if (b == ctrl_z) {
                ctrl_z_seen_ = true;
                break;
            }
            if (b == '\r') {
                if (i + 1 == raw_used_ && !at_end) {
                    carried_cr_ = true; // decided by the next byte
                    break;
                }
                if (i + 1 < raw_used_ && raw[i + 1] == '\n') {
                    area[produced++] = '\n';
                    i += 2;
                    continue;
                }
            }
            area[produced++] = b;
            ++i;
        }
        setg(area, area, area + produced);
        if (produced > 0)
            return true;
        if (at_end)
            return false;
    }
    return false;
}

file_buffer::int_type file_buffer::underflow() {
    if (!is_open() || !can_read_ || !stop_writing())
        return traits_type::eof();
    if (reading() && gptr() < egptr())
        return traits_type::to_int_type(*gptr());
    bool filled = text_ ? fill_text() : fill_binary();
    return filled ? traits_type::to_int_type(*gptr()) : traits_type::eof();
}

std::streamsize file_buffer::xsgetn(char* out, std::streamsize count) {
    std::streamsize copied = 0;
    while (copied < count) {
        if (reading() && gptr() < egptr()) {
            std::streamsize n = std::min<std::streamsize>(egptr() - gptr(), count - copied);
            std::memcpy(out + copied, gptr(), static_cast<std::size_t>(n));
            gbump(static_cast<int>(n));
            copied += n;
            continue;
        }
        bool large = count - copied >= static_cast<std::streamsize>(buffer_size);
        if (large && !text_ && is_open() && can_read_ && stop_writing()) {
            // Straight into the caller's memory; the empty get area keeps positions exact.
            std::int64_t n = platform::read_file(
                file_, out + copied, static_cast<std::size_t>(count - copied), first_error());
            if (n <= 0)
                break;
            copied += n;
            continue;
        }
        if (traits_type::eq_int_type(underflow(), traits_type::eof()))
            break;
    }
    return copied;
}

file_buffer::int_type file_buffer::overflow(int_type c) {
    if (!writing() && !start_writing())
        return traits_type::eof();
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::not_eof(c);
    if (pptr() == epptr() && !write_put_area())
        return traits_type::eof();
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

std::streamsize file_buffer::xsputn(const char* in, std::streamsize count) {
    if (count <= 0 || (!writing() && !start_writing()))
        return 0;
    if (!text_ && count >= static_cast<std::streamsize>(buffer_size)) {
        if (!stop_writing() || !start_writing())
            return 0;
        return write_out(in, static_cast<std::size_t>(count)) ? count : 0;
    }
    std::streamsize copied = 0;
    while (copied < count) {
        if (pptr() == epptr() && !write_put_area())
            break;
        std::streamsize n = std::min<std::streamsize>(epptr() - pptr(), count - copied);
        std::memcpy(pptr(), in + copied, static_cast<std::size_t>(n));
        pbump(static_cast<int>(n));
        copied += n;
    }
    return copied;
}

int file_buffer::sync() {
    if (!is_open())
        return 0;
    if (writing() && !write_put_area())
        return -1;
    if (commit_ && !platform::commit_file(file_, first_error()))
        return -1;
    return 0;
}

std::streamoff file_buffer::seek(std::streamoff offset, int way) {
    if (!is_open())
        return -1;
    std::streamoff current = position();
    if (current < 0)
        return -1;
    drop_read_state();
    std::streamoff target = -1;
    switch (way) {
    case std::ios_base::beg:
        target = offset;
        break;
    case std::ios_base::cur:
        target = seek_target(current, offset);
        break;
    case std::ios_base::end: {
        std::int64_t end = platform::seek_file(file_, 0, platform::seek_origin::end, first_error());
        target = end < 0 ? -1 : seek_target(end, offset);
        break;
    }
    default:
        break;
    }
    if (target < 0) {
        platform::seek_file(file_, current, platform::seek_origin::begin, first_error());
        return -1;
    }
    return platform::seek_file(file_, target, platform::seek_origin::begin, first_error());
}

file_buffer::pos_type file_buffer::seekoff(off_type offset, std::ios_base::seekdir way,
                                           std::ios_base::openmode) {
    return pos_type(seek(offset, way));
}

file_buffer::pos_type file_buffer::seekpos(pos_type pos, std::ios_base::openmode) {
    return pos_type(seek(pos, std::ios_base::beg));
}

} // namespace qel::detail
