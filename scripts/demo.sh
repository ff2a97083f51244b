#!/usr/bin/env bash
# Builds the library and the qel tool (no tests) and runs `qel demo`, installing the few
# Debian packages the build needs when run as root.
set -euo pipefail
cd "$(dirname "$0")/.."
missing=()
for p in cmake ninja-build g++ zlib1g-dev; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    if [ "$(id -u)" -ne 0 ]; then
        echo "demo: missing packages (run as root to install them): ${missing[*]}" >&2
        exit 1
    fi
    DEBIAN_FRONTEND=noninteractive apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release -DQEL_BUILD_TESTS=OFF >/dev/null
cmake --build build/demo
build/demo/bin/qel demo
