#!/bin/bash
# The hand-off against its floor: started with an installed folder registered (marker, game and
# the stand-in launcher in place), each only starts the launcher and ends. The floor
# (bench/floor_installer.cpp, the same program as the install floor) has the installer's
# imports, apartment, registry read, file checks, log lines and launcher start, and nothing
# else. process_figures.exe times each from CreateProcess until the process has ended; the two
# run in turn, RUNS times each. The hand-off never asks the download server.
# Usage: bench/run_handoff_bench.sh [build folder]   (RUNS=n, 20 unless told)
set -euo pipefail

source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(realpath -m "${1:-$source_dir/build-bench}")
source "$source_dir/bench/lib.sh"
runs=${RUNS:-20}
build_targets "$build_dir" QuarnfellOstvale floor_installer process_figures stand_in_launcher tar_bridge
start_test_bed

rm -rf "$install_unix" && mkdir -p "$install_unix"
printf 'ok\r\n' > "$install_unix/install.ok"
printf 'game' > "$install_unix/Game_x64_win.exe"
cp "$build_dir/bin/stand_in_launcher.exe" "$install_unix/Launcher_x64_win.exe"
register_install_folder

# The launcher runs on after the program has ended: each run waits for it, untimed.
timed_handoff() {
  rm -f "$install_unix/launcher-starts.txt" "$install_unix/launcher.log"
  measured_run "$build_dir/bin/$1.exe" | cut -d' ' -f1
  await_launcher_starts 1
  grep -q 'launcher run end (handoff)' "$install_unix/launcher.log" || { echo "$1: no hand-off" >&2; return 1; }
}
for _ in $(seq "$runs"); do
  echo "installer $(timed_handoff QuarnfellOstvale)" >> "$work/times"
  echo "floor $(timed_handoff floor_installer)" >> "$work/times"
done
echo "load average at the end: $(cut -d' ' -f1-3 /proc/loadavg)"
python3 - "$work/times" "$runs" <<'PY'
import statistics, sys
times = {}
for name, seconds in (line.split() for line in open(sys.argv[1])):
    times.setdefault(name, []).append(float(seconds))
best = {name: min(values) for name, values in times.items()}
median = {name: statistics.median(values) for name, values in times.items()}
print(f'Start to end of process, {sys.argv[2]} runs each, in turn (best, median)')
for name in ('floor', 'installer'):
    print(f'  {name:<10} {best[name]:6.3f} s  {median[name]:6.3f} s')
ratio = best['installer'] / best['floor']
print(f'  installer / floor: {ratio:.2f}x best, {median["installer"] / median["floor"]:.2f}x median '
      f'(target <= 1.15: {"met" if ratio <= 1.15 else "MISSED"})')
sys.exit(0 if ratio <= 1.15 else 3)
PY
