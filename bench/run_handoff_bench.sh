#!/bin/bash
# Wall time of the installer's hand-off: started with an installed folder registered (marker,
# game and the stand-in launcher in place), it only starts the launcher and ends. Compared
# with an empty program started the same way under the same Wine, so what remains is what
# the hand-off adds to any program's start. process_figures.exe starts each and times it from
# CreateProcess until the process has ended. The hand-off never asks the download server.
# Usage: bench/run_handoff_bench.sh [build folder]   (RUNS=n runs each, best kept)
set -euo pipefail

source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(realpath -m "${1:-$source_dir/build-bench}")
source "$source_dir/bench/lib.sh"
runs=${RUNS:-20}
build_targets "$build_dir" QuarnfellOstvale process_figures trivial_program stand_in_launcher stand_in_tar
start_test_bed

rm -rf "$install_unix" && mkdir -p "$install_unix"
printf 'ok\r\n' > "$install_unix/install.ok"
printf 'game' > "$install_unix/Game_x64_win.exe"
cp "$build_dir/bin/stand_in_launcher.exe" "$install_unix/Launcher_x64_win.exe"
register_install_folder

timed_start() { measured_run "$1" | cut -d' ' -f1; }
# The launcher runs on after the installer has ended: each run waits for it, untimed.
timed_handoff() {
  rm -f "$install_unix/launcher-starts.txt"
  timed_start "$build_dir/bin/QuarnfellOstvale.exe"
  await_launcher_starts 1
}

empty_time=$(combine_runs smaller timed_start "$build_dir/bin/trivial_program.exe")
handoff_time=$(combine_runs smaller timed_handoff)
grep -q 'launcher run end (handoff)' "$install_unix/launcher.log" || { echo "no hand-off in the run log" >&2; exit 1; }
rm -rf "$install_unix"

printf 'Start to end of process, best of %d runs\n' "$runs"
printf '  empty program         %6.3f s\n' "$empty_time"
printf '  installer, hand-off   %6.3f s   %sx the empty program (target <= 1.3)\n' \
  "$handoff_time" "$(ratio "$handoff_time" "$empty_time")"
