#!/usr/bin/env bash
# Prints the symbols a built qel3 exports, demangled and sorted, one a line:
#   scripts/exported_symbols.sh build/linux/lib/libqel3.so
#   scripts/exported_symbols.sh build/windows/bin/qel3.dll
# GNU unique symbols (u) are the C++ runtime's template statics, not the library's interface.
set -euo pipefail
library=$1
case "$library" in
*.dll)
    x86_64-w64-mingw32-objdump -p "$library" |
        sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | sed -n 's/^\s*\[ *[0-9]*\] //p' ;;
*)
    nm -D --defined-only --format=posix "$library" | awk '$2 != "u" { print $1 }' ;;
esac | c++filt | LC_ALL=C sort -u
