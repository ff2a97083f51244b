// Value formatting: format records, their text form, do_format, and format sets.
#pragma once

#include <qel/datetime.h>
#include <qel/export.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace qel {

// Common part of the number formats. Texts that contain ";" or ")" do not survive the text
// form: it has no escape.
struct numeric_format {
    std::int32_t width = -1; // minimum length, blanks in front; -1 means none
    bool use_group_separator = false;
    wchar_t group_separator = L'\u00A0';
    bool use_zero_text = false;
    std::wstring zero_text = L"-";
    bool negative_in_parentheses = false;
    bool h_flag = false; // carried by the text form only
    bool show_unit = false;
    std::wstring unit;
    bool unit_first = false;
    bool use_unit_separator = false;
    wchar_t unit_separator = L'\u00A0';
};

struct integer_format : numeric_format {};

struct float_format : numeric_format {
    std::int32_t precision = -1;     // fixed decimals; -1 means the automatic notation
    std::int32_t max_precision = -1; // bound on the decimals kept by rounding; -1 means none
    wchar_t decimal_separator = L'.';
};

// Empty texts show as "+" and "-".
struct bool_format {
    std::wstring true_text;
    std::wstring false_text;
    bool g_flag = false; // carried by the text form only
    bool r_flag = false; // carried by the text form only
};

struct date_format {
    std::wstring mask = L"dd.mm.yyyy";
    wchar_t separator = L'.';
};

// With use_hundredths_separator, the character before the hundredths field of the mask
// becomes hundredths_separator.
struct time_format {
    std::wstring mask = L"hh:mm:ss:ii";
    wchar_t separator = L':';
    bool use_hundredths_separator = false;
    wchar_t hundredths_separator = L'.';
};

struct timestamp_format {
    date_format date;
    time_format time;
    std::wstring datetime_separator = L" ";
    bool time_first = false;
    bool use_system_time_zone = false;
    std::int64_t time_zone_offset = 0; // hundredths of a second added before showing
};

// Field-by-field equality; the numeric records compare `unit` too.
QEL_API bool eq(const numeric_format& a, const numeric_format& b);
QEL_API bool eq(const integer_format& a, const integer_format& b);
QEL_API bool eq(const float_format& a, const float_format& b);
QEL_API bool eq(const bool_format& a, const bool_format& b);
QEL_API bool eq(const date_format& a, const date_format& b);
QEL_API bool eq(const time_format& a, const time_format& b);
QEL_API bool eq(const timestamp_format& a, const timestamp_format& b);

// Writes the record's section ("I(...)", "F(...)", ...) into `text`: an existing section of
// that letter is replaced in place, otherwise the section is appended.
QEL_API void format_to_str(const integer_format& f, std::wstring& text);
QEL_API void format_to_str(const float_format& f, std::wstring& text);
QEL_API void format_to_str(const bool_format& f, std::wstring& text);
QEL_API void format_to_str(const date_format& f, std::wstring& text);
QEL_API void format_to_str(const time_format& f, std::wstring& text);
QEL_API void format_to_str(const timestamp_format& f, std::wstring& text);

// Reads the section of the record's letter from `text`. False, with `f` unchanged, when the
// section is missing; false, with `f` reset to the defaults and partly read, when a number
// field does not parse. Fields after a missing ";" keep their defaults.
[[nodiscard]] QEL_API bool str_to_format(const std::wstring& text, integer_format& f);
[[nodiscard]] QEL_API bool str_to_format(const std::wstring& text, float_format& f);
[[nodiscard]] QEL_API bool str_to_format(const std::wstring& text, bool_format& f);
[[nodiscard]] QEL_API bool str_to_format(const std::wstring& text, date_format& f);
[[nodiscard]] QEL_API bool str_to_format(const std::wstring& text, time_format& f);
[[nodiscard]] QEL_API bool str_to_format(const std::wstring& text, timestamp_format& f);

// Display text of one value. Numbers never fail; dates, times and timestamps throw
// std::invalid_argument for a mask that breaks the mask rules. long double is shown with
// the precision of double, float with 6 significant digits instead of 15.
QEL_API std::wstring do_format(int v, const integer_format& f);
QEL_API std::wstring do_format(long v, const integer_format& f);
QEL_API std::wstring do_format(long long v, const integer_format& f);
QEL_API std::wstring do_format(unsigned int v, const integer_format& f);
QEL_API std::wstring do_format(unsigned long v, const integer_format& f);
QEL_API std::wstring do_format(unsigned long long v, const integer_format& f);
QEL_API std::wstring do_format(float v, const float_format& f);
QEL_API std::wstring do_format(double v, const float_format& f);
QEL_API std::wstring do_format(long double v, const float_format& f);
QEL_API std::wstring do_format(bool v, const bool_format& f);
QEL_API std::wstring do_format(const date& v, const date_format& f);
QEL_API std::wstring do_format(const time& v, const time_format& f);
QEL_API std::wstring do_format(const timestamp& v, const timestamp_format& f);

// Kind of a format; the section letters are I, F, B, D, T and S.
enum E_Format : std::int32_t {
    E_Format_integer = 1,
    E_Format_float = 2,
    E_Format_bool = 3,
    E_Format_date = 4,
    E_Format_time = 5,
    E_Format_timestamp = 6
};

// A set of formats of one kind, implemented by the application. Slots 2 and 3 are never
// called by the library.
template <class T> class IBasicFormatSet {
public:
    IBasicFormatSet() = default;
    IBasicFormatSet(const IBasicFormatSet&) = default;
    IBasicFormatSet& operator=(const IBasicFormatSet&) = default;

    virtual const T& named_format(const std::wstring& name) const = 0;
    virtual const T& general_format() const = 0;
    // Number of named formats, for callers that list them.
    virtual std::size_t named_format_count() const { return 0; }
    // Name of the index-th named format; empty when there is none.
    virtual std::wstring named_format_name(std::size_t index) const {
        static_cast<void>(index);
        return {};
    }

protected:
    ~IBasicFormatSet() = default;
};

class IIntegerFormatSet : public IBasicFormatSet<integer_format> {};
class IFloatFormatSet : public IBasicFormatSet<float_format> {};
class IBoolFormatSet : public IBasicFormatSet<bool_format> {};
class IDateFormatSet : public IBasicFormatSet<date_format> {};
class ITimeFormatSet : public IBasicFormatSet<time_format> {};
class ITimestampFormatSet : public IBasicFormatSet<timestamp_format> {};

// All the format sets of an application.
class IAllFormatSet {
public:
    IAllFormatSet() = default;
    IAllFormatSet(const IAllFormatSet&) = default;
    IAllFormatSet& operator=(const IAllFormatSet&) = default;

    virtual const IIntegerFormatSet& integer_formats() const = 0;
    virtual const IFloatFormatSet& float_formats() const = 0;
    virtual const IBoolFormatSet& bool_formats() const = 0;
    virtual const IDateFormatSet& date_formats() const = 0;
    virtual const ITimeFormatSet& time_formats() const = 0;
    virtual const ITimestampFormatSet& timestamp_formats() const = 0;

protected:
    ~IAllFormatSet() = default;
};

// Guards a shared format set: the set that lock() returns may be used until unlock().
class IAllFormatSetSharedAccess {
public:
    IAllFormatSetSharedAccess() = default;
    IAllFormatSetSharedAccess(const IAllFormatSetSharedAccess&) = default;
    IAllFormatSetSharedAccess& operator=(const IAllFormatSetSharedAccess&) = default;

    virtual IAllFormatSet& lock() = 0;
    virtual void unlock() = 0;

protected:
    ~IAllFormatSetSharedAccess() = default;
};

// Holds one lock() of `access` for its lifetime.
class scoped_all_format_set_access {
public:
    explicit scoped_all_format_set_access(IAllFormatSetSharedAccess& access)
        : access_(access), set_(access.lock()) {}
    ~scoped_all_format_set_access() { access_.unlock(); }
    scoped_all_format_set_access(const scoped_all_format_set_access&) = delete;
    scoped_all_format_set_access& operator=(const scoped_all_format_set_access&) = delete;

    const IAllFormatSet& get() const { return set_; }

private:
    IAllFormatSetSharedAccess& access_;
    const IAllFormatSet& set_;
};

// Helpers on format texts: sections such as "I(8;';;-;;)D(@short)", where
// a section starting with "@" names a format of the set.
QEL_API bool has_format(E_Format k, const std::wstring& spec);
QEL_API void remove_format(E_Format k, std::wstring& spec);
QEL_API bool is_named_format(E_Format k, const std::wstring& spec);
// Leaves `name` unchanged and returns false when the section is not a named one.
QEL_API bool get_named_format(E_Format k, const std::wstring& spec, std::wstring& name);
// An empty `name` removes the section.
QEL_API void set_named_format(E_Format k, const std::wstring& name, std::wstring& spec);

// Every value type that do_format and the set-based calls take, for declaring one call per
// type (X is applied to each).
#define QEL_FORMATTED_TYPES_(X)                                                                    \
    X(int)                                                                                         \
    X(long)                                                                                        \
    X(long long)                                                                                   \
    X(unsigned int)                                                                                \
    X(unsigned long)                                                                               \
    X(unsigned long long)                                                                          \
    X(float)                                                                                       \
    X(double)                                                                                      \
    X(long double)                                                                                 \
    X(bool)                                                                                        \
    X(const date&)                                                                                 \
    X(const time&)                                                                                 \
    X(const timestamp&)

// Formatting through a set. Each call holds the lock only while it reads the set and
// releases it on every way out. do_format_as uses a named section of the value's kind, then
// an inline section, and falls back to the general format.
#define QEL_FORMAT_THROUGH_SET_(V)                                                                 \
    QEL_API std::wstring do_format_general(IAllFormatSetSharedAccess& a, V v);                     \
    QEL_API std::wstring do_format_by_name(IAllFormatSetSharedAccess& a, const std::wstring& name, \
                                           V v);                                                   \
    QEL_API std::wstring do_format_as(IAllFormatSetSharedAccess& a, const std::wstring& spec, V v);

QEL_FORMATTED_TYPES_(QEL_FORMAT_THROUGH_SET_)
#undef QEL_FORMAT_THROUGH_SET_

// Copies a record out of the set. get_format_as: an empty spec gives the general format, a
// named section the named one, otherwise the result of str_to_format.
#define QEL_GET_FORMAT_(T)                                                                         \
    QEL_API void get_format_by_name(IAllFormatSetSharedAccess& a, const std::wstring& name, T& f); \
    QEL_API bool get_format_as(IAllFormatSetSharedAccess& a, const std::wstring& spec, T& f);

QEL_GET_FORMAT_(integer_format)
QEL_GET_FORMAT_(float_format)
QEL_GET_FORMAT_(bool_format)
QEL_GET_FORMAT_(date_format)
QEL_GET_FORMAT_(time_format)
QEL_GET_FORMAT_(timestamp_format)
#undef QEL_GET_FORMAT_

} // namespace qel
