#!/bin/bash
# The release command refuses hosts that would send every player to their own machine; a
# Release configure of a development folder takes no host from that folder's cache; and two
# releases of the same source, built in two folders at two times, are the same bytes.
#   release_test.sh SOURCE_DIR WORK_DIR
set -euo pipefail
root=$1
work=$2
rm -rf "$work" && mkdir -p "$work"

refused() {  # expected message, command...
    local expected=$1
    shift
    if "$@" > "$work/said" 2>&1; then echo "not refused: $*" && exit 1; fi
    grep -qF "$expected" "$work/said" || { cat "$work/said" && exit 1; }
}
for host in "" localhost 127.0.0.1 127.8.0.1 ::1 "[::1]"; do
    refused "refusing host '$host'" "$root/tools/release.sh" "$host" "$work/refused"
done
[ ! -e "$work/refused" ]

cmake -S "$root" -B "$work/dev" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQO_SERVER_HOST=127.0.0.1 -DQO_BUILD_TESTS=OFF > /dev/null
refused "must name its download server" cmake -S "$root" -B "$work/dev" -DCMAKE_BUILD_TYPE=Release

"$root/tools/release.sh" downloads.example.net "$work/first" | tee "$work/said"
grep -qx "server: http://downloads.example.net:8080" "$work/said"
sleep 1  # a time stamp in the program would differ by now
"$root/tools/release.sh" downloads.example.net "$work/second" > /dev/null
cmp "$work/first/QuarnfellOstvale.exe" "$work/second/QuarnfellOstvale.exe"
(cd "$work/second" && sha256sum --check QuarnfellOstvale.exe.sha256)
