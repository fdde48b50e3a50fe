#!/bin/bash
# The opt-in features only add or replace: the tree without their folders builds the very bytes
# of the plain program that the whole tree builds.
#   without_features.sh SOURCE_DIR WORK_DIR BUILD_TYPE HOST PLAIN_PROGRAM
set -euo pipefail
source_dir=$1 work=$2 build_type=$3 host=$4 plain=$5
rm -rf "$work" && mkdir -p "$work/tree"
git -C "$source_dir" ls-files -z --cached --others --exclude-standard | grep -z -v -E '^(trust|utf8|resume)/' |
    tar -C "$source_dir" --ignore-failed-read --null -T - -cf - 2>/dev/null | tar -C "$work/tree" -xf -
cmake -S "$work/tree" -B "$work/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$work/tree/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE="$build_type" -DQO_SERVER_HOST="$host" -DQO_BUILD_TESTS=OFF >"$work/configure.log"
cmake --build "$work/build" --target QuarnfellOstvale >"$work/build.log"
if cmp "$work/build/bin/QuarnfellOstvale.exe" "$plain"; then
    echo "the tree without trust/, utf8/ and resume/ builds the plain program, byte for byte"
else
    echo "the tree without trust/, utf8/ and resume/ builds another program than the plain one" >&2
    exit 1
fi
