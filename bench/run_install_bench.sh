#!/bin/bash
# The whole install against its floor (bench/floor_installer.cpp): the same required work and
# no more, on the same Wine, nginx, tar.exe and UI robot, in the same run. For each archive size
# the two run in turn, RUNS times each, so that a burst of load falls on both. A watcher stamps
# the run log's marking lines as they appear, which splits each run into phases; the whole
# install and the peak working set come from process_figures.exe. curl + openssl + bsdtar on the
# same archive are printed as context only. Exit code 3 when a target is missed.
# Usage: bench/run_install_bench.sh [build folder]   (RUNS=n, SIZES_MIB="256 1024")
set -euo pipefail

source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(realpath -m "${1:-$source_dir/build-bench}")
source "$source_dir/bench/lib.sh"
runs=${RUNS:-5}
command -v bsdtar curl openssl nginx > /dev/null || { echo "needs bsdtar, curl, openssl and nginx" >&2; exit 2; }
build_targets "$build_dir" QuarnfellOstvale floor_installer process_figures stand_in_launcher tar_bridge qo_robot
start_test_bed
serve_release

# One install by program $1 into an empty registered folder, its success box pressed by the
# robot; appends "<program> <MiB> <seconds> <peak> <start> <stamps>" to $work/runs.
timed_install() {
  rm -rf "$install_unix" && mkdir -p "$install_unix"
  register_install_folder
  "$WINE" "$build_dir/bin/qo_robot.exe" press "Quarnfell Ostvale" OK 900 > /dev/null &
  local robot=$!
  python3 "$source_dir/bench/install_phases.py" watch "$install_unix/launcher.log" > "$work/stamps" &
  local watcher=$! figures start
  for _ in $(seq 500); do [ -f "$install_unix/launcher.log.watched" ] && break; sleep 0.01; done
  [ -f "$install_unix/launcher.log.watched" ] || { echo "the log watcher had not started after 5 s" >&2; return 1; }
  start=$(date +%s.%N)
  figures=$(measured_run "$build_dir/bin/$1.exe")
  wait "$robot" "$watcher"
  [ -f "$install_unix/install.ok" ] || { echo "$1 did not install" >&2; return 1; }
  await_launcher_starts 1
  echo "$1 $2 $figures $start $(cat "$work/stamps")" >> "$work/runs"
}
baseline_install() {
  rm -rf "$work/baseline" && mkdir "$work/baseline"
  curl -sf -o "$work/baseline/game.zip" http://127.0.0.1:8080/game.zip
  [ "$(openssl dgst -sha256 -r "$work/baseline/game.zip" | cut -d' ' -f1)" = "$digest" ]
  bsdtar -x -f "$work/baseline/game.zip" -C "$work/baseline"
}

for mib in ${SIZES_MIB:-256 1024}; do
  publish_release "$mib"
  for _ in $(seq "$runs"); do
    timed_install QuarnfellOstvale "$mib"
    timed_install floor_installer "$mib"
  done
  echo "context $mib $(best_of baseline_install)" >> "$work/runs"
  rm -rf "$work/baseline" "$install_unix"
done
echo "load average at the end: $(cut -d' ' -f1-3 /proc/loadavg)"
python3 "$source_dir/bench/install_phases.py" report "$work/runs"
