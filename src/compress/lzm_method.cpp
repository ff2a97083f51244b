// The lzm method over memory, vectors and streams, on top of the block codec.
#include "compress/byte_io.h"
#include "compress/compress_messages.h"
#include "compress/compress_stream_impl.h"
#include "compress/lzm_block.h"
#include "platform/thread.h"

#include <array>
#include <exception>
#include <string>
#include <thread>

namespace qel {
namespace detail {
namespace {

using header_bytes = std::array<char, lzm_header_size>;

// Encodes one block and writes header and payload with one sink write each.
template <class Sink>
void write_block(lzm_block_encoder& encoder, const char* data, std::size_t size, Sink& sink) {
    std::uint16_t payload_size = encoder.encode(data, size);
    header_bytes header;
    lzm_write_header(header.data(), payload_size);
    sink.write(header.data(), header.size());
    sink.write(encoder.payload().data(), payload_size);
}

template <class Sink> void deflate_memory(const char* data, std::size_t size, Sink& sink) {
    lzm_block_encoder encoder;
    for (std::size_t done = 0; done < size; done += lzm_block_input_limit)
        write_block(encoder, data + done, std::min(lzm_block_input_limit, size - done), sink);
}

template <class Source, class Sink>
void deflate_streamed(Source& source, Sink& sink, std::int64_t limit) {
    lzm_block_encoder encoder;
    std::vector<char> chunk(lzm_block_input_limit);
    std::int64_t done = 0;
    for (;;) {
        std::size_t wanted = next_chunk_size(lzm_block_input_limit, limit, done);
        if (wanted == 0)
            break;
        std::size_t got = source.read(chunk.data(), wanted);
        if (got == 0)
            break;
        write_block(encoder, chunk.data(), got, sink);
        done += static_cast<std::int64_t>(got);
    }
}

// Payload length from a header; a header cut short is padded with zero bytes.
std::size_t payload_size_of(const char* header, std::size_t available) {
    header_bytes padded{};
    std::copy(header, header + std::min(available, padded.size()), padded.begin());
    auto byte = [&](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(padded[i]));
    };
    std::uint32_t word = byte(0) | (byte(1) << 8) | (byte(2) << 16) | (byte(3) << 24);
    if ((word & 0xFFFF) != lzm_magic)
        throw compress_error(compress_messages::lzm_header_not_found, 0);
    return word >> 16;
}

// The payload length of a whole block with a valid header at `at`, or npos.
std::size_t whole_block_at(const char* at, std::size_t available) {
    if (available < lzm_header_size)
        return std::string::npos;
    const auto byte = [&](std::size_t i) {
        return static_cast<std::size_t>(static_cast<unsigned char>(at[i]));
    };
    if ((byte(0) | byte(1) << 8) != lzm_magic)
        return std::string::npos;
    const std::size_t payload_size = byte(2) | byte(3) << 8;
    return payload_size <= available - lzm_header_size ? payload_size : std::string::npos;
}

// Decoded blocks go straight into a vector, or through a work vector into a stream sink.
template <class Sink> class block_output {
public:
    explicit block_output(Sink& sink) : sink_(sink) { work_.reserve(2 * lzm_decode_reserve); }
    void decode(const char* payload, std::size_t size) {
        work_.clear();
        lzm_decode_block(payload, size, work_);
        sink_.write(work_.data(), work_.size());
    }
    void decode_pair(const char* payload1, std::size_t size1, const char* payload2,
                     std::size_t size2) {
        work_.clear();
        std::size_t first_size = std::string::npos;
        try {
            lzm_decode_pair(payload1, size1, payload2, size2, work_, first_size);
        } catch (const compress_error&) {
            // As block by block: a completed first block is written, a faulty block is not.
            if (first_size != std::string::npos)
                sink_.write(work_.data(), first_size);
            throw;
        }
        sink_.write(work_.data(), work_.size());
    }

private:
    Sink& sink_;
    std::vector<char> work_;
};

template <> class block_output<std::vector<char>> {
public:
    explicit block_output(std::vector<char>& out) : out_(out) {}
    void decode(const char* payload, std::size_t size) { lzm_decode_block(payload, size, out_); }
    void decode_pair(const char* payload1, std::size_t size1, const char* payload2,
                     std::size_t size2) {
        std::size_t first_size;
        lzm_decode_pair(payload1, size1, payload2, size2, out_, first_size);
    }

private:
    std::vector<char>& out_;
};

template <class Output> void inflate_memory(const char* data, std::size_t size, Output& output) {
    block_output<Output> blocks(output);
    std::size_t at = 0;
    while (at < size) {
        std::size_t payload_size = payload_size_of(data + at, size - at);
        at += lzm_header_size;
        if (at > size || payload_size > size - at)
            throw compress_error(compress_messages::out_of_input, 0);
        const char* const payload = data + at;
        at += payload_size;
        // A faulty next header is left to the next round, after this block.
        const std::size_t next_size = whole_block_at(data + at, size - at);
        if (next_size != std::string::npos) {
            blocks.decode_pair(payload, payload_size, data + at + lzm_header_size, next_size);
            at += lzm_header_size + next_size;
        } else {
            blocks.decode(payload, payload_size);
        }
    }
}

// Reads the next block's payload from a streamed source; false at the normal end.
template <class Source> bool read_block(Source& source, std::vector<char>& payload) {
    header_bytes header;
    std::size_t got = source.read(header.data(), header.size());
    if (got == 0)
        return false;
    payload.resize(payload_size_of(header.data(), got));
    source.read_exactly(payload.data(), payload.size());
    return true;
}

template <class Source, class Output> void inflate_streamed(Source& source, Output& output) {
    block_output<Output> blocks(output);
    std::vector<char> payload, next;
    while (read_block(source, payload)) {
        // A failure to read the next block counts only once this one is decoded.
        bool paired = false;
        std::exception_ptr next_failure;
        try {
            paired = read_block(source, next);
        } catch (...) {
            next_failure = std::current_exception();
        }
        if (paired) {
            blocks.decode_pair(payload.data(), payload.size(), next.data(), next.size());
            continue;
        }
        blocks.decode(payload.data(), payload.size());
        if (next_failure)
            std::rethrow_exception(next_failure);
        break;
    }
}

class lzm_deflate_stream_impl_ final : public basic_deflate_stream_impl_ {
public:
    explicit lzm_deflate_stream_impl_(IStream& target)
        : basic_deflate_stream_impl_(target, lzm_block_input_limit) {}
    ~lzm_deflate_stream_impl_() override { final_flush_quietly(); }

    // The format needs no terminator, so `finish` changes nothing.
    void deflate_data(const void* data, std::size_t size, bool) override {
        istream_sink sink(*wrapped_);
        auto bytes = static_cast<const char*>(data);
        for (std::size_t done = 0; done < size; done += lzm_block_input_limit)
            write_block(encoder_, bytes + done, std::min(lzm_block_input_limit, size - done), sink);
    }

private:
    lzm_block_encoder encoder_;
};

class lzm_inflate_stream_impl_ final : public basic_inflate_stream_impl_ {
public:
    explicit lzm_inflate_stream_impl_(IStream& source) : basic_inflate_stream_impl_(source) {}
    ~lzm_inflate_stream_impl_() override = default;

    // One block per call.
    bool inflate_data(std::vector<char>& out) override {
        istream_source source(*wrapped_);
        if (!read_block(source, payload_))
            return false;
        lzm_decode_block(payload_.data(), payload_.size(), out);
        return true;
    }

private:
    std::vector<char> payload_;
};

// Threads of the split forms, for `blocks` whole blocks.
std::size_t thread_count(const lzm_options& options, std::size_t blocks) {
    constexpr std::size_t min_blocks_per_thread = 16;
    const std::size_t wanted = options.threads == 0 ? platform::processor_count() : options.threads;
    return std::max<std::size_t>(1, std::min(wanted, blocks / min_blocks_per_thread));
}

// Runs work(0) .. work(count - 1), the first in the calling thread and each other one in a
// thread of its own (in the calling thread too when the system gives no more threads);
// returns what each threw.
template <class Work>
std::vector<std::exception_ptr> run_split(std::size_t count, const Work& work) {
    std::vector<std::exception_ptr> failures(count);
    auto guarded = [&](std::size_t i) {
        try {
            work(i);
        } catch (...) {
            failures[i] = std::current_exception();
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(count);
    std::size_t i = 1;
    try {
        for (; i < count; ++i)
            threads.emplace_back(guarded, i);
    } catch (...) {
        for (; i < count; ++i)
            guarded(i);
    }
    guarded(0);
    for (std::thread& thread : threads)
        thread.join();
    return failures;
}

} // namespace

std::unique_ptr<IStream> make_lzm_deflate_stream(IStream& target) {
    return std::make_unique<lzm_deflate_stream_impl_>(target);
}

std::unique_ptr<IStream> make_lzm_inflate_stream(IStream& source) {
    return std::make_unique<lzm_inflate_stream_impl_>(source);
}

} // namespace detail

using namespace detail;

void lzm_deflate(const char* data, std::size_t size, std::vector<char>& out) {
    vector_overwrite_sink sink(out);
    deflate_memory(data, size, sink);
}
void lzm_deflate(const std::vector<char>& in, std::vector<char>& out) {
    lzm_deflate(in.data(), in.size(), out);
}
void lzm_deflate(const char* data, std::size_t size, std::ostream& out) {
    ostream_sink sink(out);
    deflate_memory(data, size, sink);
}
void lzm_deflate(const std::vector<char>& in, std::ostream& out) {
    lzm_deflate(in.data(), in.size(), out);
}
void lzm_deflate(const char* data, std::size_t size, IStream& out) {
    istream_sink sink(out);
    deflate_memory(data, size, sink);
}
void lzm_deflate(const std::vector<char>& in, IStream& out) {
    lzm_deflate(in.data(), in.size(), out);
}
void lzm_deflate(std::istream& in, std::vector<char>& out, std::int64_t size) {
    std_istream_source source(in);
    vector_overwrite_sink sink(out);
    deflate_streamed(source, sink, size);
}
void lzm_deflate(IStream& in, std::vector<char>& out, std::int64_t size) {
    istream_source source(in);
    vector_overwrite_sink sink(out);
    deflate_streamed(source, sink, size);
}
void lzm_deflate(std::istream& in, std::ostream& out, std::int64_t size) {
    std_istream_source source(in);
    ostream_sink sink(out);
    deflate_streamed(source, sink, size);
}
void lzm_deflate(IStream& in, IStream& out, std::int64_t size) {
    istream_source source(in);
    istream_sink sink(out);
    deflate_streamed(source, sink, size);
}

void lzm_inflate(const char* data, std::size_t size, std::vector<char>& out) {
    inflate_memory(data, size, out);
}

void lzm_deflate(const char* data, std::size_t size, std::vector<char>& out,
                 const lzm_options& options) {
    const std::size_t blocks = (size + lzm_block_input_limit - 1) / lzm_block_input_limit;
    const std::size_t count = thread_count(options, blocks);
    if (count == 1)
        return lzm_deflate(data, size, out);
    auto start = [&](std::size_t i) {
        return std::min(size, blocks * i / count * lzm_block_input_limit);
    };
    std::vector<std::vector<char>> parts(count);
    const auto failures = run_split(count, [&](std::size_t i) {
        vector_overwrite_sink part(parts[i]);
        deflate_memory(data + start(i), start(i + 1) - start(i), part);
    });
    // Each part holds the blocks written before its failure, if any.
    vector_overwrite_sink sink(out);
    for (std::size_t i = 0; i < count; ++i) {
        sink.write(parts[i].data(), parts[i].size());
        if (failures[i])
            std::rethrow_exception(failures[i]);
    }
}

void lzm_inflate(const char* data, std::size_t size, std::vector<char>& out,
                 const lzm_options& options) {
    // The whole blocks with valid headers at the start; whatever follows them is left to the
    // single-thread form, which reports it after their bytes.
    std::vector<std::size_t> starts;
    std::size_t whole_end = 0;
    for (std::size_t payload;
         (payload = whole_block_at(data + whole_end, size - whole_end)) != std::string::npos;
         whole_end += lzm_header_size + payload)
        starts.push_back(whole_end);
    const std::size_t count = thread_count(options, starts.size());
    if (count == 1)
        return lzm_inflate(data, size, out);
    auto start = [&](std::size_t i) {
        const std::size_t block = starts.size() * i / count;
        return block < starts.size() ? starts[block] : whole_end;
    };
    // The first part goes straight to `out`.
    std::vector<std::vector<char>> parts(count);
    const auto failures = run_split(count, [&](std::size_t i) {
        inflate_memory(data + start(i), start(i + 1) - start(i), i == 0 ? out : parts[i]);
    });
    for (std::size_t i = 0; i < count; ++i) {
        out.insert(out.end(), parts[i].begin(), parts[i].end());
        if (failures[i])
            std::rethrow_exception(failures[i]);
    }
    if (whole_end != size)
        inflate_memory(data + whole_end, size - whole_end, out);
}
void lzm_inflate(const std::vector<char>& in, std::vector<char>& out) {
    inflate_memory(in.data(), in.size(), out);
}
void lzm_inflate(const char* data, std::size_t size, std::ostream& out) {
    ostream_sink sink(out);
    inflate_memory(data, size, sink);
}
void lzm_inflate(const std::vector<char>& in, std::ostream& out) {
    lzm_inflate(in.data(), in.size(), out);
}
void lzm_inflate(const char* data, std::size_t size, IStream& out) {
    istream_sink sink(out);
    inflate_memory(data, size, sink);
}
void lzm_inflate(const std::vector<char>& in, IStream& out) {
    lzm_inflate(in.data(), in.size(), out);
}
void lzm_inflate(std::istream& in, std::vector<char>& out) {
    std_istream_source source(in);
    inflate_streamed(source, out);
}
void lzm_inflate(IStream& in, std::vector<char>& out) {
    istream_source source(in);
    inflate_streamed(source, out);
}
void lzm_inflate(std::istream& in, std::ostream& out) {
    std_istream_source source(in);
    ostream_sink sink(out);
    inflate_streamed(source, sink);
}
void lzm_inflate(IStream& in, IStream& out) {
    istream_source source(in);
    istream_sink sink(out);
    inflate_streamed(source, sink);
}

} // namespace qel
