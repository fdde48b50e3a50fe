#!/bin/bash
# Download and whole-install speed of the installer under Wine, against the plain tools on the
# same 1 GiB archive from the same nginx on 127.0.0.1:8080, all measured in this run:
#   download: the installer's download code (timed inside its process), without and with its
#             progress window, vs curl;
#   install:  the installer from start to exit, its success box pressed at once by the UI
#             robot, vs curl + openssl dgst -sha256 + bsdtar -x one after the other.
# The installer unpacks with the test bed's stand-in tar.exe, the baseline with bsdtar.
# Usage: bench/run_install_bench.sh [build folder]   (RUNS=n runs each, SIZE_MIB=n data size)
set -euo pipefail

source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(realpath -m "${1:-$source_dir/build-bench}")
source "$source_dir/bench/lib.sh"
runs=${RUNS:-3}
command -v bsdtar curl openssl nginx > /dev/null || { echo "needs bsdtar, curl, openssl and nginx" >&2; exit 2; }
build_targets "$build_dir" QuarnfellOstvale download_bench stand_in_launcher stand_in_tar qo_robot
start_test_bed
publish_release "${SIZE_MIB:-1024}"
serve_release

curl_download() { curl -sf -o "$work/curl.zip" http://127.0.0.1:8080/game.zip; }
# Emptying the install folder before each run is not part of either timed install.
baseline_install() {
  curl -sf -o "$work/baseline/game.zip" http://127.0.0.1:8080/game.zip
  [ "$(openssl dgst -sha256 -r "$work/baseline/game.zip" | cut -d' ' -f1)" = "$digest" ]
  bsdtar -x -f "$work/baseline/game.zip" -C "$work/baseline"
  rm "$work/baseline/game.zip"
}
fresh_baseline() {
  rm -rf "$work/baseline" && mkdir "$work/baseline"
  wall_time baseline_install
}
# Prints the seconds of one run of the installer's download code; "window" shows the progress
# window.
timed_download() {
  local seconds bytes
  read -r seconds bytes < <("$WINE" "$build_dir/bin/download_bench.exe" "$(windows_path "$work/download.zip")" "$@" | tr -d '\r')
  rm -f "$work/download.zip"
  [ "$bytes" = "$size" ] || { echo "download wrote $bytes bytes, expected $size" >&2; return 1; }
  echo "$seconds"
}

curl_time=$(best_of curl_download)
rm -f "$work/curl.zip"
download_time=$(combine_runs smaller timed_download)
window_download_time=$(combine_runs smaller timed_download window)
baseline_time=$(combine_runs smaller fresh_baseline)
rm -rf "$work/baseline"
installer_time=$(combine_runs smaller fresh_install wall_time "$WINE" "$build_dir/bin/QuarnfellOstvale.exe")
rm -rf "$install_unix"

mib=$(echo "$size" | awk '{ print $1 / 1048576 }')
printf '%s MiB archive, best of %d runs\n' "$(printf '%.0f' "$mib")" "$runs"
printf '  download  curl               %7.3f s  %5s MiB/s\n' "$curl_time" "$(mib_per_s "$curl_time" "$mib")"
printf '            installer          %7.3f s  %5s MiB/s   %sx the speed of curl (target >= 0.9)\n' \
  "$download_time" "$(mib_per_s "$download_time" "$mib")" "$(ratio "$curl_time" "$download_time")"
printf '            installer, window  %7.3f s  %5s MiB/s   %sx the speed of curl\n' \
  "$window_download_time" "$(mib_per_s "$window_download_time" "$mib")" "$(ratio "$curl_time" "$window_download_time")"
printf '  install   curl+openssl+tar   %7.3f s\n' "$baseline_time"
printf '            installer          %7.3f s   %sx the time of the baseline (target <= 1.2)\n' \
  "$installer_time" "$(ratio "$installer_time" "$baseline_time")"
