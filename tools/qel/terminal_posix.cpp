#include "terminal.h"

#include <unistd.h>

namespace qel_tool {

bool stderr_is_terminal() {
    return ::isatty(STDERR_FILENO) == 1;
}
void use_binary_stdio() {}

} // namespace qel_tool
