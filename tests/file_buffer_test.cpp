// The file stream buffer in binary and text mode, and the open routine of the file streams.
#include "test_support.h"

#include "platform/file.h"
#include "stream/file_buffer.h"
#include "stream/file_open.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace {

namespace platform = qel::platform;
using qel::detail::file_buffer;
using qel_test::read_bytes;
using qel_test::temp_dir;
using qel_test::write_bytes;
using namespace std::string_literals;

constexpr std::size_t buffer_size = 32 * 1024;

platform::file_access access_of(bool read, bool write, platform::file_disposition disposition,
                                bool append = false) {
    platform::file_access access;
    access.read = read;
    access.write = write;
    access.append = append;
    access.disposition = disposition;
    return access;
}

const platform::file_access reading =
    access_of(true, false, platform::file_disposition::open_existing);
const platform::file_access updating =
    access_of(true, true, platform::file_disposition::open_existing);
const platform::file_access rewriting =
    access_of(true, true, platform::file_disposition::create_or_truncate);

std::string get_n(file_buffer& buffer, std::size_t size) {
    std::string bytes(size, '\0');
    auto got = buffer.sgetn(bytes.data(), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(got));
    return bytes;
}

std::string get_all(file_buffer& buffer) {
    std::string all;
    char chunk[5000];
    for (std::streamsize n; (n = buffer.sgetn(chunk, sizeof chunk)) > 0;)
        all.append(chunk, static_cast<std::size_t>(n));
    return all;
}

void put(file_buffer& buffer, const std::string& bytes) {
    ASSERT_EQ(buffer.sputn(bytes.data(), static_cast<std::streamsize>(bytes.size())),
              static_cast<std::streamsize>(bytes.size()));
}

std::streamoff tell(file_buffer& buffer) {
    return buffer.seek(0, std::ios_base::cur);
}

// What a text-mode write stores for `text`.
std::string with_crlf(const std::string& text) {
    std::string stored;
    for (char c : text) {
        if (c == '\n')
            stored += '\r';
        stored += c;
    }
    return stored;
}

// Reads the whole file in text mode.
std::string read_text_file(const std::filesystem::path& file) {
    file_buffer buffer;
    EXPECT_TRUE(buffer.open(file.wstring(), reading, true, false));
    return get_all(buffer);
}

TEST(FileBufferBinary, BytesAndPositionsPassUnchanged) {
    temp_dir dir;
    const std::string bytes = "a\r\nb\n\x1A\0c\r"s;
    file_buffer buffer;
    ASSERT_TRUE(buffer.open(dir.wide("f"), rewriting, false, false));
    put(buffer, bytes);
    EXPECT_EQ(tell(buffer), 9);
    EXPECT_EQ(buffer.seek(0, std::ios_base::beg), 0);
    EXPECT_EQ(get_n(buffer, 3), "a\r\n");
    EXPECT_EQ(tell(buffer), 3);
    EXPECT_EQ(get_all(buffer), bytes.substr(3));
    EXPECT_TRUE(buffer.close());
    EXPECT_FALSE(buffer.is_open());
    EXPECT_EQ(read_bytes(dir.path("f")), bytes);
}

TEST(FileBufferBinary, ClosedBufferRefusesEverything) {
    temp_dir dir;
    file_buffer buffer;
    EXPECT_FALSE(buffer.open(dir.wide("missing"), reading, false, false));
    EXPECT_FALSE(buffer.is_open());
    EXPECT_EQ(tell(buffer), -1);
    EXPECT_EQ(buffer.sgetc(), std::char_traits<char>::eof());
    EXPECT_EQ(buffer.sputc('a'), std::char_traits<char>::eof());
    EXPECT_EQ(buffer.sputn("abc", 3), 0);
    EXPECT_FALSE(std::filesystem::exists(dir.path("missing")));
}

TEST(FileBufferText, WritingStoresEveryLineFeedAsCrLf) {
    temp_dir dir;
    file_buffer buffer;
    ASSERT_TRUE(buffer.open(dir.wide("t"), rewriting, true, false));
    put(buffer, "a\nb\r\n\n");
    buffer.sputc('\n');
    buffer.sputc('x');
    EXPECT_EQ(tell(buffer), 12);
    EXPECT_TRUE(buffer.close());
    EXPECT_EQ(read_bytes(dir.path("t")), "a\r\nb\r\r\n\r\n\r\nx");
}

TEST(FileBufferText, LargeTextRoundTrip) {
    temp_dir dir;
    std::string text = qel_test::random_bytes(200000, 5);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\x1A')
            text[i] = 'z';
        if (i % 9 == 0)
            text[i] = '\n';
    }
    file_buffer buffer;
    ASSERT_TRUE(buffer.open(dir.wide("t"), rewriting, true, false));
    put(buffer, text.substr(0, 10));
    put(buffer, text.substr(10));
    EXPECT_EQ(tell(buffer), static_cast<std::streamoff>(with_crlf(text).size()));
    EXPECT_TRUE(buffer.close());
    EXPECT_EQ(read_bytes(dir.path("t")), with_crlf(text));
    EXPECT_EQ(read_text_file(dir.path("t")), text);
}

// The first fill reads 32 KiB from where the reader starts, so the CR is the last byte of it.
TEST(FileBufferText, CrLfSplitAcrossTheBufferBoundary) {
    temp_dir dir;
    for (std::streamoff start : {0, 1, 5}) {
        SCOPED_TRACE(start);
        const auto lead = static_cast<std::size_t>(start);
        write_bytes(dir.path("t"), std::string(buffer_size - 1 + lead, 'x') + "\r\nyz");
        file_buffer buffer;
        ASSERT_TRUE(buffer.open(dir.wide("t"), reading, true, false));
        EXPECT_EQ(buffer.seek(start, std::ios_base::beg), start);
        EXPECT_EQ(get_n(buffer, buffer_size - 1), std::string(buffer_size - 1, 'x'));
        EXPECT_EQ(tell(buffer), start + 32767);
        EXPECT_EQ(buffer.sbumpc(), '\n');
        EXPECT_EQ(tell(buffer), start + 32769);
        EXPECT_EQ(get_all(buffer), "yz");

        EXPECT_EQ(buffer.seek(start, std::ios_base::beg), start);
        EXPECT_EQ(get_all(buffer), std::string(buffer_size - 1, 'x') + "\nyz");
    }
}

// Only CR LF becomes LF: a CR before the end, before another CR or at the buffer boundary
// stays. 0x1A ends the input in text mode only.
TEST(FileBufferText, ReadingTurnsCrLfIntoLfAndStopsAtCtrlZ) {
    temp_dir dir;
    const std::string lead(buffer_size - 1, 'x'), far(40000, 'q');
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"a\r\nb\rc\r\r\nd\n\n\r\r", "a\nb\rc\r\nd\n\n\r\r"},
        {"\r", "\r"},
        {lead + "\r", lead + "\r"},
        {lead + "\ry", lead + "\ry"},
        {lead + "\r\r\n", lead + "\r\n"},
        {lead + "x\r\n", lead + "x\n"},
        {"ab\r\n\x1A"
         "cd\r\n",
         "ab\n"},
        {far + "\x1A" + "more", far},
    };
    for (const auto& [stored, text] : cases) {
        write_bytes(dir.path("t"), stored);
        file_buffer buffer;
        ASSERT_TRUE(buffer.open(dir.wide("t"), reading, true, false));
        EXPECT_EQ(get_all(buffer), text) << stored.size();
        EXPECT_EQ(buffer.sgetc(), std::char_traits<char>::eof());
        file_buffer binary;
        ASSERT_TRUE(binary.open(dir.wide("t"), reading, false, false));
        EXPECT_EQ(get_all(binary), stored);
    }
}

TEST(FileBufferText, PositionsAreRawFileOffsets) {
    temp_dir dir;
    write_bytes(dir.path("t"), "a\r\nb\r\r\nc\n");
    file_buffer buffer;
    ASSERT_TRUE(buffer.open(dir.wide("t"), reading, true, false));
    const std::string text = "a\nb\r\nc\n";
    const std::vector<std::streamoff> after = {1, 3, 4, 5, 7, 8, 9};
    for (std::size_t i = 0; i < text.size(); ++i) {
        EXPECT_EQ(buffer.sbumpc(), text[i]) << i;
        EXPECT_EQ(tell(buffer), after[i]) << i;
    }
    EXPECT_EQ(buffer.sgetc(), std::char_traits<char>::eof());

    EXPECT_EQ(buffer.seek(3, std::ios_base::beg), 3);
    EXPECT_EQ(get_all(buffer), "b\r\nc\n");
    EXPECT_EQ(buffer.seek(-2, std::ios_base::end), 7);
    EXPECT_EQ(get_all(buffer), "c\n");
}

TEST(FileBufferText, AppendWritesAtTheEnd) {
    temp_dir dir;
    write_bytes(dir.path("t"), "a\r\n");
    file_buffer buffer;
    ASSERT_TRUE(buffer.open(dir.wide("t"),
                            access_of(true, true, platform::file_disposition::open_or_create, true),
                            true, false));
    put(buffer, "b\n");
    EXPECT_EQ(buffer.seek(0, std::ios_base::beg), 0);
    EXPECT_EQ(get_n(buffer, 2), "a\n");
    put(buffer, "c");
    EXPECT_EQ(buffer.seek(0, std::ios_base::beg), 0);
    put(buffer, "\n");
    EXPECT_TRUE(buffer.close());
    EXPECT_EQ(read_bytes(dir.path("t")), "a\r\nb\r\nc\r\n");
}

} // namespace
