#!/bin/bash
# Peak working set of the installer's process over a whole fresh install (version check,
# download, digest, unpacking, success box, hand-off), for releases of 10 MiB, 100 MiB and
# 1 GiB served by nginx on 127.0.0.1:8080. The download, the digest and the unpacking all
# stream, so the figure should not grow with the archive: the spread between the largest and
# the smallest is what this checks. For scale, the same for an empty program under the same
# Wine. process_figures.exe starts each program and reads its peak working set; the tar.exe
# that unpacks runs as a process of its own and is not counted.
# Usage: bench/run_memory_bench.sh [build folder]
#        (SIZES_MIB="10 100 1024" archive sizes, RUNS=n installs each, the highest kept)
set -euo pipefail

source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(realpath -m "${1:-$source_dir/build-bench}")
source "$source_dir/bench/lib.sh"
runs=${RUNS:-1}
command -v nginx > /dev/null || { echo "needs nginx" >&2; exit 2; }
build_targets "$build_dir" QuarnfellOstvale process_figures trivial_program stand_in_launcher stand_in_tar qo_robot
start_test_bed
serve_release

peak_working_set() { measured_run "$1" | cut -d' ' -f2; }
installer_peak() { fresh_install peak_working_set "$build_dir/bin/QuarnfellOstvale.exe"; }

printf 'Peak working set over a fresh install, highest of %d run(s) each\n' "$runs"
printf '  empty program          %7s MiB\n' "$(mib "$(combine_runs larger peak_working_set "$build_dir/bin/trivial_program.exe")")"
peaks=()
for size_mib in ${SIZES_MIB:-10 100 1024}; do
  publish_release "$size_mib"
  peak=$(combine_runs larger installer_peak)
  peaks+=("$peak")
  printf '  installer, %4s MiB    %7s MiB\n' "$size_mib" "$(mib "$peak")"
done
rm -rf "$install_unix"
spread=$(printf '%s\n' "${peaks[@]}" | awk 'NR == 1 || $1 < low { low = $1 } $1 > high { high = $1 } END { print high - low }')
printf '  spread (max - min)     %7s MiB   (target: within 8 MiB)\n' "$(mib "$spread")"
