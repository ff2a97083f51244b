// Parameter lines: splitting, the main parameter, every conversion, getters and setters,
// macros, merge, and each error code with its message.
#include <qel/param_line.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace {

using qel::param_line;
using qel::param_line_error;

enum : int { p_main, p_int, p_float, p_bool, p_date, p_time, p_sub, p_arr, p_odd, p_dup, p_lost };

const qel::param_line_item items[] = {
    {p_int, qel::plit_integer, L"7", 0},
    {p_main, qel::plit_string, L"def", 1},
    {p_float, qel::plit_float, L"1.5", 0},
    {p_bool, qel::plit_boolean, L"0", 0},
    {p_date, qel::plit_date, L"01.02.2003", 0},
    {p_time, qel::plit_time, L"bad", 0},
    {p_sub, qel::plit_subline, L"", 0},
    {p_arr, qel::plit_subline_array, L"", 0},
    {p_odd, static_cast<qel::E_ParamLineItemType>(42), L"", 0},
    {p_dup, qel::plit_integer, L"1", 0},
    {p_lost, qel::plit_string, L"", 0},
};

std::wstring names(int id) {
    static const wchar_t* const table[] = {L"file", L"i", L"f", L"b", L"d",     L"t",
                                           L"s",    L"a", L"o", L"i", L"unused"};
    return id == 99 ? std::wstring() : table[id];
}

struct macros : qel::IParamLineMacroProc {
    bool process(int id, const std::wstring& tag, std::wstring& value) override {
        if (tag != L"home")
            return false;
        value = L"/home/" + std::to_wstring(id);
        return true;
    }
};

param_line make(std::uint32_t flags = 0, qel::IParamLineMacroProc* proc = nullptr) {
    return param_line(items, std::size(items), names, proc, flags);
}

// Runs f, which must throw param_line_error with this code, name, type and message.
void expect_error(const std::function<void()>& f, int code, const std::wstring& name,
                  qel::E_ParamLineItemType type, const char* message) {
    try {
        f();
        ADD_FAILURE() << "no exception, expected " << message;
    } catch (const param_line_error& e) {
        EXPECT_EQ(e.code(), code) << message;
        EXPECT_EQ(e.name(), name) << message;
        EXPECT_EQ(e.type(), type) << message;
        EXPECT_STREQ(e.what(), message);
        const param_line_error copy(e);
        EXPECT_STREQ(copy.what(), message);
        EXPECT_EQ(copy.name(), name);
    }
}

TEST(ParamLine, ParseAndMergeTable) {
    struct row {
        const wchar_t* line;
        bool result;
        const wchar_t* merged;
    };
    const row rows[] = {
        {L"", true, L""},
        {L"i=1;s={x;y};f=2", true, L"i=1;f=2;s={x;y}"},
        {L";;i=1;;b=1;", true, L"i=1;b=1"},
        {L"file.txt;i=3", true, L"i=3;file.txt"},
        {L" i = 5 ;  b\t=\t1\t", true, L"i=5;b=1"},
        {L"I=5", false, L""},
        {L"i=1;file.txt", false, L"i=1"},
        {L"{k=v};i=2", true, L"i=2;{k=v}"},
        {L"i=12abc;b=1", false, L"b=1"},
        {L"i=;b=2", false, L""},
        {L"i=2147483648", false, L""},
        {L"i=-2147483648", true, L"i=-2147483648"},
        {L"a=x{a}y{b{c}}z;s=q{in{n}}r", true, L"s=q{in{n}}r;a=x{a}y{b{c}}z"},
        {L"a={x}{;s={", false, L""},
        {L"s=}{", false, L""},
        {L"i=1;i=2", true, L"i=2"},
        {L"d=29.02.2004;t=12:30:00:00", true, L"d=29.02.2004;t=12:30:00:00"},
        {L"o=anything", false, L""},
        {L"x=1=2", false, L""},
        {L"b=3={", false, L""},
    };
    for (const row& r : rows) {
        param_line p = make();
        EXPECT_EQ(p.parse(r.line), r.result) << r.line;
        std::wstring merged = L"stale";
        p.merge(merged);
        EXPECT_EQ(merged, r.merged) << r.line;
    }
}

TEST(ParamLine, UnbalancedBracesChangeNothingEvenWithDiagnostics) {
    for (std::uint32_t flags : {0u, 1u}) {
        param_line p = make(flags);
        ASSERT_TRUE(p.parse(L"i=3"));
        EXPECT_FALSE(p.parse(L"i=4;s={x;b=1"));
        EXPECT_EQ(p.get_int(p_int), 3);
        EXPECT_TRUE(p.is_default(p_bool));
        EXPECT_TRUE(p.is_default(p_sub));
    }
}

TEST(ParamLine, ConversionsByType) {
    struct row {
        int id;
        const wchar_t* text;
        bool valid;
    };
    const row rows[] = {
        {p_int, L"-17", true},
        {p_int, L"+4", true},
        {p_int, L"", false},
        {p_int, L"0x10", false},
        {p_int, L"2147483647", true},
        {p_int, L"-2147483649", false},
        {p_float, L"1e3", true},
        {p_float, L"-.5", true},
        {p_float, L"0x1p4", true},
        {p_float, L"inf", true},
        {p_float, L"NaN", true},
        {p_float, L"1,5", false},
        {p_float, L"1e999", false},
        {p_float, L"+-1", false},
        {p_float, L"0x", false},
        {p_float, L"", false},
        {p_float, L"1e", false},
        {p_bool, L"1", true},
        {p_bool, L"0", true},
        {p_bool, L"2", false},
        {p_bool, L"true", false},
        {p_date, L"31.12.2099", true},
        {p_date, L"2003-02-01", false},
        {p_time, L"23:59:59:99", true},
        {p_time, L"24:00", false},
        {p_sub, L"", true},
        {p_sub, L"a{b}c", true},

        {p_arr, L"", true},
        {p_arr, L"plain", true},
        {p_sub, L"}x", false},

        {p_main, L"any}", true},
        {p_odd, L"x", false},
    };
    for (const row& r : rows) {
        param_line p = make();
        p.parse(names(r.id) + L"=" + r.text);
        EXPECT_EQ(p.is_valid(r.id), r.valid) << names(r.id) << L"=" << r.text;
        EXPECT_FALSE(p.is_default(r.id));
    }
    param_line p = make();
    EXPECT_TRUE(p.parse(L"f=0x1p4;s=a{b{c}}d;a=x{a}y{b{c}}z;d=29.02.2004;t=01:02:03:00"));
    for (int id : {p_float, p_sub, p_arr, p_date, p_time})
        EXPECT_TRUE(p.is_valid(id)) << id;
    EXPECT_EQ(p.get_double(p_float), 16.0);
    EXPECT_EQ(p.get_subline(p_sub), L"b{c}");
    std::vector<std::wstring> arr{L"stale"};
    p.get_sublinearray(p_arr, arr);
    EXPECT_EQ(arr, (std::vector<std::wstring>{L"a", L"b{c}"}));
    EXPECT_EQ(p.get_date(p_date).get(), qel::date(29, 2, 2004).get());
    EXPECT_EQ(p.get_time(p_time).get(), qel::time(1, 2, 3, 0).get());
    ASSERT_TRUE(p.parse(L"f= -1.25e-2 "));
    EXPECT_EQ(p.get_double(p_float), -0.0125);
}

TEST(ParamLine, DefaultsAndSetters) {
    param_line p = make();
    EXPECT_TRUE(p.is_default(p_int));
    EXPECT_EQ(p.get_int(p_int), 7);
    EXPECT_EQ(p.get_string(p_main), L"def");
    EXPECT_EQ(p.get_double(p_float), 1.5);
    EXPECT_FALSE(p.get_bool(p_bool));
    EXPECT_EQ(p.get_date(p_date).get(), qel::date(1, 2, 2003).get());
    EXPECT_EQ(p.get_subline(p_sub), L"");

    p.set_int(p_int, -42);
    p.set_double(p_float, 1.0 / 3);
    p.set_bool(p_bool, true);
    p.set_string(p_main, L"m");
    p.set_subline(p_sub, L"a");
    p.set_sublinearray(p_arr, {L"a", L"b"});
    p.set_date(p_date, qel::date(5, 6, 2007));
    p.set_time(p_time, qel::time(7, 8, 9, 10));
    std::wstring merged;
    p.merge(merged);
    EXPECT_EQ(merged, L"i=-42;m;f=0.333333333333333;b=1;d=" +
                          qel::to_wstring(qel::date(5, 6, 2007)) + L";t=" +
                          qel::to_wstring(qel::time(7, 8, 9, 10)) + L";s={a};a={a}{b}");
    EXPECT_EQ(p.get_subline(p_sub), L"a");
    EXPECT_EQ(p.get_date(p_date).get(), qel::date(5, 6, 2007).get());
    EXPECT_EQ(p.get_time(p_time).get(), qel::time(7, 8, 9, 10).get());

    const std::pair<double, const wchar_t*> doubles[] = {
        {0.1, L"0.1"},
        {1e20, L"1e+20"},
        {-2.5, L"-2.5"},
        {123456789012345678.0, L"1.23456789012346e+17"}};
    for (const auto& [value, text] : doubles) {
        p.set_double(p_float, value);
        EXPECT_EQ(p.get_string(p_float), text);
    }
    p.set_sublinearray(p_arr, {});
    EXPECT_EQ(p.get_string(p_arr), L"");
    EXPECT_FALSE(p.is_default(p_arr));

    p.set_default(p_int);
    EXPECT_TRUE(p.is_default(p_int));
    EXPECT_EQ(p.get_int(p_int), 7);
    p.merge(merged);
    EXPECT_EQ(merged.find(L"i="), std::wstring::npos);
}

TEST(ParamLine, Macros) {
    macros proc;
    param_line p = make(0, &proc);
    ASSERT_TRUE(p.parse(L"file = @home"));
    EXPECT_TRUE(p.is_macro(p_main));
    EXPECT_EQ(p.get_macro(p_main), L"home");
    EXPECT_EQ(p.get_string(p_main), L"/home/0");
    std::wstring merged;
    p.merge(merged);
    EXPECT_EQ(merged, L"@home");
    // A later plain value keeps the macro mark.
    ASSERT_TRUE(p.parse(L"file=plain"));
    EXPECT_TRUE(p.is_macro(p_main));
    EXPECT_EQ(p.get_string(p_main), L"plain");
    // A setter clears it; set_macro sets it without calling the processor.
    p.set_string(p_main, L"x");
    EXPECT_FALSE(p.is_macro(p_main));
    p.set_macro(p_int, L"tag");
    EXPECT_EQ(p.get_macro(p_int), L"tag");
    p.merge(merged);
    EXPECT_EQ(merged, L"i=@tag;x");
}

TEST(ParamLine, ErrorsAndMessages) {
    macros proc;
    using qel::plit_none;
    struct row {
        std::function<void()> f;
        int code;
        const wchar_t* name;
        qel::E_ParamLineItemType type;
        const char* message;
    };
    const auto strict = [&](const wchar_t* line) {
        return [&proc, line] { make(1, &proc).parse(line); };
    };
    const auto getter = [](std::function<void(param_line&)> g) {
        return [g] {
            param_line p = make();
            p.parse(L"i=x;f=x;b=x;d=x;t=x;s=x");
            g(p);
        };
    };
    const row rows[] = {
        {[] { param_line(items, 1, nullptr, nullptr, 0); }, 1, L"", plit_none,
         "can't load parameter names"},
        {[] { make().get_int(99); }, 1, L"", plit_none, "can't load parameter names"},
        {strict(L"zz=1"), 2, L"zz", plit_none, "zz: unknown parameter"},
        {[] { param_line(items, 2, names, nullptr, 0).get_string(p_lost); }, 2, L"unused",
         plit_none, "unused: unknown parameter"},
        {[] { param_line(items, 1, names, nullptr, 1).parse(L" a.txt "); }, 3, L" a.txt ",
         plit_none, " a.txt : main parameter not defined"},
        {strict(L"i=1; b "), 4, L" b ", plit_none, " b : expected '='"},
        {strict(L"i=x"), 5, L"i", qel::plit_integer, "i: expected integer parameter"},
        {strict(L"o=x"), 5, L"o", static_cast<qel::E_ParamLineItemType>(42),
         "o: expected unknown type parameter"},
        {getter([](param_line& p) { p.get_int(p_int); }), 5, L"i", qel::plit_integer,
         "i: expected integer parameter"},
        {getter([](param_line& p) { p.get_double(p_float); }), 5, L"f", qel::plit_float,
         "f: expected float parameter"},
        {getter([](param_line& p) { p.get_bool(p_bool); }), 5, L"b", qel::plit_boolean,
         "b: expected boolean parameter"},
        {getter([](param_line& p) { p.get_date(p_date); }), 5, L"d", qel::plit_date,
         "d: expected date parameter"},
        {getter([](param_line& p) { p.get_time(p_time); }), 5, L"t", qel::plit_time,
         "t: expected time parameter"},
        {getter([](param_line& p) { p.get_subline(p_sub); }), 5, L"s", qel::plit_subline,
         "s: expected subline parameter"},
        {[] {
             // Only a default can hold unbalanced braces.
             const qel::param_line_item broken[] = {{p_arr, qel::plit_subline_array, L"{a}{", 0}};
             std::vector<std::wstring> v;
             param_line(broken, 1, names, nullptr, 0).get_sublinearray(p_arr, v);
         },
         5, L"a", qel::plit_subline_array, "a: expected subline array parameter"},
        // Getters convert to their own type whatever the declaration says.
        {[] { make().get_int(p_main); }, 5, L"file", qel::plit_integer,
         "file: expected integer parameter"},
        {[] { make().set_int(p_main, 1); }, 5, L"file", qel::plit_integer,
         "file: expected integer parameter"},
        {[] { make().set_sublinearray(p_sub, {}); }, 5, L"s", qel::plit_subline_array,
         "s: expected subline array parameter"},
        {[] { make().get_macro(p_int); }, 6, L"i", plit_none, "i: macro parameter expected"},
        {[] { make().parse(L"i=@home"); }, 7, L"home", plit_none, "home: unknown macro tag"},
        {strict(L"i=@away"), 7, L"away", plit_none, "away: unknown macro tag"},
        {[] { throw param_line_error(L"n", 8, plit_none); }, 8, L"n", plit_none, "unknown error"},
    };
    for (const row& r : rows)
        expect_error(r.f, r.code, r.name, r.type, r.message);
}

TEST(ParamLine, WithoutDiagnosticsLaterSegmentsStillApply) {
    param_line p = make();
    EXPECT_FALSE(p.parse(L"zz=1;i=x;b=1;loose"));
    EXPECT_FALSE(p.is_valid(p_int));
    EXPECT_TRUE(p.get_bool(p_bool));
    // A failed setter of the wrong type still leaves the parameter marked as given.
    EXPECT_THROW(p.set_int(p_bool, 1), param_line_error);
    EXPECT_TRUE(p.is_valid(p_bool));
    EXPECT_FALSE(p.is_default(p_bool));
    // The duplicate name keeps the first declaration.
    ASSERT_TRUE(p.parse(L"i=5"));
    EXPECT_EQ(p.get_int(p_dup), 5);
    param_line empty(nullptr, 0, nullptr, nullptr, 0);
    EXPECT_FALSE(empty.parse(L"x"));
    EXPECT_TRUE(empty.parse(L";;"));
}

} // namespace
