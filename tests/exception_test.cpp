// Error classes: the messages each class reports, catching through the common bases, wide
// messages stored as UTF-8, and copies that own their message. The UTF-8 codec itself is
// tested in utf8_test.cpp.
#include "test_support.h"

#include <qel/exception.h>
#include <qel/version.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace {

using qel_test::bytes;
using qel_test::units;

// The message of `thrown`, caught as the base `Base`.
template <class Base, class E> std::string caught_as(const E& thrown) {
    try {
        throw thrown;
    } catch (const Base& e) {
        return e.what();
    } catch (...) {
        return "not caught as the base";
    }
}

TEST(ExceptionTest, MessagesAndCommonBases) {
    EXPECT_EQ(caught_as<qel::basic_exception>(qel::serialize_error("bad tag")), "bad tag");
    EXPECT_EQ(caught_as<qel::basic_exception>(qel::variant_error(std::string("immutable"))),
              "immutable");
    EXPECT_EQ(caught_as<qel::variant_error>(qel::variant_range_error()),
              "value out of integer range");
    EXPECT_EQ(caught_as<qel::variant_error>(qel::bad_variant_type()), "bad variant type");
    EXPECT_EQ(caught_as<qel::compress_error>(qel::detail::compress_bad_method_()),
              "invalid compression method");
    EXPECT_EQ(caught_as<qel::compress_error>(qel::detail::compress_no_impl_()), "not implemented");
    EXPECT_EQ(caught_as<std::exception>(qel::compress_error(std::string("bad data"), 7)),
              "bad data");
    EXPECT_EQ(qel::detail::compress_no_impl_().code(), 0);
    EXPECT_EQ(qel::compress_error("x", -3).code(), -3);
    // Narrow text is kept byte for byte; a std::string counts up to its first NUL.
    EXPECT_EQ(std::string(qel::basic_exception("\xC3\xA9t\xC3\xA9").what()), "\xC3\xA9t\xC3\xA9");
    EXPECT_STREQ(qel::basic_exception(std::string("ab\0cd", 5)).what(), "ab");
}

TEST(ExceptionTest, WideMessagesTravelAsUtf8) {
    const std::wstring text = units({0x41, 0xE9, 0x20AC, 0xD83D, 0xDE00});
    const qel::basic_exception e(text);
    EXPECT_EQ(std::string(e.what()),
              bytes({0x41, 0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}));
    EXPECT_EQ(e.wide_what(), text);
    EXPECT_EQ(qel::basic_exception(text.c_str()).wide_what(), text);
    EXPECT_STREQ(qel::basic_exception(std::wstring(L"ab\0cd", 5)).what(), "ab");
    EXPECT_EQ(qel::variant_range_error().wide_what(), L"value out of integer range");
}

// what() is virtual; wide_what() must decode whatever the most derived class reports.
class overriding_error : public qel::basic_exception {
public:
    overriding_error() : qel::basic_exception("base text") {}
    const char* what() const noexcept override { return "\xC3\xA9t\xC3\xA9"; }
};

TEST(ExceptionTest, WideWhatHonoursOverriddenWhat) {
    const overriding_error e;
    EXPECT_EQ(static_cast<const qel::basic_exception&>(e).wide_what(), units({0xE9, 0x74, 0xE9}));
}

TEST(ExceptionTest, CopiesOwnTheirMessage) {
    auto source = std::make_unique<qel::basic_exception>(std::wstring(L"copied \x20AC"));
    qel::basic_exception constructed(*source);
    qel::basic_exception assigned("before");
    assigned = *source;
    source.reset();
    EXPECT_EQ(std::string(constructed.what()), "copied " + bytes({0xE2, 0x82, 0xAC}));
    EXPECT_EQ(assigned.wide_what(), std::wstring(L"copied \x20AC"));

    auto compress = std::make_unique<qel::compress_error>("stream broken", 42);
    qel::compress_error assigned_compress("other", 1);
    assigned_compress = *compress;
    compress.reset();
    EXPECT_STREQ(assigned_compress.what(), "stream broken");
    EXPECT_EQ(assigned_compress.code(), 42);
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
