#!/bin/bash
# Builds the installer and everything the tests need, then runs every test under Wine.
#   tools/run-tests.sh [BUILD_DIR]      (default: build)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
"$root/tools/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQO_SERVER_HOST=127.0.0.1
cmake --build "$build" -j "$(nproc)"
ctest --test-dir "$build" --output-on-failure
