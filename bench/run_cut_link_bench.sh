#!/bin/bash
# A 1 GiB game over a link that drops every 64 MiB (bench/cut_link.py: a relay on
# 127.0.0.1:8080 in front of nginx on 8081 that resets each connection once it has carried
# 64 MiB to the installer). The player's build (bin/keyed/, the test bed's key, a version file
# signed with it) installs straight from nginx on 8080, then through the cut link, in turn, RUNS
# times each, so that a burst of load falls on both; the plain build then tries once through the
# cut link and must fail. process_figures.exe times each install from CreateProcess to its end.
# Target: the player's build through the cut link at most 1.15x its own unbroken install.
# Exit code 3 when a target is missed, 1 when the benchmark could not run.
# Usage: bench/run_cut_link_bench.sh [build folder]   (RUNS=n, 3 unless told)
set -euo pipefail

source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(realpath -m "${1:-$source_dir/build-bench}")
source "$source_dir/bench/lib.sh"
runs=${RUNS:-3}
size_mib=1024
cut_mib=64
command -v nginx > /dev/null || { echo "needs nginx" >&2; exit 2; }
build_targets "$build_dir" QuarnfellOstvale keyed_installer process_figures stand_in_launcher tar_bridge qo_robot
keys=("$build_dir"/test-keys/trusted/*.pem)
start_test_bed
publish_release "$size_mib" --sign "${keys[0]}"

# nginx on 8081 and the cut link on 8080 in front of it; the link's lines go to $work/link.
serve_cut_link() {
  serve_release 8081
  python3 "$source_dir/bench/cut_link.py" 8080 8081 $((cut_mib << 20)) $$ > "$work/link" &
  link=$!
  for _ in $(seq 50); do
    grep -q '^listening' "$work/link" && return
    sleep 0.1
  done
  echo "the cut link was not listening after 5 s" >&2
  return 1
}
stop_cut_link() {
  kill "$link"
  wait "$link" || true
  stop_serving
}

# The player's build installs; appends "$1 <seconds>" to $work/times.
player_install() {
  local seconds code
  read -r seconds _ code <<< "$(install_run keyed/QuarnfellOstvale.exe)"
  [ "$code" = 0 ] && [ -f "$install_unix/install.ok" ] || {
    echo "the player's build did not install ($1, exit code ${code:-(none)}); its box and log end:" >&2
    tr -d '\r' < "$work/box" >&2
    tail -n 8 "$install_unix/launcher.log" >&2
    return 1
  }
  await_launcher_starts 1
  echo "$1 $seconds" >> "$work/times"
}

for _ in $(seq "$runs"); do
  serve_release
  player_install unbroken
  stop_serving
  serve_cut_link
  player_install cut
  stop_cut_link
  # Each run through the link must have met every cut, and gone on from each.
  cuts=$(grep -c ' cut$' "$work/link" || true)
  resumes=$(grep -c 'download: asking for the rest from byte' "$install_unix/launcher.log" || true)
  restarts=$(grep -c 'starting again from byte 0' "$install_unix/launcher.log" || true)
  carried=$(awk '$1 ~ /^[0-9]+$/ { sum += $1 } END { printf "%.0f", sum / 1048576 }' "$work/link")
  echo "cut run: $cuts cuts, $resumes resumes, $restarts restarts, $carried MiB through the link"
  [ "$cuts" -ge $((size / (cut_mib << 20))) ] && [ "$resumes" -eq "$cuts" ] && [ "$restarts" -eq 0 ] || {
    echo "the link did not cut every $cut_mib MiB, or the player's build did not go on from each cut" >&2
    exit 1
  }
done

serve_cut_link
read -r plain_seconds _ plain_code <<< "$(install_run QuarnfellOstvale.exe)"
stop_cut_link
echo "plain build through the cut link: exit code $plain_code after $plain_seconds s, $(grep -c ' cut$' "$work/link" || true) cuts; its box and log end:"
tail -n 6 "$install_unix/launcher.log" | cat "$work/box" - | tr -d '\r' | sed 's/^/  /'
plain_failed=no
[ "$plain_code" = 1 ] && [ ! -f "$install_unix/install.ok" ] && plain_failed=yes
rm -rf "$install_unix"

echo "load average at the end: $(cut -d' ' -f1-3 /proc/loadavg)"
python3 - "$work/times" "$runs" "$size_mib" "$cut_mib" "$plain_failed" <<'PY'
import statistics, sys
times_file, runs, size_mib, cut_mib, plain_failed = sys.argv[1:]
times = {}
for name, seconds in (line.split() for line in open(times_file)):
    times.setdefault(name, []).append(float(seconds))
best = {name: min(values) for name, values in times.items()}
median = {name: statistics.median(values) for name, values in times.items()}
print(f"{size_mib} MiB archive, the player's build, {runs} runs each, in turn (seconds; best, median)")
print(f'  {"unbroken":<26} {best["unbroken"]:7.3f} {median["unbroken"]:7.3f}')
print(f'  {f"link cut every {cut_mib} MiB":<26} {best["cut"]:7.3f} {median["cut"]:7.3f}')
ratio = best['cut'] / best['unbroken']
met = ratio <= 1.15
print(f'  cut / unbroken: {ratio:.2f}x best, {median["cut"] / median["unbroken"]:.2f}x median '
      f'(target <= 1.15: {"met" if met else "MISSED"})')
print(f'plain build through the cut link: {"failed, as it must" if plain_failed == "yes" else "did NOT fail"}')
sys.exit(0 if met and plain_failed == 'yes' else 3)
PY
