// Serialization of 1,000,000 mixed elements (int32, double, short narrow and wide strings,
// arrays of four int32, dates) with qel3's operators beside msgpack-cxx on the same values:
// writing to bytes, parsing the bytes back into typed values, and the same through an lzm
// compressing stream (msgpack's packer writes into the same kind of stream). Wide strings
// go to msgpack as bin of UTF-16 units, the form qel3 stores. Throughput counts elements.
// A counting allocator reports the peak heap of the serialization streams beyond what was
// allocated before they started, for two sizes of input.
#define MSGPACK_NO_BOOST
#include <qel/compress.h>
#include <qel/serialize.h>
#include <qel/stream.h>

#include <benchmark/benchmark.h>
#include <msgpack.hpp>

#include <malloc.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace {

std::atomic<std::size_t> heap_now{0};
std::atomic<std::size_t> heap_peak{0};

void note_alloc(void* p) {
    if (p == nullptr)
        return;
    const std::size_t now = heap_now += malloc_usable_size(p);
    std::size_t peak = heap_peak.load();
    while (now > peak && !heap_peak.compare_exchange_weak(peak, now)) {
    }
}

} // namespace

void* operator new(std::size_t size) {
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr)
        throw std::bad_alloc();
    note_alloc(p);
    return p;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* p) noexcept {
    if (p != nullptr)
        heap_now -= malloc_usable_size(p);
    std::free(p);
}
void operator delete[](void* p) noexcept {
    operator delete(p);
}
void operator delete(void* p, std::size_t) noexcept {
    operator delete(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    operator delete(p);
}

namespace {

constexpr std::size_t element_count = 1000000;
constexpr int kinds = 6;

struct sample {
    std::vector<int> ints;
    std::vector<double> doubles;
    std::vector<std::string> narrow;
    std::vector<std::wstring> wide;
    std::vector<std::vector<int>> arrays;
    std::vector<qel::date> dates;
};

const sample& values() {
    static const sample s = [] {
        sample out;
        unsigned state = 2024;
        auto next = [&] { return state = state * 1103515245u + 12345u; };
        for (std::size_t i = 0; i < element_count / kinds + 1; ++i) {
            out.ints.push_back(static_cast<int>(next() >> 8) - 1000000);
            out.doubles.push_back(static_cast<double>(next()) / 977.0);
            std::string text = "name" + std::to_string(next() % 100000);
            out.narrow.push_back(text);
            out.wide.push_back(std::wstring(text.begin(), text.end()) + L"\x20AC");
            out.arrays.push_back({static_cast<int>(next() % 1000), 2, 3, static_cast<int>(i)});
            out.dates.push_back(qel::date(693975 + static_cast<int>(next() % 72684u)));
        }
        return out;
    }();
    return s;
}

// The values in their fixed order of kinds, handed to a writer.
template <class Writer> void for_each_value(Writer&& write) {
    const sample& s = values();
    for (std::size_t i = 0, k = 0; i < element_count; ++k) {
        write.int32(s.ints[k]);
        write.real(s.doubles[k]);
        write.narrow(s.narrow[k]);
        write.wide(s.wide[k]);
        write.array(s.arrays[k]);
        write.date(s.dates[k]);
        i += kinds;
    }
}

struct qel_writer {
    qel::out_serialize& out;
    void int32(int v) { out << v; }
    void real(double v) { out << v; }
    void narrow(const std::string& v) { out << v; }
    void wide(const std::wstring& v) { out << v; }
    void array(const std::vector<int>& v) { out.add_int32(v.data(), v.size()); }
    void date(const qel::date& v) { out << v; }
};

// Reads back what qel_writer wrote; the sum keeps the reads from being optimised away.
std::int64_t qel_read_all(const qel::in_serialize& in) {
    std::int64_t sum = 0;
    int i = 0;
    double d = 0;
    std::string s;
    std::wstring w;
    int a[4];
    qel::date day;
    for (std::size_t n = 0; n < element_count; n += kinds) {
        in >> i >> d >> s >> w;
        in.get_int32_array(a, 4);
        in >> day;
        sum += i + static_cast<std::int64_t>(d) + static_cast<std::int64_t>(s.size() + w.size()) +
               a[3] + day.get();
    }
    return sum;
}

template <class Stream> struct msgpack_writer {
    msgpack::packer<Stream>& out;
    std::vector<char> units;
    void int32(int v) { out.pack_int32(v); }
    void real(double v) { out.pack_double(v); }
    void narrow(const std::string& v) {
        out.pack_str(static_cast<std::uint32_t>(v.size()));
        out.pack_str_body(v.data(), static_cast<std::uint32_t>(v.size()));
    }
    void wide(const std::wstring& v) {
        units.resize(2 * v.size());
        for (std::size_t i = 0; i < v.size(); ++i) {
            units[2 * i] = static_cast<char>(v[i] & 0xFF);
            units[2 * i + 1] = static_cast<char>((v[i] >> 8) & 0xFF);
        }
        out.pack_bin(static_cast<std::uint32_t>(units.size()));
        out.pack_bin_body(units.data(), static_cast<std::uint32_t>(units.size()));
    }
    void array(const std::vector<int>& v) {
        out.pack_array(static_cast<std::uint32_t>(v.size()));
        for (int x : v)
            out.pack_int32(x);
    }
    void date(const qel::date& v) { out.pack_int32(v.get()); }
};

// Converts each object to the type that was written, as a typed reader would.
struct msgpack_reader {
    std::int64_t sum = 0;
    std::size_t n = 0;
    std::string s;
    std::wstring w;
    void take(const msgpack::object& o) {
        switch (n++ % kinds) {
        case 0:
        case 5:
            sum += o.as<int>();
            break;
        case 1:
            sum += static_cast<std::int64_t>(o.as<double>());
            break;
        case 2:
            s = o.as<std::string>();
            sum += static_cast<std::int64_t>(s.size());
            break;
        case 3: {
            if (o.type != msgpack::type::BIN)
                throw msgpack::type_error();
            w.resize(o.via.bin.size / 2);
            const auto* p = reinterpret_cast<const unsigned char*>(o.via.bin.ptr);
            for (std::size_t i = 0; i < w.size(); ++i)
                w[i] = static_cast<wchar_t>(p[2 * i] | p[2 * i + 1] << 8);
            sum += static_cast<std::int64_t>(w.size());
            break;
        }
        case 4: {
            if (o.type != msgpack::type::ARRAY || o.via.array.size != 4)
                throw msgpack::type_error();
            int a[4];
            for (int i = 0; i < 4; ++i)
                a[i] = o.via.array.ptr[i].as<int>();
            sum += a[3];
            break;
        }
        }
    }
};

std::vector<char> qel_bytes() {
    qel::out_serialize out;
    for_each_value(qel_writer{out});
    std::vector<char> data;
    out.get_seriated_data(data);
    return data;
}

void qel_write(benchmark::State& state) {
    std::size_t bytes = 0;
    for (auto _ : state) {
        qel::out_serialize out;
        for_each_value(qel_writer{out});
        std::vector<char> data;
        out.get_seriated_data(data);
        bytes = data.size();
        benchmark::DoNotOptimize(data.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * element_count));
    state.counters["bytes"] = static_cast<double>(bytes);
}

void msgpack_write(benchmark::State& state) {
    std::size_t bytes = 0;
    for (auto _ : state) {
        msgpack::sbuffer buffer;
        msgpack::packer<msgpack::sbuffer> packer(buffer);
        for_each_value(msgpack_writer<msgpack::sbuffer>{packer, {}});
        bytes = buffer.size();
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * element_count));
    state.counters["bytes"] = static_cast<double>(bytes);
}

void qel_parse(benchmark::State& state) {
    const std::vector<char> data = qel_bytes();
    for (auto _ : state) {
        qel::in_serialize in(data);
        benchmark::DoNotOptimize(qel_read_all(in));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * element_count));
}

void msgpack_parse(benchmark::State& state) {
    msgpack::sbuffer buffer;
    msgpack::packer<msgpack::sbuffer> packer(buffer);
    for_each_value(msgpack_writer<msgpack::sbuffer>{packer, {}});
    for (auto _ : state) {
        msgpack::unpacker unpacker;
        unpacker.reserve_buffer(buffer.size());
        std::memcpy(unpacker.buffer(), buffer.data(), buffer.size());
        unpacker.buffer_consumed(buffer.size());
        msgpack::object_handle handle;
        msgpack_reader reader;
        while (unpacker.next(handle))
            reader.take(handle.get());
        benchmark::DoNotOptimize(reader.sum);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * element_count));
}

// msgpack's packer writes to anything with write(const char*, size_t).
struct istream_sink {
    qel::IStream& target;
    void write(const char* data, std::size_t size) { target.write(data, size); }
};

qel::memory_stream qel_packed() {
    qel::memory_stream packed;
    {
        auto deflating = qel::deflate_stream_factory(packed.get_interface(), qel::compress_lzm);
        qel::out_serialize_stream out(*deflating);
        for_each_value(qel_writer{out});
    }
    return packed;
}

qel::memory_stream msgpack_packed() {
    qel::memory_stream packed;
    {
        auto deflating = qel::deflate_stream_factory(packed.get_interface(), qel::compress_lzm);
        istream_sink sink{*deflating};
        msgpack::packer<istream_sink> packer(sink);
        for_each_value(msgpack_writer<istream_sink>{packer, {}});
    }
    return packed;
}

void qel_stream_write(benchmark::State& state) {
    for (auto _ : state) {
        qel::memory_stream packed = qel_packed();
        benchmark::DoNotOptimize(packed.get_size());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * element_count));
}

void msgpack_stream_write(benchmark::State& state) {
    for (auto _ : state) {
        qel::memory_stream packed = msgpack_packed();
        benchmark::DoNotOptimize(packed.get_size());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * element_count));
}

void qel_stream_read(benchmark::State& state) {
    qel::memory_stream packed = qel_packed();
    for (auto _ : state) {
        packed.reset();
        packed.seek(0, std::ios_base::beg, std::ios_base::in);
        auto inflating = qel::inflate_stream_factory(packed.get_interface(), qel::compress_lzm);
        qel::in_serialize_stream in(*inflating);
        benchmark::DoNotOptimize(qel_read_all(in));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * element_count));
}

void msgpack_stream_read(benchmark::State& state) {
    qel::memory_stream packed = msgpack_packed();
    constexpr std::size_t piece = 65536;
    for (auto _ : state) {
        packed.reset();
        packed.seek(0, std::ios_base::beg, std::ios_base::in);
        auto inflating = qel::inflate_stream_factory(packed.get_interface(), qel::compress_lzm);
        msgpack::unpacker unpacker;
        msgpack::object_handle handle;
        msgpack_reader reader;
        std::size_t count = 0;
        do {
            unpacker.reserve_buffer(piece);
            inflating->read(unpacker.buffer(), piece, &count);
            unpacker.buffer_consumed(count);
            while (unpacker.next(handle))
                reader.take(handle.get());
        } while (count == piece);
        benchmark::DoNotOptimize(reader.sum);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * element_count));
}

// Discards what it is given: the stream's own memory is what is measured.
class null_sink final : public qel::IStream {
public:
    void read(void*, std::size_t, std::size_t* count) override {
        if (count != nullptr)
            *count = 0;
    }
    void write(const void*, std::size_t size) override { written += size; }
    char get() override { return 0; }
    void put(char) override { ++written; }
    void flush() override {}
    void reset() override {}
    bool error() const override { return false; }
    bool eof() const override { return false; }
    bool ok() const override { return true; }
    std::fpos<int> seek(std::fpos<int>, int, int) override { return std::fpos<int>(-1); }
    std::fpos<int> get_pos(int) override { return std::fpos<int>(-1); }
    std::int64_t get_size() override { return -1; }
    std::uint64_t written = 0;
};

// Peak heap beyond the starting point while `rounds` x 1,000,000 elements are written to a
// discarding target through lzm, and while they are read back from memory.
void qel_stream_peak_memory(benchmark::State& state) {
    const auto rounds = static_cast<int>(state.range(0));
    double write_peak = 0;
    double read_peak = 0;
    for (auto _ : state) {
        values();
        null_sink sink;
        heap_peak = heap_now.load();
        std::size_t base = heap_now;
        {
            auto deflating = qel::deflate_stream_factory(sink, qel::compress_lzm);
            qel::out_serialize_stream out(*deflating);
            for (int r = 0; r < rounds; ++r)
                for_each_value(qel_writer{out});
        }
        write_peak = static_cast<double>(heap_peak - base);

        qel::memory_stream packed;
        {
            auto deflating = qel::deflate_stream_factory(packed.get_interface(), qel::compress_lzm);
            qel::out_serialize_stream out(*deflating);
            for (int r = 0; r < rounds; ++r)
                for_each_value(qel_writer{out});
        }
        packed.seek(0, std::ios_base::beg, std::ios_base::in);
        base = heap_now;
        heap_peak = base;
        {
            auto inflating = qel::inflate_stream_factory(packed.get_interface(), qel::compress_lzm);
            qel::in_serialize_stream in(*inflating);
            for (int r = 0; r < rounds; ++r)
                benchmark::DoNotOptimize(qel_read_all(in));
        }
        read_peak = static_cast<double>(heap_peak - base);
    }
    state.counters["elements"] = static_cast<double>(rounds) * element_count;
    state.counters["write_peak_KiB"] = write_peak / 1024;
    state.counters["read_peak_KiB"] = read_peak / 1024;
}

} // namespace

BENCHMARK(qel_write)->Unit(benchmark::kMillisecond);
BENCHMARK(msgpack_write)->Unit(benchmark::kMillisecond);
BENCHMARK(qel_parse)->Unit(benchmark::kMillisecond);
BENCHMARK(msgpack_parse)->Unit(benchmark::kMillisecond);
BENCHMARK(qel_stream_write)->Unit(benchmark::kMillisecond);
BENCHMARK(msgpack_stream_write)->Unit(benchmark::kMillisecond);
BENCHMARK(qel_stream_read)->Unit(benchmark::kMillisecond);
BENCHMARK(msgpack_stream_read)->Unit(benchmark::kMillisecond);
BENCHMARK(qel_stream_peak_memory)->Arg(1)->Arg(4)->Iterations(1)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
