// Profiles: the line rules, typed reads, layout kept on save (byte for byte), erasing,
// prefixes, equality, the visitor, and saves that never lose the previous file.
#include <qel/profile.h>

#include "config/profile_save.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace {

using qel::profile;
using qel_test::read_bytes;
using qel_test::temp_dir;
using qel_test::write_bytes;

const std::string bom = "\xEF\xBB\xBF";

TEST(Profile, LineRules) {
    temp_dir dir;
    write_bytes(dir.path("p.ini"), "lost = 1\r\n[Main]\r\nKey = 5\r\n; note\r\n  ;x=1\r\n"
                                   "[ A ] junk\r\n[B\t=\tc = d ; e\r\n =no\r\n[]\r\nk=\r\n"
                                   "[main]\r\nkey = 6\r\nother=7\r\n");
    profile p(dir.wide("p.ini"));
    p.set_autosave(false);
    struct row {
        const char* section;
        const char* key;
        const char* value; // nullptr: absent
    };
    const row rows[] = {
        {"MAIN", "key", "5"},        {"Main", ";x", "1"}, {"main", "other", "7"},
        {"a", "[B", "c = d ; e"},    {"", "k", ""},       {"", "lost", nullptr},
        {"Main", "; note", nullptr}, {"A", "", nullptr},  {"B", "", nullptr},
    };
    for (const row& r : rows) {
        EXPECT_EQ(p.is_key_exist(r.section, r.key), r.value != nullptr) << r.section << r.key;
        EXPECT_EQ(p.read(r.section, r.key, "?"), r.value ? r.value : "?") << r.section << r.key;
    }
    std::vector<std::wstring> names;
    p.get_sections(names);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"Main", L"A", L""}));
    p.get_section_keys(L"main", names);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"Key", L";x", L"other"}));
}

TEST(Profile, TypedReads) {
    temp_dir dir;
    write_bytes(dir.path("p.ini"), "[S]\r\ny=yes\r\no=On\r\nz=0\r\nt=2\r\nm=maybe\r\nn=-12\r\n"
                                   "big=2147483648\r\nx=12x\r\ne=\r\nf=oFf\r\nbar=a|b\r\n");
    profile p(dir.wide("p.ini"));
    const std::pair<const char*, int> bools[] = {{"y", 1},  {"o", 1}, {"z", 0},  {"t", 1},
                                                 {"m", -1}, {"f", 0}, {"e", -1}, {"none", -1}};
    for (const auto& [key, expected] : bools) {
        EXPECT_EQ(p.read_bool("S", key, true), expected != 0) << key;
        EXPECT_EQ(p.read("S", key, false), expected == 1) << key;
    }
    const std::pair<const char*, int> ints[] = {{"n", -12}, {"big", 99}, {"x", 99},
                                                {"e", 99},  {"y", 99},   {"t", 2}};
    for (const auto& [key, expected] : ints)
        EXPECT_EQ(p.read_int("S", key, 99), expected) << key;
    EXPECT_EQ(p.read_multiline_wstr(L"S", L"bar", L""), L"a\nb");
    EXPECT_EQ(p.read_multiline_str("S", "none", "c|d"), "c\nd");
    EXPECT_EQ(p.read_wstr(std::wstring(L"s"), std::string("BAR"), L"-"), L"a|b");
    p.write_multiline_wstr(L"S", L"ml", L"a\nb");
    EXPECT_EQ(p.read_str("S", "ml", ""), "a|b");
    p.reset_modified();
    p.write("S", "n", -12);
    p.write("s", "Y", "yes");
    EXPECT_FALSE(p.is_modified());
    p.write("S", "y", "Yes");
    EXPECT_TRUE(p.is_modified());
    p.reset_modified();
}

// Each case loads `before`, runs the changes, flushes and compares the file byte for byte.
TEST(Profile, SaveKeepsLayout) {
    struct row {
        const char* name;
        std::string before;
        std::function<void(profile&)> change;
        std::string after;
    };
    const row rows[] = {
        {"value rewritten, comment after it dropped", "[S]\r\nKey   =   old  ; c\r\n",
         [](profile& p) { p.write("s", "key", "new"); }, "[S]\r\nKey   =   new\r\n\r\n"},
        {"new key after the section's last key",
         "; top\r\n[S]\r\na = 1\r\n; mid\r\nb=2\r\n\r\n[T]\r\nc=3",
         [](profile& p) {
             p.write("S", "n1", 1);
             p.write("S", "n2", true);
         },
         "; top\r\n[S]\r\na = 1\r\n; mid\r\nb=2\r\nn1 = 1\r\nn2 = 1\r\n\r\n[T]\r\nc=3\r\n"},
        {"new sections after trailing blanks are dropped", "[S]\r\na=1\r\n  \r\n\t\r\n\r\n",
         [](profile& p) {
             p.write("New", "k", L"v");
             p.write("S", "a", "2");
             p.write("Newer", "x", std::string("y"));
         },
         "[S]\r\na=2\r\n\r\n[New]\r\nk = v\r\n\r\n[Newer]\r\nx = y\r\n"},
        {"section erased with the empty lines above it",
         "[A]\r\na=1\r\n  \r\n\r\n\r\n[S]\r\n; inside\r\nk=1\r\nj=2\r\n; after\r\n[B]\r\nb=1",
         [](profile& p) { EXPECT_TRUE(p.erase_section("s")); },
         "[A]\r\na=1\r\n  \r\n; after\r\n[B]\r\nb=1\r\n"},
        {"key erased, later lines still found", "[S]\r\na=1\r\nb=2\r\n[T]\r\nc=3",
         [](profile& p) {
             EXPECT_TRUE(p.erase("S", "a"));
             EXPECT_FALSE(p.erase("S", "a"));
             p.write("T", "c", "4");
         },
         "[S]\r\nb=2\r\n[T]\r\nc=4\r\n"},
        {"duplicate headers: first occurrence rewritten", "[S]\r\nk=1\r\n[S]\r\nk=2\r\nm=3",
         [](profile& p) {
             EXPECT_EQ(p.read("S", "m", 0), 3);
             p.write("S", "k", "9");
             p.write("S", "m", "8");
         },
         "[S]\r\nk=9\r\n[S]\r\nk=2\r\nm=8\r\n"},
        {"caption after the first line", "[S]\r\nk=1",
         [](profile& p) { p.write_caption(L"one\n\nthree\n"); },
         "[S]\r\n;one\r\n;\r\n;three\r\n;\r\nk=1\r\n"},
        {"caption of an empty profile, then a section", "",
         [](profile& p) {
             p.write_caption(L"c");
             p.write("S", "k", "v");
         },
         bom + ";c\r\n\r\n[S]\r\nk = v\r\n"},
    };
    for (const row& r : rows) {
        temp_dir dir;
        if (!r.before.empty())
            write_bytes(dir.path("p.ini"), r.before);
        profile p(dir.wide("p.ini"));
        r.change(p);
        EXPECT_TRUE(p.is_modified()) << r.name;
        p.flush();
        EXPECT_FALSE(p.is_modified()) << r.name;
        EXPECT_EQ(read_bytes(dir.path("p.ini")), r.after) << r.name;
        // The rebuilt index reads what the file holds.
        EXPECT_TRUE(p.is_equal(dir.wide("p.ini"))) << r.name;
    }
}

TEST(Profile, PrefixesAndSuffix) {
    temp_dir dir;
    write_bytes(dir.path("p.ini"),
                "[Plugin1]\r\n[plugin2]\r\n[Plug]\r\n[Plugz]\r\n[Other]\r\n[S]\r\nPlug=1\r\n"
                "plugA=2\r\nplugB=3\r\nx=4\r\n");
    profile p(dir.wide("p.ini"));
    p.set_autosave(false);
    std::vector<std::wstring> names;
    p.get_sections_for_prefix(L"PLUGIN", names);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"Plugin1", L"plugin2"}));
    // The section equal to the prefix comes first and ends the scan.
    p.get_sections_for_prefix("plug", names);
    EXPECT_TRUE(names.empty());
    EXPECT_TRUE(p.is_section_exist_for_prefix("plugi"));
    p.get_section_keys_for_prefix("S", "PLUG", names);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"plugA", L"plugB"}));
    EXPECT_TRUE(p.is_key_exist_for_prefix("S", "plug"));
    EXPECT_FALSE(p.is_key_exist_for_prefix("S", "plugA"));
    EXPECT_EQ(p.erase_for_prefix("S", "plug"), 2u);
    EXPECT_EQ(p.erase_section_for_prefix("plugin"), 2u);
    p.get_sections(names);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"Plug", L"Plugz", L"Other", L"S"}));

    std::wstring suffix = L"kept";
    EXPECT_TRUE(qel::extract_suffix(L"Plug", L"plugin7", suffix));
    EXPECT_EQ(suffix, L"in7");
    EXPECT_FALSE(qel::extract_suffix(L"Plug", L"PLUG", suffix));
    EXPECT_FALSE(qel::extract_suffix(L"Plug", L"Plan9", suffix));
    EXPECT_EQ(suffix, L"in7");
}

TEST(Profile, OrderEqualityAndFileName) {
    temp_dir dir;
    write_bytes(dir.path("p.ini"), "[B]\r\nk=1\r\n[A]\r\nk=2\r\n");
    profile p(dir.wide("p.ini"));
    p.write("New", "z", 1);
    p.write("B", "a", 1);
    std::vector<std::wstring> names;
    p.get_sections(names);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"New", L"B", L"A"}));
    p.get_section_keys("b", names);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"a", L"k"}));
    EXPECT_FALSE(p.is_equal(dir.wide("p.ini")));
    p.flush();
    EXPECT_TRUE(p.is_equal(dir.wide("p.ini")));
    p.get_sections(names);
    EXPECT_EQ(names, (std::vector<std::wstring>{L"B", L"A", L"New"}));

    // Case of names counts for equality.
    write_bytes(dir.path("q.ini"), "[b]\r\nk=1\r\na=1\r\n[A]\r\nk=2\r\n[New]\r\nz=1\r\n");
    EXPECT_FALSE(p.is_equal(dir.wide("q.ini")));

    p.save_as(dir.wide("copy.ini"), true);
    // New files are UTF-8 with a signature; the existing one kept its charset.
    EXPECT_EQ(read_bytes(dir.path("copy.ini")), bom + read_bytes(dir.path("p.ini")));
    EXPECT_FALSE(p.is_modified());
    p.change_filename(dir.wide("moved.ini"));
    EXPECT_TRUE(p.is_modified());
    EXPECT_EQ(p.get_filename(), dir.wide("moved.ini"));
    p.flush();
    EXPECT_EQ(read_bytes(dir.path("moved.ini")), bom + read_bytes(dir.path("p.ini")));
}

TEST(Profile, AutosaveOnDestruction) {
    temp_dir dir;
    {
        profile p(dir.wide("auto.ini"));
        p.write(L"S", L"k", L"v");
    }
    EXPECT_EQ(read_bytes(dir.path("auto.ini")), bom + "\r\n[S]\r\nk = v\r\n");
    {
        profile p(dir.wide("auto.ini"));
        p.write("S", "k", "w");
        p.set_autosave(false);
    }
    EXPECT_EQ(profile(dir.wide("auto.ini")).read("S", "k", ""), "v");
    // A folder that does not exist: nothing is written and nothing is thrown.
    EXPECT_NO_THROW({
        profile p(dir.wide("missing/x.ini"));
        p.write("S", "k", 1);
    });
    EXPECT_FALSE(std::filesystem::exists(dir.path("missing")));
}

TEST(Profile, SaveKeepsCharsetAndPermissionsAndLeavesNoTemporary) {
    temp_dir dir;
    // UTF-16 LE with its signature stays UTF-16 LE.
    write_bytes(dir.path("u.ini"), qel_test::bytes({0xFF, 0xFE, '[', 0, 'S', 0, ']', 0}));
    {
        profile p(dir.wide("u.ini"));
        p.write("S", "k", "v");
    }
    EXPECT_EQ(read_bytes(dir.path("u.ini")),
              qel_test::bytes({0xFF, 0xFE, '[', 0, 'S', 0, ']', 0, '\r', 0, '\n', 0, 'k', 0,
                               ' ',  0,    '=', 0, ' ', 0, 'v', 0, '\r', 0, '\n', 0}));
    namespace fs = std::filesystem;
    fs::permissions(dir.path("u.ini"),
                    fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    const auto before = fs::status(dir.path("u.ini")).permissions();
    profile p(dir.wide("u.ini"));
    p.write("S", "k", "w");
    p.flush();
    EXPECT_EQ(fs::status(dir.path("u.ini")).permissions(), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 1);
}

TEST(Profile, ReadOnlyTargetIsLeftAlone) {
    temp_dir dir;
    write_bytes(dir.path("ro.ini"), "[S]\r\nk=1\r\n");
    namespace fs = std::filesystem;
    fs::permissions(dir.path("ro.ini"),
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    {
        // An administrator (root) may write read-only files: then the check cannot be made.
        std::ofstream probe(dir.path("ro.ini"), std::ios::app);
        if (probe.is_open())
            GTEST_SKIP() << "read-only files are writable for this user";
    }
    profile p(dir.wide("ro.ini"));
    p.write("S", "k", "2");
    p.flush();
    EXPECT_FALSE(p.is_modified());
    EXPECT_EQ(read_bytes(dir.path("ro.ini")), "[S]\r\nk=1\r\n");
}

// The save process dies once the new content is complete but before it replaces the file.
TEST(ProfileDeathTest, InterruptedSaveKeepsTheOldFile) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    temp_dir dir;
    const std::string old_text = "[S]\r\nk=old\r\n";
    write_bytes(dir.path("p.ini"), old_text);
    const std::wstring name = dir.wide("p.ini");
    EXPECT_EXIT(
        {
            qel::detail::profile_before_replace_ = [](const std::wstring&) { std::_Exit(3); };
            profile p(name);
            p.write("S", "k", "new");
            p.flush();
        },
        testing::ExitedWithCode(3), "");
    EXPECT_EQ(read_bytes(dir.path("p.ini")), old_text);
    // The next save replaces the file and the leftover temporary file alike.
    profile p(name);
    p.write("S", "k", "new");
    p.flush();
    EXPECT_EQ(profile(name).read("S", "k", ""), "new");
}

struct recorder : qel::IProfileVisitor {
    std::vector<std::wstring> seen;
    std::size_t stop_after = 100;
    bool on_section(int line, const std::wstring& section) override {
        seen.push_back(std::to_wstring(line) + L"[" + section + L"]");
        return true;
    }
    bool on_key(int line, const std::wstring& section, const std::wstring& key,
                const std::wstring& value) override {
        seen.push_back(std::to_wstring(line) + L" " + section + L"/" + key + L"=" + value);
        return true;
    }
    bool is_continue() override { return seen.size() < stop_after; }
};

TEST(Profile, Visitor) {
    temp_dir dir;
    write_bytes(dir.path("v.ini"), "a=1\r\n[S]\r\n;c\r\nk = v\r\n[T]\r\nk=2\r\n[S]\r\nk=3");
    recorder all;
    EXPECT_TRUE(qel::visit_profile(dir.wide("v.ini"), all));
    EXPECT_EQ(all.seen, (std::vector<std::wstring>{L"0 /a=1", L"1[S]", L"3 S/k=v", L"4[T]",
                                                   L"5 T/k=2", L"6[S]", L"7 S/k=3"}));
    recorder some;
    some.stop_after = 2;
    EXPECT_TRUE(qel::visit_profile(dir.wide("v.ini"), some));
    EXPECT_EQ(some.seen.size(), 2u);
    recorder none;
    EXPECT_FALSE(qel::visit_profile(dir.wide("absent.ini"), none));
    write_bytes(dir.path("e.ini"), "");
    EXPECT_TRUE(qel::visit_profile(dir.wide("e.ini"), none));
    EXPECT_TRUE(none.seen.empty());
}

} // namespace
