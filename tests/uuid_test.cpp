// UUIDs: the text form against a value whose bytes are known, the parser's refusals, memory
// order comparison, generation (random version 4 on both systems) and the serialized words
// byte for byte.
#include <qel/uuid.h>

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

const char* const sample_text = "00112233-4455-6677-8899-aabbccddeeff";
const qel::uuid sample = {
    0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
const qel::uuid marker = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

std::wstring widen(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

TEST(Uuid, TextOfKnownValuesBothWidths) {
    qel::uuid nil;
    qel::init_uuid(nil);
    EXPECT_EQ(qel::uuid_to_wstring(nil), L"00000000-0000-0000-0000-000000000000");
    EXPECT_EQ(qel::uuid_to_string(sample), sample_text);
    std::wstring wide = L"old content";
    qel::uuid_to_str(sample, wide);
    EXPECT_EQ(wide, widen(sample_text));
    std::ostringstream out;
    out << sample;
    EXPECT_EQ(out.str(), sample_text);
    EXPECT_EQ(qel::unique_id(sample).to_wstring(), widen(sample_text));
}

TEST(Uuid, ParsingAcceptsOnlyTheExactForm) {
    struct row {
        std::string text;
        bool ok;
    };
    const row rows[] = {
        {sample_text, true},
        {"00112233-4455-6677-8899-AABBCCDDEEFF", true},
        {"00000000-0000-0000-0000-000000000000", true},
        {"{00112233-4455-6677-8899-aabbccddeeff}", false},
        {"00112233-4455-6677-8899aabbccddeeff0", false},
        {"00112233-4455-6677-8899-aabbccddeef", false},
        {"00112233-4455-6677-8899-aabbccddeeff0", false},
        {"0011223-34455-6677-8899-aabbccddeeff", false},
        {"00112233-4455-6677-8899-aabbccddeefg", false},
        {"00112233-4455-6677-8899-aabbccddee\xC6\x92", false},
        {"", false},
        {std::string(sample_text) + std::string(1, '\0') + "zz", true},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.text);
        qel::uuid narrow = marker;
        qel::uuid wide = marker;
        EXPECT_EQ(qel::uuid_from_str(r.text, narrow), r.ok);
        EXPECT_EQ(qel::uuid_from_str(widen(r.text), wide), r.ok);
        EXPECT_TRUE(qel::is_equal_uuid(narrow, wide));
        if (!r.ok) {
            EXPECT_TRUE(qel::is_equal_uuid(narrow, marker));
        }
    }
    qel::uuid parsed = marker;
    ASSERT_TRUE(qel::uuid_from_str(std::string("00112233-4455-6677-8899-AABBCCDDEEFF"), parsed));
    EXPECT_EQ(std::memcmp(&parsed, &sample, 16), 0);
    ASSERT_TRUE(qel::uuid_from_str(std::string("00000000-0000-0000-0000-000000000000"), parsed));
    EXPECT_TRUE(qel::is_empty_uuid(parsed));
    qel::unique_id id(marker);
    EXPECT_FALSE(id.from_str(std::string("nonsense")));
    EXPECT_TRUE(id.is_equal(qel::unique_id(marker)));
}

TEST(Uuid, ComparesInMemoryOrder) {
    qel::uuid big = {0x00000100, 0, 0, {}};
    qel::uuid small = {0x00000001, 0, 0, {}};
    EXPECT_LT(qel::uuid_compare(big, small), 0); // 00 01 00 00 before 01 00 00 00
    EXPECT_GT(qel::uuid_compare(small, big), 0);
    EXPECT_EQ(qel::uuid_compare(sample, sample), 0);
    EXPECT_LT(qel::unique_id(big).compare(qel::unique_id(small)), 0);
    qel::uuid last_byte = sample;
    last_byte.data4[7] = 0;
    EXPECT_FALSE(qel::is_equal_uuid(last_byte, sample));
    EXPECT_FALSE(qel::is_empty_uuid(qel::uuid{0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}}));
}

TEST(Uuid, GeneratedValuesAreDistinctRandomVersion4) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        qel::uuid value;
        qel::generate_new_uuid(value);
        ASSERT_FALSE(qel::is_empty_uuid(value));
        EXPECT_EQ(value.data3 >> 12, 4);
        EXPECT_EQ(value.data4[0] & 0xC0, 0x80);
        EXPECT_TRUE(seen.insert(qel::uuid_to_string(value)).second);
    }
    qel::unique_id fresh(qel::unique_id_marker_{});
    qel::unique_id nil;
    EXPECT_TRUE(nil.is_empty());
    EXPECT_FALSE(fresh.is_empty());
    qel::unique_id copy = fresh;
    copy.generate_new();
    EXPECT_FALSE(copy.is_equal(fresh));
}

#ifndef _WIN32
// Linux keeps random bytes in reserve; a child must not repeat what its parent generates next.
// (Windows has no fork; its generator keeps no state in the process.)
TEST(Uuid, ForkedChildDrawsFreshValues) {
    qel::uuid before;
    qel::generate_new_uuid(before); // the reserve now holds bytes for the next values
    int pipe_ends[2];
    ASSERT_EQ(::pipe(pipe_ends), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        qel::uuid value;
        qel::generate_new_uuid(value);
        const bool sent = ::write(pipe_ends[1], &value, sizeof value) == sizeof value;
        ::_exit(sent ? 0 : 1);
    }
    qel::uuid mine;
    qel::generate_new_uuid(mine);
    qel::uuid theirs = marker;
    EXPECT_EQ(::read(pipe_ends[0], &theirs, sizeof theirs), static_cast<ssize_t>(sizeof theirs));
    ::close(pipe_ends[0]);
    ::close(pipe_ends[1]);
    ::waitpid(child, nullptr, 0);
    EXPECT_FALSE(qel::is_equal_uuid(mine, theirs));
    EXPECT_FALSE(qel::is_empty_uuid(theirs));
}
#endif

TEST(Uuid, SerializesAsFourLittleEndianWords) {
    qel::out_serialize out;
    out << sample;
    std::vector<char> data;
    out.get_seriated_data(data);
    // Tag 8 (unsigned 32-bit) and the bytes as they lie in memory.
    const unsigned char expected[] = {8, 0x33, 0x22, 0x11, 0x00, 8, 0x55, 0x44, 0x77, 0x66,
                                      8, 0x88, 0x99, 0xAA, 0xBB, 8, 0xCC, 0xDD, 0xEE, 0xFF};
    ASSERT_EQ(data.size(), sizeof expected);
    EXPECT_EQ(std::memcmp(data.data(), expected, sizeof expected), 0);
    qel::in_serialize in(data);
    qel::uuid back = marker;
    in >> back;
    EXPECT_TRUE(qel::is_equal_uuid(back, sample));
}

} // namespace
