// File system: paths taken apart and put together, file and directory operations, and a
// cursor over the entries of a directory.
//
// Paths are wide strings in Windows syntax: a drive ("C:") or a UNC root ("\\server"), then
// components separated by backslashes or slashes, both accepted everywhere. Paths made by
// these functions use the system's separator: the backslash on Windows, the slash elsewhere,
// where a path starting with a single slash is absolute with the root "/" and names compare
// case-sensitively. Nothing here throws for a malformed path or a failing file system: the
// functions return false, an empty string, or leave their results cleared.
#pragma once

#include <qel/datetime.h>
#include <qel/export.h>
#include <qel/variant.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace qel {

// ---- Paths ----

// A drive root ("C:", "c:\x") or a UNC root ("\\srv\share"); elsewhere also "/x".
QEL_API bool is_absolute_path(const std::wstring& path);
QEL_API bool is_relative_path(const std::wstring& path);
// The components of `parent` start the components of `path`; a path is its own sub path.
// Dot components are compared as text.
QEL_API bool is_sub_path(const std::wstring& parent, const std::wstring& path);
// No "." component, and ".." only in front of every other component.
QEL_API bool is_canonical_path(const std::wstring& path);
// Removes "." and resolves ".." as text (never above the root), with single separators and
// none at the end: "C:\a\.\b\..\c\" becomes "C:\a\c", "a\..\..\b" becomes "b".
QEL_API void canonicalize_path(std::wstring& path);
QEL_API std::wstring make_canonical_path(const std::wstring& path);
// An absolute path with the letter case its existing components have in the file system; the
// components from the first missing one on stay as written. Relative paths stay as they are.
QEL_API void normalize_path(std::wstring& path);
QEL_API std::wstring make_normal_path(const std::wstring& path);
// `path` as seen from the directory `base`: "..\c\D.txt" for base "C:\a\b" and path
// "c:\A\c\D.txt". False (result cleared) when either is empty or only one is absolute; a path
// on another drive or server comes back unchanged.
QEL_API bool get_relative_path(const std::wstring& base, const std::wstring& path,
                               std::wstring& result);
// `path` resolved against the directory `base` as text; an absolute `path` is returned as it
// is. False (result cleared) when `base` is empty or the ".." lead above its first component.
QEL_API bool get_absolute_path(const std::wstring& base, const std::wstring& path,
                               std::wstring& result);
// dir, a separator when dir lacks one, name, and ext with a dot added when it lacks one.
QEL_API void make_path(const std::wstring& dir, const std::wstring& name, const std::wstring& ext,
                       std::wstring& result);
QEL_API std::wstring make_path(const std::wstring& dir, const std::wstring& name,
                               const std::wstring& ext);
// "C:\a\b.txt" gives dir "C:\a\", name "b" and ext ".txt"; ".profile" is all extension.
QEL_API void split_path(const std::wstring& path, std::wstring& dir, std::wstring& name,
                        std::wstring& ext);
// Joins with exactly one separator between the two parts; an empty part adds nothing.
QEL_API void concat_path(const std::wstring& left, const std::wstring& right, std::wstring& result);
QEL_API std::wstring concat_path(const std::wstring& left, const std::wstring& right);
// Same text up to letter case (on Windows) and the kind of separator; "a" and "a\" differ.
QEL_API bool equal_path(const std::wstring& a, const std::wstring& b);
// equal_path, or both name the same existing file or directory (hard links included).
QEL_API bool equivalent_path(const std::wstring& a, const std::wstring& b);
// The directory without trailing separators: "C:" for "C:\b.txt".
QEL_API std::wstring extract_dir(const std::wstring& path);
QEL_API std::wstring extract_name(const std::wstring& path);
// With its dot.
QEL_API std::wstring extract_ext(const std::wstring& path);
QEL_API std::wstring extract_name_ext(const std::wstring& path);
QEL_API std::wstring force_extension(const std::wstring& path, const std::wstring& ext);
QEL_API std::wstring remove_extension(const std::wstring& path);
// `path` unchanged when it has an extension, else with `ext` appended.
QEL_API std::wstring default_extension(const std::wstring& path, const std::wstring& ext);
QEL_API bool has_extension(const std::wstring& path);
// Looks for the file `name` in each directory of `dir_list` (entries split at `separator`,
// "." meaning `base`, relative entries resolved against `base`). True with the first existing
// file in `result`; false leaves the first entry's candidate there.
QEL_API bool find_file_by_dir_list(const std::wstring& name, const std::wstring& base,
                                   const std::wstring& dir_list, wchar_t separator,
                                   std::wstring& result);
// The first entry of `dir_list` (as written there) that contains `path` resolved against
// `base`. The file system is not consulted.
QEL_API bool find_dir_by_dir_list(const std::wstring& path, const std::wstring& base,
                                  const std::wstring& dir_list, wchar_t separator,
                                  std::wstring& result);

// ---- Files and directories ----

// Selects one of the times of a file or directory.
enum E_FSObjTime : int {
    fsobj_creation = 0,
    fsobj_last_write = 1,
    fsobj_last_access = 2,
};

// Every operation below returns false when the system refuses. A read-only file does not
// block deleting or overwriting it; a file copied, moved or renamed is hidden exactly when its
// base name starts with a dot (Windows; elsewhere the dot name is what hides it).
QEL_API bool file_exists(const std::wstring& path);
QEL_API bool dir_exists(const std::wstring& path);
QEL_API bool file_delete(const std::wstring& path);
// With `overwrite` false an existing `to` makes the copy fail.
QEL_API bool file_copy(const std::wstring& from, const std::wstring& to, bool overwrite);
// Replaces an existing `to`; copies across volumes.
QEL_API bool file_move(const std::wstring& from, const std::wstring& to);
// Renames inside the directory of `path`; `new_name` may carry that same directory, no other.
QEL_API bool file_rename(const std::wstring& path, const std::wstring& new_name);
// False for a directory.
QEL_API bool file_size(const std::wstring& path, std::uint64_t& size);
// Both files can be read and hold the same bytes.
QEL_API bool file_compare(const std::wstring& a, const std::wstring& b);
// Creates only the last level; see create_path for all of them.
QEL_API bool dir_create(const std::wstring& path);
// The directory must be empty.
QEL_API bool dir_delete(const std::wstring& path);
// Deletes every file, then every directory, deepest first, stopping at the first that
// resists; what was not reached stays. Symbolic links are removed, never followed.
QEL_API bool dir_deep_delete(const std::wstring& path);
// Copies the tree of `from` into `to` (created as needed), which must not lie inside `from`.
// The first failure ends the copy; what was copied so far stays.
QEL_API bool dir_deep_copy(const std::wstring& from, const std::wstring& to, bool overwrite);
// Sum of the sizes of all files below the directory `path`, at every depth.
QEL_API bool dir_deep_size(const std::wstring& path, std::uint64_t& size);
// Bytes free for the caller on the volume of the existing directory `path`.
QEL_API bool dir_free_size(const std::wstring& path, std::uint64_t& size);
// Creates every missing level of `path`; true when it exists afterwards.
QEL_API bool create_path(const std::wstring& path);
// Empty when the system cannot tell.
QEL_API std::wstring get_current_dir();
QEL_API bool set_current_dir(const std::wstring& path);
// One of the object's times in local time; false for a missing object or a `which` other
// than 0, 1 and 2.
QEL_API bool fsobj_time(const std::wstring& path, E_FSObjTime which, timestamp& result);

// Groups of fsobj_attributes, to be or-ed into its mask.
inline constexpr unsigned fsobj_group_attributes = 0x1; // "ATTRIBUTES": boolean flags
inline constexpr unsigned fsobj_group_time = 0x2;       // "TIME": local timestamps
inline constexpr unsigned fsobj_group_size = 0x4;       // "SIZE": "BYTES", "KB", "MB" as floats
inline constexpr unsigned fsobj_group_version = 0x8;    // "VERSION": "FILE", "PRODUCT"

// The attribute map: group name, then entry name.
using fsobj_attribute_map = std::map<std::wstring, std::map<std::wstring, variant>>;

// Stores the groups selected by `mask` in `result`, overwriting the same entries and keeping
// all others. "VERSION" appears only for files with a version resource (Windows). False, with
// nothing stored, when the object cannot be read.
QEL_API bool fsobj_attributes(const std::wstring& path, fsobj_attribute_map& result, unsigned mask);

// ---- Enumeration ----

// A forward-only cursor over the entries of one directory matching a pattern such as
// "C:\d\*.txt" ("*" and "?" as wildcards); "." and ".." are never listed, nothing is sorted,
// nothing recursed into. The entry accessors may only be called while !done().
class QEL_API IFileEnumerator {
public:
    IFileEnumerator() = default;
    IFileEnumerator(const IFileEnumerator&) = default;
    IFileEnumerator& operator=(const IFileEnumerator&) = default;
    virtual ~IFileEnumerator();

    // The current entry's name, without directory.
    virtual std::wstring filename() = 0;
    // The pattern's directory joined with the name.
    virtual std::wstring filepath() = 0;
    // In local time; 01.01.2001 00:00:00.00 for an unknown `which` or a time that cannot be read.
    virtual timestamp time(E_FSObjTime which) = 0;
    virtual bool is_dir() const = 0;
    // No current entry: the pattern matched nothing, or the enumeration has ended.
    virtual bool done() const = 0;
    // True when there is a new current entry.
    virtual bool next() = 0;
};

// Never null; an enumerator over a missing directory is done() at once.
QEL_API std::unique_ptr<IFileEnumerator> file_enumerator_factory(const std::wstring& pattern);

// The enumerator as a value that owns its implementation. A moved-from enumerator may only be
// destroyed or assigned to.
class QEL_API file_enumerator {
public:
    explicit file_enumerator(const std::wstring& pattern);
    // Every entry of `dir` with the extension `ext` (dot optional); all entries for an empty `ext`.
    file_enumerator(const std::wstring& dir, const std::wstring& ext);
    file_enumerator(file_enumerator&& other) noexcept;
    file_enumerator& operator=(file_enumerator&& other) noexcept;
    file_enumerator(const file_enumerator&) = delete;
    file_enumerator& operator=(const file_enumerator&) = delete;
    ~file_enumerator();

    std::wstring filename() { return impl_->filename(); }
    std::wstring filepath() { return impl_->filepath(); }
    timestamp time(E_FSObjTime which) { return impl_->time(which); }
    bool is_dir() const { return impl_->is_dir(); }
    bool done() const { return impl_->done(); }
    bool more() const { return !impl_->done(); }
    bool next() { return impl_->next(); }

private:
    std::unique_ptr<IFileEnumerator> impl_;
};

} // namespace qel
