#include <qel/exception.h>

#include "config/param_line_messages.h"
#include "core/utf8.h"
#include "variant/variant_messages.h"

#include <qel/variant.h>

#include <cstring>

namespace qel {

basic_exception::basic_exception(const char* message) : std::runtime_error(message) {}
basic_exception::basic_exception(const std::string& message)
    : std::runtime_error(message.c_str()) {}
basic_exception::basic_exception(const wchar_t* message)
    : std::runtime_error(detail::to_utf8(message)) {}
basic_exception::basic_exception(const std::wstring& message)
    : std::runtime_error(detail::to_utf8(message).c_str()) {}
basic_exception::~basic_exception() = default;

std::wstring basic_exception::wide_what() const {
    const char* text = what();
    std::wstring out;
    detail::append_wide_from_utf8(out, text, text + std::strlen(text));
    return out;
}

compress_error::compress_error(const char* message, int code)
    : basic_exception(message), code_(code) {}
compress_error::compress_error(const std::string& message, int code)
    : basic_exception(message), code_(code) {}
compress_error::~compress_error() = default;

serialize_error::serialize_error(const char* message) : basic_exception(message) {}
serialize_error::serialize_error(const std::string& message) : basic_exception(message) {}
serialize_error::~serialize_error() = default;

variant_error::variant_error(const char* message) : basic_exception(message) {}
variant_error::variant_error(const std::string& message) : basic_exception(message) {}
variant_error::~variant_error() = default;

variant_type_mismatch::variant_type_mismatch(E_VariantType a, E_VariantType b)
    : variant_error(detail::variant_messages::incompatible_types + variant_type_to_string(a) +
                    detail::variant_messages::type_separator + variant_type_to_string(b)) {}
variant_type_mismatch::~variant_type_mismatch() = default;

variant_range_error::variant_range_error()
    : variant_error(detail::variant_messages::out_of_range) {}
variant_range_error::~variant_range_error() = default;

bad_variant_type::bad_variant_type() : variant_error(detail::variant_messages::bad_type) {}
bad_variant_type::~bad_variant_type() = default;

param_line_error::param_line_error(const std::wstring& name, int code, E_ParamLineItemType type)
    : basic_exception(detail::param_line_messages::message(name, code, type)), name_(name),
      code_(code), type_(type) {}
param_line_error::~param_line_error() = default;

namespace detail {

compress_bad_method_::compress_bad_method_() : compress_error("invalid compression method", 0) {}
compress_bad_method_::~compress_bad_method_() = default;

compress_no_impl_::compress_no_impl_() : compress_error("not implemented", 0) {}
compress_no_impl_::~compress_no_impl_() = default;

} // namespace detail
} // namespace qel
