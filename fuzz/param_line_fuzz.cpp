// Arbitrary text as a parameter line over a fixed declaration table with every type, a main
// parameter, sub-lines, arrays and macros. Without diagnostics only an unknown macro tag may
// throw; with them only the parse codes may; every getter throws only its documented codes,
// and a merged line parses back to a line that merges to the same text, unless the main
// parameter's value reads as a name (nothing in a merged line is escaped).
#include <qel/param_line.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const qel::param_line_item items[] = {
    {0, qel::plit_string, L"", 1},         {1, qel::plit_integer, L"0", 0},
    {2, qel::plit_float, L"0", 0},         {3, qel::plit_boolean, L"0", 0},
    {4, qel::plit_date, L"01.01.2000", 0}, {5, qel::plit_time, L"00:00", 0},
    {6, qel::plit_subline, L"", 0},        {7, qel::plit_subline_array, L"", 0},
};

std::wstring names(int id) {
    static const wchar_t* const table[] = {L"m", L"i", L"f", L"b", L"d", L"t", L"s", L"a"};
    return table[id];
}

struct macros : qel::IParamLineMacroProc {
    bool process(int, const std::wstring& tag, std::wstring& value) override {
        if (tag.empty() || tag[0] != L'k')
            return false;
        value = tag.substr(1);
        return true;
    }
};

void check(bool holds) {
    if (!holds)
        std::abort();
}

// Runs f; false when it threw one of the codes.
template <class F> bool expect_codes(F f, std::initializer_list<int> codes) {
    try {
        f();
        return true;
    } catch (const qel::param_line_error& e) {
        bool known = false;
        for (int code : codes)
            known = known || e.code() == code;
        check(known);
        return false;
    }
}

std::wstring merged_of(const qel::param_line& p) {
    std::wstring line;
    p.merge(line);
    return line;
}

std::wstring remerged(const std::wstring& line) {
    macros proc;
    qel::param_line p(items, std::size(items), names, &proc, 0);
    bool parsed = false;
    check(expect_codes([&] { parsed = p.parse(line); }, {}) && parsed);
    return merged_of(p);
}

// A merged line parses back to itself except where its text cannot say what the parameters
// hold: a macro mark kept by a parameter given plain text later is written as the macro, and
// the main parameter is written without its name, so an "=" before any "{" makes it a name.
bool merges_faithfully(const qel::param_line& p) {
    for (int id = 0; id < 8; ++id)
        if (p.is_macro(id) && p.get_string(id) != p.get_macro(id).substr(1))
            return false;
    if (p.is_default(0) || !p.is_valid(0))
        return true;
    const std::wstring text = p.is_macro(0) ? L"@" + p.get_macro(0) : p.get_string(0);
    const auto equals = text.find(L'=');
    return equals == std::wstring::npos || text.find(L'{') < equals;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::wstring line;
    for (std::size_t i = 0; i < size; ++i)
        line.push_back(static_cast<wchar_t>(data[i] == 0xFF ? 0x416 : data[i]));
    macros proc;
    for (std::uint32_t flags : {0u, 1u}) {
        qel::param_line p(items, std::size(items), names, &proc, flags);
        // A macro tag the processor refused stays marked on its parameter: such a line is
        // not expected to merge into one that parses.
        bool whole = true;
        if (flags == 0)
            whole = expect_codes([&] { p.parse(line); }, {7});
        else
            expect_codes([&] { p.parse(line); }, {2, 3, 4, 5, 7});
        for (int id = 0; id < 8; ++id) {
            expect_codes([&] { (void)p.get_int(id); }, {5});
            expect_codes([&] { (void)p.get_double(id); }, {5});
            expect_codes([&] { (void)p.get_bool(id); }, {5});
            expect_codes([&] { (void)p.get_date(id); }, {5});
            expect_codes([&] { (void)p.get_time(id); }, {5});
            expect_codes([&] { (void)p.get_subline(id); }, {5});
            expect_codes([&] { (void)p.get_macro(id); }, {6});
            std::vector<std::wstring> parts;
            expect_codes([&] { p.get_sublinearray(id, parts); }, {5});
        }
        if (flags != 0 || !whole)
            continue;
        if (merges_faithfully(p)) {
            const std::wstring merged = merged_of(p);
            check(remerged(merged) == merged);
        }
    }
    return 0;
}
