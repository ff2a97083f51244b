// Error classes of the library. Every exception it defines derives from basic_exception;
// messages are narrow UTF-8 text, readable as wide text through wide_what().
#pragma once

#include <qel/export.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace qel {

enum E_VariantType : std::int32_t;

class QEL_API basic_exception : public std::runtime_error {
public:
    explicit basic_exception(const char* message);
    explicit basic_exception(const std::string& message);
    // Wide messages are stored as UTF-8, one UTF-16 unit at a time.
    explicit basic_exception(const wchar_t* message);
    explicit basic_exception(const std::wstring& message);
    ~basic_exception() override;

    // The what() text decoded from UTF-8.
    std::wstring wide_what() const;
};

// A compression or decompression failure; code() is zlib's error code for "ZLIB error",
// otherwise 0.
class QEL_API compress_error : public basic_exception {
public:
    compress_error(const char* message, int code);
    compress_error(const std::string& message, int code);
    ~compress_error() override;

    int code() const { return code_; }

private:
    int code_;
};

class QEL_API serialize_error : public basic_exception {
public:
    explicit serialize_error(const char* message);
    explicit serialize_error(const std::string& message);
    ~serialize_error() override;
};

class QEL_API variant_error : public basic_exception {
public:
    explicit variant_error(const char* message);
    explicit variant_error(const std::string& message);
    ~variant_error() override;
};

// "incompatible types: " and the texts of both type numbers.
class QEL_API variant_type_mismatch : public variant_error {
public:
    variant_type_mismatch(E_VariantType a, E_VariantType b);
    ~variant_type_mismatch() override;
};

// A value does not fit the 32-bit integer of a variant.
class QEL_API variant_range_error : public variant_error {
public:
    variant_range_error();
    ~variant_range_error() override;
};

// A type number that is not a standard variant type.
class QEL_API bad_variant_type : public variant_error {
public:
    bad_variant_type();
    ~bad_variant_type() override;
};

// Declared in full in param_line.h.
enum E_ParamLineItemType : std::int32_t;

// A parameter line failure: code 1 names could not be loaded, 2 unknown parameter, 3 no main
// parameter, 4 '=' expected, 5 value or setter of the wrong type, 6 no macro, 7 unknown tag.
class QEL_API param_line_error : public basic_exception {
public:
    param_line_error(const std::wstring& name, int code, E_ParamLineItemType type);
    param_line_error(const param_line_error&) = default;
    param_line_error& operator=(const param_line_error&) = default;
    ~param_line_error() override;

    const std::wstring& name() const { return name_; }
    int code() const { return code_; }
    E_ParamLineItemType type() const { return type_; }

private:
    std::wstring name_;
    int code_;
    E_ParamLineItemType type_;
};

namespace detail {

// Unknown compression method code; reaches callers as compress_error.
class QEL_API compress_bad_method_ : public compress_error {
public:
    compress_bad_method_();
    ~compress_bad_method_() override;
};

// An IStream operation that a compression stream does not support.
class QEL_API compress_no_impl_ : public compress_error {
public:
    compress_no_impl_();
    ~compress_no_impl_() override;
};

} // namespace detail
} // namespace qel
