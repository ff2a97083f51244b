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
# Now and then Wine fails to start a program at all (its loader exits with 53 before the
# program runs, so nothing was read or written): start it again rather than report that as
# the program's failure. No qel program exits with 53.
for attempt in 1 2 3; do
    status=0
    wine "$@" || status=$?
    [ "$status" -eq 53 ] || exit "$status"
    echo "wine-run: Wine failed to start $1 (attempt $attempt)" >>"${TMPDIR:-/tmp}/wine-run.log"
done
exit 53
