// Format family: the records' text form, do_format for every value kind, and formatting
// through a format set whose lock is watched.
#include <qel/format.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace qel;

integer_format grouped(wchar_t sep, std::int32_t width = -1) {
    integer_format f;
    f.use_group_separator = true;
    f.group_separator = sep;
    f.width = width;
    return f;
}

template <class F> std::wstring text_of(const F& f) {
    std::wstring text;
    format_to_str(f, text);
    return text;
}

TEST(FormatText, DefaultsAndSectionsSideBySide) {
    std::wstring text;
    format_to_str(integer_format(), text);
    EXPECT_EQ(text, L"I(;;;-;;)");
    format_to_str(float_format(), text);
    EXPECT_EQ(text, L"I(;;;-;;)F(;;;;.;;-;;)");
    integer_format i = grouped(L'\'', 8);
    i.negative_in_parentheses = i.show_unit = true;
    i.unit = L"EUR";
    format_to_str(i, text);
    EXPECT_EQ(text, L"I(8;';nu;-;;EUR)F(;;;;.;;-;;)");

    const std::pair<std::wstring, std::wstring> defaults[] = {
        {L"B(;;)", text_of(bool_format())},
        {L"D(dd.mm.yyyy;.)", text_of(date_format())},
        {L"T(hh:mm:ss:ii;:;;.)", text_of(time_format())},
        {L"S(dd.mm.yyyy;.;hh:mm:ss:ii;:;;.; ;)", text_of(timestamp_format())},
    };
    for (const auto& [want, got] : defaults)
        EXPECT_EQ(got, want);
}

TEST(FormatText, EveryFieldRoundTrips) {
    float_format f;
    f.width = 12;
    f.precision = 3;
    f.max_precision = 2;
    f.use_group_separator = true;
    f.group_separator = L'_';
    f.decimal_separator = L',';
    f.use_zero_text = f.negative_in_parentheses = f.h_flag = f.show_unit = f.unit_first = true;
    f.zero_text = L"nil";
    f.unit = L"$";
    f.use_unit_separator = true;
    f.unit_separator = L'~';
    std::wstring text = L"prefix ";
    format_to_str(f, text);
    float_format back;
    ASSERT_TRUE(str_to_format(text, back));
    EXPECT_TRUE(eq(back, f));
    back.unit = L"%";
    EXPECT_FALSE(eq(back, f));

    timestamp_format s;
    s.date.mask = L"yyyy-mm-dd";
    s.date.separator = L'-';
    s.time.use_hundredths_separator = true;
    s.time.hundredths_separator = L',';
    s.time_first = s.use_system_time_zone = true;
    s.datetime_separator = L" at ";
    s.time_zone_offset = -1980000;
    text.clear();
    format_to_str(s, text);
    EXPECT_EQ(text.substr(text.size() - 6), L";-5.5)");
    timestamp_format sback;
    ASSERT_TRUE(str_to_format(text, sback));
    EXPECT_TRUE(eq(sback, s));

    bool_format b{L"yes", L"no", true, true};
    text.clear();
    format_to_str(b, text);
    bool_format bback;
    ASSERT_TRUE(str_to_format(text, bback));
    EXPECT_TRUE(eq(bback, b));
}

TEST(FormatText, ReadingRules) {
    integer_format i;
    ASSERT_TRUE(str_to_format(L"x I(5;;z;0;;) y", i));
    EXPECT_EQ(i.width, 5);
    EXPECT_TRUE(i.use_zero_text);
    EXPECT_EQ(i.zero_text, L"0");

    // A ";" that ends the section right before a separator field sets its flag only.
    ASSERT_TRUE(str_to_format(L"I(5;)", i));
    EXPECT_TRUE(i.use_group_separator);
    EXPECT_EQ(i.group_separator, L'\u00A0');
    // A missing ";" stops reading; the rest keeps the defaults.
    ASSERT_TRUE(str_to_format(L"I(7x;';z;0;;)", i));
    EXPECT_TRUE(eq(i, [] {
        integer_format d;
        d.width = 7;
        return d;
    }()));

    integer_format untouched = grouped(L'#', 3);
    i = untouched;
    for (const wchar_t* bad : {L"I(a;;;-;;)", L"I(99999999999;;;-;;)", L"I()", L"I(-;;)"}) {
        EXPECT_FALSE(str_to_format(bad, i)) << bad;
        EXPECT_TRUE(eq(i, integer_format())) << bad; // reset before the failing field
    }
    i = untouched;
    EXPECT_FALSE(str_to_format(L"F(", i));
    EXPECT_FALSE(str_to_format(L"I(5;;;", i));
    EXPECT_TRUE(eq(i, untouched));

    float_format fl;
    ASSERT_TRUE(str_to_format(L"F( -3;+2;;;;;-;;)", fl));
    EXPECT_EQ(fl.width, -3);
    EXPECT_EQ(fl.precision, 2);
    EXPECT_EQ(fl.decimal_separator, L'.'); // ";" is never the decimal separator

    date_format d;
    ASSERT_TRUE(str_to_format(L"D(;/)", d));
    EXPECT_EQ(d.mask, L"dd.mm.yyyy");
    EXPECT_EQ(d.separator, L'/');

    timestamp_format s;
    ASSERT_TRUE(str_to_format(L"S(dd.mm.yyyy;.;hh:mm:ss:ii;:;s;.; ;3)", s));
    EXPECT_TRUE(s.use_system_time_zone);
    EXPECT_EQ(s.time_zone_offset, 1080000);
    ASSERT_TRUE(str_to_format(L"S(;.;;:;;.; ;+0.0025)", s));
    EXPECT_EQ(s.time_zone_offset, 900);
    ASSERT_TRUE(str_to_format(L"S(;.;;:;;.; ;-5e-1)", s));
    EXPECT_EQ(s.time_zone_offset, -180000);
    ASSERT_TRUE(str_to_format(L"S(;;;;)", s));
    EXPECT_EQ(s.date.separator, L';');
    EXPECT_EQ(s.time.mask, L"hh:mm:ss:ii");
    for (const wchar_t* bad : {L"S(;.;;:;;.; ;3h)", L"S(;.;;:;;.; ;x)", L"S(;.;;:;;.; ;1e99)"})
        EXPECT_FALSE(str_to_format(bad, s)) << bad;
}

struct int_case {
    long long value;
    integer_format f;
    const wchar_t* want;
};

TEST(FormatInteger, Steps) {
    integer_format eur = grouped(L'\'');
    eur.negative_in_parentheses = eur.show_unit = eur.use_unit_separator = true;
    eur.unit = L"EUR";
    eur.unit_separator = L' ';
    integer_format dollar = eur;
    dollar.unit = L"$";
    dollar.unit_first = true;
    dollar.use_unit_separator = false;
    integer_format zero;
    zero.use_zero_text = true;
    integer_format zero3 = zero;
    zero3.width = 3;
    integer_format paren;
    paren.negative_in_parentheses = true;
    integer_format empty_unit_first = paren;
    empty_unit_first.show_unit = empty_unit_first.unit_first = true;

    const std::vector<int_case> cases = {
        {1234567, grouped(L' '), L"1 234 567"},
        {1234567, grouped(L' ', 12), L"   1 234 567"},
        {-123456, grouped(L','), L"-123,456"},
        {-1234, eur, L"(1'234 EUR)"},
        {-1234, dollar, L"($1'234)"},
        {1234, dollar, L"$1'234"},
        {0, zero, L"-"},
        {0, zero3, L"  -"},
        {-5, paren, L"(5)"},
        {-5, empty_unit_first, L"(5)"},
        {std::numeric_limits<long long>::min(), grouped(L'.'), L"-9.223.372.036.854.775.808"},
        {7, grouped(L' ', -5), L"7"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(do_format(c.value, c.f), c.want) << c.value;
        if (c.value >= INT32_MIN && c.value <= INT32_MAX) {
            EXPECT_EQ(do_format(static_cast<int>(c.value), c.f), c.want);
            EXPECT_EQ(do_format(static_cast<long>(c.value), c.f), c.want);
        }
    }
    EXPECT_EQ(do_format(4294967295u, integer_format()), L"4294967295");
    EXPECT_EQ(do_format(4294967295u, paren), L"4294967295");
    EXPECT_EQ(do_format(std::numeric_limits<unsigned long long>::max(), grouped(L' ')),
              L"18 446 744 073 709 551 615");
    EXPECT_EQ(do_format(std::int64_t{-1}, paren), L"(1)");
    EXPECT_EQ(do_format(std::uint64_t{0}, zero), L"-");
}

struct float_case {
    double value;
    std::int32_t precision;
    std::int32_t max_precision;
    const wchar_t* want;
};

TEST(FormatFloat, RoundingAndDigits) {
    const std::vector<float_case> cases = {
        {2.675, 2, -1, L"2.68"},
        {2.675, -1, 1, L"2.7"},
        {2.675, 3, 1, L"2.700"},
        {0.1 + 0.2, -1, -1, L"0.3"},
        {123.456789012345678, -1, -1, L"123.45678901235"},
        {-0.005, 2, -1, L"-0.01"},
        {1.005, 2, -1, L"1.01"},
        {0.49999999999999994, 0, -1, L"1"}, // four units from a half count as one
        {0.4999999, 0, -1, L"0"},
        {-2.5, 0, -1, L"-3"},
        {1e20, -1, -1, L"1e+20"},
        {1.5e-7, -1, -1, L"1.5e-07"},
        {1234.5, 3, -1, L"1234.500"},
        {1.5, 400, -1, L"1.500000000000000"}, // the scale overflows: no rounding
        {0.0, 400, -1, L"0.000000000000000"},
        {12.345, -50, -1, L"0.000000"}, // rounded to 10^50; printf's default decimals
    };
    for (const auto& c : cases) {
        float_format f;
        f.precision = c.precision;
        f.max_precision = c.max_precision;
        EXPECT_EQ(do_format(c.value, f), c.want) << c.value << " " << c.precision;
        EXPECT_EQ(do_format(static_cast<long double>(c.value), f), c.want);
    }
    EXPECT_EQ(do_format(0.1f, float_format()), L"0.1");
    EXPECT_EQ(do_format(123.456789f, float_format()), L"123.46");
    float_format two;
    two.precision = 2;
    EXPECT_EQ(do_format(2.675f, two), L"2.68");
}

TEST(FormatFloat, Presentation) {
    float_format f;
    f.use_group_separator = true;
    f.group_separator = L' ';
    f.precision = 2;
    f.decimal_separator = L',';
    EXPECT_EQ(do_format(1234.5, f), L"1 234,50");
    EXPECT_EQ(do_format(-1234567.125, f), L"-1 234 567,13");
    f.negative_in_parentheses = f.show_unit = true;
    f.unit = L"%";
    f.width = 10;
    EXPECT_EQ(do_format(-1234.5, f), L"(1 234,50%)");
    f.width = 12;
    EXPECT_EQ(do_format(-1234.5, f), L" (1 234,50%)");

    float_format big; // exponent form with both precisions stays ungrouped
    big.use_group_separator = true;
    big.group_separator = L' ';
    EXPECT_EQ(do_format(1e20, big), L"1e+20");
    big.max_precision = 1;
    EXPECT_EQ(do_format(1e20, big), L"100 000 000 000 000 000 000.0");

    float_format zero;
    zero.precision = 2;
    zero.use_zero_text = true;
    EXPECT_EQ(do_format(0.004, zero), L"-");
    EXPECT_EQ(do_format(-0.004, zero), L"-");
    zero.width = 4;
    EXPECT_EQ(do_format(0.0, zero), L"   -");

    float_format six;
    six.width = 6;
    std::wostringstream nan_text;
    nan_text << std::numeric_limits<double>::quiet_NaN();
    const std::wstring got = do_format(std::numeric_limits<double>::quiet_NaN(), six);
    EXPECT_EQ(got.size(), 6u);
    EXPECT_EQ(got.substr(6 - nan_text.str().size()), nan_text.str());
    EXPECT_NE(do_format(-std::numeric_limits<float>::infinity(), float_format()).find(L'-'),
              std::wstring::npos);
}

TEST(FormatOther, BooleansDatesTimesTimestamps) {
    EXPECT_EQ(do_format(true, bool_format()), L"+");
    EXPECT_EQ(do_format(false, bool_format()), L"-");
    EXPECT_EQ(do_format(true, bool_format{L"yes", L"", false, false}), L"yes");
    EXPECT_EQ(do_format(false, bool_format{L"yes", L"no", false, false}), L"no");

    EXPECT_EQ(do_format(qel::date(1, 2, 2003), date_format()), L"01.02.2003");
    EXPECT_THROW(do_format(qel::date(1, 2, 2003), date_format{L"dd.dd", L'.'}),
                 std::invalid_argument);

    time_format t;
    t.use_hundredths_separator = true;
    EXPECT_EQ(do_format(qel::time(12, 30, 15, 7), t), L"12:30:15.07");
    t.mask = L"HH:MM:SS:II";
    EXPECT_EQ(do_format(qel::time(12, 30, 15, 7), t),
              to_wstring(qel::time(12, 30, 15, 7), t.mask, L':'));
    t.mask = L"ii";
    EXPECT_EQ(do_format(qel::time(12, 30, 15, 7), t), L"07"); // the field starts the mask
    EXPECT_THROW(do_format(qel::time(0), time_format{L"hh:xx", L':', false, L'.'}),
                 std::invalid_argument);

    timestamp_format s;
    s.time_zone_offset = 360000;
    const timestamp late(2003, 2, 1, 23, 0, 0, 0);
    EXPECT_EQ(do_format(late, s), L"02.02.2003 00:00:00:00");
    s.time_first = true;
    EXPECT_EQ(do_format(late, s), L"00:00:00:00 02.02.2003");
    s.time_first = false;
    s.use_system_time_zone = true;
    const timestamp shifted(late.get() + get_system_time_zone().get());
    s.use_system_time_zone = false;
    s.time_zone_offset = 0;
    const std::wstring expected = do_format(shifted, s);
    s.use_system_time_zone = true;
    s.time_zone_offset = 999;
    EXPECT_EQ(do_format(late, s), expected);
}

TEST(FormatSpec, NamedSections) {
    std::wstring spec;
    set_named_format(E_Format_date, L"short", spec);
    EXPECT_EQ(spec, L"D(@short)");
    EXPECT_TRUE(is_named_format(E_Format_date, spec));
    std::wstring name = L"kept";
    EXPECT_FALSE(get_named_format(E_Format_time, spec, name));
    EXPECT_EQ(name, L"kept");
    EXPECT_TRUE(get_named_format(E_Format_date, spec, name));
    EXPECT_EQ(name, L"short");
    EXPECT_FALSE(has_format(E_Format_integer, spec));
    spec = L"I(8;;;-;;)" + spec;
    set_named_format(E_Format_date, L"long", spec);
    EXPECT_EQ(spec, L"I(8;;;-;;)D(@long)");
    EXPECT_FALSE(is_named_format(E_Format_integer, spec));
    set_named_format(E_Format_date, L"", spec);
    EXPECT_EQ(spec, L"I(8;;;-;;)");
    remove_format(E_Format_integer, spec);
    EXPECT_TRUE(spec.empty());
}

// One set per kind with a general format and a few named ones; counts lock() and unlock().
template <class T, class I> class map_set : public I {
public:
    T general;
    std::map<std::wstring, T> named;
    const T& named_format(const std::wstring& name) const override {
        const auto it = named.find(name);
        if (it == named.end())
            throw std::out_of_range("no such format");
        return it->second;
    }
    const T& general_format() const override { return general; }
};

class test_sets : public IAllFormatSet, public IAllFormatSetSharedAccess {
public:
    map_set<integer_format, IIntegerFormatSet> ints;
    map_set<float_format, IFloatFormatSet> floats;
    map_set<bool_format, IBoolFormatSet> bools;
    map_set<date_format, IDateFormatSet> dates;
    map_set<time_format, ITimeFormatSet> times;
    map_set<timestamp_format, ITimestampFormatSet> stamps;
    int locks = 0;
    int held = 0;

    const IIntegerFormatSet& integer_formats() const override { return ints; }
    const IFloatFormatSet& float_formats() const override { return floats; }
    const IBoolFormatSet& bool_formats() const override { return bools; }
    const IDateFormatSet& date_formats() const override { return dates; }
    const ITimeFormatSet& time_formats() const override { return times; }
    const ITimestampFormatSet& timestamp_formats() const override { return stamps; }
    IAllFormatSet& lock() override {
        ++locks;
        ++held;
        return *this;
    }
    void unlock() override { --held; }
};

TEST(FormatSet, ChoosesTheRecordAndAlwaysUnlocks) {
    test_sets sets;
    sets.ints.general = grouped(L' ');
    sets.ints.named[L"wide"] = grouped(L'.', 10);
    sets.floats.named[L"money"].precision = 2;
    sets.dates.named[L"iso"] = date_format{L"yyyy.mm.dd", L'-'};
    sets.dates.named[L"broken"] = date_format{L"qq", L'.'};

    EXPECT_EQ(do_format_as(sets, L"", 12345), do_format_general(sets, 12345));
    EXPECT_EQ(do_format_general(sets, 12345LL), L"12 345");
    EXPECT_EQ(do_format_by_name(sets, L"wide", 1234567u), L" 1.234.567");
    EXPECT_EQ(do_format_as(sets, L"D(x)I(@wide)", 1234567L), L" 1.234.567");
    EXPECT_EQ(do_format_as(sets, L"F(@money)", 3), L"3");
    EXPECT_EQ(do_format_as(sets, L"F(@money)", 3.14159), L"3.14");
    EXPECT_EQ(do_format_as(sets, L"I(x;;;-;;)", 7000), L"7 000");
    const int before = sets.locks;
    EXPECT_EQ(do_format_as(sets, L"I(6;;;-;;)", 42), L"    42");
    EXPECT_EQ(sets.locks, before);
    EXPECT_EQ(do_format_as(sets, L"B(y;n;)", true), L"y");
    EXPECT_EQ(do_format_by_name(sets, L"iso", qel::date(1, 2, 2003)), L"2003-02-01");

    EXPECT_THROW(do_format_by_name(sets, L"none", 1.0), std::out_of_range);
    EXPECT_THROW(do_format_by_name(sets, L"broken", qel::date(1, 2, 2003)), std::invalid_argument);
    EXPECT_THROW(do_format_as(sets, L"D(@broken)", qel::date(1, 2, 2003)), std::invalid_argument);
    date_format d;
    EXPECT_THROW(get_format_by_name(sets, L"none", d), std::out_of_range);
    EXPECT_EQ(sets.held, 0);

    EXPECT_TRUE(get_format_as(sets, L"D(@iso)", d));
    EXPECT_TRUE(eq(d, sets.dates.named[L"iso"]));
    EXPECT_TRUE(get_format_as(sets, L"", d));
    EXPECT_TRUE(eq(d, date_format()));
    EXPECT_FALSE(get_format_as(sets, L"T(;)", d));
    integer_format i = grouped(L'#');
    EXPECT_FALSE(get_format_as(sets, L"I(z;;;-;;)", i));
    EXPECT_TRUE(eq(i, integer_format()));
    get_format_by_name(sets, L"wide", i);
    EXPECT_TRUE(eq(i, sets.ints.named[L"wide"]));
    EXPECT_EQ(sets.held, 0);
}

} // namespace
