// Arbitrary bytes as zlib data, decoded in one call and through a decompressing stream:
// only compress_error may come out.
#include <qel/compress.h>

#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto bytes = reinterpret_cast<const char*>(data);
    std::vector<char> out;
    try {
        qel::zlib_inflate(bytes, size, out);
    } catch (const qel::compress_error&) {
    }
    if (size == 0)
        return 0;
    qel::memory_stream source(bytes, size);
    try {
        qel::inflate_stream inflating(source.get_interface(), qel::compress_zlib);
        char piece[4096];
        std::size_t count = 0;
        do {
            inflating.read(piece, sizeof piece, &count);
        } while (count == sizeof piece);
    } catch (const qel::compress_error&) {
    }
    return 0;
}
