#include "test_support.h"

#include <qel/fs.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace {

using qel_test::on_windows;
using qel_test::temp_dir;

// Expectations are written with backslashes; elsewhere the library writes slashes.
std::wstring n(const std::wstring& text) {
    std::wstring out = text;
    if (!on_windows)
        std::replace(out.begin(), out.end(), L'\\', L'/');
    return out;
}

// One expectation where both systems agree, two where Linux roots "\x" or tells case apart.
struct expect {
    const wchar_t* windows;
    const wchar_t* linux = nullptr;
    std::wstring get() const { return n(on_windows || !linux ? windows : linux); }
};

TEST(Path, Canonical) {
    const struct {
        const wchar_t* in;
        expect out;
    } cases[] = {
        {L"C:\\a\\.\\b\\..\\c\\", {L"C:\\a\\c"}},
        {L"C:\\..\\x", {L"C:\\x"}},
        {L"\\\\srv\\share\\.\\x", {L"\\\\srv\\share\\x"}},
        {L"\\\\srv\\..\\x", {L"\\\\srv\\x"}},
        {L"..\\..\\a", {L"..\\..\\a"}},
        {L"a\\..\\..\\b", {L"b"}},
        {L"a/./b//c/", {L"a\\b\\c"}},
        {L"C:\\", {L"C:"}},
        {L"\\a\\b\\", {L"a\\b", L"\\a\\b"}},
        {L"\\..\\a", {L"..\\a", L"\\a"}},
        {L"a\\..", {L""}},
        {L"", {L""}},
    };
    for (const auto& c : cases) {
        const std::wstring once = qel::make_canonical_path(c.in);
        EXPECT_EQ(once, c.out.get()) << c.in;
        EXPECT_EQ(qel::make_canonical_path(once), once) << c.in;
        EXPECT_TRUE(qel::is_canonical_path(once)) << c.in;
    }
    for (const auto* text : {L"..\\..\\a", L"C:\\a", L"", L"\\\\..\\..\\x"})
        EXPECT_TRUE(qel::is_canonical_path(text)) << text;
    for (const auto* text : {L"a\\..\\b", L".\\a", L"C:\\..\\a", L"\\\\.\\x"})
        EXPECT_FALSE(qel::is_canonical_path(text)) << text;
}

TEST(Path, AbsoluteSubAndEqual) {
    for (const auto* text : {L"C:", L"c:\\x", L"\\\\srv\\share", L"//srv/share"})
        EXPECT_TRUE(qel::is_absolute_path(text)) << text;
    for (const auto* text : {L"C:x", L"x", L"", L"..\\x"})
        EXPECT_TRUE(qel::is_relative_path(text)) << text;
    EXPECT_EQ(qel::is_absolute_path(L"\\x"), !on_windows);

    EXPECT_EQ(qel::is_sub_path(L"C:/Dir", L"c:\\dir\\sub\\f.txt"), on_windows);
    EXPECT_TRUE(qel::is_sub_path(L"C:/dir", L"C:\\dir\\sub\\f.txt"));
    EXPECT_FALSE(qel::is_sub_path(L"c:\\dir\\sub", L"c:\\dir"));
    EXPECT_FALSE(qel::is_sub_path(L"c:\\di", L"c:\\dir"));
    EXPECT_TRUE(qel::is_sub_path(L"a\\b\\", L"a/b"));

    EXPECT_EQ(qel::equal_path(L"C:/A", L"c:\\a"), on_windows);
    EXPECT_TRUE(qel::equal_path(L"C:/A", L"C:\\A"));
    EXPECT_FALSE(qel::equal_path(L"a", L"a\\"));
}

TEST(Path, RelativeAndAbsolute) {
    const struct {
        const wchar_t* base;
        const wchar_t* path;
        bool ok;
        expect out;
    } relative[] = {
        {L"C:\\a\\b", L"C:\\a\\c\\D.txt", true, {L"..\\c\\D.txt"}},
        {L"C:\\a\\b", L"c:\\A\\c\\D.txt", true, {L"..\\c\\D.txt", L"c:\\A\\c\\D.txt"}},
        {L"C:\\a\\b", L"C:/a/b", true, {L""}},
        {L"C:\\a\\b", L"D:\\x", true, {L"D:\\x"}},
        {L"\\\\C:\\x", L"C:\\x\\y", true, {L"y"}},
        {L"C:\\a\\b", L"x\\y", false, {L""}},
        {L"a", L"b\\c", true, {L"..\\b\\c"}},
        {L"a\\b", L"a\\b\\c\\d", true, {L"c\\d"}},
        {L"", L"a", false, {L""}},
    };
    for (const auto& c : relative) {
        std::wstring result = L"junk";
        EXPECT_EQ(qel::get_relative_path(c.base, c.path, result), c.ok) << c.base << " " << c.path;
        EXPECT_EQ(result, c.out.get()) << c.base << " " << c.path;
    }
    const struct {
        const wchar_t* base;
        const wchar_t* path;
        bool ok;
        const wchar_t* out;
    } absolute[] = {
        {L"C:\\a\\b", L"..\\x", true, L"C:\\a\\x"},
        {L"C:\\a\\b\\", L"..\\x", true, L"C:\\a\\x"},
        {L"C:\\a\\b", L".\\..\\x", true, L"C:\\a\\x"},
        {L"C:\\a\\b", L"x", true, L"C:\\a\\b\\x"},
        {L"C:\\a\\b\\", L"x", true, L"C:\\a\\b\\x"},
        {L"C:\\a\\b", L"D:\\y", true, L"D:\\y"},
        {L"C:\\a\\b", L"", true, L"C:\\a\\b"},
        {L"C:\\a\\b", L"..\\..\\..\\x", false, L""},
        {L"C:\\a\\b", L"..", false, L""},
        {L"", L"x", false, L""},
    };
    for (const auto& c : absolute) {
        std::wstring result = L"junk";
        EXPECT_EQ(qel::get_absolute_path(c.base, c.path, result), c.ok) << c.base << " " << c.path;
        EXPECT_EQ(result, n(c.out)) << c.base << " " << c.path;
    }
}

TEST(Path, SplitMakeAndConcat) {
    const struct {
        const wchar_t* path;
        const wchar_t* dir;
        const wchar_t* name;
        const wchar_t* ext;
        const wchar_t* extracted_dir;
    } splits[] = {
        {L"C:\\a\\b.txt", L"C:\\a\\", L"b", L".txt", L"C:\\a"},
        {L"C:\\b.txt", L"C:\\", L"b", L".txt", L"C:"},
        {L"C:b.txt", L"C:", L"b", L".txt", L"C:"},
        {L".profile", L"", L"", L".profile", L""},
        {L"a.b.c", L"", L"a.b", L".c", L""},
        {L"d.x/y\\name", L"d.x/y\\", L"name", L"", L"d.x/y"},
    };
    for (const auto& c : splits) {
        std::wstring dir, name, ext;
        qel::split_path(c.path, dir, name, ext);
        EXPECT_EQ(dir + L"|" + name + L"|" + ext, n(c.dir) + L"|" + c.name + L"|" + c.ext);
        EXPECT_EQ(qel::extract_dir(c.path), n(c.extracted_dir)) << c.path;
    }
    EXPECT_EQ(qel::extract_name_ext(L"C:\\a\\b.txt"), L"b.txt");
    EXPECT_EQ(qel::extract_name(L"C:\\a\\b.txt"), L"b");
    EXPECT_EQ(qel::extract_ext(L"C:\\a\\b.txt"), L".txt");
    EXPECT_EQ(qel::force_extension(L"a.txt", L"dat"), L"a.dat");
    EXPECT_EQ(qel::remove_extension(L"x\\a.txt"), n(L"x\\a"));
    EXPECT_EQ(qel::default_extension(L"a", L".ini"), L"a.ini");
    EXPECT_EQ(qel::default_extension(L"a.txt", L".ini"), L"a.txt");
    EXPECT_TRUE(qel::has_extension(L".profile"));
    EXPECT_FALSE(qel::has_extension(L"dir.d\\file"));
    EXPECT_EQ(qel::make_path(L"C:", L"f", L"txt"), n(L"C:\\f.txt"));
    EXPECT_EQ(qel::make_path(L"d\\", L"f", L""), n(L"d\\f"));

    const struct {
        const wchar_t* left;
        const wchar_t* right;
        expect out;
    } joins[] = {
        {L"C:\\a\\", L"\\b", {L"C:\\a\\b"}}, {L"", L"b", {L"b"}},           {L"a", L"", {L"a"}},
        {L"a//", L"//b\\c", {L"a\\b\\c"}},   {L"\\", L"b", {L"b", L"\\b"}},
    };
    for (const auto& c : joins)
        EXPECT_EQ(qel::concat_path(c.left, c.right), c.out.get()) << c.left << " + " << c.right;
}

TEST(Path, DirectoryListsAndNormalForm) {
    temp_dir dir;
    std::filesystem::create_directories(dir.path("conf"));
    qel_test::write_bytes(dir.path("conf/f.ini"), "x");
    const std::wstring base = dir.path().wstring();
    std::wstring found;
    EXPECT_TRUE(qel::find_file_by_dir_list(L"f.ini", base, L".;;conf", L';', found));
    EXPECT_TRUE(qel::equivalent_path(found, dir.wide("conf/f.ini")));
    EXPECT_FALSE(qel::find_file_by_dir_list(L"g.ini", base, L".;conf", L';', found));
    EXPECT_EQ(found, qel::concat_path(base, L"g.ini"));
    EXPECT_FALSE(qel::find_file_by_dir_list(L"conf", base, L".", L';', found)); // a directory
    EXPECT_FALSE(qel::find_file_by_dir_list(L"", base, L".", L';', found));
    EXPECT_EQ(found, L"");

    EXPECT_TRUE(qel::find_dir_by_dir_list(L"conf\\f.ini", base, L"other|conf|.", L'|', found));
    EXPECT_EQ(found, L"conf");
    EXPECT_FALSE(qel::find_dir_by_dir_list(L"x", base, L"other", L'|', found));

    // The stored spelling of the existing part; the missing rest as written.
    std::wstring spelled = qel::concat_path(base, L"CONF\\nosuch\\X");
    qel::normalize_path(spelled);
    EXPECT_TRUE(qel::equal_path(
        spelled, qel::concat_path(base, on_windows ? L"conf\\nosuch\\X" : L"CONF\\nosuch\\X")));
    EXPECT_EQ(spelled.substr(spelled.size() - 13),
              n(on_windows ? L"conf\\nosuch\\X" : L"CONF\\nosuch\\X"));
    for (const auto* text : {L"rel/x", L"\\"})
        EXPECT_EQ(qel::make_normal_path(text), text);

    std::filesystem::create_hard_link(dir.path("conf/f.ini"), dir.path("link.ini"));
    EXPECT_TRUE(qel::equivalent_path(dir.wide("link.ini"), dir.wide("conf/f.ini")));
    EXPECT_FALSE(qel::equivalent_path(dir.wide("conf"), dir.wide("conf/f.ini")));
    EXPECT_FALSE(qel::equivalent_path(dir.wide("missing"), dir.wide("conf/f.ini")));
}

std::set<std::wstring> names_of(qel::file_enumerator&& e) {
    std::set<std::wstring> names;
    for (; e.more(); e.next())
        names.insert(e.filename() + (e.is_dir() ? L"/" : L""));
    return names;
}

TEST(Enumerator, ListsMatchingEntriesWithoutDots) {
    temp_dir dir;
    qel_test::write_bytes(dir.path("a.txt"), "1");
    qel_test::write_bytes(dir.path("b.dat"), "22");
    qel_test::write_bytes(dir.path("c.txt"), "");
    std::filesystem::create_directory(dir.path("sub"));
    const std::wstring base = dir.path().wstring();
    using set = std::set<std::wstring>;
    EXPECT_EQ(names_of(qel::file_enumerator(qel::concat_path(base, L"*"))),
              (set{L"a.txt", L"b.dat", L"c.txt", L"sub/"}));
    EXPECT_EQ(names_of(qel::file_enumerator(base, L"txt")), (set{L"a.txt", L"c.txt"}));
    EXPECT_EQ(names_of(qel::file_enumerator(base, L"")).size(), 4u);
    EXPECT_EQ(names_of(qel::file_enumerator(qel::concat_path(base, L"?.d*"))), (set{L"b.dat"}));
    EXPECT_EQ(names_of(qel::file_enumerator(qel::concat_path(base, L"sub"))), (set{L"sub/"}));

    qel::file_enumerator one(qel::concat_path(base, L"a.*"));
    ASSERT_TRUE(one.more());
    EXPECT_EQ(one.filepath(), qel::concat_path(base, L"a.txt"));
    qel::timestamp written;
    ASSERT_TRUE(qel::fsobj_time(one.filepath(), qel::fsobj_last_write, written));
    EXPECT_EQ(one.time(qel::fsobj_last_write).get(), written.get());
    EXPECT_EQ(one.time(static_cast<qel::E_FSObjTime>(5)).get(), 6311520000000);
    qel::file_enumerator moved(std::move(one));
    EXPECT_FALSE(moved.next());
    EXPECT_TRUE(moved.done());
    EXPECT_FALSE(moved.next());

    qel::file_enumerator missing(qel::concat_path(base, L"nosuch\\*"));
    EXPECT_TRUE(missing.done());
    EXPECT_FALSE(missing.more());
}

TEST(Files, ExistCopyMoveRenameDelete) {
    temp_dir dir;
    const auto p = [&](const char* name) { return dir.wide(name); };
    qel_test::write_bytes(dir.path("a.txt"), "abc");
    EXPECT_TRUE(qel::file_exists(p("a.txt")));
    EXPECT_FALSE(qel::dir_exists(p("a.txt")));
    EXPECT_TRUE(qel::dir_exists(dir.path().wstring()));
    EXPECT_FALSE(qel::file_exists(dir.path().wstring()));
    EXPECT_FALSE(qel::file_exists(p("nosuch")) || qel::dir_exists(p("nosuch")));

    EXPECT_TRUE(qel::file_copy(p("a.txt"), p("b.txt"), false));
    EXPECT_FALSE(qel::file_copy(p("a.txt"), p("b.txt"), false));
    std::filesystem::permissions(dir.path("b.txt"), std::filesystem::perms::owner_read |
                                                        std::filesystem::perms::group_read);
    qel_test::write_bytes(dir.path("a.txt"), "changed");
    EXPECT_TRUE(qel::file_copy(p("a.txt"), p("b.txt"), true));
    EXPECT_EQ(qel_test::read_bytes(dir.path("b.txt")), "changed");
    EXPECT_FALSE(qel::file_copy(p("a.txt"), p("a.txt"), true));
    EXPECT_EQ(qel_test::read_bytes(dir.path("a.txt")), "changed");

    // Copies are hidden exactly when the base name starts with a dot.
    qel::fsobj_attribute_map map;
    EXPECT_TRUE(qel::file_copy(p("a.txt"), p(".hidden.txt"), false));
    ASSERT_TRUE(qel::fsobj_attributes(p(".hidden.txt"), map, 0x1));
    EXPECT_TRUE(map[L"ATTRIBUTES"][L"HIDDEN"].get_bool());
    EXPECT_TRUE(qel::file_copy(p(".hidden.txt"), p("visible.txt"), false));
    ASSERT_TRUE(qel::fsobj_attributes(p("visible.txt"), map, 0x1));
    EXPECT_FALSE(map[L"ATTRIBUTES"][L"HIDDEN"].get_bool());

    EXPECT_TRUE(qel::file_move(p("visible.txt"), p("moved.txt")));
    EXPECT_FALSE(qel::file_exists(p("visible.txt")));
    EXPECT_TRUE(qel::file_move(p("moved.txt"), p("b.txt"))); // replaces
    EXPECT_EQ(qel_test::read_bytes(dir.path("b.txt")), "changed");

    EXPECT_TRUE(qel::file_rename(p("b.txt"), L"c.txt"));
    EXPECT_TRUE(qel::file_exists(p("c.txt")));
    EXPECT_FALSE(qel::file_rename(p("c.txt"), qel::concat_path(p("other"), L"d.txt")));
    std::wstring same_dir = dir.path().wstring() + L"/d.txt";
    if (on_windows)
        std::transform(same_dir.begin(), same_dir.end(), same_dir.begin(), ::towupper);
    EXPECT_TRUE(qel::file_rename(p("c.txt"), same_dir));
    EXPECT_TRUE(qel::file_exists(p("d.txt")));

    std::filesystem::permissions(dir.path("d.txt"), std::filesystem::perms::owner_read);
    EXPECT_TRUE(qel::file_delete(p("d.txt")));
    EXPECT_FALSE(qel::file_exists(p("d.txt")));
    EXPECT_FALSE(qel::file_delete(p("d.txt")));
}

TEST(Files, CompareSizeTimeAndAttributes) {
    temp_dir dir;
    const auto p = [&](const char* name) { return dir.wide(name); };
    const std::string big = qel_test::random_bytes(40000, 7);
    std::string other = big;
    other.back() ^= 1;
    qel_test::write_bytes(dir.path("e1"), "");
    qel_test::write_bytes(dir.path("e2"), "");
    qel_test::write_bytes(dir.path("big1"), big);
    qel_test::write_bytes(dir.path("big2"), big);
    qel_test::write_bytes(dir.path("big3"), other);
    qel_test::write_bytes(dir.path("short"), big.substr(1));
    EXPECT_TRUE(qel::file_compare(p("e1"), p("e2")));
    EXPECT_TRUE(qel::file_compare(p("big1"), p("big2")));
    EXPECT_FALSE(qel::file_compare(p("big1"), p("big3")));
    EXPECT_FALSE(qel::file_compare(p("big1"), p("short")));
    EXPECT_FALSE(qel::file_compare(p("big1"), p("nosuch")));

    std::uint64_t size = 0;
    EXPECT_TRUE(qel::file_size(p("big1"), size));
    EXPECT_EQ(size, 40000u);
    EXPECT_FALSE(qel::file_size(dir.path().wstring(), size));
    EXPECT_FALSE(qel::file_size(p("nosuch"), size));

    qel::timestamp now, written;
    now.put_system_clock();
    ASSERT_TRUE(qel::fsobj_time(p("big1"), qel::fsobj_last_write, written));
    EXPECT_LT(std::abs(written.get() - now.get()), 6000); // local time, not UTC
    EXPECT_TRUE(qel::fsobj_time(p("big1"), qel::fsobj_creation, written));
    EXPECT_FALSE(qel::fsobj_time(p("big1"), static_cast<qel::E_FSObjTime>(3), written));
    EXPECT_FALSE(qel::fsobj_time(p("nosuch"), qel::fsobj_last_access, written));

    qel_test::write_bytes(dir.path("ro"), std::string(2048, 'x'));
    std::filesystem::permissions(dir.path("ro"), std::filesystem::perms::owner_read);
    qel::fsobj_attribute_map map;
    map[L"SIZE"][L"OLD"] = qel::variant(true);
    map[L"OTHER"][L"X"] = qel::variant(1);
    ASSERT_TRUE(qel::fsobj_attributes(p("ro"), map, 0x1 | 0x5));
    EXPECT_EQ(map.size(), 3u); // ATTRIBUTES, SIZE, OTHER: neither TIME nor VERSION
    EXPECT_TRUE(map[L"ATTRIBUTES"][L"READONLY"].get_bool());
    EXPECT_FALSE(map[L"ATTRIBUTES"][L"DIRECTORY"].get_bool());
    EXPECT_EQ(map[L"ATTRIBUTES"].size(), 8u);
    EXPECT_EQ(map[L"SIZE"][L"BYTES"].type(), qel::variant_float);
    EXPECT_EQ(map[L"SIZE"][L"BYTES"].get_double(), 2048.0);
    EXPECT_EQ(map[L"SIZE"][L"KB"].get_double(), 2.0);
    EXPECT_EQ(map[L"SIZE"][L"MB"].get_double(), 0.001953125);
    EXPECT_EQ(map[L"SIZE"].size(), 4u);
    ASSERT_TRUE(qel::fsobj_attributes(dir.path().wstring(), map, 0xF));
    EXPECT_TRUE(map[L"ATTRIBUTES"][L"DIRECTORY"].get_bool());
    EXPECT_EQ(map[L"TIME"].size(), 3u);
    EXPECT_EQ(map[L"TIME"][L"LAST_WRITE"].type(), qel::variant_timestamp);
    EXPECT_EQ(map.count(L"VERSION"), 0u);
    EXPECT_FALSE(qel::fsobj_attributes(p("nosuch"), map, 0xF));
}

TEST(Dirs, CreateDeepSizeCopyDelete) {
    temp_dir dir;
    const auto p = [&](const char* name) { return dir.wide(name); };
    EXPECT_FALSE(qel::dir_create(p("t\\a")));
    EXPECT_TRUE(qel::create_path(p("t\\a/b\\c")));
    EXPECT_TRUE(qel::dir_exists(p("t/a/b/c")));
    EXPECT_TRUE(qel::create_path(p("t\\a\\b\\c\\")));
    EXPECT_TRUE(qel::dir_create(p("t\\e")));
    EXPECT_FALSE(qel::dir_create(p("t\\e")));
    qel_test::write_bytes(dir.path("t/f1"), "1");
    qel_test::write_bytes(dir.path("t/a/f2"), "22");
    qel_test::write_bytes(dir.path("t/a/b/c/f3"), "333");
    EXPECT_FALSE(qel::create_path(p("t\\f1\\x")));

    std::uint64_t size = 0, free = 0;
    EXPECT_TRUE(qel::dir_deep_size(p("t"), size));
    EXPECT_EQ(size, 6u);
    EXPECT_FALSE(qel::dir_deep_size(p("t/f1"), size));
    EXPECT_TRUE(qel::dir_free_size(p("t"), free));
    EXPECT_GT(free, 0u);
    EXPECT_FALSE(qel::dir_free_size(p("t/f1"), free));

    EXPECT_FALSE(qel::dir_deep_copy(p("t"), p("t\\a\\inside"), false));
    EXPECT_FALSE(qel::dir_exists(p("t/a/inside")));
    EXPECT_FALSE(qel::dir_deep_copy(p("t"), p("t"), false));
    ASSERT_TRUE(qel::dir_deep_copy(p("t"), p("u\\v"), false));
    EXPECT_TRUE(qel::dir_deep_size(p("u/v"), size));
    EXPECT_EQ(size, 6u);
    EXPECT_TRUE(qel::dir_exists(p("u/v/e")));
    EXPECT_TRUE(qel::file_compare(p("t/a/b/c/f3"), p("u/v/a/b/c/f3")));
    // An existing file stops a copy without overwrite, which then reports failure.
    qel_test::write_bytes(dir.path("t/a/b/c/f3"), "changed");
    EXPECT_FALSE(qel::dir_deep_copy(p("t"), p("u\\v"), false));
    EXPECT_EQ(qel_test::read_bytes(dir.path("u/v/a/b/c/f3")), "333");
    EXPECT_TRUE(qel::dir_deep_copy(p("t"), p("u\\v"), true));
    EXPECT_EQ(qel_test::read_bytes(dir.path("u/v/a/b/c/f3")), "changed");

    EXPECT_FALSE(qel::dir_delete(p("u\\v")));
    EXPECT_FALSE(qel::dir_deep_delete(p("u/v/f1")));
    EXPECT_TRUE(qel::dir_deep_delete(p("u\\v")));
    EXPECT_FALSE(qel::dir_exists(p("u/v")));
    EXPECT_TRUE(qel::dir_delete(p("u")));
    EXPECT_FALSE(qel::dir_deep_delete(p("u")));
}

TEST(Dirs, CurrentDirectory) {
    temp_dir dir;
    const std::wstring before = qel::get_current_dir();
    ASSERT_FALSE(before.empty());
    ASSERT_TRUE(qel::set_current_dir(dir.path().wstring()));
    EXPECT_TRUE(qel::equivalent_path(qel::get_current_dir(), dir.path().wstring()));
    qel_test::write_bytes(dir.path("here.txt"), "x");
    EXPECT_TRUE(qel::file_exists(L"here.txt"));
    EXPECT_FALSE(qel::set_current_dir(dir.wide("nosuch")));
    EXPECT_TRUE(qel::set_current_dir(before));
}

#ifndef _WIN32
// Links are entries of their own: never followed out of the tree, copied and removed as links.
TEST(Dirs, SymbolicLinksStayLinks) {
    temp_dir dir;
    std::filesystem::create_directories(dir.path("outside"));
    std::filesystem::create_directories(dir.path("tree/sub"));
    qel_test::write_bytes(dir.path("outside/big"), std::string(1000, 'x'));
    qel_test::write_bytes(dir.path("tree/sub/f"), "12");
    std::filesystem::create_directory_symlink(dir.path("outside"), dir.path("tree/out"));
    std::filesystem::create_directory_symlink(dir.path("tree"), dir.path("tree/sub/loop"));
    std::uint64_t size = 0;
    EXPECT_TRUE(qel::dir_deep_size(dir.wide("tree"), size));
    EXPECT_EQ(size, 2u);
    ASSERT_TRUE(qel::dir_deep_copy(dir.wide("tree"), dir.wide("copy"), false));
    EXPECT_TRUE(std::filesystem::is_symlink(dir.path("copy/out")));
    EXPECT_EQ(std::filesystem::read_symlink(dir.path("copy/sub/loop")), dir.path("tree"));
    EXPECT_TRUE(qel::dir_deep_delete(dir.wide("tree")));
    EXPECT_TRUE(qel::dir_deep_delete(dir.wide("copy")));
    EXPECT_EQ(qel_test::read_bytes(dir.path("outside/big")).size(), 1000u);
}
#endif

} // namespace
