#include <qel/profile.h>
#include <qel/stream.h>

#include "config/decimal_text.h"
#include "config/profile_format.h"
#include "config/profile_save.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cwchar>
#include <locale>
#include <map>
#include <memory>

namespace qel {
namespace detail {
namespace {

// Orders names by their upper-case code units (unsigned) under the global locale of the
// time the map is made, the shorter first on a common prefix, so that names differing in
// case are one name. ASCII is looked up in a table made once per map, since the facet's
// virtual call would dominate every comparison.
class name_less {
public:
    using is_transparent = void;
    name_less() : facet_(&std::use_facet<std::ctype<wchar_t>>(locale_)) {
        for (std::size_t c = 0; c < ascii_.size(); ++c)
            ascii_[c] = facet_->toupper(static_cast<wchar_t>(c));
    }

    bool operator()(std::wstring_view a, std::wstring_view b) const {
        const std::size_t n = std::min(a.size(), b.size());
        for (std::size_t i = 0; i < n; ++i) {
            const auto ua = static_cast<std::uint32_t>(upper(a[i]));
            const auto ub = static_cast<std::uint32_t>(upper(b[i]));
            if (ua != ub)
                return ua < ub;
        }
        return a.size() < b.size();
    }

private:
    wchar_t upper(wchar_t c) const {
        return static_cast<std::uint32_t>(c) < ascii_.size() ? ascii_[static_cast<std::size_t>(c)]
                                                             : facet_->toupper(c);
    }

    std::locale locale_; // keeps the facet alive
    const std::ctype<wchar_t>* facet_;
    std::array<wchar_t, 128> ascii_{};
};

struct key_record {
    std::wstring value;
    std::int32_t line = -1;
    std::int32_t sequence = 0;
};

using key_map = std::map<std::wstring, key_record, name_less>;

struct section_record {
    key_map keys;
    std::int32_t line = -1;
    std::int32_t sequence = 0;
};

using section_map = std::map<std::wstring, section_record, name_less>;

template <class Record> bool by_sequence_then_line(const Record* a, const Record* b) {
    return a->sequence != b->sequence ? a->sequence < b->sequence : a->line < b->line;
}

bool extends_prefix(std::wstring_view prefix, std::wstring_view name) {
    if (name.size() <= prefix.size())
        return false;
    const auto& facet = std::use_facet<std::ctype<wchar_t>>(std::locale());
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        if (facet.tolower(name[i]) != facet.tolower(prefix[i]))
            return false;
    }
    return true;
}

std::wstring replace_all(std::wstring text, wchar_t from, wchar_t to) {
    std::replace(text.begin(), text.end(), from, to);
    return text;
}

std::wstring widen(const std::string& text) {
    std::wstring out;
    char_to_wide(text, out, text_encoding());
    return out;
}

std::string narrow(const std::wstring& text) {
    std::string out;
    wide_to_char(text, out, text_encoding());
    return out;
}

} // namespace

class Profile_impl_ {
public:
    explicit Profile_impl_(const std::wstring& file_name) : file_name_(file_name) {
        text_file_stream in(file_name, file_stream_mode::read(),
                            text_encoding(flag_detect_signature));
        std::wstring line;
        while (in.ok()) {
            line.assign(1, L'\n'); // no line read holds a LF: tells a read that did nothing
            in.read_line(line);
            if (line.size() == 1 && line[0] == L'\n')
                break;
            if (!in.error())
                lines_.push_back(std::move(line));
        }
        build_index();
    }

    void build_index() {
        sections_.clear();
        section_record* current = nullptr;
        for (std::size_t i = 0; i < lines_.size(); ++i) {
            std::wstring_view name;
            std::wstring_view value;
            const auto line = static_cast<std::int32_t>(i);
            switch (classify_profile_line(lines_[i], name, value)) {
            case profile_line::section: {
                auto found = sections_.find(name);
                if (found == sections_.end()) {
                    found = sections_.emplace(std::wstring(name), section_record()).first;
                    found->second.line = line;
                }
                current = &found->second;
                break;
            }
            case profile_line::key:
                if (current != nullptr && current->keys.find(name) == current->keys.end())
                    current->keys.emplace(std::wstring(name),
                                          key_record{std::wstring(value), line, 0});
                break;
            default:
                break;
            }
        }
        counter_ = 0;
    }

    const key_record* find_key(std::wstring_view section, std::wstring_view key) const {
        const auto s = sections_.find(section);
        if (s == sections_.end())
            return nullptr;
        const auto k = s->second.keys.find(key);
        return k == s->second.keys.end() ? nullptr : &k->second;
    }

    void write(std::wstring_view section, std::wstring_view key, const std::wstring& value) {
        auto s = sections_.find(section);
        if (s == sections_.end()) {
            s = sections_.emplace(std::wstring(section), section_record()).first;
            s->second.sequence = ++counter_;
        }
        auto k = s->second.keys.find(key);
        if (k == s->second.keys.end()) {
            k = s->second.keys.emplace(std::wstring(key), key_record()).first;
            k->second.sequence = ++counter_;
        } else if (k->second.value == value) {
            return;
        }
        k->second.value = value;
        modified_ = true;
    }

    // Every stored line index above `after` moves by delta.
    void shift_lines(std::int32_t after, std::int32_t delta) {
        for (auto& [name, section] : sections_) {
            if (section.line > after)
                section.line += delta;
            for (auto& [key, record] : section.keys) {
                if (record.line > after)
                    record.line += delta;
            }
        }
    }

    void insert_line(std::int32_t after, std::wstring text) {
        if (after < 0 || static_cast<std::size_t>(after) + 1 >= lines_.size()) {
            lines_.push_back(std::move(text));
            return;
        }
        lines_.insert(lines_.begin() + after + 1, std::move(text));
        shift_lines(after, 1);
    }

    bool erase(std::wstring_view section, std::wstring_view key) {
        const auto s = sections_.find(section);
        if (s == sections_.end())
            return false;
        const auto k = s->second.keys.find(key);
        if (k == s->second.keys.end())
            return false;
        const std::int32_t line = k->second.line;
        s->second.keys.erase(k);
        if (line != -1 && static_cast<std::size_t>(line) < lines_.size()) {
            lines_.erase(lines_.begin() + line);
            shift_lines(line, -1);
        }
        modified_ = true;
        return true;
    }

    bool erase_section(std::wstring_view section) {
        const auto s = sections_.find(section);
        if (s == sections_.end())
            return false;
        const std::int32_t header = s->second.line;
        if (header != -1 && static_cast<std::size_t>(header) < lines_.size()) {
            std::int32_t first = header;
            while (first > 0 && lines_[static_cast<std::size_t>(first - 1)].empty())
                --first;
            std::int32_t last = header;
            for (const auto& [key, record] : s->second.keys)
                last = std::max(last, record.line);
            sections_.erase(s);
            const auto end = std::min(static_cast<std::size_t>(last) + 1, lines_.size());
            lines_.erase(lines_.begin() + first, lines_.begin() + static_cast<std::ptrdiff_t>(end));
            shift_lines(last, first - last - 1);
        } else {
            sections_.erase(s);
        }
        modified_ = true;
        return true;
    }

    void merge() {
        std::vector<std::pair<const std::wstring*, section_record*>> order;
        for (auto& [name, section] : sections_)
            order.emplace_back(&name, &section);
        std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) {
            return by_sequence_then_line(a.second, b.second);
        });
        bool trimmed = false;
        for (const auto& [name, section] : order) {
            std::vector<std::pair<const std::wstring*, key_record*>> keys;
            for (auto& [key, record] : section->keys)
                keys.emplace_back(&key, &record);
            std::stable_sort(keys.begin(), keys.end(), [](const auto& a, const auto& b) {
                return by_sequence_then_line(a.second, b.second);
            });
            if (section->line == -1) {
                if (!trimmed) {
                    while (!lines_.empty() && trim_profile_blanks(lines_.back()).empty())
                        lines_.pop_back();
                    trimmed = true;
                }
                lines_.emplace_back();
                lines_.push_back(L"[" + *name + L"]");
                for (const auto& [key, record] : keys)
                    lines_.push_back(*key + L" = " + record->value);
                continue;
            }
            std::int32_t position = section->line;
            for (const auto& [key, record] : keys) {
                if (record->line == -1) {
                    insert_line(position, *key + L" = " + record->value);
                    position = std::min(position + 1, static_cast<std::int32_t>(lines_.size()) - 1);
                    continue;
                }
                if (static_cast<std::size_t>(record->line) < lines_.size())
                    rewrite_value(lines_[static_cast<std::size_t>(record->line)], record->value);
                position = record->line;
            }
        }
    }

    static void rewrite_value(std::wstring& line, const std::wstring& value) {
        const std::size_t equals = line.find(L'=');
        if (equals == std::wstring::npos)
            return;
        std::size_t cut = equals + 1;
        while (cut < line.size() && is_profile_blank(line[cut]))
            ++cut;
        line.resize(cut);
        line += value;
    }

    void save_to(const std::wstring& name) {
        merge();
        save_profile_lines_(name, lines_, encoding_);
    }

    std::wstring file_name_;
    bool modified_ = false;
    bool autosave_ = true;
    text_encoding encoding_{cs_utf8, 0, flag_detect_signature};
    std::int32_t counter_ = 0;
    std::vector<std::wstring> lines_;
    section_map sections_;
};

} // namespace detail

namespace {

struct named_line {
    std::int32_t line;
    const std::wstring* name;
};

template <class Map> void names_by_line(const Map& map, std::vector<std::wstring>& out) {
    std::vector<named_line> order;
    order.reserve(map.size());
    for (const auto& [name, record] : map)
        order.push_back(named_line{record.line, &name});
    std::stable_sort(order.begin(), order.end(),
                     [](const named_line& a, const named_line& b) { return a.line < b.line; });
    out.clear();
    out.reserve(order.size());
    for (const named_line& entry : order)
        out.push_back(*entry.name);
}

} // namespace

profile_name::profile_name(const char* name)
    : converted_(name ? detail::widen(name) : std::wstring()), view_(converted_), owned_(true) {}
profile_name::profile_name(const std::string& name)
    : converted_(detail::widen(name)), view_(converted_), owned_(true) {}
profile_name::profile_name(const profile_name& other)
    : converted_(other.converted_),
      view_(other.owned_ ? std::wstring_view(converted_) : other.view_), owned_(other.owned_) {}
profile_name::~profile_name() = default;

profile::profile(const std::wstring& file_name)
    : impl_(std::make_unique<detail::Profile_impl_>(file_name)) {}
profile::profile(profile&& other) noexcept = default;

profile::~profile() {
    if (!impl_ || !impl_->modified_ || !impl_->autosave_)
        return;
    try {
        impl_->save_to(impl_->file_name_);
    } catch (...) {
        // A destructor cannot report the failure; flush() is the way to see it.
    }
}

const std::wstring& profile::get_filename() const {
    return impl_->file_name_;
}
void profile::change_filename(const std::wstring& file_name) {
    impl_->file_name_ = file_name;
    impl_->modified_ = true;
}
bool profile::is_modified() const {
    return impl_->modified_;
}
void profile::reset_modified() {
    impl_->modified_ = false;
}
bool profile::is_autosave() const {
    return impl_->autosave_;
}
void profile::set_autosave(bool autosave) {
    impl_->autosave_ = autosave;
}
const text_encoding& profile::get_default_encoding() const {
    return impl_->encoding_;
}
void profile::set_default_encoding(const text_encoding& encoding) {
    impl_->encoding_ = encoding;
}

void profile::flush() {
    if (!impl_->modified_)
        return;
    impl_->save_to(impl_->file_name_);
    impl_->modified_ = false;
    impl_->build_index();
}

void profile::save_as(const std::wstring& file_name, bool) {
    // Every save reaches the disk before it replaces the file, so the flag adds nothing.
    impl_->save_to(file_name);
    impl_->build_index();
}

void profile::write_caption(const std::wstring& caption) {
    std::size_t start = 0;
    for (std::int32_t i = 0;; ++i) {
        const std::size_t end = caption.find(L'\n', start);
        impl_->insert_line(i, L";" + caption.substr(start, end - start));
        if (end == std::wstring::npos)
            break;
        start = end + 1;
    }
    impl_->modified_ = true;
}

int profile::read(profile_name section, profile_name key, int def) const {
    const auto* record = impl_->find_key(section.get(), key.get());
    int value = 0;
    return record && detail::read_decimal(record->value, value) ? value : def;
}

bool profile::read(profile_name section, profile_name key, bool def) const {
    const auto* record = impl_->find_key(section.get(), key.get());
    if (!record)
        return def;
    int number = 0;
    if (detail::read_decimal(record->value, number))
        return number != 0;
    std::wstring upper = record->value;
    std::use_facet<std::ctype<wchar_t>>(std::locale())
        .toupper(upper.data(), upper.data() + upper.size());
    if (upper == L"Y" || upper == L"YES" || upper == L"TRUE" || upper == L"ON")
        return true;
    if (upper == L"N" || upper == L"NO" || upper == L"FALSE" || upper == L"OFF")
        return false;
    return def;
}

std::string profile::read(profile_name section, profile_name key, const char* def) const {
    return read(section, key, std::string(def ? def : ""));
}
std::string profile::read(profile_name section, profile_name key, const std::string& def) const {
    const auto* record = impl_->find_key(section.get(), key.get());
    return record ? detail::narrow(record->value) : def;
}
std::wstring profile::read(profile_name section, profile_name key, const wchar_t* def) const {
    return read(section, key, std::wstring(def ? def : L""));
}
std::wstring profile::read(profile_name section, profile_name key, const std::wstring& def) const {
    const auto* record = impl_->find_key(section.get(), key.get());
    return record ? record->value : def;
}
int profile::read_int(profile_name section, profile_name key, int def) const {
    return read(section, key, def);
}
bool profile::read_bool(profile_name section, profile_name key, bool def) const {
    return read(section, key, def);
}
std::string profile::read_str(profile_name section, profile_name key,
                              const std::string& def) const {
    return read(section, key, def);
}
std::wstring profile::read_wstr(profile_name section, profile_name key,
                                const std::wstring& def) const {
    return read(section, key, def);
}
std::string profile::read_multiline_str(profile_name section, profile_name key,
                                        const std::string& def) const {
    std::string text = read(section, key, def);
    std::replace(text.begin(), text.end(), '|', '\n');
    return text;
}
std::wstring profile::read_multiline_wstr(profile_name section, profile_name key,
                                          const std::wstring& def) const {
    return detail::replace_all(read(section, key, def), L'|', L'\n');
}

void profile::write(profile_name section, profile_name key, int value) {
    impl_->write(section.get(), key.get(), detail::decimal_text(value));
}
void profile::write(profile_name section, profile_name key, bool value) {
    impl_->write(section.get(), key.get(), value ? L"1" : L"0");
}
void profile::write(profile_name section, profile_name key, const char* value) {
    write(section, key, std::string(value ? value : ""));
}
void profile::write(profile_name section, profile_name key, const std::string& value) {
    impl_->write(section.get(), key.get(), detail::widen(value));
}
void profile::write(profile_name section, profile_name key, const wchar_t* value) {
    impl_->write(section.get(), key.get(), std::wstring(value ? value : L""));
}
void profile::write(profile_name section, profile_name key, const std::wstring& value) {
    impl_->write(section.get(), key.get(), value);
}
void profile::write_int(profile_name section, profile_name key, int value) {
    write(section, key, value);
}
void profile::write_bool(profile_name section, profile_name key, bool value) {
    write(section, key, value);
}
void profile::write_str(profile_name section, profile_name key, const std::string& value) {
    write(section, key, value);
}
void profile::write_wstr(profile_name section, profile_name key, const std::wstring& value) {
    write(section, key, value);
}
void profile::write_multiline_str(profile_name section, profile_name key,
                                  const std::string& value) {
    write(section, key, detail::replace_all(detail::widen(value), L'\n', L'|'));
}
void profile::write_multiline_wstr(profile_name section, profile_name key,
                                   const std::wstring& value) {
    write(section, key, detail::replace_all(value, L'\n', L'|'));
}

bool profile::erase(profile_name section, profile_name key) {
    return impl_->erase(section.get(), key.get());
}
bool profile::erase_section(profile_name section) {
    return impl_->erase_section(section.get());
}

bool profile::is_section_exist(profile_name section) const {
    return impl_->sections_.find(section.get()) != impl_->sections_.end();
}
bool profile::is_key_exist(profile_name section, profile_name key) const {
    return impl_->find_key(section.get(), key.get()) != nullptr;
}

void profile::get_sections(std::vector<std::wstring>& out) const {
    names_by_line(impl_->sections_, out);
}
void profile::get_section_keys(profile_name section, std::vector<std::wstring>& out) const {
    const auto s = impl_->sections_.find(section.get());
    if (s == impl_->sections_.end())
        out.clear();
    else
        names_by_line(s->second.keys, out);
}

void profile::get_sections_for_prefix(profile_name prefix, std::vector<std::wstring>& out) const {
    out.clear();
    for (auto s = impl_->sections_.lower_bound(prefix.get());
         s != impl_->sections_.end() && detail::extends_prefix(prefix.get(), s->first); ++s)
        out.push_back(s->first);
}
bool profile::is_section_exist_for_prefix(profile_name prefix) const {
    std::vector<std::wstring> names;
    get_sections_for_prefix(prefix, names);
    return !names.empty();
}
std::uint64_t profile::erase_section_for_prefix(profile_name prefix) {
    std::vector<std::wstring> names;
    get_sections_for_prefix(prefix, names);
    std::uint64_t erased = 0;
    for (const std::wstring& name : names)
        erased += erase_section(name) ? 1 : 0;
    return erased;
}
void profile::get_section_keys_for_prefix(profile_name section, profile_name prefix,
                                          std::vector<std::wstring>& out) const {
    get_section_keys(section, out);
    std::erase_if(
        out, [&](const std::wstring& key) { return !detail::extends_prefix(prefix.get(), key); });
}
bool profile::is_key_exist_for_prefix(profile_name section, profile_name prefix) const {
    std::vector<std::wstring> names;
    get_section_keys_for_prefix(section, prefix, names);
    return !names.empty();
}
std::uint64_t profile::erase_for_prefix(profile_name section, profile_name prefix) {
    std::vector<std::wstring> names;
    get_section_keys_for_prefix(section, prefix, names);
    std::uint64_t erased = 0;
    for (const std::wstring& name : names)
        erased += erase(section, name) ? 1 : 0;
    return erased;
}

bool profile::is_equal(const profile& other) const {
    const auto& a = impl_->sections_;
    const auto& b = other.impl_->sections_;
    if (a.size() != b.size())
        return false;
    return std::equal(a.begin(), a.end(), b.begin(), [](const auto& x, const auto& y) {
        return x.first == y.first && x.second.keys.size() == y.second.keys.size() &&
               std::equal(x.second.keys.begin(), x.second.keys.end(), y.second.keys.begin(),
                          [](const auto& p, const auto& q) {
                              return p.first == q.first && p.second.value == q.second.value;
                          });
    });
}

bool profile::is_equal(const std::wstring& file_name) const {
    profile other(file_name);
    other.set_autosave(false);
    return is_equal(other);
}

IProfileVisitor::~IProfileVisitor() = default;

bool extract_suffix(const std::wstring& prefix, const std::wstring& name, std::wstring& suffix) {
    if (!detail::extends_prefix(prefix, name))
        return false;
    suffix = name.substr(prefix.size());
    return true;
}

bool visit_profile(const std::wstring& file_name, IProfileVisitor& visitor) {
    text_file_stream in(file_name, file_stream_mode::read(), text_encoding(flag_detect_signature));
    if (!in.ok())
        return false;
    if (in.eof())
        return true;
    std::wstring section;
    std::wstring line;
    for (int index = 0;; ++index) {
        in.read_line(line);
        if (in.error())
            return false;
        std::wstring_view name;
        std::wstring_view value;
        switch (detail::classify_profile_line(line, name, value)) {
        case detail::profile_line::section:
            section.assign(name);
            visitor.on_section(index, section);
            break;
        case detail::profile_line::key:
            visitor.on_key(index, section, std::wstring(name), std::wstring(value));
            break;
        default:
            break;
        }
        if (!visitor.is_continue())
            return true;
        if (in.eof())
            return true;
    }
}

} // namespace qel
