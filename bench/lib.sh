# Sourced by the benchmark scripts.

# Prints the shortest wall time of $runs runs of the command, in seconds.
best_of() {
  local best="" start end
  for _ in $(seq "$runs"); do
    start=$(date +%s.%N)
    "$@" > /dev/null
    end=$(date +%s.%N)
    best=$(echo "$start $end ${best:-1e9}" | awk '{ t = $2 - $1; print (t < $3 ? t : $3) }')
  done
  echo "$best"
}

ratio() { echo "$1 $2" | awk '{ printf "%.2f", $1 / $2 }'; }
mib_per_s() { echo "$1 ${2:-1024}" | awk '{ printf "%.0f", $2 / $1 }'; }

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
