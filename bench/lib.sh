# Sourced by the benchmark scripts; the helpers read the script's $source_dir, $build_dir and
# $runs.

# A command that fails inside $(...) fails the script, as it would outside: a failed install
# must not be timed as if it had worked.
shopt -s inherit_errexit

smaller() { echo "$1 $2" | awk '{ print ($1 < $2 ? $1 : $2) }'; }

# Runs the command $runs times and prints one figure for all runs: the figures the runs print,
# combined by $1 (smaller).
combine_runs() {
  local combine=$1 kept="" figure
  shift
  for _ in $(seq "$runs"); do
    figure=$("$@")
    kept=$("$combine" "$figure" "${kept:-$figure}")
  done
  echo "$kept"
}

# Prints the wall time of the command in seconds; what the command prints is dropped.
wall_time() {
  local start end
  start=$(date +%s.%N)
  "$@" > /dev/null
  end=$(date +%s.%N)
  echo "$start $end" | awk '{ print $2 - $1 }'
}

# Prints the shortest wall time of $runs runs of the command, in seconds.
best_of() { combine_runs smaller wall_time "$@"; }

ratio() { echo "$1 $2" | awk '{ printf "%.2f", $1 / $2 }'; }
mib_per_s() { echo "$1 ${2:-1024}" | awk '{ printf "%.0f", $2 / $1 }'; }
windows_path() { echo "Z:$1" | tr / '\\'; }

# Runs the program (its Unix path) under process_figures.exe and prints "<seconds> <peak
# working set in bytes> <exit code>"; prints nothing if it still runs after 15 minutes (a box
# nobody presses, a hung read), and the test bed's stop ends it.
program_figures() { timeout 900 "$WINE" "$build_dir/bin/process_figures.exe" "$(windows_path "$1")" | tr -d '\r'; }

# Prints "<seconds> <peak working set in bytes>" of the program; fails unless it ended with
# exit code 0.
measured_run() {
  local seconds peak code
  read -r seconds peak code <<< "$(program_figures "$1")"
  [ "$code" = 0 ] || { echo "$1 ended with exit code ${code:-(none)}" >&2; return 1; }
  echo "$seconds $peak"
}

# Configures (once) and builds the named targets in build folder $1.
build_targets() {
  local build_dir=$1
  shift
  if [ ! -f "$build_dir/build.ninja" ]; then
    cmake -S "$source_dir" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQO_SERVER_HOST=127.0.0.1 \
      -DCMAKE_TOOLCHAIN_FILE="$source_dir/cmake/mingw-w64-x86_64.cmake" > /dev/null
  fi
  ninja -C "$build_dir" -j2 "$@" > /dev/null
}

# The test bed of $build_dir (its Wine prefix, whose tar.exe is the host's bsdtar through the
# bridge, and its display) and
# a work folder $work inside the build folder; both are stopped and removed when the script
# exits, and so is the nginx that serve_release starts.
start_test_bed() {
  work=$(mktemp -d -p "$build_dir")
  chmod 755 "$work"  # nginx's workers run as another user
  trap stop_test_bed EXIT
  "$source_dir/tests/wine/prefix.sh" start "$build_dir/wine" "$build_dir/bin/tar_bridge.exe" > /dev/null
  source "$source_dir/tests/wine/env.sh" "$build_dir/wine"
  install_folder='C:\bench\QuarnfellOstvale'
  install_unix=$WINEPREFIX/drive_c/bench/QuarnfellOstvale
}
stop_test_bed() {
  stop_serving || true
  "$source_dir/tests/wine/prefix.sh" stop "$build_dir/wine"
  rm -rf "$work"
}

# Publishes a release of $1 MiB of data that does not compress, stored as it is, into
# $work/www, with the publish tool's further options $2...; sets $size (the archive's bytes) and
# $digest (its SHA-256).
publish_release() {
  head -c "$1M" /dev/urandom > "$work/blob.pak"
  python3 - "$work" "$build_dir/bin/stand_in_launcher.exe" <<'PY'
import sys, zipfile
work, launcher = sys.argv[1:]
with zipfile.ZipFile(f'{work}/game.zip', 'w', zipfile.ZIP_STORED) as archive:
    archive.write(launcher, 'Launcher_x64_win.exe')
    archive.writestr('Game_x64_win.exe', b'game')
    archive.write(f'{work}/blob.pak', 'data/blob.pak')
PY
  rm "$work/blob.pak"
  python3 "$source_dir/tools/publish.py" 1.0 "$work/game.zip" "$work/www" "${@:2}" > /dev/null
  rm "$work/game.zip"
  size=$(stat -c %s "$work/www/game.zip")
  digest=$(sed -n 2p "$work/www/version.txt")
}

# Serves $work/www on 127.0.0.1:8080, the download server the bench build is made for, or on
# port $1 of 127.0.0.1 when given. nginx listens once the command has returned.
serve_release() {
  cat > "$work/nginx.conf" << NGINX
pid $work/nginx.pid;
error_log $work/nginx-error.log;
events {}
http {
  access_log off;
  server { listen 127.0.0.1:${1:-8080}; root $work/www; }
}
NGINX
  nginx -p "$work" -c "$work/nginx.conf"
}

# Stops the nginx of serve_release, if it runs, and waits (5 s at most) until its master process
# has ended, and with it its listener.
stop_serving() {
  local master
  master=$(cat "$work/nginx.pid" 2> /dev/null) || return 0
  nginx -p "$work" -c "$work/nginx.conf" -s stop 2> /dev/null
  for _ in $(seq 50); do
    kill -0 "$master" 2> /dev/null || return 0
    sleep 0.1
  done
  echo "nginx had not stopped after 5 s" >&2
  return 1
}

# Registers $install_folder as the install folder, for the installer to take without asking.
register_install_folder() {
  "$WINE" reg add 'HKCU\Software\QuarnfellOstvale' /v InstallPath /t REG_SZ /d "$install_folder" /f > /dev/null 2>&1
}

# One run of the build bin/$1 into an empty registered folder, the robot pressing OK on the box
# it ends with, whichever it is, and writing its text to $work/box; prints "<seconds> <peak
# working set> <exit code>".
install_run() {
  rm -rf "$install_unix" && mkdir -p "$install_unix"
  register_install_folder
  "$WINE" "$build_dir/bin/qo_robot.exe" press "" OK 900 > "$work/box" &
  local robot=$!
  program_figures "$build_dir/bin/$1"
  wait "$robot"
}

# Waits (5 s at most) until the stand-in launcher in the install folder has recorded $1
# starts: it runs on its own after the installer has ended.
await_launcher_starts() {
  local record=$install_unix/launcher-starts.txt
  for _ in $(seq 50); do
    [ -f "$record" ] && [ "$(wc -l < "$record")" -ge "$1" ] && return
    sleep 0.1
  done
  echo "the launcher did not start" >&2
  return 1
}
