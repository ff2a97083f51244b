// Arbitrary values formatted with the records read from arbitrary text: no crash, no
// undefined behaviour, only std::invalid_argument from a broken mask, and a result never
// shorter than a width the record asks for.
//
// Input: 8 value bytes, then the format text (bytes widened one by one).
#include <qel/format.h>

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

bool width_kept(const std::wstring& text, std::int32_t width) {
    return width < 0 || text.size() >= static_cast<std::size_t>(width);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 8)
        return 0;
    std::uint64_t bits = 0;
    std::memcpy(&bits, data, 8);
    std::wstring text;
    for (std::size_t i = 8; i < size; ++i)
        text += static_cast<wchar_t>(data[i]);

    qel::integer_format i;
    if (qel::str_to_format(text, i) && i.width <= 4096) {
        const auto v = static_cast<std::int64_t>(bits);
        check(width_kept(qel::do_format(static_cast<long long>(v), i), i.width));
        check(width_kept(qel::do_format(static_cast<int>(v), i), i.width));
        check(width_kept(qel::do_format(static_cast<unsigned long long>(bits), i), i.width));
    }
    qel::float_format f;
    if (qel::str_to_format(text, f) && f.width <= 4096) {
        double d = 0;
        std::memcpy(&d, &bits, 8);
        float s = 0;
        std::memcpy(&s, &bits, 4);
        check(width_kept(qel::do_format(d, f), f.width));
        check(width_kept(qel::do_format(s, f), f.width));
    }
    qel::bool_format b;
    if (qel::str_to_format(text, b))
        check(!qel::do_format((bits & 1) != 0, b).empty());
    try {
        qel::timestamp_format t;
        if (qel::str_to_format(text, t) && t.date.mask.size() < 256 && t.time.mask.size() < 256)
            qel::do_format(qel::timestamp(static_cast<std::int64_t>(bits)), t);
        qel::time_format tf;
        if (qel::str_to_format(text, tf) && tf.mask.size() < 256)
            qel::do_format(qel::time(static_cast<int>(bits)), tf);
    } catch (const std::invalid_argument&) {
    }
    return 0;
}
