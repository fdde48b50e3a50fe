#!/bin/bash
# Builds the installer that players download, talking to the download server HOST, and leaves
# OUT_DIR/QuarnfellOstvale.exe with its digest beside it, QuarnfellOstvale.exe.sha256 (check it
# with `sha256sum -c QuarnfellOstvale.exe.sha256` in OUT_DIR). The build runs in a fresh folder
# of its own, so nothing from a development build's cache reaches it, and the same commit gives
# the same bytes wherever and whenever it is built.
#   tools/release.sh HOST OUT_DIR
set -euo pipefail
[ $# -eq 2 ] || { echo "usage: tools/release.sh HOST OUT_DIR" >&2; exit 2; }
host=$1
out=$2
refuse() { echo "release.sh: refusing host '$host': $1" >&2; exit 1; }
shopt -s extglob nocasematch
name=${host#[}
name=${name%]}
name=${name%.}
case $name in
    "") refuse "no host named; every player's install would fail" ;;
    localhost|*.localhost) refuse "localhost is each player's own machine, not the download server" ;;
    127.+([0-9.])|::ffff:127.+([0-9.])|*([0:]):*([0:])1|0.0.0.0)
        refuse "a loopback address is each player's own machine, not the download server" ;;
    *[!a-z0-9._:-]*|*:*[g-z_]*|*[g-z_]*:*)
        refuse "name the host alone: no scheme, path or port (the port is always 8080)" ;;
esac

root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/install-deps.sh"
build=$(mktemp -d "${TMPDIR:-/tmp}/qo-release.XXXXXX")
trap 'rm -rf "$build"' EXIT
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DQO_SERVER_HOST="$host" -DQO_BUILD_TESTS=OFF > /dev/null
cmake --build "$build" --target QuarnfellOstvale

# Both files are renamed into place, so OUT_DIR never holds a half-written program, nor a
# program beside the digest of another build.
mkdir -p "$out"
rm -f "$out/QuarnfellOstvale.exe.sha256"
(cd "$build/bin" && sha256sum QuarnfellOstvale.exe) > "$out/QuarnfellOstvale.exe.sha256.part"
cp "$build/bin/QuarnfellOstvale.exe" "$out/QuarnfellOstvale.exe.part"
mv "$out/QuarnfellOstvale.exe.part" "$out/QuarnfellOstvale.exe"
mv "$out/QuarnfellOstvale.exe.sha256.part" "$out/QuarnfellOstvale.exe.sha256"
(cd "$out" && sha256sum --check --quiet QuarnfellOstvale.exe.sha256)
echo "commit: $(git -C "$root" describe --always --dirty 2> /dev/null || echo unknown)"
echo "server: $(x86_64-w64-mingw32-strings -el "$out/QuarnfellOstvale.exe" | sed -n 's/^Download server: //p')"
echo "sha256: $(cut -d ' ' -f 1 "$out/QuarnfellOstvale.exe.sha256")"
