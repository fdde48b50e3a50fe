#!/bin/bash
# A player's first run, under Wine: builds the installer, publishes a small sample game with
# the publish tool, serves it from nginx on 127.0.0.1:8080 and runs the installer with nothing
# registered. The UI robot plays the player: it accepts the proposed folder in the folder
# picker and confirms the success box. Screenshots of the picker, the progress window and the
# success box are saved. Prints the run log, the installed files, the desktop shortcut and the
# screenshots' paths. Exit code 0 only when the installer ended well and the game is installed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-demo
demo=$build/demo
"$root/tools/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQO_SERVER_HOST=127.0.0.1 >/dev/null
cmake --build "$build" -j "$(nproc)" --target QuarnfellOstvale stand_in_launcher tar_bridge sample_game qo_robot

rm -rf "$demo" && mkdir -p "$demo"
wine_dir=$build/wine
"$root/tests/wine/prefix.sh" start "$wine_dir" "$build/bin/tar_bridge.exe" >/dev/null
stop_all() {
    [ -f "$demo/nginx.pid" ] && nginx -p "$demo" -c "$demo/nginx.conf" -s stop 2>/dev/null || true
    "$root/tests/wine/prefix.sh" stop "$wine_dir"
}
trap stop_all EXIT
source "$root/tests/wine/env.sh" "$wine_dir"

echo "== making and publishing the sample game"
game=$demo/sample-game
mkdir -p "$game/data/maps"
cp "$build/bin/stand_in_launcher.exe" "$game/Launcher_x64_win.exe"
cp "$build/bin/sample_game.exe" "$game/Game_x64_win.exe"
printf 'Quarnfell Ostvale sample data\r\n' >"$game/data/readme.txt"
head -c 24M /dev/urandom >"$game/data/maps/ostvale.pak"   # big enough to watch the download
python3 "$root/tools/publish.py" 1.0.0 "$game" "$demo/www"

# The rate limit stands in for a real network, so the progress window stays up a while.
cat >"$demo/nginx.conf" <<NGINX
pid $demo/nginx.pid;
error_log $demo/nginx-error.log;
events {}
http {
    access_log $demo/nginx-access.log;
    server {
        listen 127.0.0.1:8080;
        root $demo/www;
        limit_rate 8m;
    }
}
NGINX
nginx -p "$demo" -c "$demo/nginx.conf"

# A first run: nothing registered, so the installer proposes <profile>\QuarnfellOstvale.
profile_unix=$(echo "$WINEPREFIX"/drive_c/users/"$(id -un)")
install_folder="C:\\users\\$(id -un)\\QuarnfellOstvale"
install_unix=$profile_unix/QuarnfellOstvale
rm -rf "$install_unix" "$profile_unix/Desktop/Quarnfell Ostvale.lnk"
"$WINE" reg delete 'HKCU\Software\QuarnfellOstvale' /f >/dev/null 2>&1 || true

echo "== running the installer"
"$WINE" "$build/bin/QuarnfellOstvale.exe" &
installer=$!
robot() { "$WINE" "$build/bin/qo_robot.exe" "$@"; }
screenshot() { import -display "$DISPLAY" -window root "$demo/$1" && echo "screenshot: $demo/$1"; }
picker='Choose where to install Quarnfell Ostvale'
if robot wait "#32770" "$picker" 60; then
    sleep 1
    screenshot folder-picker.png
    robot choose "$picker" "$install_folder" 10
fi
if robot wait QFUpdaterWnd "" 60; then
    sleep 1.5
    screenshot progress-window.png
fi
if robot wait "#32770" "" 180; then
    sleep 0.5
    screenshot message-box.png
    robot press "" OK 10 || true
fi
set +e
wait "$installer"
status=$?
set -e
sleep 1  # the launcher runs on its own; let it record its start

echo "== installer exit code: $status"
echo "== $install_folder\\launcher.log"
cat "$install_unix/launcher.log"
echo "== installed files"
(cd "$install_unix" && find . -type f | sort)
echo "== desktop shortcut"
ls -la "$profile_unix/Desktop/"
echo "== the launcher was started as (command line, working folder):"
cat "$install_unix/launcher-starts.txt" 2>/dev/null || echo "(not started)"
echo "== screenshots: $demo/folder-picker.png $demo/progress-window.png $demo/message-box.png"
[ "$status" -eq 0 ] && [ -f "$install_unix/install.ok" ]
