// Arbitrary text as two paths (split at the first newline), through every path function that
// works on text alone. None may crash; canonical forms are fixed points and canonical; and a
// path made relative to a base and joined back to it names the canonical target again.
#include <qel/fs.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void check(bool holds) {
    if (!holds)
        std::abort();
}

// Bytes as code units, with a few bytes standing for the characters paths are made of.
std::wstring widen(const std::uint8_t* data, std::size_t size) {
    std::wstring out;
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint8_t b = data[i];
        out.push_back(b >= 0xF0 ? L"\\/.:"[b & 3] : static_cast<wchar_t>(b));
    }
    return out;
}

bool starts_with_up(const std::wstring& canonical) {
    return canonical.rfind(L"..", 0) == 0 &&
           (canonical.size() == 2 || canonical[2] == L'\\' || canonical[2] == L'/');
}

bool is_separator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

// A server root ("\\server") and a drive root compare by their first component's text, so a
// server named like a drive ("\\C:") counts as that drive, and joining gives the other kind.
bool server_rooted(const std::wstring& path) {
    return path.size() >= 2 && is_separator(path[0]) && is_separator(path[1]);
}

// A server root is kept as written, so "\\.\x" stays; the "." test counts it as a component.
bool dot_server(const std::wstring& path) {
    if (!server_rooted(path))
        return false;
    const std::size_t start = path.find_first_not_of(L"\\/");
    const std::size_t end = path.find_first_of(L"\\/", start);
    return start != std::wstring::npos && path.substr(start, end - start) == L".";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring text = widen(data, size);
    const std::size_t cut = text.find(L'\n');
    const std::wstring a = text.substr(0, cut);
    const std::wstring b = cut == std::wstring::npos ? std::wstring() : text.substr(cut + 1);

    const std::wstring base = qel::make_canonical_path(a);
    const std::wstring target = qel::make_canonical_path(b);
    for (const auto* canonical : {&base, &target}) {
        check(qel::make_canonical_path(*canonical) == *canonical);
        check(qel::is_canonical_path(*canonical) || dot_server(*canonical));
    }

    std::wstring result, dir, name, ext;
    qel::get_absolute_path(a, b, result);
    qel::split_path(a, dir, name, ext);
    qel::make_path(dir, name, ext, result);
    qel::is_sub_path(a, b);
    qel::equal_path(a, b);
    qel::is_absolute_path(b);
    qel::extract_dir(b);
    qel::force_extension(a, b);
    qel::default_extension(b, a);
    qel::find_dir_by_dir_list(b, a, b, L';', result);

    // Canonical forms keep ".." only in front of a relative path: once joined behind a base,
    // leading ".." of either part would be dropped, so such pairs are left out.
    std::wstring relative;
    if (!starts_with_up(base) && !starts_with_up(target) &&
        server_rooted(base) == server_rooted(target) &&
        qel::get_relative_path(base, target, relative)) {
        // Another root gives the target back as it is; "C:" may also be a plain component.
        const bool other_root = relative == target && qel::is_absolute_path(relative);
        const std::wstring joined = other_root ? relative : qel::concat_path(base, relative);
        check(qel::equal_path(qel::make_canonical_path(joined), target));
    }
    return 0;
}
