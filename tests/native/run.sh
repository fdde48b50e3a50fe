#!/bin/bash
# Builds the platform-free sources for this machine with clang under ASan and UBSan, runs their
# unit tests, then each fuzz target for SECONDS from the corpus kept in BUILD_DIR.
#   tests/native/run.sh BUILD_DIR [SECONDS]        (default: 8 seconds a target)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$1
gtest=/usr/src/googletest/googletest
mkdir -p "$build/crashes"
flags=(-std=c++20 -g -O1 -fno-omit-frame-pointer -fsanitize=address,undefined -fno-sanitize-recover=all -I"$root")
# Compiled once, with the fuzzers' coverage; only the SHA-NI blocks use those instructions.
(cd "$build" && clang++ "${flags[@]}" -fsanitize=fuzzer-no-link -c \
    "$root"/{app/version_manifest_parse,trust/version_lines,trust/version_signature,archive/sha256,archive/sha256_blocks,common/lower_ascii,common/path_text}.cpp)
clang++ "${flags[@]}" -msha -msse4.1 -fsanitize=fuzzer-no-link -c "$root/archive/sha256_blocks_shani.cpp" -o "$build/shani.o"
objects=("$build"/{version_manifest_parse,version_lines,version_signature,sha256,sha256_blocks,lower_ascii,path_text,shani}.o)
clang++ "${flags[@]}" -I"$gtest" -I"$gtest/include" "${objects[@]}" "$gtest"/src/gtest{-all,_main}.cc \
    "$root"/tests/unit/{text_rules,version_signature}_test.cpp -pthread -o "$build/portable_unit_tests"
"$build/portable_unit_tests" --gtest_brief=1
for name in version_manifest sha256; do
    clang++ "${flags[@]}" -fsanitize=fuzzer "${objects[@]}" "$root/tests/native/fuzz_$name.cpp" -o "$build/fuzz_$name"
    mkdir -p "$build/corpus/$name"
    echo "== fuzz_$name for ${2:-8} s"
    "$build/fuzz_$name" -max_total_time="${2:-8}" -artifact_prefix="$build/crashes/$name-" "$build/corpus/$name"
done
