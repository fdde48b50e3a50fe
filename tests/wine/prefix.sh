#!/bin/bash
# Starts or stops the Windows test bed of one build folder: a private Wine prefix, a virtual
# X display and a wineserver kept warm between test programs; for the tests, two small drives.
#   prefix.sh start WINE_DIR [STAND_IN_TAR]    prefix.sh drives WINE_DIR    prefix.sh stop WINE_DIR
set -euo pipefail
action=$1
wine_dir=$2
source "$(dirname "$0")/env.sh" "$wine_dir"

start_display() {
    if [ -f "$wine_dir/xvfb.pid" ] && kill -0 "$(cat "$wine_dir/xvfb.pid")" 2>/dev/null; then
        return
    fi
    rm -f "$wine_dir/display"
    # -displayfd picks a free display and writes its number once the server accepts clients.
    setsid Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp \
        3>"$wine_dir/display.new" </dev/null >"$wine_dir/xvfb.log" 2>&1 &
    echo $! >"$wine_dir/xvfb.pid"
    for _ in $(seq 100); do
        [ -s "$wine_dir/display.new" ] && break
        sleep 0.1
    done
    [ -s "$wine_dir/display.new" ] || { echo "Xvfb did not start" >&2; cat "$wine_dir/xvfb.log" >&2; exit 1; }
    mv "$wine_dir/display.new" "$wine_dir/display"
}

create_prefix() {
    [ -f "$WINEPREFIX/.test-bed-ready" ] && return
    rm -rf "$WINEPREFIX"
    "$WINE" wineboot -i >"$wine_dir/wineboot.log" 2>&1
    "$WINESERVER" -w
    # wineboot links the profile's shell folders to $HOME; tests must write inside the prefix.
    for link in "$WINEPREFIX"/drive_c/users/*/{Desktop,Documents,Downloads,Music,Pictures,Videos,Templates}; do
        if [ -L "$link" ]; then rm "$link"; mkdir "$link"; fi
    done
    touch "$WINEPREFIX/.test-bed-ready"
}

# Two small drives for install folders that cannot take the game: F: holds 2 MiB, R: is
# read-only with an empty folder R:\game. Mounting needs root; where it is not permitted the
# drives are left out, and the tests that want them say so. Only the tests ask for them, and
# stop takes them away again.
mount_small_drives() {
    local drives=$wine_dir/drives
    mkdir -p "$drives/full" "$drives/readonly"
    rm -f "$WINEPREFIX/dosdevices/f:" "$WINEPREFIX/dosdevices/r:"
    if ! mountpoint -q "$drives/full"; then
        mount -t tmpfs -o size=2m qo-full "$drives/full" 2>/dev/null || {
            echo "no small drives F: and R: (mount is not permitted here)"
            return
        }
    fi
    if ! mountpoint -q "$drives/readonly"; then
        mount -t tmpfs -o size=1m qo-readonly "$drives/readonly"
        mkdir "$drives/readonly/game"
        mount -o remount,ro "$drives/readonly"
    fi
    ln -s "$drives/full" "$WINEPREFIX/dosdevices/f:"
    ln -s "$drives/readonly" "$WINEPREFIX/dosdevices/r:"
}

unmount_small_drives() {
    rm -f "$WINEPREFIX/dosdevices/f:" "$WINEPREFIX/dosdevices/r:"
    for drive in full readonly; do
        if mountpoint -q "$wine_dir/drives/$drive"; then umount "$wine_dir/drives/$drive"; fi
    done
}

case $action in
start)
    mkdir -p "$wine_dir"
    start_display
    export DISPLAY=":$(cat "$wine_dir/display")"
    create_prefix
    if [ -n "${3:-}" ]; then cp "$3" "$WINEPREFIX/drive_c/windows/system32/tar.exe"; fi
    setsid "$WINESERVER" -p </dev/null >/dev/null 2>&1 || true
    # The first Windows program starts the prefix's background services, which keep its
    # output streams open for as long as they run. Start them here, on no streams at all, so
    # that they never hold a test's output open after the test has ended.
    settings="Z:$(realpath "$(dirname "$0")/test-bed.reg" | tr / '\\')"
    "$WINE" regedit /S "$settings" </dev/null >/dev/null 2>&1
    echo "test bed ready: WINEPREFIX=$WINEPREFIX DISPLAY=$DISPLAY"
    ;;
drives)
    mount_small_drives
    ;;
stop)
    "$WINESERVER" -k 2>/dev/null || true
    if [ -f "$wine_dir/xvfb.pid" ]; then kill "$(cat "$wine_dir/xvfb.pid")" 2>/dev/null || true; rm -f "$wine_dir/xvfb.pid"; fi
    unmount_small_drives
    ;;
*)
    echo "usage: prefix.sh start WINE_DIR [STAND_IN_TAR] | drives WINE_DIR | stop WINE_DIR" >&2
    exit 2
    ;;
esac
