#!/bin/bash
# Runs the Windows tests N times while two CPU-bound processes, started and stopped here,
# compete for the machine's cores, as another program beside the test run would. Prints each
# run's result and time, then how many passed; exit 0 only when all did. Each run's output is
# kept in BUILD_DIR/under-load/.
#   tests/wine/under-load.sh N [BUILD_DIR]      (default: build, as tools/run-tests.sh builds it)
set -euo pipefail
runs=$1
build=$(realpath "${2:-$(dirname "$0")/../../build}")
mkdir -p "$build/under-load"
hogs=()
trap 'kill "${hogs[@]}" 2>/dev/null || true' EXIT
for _ in 1 2; do
    sh -c 'while :; do :; done' &
    hogs+=($!)
done
passed=0
for run in $(seq "$runs"); do
    log=$build/under-load/run-$run.log
    start=$(date +%s.%N)
    if ctest --test-dir "$build" -R '^windows_tests$' --output-on-failure >"$log" 2>&1; then
        result=passed
        passed=$((passed + 1))
    else
        result="FAILED (see $log)"
    fi
    seconds=$(echo "$start $(date +%s.%N)" | awk '{ printf "%.1f", $2 - $1 }')
    echo "run $run: $result in $seconds s (windows_tests $(sed -n 's/.*windows_tests \.*[ A-Za-z*]* *\([0-9.]*\) sec.*/\1/p' "$log") s)"
done
echo "$passed of $runs passed under load"
[ "$passed" -eq "$runs" ]
