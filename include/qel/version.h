// The library's version: macros for the headers a program was compiled with, and functions
// for the library it runs with. The numbers below are the only place the version is written;
// the build reads them from here. Then the versions of other software: build descriptions
// ("build.ini"), their display text, and processor architectures.
#pragma once

#include <qel/datetime.h>
#include <qel/export.h>
#include <qel/serialize.h>

#include <cstdint>
#include <string>

#define QEL_VERSION_MAJOR 3
#define QEL_VERSION_MINOR 0
#define QEL_VERSION_PATCH 0

// MAJOR * 10000 + MINOR * 100 + PATCH: 30000 for 3.0.0; compares in order of release.
#define QEL_VERSION (QEL_VERSION_MAJOR * 10000 + QEL_VERSION_MINOR * 100 + QEL_VERSION_PATCH)

#define QEL_VERSION_STRINGIZE_(x) #x
#define QEL_VERSION_EXPAND_(x) QEL_VERSION_STRINGIZE_(x)
// "MAJOR.MINOR.PATCH", e.g. "3.0.0".
#define QEL_VERSION_STRING                                                                         \
    QEL_VERSION_EXPAND_(QEL_VERSION_MAJOR)                                                         \
    "." QEL_VERSION_EXPAND_(QEL_VERSION_MINOR) "." QEL_VERSION_EXPAND_(QEL_VERSION_PATCH)

namespace qel {

// QEL_VERSION of the library as it was built; differs from the macro when a program runs
// with another build of the shared library than the headers it was compiled with.
QEL_API std::uint32_t library_version();
// QEL_VERSION_STRING of the library as it was built; a static string, never null.
QEL_API const char* library_version_string();

// ---- Versions and architectures of software -------------------------------------------------

enum software_architecture { sa_unknown = 0, sa_x86 = 1, sa_x64 = 2 };

// "x86", "x64", or empty for any other value.
QEL_API std::string to_string(software_architecture value);
QEL_API std::wstring to_wstring(software_architecture value);
// Exactly "x86" or "x64" (case-sensitive); anything else is sa_unknown.
QEL_API software_architecture from_str(const std::string& text);
QEL_API software_architecture from_str(const std::wstring& text);
// sa_x64: the architecture the library was built for, and the system's.
QEL_API software_architecture get_current_process_architecture();
QEL_API software_architecture get_current_os_architecture();

// One build of a program. `version` is packed: the major number in bits 31-24 and the three
// decimal digits of the minor number one per byte below it, so 0x02000105 is 2.015.
class QEL_API software_version {
public:
    std::uint32_t version = 0x1000000;
    std::int32_t build = 1;
    date build_date;
    software_architecture architecture = sa_unknown;

    bool is_equal(const software_version& other) const;
    // Reads the keys Version (X.Y), Build and BuildDate (dd.mm.yyyy) of `section` ("Platform"
    // when null) in the file "build.ini" of the folder `path`. A missing file or key gives
    // 1.000 and build 0; a missing or bad date leaves build_date as it was. The architecture
    // becomes the running process's, whatever the file says.
    void read(const std::wstring& path, const wchar_t* section = nullptr);
    // version, build, build_date, architecture (as unsigned 32-bit), in this order.
    void store(out_serialize& out) const;
    void load(const in_serialize& in);
};

QEL_API out_serialize& operator<<(out_serialize& out, const software_version& value);
QEL_API const in_serialize& operator>>(const in_serialize& in, software_version& value);

// The packed version as text: "2.015".
QEL_API std::wstring get_version_string(std::uint32_t version);
// The template with the first %VER%, %ARCH%, %BUILD% and %DATE% replaced, in that order;
// an empty template is "%VER% %ARCH% (build %BUILD%, %DATE%)".
QEL_API std::wstring get_version_string(const software_version& version,
                                        const std::wstring& text_template);

} // namespace qel
