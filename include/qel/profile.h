// Configuration profiles: files of [sections] and "key = value" lines, read and written
// through an index while the file's own lines, comments and layout survive a save.
#pragma once

#include <qel/export.h>
#include <qel/text_encoding.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qel {

namespace detail {
class Profile_impl_;
} // namespace detail

// A section or key name as narrow text (default encoding), wide text or either string type;
// a null pointer is the empty name. Names compare without regard to case.
class QEL_API profile_name {
public:
    profile_name(const char* name);
    profile_name(const std::string& name);
    profile_name(const wchar_t* name) : view_(name ? name : L"") {}
    profile_name(const std::wstring& name) : view_(name) {}
    profile_name(const profile_name& other);
    profile_name& operator=(const profile_name&) = delete;
    ~profile_name();

    std::wstring_view get() const { return view_; }

private:
    std::wstring converted_;
    std::wstring_view view_;
    bool owned_ = false;
};

// A profile file loaded at construction. Changes are merged into the file's lines on
// flush(), save_as() or, when modified with autosave on, on destruction; a save replaces the
// file in one step, so a crash leaves the old file or the new one, never a mix.
class QEL_API profile {
public:
    // A file that cannot be opened gives an empty profile.
    explicit profile(const std::wstring& file_name);
    profile(profile&& other) noexcept;
    profile(const profile&) = delete;
    profile& operator=(const profile&) = delete;
    // Saves when modified with autosave on; failures are swallowed.
    ~profile();

    const std::wstring& get_filename() const;
    // Marks the profile modified, so the next flush writes the new file.
    void change_filename(const std::wstring& file_name);
    bool is_modified() const;
    void reset_modified();
    bool is_autosave() const;
    void set_autosave(bool autosave);
    // The encoding saves use; UTF-8 by default, an existing file keeps its own charset.
    const text_encoding& get_default_encoding() const;
    void set_default_encoding(const text_encoding& encoding);

    // Writes the profile's file when modified; a file that cannot be written is left alone.
    void flush();
    // Writes to another file; the profile's own name and modified flag stay.
    void save_as(const std::wstring& file_name, bool flush);
    // Inserts ";"-comment lines, one per line of the caption; piece i goes after line i.
    void write_caption(const std::wstring& caption);

    // Missing sections and keys, and values that do not convert, give the default.
    int read(profile_name section, profile_name key, int def) const;
    // Numbers (non-zero is true) or yes/no, true/false, on/off in any case.
    bool read(profile_name section, profile_name key, bool def) const;
    std::string read(profile_name section, profile_name key, const char* def) const;
    std::string read(profile_name section, profile_name key, const std::string& def) const;
    std::wstring read(profile_name section, profile_name key, const wchar_t* def) const;
    std::wstring read(profile_name section, profile_name key, const std::wstring& def) const;
    int read_int(profile_name section, profile_name key, int def) const;
    bool read_bool(profile_name section, profile_name key, bool def) const;
    std::string read_str(profile_name section, profile_name key, const std::string& def) const;
    std::wstring read_wstr(profile_name section, profile_name key, const std::wstring& def) const;
    // As read(), with every '|' turned into a line feed.
    std::string read_multiline_str(profile_name section, profile_name key,
                                   const std::string& def) const;
    std::wstring read_multiline_wstr(profile_name section, profile_name key,
                                     const std::wstring& def) const;

    // Writing the value a key already holds changes nothing, not even the modified flag.
    void write(profile_name section, profile_name key, int value);
    void write(profile_name section, profile_name key, bool value);
    void write(profile_name section, profile_name key, const char* value);
    void write(profile_name section, profile_name key, const std::string& value);
    void write(profile_name section, profile_name key, const wchar_t* value);
    void write(profile_name section, profile_name key, const std::wstring& value);
    void write_int(profile_name section, profile_name key, int value);
    void write_bool(profile_name section, profile_name key, bool value);
    void write_str(profile_name section, profile_name key, const std::string& value);
    void write_wstr(profile_name section, profile_name key, const std::wstring& value);
    // Line feeds are stored as '|'.
    void write_multiline_str(profile_name section, profile_name key, const std::string& value);
    void write_multiline_wstr(profile_name section, profile_name key, const std::wstring& value);

    bool erase(profile_name section, profile_name key);
    // Takes the header, the empty lines right above it and every line up to its last key.
    bool erase_section(profile_name section);
    bool is_section_exist(profile_name section) const;
    bool is_key_exist(profile_name section, profile_name key) const;
    // In file order; sections and keys created since the last save come first.
    void get_sections(std::vector<std::wstring>& out) const;
    void get_section_keys(profile_name section, std::vector<std::wstring>& out) const;

    // Names strictly longer than the prefix that start with it in any case. The section scan
    // walks the index from the prefix and stops at the first name that does not extend it.
    void get_sections_for_prefix(profile_name prefix, std::vector<std::wstring>& out) const;
    bool is_section_exist_for_prefix(profile_name prefix) const;
    std::uint64_t erase_section_for_prefix(profile_name prefix);
    void get_section_keys_for_prefix(profile_name section, profile_name prefix,
                                     std::vector<std::wstring>& out) const;
    bool is_key_exist_for_prefix(profile_name section, profile_name prefix) const;
    std::uint64_t erase_for_prefix(profile_name section, profile_name prefix);

    // Same sections, keys and values, compared exactly; layout and comments do not count.
    bool is_equal(const profile& other) const;
    bool is_equal(const std::wstring& file_name) const;

private:
    std::unique_ptr<detail::Profile_impl_> impl_;
};

// Called for each section header and key line of a file, in file order, by visit_profile.
class QEL_API IProfileVisitor {
public:
    IProfileVisitor() = default;
    IProfileVisitor(const IProfileVisitor&) = default;
    IProfileVisitor& operator=(const IProfileVisitor&) = default;

    // The results of on_section and on_key are not used.
    virtual bool on_section(int line, const std::wstring& section) = 0;
    // Keys before any header come with the empty section name; duplicates come as they are.
    virtual bool on_key(int line, const std::wstring& section, const std::wstring& key,
                        const std::wstring& value) = 0;
    // False stops the visit.
    virtual bool is_continue() = 0;

protected:
    virtual ~IProfileVisitor();
};

// True when name is strictly longer than prefix and starts with it in any case; suffix then
// receives the rest of name.
QEL_API bool extract_suffix(const std::wstring& prefix, const std::wstring& name,
                            std::wstring& suffix);
// Streams a file through the visitor without building a profile; false when it cannot be
// read.
QEL_API bool visit_profile(const std::wstring& file_name, IProfileVisitor& visitor);

} // namespace qel
