#!/bin/bash
# The Windows test bed of one build folder: a private Wine prefix whose tar.exe is TAR_EXE (a
# bridge to the host's bsdtar), a virtual X display, a wineserver kept warm between programs,
# a drive F: of 2 MiB that fills up, and a loopback of its own (`network`, before `start`).
# `run` ends with the program's exit code; `host` runs a Linux command in the test bed's network.
#   prefix.sh network|start|drive|stop WINE_DIR [TAR_EXE]    prefix.sh run|host WINE_DIR PROGRAM [ARGS...]
set -euo pipefail
wine_dir=$2
source "$(dirname "$0")/env.sh" "$wine_dir"
# bounded SECONDS WHAT OUTPUT COMMAND...: a step that hangs ends the script, saying what it
# waited for; the command's own output goes to the file OUTPUT.
bounded() {
    local seconds=$1 what=$2 output=$3
    shift 3
    timeout -k 5 "$seconds" "$@" </dev/null >"$output" 2>&1 ||
        { echo "prefix.sh: $what did not succeed within $seconds s (exit $?)" >&2; exit 1; }
}
# The wineserver makes every socket of the prefix's programs, so the network it runs in is
# theirs; the test program and the Linux programs it starts join it too.
netns=qo-bed-$(echo -n "$wine_dir" | sha256sum | cut -c 1-12)
in_network=()
if [ -e "/run/netns/$netns" ]; then in_network=(nsenter --net="/run/netns/$netns"); fi
case $1 in
run)
    shift 2
    # Players live in every time zone; 14 hours ahead of UTC, local time is never mistaken for it.
    TZ=QOT-14 exec "${in_network[@]}" "$WINE" "$@"
    ;;
host)
    shift 2
    exec "${in_network[@]}" "$@"
    ;;
network)
    # Port 8080 of the machine's loopback is anyone's: a demo's or a benchmark's server, or
    # another test run, would take it from the scripted server. Root only.
    if [ -z "${in_network[*]}" ]; then
        "$WINESERVER" -k 2>/dev/null || true  # a wineserver left outside would serve the tests
        { ip netns add "$netns" && ip -n "$netns" link set lo up; } 2>/dev/null ||
            echo "prefix.sh: no network of its own here (not root?); the tests share the machine's port 8080"
    fi
    ;;
start)
    mkdir -p "$wine_dir"
    if ! kill -0 "$(cat "$wine_dir/xvfb.pid" 2>/dev/null)" 2>/dev/null; then
        # -displayfd picks a free display and writes its number once the server takes clients.
        setsid Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$wine_dir/display.new" </dev/null \
            >"$wine_dir/xvfb.log" 2>&1 &
        echo $! >"$wine_dir/xvfb.pid"
        for _ in $(seq 100); do [ -s "$wine_dir/display.new" ] && break; sleep 0.1; done
        [ -s "$wine_dir/display.new" ] || { cat "$wine_dir/xvfb.log" >&2; exit 1; }
        mv "$wine_dir/display.new" "$wine_dir/display"
    fi
    export DISPLAY=":$(cat "$wine_dir/display")"
    if [ ! -f "$WINEPREFIX/.test-bed-ready" ]; then
        rm -rf "$WINEPREFIX"
        bounded 240 "wineboot -i, creating the prefix (see $wine_dir/wineboot.log)," "$wine_dir/wineboot.log" \
            "$WINE" wineboot -i
        bounded 120 "wineserver -w, the new prefix's programs ending," /dev/null "$WINESERVER" -w
        # wineboot links the profile's shell folders into $HOME; tests must write inside the prefix.
        for link in "$WINEPREFIX"/drive_c/users/*/{Desktop,Documents,Downloads,Music,Pictures,Videos,Templates}; do
            if [ -L "$link" ]; then rm "$link" && mkdir "$link"; fi
        done
        touch "$WINEPREFIX/.test-bed-ready"
    fi
    if [ -n "${3:-}" ]; then cp "$3" "$WINEPREFIX/drive_c/windows/system32/tar.exe"; fi
    setsid "${in_network[@]}" "$WINESERVER" -p </dev/null >/dev/null 2>&1 || true
    # The first Windows program starts the prefix's services, which hold its output streams for
    # as long as they run: start them here, on no streams, so no test's output is held open.
    bounded 120 "regedit /S test-bed.reg, starting the prefix's services," /dev/null \
        "${in_network[@]}" "$WINE" regedit /S "Z:$(realpath "$(dirname "$0")/test-bed.reg" | tr / '\\')"
    echo "test bed ready: WINEPREFIX=$WINEPREFIX DISPLAY=$DISPLAY"
    ;;
drive)
    # Root ignores permissions, so only a real file system fills up. Where mounting is not
    # permitted the drive is left out, and the tests that want it say so.
    mkdir -p "$wine_dir/full"
    if mountpoint -q "$wine_dir/full" || mount -t tmpfs -o size=2m qo-full "$wine_dir/full" 2>/dev/null; then
        ln -sfn "$wine_dir/full" "$WINEPREFIX/dosdevices/f:"
    fi
    ;;
stop)
    "$WINESERVER" -k 2>/dev/null || true
    kill "$(cat "$wine_dir/xvfb.pid" 2>/dev/null)" 2>/dev/null || true
    rm -f "$wine_dir/xvfb.pid" "$WINEPREFIX/dosdevices/f:"
    if mountpoint -q "$wine_dir/full"; then umount "$wine_dir/full"; fi
    if [ -n "${in_network[*]}" ]; then ip netns delete "$netns"; fi
    ;;
esac
