// The method-dispatching one-call families.
#include <qel/compress.h>

namespace qel {
namespace {

// Runs the call of the chosen method; an unknown code is refused before any input is read.
template <class Lzm, class Zlib> void by_method(int method, Lzm&& lzm, Zlib&& zlib) {
    switch (method) {
    case compress_lzm:
        return lzm();
    case compress_zlib:
        return zlib();
    default:
        throw detail::compress_bad_method_();
    }
}

} // namespace

void deflate(int method, const char* data, std::size_t size, std::vector<char>& out) {
    by_method(
        method, [&] { lzm_deflate(data, size, out); }, [&] { zlib_deflate(data, size, out); });
}
void deflate(int method, const std::vector<char>& in, std::vector<char>& out) {
    by_method(
        method, [&] { lzm_deflate(in, out); }, [&] { zlib_deflate(in, out); });
}
void deflate(int method, const char* data, std::size_t size, std::ostream& out) {
    by_method(
        method, [&] { lzm_deflate(data, size, out); }, [&] { zlib_deflate(data, size, out); });
}
void deflate(int method, const std::vector<char>& in, std::ostream& out) {
    by_method(
        method, [&] { lzm_deflate(in, out); }, [&] { zlib_deflate(in, out); });
}
void deflate(int method, const char* data, std::size_t size, IStream& out) {
    by_method(
        method, [&] { lzm_deflate(data, size, out); }, [&] { zlib_deflate(data, size, out); });
}
void deflate(int method, const std::vector<char>& in, IStream& out) {
    by_method(
        method, [&] { lzm_deflate(in, out); }, [&] { zlib_deflate(in, out); });
}
void deflate(int method, std::istream& in, std::int64_t size, std::vector<char>& out) {
    by_method(
        method, [&] { lzm_deflate(in, out, size); }, [&] { zlib_deflate(in, out, size); });
}
void deflate(int method, IStream& in, std::vector<char>& out, std::int64_t size) {
    by_method(
        method, [&] { lzm_deflate(in, out, size); }, [&] { zlib_deflate(in, out, size); });
}
void deflate(int method, std::istream& in, std::ostream& out, std::int64_t size) {
    by_method(
        method, [&] { lzm_deflate(in, out, size); }, [&] { zlib_deflate(in, out, size); });
}
void deflate(int method, IStream& in, IStream& out, std::int64_t size) {
    by_method(
        method, [&] { lzm_deflate(in, out, size); }, [&] { zlib_deflate(in, out, size); });
}
void inflate(int method, const char* data, std::size_t size, std::vector<char>& out) {
    by_method(
        method, [&] { lzm_inflate(data, size, out); }, [&] { zlib_inflate(data, size, out); });
}
void inflate(int method, const std::vector<char>& in, std::vector<char>& out) {
    by_method(
        method, [&] { lzm_inflate(in, out); }, [&] { zlib_inflate(in, out); });
}
void inflate(int method, const char* data, std::size_t size, std::ostream& out) {
    by_method(
        method, [&] { lzm_inflate(data, size, out); }, [&] { zlib_inflate(data, size, out); });
}
void inflate(int method, const std::vector<char>& in, std::ostream& out) {
    by_method(
        method, [&] { lzm_inflate(in, out); }, [&] { zlib_inflate(in, out); });
}
void inflate(int method, const char* data, std::size_t size, IStream& out) {
    by_method(
        method, [&] { lzm_inflate(data, size, out); }, [&] { zlib_inflate(data, size, out); });
}
void inflate(int method, const std::vector<char>& in, IStream& out) {
    by_method(
        method, [&] { lzm_inflate(in, out); }, [&] { zlib_inflate(in, out); });
}
void inflate(int method, std::istream& in, std::vector<char>& out) {
    by_method(
        method, [&] { lzm_inflate(in, out); }, [&] { zlib_inflate(in, out); });
}
void inflate(int method, IStream& in, std::vector<char>& out) {
    by_method(
        method, [&] { lzm_inflate(in, out); }, [&] { zlib_inflate(in, out); });
}
void inflate(int method, std::istream& in, std::ostream& out) {
    by_method(
        method, [&] { lzm_inflate(in, out); }, [&] { zlib_inflate(in, out); });
}
void inflate(int method, IStream& in, IStream& out) {
    by_method(
        method, [&] { lzm_inflate(in, out); }, [&] { zlib_inflate(in, out); });
}

} // namespace qel
