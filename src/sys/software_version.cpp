// Build descriptions: the packed version, "build.ini" and the version text template.
#include <qel/fs.h>
#include <qel/profile.h>
#include <qel/sysinfo.h>
#include <qel/version.h>

#include <cerrno>
#include <cwchar>
#include <string_view>

namespace qel {
namespace {

// wcstoul in base 10 with a 32-bit unsigned long: the whole text taken, no range error.
bool parse_ulong32(std::wstring_view text, std::uint32_t& value) {
    if constexpr (sizeof(unsigned long) == 4) {
        // The runtime's own, with its blanks and digits.
        const std::wstring terminated(text);
        wchar_t* end = nullptr;
        errno = 0;
        const unsigned long number = std::wcstoul(terminated.c_str(), &end, 10);
        if (terminated.empty() || errno == ERANGE || *end != L'\0')
            return false;
        value = static_cast<std::uint32_t>(number);
        return true;
    }
    // Elsewhere as Windows does it for ASCII: blanks, a sign and at least one digit; a minus
    // sign negates modulo 2^32.
    std::size_t i = 0;
    while (i < text.size() && (text[i] == L' ' || (text[i] >= L'\t' && text[i] <= L'\r')))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == L'+' || text[i] == L'-'))
        negative = text[i++] == L'-';
    if (i == text.size())
        return false;
    std::uint64_t number = 0;
    for (; i < text.size(); ++i) {
        if (text[i] < L'0' || text[i] > L'9')
            return false;
        number = number * 10 + static_cast<std::uint64_t>(text[i] - L'0');
        if (number > 0xFFFFFFFFu)
            return false;
    }
    value = static_cast<std::uint32_t>(negative ? (0u - number) : number);
    return true;
}

constexpr std::uint32_t default_version = 0x1000000;

// "X.Y" packed; anything else is 1.000.
std::uint32_t parse_version(const std::wstring& text) {
    const std::size_t dot = text.find(L'.');
    if (dot == std::wstring::npos || dot + 1 == text.size())
        return default_version;
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    const std::wstring_view view(text);
    if (!parse_ulong32(view.substr(0, dot), major) || !parse_ulong32(view.substr(dot + 1), minor) ||
        major >= 256)
        return default_version;
    return (major << 24) | (minor % 1000 / 100) << 16 | (minor % 100 / 10) << 8 | (minor % 10);
}

// Where the build description of the folder `path` is; empty when `path` names no folder,
// which opens no file.
std::wstring build_ini_name(const std::wstring& path) {
    std::wstring name;
    if (!get_absolute_path(path, L"build.ini", name))
        name.clear();
    return name;
}

void replace_first(std::wstring& text, std::wstring_view tag, const std::wstring& value) {
    std::wstring placeholder = L"%";
    placeholder.append(tag).append(L"%");
    const std::size_t at = text.find(placeholder);
    if (at != std::wstring::npos)
        text.replace(at, placeholder.size(), value);
}

} // namespace

std::string to_string(software_architecture value) {
    switch (value) {
    case sa_x86:
        return "x86";
    case sa_x64:
        return "x64";
    default:
        return std::string();
    }
}

std::wstring to_wstring(software_architecture value) {
    const std::string text = to_string(value);
    return std::wstring(text.begin(), text.end());
}

software_architecture from_str(const std::string& text) {
    return text == "x86" ? sa_x86 : text == "x64" ? sa_x64 : sa_unknown;
}

software_architecture from_str(const std::wstring& text) {
    return text == L"x86" ? sa_x86 : text == L"x64" ? sa_x64 : sa_unknown;
}

software_architecture get_current_process_architecture() {
    return sa_x64;
}

software_architecture get_current_os_architecture() {
    return from_str(get_os_xbit());
}

bool software_version::is_equal(const software_version& other) const {
    return version == other.version && build == other.build &&
           build_date.get() == other.build_date.get() && architecture == other.architecture;
}

void software_version::read(const std::wstring& path, const wchar_t* section) {
    const profile file(build_ini_name(path));
    const profile_name name(section ? section : L"Platform");
    version = parse_version(file.read_wstr(name, L"Version", std::wstring()));
    build = file.read_int(name, L"Build", 0);
    date parsed;
    if (from_str(file.read_wstr(name, L"BuildDate", std::wstring()), parsed))
        build_date = parsed;
    architecture = get_current_process_architecture();
}

void software_version::store(out_serialize& out) const {
    out << version << build << build_date << static_cast<unsigned int>(architecture);
}

void software_version::load(const in_serialize& in) {
    unsigned int arch = 0;
    in >> version >> build >> build_date >> arch;
    architecture = static_cast<software_architecture>(arch);
}

out_serialize& operator<<(out_serialize& out, const software_version& value) {
    value.store(out);
    return out;
}

const in_serialize& operator>>(const in_serialize& in, software_version& value) {
    value.load(in);
    return in;
}

std::wstring get_version_string(std::uint32_t version) {
    return std::to_wstring(version >> 24) + L"." + std::to_wstring((version >> 16) & 0xFF) +
           std::to_wstring((version >> 8) & 0xFF) + std::to_wstring(version & 0xFF);
}

std::wstring get_version_string(const software_version& version,
                                const std::wstring& text_template) {
    std::wstring text =
        text_template.empty() ? L"%VER% %ARCH% (build %BUILD%, %DATE%)" : text_template;
    replace_first(text, L"VER", get_version_string(version.version));
    replace_first(text, L"ARCH", to_wstring(version.architecture));
    replace_first(text, L"BUILD", std::to_wstring(version.build));
    replace_first(text, L"DATE", to_wstring(version.build_date));
    return text;
}

} // namespace qel
