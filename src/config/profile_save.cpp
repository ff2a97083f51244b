#include "config/profile_save.h"

#include "platform/file.h"

#include <qel/stream.h>

namespace qel::detail {

void (*profile_before_replace_)(const std::wstring& temporary) = nullptr;

namespace {

// Writing in place would have found out the same: a file that exists must open for writing.
bool target_writable(const std::wstring& name) {
    if (!platform::file_exists(name))
        return true;
    platform::file_access access;
    access.write = true;
    const platform::native_file file = platform::open_file(name, access);
    if (file == platform::no_file)
        return false;
    platform::close_file(file);
    return true;
}

// A stream that creates over an existing file with signature detection keeps that file's
// charset; the temporary file is new, so the charset is found here the same way.
text_encoding encoding_for(const std::wstring& name, const text_encoding& requested) {
    if ((requested.flags() & flag_detect_signature) == 0 || !platform::file_exists(name))
        return requested;
    text_file_stream probe(name, file_stream_mode::read(),
                           text_encoding(cs_default, 0, flag_detect_signature));
    if (!probe.is_open())
        return requested;
    const text_encoding found = probe.get_encoding();
    return (found.flags() & flag_detect_signature) != 0 ? text_encoding() : found;
}

} // namespace

void save_profile_lines_(const std::wstring& name, const std::vector<std::wstring>& lines,
                         const text_encoding& encoding) {
    if (!target_writable(name))
        return;
    const text_encoding actual = encoding_for(name, encoding);
    const std::wstring temporary = name + L".~qel-save";
    bool written = false;
    {
        text_file_stream out(temporary, file_stream_mode::create(), actual);
        if (out.ok()) {
            for (const std::wstring& line : lines)
                out.write_line(line);
            out.flush();
            written = !out.error();
        }
        out.close();
    }
    if (written && profile_before_replace_ != nullptr)
        profile_before_replace_(temporary);
    if (!written || !platform::replace_file(temporary, name))
        platform::remove_file(temporary);
}

} // namespace qel::detail
