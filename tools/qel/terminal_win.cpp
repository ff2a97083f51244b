#include "terminal.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>

namespace qel_tool {

bool stderr_is_terminal() {
    return ::_isatty(::_fileno(stderr)) != 0;
}

void use_binary_stdio() {
    ::_setmode(::_fileno(stdin), _O_BINARY);
    ::_setmode(::_fileno(stdout), _O_BINARY);
}

} // namespace qel_tool
