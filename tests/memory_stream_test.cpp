// Memory streams: state flags, growth of the dynamic buffer, seeking, freezing, write_to and
// the two forms over a caller's buffer.
#include <qel/stream.h>

#include <gtest/gtest.h>

#include <limits>

#include <algorithm>
#include <cstdint>
#include <ios>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int in = std::ios_base::in;
constexpr int out = std::ios_base::out;
constexpr int in_out = in | out;
constexpr int beg = std::ios_base::beg;
constexpr int cur = std::ios_base::cur;
constexpr int end = std::ios_base::end;

std::streamoff off(std::fpos<int> pos) {
    return static_cast<std::streamoff>(pos);
}

// Reads up to `size` bytes from the read position.
std::string read_some(qel::memory_stream& s, std::size_t size) {
    std::string buffer(size, '\0');
    std::size_t count = size + 1;
    s.read(buffer.data(), size, &count);
    EXPECT_LE(count, size);
    buffer.resize(std::min(count, size));
    return buffer;
}

std::string read_from_start(qel::memory_stream& s, std::size_t size) {
    EXPECT_EQ(off(s.seek(0, beg, in)), 0);
    return read_some(s, size);
}

void write_text(qel::memory_stream& s, const std::string& text) {
    s.write(text.data(), text.size());
}

// A target that records every write and counts any other call.
class recording_target : public qel::IStream {
public:
    std::vector<std::string> writes;
    std::vector<const void*> pointers;
    mutable int other_calls = 0;

    void read(void*, std::size_t, std::size_t* count) override {
        ++other_calls;
        if (count)
            *count = 0;
    }
    void write(const void* data, std::size_t size) override {
        pointers.push_back(data);
        writes.push_back(size == 0 ? std::string()
                                   : std::string(static_cast<const char*>(data), size));
    }
    char get() override { return ++other_calls, '\0'; }
    void put(char) override { ++other_calls; }
    void flush() override { ++other_calls; }
    void reset() override { ++other_calls; }
    bool error() const override { return ++other_calls, false; }
    bool eof() const override { return ++other_calls, false; }
    bool ok() const override { return ++other_calls, true; }
    std::fpos<int> seek(std::fpos<int>, int, int) override { return ++other_calls, -1; }
    std::fpos<int> get_pos(int) override { return ++other_calls, -1; }
    std::int64_t get_size() override { return ++other_calls, 0; }
};

TEST(MemoryStreamTest, ShortReadSetsEndAndBlocksUntilReset) {
    qel::memory_stream s;
    EXPECT_EQ(s.get_size(), 0);
    EXPECT_TRUE(s.ok());
    EXPECT_FALSE(s.error());
    EXPECT_FALSE(s.eof());
    EXPECT_EQ(off(s.get_pos(out)), -1); // no write area before the first write

    write_text(s, "hello");
    EXPECT_EQ(s.get_size(), 5);
    EXPECT_EQ(off(s.get_pos(out)), 5);
    EXPECT_EQ(off(s.get_pos(in_out)), -1);
    EXPECT_EQ(read_from_start(s, 10), "hello");
    EXPECT_TRUE(s.eof());
    EXPECT_FALSE(s.error());
    EXPECT_FALSE(s.ok());

    // With a flag set, reads and writes do nothing; seeking still works and keeps the flags.
    write_text(s, "X");
    EXPECT_TRUE(s.error());
    EXPECT_TRUE(s.eof());
    EXPECT_EQ(s.get_size(), 5);
    EXPECT_EQ(off(s.seek(0, beg, in)), 0);
    EXPECT_TRUE(s.error());
    EXPECT_TRUE(s.eof());
    EXPECT_EQ(read_some(s, 2), "");
    EXPECT_EQ(s.get(), '\0');
    s.put('Y');
    s.flush();
    EXPECT_EQ(s.get_size(), 5);

    s.reset();
    EXPECT_TRUE(s.ok());
    EXPECT_EQ(read_some(s, 2), "he");
    write_text(s, "!");
    EXPECT_TRUE(s.ok());
    EXPECT_EQ(s.get_size(), 6);
    EXPECT_EQ(read_from_start(s, 6), "hello!");
    EXPECT_TRUE(s.ok()); // reading exactly what is there is not the end
}

// A dynamic buffer moves exactly when it grows: 32, 64, 96, 144, 216, 324, 486, ... bytes.
TEST(MemoryStreamTest, DynamicBufferGrowsByHalfAtLeast32) {
    qel::memory_stream s;
    std::string written;
    std::vector<int> moved_at;
    const void* previous = nullptr;
    for (int i = 1; i <= 500; ++i) {
        const char c = static_cast<char>(i * 7);
        s.put(c);
        written += c;
        const void* p = s.lock(); // the buffer start: nothing has been read
        s.unlock();
        if (i > 1 && p != previous)
            moved_at.push_back(i);
        previous = p;
    }
    EXPECT_EQ(moved_at, (std::vector<int>{33, 65, 97, 145, 217, 325, 487}));
    EXPECT_TRUE(s.ok());
    EXPECT_EQ(s.get_size(), 500);
    EXPECT_EQ(read_from_start(s, 500), written);

    // A large write takes the same steps: 100 bytes leave a 144-byte buffer.
    qel::memory_stream big;
    const std::string hundred(100, 'h');
    write_text(big, hundred);
    const void* start = big.lock();
    big.unlock();
    for (int i = 101; i <= 144; ++i)
        big.put('i');
    EXPECT_EQ(big.lock(), start);
    big.unlock();
    big.put('j');
    EXPECT_NE(big.lock(), start);
    big.unlock();
    EXPECT_EQ(read_from_start(big, 200), hundred + std::string(44, 'i') + "j");
}

TEST(MemoryStreamTest, InvalidSeeksFailAndMoveNothing) {
    qel::memory_stream s;
    write_text(s, "hello");
    EXPECT_EQ(s.get(), 'h');

    constexpr auto most = std::numeric_limits<std::streamoff>::max();
    struct row {
        std::streamoff offset;
        int way, mode;
    };
    // cur with both positions never works; no wrap-around past the largest offset.
    for (const row& r :
         {row{6, beg, in}, row{-1, beg, in}, row{1, end, in}, row{-6, end, in}, row{5, cur, in},
          row{-2, cur, in}, row{6, beg, out}, row{1, cur, out}, row{-1, beg, in_out},
          row{0, cur, in_out}, row{0, beg, 0}, row{most, end, in}, row{most, cur, out}})
        EXPECT_EQ(off(s.seek(r.offset, r.way, r.mode)), -1) << r.offset << " " << r.way;
    EXPECT_TRUE(s.ok());
    EXPECT_EQ(off(s.get_pos(in)), 1);
    EXPECT_EQ(off(s.get_pos(out)), 5);
    EXPECT_EQ(s.get_size(), 5);
    EXPECT_EQ(s.get(), 'e');
}

TEST(MemoryStreamTest, SeekMovesTheRequestedPositions) {
    qel::memory_stream s;
    write_text(s, "hello");
    EXPECT_EQ(off(s.seek(0, end, in)), 5);
    EXPECT_EQ(off(s.seek(-5, end, in)), 0);
    EXPECT_EQ(off(s.seek(2, cur, in)), 2);
    EXPECT_EQ(off(s.seek(1, cur, in)), 3);
    EXPECT_EQ(s.get(), 'l');

    // The read position alone: writing continues where it was.
    EXPECT_EQ(off(s.seek(1, beg, in)), 1);
    EXPECT_EQ(off(s.get_pos(out)), 5);
    write_text(s, "!");
    EXPECT_EQ(s.get_size(), 6);

    // The write position alone: the size follows it back, the written bytes stay readable.
    EXPECT_EQ(off(s.seek(-2, cur, out)), 4);
    EXPECT_EQ(s.get_size(), 4);
    EXPECT_EQ(off(s.seek(0, beg, out)), 0);
    EXPECT_EQ(off(s.get_pos(in)), 1);
    write_text(s, "J");
    EXPECT_EQ(s.get_size(), 1);
    EXPECT_EQ(off(s.seek(0, end, in)), 6);
    EXPECT_EQ(read_from_start(s, 10), "Jello!");
    s.reset();

    // Both together.
    EXPECT_EQ(off(s.seek(2, beg, in_out)), 2);
    EXPECT_EQ(off(s.get_pos(in)), 2);
    EXPECT_EQ(off(s.get_pos(out)), 2);
    write_text(s, "LL");
    EXPECT_EQ(s.get(), 'L');
    EXPECT_EQ(off(s.seek(0, end, in_out)), 6);
    EXPECT_EQ(s.get_size(), 6);
    EXPECT_EQ(off(s.seek(0, end, out)), 6);

    // Writing past the old end raises the limit for reads and seeks.
    EXPECT_EQ(off(s.seek(3, beg, out)), 3);
    write_text(s, "p me");
    EXPECT_EQ(off(s.seek(7, beg, in)), 7);
    EXPECT_EQ(off(s.seek(0, end, in)), 7);
    EXPECT_EQ(off(s.seek(8, beg, in)), -1);
    EXPECT_EQ(read_from_start(s, 10), "JeLp me");
}

TEST(MemoryStreamTest, LockFreezesTheBuffer) {
    qel::memory_stream s;
    write_text(s, std::string(32, 'x')); // fills the first buffer exactly
    EXPECT_EQ(s.get(), 'x');
    const char* p = static_cast<const char*>(s.lock());
    EXPECT_EQ(std::string(p, 31), std::string(31, 'x'));

    write_text(s, "ab");
    EXPECT_TRUE(s.error());
    EXPECT_EQ(s.get_size(), 32);
    EXPECT_EQ(s.lock(), static_cast<const void*>(p)); // frozen: the buffer did not move
    s.unlock();
    EXPECT_TRUE(s.error()); // the failed write's flag stays until reset
    s.reset();
    write_text(s, "ab");
    EXPECT_TRUE(s.ok());
    EXPECT_EQ(s.get_size(), 34);

    // Reads work while frozen; the pointer follows the read position.
    qel::memory_stream r;
    write_text(r, "0123456789");
    const char* q = static_cast<const char*>(r.lock());
    EXPECT_EQ(std::string(q, 10), "0123456789");
    EXPECT_EQ(read_some(r, 3), "012");
    EXPECT_TRUE(r.ok());
    EXPECT_EQ(r.lock(), static_cast<const void*>(q + 3)); // locking twice, then one unlock, thaws
    r.unlock();
    write_text(r, "A");
    EXPECT_TRUE(r.ok());
    EXPECT_EQ(read_from_start(r, 20), "0123456789A");
}

TEST(MemoryStreamTest, WriteToHandsOverTheWrittenBytesOnce) {
    qel::memory_stream s;
    write_text(s, "0123456789");
    recording_target target;
    s.write_to(target);
    ASSERT_EQ(target.writes.size(), 1u);
    EXPECT_EQ(target.writes[0], "0123456789");
    EXPECT_EQ(target.other_calls, 0);
    EXPECT_TRUE(s.ok());
    EXPECT_EQ(s.get_size(), 10);

    // The bytes are not copied, and the stream is left unfrozen even if it was locked before.
    const void* locked = s.lock();
    s.write_to(target);
    ASSERT_EQ(target.writes.size(), 2u);
    EXPECT_EQ(target.pointers[1], locked);
    write_text(s, "A");
    EXPECT_TRUE(s.ok());

    // The stream's own flags are neither tested nor changed.
    EXPECT_EQ(read_from_start(s, 20), "0123456789A");
    EXPECT_TRUE(s.eof());
    s.seek(0, beg, in);
    s.write_to(target);
    ASSERT_EQ(target.writes.size(), 3u);
    EXPECT_EQ(target.writes[2], "0123456789A");
    EXPECT_TRUE(s.eof());
    EXPECT_FALSE(s.error());

    // After reads, nothing past the written data is handed out.
    s.reset();
    s.seek(4, beg, in);
    s.write_to(target);
    ASSERT_EQ(target.writes.size(), 4u);
    EXPECT_LE(target.writes[3].size(), 7u);
    EXPECT_EQ(target.writes[3], std::string("456789A").substr(0, target.writes[3].size()));

    // An empty stream still makes the one call, with no bytes.
    qel::memory_stream empty;
    empty.write_to(target);
    ASSERT_EQ(target.writes.size(), 5u);
    EXPECT_EQ(target.writes[4], "");
    EXPECT_EQ(target.other_calls, 0);
}

TEST(MemoryStreamTest, FixedBufferOverwritesFromItsStart) {
    char buffer[8] = {'h', 'e', 'l', 'l', 'o', '#', '#', '#'};
    // Only std::ios_base::app matters in the mode.
    qel::memory_stream s(buffer, 5, in | out);
    EXPECT_EQ(s.lock(), static_cast<const void*>(buffer));
    s.unlock();
    EXPECT_EQ(s.get_size(), 0);
    EXPECT_EQ(off(s.get_pos(out)), 0);
    EXPECT_EQ(off(s.seek(0, end, in)), 5); // the whole buffer is readable at once
    EXPECT_EQ(read_from_start(s, 8), "hello");
    EXPECT_TRUE(s.eof());
    s.reset();

    write_text(s, "HE");
    EXPECT_TRUE(s.ok());
    EXPECT_EQ(s.get_size(), 2);
    EXPECT_EQ(std::string(buffer, 8), "HEllo###");
    write_text(s, "XYZW"); // one byte too many
    EXPECT_TRUE(s.error());
    EXPECT_EQ(std::string(buffer + 5, 3), "###");
    s.reset();
    EXPECT_EQ(read_from_start(s, 8), std::string(buffer, 5));
    s.reset();

    EXPECT_EQ(off(s.seek(6, beg, out)), -1);
    EXPECT_EQ(off(s.seek(0, end, out)), 5);
    EXPECT_EQ(s.get_size(), 5);
    s.put('!');
    EXPECT_TRUE(s.error());
    EXPECT_EQ(buffer[5], '#');
}

TEST(MemoryStreamTest, ReadOnlyFormNeverWrites) {
    // The data() of an empty vector may be null: that is empty text, in both forms.
    qel::memory_stream none(static_cast<const void*>(nullptr), 0);
    qel::memory_stream none_writable(static_cast<void*>(nullptr), 0, 0);
    EXPECT_EQ(none.get_size(), 0);
    EXPECT_EQ(none_writable.get(), 0);
    EXPECT_TRUE(none_writable.eof());

    char data[4] = {'x', 'y', 'z', '#'};
    qel::memory_stream s(static_cast<const void*>(data), 3);
    EXPECT_EQ(read_some(s, 3), "xyz");
    EXPECT_TRUE(s.ok());
    EXPECT_EQ(s.get(), '\0');
    EXPECT_TRUE(s.eof());
    s.reset();
    EXPECT_EQ(s.get_size(), 0);
    EXPECT_EQ(off(s.get_pos(out)), -1);
    EXPECT_EQ(off(s.seek(0, beg, out)), -1);
    EXPECT_EQ(off(s.seek(0, end, in)), 3);
    EXPECT_EQ(off(s.seek(1, beg, in_out)), 1); // no write area to move along
    EXPECT_EQ(s.lock(), static_cast<const void*>(data + 1));
    s.unlock();

    write_text(s, "AB");
    EXPECT_TRUE(s.error());
    s.reset();
    s.put('C');
    EXPECT_TRUE(s.error());
    EXPECT_EQ(std::string(data, 4), "xyz#");
    EXPECT_EQ(s.get_size(), 0);
    s.reset();
    EXPECT_EQ(s.get(), 'y');

    recording_target target;
    s.write_to(target);
    ASSERT_EQ(target.writes.size(), 1u);
    EXPECT_EQ(target.writes[0], "");

    // A size beyond the signed range stands for the largest buffer.
    auto huge =
        qel::memory_stream_factory(static_cast<const void*>(data), static_cast<std::size_t>(-1));
    EXPECT_EQ(off(huge->seek(0, end, in)), 2147483647);
    EXPECT_EQ(off(huge->seek(0, beg, in)), 0);
    EXPECT_EQ(huge->get(), 'x');
}

} // namespace
