#include "test_support.h"

#include <qel/datetime.h>
#include <qel/log.h>
#include <qel/text_encoding.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace {

using qel_test::read_bytes;

#ifdef _WIN32
const std::string eol = "\r\n";
#else
const std::string eol = "\n";
#endif

// A fixed prefix makes whole files comparable; the switches test the other slots.
struct test_traits final : qel::ILogTraits {
    bool enabled = true;
    bool throw_in_prefix = false;
    mutable int ended = 0;
    bool is_enabled(qel::ILogFileStream&) const override { return enabled; }
    void on_record_end(qel::ILogFileStream& s) const override {
        ended += s.is_record_open() ? 100 : 1;
    }
    void to_narrow(const wchar_t* text, std::uint64_t length, std::string& out) const override {
        out.assign(text, text + length); // ASCII only here
    }
    void write_prefix(std::ostream& out) const override {
        if (throw_in_prefix)
            throw std::runtime_error("prefix");
        out << "P";
    }
};

// One whole record.
template <typename Text> void put(qel::ILogFileStream& log, const Text& text) {
    qel::log_record record(log);
    log << text;
}

struct LogTest : ::testing::Test {
    qel_test::temp_dir dir;
    test_traits traits;
    std::unique_ptr<qel::ILogFileStream>
    open(const std::string& name, const std::wstring& header = L"", bool prefix = true) {
        return qel::log_file_stream_factory(dir.wide(name), header, prefix, &traits);
    }
};

TEST_F(LogTest, RecordsHaveTheLayoutAndEveryTextForm) {
    auto log = open("a.log", L"Service log");
    EXPECT_FALSE(std::filesystem::exists(dir.path("a.log"))); // creating touches nothing
    {
        qel::log_record r(*log);
        *log << std::string("s") << "p" << 'c' << std::wstring(L"W") << L"w" << L'x';
    }
    put(*log, "two\nlines");
    log->set_prefix_enabled(false);
    put(*log, "bare");
    auto again = open("a.log", L"Service log"); // an existing file gets no second header
    put(*again, "more");
    EXPECT_EQ(read_bytes(dir.path("a.log")), "Service log" + eol + "P\tspcWwx" + eol + "P\ttwo" +
                                                 eol + "lines" + eol + "bare" + eol + "P\tmore" +
                                                 eol);
    EXPECT_EQ(traits.ended, 4); // called after the close, once per record
}

TEST_F(LogTest, DefaultTraitsPrefixDateTabTime) {
    auto masks = [](const qel::timestamp& t) {
        return qel::to_string(t, "dd.mm.yyyy", '.', '\t', "hh:mm:ss:ii", ':');
    };
    auto log = qel::log_file_stream_factory(dir.wide("d.log"));
    auto before = masks(qel::get_system_clock_timestamp());
    put(*log, L"caf\u00e9");
    auto after = masks(qel::get_system_clock_timestamp());
    std::string narrow, text = read_bytes(dir.path("d.log"));
    qel::wide_to_char(L"caf\u00e9", narrow, qel::text_encoding());
    ASSERT_EQ(text.size(), 23 + narrow.size() + eol.size());
    EXPECT_GE(text.substr(0, 22), before);
    EXPECT_LE(text.substr(0, 22), after);
    EXPECT_EQ(text.substr(22), "\t" + narrow + eol);
}

TEST_F(LogTest, RefusedRecordsWriteNothing) {
    auto log = open("r.log", L"header");
    *log << "outside"; // no record open
    traits.enabled = false;
    qel::log_record refused(*log);
    *log << "ignored";
    EXPECT_FALSE(refused.is_active() || refused || log->is_record_open());
    EXPECT_FALSE(std::filesystem::exists(dir.path("r.log")));

    auto missing = open("no-such-folder/x.log");
    EXPECT_FALSE(qel::log_record(*missing));
    std::thread([&] {
        missing->lock();
        missing->unlock();
    }).join(); // the lock is free
    EXPECT_FALSE(std::filesystem::exists(dir.path("no-such-folder")));
    EXPECT_EQ(traits.ended, 0);
}

TEST_F(LogTest, NestedMovedAndRedirectedRecords) {
    auto log = open("n.log", L"", false);
    {
        qel::log_record outer(*log);
        *log << "outer ";
        { EXPECT_FALSE(qel::log_record(*log)); }
        log->set_filename(dir.wide("m.log")); // only the next record goes there
        qel::log_record moved(std::move(outer));
        EXPECT_TRUE(moved && !outer);
        *log << "whole";
    }
    put(*log, "next");
    EXPECT_EQ(read_bytes(dir.path("n.log")), "outer whole" + eol);
    EXPECT_EQ(read_bytes(dir.path("m.log")), "next" + eol);
}

TEST_F(LogTest, ClearAndFilesChangedBetweenRecords) {
    auto log = open("c.log", L"H", false);
    log->clear();
    EXPECT_EQ(read_bytes(dir.path("c.log")), ""); // created empty, so no header follows
    put(*log, "1");
    std::filesystem::rename(dir.path("c.log"), dir.path("moved.log"));
    put(*log, "2");
    std::filesystem::remove(dir.path("c.log"));
    put(*log, "3");
    EXPECT_EQ(read_bytes(dir.path("moved.log")), "1" + eol);
    EXPECT_EQ(read_bytes(dir.path("c.log")), "H" + eol + "3" + eol);
    log->clear();
    EXPECT_EQ(read_bytes(dir.path("c.log")), "");

    // A log this process may write but not read is appended to, never emptied.
    qel_test::write_bytes(dir.path("w.log"), "old" + eol);
    std::filesystem::permissions(dir.path("w.log"), std::filesystem::perms::owner_write);
    log->set_filename(dir.wide("w.log"));
    put(*log, "new");
    std::filesystem::permissions(dir.path("w.log"), std::filesystem::perms::owner_all);
    EXPECT_EQ(read_bytes(dir.path("w.log")), "old" + eol + "new" + eol);
}

TEST_F(LogTest, ThrowingTraitsLeaveNoRecordOpen) {
    auto log = open("t.log");
    traits.throw_in_prefix = true;
    EXPECT_THROW(qel::log_record r(*log), std::runtime_error);
    traits.throw_in_prefix = false;
    std::thread([&] { put(*log, "after"); }).join();
    EXPECT_EQ(read_bytes(dir.path("t.log")), "P\tafter" + eol);
}

TEST_F(LogTest, ASecondThreadWaitsForTheRecord) {
    auto log = open("b.log", L"", false);
    std::atomic<bool> done{false};
    std::thread other;
    {
        qel::log_record r(*log);
        other = std::thread([&] {
            qel::log_record r2(*log);
            *log << "B";
            done = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_FALSE(done);
        *log << "A";
    }
    other.join();
    EXPECT_EQ(read_bytes(dir.path("b.log")), "A" + eol + "B" + eol);
}

TEST_F(LogTest, ThreadsWriteWholeRecordsExactlyOnce) {
    constexpr int threads = 8, records = 10000;
    auto log = qel::log_file_stream_factory(dir.wide("mt.log"));
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&, t] {
            for (int i = 0; i < records; ++i) {
                qel::log_record r(*log);
                *log << "thread " << std::to_string(t) << L" record " << std::to_string(i) << ' '
                     << "end";
            }
        });
    for (auto& th : pool)
        th.join();
    std::vector<int> seen(threads * records, 0);
    std::string text = read_bytes(dir.path("mt.log"));
    std::size_t lines = 0;
    for (std::size_t pos = 0, end; (end = text.find(eol, pos)) != std::string::npos;
         pos = end + eol.size(), ++lines) {
        std::string line = text.substr(pos, end - pos);
        int t = -1, i = -1, used = 0;
        ASSERT_GT(line.size(), 23u);
        for (std::size_t k : {2u, 5u, 13u, 16u, 19u})
            ASSERT_TRUE(line[k] == '.' || line[k] == ':') << line;
        ASSERT_TRUE(line[10] == '\t' && line[22] == '\t') << line;
        ASSERT_EQ(std::sscanf(line.c_str() + 23, "thread %d record %d end%n", &t, &i, &used), 2)
            << line;
        ASSERT_TRUE(used == int(line.size()) - 23 && t >= 0 && t < threads && i >= 0 && i < records)
            << line;
        ++seen[std::size_t(t * records + i)];
    }
    EXPECT_EQ(lines, seen.size());
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), threads * records);
}

} // namespace
