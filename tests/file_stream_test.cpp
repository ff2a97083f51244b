// File streams: open modes and their effect on files, flags, positions, sizes, large transfers
// and sharing.
#include "test_support.h"

#include <qel/stream.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <ios>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

using qel::file_stream;
using qel::file_stream_mode;
using qel::file_stream_option;
using qel_test::read_bytes;
using qel_test::temp_dir;
using qel_test::write_bytes;
using namespace std::string_literals;

constexpr int in = std::ios_base::in;
constexpr int out = std::ios_base::out;
constexpr int beg = std::ios_base::beg;
constexpr int cur = std::ios_base::cur;
constexpr int end = std::ios_base::end;

std::streamoff offset(std::fpos<int> pos) {
    return std::streamoff(pos);
}

file_stream_mode flushed(file_stream_mode mode) {
    mode |= file_stream_option::flush_on_close();
    return mode;
}

void write_text(file_stream& s, const std::string& bytes) {
    s.write(bytes.data(), bytes.size());
}

std::string read_text(file_stream& s, std::size_t size) {
    std::string bytes(size, '\0');
    std::size_t count = 12345;
    s.read(bytes.data(), size, &count);
    bytes.resize(count);
    return bytes;
}

// Each mode against an existing 10-byte file and a missing one. On the existing file "AB" is
// written at offset 2 and the whole file read back from the start when the mode reads.
TEST(FileStreamOpen, ModesOnExistingAndMissingFiles) {
    struct expectation {
        const char* label;
        file_stream_mode mode;
        std::int64_t size_after_open; // -1: the stream does not write
        bool readable;
        std::string content;
        bool opens_missing;
    };
    const std::string original = "0123456789";
    const std::string truncated = "\0\0AB"s;
    const std::string appended = original + "AB";
    const std::string updated = "01AB456789";
    const std::vector<expectation> cases = {
        {"read", file_stream_mode::read(), -1, true, original, false},
        {"write", file_stream_mode::write(), 0, false, truncated, true},
        {"create", file_stream_mode::create(), 0, false, truncated, true},
        {"append", file_stream_mode::append(), 10, false, appended, true},
        {"read_write", file_stream_mode::read_write(), 10, true, updated, false},
        {"read_create", file_stream_mode::read_create(), 0, true, truncated, true},
        {"read_append", file_stream_mode::read_append(), 10, true, appended, true},
        {"read+flush", flushed(file_stream_mode::read()), -1, true, original, false},
        {"write+flush", flushed(file_stream_mode::write()), 10, true, updated, false},
        {"create+flush", flushed(file_stream_mode::create()), 0, false, truncated, true},
        {"append+flush", flushed(file_stream_mode::append()), 10, false, appended, true},
        {"read_write+flush", flushed(file_stream_mode::read_write()), 10, true, updated, false},
        {"read_create+flush", flushed(file_stream_mode::read_create()), 0, true, truncated, true},
        {"read_append+flush", flushed(file_stream_mode::read_append()), 10, true, appended, true},
    };
    temp_dir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        auto existing = dir.path("existing.bin");
        write_bytes(existing, original);
        {
            file_stream s(existing.wstring(), c.mode);
            ASSERT_TRUE(s.is_open());
            EXPECT_TRUE(s.ok());
            if (c.size_after_open >= 0) {
                EXPECT_EQ(s.get_size(), c.size_after_open);
                EXPECT_EQ(offset(s.seek(2, beg, out)), 2);
                write_text(s, "AB");
                EXPECT_TRUE(s.ok());
            } else {
                EXPECT_EQ(s.get_size(), 10);
            }
            if (c.readable) {
                EXPECT_EQ(offset(s.seek(0, beg, in)), 0);
                EXPECT_EQ(read_text(s, 64), c.content);
                EXPECT_TRUE(s.eof());
                EXPECT_FALSE(s.error());
            }
        }
        EXPECT_EQ(read_bytes(existing), c.content);

        auto missing = dir.path("missing.bin");
        {
            file_stream s(missing.wstring(), c.mode);
            EXPECT_EQ(s.is_open(), c.opens_missing);
            EXPECT_EQ(s.error(), !c.opens_missing);
        }
        EXPECT_EQ(std::filesystem::exists(missing), c.opens_missing);
        EXPECT_EQ(read_bytes(missing), "");
        std::filesystem::remove(missing);
    }
}

TEST(FileStreamOpen, FailuresLeaveAClosedStreamInError) {
    temp_dir dir;
    std::filesystem::create_directory(dir.path("folder"));
    const std::vector<std::pair<std::wstring, file_stream_mode>> failing = {
        {dir.wide("missing.txt"), file_stream_mode::read()},
        {dir.wide("folder"), file_stream_mode::read()},
        {dir.wide("folder"), file_stream_mode::create()},
        {dir.wide("folder"), file_stream_mode::read_write()},
        {(dir.path("nowhere") / "file.txt").wstring(), file_stream_mode::create()},
        {(dir.path("nowhere") / "file.txt").wstring(), file_stream_mode::append()},
        {L"", file_stream_mode::read()},
        {L"", file_stream_mode::create()},
    };
    for (const auto& [name, mode] : failing) {
        file_stream s(name, mode);
        EXPECT_FALSE(s.is_open());
        EXPECT_TRUE(s.error());
        EXPECT_EQ(s.get_size(), -1);
        EXPECT_EQ(offset(s.seek(0, beg, in)), -1);
    }
    EXPECT_FALSE(std::filesystem::exists(dir.path("nowhere")));
    EXPECT_TRUE(std::filesystem::is_directory(dir.path("folder")));

    auto factory_made = qel::file_stream_factory(dir.wide("missing.txt"), file_stream_mode::read());
    ASSERT_NE(factory_made, nullptr);
    EXPECT_FALSE(factory_made->is_open());
    EXPECT_TRUE(factory_made->error());
}

TEST(FileStreamFlags, FailedCallsBlockEverythingUntilReset) {
    temp_dir dir;
    write_bytes(dir.path("f"), "abc");
    file_stream s(dir.wide("f"), file_stream_mode::read_write());
    EXPECT_EQ(read_text(s, 10), "abc");
    EXPECT_TRUE(s.eof());
    EXPECT_FALSE(s.error());
    write_text(s, "xyz"); // does nothing, adds bad
    EXPECT_TRUE(s.error());
    EXPECT_EQ(s.get_size(), 3);
    EXPECT_EQ(offset(s.seek(0, beg, in)), 0); // seeks work regardless of the flags
    EXPECT_EQ(read_text(s, 3), "");           // still blocked
    EXPECT_EQ(s.get(), 0);
    s.reset();
    EXPECT_EQ(read_text(s, 3), "abc");
    EXPECT_TRUE(s.ok()); // reading exactly what is there is not the end
    EXPECT_EQ(s.get(), 0);
    EXPECT_TRUE(s.eof());
    EXPECT_FALSE(s.error());
    s.close();
    EXPECT_EQ(read_bytes(dir.path("f")), "abc");

    // A closed stream reads nothing and fails every write; a read-only one never writes, a
    // write-only one never reads.
    file_stream closed(dir.wide("missing"), file_stream_mode::read());
    closed.reset();
    EXPECT_EQ(read_text(closed, 4), "");
    EXPECT_TRUE(closed.eof());
    EXPECT_FALSE(closed.error());
    closed.reset();
    closed.put('a');
    EXPECT_TRUE(closed.error());
    file_stream reader(dir.wide("f"), file_stream_mode::read());
    write_text(reader, "zz");
    EXPECT_TRUE(reader.error());
    file_stream appender(dir.wide("f"), file_stream_mode::append());
    EXPECT_EQ(read_text(appender, 3), "");
    EXPECT_TRUE(appender.eof());
    appender.reset();
    write_text(appender, "d");
    appender.close();
    reader.close();
    EXPECT_EQ(read_bytes(dir.path("f")), "abcd");
    EXPECT_FALSE(std::filesystem::exists(dir.path("missing")));
}

TEST(FileStreamPosition, GetSizeCountsPendingOutputAndKeepsThePosition) {
    temp_dir dir;
    file_stream s(dir.wide("f"), file_stream_mode::create());
    EXPECT_EQ(s.get_size(), 0);
    write_text(s, "abc");
    EXPECT_EQ(s.get_size(), 3);
    EXPECT_EQ(offset(s.get_pos(out)), 3);
    EXPECT_EQ(offset(s.seek(1, beg, out)), 1);
    EXPECT_EQ(s.get_size(), 3);
    EXPECT_EQ(offset(s.get_pos(out)), 1);
    write_text(s, "wxyz");
    EXPECT_EQ(s.get_size(), 5);
    EXPECT_EQ(offset(s.get_pos(out)), 5);
    s.close();
    EXPECT_EQ(s.get_size(), -1);
    EXPECT_EQ(read_bytes(dir.path("f")), "awxyz");
}

TEST(FileStreamPosition, SeekIgnoresModeAndMayPassTheEnd) {
    temp_dir dir;
    file_stream s(dir.wide("f"), file_stream_mode::read_create());
    write_text(s, "abc");
    EXPECT_EQ(offset(s.seek(10, beg, in)), 10);
    EXPECT_EQ(offset(s.get_pos(out)), 10);
    EXPECT_EQ(offset(s.get_pos(in | out)), 10);
    EXPECT_EQ(s.get_size(), 3);
    s.put('x');
    EXPECT_EQ(s.get_size(), 11);

    EXPECT_EQ(offset(s.seek(-2, end, out)), 9);
    EXPECT_EQ(offset(s.seek(-1, cur, in | out)), 8);
    EXPECT_EQ(offset(s.seek(-9, cur, in)), -1);
    EXPECT_EQ(offset(s.seek(-12, end, out)), -1);
    constexpr auto most = std::numeric_limits<std::streamoff>::max();
    EXPECT_EQ(offset(s.seek(most, end, in)), -1);
    EXPECT_EQ(offset(s.seek(most, cur, in)), -1);
    EXPECT_EQ(offset(s.get_pos(in)), 8);
    EXPECT_TRUE(s.ok());
    EXPECT_EQ(read_text(s, 3), "\0\0x"s);
    EXPECT_EQ(offset(s.seek(0, end, in)), 11);
    s.close();
    EXPECT_EQ(read_bytes(dir.path("f")), "abc\0\0\0\0\0\0\0x"s);
}

TEST(FileStreamPosition, AppendWritesAtTheEndWhereverThePositionIs) {
    temp_dir dir;
    write_bytes(dir.path("a"), "123");
    {
        file_stream s(dir.wide("a"), file_stream_mode::append());
        write_text(s, "a");
        s.seek(0, beg, out);
        write_text(s, "b");
        s.seek(1, beg, out);
        s.put('c');
    }
    EXPECT_EQ(read_bytes(dir.path("a")), "123abc");

    write_bytes(dir.path("ra"), "123");
    {
        file_stream s(dir.wide("ra"), file_stream_mode::read_append());
        EXPECT_EQ(read_text(s, 2), "12");
        write_text(s, "Z");
        s.seek(1, beg, in);
        EXPECT_EQ(read_text(s, 2), "23");
        EXPECT_TRUE(s.ok());
    }
    EXPECT_EQ(read_bytes(dir.path("ra")), "123Z");
}

TEST(FileStreamLifecycle, DefaultCloseAndReopen) {
    temp_dir dir;
    file_stream s;
    EXPECT_FALSE(s.is_open());
    s.close();

    ASSERT_TRUE(s.open(dir.wide("a"), file_stream_mode::create()));
    write_text(s, "first");
    // The old file is closed, so its buffered bytes are on disk, before open returns.
    ASSERT_TRUE(s.open(dir.wide("b"), file_stream_mode::create()));
    EXPECT_EQ(read_bytes(dir.path("a")), "first");
    write_text(s, "second");
    s.flush();
    ASSERT_TRUE(s.open(dir.wide("b"), file_stream_mode::create()));
    EXPECT_EQ(s.get_size(), 0);
    write_text(s, "third");
    ASSERT_TRUE(s.open(dir.wide("b"), file_stream_mode::read()));
    EXPECT_EQ(read_text(s, 20), "third");

    EXPECT_FALSE(s.open(dir.wide("missing"), file_stream_mode::read()));
    EXPECT_FALSE(s.is_open());
    EXPECT_TRUE(s.error());
    EXPECT_TRUE(s.open(dir.wide("a"), file_stream_mode::read_write()));
    EXPECT_TRUE(s.ok());

    write_text(s, "F");
    s.get_interface().close();
    EXPECT_FALSE(s.is_open());
    EXPECT_EQ(read_bytes(dir.path("a")), "First");
    s.close();
    EXPECT_EQ(offset(s.get_pos(in)), -1);
    EXPECT_EQ(read_text(s, 1), "");
    EXPECT_TRUE(s.eof());
}

// Small pieces fill the 32 KiB buffer; large ones go around it. Order and positions must hold.
TEST(FileStreamTransfer, MixedSizesKeepOrderAndPositions) {
    temp_dir dir;
    const std::string data = qel_test::random_bytes(300000, 11);
    const std::vector<std::size_t> pieces = {1, 1000, 40000, 7, 32768, 65536, 3, 100000};
    file_stream s(dir.wide("mix"), file_stream_mode::read_create());
    std::size_t at = 0;
    for (std::size_t piece : pieces) {
        s.write(data.data() + at, piece);
        at += piece;
        EXPECT_EQ(offset(s.get_pos(out)), static_cast<std::streamoff>(at));
    }
    s.write(data.data() + at, data.size() - at);
    s.flush();
    EXPECT_EQ(read_bytes(dir.path("mix")), data);

    s.seek(0, beg, in);
    EXPECT_EQ(s.get(), data[0]);
    EXPECT_EQ(read_text(s, 100000), data.substr(1, 100000));
    EXPECT_EQ(offset(s.get_pos(in)), 100001);
    EXPECT_EQ(read_text(s, 5), data.substr(100001, 5));
    EXPECT_EQ(read_text(s, 50000), data.substr(100006, 50000));
    EXPECT_EQ(offset(s.seek(-10, end, in)), 299990);
    EXPECT_EQ(read_text(s, 50000), data.substr(299990));
    EXPECT_TRUE(s.eof());
}

} // namespace
