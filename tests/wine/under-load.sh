#!/bin/bash
# Runs the Windows tests N times beside BUSY CPU-bound processes of its own (two unless told),
# as beside other busy programs; prints each run's result and time, then the passes. Each run's
# output is kept in BUILD_DIR/under-load/.
#   tests/wine/under-load.sh N [BUILD_DIR [BUSY]]   (default: build, as tools/run-tests.sh builds it)
set -euo pipefail
build=$(realpath "${2:-$(dirname "$0")/../../build}")
mkdir -p "$build/under-load"
for _ in $(seq "${3:-2}"); do sh -c 'while :; do :; done' & hogs="${hogs-} $!"; done
trap 'kill ${hogs-} 2>/dev/null || true' EXIT
passed=0
for run in $(seq "$1"); do
    log=$build/under-load/run-$run.log
    start=$(date +%s.%N)
    result="FAILED (see $log)"
    ctest --test-dir "$build" -R '^windows_tests$' --output-on-failure >"$log" 2>&1 && result=passed && passed=$((passed + 1))
    seconds=$(echo "$start $(date +%s.%N)" | awk '{ printf "%.1f", $2 - $1 }')
    echo "run $run: $result in $seconds s (windows_tests $(sed -n 's/.*windows_tests \.*[ A-Za-z*]* *\([0-9.]*\) sec.*/\1/p' "$log") s)"
done
echo "$passed of $1 passed under load"
[ "$passed" -eq "$1" ]
