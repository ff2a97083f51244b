// Arbitrary bytes as seriated data, directly and after lzm decoding: only serialize_error
// (compress_error from the decoder) may come out, and whatever parses must serialize back
// to the same bytes, as a whole and element by element.
#include <qel/compress.h>
#include <qel/serialize.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

void parse_and_check(const std::vector<char>& data) {
    qel::seriated_buffer buffer;
    try {
        buffer.set_seriated_data(data);
    } catch (const qel::serialize_error&) {
        return;
    }
    std::vector<char> whole;
    buffer.get_seriated_data(whole);
    if (whole != data)
        std::abort();
    std::vector<char> pieces;
    for (std::size_t i = 0; i < buffer.size(); ++i) {
        auto at = [](std::size_t index) {
            return reinterpret_cast<qel::seriated_buffer::positioner>(
                static_cast<std::uintptr_t>(index));
        };
        buffer.get_seriated_data_range(at(i), at(i + 1), pieces);
    }
    if (pieces != data)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto bytes = reinterpret_cast<const char*>(data);
    parse_and_check(std::vector<char>(bytes, bytes + size));
    std::vector<char> decoded;
    try {
        qel::lzm_inflate(bytes, size, decoded);
    } catch (const qel::compress_error&) {
        return 0;
    }
    parse_and_check(decoded);
    return 0;
}
