// The dynamically typed value: one pointer to an implementation object. Default values are
// shared static singletons; every other value is a small object owned by one variant alone,
// so copies clone and no reference counting is needed.
#pragma once

#include <qel/datetime.h>
#include <qel/exception.h>
#include <qel/export.h>

#include <cstdint>
#include <string>

namespace qel {

// Type numbers; 100 + k (k = 0..1000) are custom types of derived code.
enum E_VariantType : std::int32_t {
    variant_none = 0,
    variant_string = 1,
    variant_integer = 2,
    variant_float = 3,
    variant_boolean = 4,
    variant_date = 5,
    variant_time = 6,
    variant_timestamp = 7,
    variant_ascii_string = 8,
    variant_custom = 100,
};

// Tags telling raw day values, time values and timestamp counts apart from integers.
struct date_aux_ {};
struct time_aux_ {};
struct timestamp_aux_ {};

class out_serialize;
class in_serialize;

namespace detail {

struct no_custom_aux_ {};

[[noreturn]] QEL_API void throw_type_mismatch_(E_VariantType held, E_VariantType wanted);
// Throws bad_variant_type for a custom type number (100..1100).
QEL_API void chk_standard_impl_(E_VariantType t);

// The value interface. Every operation takes the object as const: regular objects are
// changed only through the object mutable_impl() returns.
class QEL_API IVariant_impl_ {
public:
    // Regular objects delete themselves; singletons stay.
    virtual void release() const = 0;
    // Regular objects allocate a copy; singletons return themselves.
    virtual const IVariant_impl_* clone() const = 0;
    // An object that may be modified in place; the empty-string singletons give a new
    // regular object, other singletons throw variant_error.
    virtual IVariant_impl_* mutable_impl() const = 0;
    virtual bool is_equal(const IVariant_impl_& other) const = 0;
    // -1, 0 or 1; different types order by type number.
    virtual int compare(const IVariant_impl_& other) const = 0;
    virtual std::wstring to_string() const = 0;
    virtual void store(out_serialize& out) const = 0;
    virtual E_VariantType type() const = 0;
    virtual const std::wstring& get_string() const = 0;
    virtual int get_int() const = 0;
    virtual long double get_ldouble() const = 0;
    virtual bool get_bool() const = 0;
    virtual int get_date_val() const = 0;
    virtual int get_time_val() const = 0;
    virtual std::int64_t get_timestamp_val() const = 0;
    virtual const std::string& get_ascii_string() const = 0;
    // Access to custom type 100 + k; the answering class returns itself.
    virtual const IVariant_impl_* get_custom(int k) const = 0;
    virtual std::wstring& modify_string() const = 0;
    virtual std::string& modify_ascii_string() const = 0;
    virtual IVariant_impl_* modify_custom(int k) const = 0;

protected:
    virtual ~IVariant_impl_();
};

// Base of heap objects owned by one variant.
class QEL_API VariantBase_regular_ : public IVariant_impl_ {
public:
    void release() const override;
    IVariant_impl_* mutable_impl() const override;
    bool is_equal(const IVariant_impl_& other) const override;
    int compare(const IVariant_impl_& other) const override;
    // Called only with an object of the same type.
    virtual bool is_equal_same_type(const IVariant_impl_& other) const = 0;
    virtual int compare_same_type(const IVariant_impl_& other) const = 0;

protected:
    ~VariantBase_regular_() override;
};

// Base of the shared default-value objects.
class QEL_API VariantBase_singleton_ : public IVariant_impl_ {
public:
    void release() const override;
    const IVariant_impl_* clone() const override;
    IVariant_impl_* mutable_impl() const override;
    bool is_equal(const IVariant_impl_& other) const override;
    int compare(const IVariant_impl_& other) const override;
    virtual int compare_same_type(const IVariant_impl_& other) const = 0;

protected:
    constexpr VariantBase_singleton_() = default;
    ~VariantBase_singleton_() override;
};

// Supplies the type number and getters that refuse; each class overrides what it answers.
template <class Base, int N> class VariantBase_ : public Base {
public:
    E_VariantType type() const override { return E_VariantType(N); }
    const std::wstring& get_string() const override { refuse_(variant_string); }
    int get_int() const override { refuse_(variant_integer); }
    long double get_ldouble() const override { refuse_(variant_float); }
    bool get_bool() const override { refuse_(variant_boolean); }
    int get_date_val() const override { refuse_(variant_date); }
    int get_time_val() const override { refuse_(variant_time); }
    std::int64_t get_timestamp_val() const override { refuse_(variant_timestamp); }
    const std::string& get_ascii_string() const override { refuse_(variant_ascii_string); }
    const IVariant_impl_* get_custom(int k) const override { refuse_(E_VariantType(100 + k)); }
    std::wstring& modify_string() const override { refuse_(variant_string); }
    std::string& modify_ascii_string() const override { refuse_(variant_ascii_string); }
    IVariant_impl_* modify_custom(int k) const override { refuse_(E_VariantType(100 + k)); }

protected:
    constexpr VariantBase_() = default;
    ~VariantBase_() override = default;

private:
    [[noreturn]] static void refuse_(E_VariantType wanted) {
        throw_type_mismatch_(E_VariantType(N), wanted);
    }
};

} // namespace detail

class QEL_API variant {
public:
    variant() noexcept;
    // The default value of t; bad_variant_type outside 0..8.
    explicit variant(E_VariantType t);
    variant(const std::wstring& value);
    variant(std::wstring&& value);
    // Null or empty gives the empty string.
    variant(const wchar_t* value);
    variant(const wchar_t* data, std::uint64_t length);
    variant(int value);
    // Out of the 32-bit range: variant_range_error.
    variant(long value);
    variant(long long value);
    variant(float value);
    variant(double value);
    variant(long double value);
    variant(bool value);
    variant(const date& value);
    variant(const time& value);
    variant(const timestamp& value);
    variant(date_aux_, int day_value);
    variant(time_aux_, int time_value);
    variant(timestamp_aux_, std::int64_t count);
    variant(const std::string& value);
    variant(std::string&& value);
    variant(const char* value);
    variant(const char* data, std::uint64_t length);
    explicit variant(const in_serialize& in);
    variant(const variant& other);
    // The source is left none.
    variant(variant&& other) noexcept;
    // Copy or move that throws bad_variant_type for a custom value.
    variant(const detail::no_custom_aux_& tag, const variant& other);
    variant(const detail::no_custom_aux_& tag, variant&& other);
    ~variant();

    variant& operator=(const variant& other);
    variant& operator=(variant&& other) noexcept;
    void swap(variant& other) noexcept;

    // A setter builds the new object before releasing the old, so a failure keeps the value.
    void set_none() noexcept;
    void set_type(E_VariantType t);
    void set_string(const std::wstring& value);
    void set_string(std::wstring&& value);
    void set_string(const wchar_t* value);
    void set_string(const wchar_t* data, std::uint64_t length);
    void set_int(int value);
    void set_long(long value);
    void set_long(long long value);
    void set_float32(float value);
    void set_double(double value);
    void set_ldouble(long double value);
    void set_bool(bool value);
    void set_date(const date& value);
    void set_time(const time& value);
    void set_timestamp(const timestamp& value);
    void set_date_val(int day_value);
    void set_time_val(int time_value);
    void set_timestamp_val(std::int64_t count);
    void set_ascii_string(const std::string& value);
    void set_ascii_string(std::string&& value);
    void set_ascii_string(const char* value);
    void set_ascii_string(const char* data, std::uint64_t length);

    // Getters throw variant_type_mismatch(held, wanted) for a type that does not answer.
    // An integer answers the float getters; a float answers the integer getters rounded
    // half away from zero, with variant_range_error outside the 32-bit range.
    const std::wstring& get_string() const;
    int get_int() const;
    long get_long() const;
    int get_int32() const;
    float get_float32() const;
    double get_double() const;
    long double get_ldouble() const;
    bool get_bool() const;
    int get_date_val() const;
    date get_date() const;
    int get_time_val() const;
    time get_time() const;
    std::int64_t get_timestamp_val() const;
    timestamp get_timestamp() const;
    const std::string& get_ascii_string() const;

    E_VariantType type() const;
    // The held text for changing in place; variant_type_mismatch(string, held) otherwise.
    std::wstring& modify_string();
    std::string& modify_ascii_string();

    // Same type and value; floats within four units in the last place.
    bool is_equal(const variant& other) const;
    // -1, 0 or 1; values of different types order by type number, never by value.
    int compare(const variant& other) const;
    std::wstring to_string() const;

    // The type number as a 32-bit integer element, then the value as one element.
    void store(out_serialize& out) const;
    // bad_variant_type for a type number outside 0..8.
    void load(const in_serialize& in);

protected:
    // Adopts the object.
    explicit variant(const detail::IVariant_impl_* impl) noexcept : ptr_(impl) {}
    const detail::IVariant_impl_* impl_() const { return ptr_; }
    // Releases the current object, then adopts the given one.
    void set_impl_(const detail::IVariant_impl_* impl);
    detail::IVariant_impl_* make_mutable_impl_();
    // variant_type_mismatch(t, held) when the held type is not t.
    detail::IVariant_impl_* make_mutable_impl_(E_VariantType t);

    // Each gives the singleton for a default value, else a new regular object.
    static const detail::IVariant_impl_* construct_type_(E_VariantType t);
    static const detail::IVariant_impl_* construct_serial_(E_VariantType t, const in_serialize& in);
    static const detail::IVariant_impl_* construct_serial_(const in_serialize& in);

private:
    static const detail::IVariant_impl_* construct_none_() noexcept;
    static const detail::IVariant_impl_* construct_string_(const std::wstring& value);
    static const detail::IVariant_impl_* construct_string_(std::wstring&& value);
    static const detail::IVariant_impl_* construct_string_(const wchar_t* value);
    static const detail::IVariant_impl_* construct_string_(const wchar_t* data,
                                                           std::uint64_t length);
    static const detail::IVariant_impl_* construct_int_(int value);
    static const detail::IVariant_impl_* construct_float_(long double value);
    static const detail::IVariant_impl_* construct_bool_(bool value) noexcept;
    static const detail::IVariant_impl_* construct_date_(int day_value);
    static const detail::IVariant_impl_* construct_time_(int time_value);
    static const detail::IVariant_impl_* construct_timestamp_(std::int64_t count);
    static const detail::IVariant_impl_* construct_ascii_string_(const std::string& value);
    static const detail::IVariant_impl_* construct_ascii_string_(std::string&& value);
    static const detail::IVariant_impl_* construct_ascii_string_(const char* value);
    static const detail::IVariant_impl_* construct_ascii_string_(const char* data,
                                                                 std::uint64_t length);
    // Builds first, then releases the old object.
    void replace_(const detail::IVariant_impl_* impl) noexcept;

    const detail::IVariant_impl_* ptr_;
};

QEL_API std::string variant_type_to_string(E_VariantType t);
QEL_API std::wstring variant_type_to_wstring(E_VariantType t);
// Exact type texts and "custom[k]" with k in 0..1000; t is written only on success.
QEL_API bool variant_type_from_string(const std::string& text, E_VariantType& t);
QEL_API bool variant_type_from_wstring(const std::wstring& text, E_VariantType& t);
// Equal types, or integer and float.
QEL_API bool is_compatible_variant_type(E_VariantType a, E_VariantType b);
// Converts v in place to the compatible type t; variant_type_mismatch otherwise.
QEL_API void cast_compatible_variant(variant& v, E_VariantType t);
QEL_API void store_variant_type(out_serialize& out, E_VariantType t);
QEL_API E_VariantType load_variant_type(const in_serialize& in);

} // namespace qel
