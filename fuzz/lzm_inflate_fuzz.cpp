// Arbitrary bytes as an lzm stream, decoded from memory and through a decompressing stream:
// only compress_error may come out, and both forms must agree on what they deliver. The
// bytes cut into several framed blocks must decode as the blocks do one by one.
#include <qel/compress.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The outcome of decoding: the bytes delivered and the message, empty without a fault.
struct outcome {
    std::vector<char> bytes;
    std::string message;
    bool operator==(const outcome&) const = default;
};

template <class F> outcome decode(F&& f) {
    outcome result;
    try {
        f(result.bytes);
    } catch (const qel::compress_error& e) {
        result.message = e.what();
    }
    return result;
}

// The input cut into one to four payloads, each behind a valid header: several whole blocks,
// which the decoder takes two at a time, must decode as they would one by one.
void check_blocks(const char* data, std::size_t size) {
    const std::size_t count = static_cast<unsigned char>(data[0]) % 4 + 1;
    std::vector<std::string> blocks;
    std::string stream;
    for (std::size_t i = 0, at = 1; i < count; ++i) {
        const std::size_t next = i + 1 == count ? size : at + (size - at) / (count - i);
        const std::size_t n = std::min<std::size_t>(next - at, 0xFFFF);
        std::string block = {0x5B, 0x5A, static_cast<char>(n & 0xFF), static_cast<char>(n >> 8)};
        block.append(data + at, n);
        blocks.push_back(block);
        stream += block;
        at = next;
    }
    outcome expected;
    std::vector<char> complete;
    for (const std::string& block : blocks) {
        try {
            qel::lzm_inflate(block.data(), block.size(), expected.bytes);
        } catch (const qel::compress_error& e) {
            expected.message = e.what();
            break;
        }
        complete = expected.bytes;
    }
    const bool memory_same =
        decode([&](auto& out) { qel::lzm_inflate(stream.data(), stream.size(), out); }) == expected;
    qel::memory_stream source(stream.data(), stream.size());
    const bool stream_same =
        decode([&](auto& out) { qel::lzm_inflate(source.get_interface(), out); }) == expected;
    // A stream output receives only the complete blocks.
    std::ostringstream os;
    std::istringstream is(stream);
    const outcome streamed = decode([&](auto&) { qel::lzm_inflate(is, os); });
    const std::string written = os.str();
    if (!memory_same || !stream_same || streamed.message != expected.message ||
        std::vector<char>(written.begin(), written.end()) != complete)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto bytes = reinterpret_cast<const char*>(data);
    std::vector<char> from_memory;
    bool memory_failed = false;
    try {
        qel::lzm_inflate(bytes, size, from_memory);
    } catch (const qel::compress_error&) {
        memory_failed = true;
    }

    if (size == 0) // a memory stream of size 0 would read a NUL-terminated string
        return 0;
    qel::memory_stream source(bytes, size);
    std::vector<char> from_stream;
    bool stream_failed = false;
    {
        try {
            qel::inflate_stream inflating(source.get_interface(), qel::compress_lzm);
            char piece[1000];
            std::size_t count = 0;
            do {
                inflating.read(piece, sizeof piece, &count);
                from_stream.insert(from_stream.end(), piece, piece + count);
            } while (count == sizeof piece);
        } catch (const qel::compress_error&) {
            stream_failed = true;
        }
    }
    // A fully valid input decodes the same either way.
    if (!memory_failed && !stream_failed && from_memory != from_stream)
        std::abort();
    check_blocks(bytes, size);
    return 0;
}
