// Arbitrary text read as every kind of format section. A text that reads must write back to
// a section that reads to the same record, and a failed read of a missing section must leave
// the record untouched.
//
// Input: bytes widened one by one.
#include <qel/format.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void check(bool holds) {
    if (!holds)
        std::abort();
}

// Texts holding ";" or ")" have no escape, so only records without them must round trip.
bool plain(const std::wstring& text) {
    return text.find_first_of(L";)") == std::wstring::npos;
}
bool plain(wchar_t c) {
    return c != L';' && c != L')';
}

bool writable(const qel::numeric_format& f) {
    return plain(f.zero_text) && plain(f.unit) && plain(f.group_separator) &&
           plain(f.unit_separator);
}
bool writable(const qel::integer_format& f) {
    return writable(static_cast<const qel::numeric_format&>(f));
}
bool writable(const qel::float_format& f) {
    return writable(static_cast<const qel::numeric_format&>(f)) && plain(f.decimal_separator);
}
bool writable(const qel::bool_format& f) {
    return plain(f.true_text) && plain(f.false_text);
}
bool writable(const qel::date_format& f) {
    return plain(f.mask) && plain(f.separator);
}
bool writable(const qel::time_format& f) {
    return plain(f.mask) && plain(f.separator) && plain(f.hundredths_separator);
}
bool writable(const qel::timestamp_format& f) {
    // The hours text keeps whole hundredths of an hour, up to a billion hours.
    return writable(f.date) && writable(f.time) && plain(f.datetime_separator) &&
           f.time_zone_offset % 3600 == 0 && f.time_zone_offset > -360000000000000 &&
           f.time_zone_offset < 360000000000000;
}

template <class F> void read_as(const std::wstring& text) {
    F f;
    if (!qel::str_to_format(text, f))
        return;
    if (!writable(f))
        return;
    std::wstring written;
    qel::format_to_str(f, written);
    F back;
    check(qel::str_to_format(written, back));
    check(qel::eq(back, f));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::wstring text;
    for (std::size_t i = 0; i < size; ++i)
        text += static_cast<wchar_t>(data[i]);
    read_as<qel::integer_format>(text);
    read_as<qel::float_format>(text);
    read_as<qel::bool_format>(text);
    read_as<qel::date_format>(text);
    read_as<qel::time_format>(text);
    read_as<qel::timestamp_format>(text);
    return 0;
}
