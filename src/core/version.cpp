#include <qel/version.h>

namespace qel {

// Compiled into the library, so these report the build that is loaded, not the headers
// the caller saw.
std::uint32_t library_version() {
    return QEL_VERSION;
}

const char* library_version_string() {
    return QEL_VERSION_STRING;
}

} // namespace qel
