#!/bin/bash
# The installer at work under Wine: builds it, prepares an installed game folder with a
# stand-in for the game's launcher, and lets a player "start the installer again": it hands
# over to the launcher. Prints the run log and what the launcher was started with.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-demo
"$root/tools/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQO_SERVER_HOST=127.0.0.1 >/dev/null
cmake --build "$build" -j "$(nproc)" --target QuarnfellOstvale stand_in_launcher

wine_dir=$build/wine
"$root/tests/wine/prefix.sh" start "$wine_dir"
trap '"$root/tests/wine/prefix.sh" stop "$wine_dir"' EXIT
source "$root/tests/wine/env.sh" "$wine_dir"

game='C:\Games\QuarnfellOstvale'
game_unix=$WINEPREFIX/drive_c/Games/QuarnfellOstvale
rm -rf "$game_unix" && mkdir -p "$game_unix"
cp "$build/bin/stand_in_launcher.exe" "$game_unix/Launcher_x64_win.exe"
printf 'game' >"$game_unix/Game_x64_win.exe"
printf 'ok\r\n' >"$game_unix/install.ok"
"$WINE" reg add 'HKCU\Software\QuarnfellOstvale' /v InstallPath /t REG_SZ /d "$game" /f >/dev/null 2>&1

set +e
"$WINE" "$build/bin/QuarnfellOstvale.exe"
status=$?
set -e
sleep 1  # the launcher runs on its own; give it a moment to record its start
echo "== installer exit code: $status"
echo "== $game\\launcher.log"
cat "$game_unix/launcher.log"
echo "== the launcher was started as (command line, working folder):"
cat "$game_unix/launcher-starts.txt"
exit "$status"
