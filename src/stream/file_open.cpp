#include "stream/file_open.h"

#include "platform/file.h"

#include <qel/stream.h>

namespace qel::detail {
namespace {

platform::file_access access_for(unsigned int mode, bool shared_update) {
    platform::file_access access;
    access.read = (mode & mode_read) != 0;
    bool write = (mode & mode_write) != 0;
    if (!write)
        return access;
    access.write = true;
    if (mode & mode_create) {
        access.disposition = platform::file_disposition::create_or_truncate;
    } else if (mode & mode_append) {
        access.append = true;
        access.disposition = platform::file_disposition::open_or_create;
    } else if (access.read || shared_update) {
        // Plain writing through the shared path updates the file in place ("r+").
        access.read = true;
        access.disposition = platform::file_disposition::open_existing;
    } else {
        access.disposition = platform::file_disposition::create_or_truncate;
    }
    return access;
}

// The base name (last component without its extension) starts with a dot: "..x" and
// ".a.txt" do, ".profile" (all extension) does not.
bool base_name_starts_with_dot(const std::wstring& name) {
    auto separator = name.find_last_of(L"\\/:");
    std::size_t start = separator == std::wstring::npos ? 0 : separator + 1;
    auto dot = name.find_last_of(L'.');
    if (dot == std::wstring::npos || dot < start)
        dot = name.size();
    return dot > start && name[start] == L'.';
}

} // namespace

unsigned int open_file_stream(file_buffer& buffer, std::iostream& stream, const std::wstring& name,
                              unsigned int mode, bool binary) {
    const bool write = (mode & mode_write) != 0;
    const bool shared_commit = write && (mode & mode_flush_on_close) != 0;
    unsigned int close_flags = shared_commit ? close_flag_flush : 0;

    if (buffer.open(name, access_for(mode, shared_commit), !binary, shared_commit))
        stream.clear();
    else
        stream.setstate(std::ios_base::failbit);

    if (write)
        hide_dot_named_file_(name);
    return close_flags;
}

void hide_dot_named_file_(const std::wstring& name) {
    if (!base_name_starts_with_dot(name))
        return;
    auto attributes = platform::get_file_attributes(name);
    if (attributes && !attributes->directory)
        platform::set_file_hidden(name);
}

} // namespace qel::detail
