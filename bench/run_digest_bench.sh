#!/bin/bash
# Speed of the installer's file digest against openssl and sha256sum on the same 1 GiB file,
# all measured in this run. The installer's code runs as a Windows program under Wine and
# times only the hashing itself; the two references are timed as whole processes, whose
# start-up is a few milliseconds. Each figure is the best of three runs.
# Usage: bench/run_digest_bench.sh [build folder]
set -euo pipefail

source_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(realpath -m "${1:-$source_dir/build-bench}")
source "$source_dir/bench/lib.sh"
runs=3
build_targets "$build_dir" digest_bench tar_bridge
start_test_bed
data="$work/data.bin"
head -c 1G /dev/urandom > "$data"

openssl_time=$(best_of openssl dgst -sha256 "$data")
sha256sum_time=$(best_of sha256sum "$data")
expected=$(sha256sum "$data" | cut -d' ' -f1)

declare -A product_time=()
for _ in $(seq "$runs"); do
  while read -r path seconds digest; do
    if [ "$digest" != "$expected" ]; then
      echo "digest mismatch on the $path path: $digest, expected $expected" >&2
      exit 1
    fi
    product_time[$path]=$(smaller "$seconds" "${product_time[$path]:-1e9}")
  done < <("$WINE" "$build_dir/bin/digest_bench.exe" "$(windows_path "$data")" | tr -d '\r')
done
[ -n "${product_time[portable]:-}" ] || { echo "digest_bench.exe printed no figures" >&2; exit 1; }

printf '1 GiB file, best of %d runs (seconds, MiB/s)\n' "$runs"
printf '  openssl dgst -sha256   %6.3f s  %5s MiB/s\n' "$openssl_time" "$(mib_per_s "$openssl_time")"
printf '  sha256sum              %6.3f s  %5s MiB/s\n' "$sha256sum_time" "$(mib_per_s "$sha256sum_time")"
for path in sha-ni portable; do
  [ -n "${product_time[$path]:-}" ] || continue
  t=${product_time[$path]}
  printf '  installer, %-9s    %6.3f s  %5s MiB/s   %sx openssl   %sx sha256sum\n' "$path" "$t" \
    "$(mib_per_s "$t")" "$(ratio "$openssl_time" "$t")" "$(ratio "$sha256sum_time" "$t")"
done
[ -n "${product_time[sha-ni]:-}" ] || echo "  (this CPU has no SHA extensions: no sha-ni figures)"
