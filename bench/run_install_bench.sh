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

work=$(mktemp -d -p "$build_dir")
chmod 755 "$work"  # nginx's workers run as another user
wine_dir=$build_dir/wine
cleanup() {
  [ -f "$work/nginx.pid" ] && nginx -p "$work" -c "$work/nginx.conf" -s stop 2> /dev/null || true
  "$source_dir/tests/wine/prefix.sh" stop "$wine_dir"
  rm -rf "$work"
}
trap cleanup EXIT
"$source_dir/tests/wine/prefix.sh" start "$wine_dir" "$build_dir/bin/stand_in_tar.exe" > /dev/null
source "$source_dir/tests/wine/env.sh" "$wine_dir"

# A release that does not compress (1 GiB unless SIZE_MIB says otherwise), stored as it is.
head -c "${SIZE_MIB:-1024}M" /dev/urandom > "$work/blob.pak"
python3 - "$work" "$build_dir/bin/stand_in_launcher.exe" <<'PY'
import sys, zipfile
work, launcher = sys.argv[1:]
with zipfile.ZipFile(f'{work}/game.zip', 'w', zipfile.ZIP_STORED) as archive:
    archive.write(launcher, 'Launcher_x64_win.exe')
    archive.writestr('Game_x64_win.exe', b'game')
    archive.write(f'{work}/blob.pak', 'data/blob.pak')
PY
rm "$work/blob.pak"
python3 "$source_dir/tools/publish.py" 1.0 "$work/game.zip" "$work/www" > /dev/null
rm "$work/game.zip"
size=$(stat -c %s "$work/www/game.zip")
digest=$(sed -n 2p "$work/www/version.txt")

cat > "$work/nginx.conf" << NGINX
pid $work/nginx.pid;
error_log $work/nginx-error.log;
events {}
http {
  access_log off;
  server { listen 127.0.0.1:8080; root $work/www; }
}
NGINX
nginx -p "$work" -c "$work/nginx.conf"

curl_download() { curl -sf -o "$work/curl.zip" http://127.0.0.1:8080/game.zip; }
baseline_install() {
  rm -rf "$work/baseline" && mkdir "$work/baseline"
  curl -sf -o "$work/baseline/game.zip" http://127.0.0.1:8080/game.zip
  [ "$(openssl dgst -sha256 -r "$work/baseline/game.zip" | cut -d' ' -f1)" = "$digest" ]
  bsdtar -x -f "$work/baseline/game.zip" -C "$work/baseline"
  rm "$work/baseline/game.zip"
}
install_folder='C:\bench\QuarnfellOstvale'
install_unix=$WINEPREFIX/drive_c/bench/QuarnfellOstvale
installer_install() {
  rm -rf "$install_unix" && mkdir -p "$install_unix"
  "$WINE" reg add 'HKCU\Software\QuarnfellOstvale' /v InstallPath /t REG_SZ /d "$install_folder" /f > /dev/null 2>&1
  "$WINE" "$build_dir/bin/qo_robot.exe" press "Quarnfell Ostvale" OK 600 > /dev/null &
  local robot=$!
  "$WINE" "$build_dir/bin/QuarnfellOstvale.exe"
  wait "$robot"
  [ -f "$install_unix/install.ok" ]
  # The launcher runs on its own after the installer; let it record its start and go.
  for _ in $(seq 50); do [ -f "$install_unix/launcher-starts.txt" ] && break; sleep 0.1; done
}

curl_time=$(best_of curl_download)
rm -f "$work/curl.zip"
# Prints the best time of the installer's download code; "window" shows the progress window.
best_download() {
  local best=1e9 seconds bytes
  for _ in $(seq "$runs"); do
    read -r seconds bytes < <("$WINE" "$build_dir/bin/download_bench.exe" "Z:$work/download.zip" "$@" | tr -d '\r')
    [ "$bytes" = "$size" ] || { echo "download wrote $bytes bytes, expected $size" >&2; exit 1; }
    best=$(echo "$seconds $best" | awk '{ print ($1 < $2 ? $1 : $2) }')
    rm -f "$work/download.zip"
  done
  echo "$best"
}
download_time=$(best_download)
window_download_time=$(best_download window)
baseline_time=$(best_of baseline_install)
rm -rf "$work/baseline"
installer_time=$(best_of installer_install)
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
