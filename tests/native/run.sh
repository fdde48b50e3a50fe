#!/bin/bash
# Builds the platform-free sources for this machine with ASan and UBSan, runs their unit tests,
# then runs each fuzz target for SECONDS, from its seeds and the corpus kept in BUILD_DIR.
#   tests/native/run.sh BUILD_DIR [SECONDS]        (default: 8 seconds a target)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$1
seconds=${2:-8}
cmake -S "$here" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$build" -j 2
"$build/portable_unit_tests" --gtest_brief=1
for source in "$here"/fuzz_*.cpp; do
    target=$(basename "$source" .cpp)
    name=${target#fuzz_}
    mkdir -p "$build/corpus/$name" "$build/crashes"
    echo "== $target for $seconds s"
    "$build/$target" -max_total_time="$seconds" -artifact_prefix="$build/crashes/$name-" \
        "$build/corpus/$name" "$here/corpus/$name"
done
