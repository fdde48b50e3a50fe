#!/bin/bash
# The whole install against its floor (bench/floor_installer.cpp): the same required work and
# no more, on the same Wine, nginx, tar.exe and UI robot, in the same run. For each archive size
# the two run in turn, RUNS times each, each pair in the other order than the one before, so that
# a burst of load falls on both, and each starts once what the runs before wrote is on disk. A
# watcher stamps the run log's marking lines as they appear, which splits each run into phases; the whole
# install and the peak working set come from process_figures.exe. curl + openssl + bsdtar on the
# same archive are printed as context only. Exit code 3 when a target is missed.
# BUILD=player holds the player's build (bin/keyed/ of the tests: the test bed's key, a version
# file signed with it, resumed downloads) against its own floor, at sizes up to 5 GiB, where
# Wine's WinHTTP ends every body at 2 GiB and both must ask for the rest; the 5 GiB archive is
# zip64, its one entry over 4 GiB. The plain build then tries the last size once.
# Usage: bench/run_install_bench.sh [build folder]   (RUNS=n, SIZES_MIB="256 1024", BUILD=player)
set -euo pipefail

source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(realpath -m "${1:-$source_dir/build-bench}")
source "$source_dir/bench/lib.sh"
runs=${RUNS:-5}
command -v bsdtar curl openssl nginx > /dev/null || { echo "needs bsdtar, curl, openssl and nginx" >&2; exit 2; }
if [ "${BUILD:-plain}" = player ]; then
  installer=keyed/QuarnfellOstvale floor=player_floor_installer sizes=${SIZES_MIB:-256 1024 2048 5120}
  build_targets "$build_dir" keyed_installer
  keys=("$build_dir"/test-keys/trusted/*.pem)
  publish_options=(--sign "${keys[0]}")
else
  installer=QuarnfellOstvale floor=floor_installer sizes=${SIZES_MIB:-256 1024} publish_options=()
fi
build_targets "$build_dir" QuarnfellOstvale "$floor" process_figures stand_in_launcher tar_bridge qo_robot
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
  sync
  start=$(date +%s.%N)
  figures=$(measured_run "$build_dir/bin/$1.exe") || { kill "$robot" "$watcher" 2> /dev/null; return 1; }
  wait "$robot" "$watcher"
  [ -f "$install_unix/install.ok" ] || { echo "$1 did not install" >&2; return 1; }
  await_launcher_starts 1
  [ "$1" != "$installer" ] || cp "$install_unix/launcher.log" "$work/installer.log"
  echo "$1 $2 $figures $start $(cat "$work/stamps")" >> "$work/runs"
}
baseline_install() {
  rm -rf "$work/baseline" && mkdir "$work/baseline"
  curl -sf -o "$work/baseline/game.zip" http://127.0.0.1:8080/game.zip
  [ "$(openssl dgst -sha256 -r "$work/baseline/game.zip" | cut -d' ' -f1)" = "$digest" ]
  bsdtar -x -f "$work/baseline/game.zip" -C "$work/baseline"
}

for mib in $sizes; do
  publish_release "$mib" "${publish_options[@]}"
  pair=("$installer" "$floor")
  for _ in $(seq "$runs"); do
    timed_install "${pair[0]}" "$mib"
    timed_install "${pair[1]}" "$mib"
    pair=("${pair[1]}" "${pair[0]}")
  done
  echo "$mib MiB: $size bytes, $(($(grep -c 'download: asking for the rest' "$work/installer.log") + 1))" \
    "archive requests in the installer's last run"
  echo "context $mib $(best_of baseline_install)" >> "$work/runs"
  rm -rf "$work/baseline" "$install_unix"
done
if [ "$installer" != QuarnfellOstvale ]; then
  read -r plain_seconds _ plain_code <<< "$(install_run QuarnfellOstvale.exe)"
  echo "plain build, $mib MiB: exit code $plain_code after $plain_seconds s; its box and log:"
  grep -E 'download complete|sha256|GetLastError|run end' "$install_unix/launcher.log" |
    cat "$work/box" - | tr -d '\r' | sed 's/^/  /'
  rm -rf "$install_unix"
fi
echo "load average at the end: $(cut -d' ' -f1-3 /proc/loadavg)"
python3 "$source_dir/bench/install_phases.py" report "$work/runs"
