// The library's version: macros for the headers a program was compiled with, and functions
// for the library it runs with. The numbers below are the only place the version is written;
// the build reads them from here.
#pragma once

#include <qel/export.h>

#include <cstdint>

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

} // namespace qel
