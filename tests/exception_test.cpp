// Error classes: hierarchy, message storage, UTF-8 conversion of wide messages, copies.
#include "test_support.h"

#include <qel/exception.h>
#include <qel/version.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace {

using qel_test::bytes;

using qel_test::units;

// wide_what() of an exception whose narrow message is exactly `narrow`.
std::wstring decoded(const std::string& narrow) {
    return qel::basic_exception(narrow).wide_what();
}

static_assert(std::is_base_of_v<std::runtime_error, qel::basic_exception>);
static_assert(std::is_base_of_v<qel::basic_exception, qel::compress_error>);
static_assert(std::is_base_of_v<qel::basic_exception, qel::serialize_error>);
static_assert(std::is_base_of_v<qel::basic_exception, qel::variant_error>);
static_assert(std::is_base_of_v<qel::variant_error, qel::variant_range_error>);
static_assert(std::is_base_of_v<qel::variant_error, qel::bad_variant_type>);
static_assert(std::is_base_of_v<qel::compress_error, qel::detail::compress_bad_method_>);
static_assert(std::is_base_of_v<qel::compress_error, qel::detail::compress_no_impl_>);
static_assert(std::has_virtual_destructor_v<qel::basic_exception>);

TEST(ExceptionTest, NarrowMessagesAreKeptUnchanged) {
    EXPECT_STREQ(qel::basic_exception("plain").what(), "plain");
    // UTF-8 bytes pass through without conversion.
    EXPECT_EQ(std::string(qel::basic_exception("\xC3\xA9t\xC3\xA9").what()), "\xC3\xA9t\xC3\xA9");
    EXPECT_STREQ(qel::basic_exception(std::string("from string")).what(), "from string");
    // A std::string counts up to its first NUL.
    EXPECT_STREQ(qel::basic_exception(std::string("ab\0cd", 5)).what(), "ab");
    EXPECT_STREQ(qel::basic_exception("").what(), "");
}

TEST(ExceptionTest, FamiliesAreCaughtThroughTheCommonBases) {
    auto caught_as_basic = [](auto thrown) -> std::string {
        try {
            throw thrown;
        } catch (const qel::basic_exception& e) {
            return e.what();
        }
    };
    EXPECT_EQ(caught_as_basic(qel::serialize_error("bad tag")), "bad tag");
    EXPECT_EQ(caught_as_basic(qel::variant_error(std::string("immutable"))), "immutable");
    EXPECT_EQ(caught_as_basic(qel::variant_range_error()), "value out of integer range");
    EXPECT_EQ(caught_as_basic(qel::bad_variant_type()), "bad variant type");
    EXPECT_EQ(caught_as_basic(qel::compress_error(std::string("bad data"), 7)), "bad data");

    try {
        throw qel::detail::compress_bad_method_();
    } catch (const qel::compress_error& e) {
        EXPECT_STREQ(e.what(), "invalid compression method");
        EXPECT_EQ(e.code(), 0);
    }
    try {
        throw qel::detail::compress_no_impl_();
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "not implemented");
        auto* compress = dynamic_cast<const qel::compress_error*>(&e);
        ASSERT_NE(compress, nullptr);
        EXPECT_EQ(compress->code(), 0);
    }
    try {
        throw qel::variant_range_error();
    } catch (const qel::variant_error& e) {
        EXPECT_EQ(e.wide_what(), L"value out of integer range");
    }
    EXPECT_EQ(qel::compress_error("x", -3).code(), -3);
}

TEST(ExceptionTest, WideMessagesAreStoredAsUtf8) {
    qel::basic_exception abc(L"abc");
    EXPECT_STREQ(abc.what(), "abc");
    EXPECT_EQ(abc.wide_what(), L"abc");

    qel::basic_exception accented(units({0xE9}));
    EXPECT_EQ(std::string(accented.what()), bytes({0xC3, 0xA9}));
    EXPECT_EQ(accented.wide_what(), units({0xE9}));

    const std::wstring euro = units({0x20AC});
    qel::basic_exception from_pointer(euro.c_str());
    EXPECT_EQ(std::string(from_pointer.what()), bytes({0xE2, 0x82, 0xAC}));
    EXPECT_EQ(from_pointer.wide_what(), euro);

    // Boundaries of the one-, two- and three-byte forms.
    const std::wstring edges = units({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF});
    qel::basic_exception boundary(edges);
    EXPECT_EQ(std::string(boundary.what()),
              bytes({0x7F, 0xC2, 0x80, 0xDF, 0xBF, 0xE0, 0xA0, 0x80, 0xEF, 0xBF, 0xBF}));
    EXPECT_EQ(boundary.wide_what(), edges);
}

TEST(ExceptionTest, SurrogatesAreEncodedOneByOne) {
    const std::wstring pair = units({0xD83D, 0xDE00});
    qel::basic_exception e(pair);
    EXPECT_EQ(std::string(e.what()), bytes({0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}));
    EXPECT_EQ(e.wide_what(), pair);

    // Where wchar_t holds whole code points, such a unit takes the four-byte form and comes back
    // as one unit; UTF-16 has no unit above U+FFFF, its pairs are the case above.
    if constexpr (sizeof(wchar_t) == 4) {
        qel::basic_exception whole(units({0x1F600}));
        EXPECT_EQ(std::string(whole.what()), bytes({0xF0, 0x9F, 0x98, 0x80}));
        EXPECT_EQ(whole.wide_what(), units({0x1F600}));
    }
}

TEST(ExceptionTest, EmbeddedNulEndsTheMessage) {
    qel::basic_exception e(std::wstring(L"ab\0cd", 5));
    EXPECT_STREQ(e.what(), "ab");
    EXPECT_EQ(e.wide_what(), L"ab");
}

TEST(ExceptionTest, WideWhatDecodesBrokenUtf8) {
    if constexpr (sizeof(wchar_t) == 4)
        EXPECT_EQ(decoded(bytes({0x41, 0xF0, 0x9F, 0x98, 0x80, 0x42})),
                  units({0x41, 0x1F600, 0x42}));
    else
        EXPECT_EQ(decoded(bytes({0x41, 0xF0, 0x9F, 0x98, 0x80, 0x42})), units({0x41, 0x3F, 0x42}));
    // Lead bytes that no platform decodes become "?".
    EXPECT_EQ(decoded(bytes({0x41, 0xF8, 0x88, 0x80, 0x80, 0x80, 0x42})),
              units({0x41, 0x3F, 0x42}));

    EXPECT_EQ(decoded(bytes({0xEF, 0xBB, 0xBF, 0x41})), L"A");
    EXPECT_EQ(decoded(bytes({0xEF, 0xBB, 0xBF})), L"");
    EXPECT_EQ(decoded(bytes({0x80})), units({0}));
    EXPECT_EQ(decoded(bytes({0xC3, 0x41})), units({0}));
    EXPECT_EQ(decoded(bytes({0xC3, 0x41, 0x42})), units({0, 0x42}));
}

// what() is virtual; wide_what() must decode whatever the most derived class reports.
class overriding_error : public qel::basic_exception {
public:
    overriding_error() : qel::basic_exception("base text") {}
    const char* what() const noexcept override { return "\xC3\xA9t\xC3\xA9"; }
};

TEST(ExceptionTest, WideWhatHonoursOverriddenWhat) {
    overriding_error e;
    const qel::basic_exception& base = e;
    EXPECT_EQ(base.wide_what(), units({0xE9, 0x74, 0xE9}));
}

TEST(ExceptionTest, CopiesOwnTheirMessage) {
    auto source = std::make_unique<qel::basic_exception>(std::wstring(L"copied \x20AC"));
    qel::basic_exception constructed(*source);
    qel::basic_exception assigned("before");
    assigned = *source;
    source.reset();
    EXPECT_EQ(std::string(constructed.what()), "copied " + bytes({0xE2, 0x82, 0xAC}));
    EXPECT_EQ(std::string(assigned.what()), "copied " + bytes({0xE2, 0x82, 0xAC}));
    EXPECT_EQ(assigned.wide_what(), std::wstring(L"copied \x20AC"));

    auto compress = std::make_unique<qel::compress_error>("stream broken", 42);
    qel::compress_error compress_copy(*compress);
    qel::compress_error compress_assigned("other", 1);
    compress_assigned = *compress;
    compress.reset();
    EXPECT_STREQ(compress_copy.what(), "stream broken");
    EXPECT_EQ(compress_copy.code(), 42);
    EXPECT_STREQ(compress_assigned.what(), "stream broken");
    EXPECT_EQ(compress_assigned.code(), 42);

    auto range = std::make_unique<qel::variant_range_error>();
    qel::variant_range_error range_copy(*range);
    range.reset();
    EXPECT_STREQ(range_copy.what(), "value out of integer range");
}

// The shared library reports the version its headers carry; the number and the text agree.
TEST(VersionTest, LibraryReportsTheHeaderVersion) {
    EXPECT_EQ(qel::library_version(), std::uint32_t{QEL_VERSION});
    EXPECT_STREQ(qel::library_version_string(),
                 (std::to_string(QEL_VERSION_MAJOR) + "." + std::to_string(QEL_VERSION_MINOR) +
                  "." + std::to_string(QEL_VERSION_PATCH))
                     .c_str());
    EXPECT_STREQ(qel::library_version_string(), QEL_VERSION_STRING);
}

} // namespace
