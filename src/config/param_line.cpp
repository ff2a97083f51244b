#include <qel/param_line.h>

#include "config/decimal_text.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cwchar>
#include <locale>
#include <sstream>
#include <utility>

namespace qel {

IParamLineMacroProc::~IParamLineMacroProc() = default;

namespace {

bool is_blank(wchar_t c) {
    return c == L' ' || c == L'\t';
}

std::wstring trim_blanks(const std::wstring& text) {
    std::size_t first = 0;
    std::size_t last = text.size();
    while (first < last && is_blank(text[first]))
        ++first;
    while (last > first && is_blank(text[last - 1]))
        --last;
    return text.substr(first, last - first);
}

// Position of the '}' closing the '{' at open, or npos when the text ends first.
std::size_t matching_brace(const std::wstring& text, std::size_t open) {
    int depth = 1;
    for (std::size_t i = open + 1; i < text.size(); ++i) {
        if (text[i] == L'{')
            ++depth;
        else if (text[i] == L'}' && --depth == 0)
            return i;
    }
    return std::wstring::npos;
}

bool split_segments(const std::wstring& line, std::vector<std::wstring>& segments) {
    std::size_t start = 0;
    std::size_t pos = 0;
    for (;;) {
        pos = line.find_first_of(L";{", pos);
        if (pos == std::wstring::npos)
            break;
        if (line[pos] == L'{') {
            pos = matching_brace(line, pos);
            if (pos == std::wstring::npos)
                return false;
            ++pos;
            continue;
        }
        if (pos > start)
            segments.push_back(line.substr(start, pos - start));
        start = ++pos;
    }
    if (start < line.size())
        segments.push_back(line.substr(start));
    return true;
}

bool is_c_space(wchar_t c) {
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}

// wcstod's grammar in the "C" locale: from_chars has no locale, but takes neither leading
// white space, a '+' nor the "0x" of hexadecimal floats, so those are handled here.
bool to_double(const std::wstring& text, double& out) {
    std::size_t i = 0;
    while (i < text.size() && is_c_space(text[i]))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == L'+' || text[i] == L'-'))
        negative = text[i++] == L'-';
    std::string narrow;
    narrow.reserve(text.size() - i);
    for (std::size_t k = i; k < text.size(); ++k) {
        const auto c = static_cast<std::int64_t>(text[k]);
        if (c < 1 || c > 0x7e)
            return false;
        narrow.push_back(static_cast<char>(text[k]));
    }
    if (narrow.empty() || narrow[0] == '+' || narrow[0] == '-')
        return false;
    auto format = std::chars_format::general;
    std::size_t skip = 0;
    if (narrow.size() > 2 && narrow[0] == '0' && (narrow[1] == 'x' || narrow[1] == 'X')) {
        format = std::chars_format::hex;
        skip = 2;
    }
    const char* first = narrow.data() + skip;
    const char* last = narrow.data() + narrow.size();
    if (skip != 0 && (*first == '+' || *first == '-'))
        return false;
    double value = 0;
    const auto result = std::from_chars(first, last, value, format);
    if (result.ec != std::errc{} || result.ptr != last)
        return false;
    out = negative ? -value : value;
    return true;
}

bool to_bool(const std::wstring& text, bool& out) {
    int value = 0;
    if (!detail::read_decimal(text, value) || (value != 0 && value != 1))
        return false;
    out = value == 1;
    return true;
}

bool to_subline(const std::wstring& text, std::wstring& out) {
    if (text.empty()) {
        out.clear();
        return true;
    }
    const std::size_t open = text.find(L'{');
    const std::size_t close = text.rfind(L'}');
    if (open == std::wstring::npos || close == std::wstring::npos || open > close)
        return false;
    out = text.substr(open + 1, close - open - 1);
    return true;
}

bool to_subline_array(const std::wstring& text, std::vector<std::wstring>& out) {
    out.clear();
    std::size_t pos = 0;
    for (;;) {
        const std::size_t open = text.find(L'{', pos);
        if (open == std::wstring::npos)
            return true;
        const std::size_t close = matching_brace(text, open);
        if (close == std::wstring::npos)
            return false;
        out.push_back(text.substr(open + 1, close - open - 1));
        pos = close + 1;
    }
}

bool converts_to(const std::wstring& text, E_ParamLineItemType type) {
    switch (type) {
    case plit_string:
        return true;
    case plit_integer: {
        int v = 0;
        return detail::read_decimal(text, v);
    }
    case plit_float: {
        double v = 0;
        return to_double(text, v);
    }
    case plit_boolean: {
        bool v = false;
        return to_bool(text, v);
    }
    case plit_date: {
        date v;
        return from_str(text, v);
    }
    case plit_time: {
        time v;
        return from_str(text, v);
    }
    case plit_subline: {
        std::wstring v;
        return to_subline(text, v);
    }
    case plit_subline_array: {
        std::vector<std::wstring> v;
        return to_subline_array(text, v);
    }
    default:
        return false;
    }
}

} // namespace

param_line::param_line(const param_line_item* items, std::size_t count,
                       std::wstring (*name_loader)(int), IParamLineMacroProc* macro_proc,
                       std::uint32_t flags)
    : name_loader_(name_loader), macro_proc_(macro_proc), flags_(flags) {
    for (std::size_t i = 0; i < count; ++i) {
        param_ param(&items[i]);
        param.name = name_(items[i].id);
        param.order = static_cast<std::int32_t>(i);
        params_.emplace(param.name, std::move(param));
    }
}

param_line::~param_line() = default;

std::wstring param_line::name_(int id) const {
    std::wstring name;
    if (name_loader_ != nullptr)
        name = name_loader_(id);
    if (name.empty())
        throw param_line_error(std::wstring(), 1, plit_none);
    return name;
}

void param_line::diagnostics_(const std::wstring& name, int code, E_ParamLineItemType type) const {
    if ((flags_ & 1u) != 0)
        throw param_line_error(name, code, type);
}

bool param_line::is_main_param_(const map_type::value_type& entry) {
    return (entry.second.item->flags & 1u) != 0;
}

bool param_line::parse(const std::wstring& line) {
    std::vector<std::wstring> segments;
    if (!split_segments(line, segments))
        return false;
    bool ok = true;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        if (!parse_param_(segments[i], i == 0))
            ok = false;
    }
    return ok;
}

bool param_line::parse_param_(const std::wstring& segment, bool first) {
    std::size_t equals = segment.find(L'=');
    if (equals != std::wstring::npos && segment.find(L'{') < equals)
        equals = std::wstring::npos;
    if (equals == std::wstring::npos) {
        if (!first) {
            diagnostics_(segment, 4, plit_none);
            return false;
        }
        const auto main = std::find_if(params_.begin(), params_.end(), is_main_param_);
        if (main == params_.end()) {
            diagnostics_(segment, 3, plit_none);
            return false;
        }
        return set_value_with_check_(main->second, segment);
    }
    const std::wstring name = trim_blanks(segment.substr(0, equals));
    const auto found = params_.find(name);
    if (found == params_.end()) {
        diagnostics_(name, 2, plit_none);
        return false;
    }
    return set_value_with_check_(found->second, segment.substr(equals + 1));
}

bool param_line::set_value_with_check_(param_& param, const std::wstring& text) {
    const std::wstring trimmed = trim_blanks(text);
    if (!trimmed.empty() && trimmed[0] == L'@') {
        param.macro = trimmed.substr(1);
        param.is_macro = true;
        if (macro_proc_ == nullptr ||
            !macro_proc_->process(param.item->id, param.macro, param.value))
            throw param_line_error(param.macro, 7, plit_none);
    } else {
        param.value = trimmed;
    }
    param.is_default = false;
    return verify_value_(param);
}

bool param_line::verify_value_(param_& param) const {
    param.is_valid = converts_to(vstr_(param), param.item->type);
    if (!param.is_valid)
        diagnostics_(param.name, 5, param.item->type);
    return param.is_valid;
}

std::wstring param_line::vstr_(const param_& param) {
    return param.is_default ? std::wstring(param.item->default_value) : param.value;
}

const param_line::param_& param_line::get_param_(int id) const {
    const std::wstring name = name_(id);
    const auto found = params_.find(name);
    if (found == params_.end())
        throw param_line_error(name, 2, plit_none);
    return found->second;
}

param_line::param_& param_line::set_param_(int id) {
    param_& param = const_cast<param_&>(std::as_const(*this).get_param_(id));
    param.is_default = false;
    param.is_valid = true;
    param.is_macro = false;
    return param;
}

void param_line::check_type_(const param_& param, E_ParamLineItemType type) const {
    if (param.item->type != type)
        throw param_line_error(param.name, 5, type);
}

namespace {

template <class T, class Convert>
T get_converted(const param_line::param_& param, const std::wstring& text, Convert convert,
                E_ParamLineItemType type) {
    T value{};
    if (!convert(text, value))
        throw param_line_error(param.name, 5, type);
    return value;
}

} // namespace

std::wstring param_line::get_string(int id) const {
    return vstr_(get_param_(id));
}

int param_line::get_int(int id) const {
    const param_& p = get_param_(id);
    return get_converted<int>(p, vstr_(p), detail::read_decimal, plit_integer);
}

double param_line::get_double(int id) const {
    const param_& p = get_param_(id);
    return get_converted<double>(p, vstr_(p), to_double, plit_float);
}

bool param_line::get_bool(int id) const {
    const param_& p = get_param_(id);
    return get_converted<bool>(p, vstr_(p), to_bool, plit_boolean);
}

time param_line::get_time(int id) const {
    const param_& p = get_param_(id);
    return get_converted<time>(
        p, vstr_(p), [](const std::wstring& t, time& v) { return from_str(t, v); }, plit_time);
}

date param_line::get_date(int id) const {
    const param_& p = get_param_(id);
    return get_converted<date>(
        p, vstr_(p), [](const std::wstring& t, date& v) { return from_str(t, v); }, plit_date);
}

std::wstring param_line::get_macro(int id) const {
    const param_& p = get_param_(id);
    if (!p.is_macro)
        throw param_line_error(p.name, 6, plit_none);
    return p.macro;
}

std::wstring param_line::get_subline(int id) const {
    const param_& p = get_param_(id);
    return get_converted<std::wstring>(p, vstr_(p), to_subline, plit_subline);
}

void param_line::get_sublinearray(int id, std::vector<std::wstring>& out) const {
    const param_& p = get_param_(id);
    if (!to_subline_array(vstr_(p), out))
        throw param_line_error(p.name, 5, plit_subline_array);
}

bool param_line::is_default(int id) const {
    return get_param_(id).is_default;
}
bool param_line::is_valid(int id) const {
    return get_param_(id).is_valid;
}
bool param_line::is_macro(int id) const {
    return get_param_(id).is_macro;
}

void param_line::merge(std::wstring& out) const {
    out.clear();
    std::vector<const param_*> given;
    for (const auto& entry : params_) {
        if (entry.second.is_valid && !entry.second.is_default)
            given.push_back(&entry.second);
    }
    std::sort(given.begin(), given.end(), order_sort_pred_());
    for (const param_* p : given) {
        const std::wstring text = p->is_macro ? L"@" + p->macro : p->value;
        const std::wstring piece = (p->item->flags & 1u) != 0 ? text : p->name + L"=" + text;
        if (piece.empty())
            continue;
        if (!out.empty())
            out += L';';
        out += piece;
    }
}

void param_line::set_string(int id, const std::wstring& value) {
    param_& p = set_param_(id);
    check_type_(p, plit_string);
    p.value = value;
}

void param_line::set_int(int id, int value) {
    param_& p = set_param_(id);
    check_type_(p, plit_integer);
    p.value = detail::decimal_text(value);
}

void param_line::set_double(int id, double value) {
    param_& p = set_param_(id);
    check_type_(p, plit_float);
    std::wostringstream out;
    out.imbue(std::locale::classic());
    out.precision(15);
    out << value;
    p.value = out.str();
}

void param_line::set_bool(int id, bool value) {
    param_& p = set_param_(id);
    check_type_(p, plit_boolean);
    p.value = value ? L"1" : L"0";
}

void param_line::set_time(int id, const time& value) {
    param_& p = set_param_(id);
    check_type_(p, plit_time);
    p.value = to_wstring(value);
}

void param_line::set_date(int id, const date& value) {
    param_& p = set_param_(id);
    check_type_(p, plit_date);
    p.value = to_wstring(value);
}

void param_line::set_subline(int id, const std::wstring& value) {
    param_& p = set_param_(id);
    check_type_(p, plit_subline);
    p.value = L"{" + value + L"}";
}

void param_line::set_sublinearray(int id, const std::vector<std::wstring>& value) {
    param_& p = set_param_(id);
    check_type_(p, plit_subline_array);
    p.value.clear();
    for (const std::wstring& element : value)
        p.value += L"{" + element + L"}";
}

void param_line::set_macro(int id, const std::wstring& macro) {
    param_& p = set_param_(id);
    p.macro = macro;
    p.is_macro = true;
}

void param_line::set_default(int id) {
    param_& p = set_param_(id);
    p.value.clear();
    p.is_default = true;
}

} // namespace qel
