// The lzm block codec on arbitrary bytes: decoding them as a payload may only end in
// compress_error and never touches memory outside the payload and the block's own output;
// decoding them as two payloads at once must give what decoding them one after the other
// gives; encoding them (up to one block) must decode back to the same bytes.
#include "compress/lzm_block.h"

#include <qel/exception.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

void require(bool ok) {
    if (!ok)
        std::abort();
}

// Two payloads decoded interleaved give what two single calls give: the same bytes, the same
// message, and the same bytes left after a fault in either one.
void check_pair(const char* first, std::size_t first_length, const char* second,
                std::size_t second_length) {
    using namespace qel::detail;
    const char prefix[3] = {'p', 'q', 'r'};
    std::vector<char> paired(prefix, prefix + 3), single(prefix, prefix + 3);
    std::string paired_error, single_error;
    std::size_t first_size = 0;
    try {
        lzm_decode_pair(first, first_length, second, second_length, paired, first_size);
    } catch (const qel::compress_error& e) {
        paired_error = e.what();
    }
    try {
        require(lzm_decode_block(first, first_length, single) == first_size);
        lzm_decode_block(second, second_length, single);
    } catch (const qel::compress_error& e) {
        single_error = e.what();
    }
    require(paired == single && paired_error == single_error);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace qel::detail;
    const auto* bytes = reinterpret_cast<const char*>(data);

    // Earlier output in the vector must stay as it is and lie out of the matches' reach.
    const char prefix[3] = {'p', 'q', 'r'};
    std::vector<char> out(prefix, prefix + 3);
    try {
        const std::size_t n = lzm_decode_block(bytes, size, out);
        require(n == out.size() - 3 && n <= lzm_block_input_limit);
    } catch (const qel::compress_error& e) {
        // A block past its size limit is still decoded to its end, and each payload byte
        // yields at most 255 bytes.
        require(e.code() == 0 && out.size() - 3 <= lzm_block_input_limit + 255 * size);
    }
    require(out.size() >= 3 && std::memcmp(out.data(), prefix, 3) == 0);

    const std::size_t cut = size == 0 ? 0 : data[0] % (size + 1);
    check_pair(bytes, cut, bytes + cut, size - cut);

    static lzm_block_encoder encoder; // reused across inputs, as the library does
    const std::size_t block = std::min(size, lzm_block_input_limit);
    const std::uint16_t length = encoder.encode(bytes, block);
    require(length == encoder.payload().size());
    std::vector<char> back;
    require(lzm_decode_block(encoder.payload().data(), length, back) == block);
    require(std::equal(back.begin(), back.end(), bytes));

    // A full first block, after which the second one decodes in its final place.
    if (size != 0) {
        std::vector<char> full(lzm_block_input_limit);
        for (std::size_t i = 0; i < full.size(); ++i)
            full[i] = bytes[i % size];
        const std::uint16_t full_length = encoder.encode(full.data(), full.size());
        const std::vector<char> payload(encoder.payload().begin(), encoder.payload().end());
        check_pair(payload.data(), full_length, bytes, size);
    }
    return 0;
}
