// Parameter lines: "name=value;name=value" parsed into parameters the caller declared in a
// table, read back by id through typed getters, and written back with merge().
#pragma once

#include <qel/datetime.h>
#include <qel/exception.h>
#include <qel/export.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace qel {

enum E_ParamLineItemType : std::int32_t {
    plit_none = 0,
    plit_string = 1,
    plit_integer = 2,
    plit_float = 3,
    plit_boolean = 4,
    plit_date = 5,
    plit_time = 6,
    plit_subline = 7,
    plit_subline_array = 8,
};

// One declared parameter. default_value is never null; flags bit 0 marks the main parameter,
// the one the first segment may give without a name.
struct param_line_item {
    std::int32_t id;
    E_ParamLineItemType type;
    const wchar_t* default_value;
    std::uint32_t flags;
};

// Expands macro tags ("@tag" values). The parser never deletes it.
class QEL_API IParamLineMacroProc {
public:
    IParamLineMacroProc() = default;
    IParamLineMacroProc(const IParamLineMacroProc&) = default;
    IParamLineMacroProc& operator=(const IParamLineMacroProc&) = default;
    virtual ~IParamLineMacroProc();

    // Fills value for the tag of parameter id; false when the tag is unknown.
    virtual bool process(int id, const std::wstring& macro, std::wstring& value) = 0;
};

// The parameters of one declaration table. Names come from name_loader(id); flags bit 0
// makes parse failures throw param_line_error instead of returning false. Getters, setters
// and unknown macro tags always throw.
class QEL_API param_line {
public:
    struct param_ {
        param_() = default;
        explicit param_(const param_line_item* it) : item(it) {}

        const param_line_item* item = nullptr;
        std::wstring name;
        std::wstring value;
        std::wstring macro;
        bool is_default = true;
        bool is_valid = true;
        bool is_macro = false;
        std::int32_t order = 0;
    };

    struct order_sort_pred_ {
        bool operator()(const param_* a, const param_* b) const { return a->order < b->order; }
    };

    param_line(const param_line_item* items, std::size_t count, std::wstring (*name_loader)(int),
               IParamLineMacroProc* macro_proc, std::uint32_t flags);
    param_line(const param_line&) = delete;
    param_line& operator=(const param_line&) = delete;
    ~param_line();

    // Adds the line's values to what is already set. False when the braces do not balance
    // (nothing changes) or when a segment failed; earlier segments stay applied.
    bool parse(const std::wstring& line);

    std::wstring get_string(int id) const;
    int get_int(int id) const;
    double get_double(int id) const;
    bool get_bool(int id) const;
    time get_time(int id) const;
    date get_date(int id) const;
    std::wstring get_macro(int id) const;
    // The text inside the outermost braces.
    std::wstring get_subline(int id) const;
    // The inner texts of the top-level brace groups.
    void get_sublinearray(int id, std::vector<std::wstring>& out) const;
    bool is_default(int id) const;
    bool is_valid(int id) const;
    bool is_macro(int id) const;

    // The given, valid parameters in declaration order; the main parameter without its name.
    void merge(std::wstring& out) const;

    // Setters throw code 5 when the parameter is declared with another type.
    void set_string(int id, const std::wstring& value);
    void set_int(int id, int value);
    void set_double(int id, double value);
    void set_bool(int id, bool value);
    void set_time(int id, const time& value);
    void set_date(int id, const date& value);
    void set_subline(int id, const std::wstring& value);
    void set_sublinearray(int id, const std::vector<std::wstring>& value);
    // Marks the value as coming from the tag; the processor is not called.
    void set_macro(int id, const std::wstring& macro);
    void set_default(int id);

private:
    using map_type = std::map<std::wstring, param_>;

    std::wstring name_(int id) const;
    void diagnostics_(const std::wstring& name, int code, E_ParamLineItemType type) const;
    bool parse_param_(const std::wstring& segment, bool first);
    bool set_value_with_check_(param_& param, const std::wstring& text);
    bool verify_value_(param_& param) const;
    static std::wstring vstr_(const param_& param);
    const param_& get_param_(int id) const;
    param_& set_param_(int id);
    void check_type_(const param_& param, E_ParamLineItemType type) const;
    static bool is_main_param_(const map_type::value_type& entry);

    map_type params_;
    std::wstring (*name_loader_)(int);
    IParamLineMacroProc* macro_proc_;
    std::uint32_t flags_;
};

} // namespace qel
