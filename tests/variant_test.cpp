// Variant: singletons for default values (and no allocation for them), the getters' answers
// and refusals, rounding, near-equality and ordering, texts, and the stored byte form.
#include <qel/serialize.h>
#include <qel/variant.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <vector>

namespace {
std::atomic<long> allocations{0};
// Reached through a variable so the compiler does not pair the program's new with free.
void (*volatile release_memory)(void*) = std::free;
} // namespace

// Counts every allocation; the library's allocations reach it wherever the platform routes
// a shared library's operator new to the program's replacement.
void* operator new(std::size_t size) {
    ++allocations;
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    release_memory(p);
}
void operator delete(void* p, std::size_t) noexcept {
    release_memory(p);
}

namespace {

using qel::E_VariantType;
using qel::variant;

// Reaches the protected interface, as derived code adding custom types does.
struct probe : variant {
    using variant::variant;
    probe(const variant& v) : variant(v) {}
    using variant::impl_;
    using variant::make_mutable_impl_;
    using variant::set_impl_;
};

// A custom type 107, the way derived code adds one.
class custom_impl final : public qel::detail::VariantBase_<qel::detail::VariantBase_regular_, 107> {
public:
    const IVariant_impl_* clone() const override { return new custom_impl; }
    bool is_equal_same_type(const IVariant_impl_&) const override { return true; }
    int compare_same_type(const IVariant_impl_&) const override { return 0; }
    std::wstring to_string() const override { return L"c"; }
    void store(qel::out_serialize&) const override {}
    const IVariant_impl_* get_custom(int k) const override {
        return k == 7 ? this : VariantBase_::get_custom(k);
    }
};

template <class E>
testing::AssertionResult throws(const std::function<void()>& f, const char* text) {
    try {
        f();
    } catch (const E& e) {
        if (std::string(e.what()) == text)
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "message \"" << e.what() << "\"";
    } catch (const std::exception& e) {
        return testing::AssertionFailure() << "other exception: " << e.what();
    }
    return testing::AssertionFailure() << "no exception";
}

std::vector<variant> default_values() {
    return {variant(),
            variant(std::wstring()),
            variant(0),
            variant(0.0),
            variant(false),
            variant(true),
            variant(qel::date()),
            variant(qel::time()),
            variant(qel::timestamp()),
            variant(std::string())};
}

TEST(Variant, DefaultValuesShareTheirTypesSingleton) {
    const E_VariantType types[] = {
        qel::variant_none,      qel::variant_string,      qel::variant_integer, qel::variant_float,
        qel::variant_boolean,   qel::variant_boolean,     qel::variant_date,    qel::variant_time,
        qel::variant_timestamp, qel::variant_ascii_string};
    const auto values = default_values();
    for (std::size_t i = 0; i < values.size(); ++i) {
        SCOPED_TRACE(i);
        const probe v(values[i]);
        EXPECT_EQ(v.type(), types[i]);
        EXPECT_EQ(v.impl_(), probe(values[i]).impl_()) << "copy clones to itself";
        if (i != 5) {
            EXPECT_EQ(v.impl_(), probe(variant(types[i])).impl_());
        }
    }
    const variant same_singleton[][2] = {
        {variant(static_cast<const wchar_t*>(nullptr)), variant(L"")},
        {variant(L"abc", 0), variant(std::wstring())},
        {variant(static_cast<const char*>(nullptr)), variant("abc", 0)},
        {variant(0.0f), variant(-0.0)},
        {variant(qel::date_aux_{}, 730500), variant(qel::date(1, 1, 2001))},
        {variant(qel::timestamp_aux_{}, 6311520000000), variant(qel::timestamp())},
        {variant(0L), variant(0LL)}};
    for (const auto& pair : same_singleton)
        EXPECT_EQ(probe(pair[0]).impl_(), probe(pair[1]).impl_()) << pair[0].type();
    EXPECT_NE(probe(variant(5)).impl_(), probe(variant(5)).impl_());
}

TEST(Variant, DefaultValuesNeverAllocate) {
    long before = allocations;
    const variant five(5);
    const variant five_copy(five);
    // Where the library's allocations bypass the replacement (a DLL has its own runtime's
    // operator new) the count says nothing; the non-default control shows which case holds.
    if (allocations - before != 2)
        GTEST_SKIP() << "library allocations are not counted here";
    before = allocations;
    for (int t = 0; t <= 8; ++t) {
        variant a(static_cast<E_VariantType>(t)), b(a), c(std::move(b));
        a = c;
        b = std::move(c);
        a.swap(b);
        a.set_type(static_cast<E_VariantType>(t));
    }
    for (const auto& v : {variant(true), variant(L""), variant("")}) {
        variant copy(v);
        copy = v;
    }
    variant v;
    v.set_int(0), v.set_double(-0.0), v.set_bool(true), v.set_date_val(730500);
    v.set_time_val(0), v.set_timestamp_val(6311520000000), v.set_string(L""), v.set_none();
    EXPECT_EQ(allocations - before, 0);
}

TEST(Variant, MovesCopiesAndFailedSettersKeepTheValue) {
    variant a(5);
    variant b(std::move(a));
    EXPECT_EQ(a.type(), qel::variant_none);
    EXPECT_EQ(b.get_int(), 5);
    EXPECT_TRUE(
        throws<qel::bad_variant_type>([&] { b.set_type(E_VariantType(9)); }, "bad variant type"));
    EXPECT_TRUE(
        throws<qel::bad_variant_type>([&] { b.set_type(E_VariantType(100)); }, "bad variant type"));
    EXPECT_TRUE(throws<qel::variant_range_error>([&] { b.set_long(3000000000LL); },
                                                 "value out of integer range"));
    EXPECT_TRUE(
        throws<qel::bad_variant_type>([] { variant(E_VariantType(-1)); }, "bad variant type"));
    EXPECT_EQ(b.get_long(), 5);
    probe c(b), custom;
    custom.set_impl_(new custom_impl);
    EXPECT_EQ(custom.type(), 107);
    EXPECT_EQ(custom.impl_()->get_custom(7), custom.impl_());
    EXPECT_EQ(variant(qel::detail::no_custom_aux_{}, std::move(c)).get_int(), 5);
    EXPECT_TRUE(throws<qel::bad_variant_type>(
        [&] { variant(qel::detail::no_custom_aux_{}, custom); }, "bad variant type"));
    EXPECT_EQ(custom.compare(variant("z")), 1) << "custom types sort last";
}

TEST(Variant, RefusalsNameHeldAndWantedTypes) {
    probe custom;
    custom.set_impl_(new custom_impl);
    const struct {
        std::function<void()> call;
        const char* message;
    } cases[] = {
        {[] { (void)variant().get_string(); }, "incompatible types: none and string"},
        {[] { variant(1).modify_string(); }, "incompatible types: string and integer"},
        {[] { variant(L"x").modify_ascii_string(); },
         "incompatible types: ascii_string and string"},
        {[] { (void)variant(7).get_string(); }, "incompatible types: integer and string"},
        {[] { (void)variant(L"1").get_int(); }, "incompatible types: string and integer"},
        {[] { (void)variant("x").get_string(); }, "incompatible types: ascii_string and string"},
        {[] { (void)variant(true).get_date(); }, "incompatible types: boolean and date"},
        {[] { (void)variant(qel::date()).get_timestamp(); },
         "incompatible types: date and timestamp"},
        {[] { (void)variant(qel::timestamp()).get_time(); },
         "incompatible types: timestamp and time"},
        {[] { (void)variant(qel::time()).get_bool(); }, "incompatible types: time and boolean"},
        {[] { (void)variant(1.5).get_ascii_string(); },
         "incompatible types: float and ascii_string"},
        {[&] { (void)custom.get_double(); }, "incompatible types: custom[7] and float"},
        {[&] { (void)custom.impl_()->get_custom(3); },
         "incompatible types: custom[7] and custom[3]"},
        {[&] { custom.make_mutable_impl_(qel::variant_string); },
         "incompatible types: string and custom[7]"},
        {[] {
             variant v(true);
             cast_compatible_variant(v, qel::variant_date);
         },
         "incompatible types: boolean and date"},
        {[] {
             variant v(L"2");
             cast_compatible_variant(v, qel::variant_integer);
         },
         "incompatible types: string and integer"},
    };
    for (const auto& c : cases)
        EXPECT_TRUE(throws<qel::variant_type_mismatch>(c.call, c.message)) << c.message;
    EXPECT_TRUE(throws<qel::variant_error>([] { probe(0).make_mutable_impl_(); },
                                           "immutable variant impl"));
}

TEST(Variant, ModifyingAnEmptyStringLeavesTheSingletonEmpty) {
    probe s(L""), empty(L""), a("");
    const auto* singleton = s.impl_();
    s.modify_string() = L"x";
    a.modify_ascii_string() += "y";
    EXPECT_NE(s.impl_(), singleton);
    EXPECT_EQ(s.get_string(), L"x");
    EXPECT_EQ(a.get_ascii_string(), "y");
    EXPECT_EQ(empty.get_string(), L"");
    probe still_empty(L"");
    still_empty.modify_string();
    EXPECT_NE(still_empty.impl_(), singleton);
    EXPECT_TRUE(still_empty.is_equal(empty));
    EXPECT_FALSE(empty.is_equal(still_empty)) << "an empty singleton equals only itself";
    EXPECT_EQ(empty.compare(still_empty), 0);
}

TEST(Variant, FloatsRoundHalvesAwayFromZeroWithinTheIntRange) {
    const double largest_below_half = 0.49999999999999994;
    const struct {
        double in;
        int out;
    } rounded[] = {{2.5, 3},
                   {-2.5, -3},
                   {largest_below_half, 0},
                   {-largest_below_half, 0},
                   {0.5, 1},
                   {1.4999999, 1},
                   {-0.5, -1},
                   {2147483647.0, 2147483647},
                   {2147483646.5, 2147483647},
                   {-2147483647.5, -2147483647 - 1},
                   {-2147483648.0, -2147483647 - 1}};
    for (const auto& r : rounded) {
        EXPECT_EQ(variant(r.in).get_int(), r.out) << r.in;
        variant v(r.in);
        cast_compatible_variant(v, qel::variant_integer);
        EXPECT_EQ(v.get_int(), r.out);
    }
    for (double out_of_range : {3e9, -2147483648.5, 2147483647.4, -2147483648.1, 1e300})
        EXPECT_TRUE(throws<qel::variant_range_error>([=] { (void)variant(out_of_range).get_int(); },
                                                     "value out of integer range"))
            << out_of_range;
    variant i(7);
    EXPECT_EQ(i.get_double(), 7.0);
    cast_compatible_variant(i, qel::variant_float);
    EXPECT_EQ(i.type(), qel::variant_float);
    EXPECT_EQ(variant(0.1).get_float32(), 0.1f);
    EXPECT_TRUE(qel::is_compatible_variant_type(qel::variant_float, qel::variant_integer));
    EXPECT_FALSE(qel::is_compatible_variant_type(qel::variant_integer, qel::variant_boolean));
}

TEST(Variant, EqualityAndOrdering) {
    auto ulps = [](double x, int n) {
        for (int k = 0; k < n; ++k)
            x = std::nextafter(x, 2.0);
        return x;
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        variant a, b;
        bool equal;
        int order;
    } cases[] = {
        {variant(1), variant(0.5), false, -1},
        {variant(1), variant(1.0), false, -1},
        {variant(0), variant(L"x"), false, 1},
        {variant(), variant(0), false, -1},
        {variant(0), variant(0), true, 0},
        {variant(5), variant(0), false, 1},
        {variant(-5), variant(3), false, -1},
        {variant(0.1 + 0.2), variant(0.3), true, 0},
        {variant(1.0), variant(1.0000001), false, -1},
        {variant(1.0), variant(ulps(1.0, 4)), true, 0},
        {variant(ulps(1.0, 5)), variant(1.0), false, 1},
        {variant(-1.0), variant(1.0), false, -1},
        {variant(-ulps(0.0, 2)), variant(ulps(0.0, 2)), true, 0},
        {variant(0.0), variant(ulps(0.0, 5)), false, -1},
        {variant(nan), variant(nan), false, 1},
        {variant(false), variant(true), false, -1},
        {variant(true), variant(true), true, 0},
        {variant(L"ab"), variant(L"abc"), false, -1},
        {variant(L"b"), variant(L"abc"), false, 1},
        {variant(L""), variant(L"a"), false, -1},
        {variant("x"), variant("x"), true, 0},
        {variant("x"), variant(L"x"), false, 1},
        {variant(qel::date()), variant(qel::date(730499)), false, 1},
        {variant(qel::date()), variant(qel::date(730501)), false, -1},
        {variant(qel::time(5)), variant(qel::time(5)), true, 0},
        {variant(qel::time()), variant(qel::time(1)), false, -1},
        {variant(qel::timestamp(1)), variant(qel::timestamp()), false, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.a.to_string() + L" / " + c.b.to_string());
        EXPECT_EQ(c.a.is_equal(c.b), c.equal);
        EXPECT_EQ(c.a.compare(c.b), c.order);
    }
}

TEST(Variant, TextsOfValuesAndTypes) {
    const struct {
        variant v;
        const wchar_t* text;
    } values[] = {{variant(), L""},
                  {variant(true), L"true"},
                  {variant(false), L"false"},
                  {variant(-42), L"-42"},
                  {variant(0), L"0"},
                  {variant(0.5), L"0.5"},
                  {variant(1.0 / 3), L"0.333333333333333"},
                  {variant(1e20), L"1e+20"},
                  {variant(qel::date(1, 2, 2003)), L"01.02.2003"},
                  {variant(qel::time(1, 2, 3, 4)), L"01:02:03:04"},
                  {variant(qel::timestamp()), L"01.01.2001 00:00:00:00"},
                  {variant("a\x80\xFF"), L"a\xFF80\xFFFF"},
                  {variant(L"w"), L"w"}};
    for (const auto& c : values)
        EXPECT_EQ(c.v.to_string(), c.text);

    const struct {
        int type;
        const char* text;
    } names[] = {{0, "none"},         {1, "string"},         {2, "integer"},  {3, "float"},
                 {4, "boolean"},      {5, "date"},           {6, "time"},     {7, "timestamp"},
                 {8, "ascii_string"}, {9, "unknown"},        {-1, "unknown"}, {100, "custom[0]"},
                 {105, "custom[5]"},  {1100, "custom[1000]"}};
    for (const auto& n : names) {
        EXPECT_EQ(qel::variant_type_to_string(E_VariantType(n.type)), n.text);
        EXPECT_EQ(qel::variant_type_to_wstring(E_VariantType(n.type)),
                  std::wstring(n.text, n.text + std::strlen(n.text)));
    }

    const struct {
        const char* text;
        int type; // -1: refused
    } parsed[] = {{"none", 0},
                  {"ascii_string", 8},
                  {"timestamp", 7},
                  {"String", -1},
                  {"nonex", -1},
                  {"", -1},
                  {"custom[5]", 105},
                  {"custom[1000]", 1100},
                  {"custom[1001]", -1},
                  {"custom[-1]", -1},
                  {"custom[-0]", 100},
                  {"custom[ +7]tail", 107},
                  {"custom[]", -1},
                  {"custom[5", -1},
                  {"custom5]", -1},
                  {"custom[5x]", -1},
                  {"custom[99999999999999999999]", -1},
                  {"custom", -1}};
    for (const auto& p : parsed) {
        E_VariantType narrow = E_VariantType(-7), wide = E_VariantType(-7);
        const bool ok = qel::variant_type_from_string(p.text, narrow);
        EXPECT_EQ(ok, p.type >= 0) << p.text;
        EXPECT_EQ(qel::variant_type_from_wstring(std::wstring(p.text, p.text + std::strlen(p.text)),
                                                 wide),
                  ok);
        EXPECT_EQ(narrow, ok ? p.type : -7) << p.text;
        EXPECT_EQ(wide, narrow);
    }
}

TEST(Variant, StoresTypeThenValueAndLoadsBack) {
    const struct {
        variant v;
        std::vector<int> bytes;
    } cases[] = {
        {variant(), {7, 0, 0, 0, 0}},
        {variant(L"A"), {7, 1, 0, 0, 0, 15, 1, 0, 0, 0, 0x41, 0}},
        {variant(-2), {7, 2, 0, 0, 0, 7, 0xFE, 0xFF, 0xFF, 0xFF}},
        {variant(0.5), {7, 3, 0, 0, 0, 13, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}},
        {variant(true), {7, 4, 0, 0, 0, 1, 1}},
        {variant(qel::date()), {7, 5, 0, 0, 0, 18, 0x84, 0x25, 0x0B, 0}},
        {variant(qel::time(258)), {7, 6, 0, 0, 0, 17, 2, 1, 0, 0}},
        {variant(qel::timestamp(256)), {7, 7, 0, 0, 0, 21, 0, 1, 0, 0, 0, 0, 0, 0}},
        {variant("ab"), {7, 8, 0, 0, 0, 22, 2, 0, 0, 0, 0x61, 0x62}},
        {variant(L""), {7, 1, 0, 0, 0, 15, 0, 0, 0, 0}},
        {variant(0), {7, 2, 0, 0, 0, 7, 0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.v.type());
        qel::out_serialize out;
        c.v.store(out);
        std::vector<char> data;
        out.get_seriated_data(data);
        EXPECT_EQ(data, std::vector<char>(c.bytes.begin(), c.bytes.end()));
        qel::in_serialize in(data);
        const probe loaded{variant(in)};
        EXPECT_EQ(loaded.type(), c.v.type());
        EXPECT_EQ(loaded.compare(c.v), 0);
        if (probe(c.v).impl_() == probe(c.v).impl_()) {
            EXPECT_EQ(loaded.impl_(), probe(c.v).impl_()) << "a default loads as the singleton";
        }
    }
    qel::inout_serialize io;
    for (int t : {9, 105})
        io << t;
    io << 2 << L"not an int";
    variant v(5);
    EXPECT_TRUE(throws<qel::bad_variant_type>([&] { v.load(io); }, "bad variant type"));
    EXPECT_TRUE(throws<qel::bad_variant_type>([&] { v.load(io); }, "bad variant type"));
    EXPECT_THROW(v.load(io), qel::serialize_error);
    EXPECT_EQ(v.get_int(), 5) << "a failed load keeps the value";
    qel::inout_serialize types;
    qel::store_variant_type(types, E_VariantType(1100));
    EXPECT_EQ(qel::load_variant_type(types), 1100);
}

} // namespace
