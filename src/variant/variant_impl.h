// The implementation objects behind variant: regular objects own one value, singletons stand
// for the default value of each standard type.
#pragma once

#include <qel/serialize.h>
#include <qel/variant.h>

#include <cstdint>
#include <string>
#include <utility>

namespace qel::detail {

inline constexpr int default_date_value = 730500; // 01.01.2001
inline constexpr std::int64_t default_timestamp_value = std::int64_t{default_date_value} * 8640000;

template <class T> int three_way_(const T& a, const T& b) {
    return a < b ? -1 : (b < a ? 1 : 0);
}
// Within four units in the last place; NaN is near nothing but itself bit for bit.
bool nearly_equal_(double x, double y);
int compare_floats_(double x, double y);
// Halves away from zero; variant_range_error outside the 32-bit range.
int round_to_int_(long double value);
std::wstring int_text_(int value);
std::wstring float_text_(double value);
std::wstring ascii_text_(const std::string& value);

class StringImpl_ final : public VariantBase_<VariantBase_regular_, variant_string> {
public:
    explicit StringImpl_(std::wstring value) : value_(std::move(value)) {}
    const IVariant_impl_* clone() const override { return new StringImpl_(value_); }
    bool is_equal_same_type(const IVariant_impl_& other) const override {
        return value_ == other.get_string();
    }
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(value_.compare(other.get_string()), 0);
    }
    std::wstring to_string() const override { return value_; }
    void store(out_serialize& out) const override { out.add_wstring(value_); }
    const std::wstring& get_string() const override { return value_; }
    std::wstring& modify_string() const override { return value_; }

private:
    mutable std::wstring value_;
};

class AsciiStringImpl_ final : public VariantBase_<VariantBase_regular_, variant_ascii_string> {
public:
    explicit AsciiStringImpl_(std::string value) : value_(std::move(value)) {}
    const IVariant_impl_* clone() const override { return new AsciiStringImpl_(value_); }
    bool is_equal_same_type(const IVariant_impl_& other) const override {
        return value_ == other.get_ascii_string();
    }
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(value_.compare(other.get_ascii_string()), 0);
    }
    std::wstring to_string() const override { return ascii_text_(value_); }
    void store(out_serialize& out) const override { out.add_string(value_); }
    const std::string& get_ascii_string() const override { return value_; }
    std::string& modify_ascii_string() const override { return value_; }

private:
    mutable std::string value_;
};

class IntImpl_ final : public VariantBase_<VariantBase_regular_, variant_integer> {
public:
    explicit IntImpl_(int value) : value_(value) {}
    const IVariant_impl_* clone() const override { return new IntImpl_(value_); }
    bool is_equal_same_type(const IVariant_impl_& other) const override {
        return value_ == other.get_int();
    }
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(value_, other.get_int());
    }
    std::wstring to_string() const override { return int_text_(value_); }
    void store(out_serialize& out) const override { out << value_; }
    int get_int() const override { return value_; }
    long double get_ldouble() const override { return value_; }

private:
    int value_;
};

class FloatImpl_ final : public VariantBase_<VariantBase_regular_, variant_float> {
public:
    explicit FloatImpl_(double value) : value_(value) {}
    const IVariant_impl_* clone() const override { return new FloatImpl_(value_); }
    bool is_equal_same_type(const IVariant_impl_& other) const override {
        return nearly_equal_(value_, static_cast<double>(other.get_ldouble()));
    }
    int compare_same_type(const IVariant_impl_& other) const override {
        return compare_floats_(value_, static_cast<double>(other.get_ldouble()));
    }
    std::wstring to_string() const override { return float_text_(value_); }
    void store(out_serialize& out) const override { out.add_long_double(value_); }
    int get_int() const override { return round_to_int_(value_); }
    long double get_ldouble() const override { return value_; }

private:
    double value_;
};

class DateImpl_ final : public VariantBase_<VariantBase_regular_, variant_date> {
public:
    explicit DateImpl_(int value) : value_(value) {}
    const IVariant_impl_* clone() const override { return new DateImpl_(value_); }
    bool is_equal_same_type(const IVariant_impl_& other) const override {
        return value_ == other.get_date_val();
    }
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(value_, other.get_date_val());
    }
    std::wstring to_string() const override { return to_wstring(date(value_)); }
    void store(out_serialize& out) const override { out.add_date_val(value_); }
    int get_date_val() const override { return value_; }

private:
    int value_;
};

class TimeImpl_ final : public VariantBase_<VariantBase_regular_, variant_time> {
public:
    explicit TimeImpl_(int value) : value_(value) {}
    const IVariant_impl_* clone() const override { return new TimeImpl_(value_); }
    bool is_equal_same_type(const IVariant_impl_& other) const override {
        return value_ == other.get_time_val();
    }
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(value_, other.get_time_val());
    }
    std::wstring to_string() const override { return to_wstring(time(value_)); }
    void store(out_serialize& out) const override { out.add_time_val(value_); }
    int get_time_val() const override { return value_; }

private:
    int value_;
};

class TimestampImpl_ final : public VariantBase_<VariantBase_regular_, variant_timestamp> {
public:
    explicit TimestampImpl_(std::int64_t value) : value_(value) {}
    const IVariant_impl_* clone() const override { return new TimestampImpl_(value_); }
    bool is_equal_same_type(const IVariant_impl_& other) const override {
        return value_ == other.get_timestamp_val();
    }
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(value_, other.get_timestamp_val());
    }
    std::wstring to_string() const override { return to_wstring(timestamp(value_)); }
    void store(out_serialize& out) const override { out.add_timestamp_val(value_); }
    std::int64_t get_timestamp_val() const override { return value_; }

private:
    std::int64_t value_;
};

// Singletons. Those without a value equal only themselves (the base's rule); the zero number
// singletons compare by value, so a regular 0 built by other means still matches.

class NoneImpl_ final : public VariantBase_<VariantBase_singleton_, variant_none> {
public:
    constexpr NoneImpl_() = default;
    ~NoneImpl_() override = default;
    int compare_same_type(const IVariant_impl_&) const override { return 0; }
    std::wstring to_string() const override { return {}; }
    void store(out_serialize&) const override {}
};

class EmptyStringImpl_ final : public VariantBase_<VariantBase_singleton_, variant_string> {
public:
    constexpr EmptyStringImpl_() = default;
    ~EmptyStringImpl_() override = default;
    IVariant_impl_* mutable_impl() const override { return new StringImpl_(std::wstring()); }
    int compare_same_type(const IVariant_impl_& other) const override {
        return other.get_string().empty() ? 0 : -1;
    }
    std::wstring to_string() const override { return {}; }
    void store(out_serialize& out) const override { out.add_wstring(get_string()); }
    // A function-local empty text keeps the singleton itself constant-initialised.
    const std::wstring& get_string() const override {
        static const std::wstring empty;
        return empty;
    }
};

class EmptyAsciiStringImpl_ final
    : public VariantBase_<VariantBase_singleton_, variant_ascii_string> {
public:
    constexpr EmptyAsciiStringImpl_() = default;
    ~EmptyAsciiStringImpl_() override = default;
    IVariant_impl_* mutable_impl() const override { return new AsciiStringImpl_(std::string()); }
    int compare_same_type(const IVariant_impl_& other) const override {
        return other.get_ascii_string().empty() ? 0 : -1;
    }
    std::wstring to_string() const override { return {}; }
    void store(out_serialize& out) const override { out.add_string(get_ascii_string()); }
    const std::string& get_ascii_string() const override {
        static const std::string empty;
        return empty;
    }
};

class ZeroIntImpl_ final : public VariantBase_<VariantBase_singleton_, variant_integer> {
public:
    constexpr ZeroIntImpl_() = default;
    ~ZeroIntImpl_() override = default;
    bool is_equal(const IVariant_impl_& other) const override {
        return other.type() == variant_integer && other.get_int() == 0;
    }
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(0, other.get_int());
    }
    std::wstring to_string() const override { return L"0"; }
    void store(out_serialize& out) const override { out << 0; }
    int get_int() const override { return 0; }
    long double get_ldouble() const override { return 0.0L; }
};

class ZeroFloatImpl_ final : public VariantBase_<VariantBase_singleton_, variant_float> {
public:
    constexpr ZeroFloatImpl_() = default;
    ~ZeroFloatImpl_() override = default;
    bool is_equal(const IVariant_impl_& other) const override {
        return other.type() == variant_float &&
               nearly_equal_(static_cast<double>(other.get_ldouble()), 0.0);
    }
    int compare_same_type(const IVariant_impl_& other) const override {
        return compare_floats_(0.0, static_cast<double>(other.get_ldouble()));
    }
    std::wstring to_string() const override { return L"0"; }
    void store(out_serialize& out) const override { out.add_long_double(0.0L); }
    int get_int() const override { return 0; }
    long double get_ldouble() const override { return 0.0L; }
};

template <bool Value>
class BoolSingleton_ : public VariantBase_<VariantBase_singleton_, variant_boolean> {
public:
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(Value, other.get_bool());
    }
    std::wstring to_string() const override { return Value ? L"true" : L"false"; }
    void store(out_serialize& out) const override { out << Value; }
    bool get_bool() const override { return Value; }

protected:
    constexpr BoolSingleton_() = default;
    ~BoolSingleton_() override = default;
};

class FalseBoolImpl_ final : public BoolSingleton_<false> {
public:
    constexpr FalseBoolImpl_() = default;
    ~FalseBoolImpl_() override = default;
};

class TrueBoolImpl_ final : public BoolSingleton_<true> {
public:
    constexpr TrueBoolImpl_() = default;
    ~TrueBoolImpl_() override = default;
};

class DefaultDateImpl_ final : public VariantBase_<VariantBase_singleton_, variant_date> {
public:
    constexpr DefaultDateImpl_() = default;
    ~DefaultDateImpl_() override = default;
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(default_date_value, other.get_date_val());
    }
    std::wstring to_string() const override { return to_wstring(date(default_date_value)); }
    void store(out_serialize& out) const override { out.add_date_val(default_date_value); }
    int get_date_val() const override { return default_date_value; }
};

class DefaultTimeImpl_ final : public VariantBase_<VariantBase_singleton_, variant_time> {
public:
    constexpr DefaultTimeImpl_() = default;
    ~DefaultTimeImpl_() override = default;
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(0, other.get_time_val());
    }
    std::wstring to_string() const override { return to_wstring(time(0)); }
    void store(out_serialize& out) const override { out.add_time_val(0); }
    int get_time_val() const override { return 0; }
};

class DefaultTimestampImpl_ final : public VariantBase_<VariantBase_singleton_, variant_timestamp> {
public:
    constexpr DefaultTimestampImpl_() = default;
    ~DefaultTimestampImpl_() override = default;
    int compare_same_type(const IVariant_impl_& other) const override {
        return three_way_(default_timestamp_value, other.get_timestamp_val());
    }
    std::wstring to_string() const override {
        return to_wstring(timestamp(default_timestamp_value));
    }
    void store(out_serialize& out) const override {
        out.add_timestamp_val(default_timestamp_value);
    }
    std::int64_t get_timestamp_val() const override { return default_timestamp_value; }
};

// The ten singletons, alive for the life of the module.
extern const NoneImpl_ none_singleton;
extern const EmptyStringImpl_ empty_string_singleton;
extern const ZeroIntImpl_ zero_int_singleton;
extern const ZeroFloatImpl_ zero_float_singleton;
extern const FalseBoolImpl_ false_singleton;
extern const TrueBoolImpl_ true_singleton;
extern const DefaultDateImpl_ default_date_singleton;
extern const DefaultTimeImpl_ default_time_singleton;
extern const DefaultTimestampImpl_ default_timestamp_singleton;
extern const EmptyAsciiStringImpl_ empty_ascii_string_singleton;

} // namespace qel::detail
