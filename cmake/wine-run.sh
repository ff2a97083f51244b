#!/usr/bin/env bash
# Runs a Windows program under Wine with the mingw runtime DLLs on the search path,
# so the program and qel3.dll share one C++ runtime.
set -e
cxx=x86_64-w64-mingw32-g++-posix
runtime_dirs=""
for dll in libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll; do
    dir=$(dirname "$(readlink -f "$($cxx -print-file-name=$dll)")")
    runtime_dirs="$runtime_dirs;$(winepath -w "$dir" 2>/dev/null || echo "Z:$dir")"
done
export WINEPATH="${WINEPATH:+$WINEPATH;}${runtime_dirs#;};Z:/usr/x86_64-w64-mingw32/bin"
export WINEDEBUG=${WINEDEBUG:--all}
exec wine "$@"
