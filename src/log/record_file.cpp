#include "log/record_file.h"

#include "stream/file_open.h"

namespace qel::detail {
namespace {

// Records larger than this give their memory back when they end.
constexpr std::size_t kept_capacity = 64 * 1024;

platform::file_access append_access(platform::file_disposition disposition) {
    platform::file_access access;
    access.write = true;
    access.append = true;
    access.disposition = disposition;
    return access;
}

void release_large(std::string& text) {
    if (text.capacity() > kept_capacity)
        std::string().swap(text);
    else
        text.clear();
}

} // namespace

record_buffer::int_type record_buffer::overflow(int_type c) {
    if (!traits_type::eq_int_type(c, traits_type::eof()))
        text_.push_back(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
}

std::streamsize record_buffer::xsputn(const char* s, std::streamsize count) {
    text_.append(s, static_cast<std::size_t>(count));
    return count;
}

record_file::~record_file() {
    if (is_open())
        platform::close_file(file_);
}

record_file::open_result record_file::open(const std::wstring& name) {
    out_.clear();
    buffer_.text().clear();
    // Opening the existing file first costs one call for every record but a log's first.
    // The file may come and go between the tries when another program removes it or
    // creates it meanwhile, so the two are tried again a few times.
    auto result = open_result::failed;
    for (int attempt = 0; attempt < 4 && result == open_result::failed; ++attempt) {
        platform::open_status status;
        file_ = platform::open_file(name, append_access(platform::file_disposition::open_existing),
                                    status);
        if (file_ != platform::no_file) {
            result = open_result::opened;
            break;
        }
        if (status != platform::open_status::missing)
            break;
        file_ = platform::open_file(name, append_access(platform::file_disposition::create_new),
                                    status);
        if (file_ != platform::no_file)
            result = open_result::created;
        else if (status != platform::open_status::exists)
            break;
    }
    if (result == open_result::failed)
        out_.setstate(std::ios_base::failbit);
    else
        hide_dot_named_file_(name);
    return result;
}

void record_file::close_record() {
    std::string& text = buffer_.text();
    text.push_back('\n');
    const std::string_view line_end = platform::native_line_end();
    const std::string* bytes = &text;
    if (line_end != "\n") {
        translated_.clear();
        translated_.reserve(text.size() + text.size() / 8 + line_end.size());
        for (char c : text) {
            if (c == '\n')
                translated_.append(line_end);
            else
                translated_.push_back(c);
        }
        bytes = &translated_;
    }
    bool written = platform::write_file(file_, bytes->data(), bytes->size());
    bool closed = platform::close_file(file_);
    file_ = platform::no_file;
    if (!written || !closed)
        out_.setstate(std::ios_base::failbit);
    release_large(text);
    release_large(translated_);
}

void record_file::discard() {
    platform::close_file(file_);
    file_ = platform::no_file;
    release_large(buffer_.text());
}

bool record_file::truncate(const std::wstring& name) {
    platform::file_access access;
    access.write = true;
    access.disposition = platform::file_disposition::create_or_truncate;
    auto file = platform::open_file(name, access);
    if (file == platform::no_file)
        return false;
    hide_dot_named_file_(name);
    return platform::close_file(file);
}

} // namespace qel::detail
