// Arbitrary bytes read as a serialization stream, directly and through the lzm
// decompressing stream: every element is visited (strings read, other types skipped) until
// the input ends or fails; only serialize_error and compress_error may come out.
#include <qel/compress.h>
#include <qel/serialize.h>
#include <qel/stream.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace {

void read_all(qel::IStream& source) {
    try {
        qel::in_serialize_stream in(source);
        std::string text;
        for (;;) {
            try {
                in >> text;
            } catch (const qel::serialize_error& e) {
                if (std::strcmp(e.what(), "extracted data type mismatch") != 0)
                    return;
                in.skip();
            }
        }
    } catch (const qel::serialize_error&) {
    } catch (const qel::compress_error&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) // a memory stream of size 0 would read a NUL-terminated string
        return 0;
    {
        qel::memory_stream source(data, size);
        read_all(source.get_interface());
    }
    qel::memory_stream source(data, size);
    auto inflating = qel::inflate_stream_factory(source.get_interface(), qel::compress_lzm);
    read_all(*inflating);
    return 0;
}
