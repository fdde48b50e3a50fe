#!/bin/bash
# Every benchmark in one go, on one build folder's Wine test bed and the same nginx: the digest
# against openssl and sha256sum (which shows the floor's digest to be the faster one), the whole
# install against its floor for 256 MiB and 1 GiB archives, the player's build against its own
# floor from 256 MiB to 5 GiB, the hand-off against its floor, and the player's build on a link
# cut every 64 MiB against its own unbroken install. The 5 GiB run needs about 25 GiB of free
# disk in the build folder.
# Run as root, alone on the machine: the install serves on 127.0.0.1:8080, as the tests do.
# Exit code 3 when a target is missed, 1 when a benchmark could not run.
#   bench/run.sh [build folder]    (RUNS=n for every benchmark's runs but the digest's,
#                                    SIZES_MIB="256 1024" for both install benchmarks')
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
status=0
folder=("$@")
bench() {
  echo "== $1"
  BUILD=$2 bash "$here/run_$3_bench.sh" "${folder[@]}"
  local code=$?
  [ "$code" -eq 0 ] || [ "$status" -eq 1 ] || status=$code
}
bench digest plain digest
bench install plain install
bench "install, the player's build" player install
bench handoff plain handoff
bench "cut link" plain cut_link
exit "$status"
