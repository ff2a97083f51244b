// File attributes of the platform layer, and the hidden-name rule of the file streams as the
// attributes show it. Opening, transfer and sharing are tested through the file streams.
#include "test_support.h"

#include "platform/file.h"

#include <qel/stream.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace platform = qel::platform;
using qel_test::on_windows;
using qel_test::read_bytes;
using qel_test::temp_dir;
using qel_test::write_bytes;

platform::file_attributes attributes(const std::filesystem::path& path) {
    auto found = platform::get_file_attributes(path.wstring());
    EXPECT_TRUE(found.has_value()) << path;
    return found.value_or(platform::file_attributes{});
}

TEST(PlatformFile, FailuresKeepTheSystemsReason) {
    // A missing file is errno ENOENT and Windows's ERROR_FILE_NOT_FOUND, both 2; a success
    // leaves the code alone.
    temp_dir dir;
    write_bytes(dir.path("f"), "abc");
    std::error_code error;
    platform::file_access read_existing;
    read_existing.read = true;
    EXPECT_EQ(platform::open_file(dir.wide("missing"), read_existing, &error), platform::no_file);
    EXPECT_EQ(error.value(), 2);
    error.clear();
    EXPECT_FALSE(platform::get_file_attributes(dir.wide("missing"), &error));
    EXPECT_EQ(error.value(), 2);
    std::error_code untouched;
    EXPECT_TRUE(platform::get_file_attributes(dir.wide("f"), &untouched));
    EXPECT_FALSE(untouched);
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
    EXPECT_EQ(attributes(dir.path("plain")).hidden, on_windows);
    EXPECT_TRUE(platform::set_file_hidden(dir.wide("plain")));
    EXPECT_FALSE(platform::set_file_hidden(dir.wide("missing")));

    for (const char* name : {".a", "..x", ".profile"}) {
        write_bytes(dir.path(name), "");
        EXPECT_TRUE(platform::set_file_hidden(dir.wide(name)));
        EXPECT_TRUE(attributes(dir.path(name)).hidden) << name;
    }
    if (!on_windows) {
        std::filesystem::create_directory(dir.path(".folder"));
        EXPECT_TRUE(attributes(dir.path(".folder")).hidden);
        write_bytes(dir.path(".folder") / "inner", "");
        EXPECT_FALSE(attributes(dir.path(".folder") / "inner").hidden);
    }

    // Changing one attribute keeps the others.
    const std::string hidden = on_windows ? "plain" : ".a";
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

    if (!on_windows) { // read-only is the owner's write bit; clearing adds only that bit
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
    if (on_windows) {
        // Wine shows every dot name as hidden, so look for a stored attribute under another name.
        std::filesystem::rename(dir.path(".profile"), dir.path("profile"));
        EXPECT_FALSE(attributes(dir.path("profile")).hidden);
    } else {
        EXPECT_TRUE(attributes(dir.path(".profile")).hidden); // the dot name itself
    }
}

} // namespace
