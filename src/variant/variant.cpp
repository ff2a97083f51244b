#include "variant/variant_impl.h"
#include "variant/variant_messages.h"

#include <qel/exception.h>
#include <qel/serialize.h>
#include <qel/variant.h>

#include <limits>

namespace qel {
namespace detail {

// Constant-initialised, so variants built during other modules' static initialisation
// already find them.
constinit const NoneImpl_ none_singleton;
constinit const EmptyStringImpl_ empty_string_singleton;
constinit const ZeroIntImpl_ zero_int_singleton;
constinit const ZeroFloatImpl_ zero_float_singleton;
constinit const FalseBoolImpl_ false_singleton;
constinit const TrueBoolImpl_ true_singleton;
constinit const DefaultDateImpl_ default_date_singleton;
constinit const DefaultTimeImpl_ default_time_singleton;
constinit const DefaultTimestampImpl_ default_timestamp_singleton;
constinit const EmptyAsciiStringImpl_ empty_ascii_string_singleton;

void throw_type_mismatch_(E_VariantType held, E_VariantType wanted) {
    throw variant_type_mismatch(held, wanted);
}

void chk_standard_impl_(E_VariantType t) {
    if (t >= 100 && t <= 1100)
        throw bad_variant_type();
}

IVariant_impl_::~IVariant_impl_() = default;

VariantBase_regular_::~VariantBase_regular_() = default;

void VariantBase_regular_::release() const {
    delete this;
}

IVariant_impl_* VariantBase_regular_::mutable_impl() const {
    return const_cast<VariantBase_regular_*>(this);
}

bool VariantBase_regular_::is_equal(const IVariant_impl_& other) const {
    return type() == other.type() && is_equal_same_type(other);
}

int VariantBase_regular_::compare(const IVariant_impl_& other) const {
    const E_VariantType a = type();
    const E_VariantType b = other.type();
    if (a != b)
        return a < b ? -1 : 1;
    return compare_same_type(other);
}

VariantBase_singleton_::~VariantBase_singleton_() = default;

void VariantBase_singleton_::release() const {}

const IVariant_impl_* VariantBase_singleton_::clone() const {
    return this;
}

IVariant_impl_* VariantBase_singleton_::mutable_impl() const {
    throw variant_error(variant_messages::immutable_impl);
}

bool VariantBase_singleton_::is_equal(const IVariant_impl_& other) const {
    return this == &other;
}

int VariantBase_singleton_::compare(const IVariant_impl_& other) const {
    if (this == &other)
        return 0;
    const E_VariantType a = type();
    const E_VariantType b = other.type();
    if (a != b)
        return a < b ? -1 : 1;
    return compare_same_type(other);
}

namespace {

int narrow_long_(long long value) {
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
        throw variant_range_error();
    return static_cast<int>(value);
}

} // namespace
} // namespace detail

using detail::IVariant_impl_;

// Construction

const IVariant_impl_* variant::construct_none_() noexcept {
    return &detail::none_singleton;
}

const IVariant_impl_* variant::construct_string_(const std::wstring& value) {
    if (value.empty())
        return &detail::empty_string_singleton;
    return new detail::StringImpl_(value);
}
const IVariant_impl_* variant::construct_string_(std::wstring&& value) {
    if (value.empty())
        return &detail::empty_string_singleton;
    return new detail::StringImpl_(std::move(value));
}
const IVariant_impl_* variant::construct_string_(const wchar_t* value) {
    if (value == nullptr || *value == 0)
        return &detail::empty_string_singleton;
    return new detail::StringImpl_(value);
}
const IVariant_impl_* variant::construct_string_(const wchar_t* data, std::uint64_t length) {
    if (length == 0)
        return &detail::empty_string_singleton;
    return new detail::StringImpl_(std::wstring(data, static_cast<std::size_t>(length)));
}

const IVariant_impl_* variant::construct_int_(int value) {
    if (value == 0)
        return &detail::zero_int_singleton;
    return new detail::IntImpl_(value);
}

const IVariant_impl_* variant::construct_float_(long double value) {
    // -0.0 compares equal to 0 and shares the singleton.
    if (value == 0)
        return &detail::zero_float_singleton;
    return new detail::FloatImpl_(static_cast<double>(value));
}

const IVariant_impl_* variant::construct_bool_(bool value) noexcept {
    if (value)
        return &detail::true_singleton;
    return &detail::false_singleton;
}

const IVariant_impl_* variant::construct_date_(int day_value) {
    if (day_value == detail::default_date_value)
        return &detail::default_date_singleton;
    return new detail::DateImpl_(day_value);
}

const IVariant_impl_* variant::construct_time_(int time_value) {
    if (time_value == 0)
        return &detail::default_time_singleton;
    return new detail::TimeImpl_(time_value);
}

const IVariant_impl_* variant::construct_timestamp_(std::int64_t count) {
    if (count == detail::default_timestamp_value)
        return &detail::default_timestamp_singleton;
    return new detail::TimestampImpl_(count);
}

const IVariant_impl_* variant::construct_ascii_string_(const std::string& value) {
    if (value.empty())
        return &detail::empty_ascii_string_singleton;
    return new detail::AsciiStringImpl_(value);
}
const IVariant_impl_* variant::construct_ascii_string_(std::string&& value) {
    if (value.empty())
        return &detail::empty_ascii_string_singleton;
    return new detail::AsciiStringImpl_(std::move(value));
}
const IVariant_impl_* variant::construct_ascii_string_(const char* value) {
    if (value == nullptr || *value == 0)
        return &detail::empty_ascii_string_singleton;
    return new detail::AsciiStringImpl_(value);
}
const IVariant_impl_* variant::construct_ascii_string_(const char* data, std::uint64_t length) {
    if (length == 0)
        return &detail::empty_ascii_string_singleton;
    return new detail::AsciiStringImpl_(std::string(data, static_cast<std::size_t>(length)));
}

const IVariant_impl_* variant::construct_type_(E_VariantType t) {
    switch (t) {
    case variant_none:
        return &detail::none_singleton;
    case variant_string:
        return &detail::empty_string_singleton;
    case variant_integer:
        return &detail::zero_int_singleton;
    case variant_float:
        return &detail::zero_float_singleton;
    case variant_boolean:
        return &detail::false_singleton;
    case variant_date:
        return &detail::default_date_singleton;
    case variant_time:
        return &detail::default_time_singleton;
    case variant_timestamp:
        return &detail::default_timestamp_singleton;
    case variant_ascii_string:
        return &detail::empty_ascii_string_singleton;
    default:
        throw bad_variant_type();
    }
}

const IVariant_impl_* variant::construct_serial_(E_VariantType t, const in_serialize& in) {
    switch (t) {
    case variant_none:
        return construct_none_();
    case variant_string: {
        std::wstring value;
        in >> value;
        return construct_string_(std::move(value));
    }
    case variant_integer: {
        int value = 0;
        in >> value;
        return construct_int_(value);
    }
    case variant_float: {
        long double value = 0;
        in >> value;
        return construct_float_(value);
    }
    case variant_boolean: {
        bool value = false;
        in >> value;
        return construct_bool_(value);
    }
    case variant_date:
        return construct_date_(in.extract_date());
    case variant_time:
        return construct_time_(in.extract_time());
    case variant_timestamp:
        return construct_timestamp_(in.extract_chrono());
    case variant_ascii_string: {
        std::string value;
        in >> value;
        return construct_ascii_string_(std::move(value));
    }
    default:
        throw bad_variant_type();
    }
}

const IVariant_impl_* variant::construct_serial_(const in_serialize& in) {
    const E_VariantType t = load_variant_type(in);
    return construct_serial_(t, in);
}

variant::variant() noexcept : ptr_(construct_none_()) {}
variant::variant(E_VariantType t) : ptr_(construct_type_(t)) {}
variant::variant(const std::wstring& value) : ptr_(construct_string_(value)) {}
variant::variant(std::wstring&& value) : ptr_(construct_string_(std::move(value))) {}
variant::variant(const wchar_t* value) : ptr_(construct_string_(value)) {}
variant::variant(const wchar_t* data, std::uint64_t length)
    : ptr_(construct_string_(data, length)) {}
variant::variant(int value) : ptr_(construct_int_(value)) {}
variant::variant(long value) : ptr_(construct_int_(detail::narrow_long_(value))) {}
variant::variant(long long value) : ptr_(construct_int_(detail::narrow_long_(value))) {}
variant::variant(float value) : ptr_(construct_float_(value)) {}
variant::variant(double value) : ptr_(construct_float_(value)) {}
variant::variant(long double value) : ptr_(construct_float_(value)) {}
variant::variant(bool value) : ptr_(construct_bool_(value)) {}
variant::variant(const date& value) : ptr_(construct_date_(value.get())) {}
variant::variant(const time& value) : ptr_(construct_time_(value.get())) {}
variant::variant(const timestamp& value) : ptr_(construct_timestamp_(value.get())) {}
variant::variant(date_aux_, int day_value) : ptr_(construct_date_(day_value)) {}
variant::variant(time_aux_, int time_value) : ptr_(construct_time_(time_value)) {}
variant::variant(timestamp_aux_, std::int64_t count) : ptr_(construct_timestamp_(count)) {}
variant::variant(const std::string& value) : ptr_(construct_ascii_string_(value)) {}
variant::variant(std::string&& value) : ptr_(construct_ascii_string_(std::move(value))) {}
variant::variant(const char* value) : ptr_(construct_ascii_string_(value)) {}
variant::variant(const char* data, std::uint64_t length)
    : ptr_(construct_ascii_string_(data, length)) {}
variant::variant(const in_serialize& in) : ptr_(construct_serial_(in)) {}
variant::variant(const variant& other) : ptr_(other.ptr_->clone()) {}
variant::variant(variant&& other) noexcept : ptr_(other.ptr_) {
    other.ptr_ = construct_none_();
}

variant::variant(const detail::no_custom_aux_&, const variant& other) : ptr_(construct_none_()) {
    detail::chk_standard_impl_(other.type());
    ptr_ = other.ptr_->clone();
}

variant::variant(const detail::no_custom_aux_&, variant&& other) : ptr_(construct_none_()) {
    detail::chk_standard_impl_(other.type());
    std::swap(ptr_, other.ptr_);
}

variant::~variant() {
    ptr_->release();
}

variant& variant::operator=(const variant& other) {
    replace_(other.ptr_->clone());
    return *this;
}

variant& variant::operator=(variant&& other) noexcept {
    if (this != &other) {
        ptr_->release();
        ptr_ = other.ptr_;
        other.ptr_ = construct_none_();
    }
    return *this;
}

void variant::swap(variant& other) noexcept {
    std::swap(ptr_, other.ptr_);
}

void variant::replace_(const IVariant_impl_* impl) noexcept {
    const IVariant_impl_* old = ptr_;
    ptr_ = impl;
    old->release();
}

// Setters

void variant::set_none() noexcept {
    replace_(construct_none_());
}
void variant::set_type(E_VariantType t) {
    replace_(construct_type_(t));
}
void variant::set_string(const std::wstring& value) {
    replace_(construct_string_(value));
}
void variant::set_string(std::wstring&& value) {
    replace_(construct_string_(std::move(value)));
}
void variant::set_string(const wchar_t* value) {
    replace_(construct_string_(value));
}
void variant::set_string(const wchar_t* data, std::uint64_t length) {
    replace_(construct_string_(data, length));
}
void variant::set_int(int value) {
    replace_(construct_int_(value));
}
void variant::set_long(long value) {
    replace_(construct_int_(detail::narrow_long_(value)));
}
void variant::set_long(long long value) {
    replace_(construct_int_(detail::narrow_long_(value)));
}
void variant::set_float32(float value) {
    replace_(construct_float_(value));
}
void variant::set_double(double value) {
    replace_(construct_float_(value));
}
void variant::set_ldouble(long double value) {
    replace_(construct_float_(value));
}
void variant::set_bool(bool value) {
    replace_(construct_bool_(value));
}
void variant::set_date(const date& value) {
    replace_(construct_date_(value.get()));
}
void variant::set_time(const time& value) {
    replace_(construct_time_(value.get()));
}
void variant::set_timestamp(const timestamp& value) {
    replace_(construct_timestamp_(value.get()));
}
void variant::set_date_val(int day_value) {
    replace_(construct_date_(day_value));
}
void variant::set_time_val(int time_value) {
    replace_(construct_time_(time_value));
}
void variant::set_timestamp_val(std::int64_t count) {
    replace_(construct_timestamp_(count));
}
void variant::set_ascii_string(const std::string& value) {
    replace_(construct_ascii_string_(value));
}
void variant::set_ascii_string(std::string&& value) {
    replace_(construct_ascii_string_(std::move(value)));
}
void variant::set_ascii_string(const char* value) {
    replace_(construct_ascii_string_(value));
}
void variant::set_ascii_string(const char* data, std::uint64_t length) {
    replace_(construct_ascii_string_(data, length));
}

// Getters

const std::wstring& variant::get_string() const {
    return ptr_->get_string();
}
int variant::get_int() const {
    return ptr_->get_int();
}
long variant::get_long() const {
    return ptr_->get_int();
}
int variant::get_int32() const {
    return ptr_->get_int();
}
float variant::get_float32() const {
    return static_cast<float>(ptr_->get_ldouble());
}
double variant::get_double() const {
    return static_cast<double>(ptr_->get_ldouble());
}
long double variant::get_ldouble() const {
    return ptr_->get_ldouble();
}
bool variant::get_bool() const {
    return ptr_->get_bool();
}
int variant::get_date_val() const {
    return ptr_->get_date_val();
}
date variant::get_date() const {
    return date(ptr_->get_date_val());
}
int variant::get_time_val() const {
    return ptr_->get_time_val();
}
time variant::get_time() const {
    return time(ptr_->get_time_val());
}
std::int64_t variant::get_timestamp_val() const {
    return ptr_->get_timestamp_val();
}
timestamp variant::get_timestamp() const {
    return timestamp(ptr_->get_timestamp_val());
}
const std::string& variant::get_ascii_string() const {
    return ptr_->get_ascii_string();
}
E_VariantType variant::type() const {
    return ptr_->type();
}

std::wstring& variant::modify_string() {
    return make_mutable_impl_(variant_string)->modify_string();
}

std::string& variant::modify_ascii_string() {
    return make_mutable_impl_(variant_ascii_string)->modify_ascii_string();
}

bool variant::is_equal(const variant& other) const {
    return ptr_->is_equal(*other.ptr_);
}
int variant::compare(const variant& other) const {
    return ptr_->compare(*other.ptr_);
}
std::wstring variant::to_string() const {
    return ptr_->to_string();
}

void variant::store(out_serialize& out) const {
    store_variant_type(out, type());
    ptr_->store(out);
}

void variant::load(const in_serialize& in) {
    replace_(construct_serial_(in));
}

// Derived classes

void variant::set_impl_(const IVariant_impl_* impl) {
    replace_(impl);
}

IVariant_impl_* variant::make_mutable_impl_() {
    IVariant_impl_* impl = ptr_->mutable_impl();
    if (impl != ptr_)
        replace_(impl);
    return impl;
}

IVariant_impl_* variant::make_mutable_impl_(E_VariantType t) {
    const E_VariantType held = type();
    if (held != t)
        throw variant_type_mismatch(t, held);
    return make_mutable_impl_();
}

} // namespace qel
