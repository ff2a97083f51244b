// Arbitrary masks and texts through the date, time, timestamp and interval parsers. The
// only exception allowed is std::invalid_argument for a broken mask, with its exact message,
// and the results must hold together:
//
// - a parsed date is valid and a parsed time lies within a day;
// - `end` lies after `pos` and no further than the mask's length beyond it;
// - narrow and wide text give the same answers (the input is widened unit by unit);
// - a failed parse leaves the value and `end` untouched.
//
// Input layout: one control byte (separators and start position), then the mask and the
// text separated by the first zero byte.
#include <qel/datetime.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

void check(bool holds) {
    if (!holds)
        std::abort();
}

std::wstring widen(const std::string& text) {
    std::wstring wide;
    for (char c : text)
        wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return wide;
}

// Runs `parse`, which may only throw invalid_argument with `message`; returns whether it
// threw.
template <class Parse> bool throws_mask_error(Parse parse, const char* message) {
    try {
        parse();
        return false;
    } catch (const std::invalid_argument& e) {
        check(std::strcmp(e.what(), message) == 0);
        return true;
    }
}

template <class T>
void extract_both(const std::string& text, const std::string& mask, char sep, std::uint64_t pos,
                  const char* message, bool (*valid)(const T&)) {
    const std::uint64_t stale = 0xDEADBEEF;
    std::uint64_t end = stale, wide_end = stale;
    T value(-7), wide_value(-7);
    bool ok = false, wide_ok = false;
    const bool threw = throws_mask_error(
        [&] { ok = qel::extract_from_str(text, mask, sep, pos, end, value); }, message);
    const bool wide_threw = throws_mask_error(
        [&] {
            wide_ok = qel::extract_from_str(widen(text), widen(mask),
                                            static_cast<wchar_t>(static_cast<unsigned char>(sep)),
                                            pos, wide_end, wide_value);
        },
        message);
    check(threw == wide_threw && ok == wide_ok && end == wide_end &&
          value.get() == wide_value.get());
    if (threw || !ok) {
        check(end == stale && value.get() == -7);
        return;
    }
    check(valid(value) && end >= pos && end <= pos + mask.size() && end <= text.size());
}

bool valid_date(const qel::date& d) {
    return d.is_valid();
}
bool valid_time(const qel::time& t) {
    return t.get() >= 0 && t.get() < 8640000;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const unsigned char control = data[0];
    const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t split = rest.find('\0');
    const std::string mask = rest.substr(0, split);
    const std::string text = split == std::string::npos ? rest : rest.substr(split + 1);
    const char separators[] = {'.', ':', '/', ' ', '-', 'T', '.', ':'};
    const char sep = separators[control & 7];
    const char second_sep = separators[(control >> 3) & 7];
    const std::uint64_t pos = text.empty() ? 0 : (control >> 6) % (text.size() + 1);

    extract_both<qel::date>(text, mask, sep, pos, "invalid date mask", valid_date);
    extract_both<qel::time>(text, mask, sep, pos, "invalid time mask", valid_time);

    // Default masks: only the text varies, nothing may throw.
    qel::date d;
    qel::time t;
    qel::timestamp ts(-1);
    qel::time_interval interval(-1);
    if (qel::from_str(text, d))
        check(valid_date(d));
    if (qel::from_str(text, t))
        check(valid_time(t));
    if (qel::from_str(text, ts))
        check(ts.get_date().is_valid() && valid_time(ts.get_time()));
    check(qel::from_str(text, interval) == qel::from_str(widen(text), interval));

    // Timestamps with the mask as both masks (valid for both only when empty or "mm").
    try {
        if (qel::from_str(text, mask, sep, second_sep, mask, sep, ts))
            check(ts.get_date().is_valid() && valid_time(ts.get_time()));
    } catch (const std::invalid_argument& e) {
        check(std::strcmp(e.what(), "invalid date mask") == 0 ||
              std::strcmp(e.what(), "invalid time mask") == 0);
    }
    return 0;
}
