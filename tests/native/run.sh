#!/bin/bash
# Builds the platform-free sources for this machine under ASan and UBSan, runs their unit
# tests, then each fuzz target for SECONDS from the corpus kept in BUILD_DIR.
#   tests/native/run.sh BUILD_DIR [SECONDS]        (default: 8 seconds a target)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$1
cmake -S "$here" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$build" -j 2
"$build/portable_unit_tests" --gtest_brief=1
for name in version_manifest sha256; do
    mkdir -p "$build/corpus/$name" "$build/crashes"
    echo "== fuzz_$name for ${2:-8} s"
    "$build/fuzz_$name" -max_total_time="${2:-8}" -artifact_prefix="$build/crashes/$name-" "$build/corpus/$name"
done
