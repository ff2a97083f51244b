// The platform file layer: opening, transfer, sharing and attributes, plus the hidden-name rule
// of the file streams as the attributes show it.
#include "platform_support.h"
#include "test_support.h"

#include "platform/file.h"

#include <qel/stream.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace platform = qel::platform;
using platform::file_disposition;
using qel_test::read_bytes;
using qel_test::temp_dir;
using qel_test::write_bytes;
using namespace std::string_literals;

#ifdef _WIN32
constexpr bool windows = true;
#else
constexpr bool windows = false;
#endif

using qel_test::access_of;

// A system file closed at the end of the scope.
class handle {
public:
    handle(const std::wstring& name, const platform::file_access& access)
        : file_(platform::open_file(name, access)) {}
    handle(const handle&) = delete;
    handle& operator=(const handle&) = delete;
    ~handle() {
        if (file_ != platform::no_file)
            platform::close_file(file_);
    }
    platform::native_file get() const { return file_; }
    bool is_open() const { return file_ != platform::no_file; }

private:
    platform::native_file file_;
};

std::string read_rest(platform::native_file file) {
    std::string all;
    char chunk[4096];
    for (std::int64_t n; (n = platform::read_file(file, chunk, sizeof chunk)) > 0;)
        all.append(chunk, static_cast<std::size_t>(n));
    return all;
}

platform::file_attributes attributes(const std::filesystem::path& path) {
    auto found = platform::get_file_attributes(path.wstring());
    EXPECT_TRUE(found.has_value()) << path;
    return found.value_or(platform::file_attributes{});
}

TEST(PlatformFile, Dispositions) {
    temp_dir dir;
    const std::vector<std::tuple<file_disposition, std::string, bool>> cases = {
        {file_disposition::open_existing, "abc", false},
        {file_disposition::open_or_create, "abc", true},
        {file_disposition::create_or_truncate, "", true},
    };
    for (const auto& [disposition, kept, creates] : cases) {
        write_bytes(dir.path("f"), "abc");
        {
            handle h(dir.wide("f"), access_of(true, true, disposition));
            ASSERT_TRUE(h.is_open());
            EXPECT_EQ(read_rest(h.get()), kept);
        }
        EXPECT_EQ(read_bytes(dir.path("f")), kept);
        {
            handle h(dir.wide("missing"), access_of(false, true, disposition));
            EXPECT_EQ(h.is_open(), creates);
        }
        EXPECT_EQ(platform::file_exists(dir.wide("missing")), creates);
        std::filesystem::remove(dir.path("missing"));
    }
}

TEST(PlatformFile, ReadWriteSeek) {
    temp_dir dir;
    handle h(dir.wide("f"), access_of(true, true, file_disposition::create_or_truncate));
    ASSERT_TRUE(h.is_open());
    EXPECT_TRUE(platform::write_file(h.get(), "hello world", 11));
    EXPECT_EQ(platform::seek_file(h.get(), 0, platform::seek_origin::current), 11);
    EXPECT_EQ(platform::seek_file(h.get(), 0, platform::seek_origin::begin), 0);
    char buffer[8] = {};
    EXPECT_EQ(platform::read_file(h.get(), buffer, 5), 5);
    EXPECT_EQ(std::string(buffer, 5), "hello");
    EXPECT_EQ(platform::seek_file(h.get(), 1, platform::seek_origin::current), 6);
    EXPECT_EQ(read_rest(h.get()), "world");
    EXPECT_EQ(platform::read_file(h.get(), buffer, sizeof buffer), 0);
    EXPECT_EQ(platform::seek_file(h.get(), -5, platform::seek_origin::end), 6);
    EXPECT_EQ(platform::seek_file(h.get(), -1, platform::seek_origin::begin), -1);
    EXPECT_EQ(platform::seek_file(h.get(), 13, platform::seek_origin::begin), 13);
    EXPECT_TRUE(platform::write_file(h.get(), "!", 1));
    EXPECT_TRUE(platform::commit_file(h.get()));
    EXPECT_EQ(read_bytes(dir.path("f")), "hello world\0\0!"s);
}

TEST(PlatformFile, AppendAndAccessRights) {
    temp_dir dir;
    write_bytes(dir.path("f"), "abc");
    {
        handle h(dir.wide("f"), access_of(false, true, file_disposition::open_or_create, true));
        ASSERT_TRUE(h.is_open());
        EXPECT_EQ(platform::seek_file(h.get(), 0, platform::seek_origin::begin), 0);
        EXPECT_TRUE(platform::write_file(h.get(), "d", 1));
        char c;
        EXPECT_EQ(platform::read_file(h.get(), &c, 1), -1); // not opened for reading
    }
    {
        handle h(dir.wide("f"), access_of(true, false, file_disposition::open_existing));
        ASSERT_TRUE(h.is_open());
        EXPECT_FALSE(platform::write_file(h.get(), "e", 1));
    }
    EXPECT_EQ(read_bytes(dir.path("f")), "abcd");
}

TEST(PlatformFile, OpenFailures) {
    temp_dir dir;
    std::filesystem::create_directory(dir.path("folder"));
    write_bytes(dir.path("f"), "abc");
    auto opens = [](const std::wstring& name, bool read, bool write, file_disposition how) {
        return handle(name, access_of(read, write, how)).is_open();
    };
    EXPECT_FALSE(opens(dir.wide("folder"), true, false, file_disposition::open_existing));
    EXPECT_FALSE(opens(dir.wide("folder"), true, true, file_disposition::open_or_create));
    EXPECT_FALSE(opens(L"", true, true, file_disposition::open_or_create));
    EXPECT_FALSE(opens((dir.path("nowhere") / "f").wstring(), false, true,
                       file_disposition::create_or_truncate));
    EXPECT_FALSE(opens(dir.wide("f"), false, false, file_disposition::create_or_truncate));
    EXPECT_FALSE(std::filesystem::exists(dir.path("nowhere")));
    EXPECT_EQ(read_bytes(dir.path("f")), "abc");

    // The system's reason is kept: a missing file is errno ENOENT and Windows's
    // ERROR_FILE_NOT_FOUND, both 2; a success leaves the code alone.
    std::error_code error;
    EXPECT_EQ(platform::open_file(dir.wide("missing"),
                                  access_of(true, false, file_disposition::open_existing), &error),
              platform::no_file);
    EXPECT_EQ(error.value(), 2);
    EXPECT_FALSE(platform::get_file_attributes(dir.wide("missing"), &error));
    EXPECT_EQ(error.value(), 2);
    std::error_code untouched;
    EXPECT_TRUE(platform::get_file_attributes(dir.wide("f"), &untouched));
    EXPECT_FALSE(untouched);
}

TEST(PlatformFile, SharedWithOtherOpeners) {
    temp_dir dir;
    const auto update = access_of(true, true, file_disposition::open_or_create);
    {
        handle first(dir.wide("f"), update);
        handle second(dir.wide("f"), update);
        ASSERT_TRUE(first.is_open());
        ASSERT_TRUE(second.is_open());
        EXPECT_TRUE(platform::write_file(first.get(), "shared", 6));
        EXPECT_EQ(read_rest(second.get()), "shared");
        EXPECT_TRUE(std::filesystem::remove(dir.path("f")));
    }
    EXPECT_FALSE(platform::file_exists(dir.wide("f")));
}

TEST(PlatformAttributes, ExistenceAndKinds) {
    temp_dir dir;
    std::filesystem::create_directory(dir.path("folder"));
    write_bytes(dir.path("f"), "abc");
    EXPECT_TRUE(platform::file_exists(dir.wide("f")));
    EXPECT_FALSE(platform::file_exists(dir.wide("missing")));
    EXPECT_FALSE(platform::file_exists(L""));
    EXPECT_FALSE(platform::get_file_attributes(dir.wide("missing")).has_value());
    EXPECT_TRUE(attributes(dir.path("folder")).directory);
    auto file = attributes(dir.path("f"));
    EXPECT_FALSE(file.directory);
    EXPECT_FALSE(file.hidden);
    EXPECT_FALSE(file.read_only);
}

TEST(PlatformAttributes, Hidden) {
    temp_dir dir;
    write_bytes(dir.path("plain"), "");
    EXPECT_TRUE(platform::set_file_hidden(dir.wide("plain")));
    // Windows stores the attribute; elsewhere a dot name is what hides a file.
    EXPECT_EQ(attributes(dir.path("plain")).hidden, windows);
    EXPECT_TRUE(platform::set_file_hidden(dir.wide("plain")));
    EXPECT_FALSE(platform::set_file_hidden(dir.wide("missing")));

    for (const char* name : {".a", "..x", ".profile"}) {
        write_bytes(dir.path(name), "");
        EXPECT_TRUE(platform::set_file_hidden(dir.wide(name)));
        EXPECT_TRUE(attributes(dir.path(name)).hidden) << name;
    }
    if (!windows) {
        std::filesystem::create_directory(dir.path(".folder"));
        EXPECT_TRUE(attributes(dir.path(".folder")).hidden);
        write_bytes(dir.path(".folder") / "inner", "");
        EXPECT_FALSE(attributes(dir.path(".folder") / "inner").hidden);
    }

    // Changing one attribute keeps the others.
    const std::string hidden = windows ? "plain" : ".a";
    EXPECT_TRUE(platform::set_file_read_only(dir.wide(hidden), true));
    auto both = attributes(dir.path(hidden));
    EXPECT_TRUE(both.hidden);
    EXPECT_TRUE(both.read_only);
    EXPECT_TRUE(platform::set_file_read_only(dir.wide(hidden), false));
    EXPECT_TRUE(attributes(dir.path(hidden)).hidden);
    EXPECT_FALSE(attributes(dir.path(hidden)).read_only);
}

// Only the attribute is checked: an administrator (root) may write read-only files anyway.
TEST(PlatformAttributes, ReadOnly) {
    temp_dir dir;
    write_bytes(dir.path("f"), "abc");
    EXPECT_TRUE(platform::set_file_read_only(dir.wide("f"), true));
    EXPECT_TRUE(attributes(dir.path("f")).read_only);
    EXPECT_TRUE(platform::set_file_read_only(dir.wide("f"), false));
    EXPECT_FALSE(attributes(dir.path("f")).read_only);
    EXPECT_FALSE(platform::set_file_read_only(dir.wide("missing"), true));
    EXPECT_EQ(read_bytes(dir.path("f")), "abc");

    if (!windows) { // read-only is the owner's write bit; clearing adds only that bit
        using std::filesystem::perms;
        auto perms_of = [&] { return std::filesystem::status(dir.path("f")).permissions(); };
        EXPECT_TRUE(platform::set_file_read_only(dir.wide("f"), true));
        EXPECT_EQ(perms_of() & perms::owner_write, perms::none);
        std::filesystem::permissions(dir.path("f"), perms::owner_read | perms::group_read);
        EXPECT_TRUE(attributes(dir.path("f")).read_only);
        EXPECT_TRUE(platform::set_file_read_only(dir.wide("f"), false));
        EXPECT_EQ(perms_of(), perms::owner_read | perms::owner_write | perms::group_read);
        std::filesystem::permissions(dir.path("f"), perms::owner_read | perms::group_write);
        EXPECT_TRUE(attributes(dir.path("f")).read_only);
    }
}

// Writing modes hide files whose base name starts with a dot; ".profile" is all extension.
TEST(FileStreamHiddenRule, DotBaseNamesBecomeHidden) {
    temp_dir dir;
    for (const char* name : {".a.txt", "..x"}) {
        qel::file_stream s(dir.wide(name), qel::file_stream_mode::create());
        ASSERT_TRUE(s.is_open());
        EXPECT_TRUE(attributes(dir.path(name)).hidden) << name;
    }
    std::filesystem::create_directory(dir.path(".d"));
    {
        qel::file_stream s((dir.path(".d") / "plain.txt").wstring(),
                           qel::file_stream_mode::append());
        ASSERT_TRUE(s.is_open());
    }
    EXPECT_FALSE(attributes(dir.path(".d") / "plain.txt").hidden);

    {
        qel::file_stream s(dir.wide(".profile"), qel::file_stream_mode::create());
        ASSERT_TRUE(s.is_open());
    }
    if (windows) {
        // Wine shows every dot name as hidden, so look for a stored attribute under another name.
        std::filesystem::rename(dir.path(".profile"), dir.path("profile"));
        EXPECT_FALSE(attributes(dir.path("profile")).hidden);
    } else {
        EXPECT_TRUE(attributes(dir.path(".profile")).hidden); // the dot name itself
    }
}

} // namespace
