// Arbitrary bytes as an lzm stream, decoded from memory and through a decompressing stream:
// only compress_error may come out, and both forms must agree on what they deliver.
#include <qel/compress.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

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
    return 0;
}
