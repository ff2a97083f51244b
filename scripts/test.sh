#!/usr/bin/env bash
# Builds and tests qel3 on every leg: Linux (g++), Linux with AddressSanitizer and
# UndefinedBehaviorSanitizer, the threaded tests with ThreadSanitizer, and Windows x64
# (mingw-w64) under Wine; then builds a small consumer project against the installed
# package of the Linux and Windows legs and runs it; runs every libFuzzer target briefly
# (clang) and checks that the benchmarks build.
# Installs missing Debian packages when run as root. Ends with one summary line.
set -uo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
jobs=$(nproc 2>/dev/null || echo 2)

packages=(cmake ninja-build g++ ccache zlib1g-dev googletest libgtest-dev clang-format clang-tidy
          g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine wine64
          clang libclang-rt-14-dev libbenchmark-dev liblz4-dev libspdlog-dev libpoco-dev
          libmsgpack-cxx-dev qt6-base-dev libmimalloc-dev uuid-dev)
fuzz_seconds=${QEL_FUZZ_SECONDS:-15}

install_missing() {
    local missing=()
    for p in "${packages[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        echo "test: missing packages (run as root to install them): ${missing[*]}" >&2
        exit 1
    fi
    echo "test: installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq && apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null ||
        { echo "test: package installation failed" >&2; exit 1; }
}

passed=0
failed=0
failures=()

# Adds the counts of one ctest run read from its log.
count_ctest() {
    local log=$1 leg=$2 total bad
    total=$(grep -Eo 'tests failed out of [0-9]+' "$log" | grep -Eo '[0-9]+$' | tail -n 1)
    bad=$(grep -Eo '[0-9]+ tests failed' "$log" | grep -Eo '^[0-9]+' | tail -n 1)
    total=${total:-0}
    bad=${bad:-0}
    passed=$((passed + total - bad))
    failed=$((failed + bad))
    [ "$bad" -eq 0 ] && [ "$total" -gt 0 ] || failures+=("$leg tests")
}

fail_step() {
    failed=$((failed + 1))
    failures+=("$1")
    echo "test: FAILED: $1" >&2
}

# run_leg PRESET [CTEST ARGS...]: the extra arguments pick tests, as -R does for the
# ThreadSanitizer leg, which builds and runs only the tests that start threads.
run_leg() {
    local preset=$1 log="build/$1.ctest.log"
    shift
    echo "== $preset: configure and build"
    cmake --preset "$preset" >/dev/null || { fail_step "$preset configure"; return; }
    cmake --build --preset "$preset" -j "$jobs" || { fail_step "$preset build"; return; }
    echo "== $preset: tests"
    ctest --preset "$preset" -j "$jobs" "$@" 2>&1 | tee "$log"
    count_ctest "$log" "$preset"
}

run_consumer() {
    local preset=$1 stage="$root/build/$1/stage" out="$root/build/$1-consumer"
    echo "== $preset: install and build the consumer project"
    cmake --install "build/$preset" --prefix "$stage" >/dev/null || { fail_step "$preset install"; return; }
    local extra=()
    [ "$preset" = windows ] && extra=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake")
    cmake -S tests/consumer -B "$out" -G Ninja -DCMAKE_PREFIX_PATH="$stage" "${extra[@]}" >/dev/null &&
        cmake --build "$out" >/dev/null || { fail_step "$preset consumer build"; return; }
    local run_output
    if [ "$preset" = windows ]; then
        run_output=$(WINEPATH="$(winepath -w "$stage/bin" 2>/dev/null)" \
                     cmake/wine-run.sh "$out/qel3_consumer.exe" 2>&1)
    else
        run_output=$("$out/qel3_consumer" 2>&1)
    fi
    local status=$?
    echo "$run_output"
    if [ $status -eq 0 ]; then passed=$((passed + 1)); else fail_step "$preset consumer run"; fi
    [ "$preset" = linux ] || return
    # The installed tool finds the library from any prefix.
    if "$stage/bin/qel" --version >/dev/null; then passed=$((passed + 1)); else fail_step "installed qel run"; fi
    # qel3 as a subproject builds the library alone, with none of its own settings.
    local sub="$root/build/linux-subproject"
    if cmake -S tests/consumer -B "$sub" -G Ninja -DQEL_SOURCE_DIR="$root" >/dev/null &&
        cmake --build "$sub" >/dev/null && [ ! -e "$sub/qel3/tools" ] && [ ! -e "$sub/qel3/tests" ] &&
        LD_LIBRARY_PATH="$sub/qel3/src" "$sub/qel3_consumer" >/dev/null; then
        passed=$((passed + 1))
    else
        fail_step "consumer with qel3 as a subproject"
    fi
}

run_fuzzers() {
    echo "== fuzz: build (clang, libFuzzer, ASan, UBSan)"
    cmake --preset fuzz >/dev/null && cmake --build --preset fuzz -j "$jobs" >/dev/null ||
        { fail_step "fuzz build"; return; }
    local source name work
    for source in fuzz/*_fuzz.cpp; do
        name=$(basename "$source" .cpp)
        work=$(mktemp -d)
        echo "== fuzz: $name for ${fuzz_seconds} s"
        if "build/fuzz/bin/$name" -max_total_time="$fuzz_seconds" -rss_limit_mb=2048 \
               -print_final_stats=0 "$work" "fuzz/corpus/${name%_fuzz}" >"build/$name.log" 2>&1; then
            passed=$((passed + 1))
            grep -E '^Done|#[0-9]+.*DONE' "build/$name.log" | tail -n 1
        else
            tail -n 30 "build/$name.log"
            fail_step "fuzzer $name"
        fi
        rm -rf "$work"
    done
}

# The library exports exactly the checked-in list: an export is never added or lost by
# accident. After a deliberate change: scripts/exported_symbols.sh LIBRARY > abi/qel3-TARGET.symbols
check_exports() {
    local target=$1 library=$2 list="abi/qel3-$1.symbols"
    echo "== exports: $target"
    if [ -f "$library" ] && scripts/exported_symbols.sh "$library" | diff -u "$list" - >"build/exports-$target.diff"; then
        passed=$((passed + 1))
    else
        head -n 40 "build/exports-$target.diff"
        fail_step "exported symbols of $target differ from $list"
    fi
}

# Formatting and a small clang-tidy set over the project's own code.
check_style() {
    echo "== format and lint"
    if git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror; then
        passed=$((passed + 1))
    else
        fail_step "clang-format"
    fi
    if run-clang-tidy -p build/linux -j "$jobs" -quiet "$root/(src|tools)/" >build/clang-tidy.log 2>&1; then
        passed=$((passed + 1))
    else
        grep -E "error:|warning:" build/clang-tidy.log | grep -v "warnings generated" | head -n 20
        fail_step "clang-tidy"
    fi
}

build_bench() {
    echo "== bench: build"
    cmake --preset bench >/dev/null && cmake --build --preset bench -j "$jobs" >/dev/null ||
        fail_step "bench build"
}

install_missing
mkdir -p build
export WINEDEBUG=-all
start=$(date +%s)
run_leg linux
run_consumer linux
check_exports linux build/linux/lib/libqel3.so
run_leg linux-asan
run_leg linux-tsan -R '^(log_test|thread_test)$'
run_leg windows
run_consumer windows
check_exports windows build/windows/bin/qel3.dll
check_style
run_fuzzers
build_bench

echo "test: legs linux, linux-asan, linux-tsan, windows (Wine), exports, style, fuzz, bench build in $(( $(date +%s) - start )) s"
[ ${#failures[@]} -gt 0 ] && echo "test: failed steps: ${failures[*]}"
echo "qel3: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
