#!/bin/bash
# Rebuilds a released program from its build record and says whether the program players
# download is the one the source gives.
#   tools/rebuild.sh RECORD OUT_DIR [KEYS_FILE]
# RECORD is the QuarnfellOstvale.buildinfo published beside the program, and the downloaded
# QuarnfellOstvale.exe lies beside it; KEYS_FILE is the public keys file of the release, needed
# when the record names keys. Run it in a checkout of the record's commit, on a Debian machine
# with the record's package versions (apt-get install PACKAGE=VERSION; versions gone from the
# archive are on snapshot.debian.org): it builds nothing else, and names what differs. It then
# builds with tools/release.sh into OUT_DIR, a folder other than the record's, and compares the
# program built with the record and with the downloaded program, its Authenticode signature
# removed. Exit 0 when all three are the same bytes.
set -euo pipefail
[ $# -ge 2 ] && [ $# -le 3 ] || { echo "usage: tools/rebuild.sh RECORD OUT_DIR [KEYS_FILE]" >&2; exit 2; }
out=$2
keys=${3-}
root=$(cd "$(dirname "$0")/.." && pwd)
fail() { echo "rebuild.sh: $1" >&2; exit 1; }
[ -f "$1" ] && [ -r "$1" ] || fail "cannot read '$1'"
# Everything checked is read before anything is built: the build writes a record of its own.
record=$(cat "$1")
recorded() { sed -n "s/^$1: //p" <<< "$record"; }
here=$(cd "$(dirname "$1")" && pwd)
[ "$(realpath -m "$out")" != "$here" ] || fail "'$out' holds the record and the program it checks; rebuild into another folder"
downloaded=$here/QuarnfellOstvale.exe
[ -f "$downloaded" ] || fail "no QuarnfellOstvale.exe beside the record: put the downloaded program there"
[ "$(sha256sum < "$downloaded" | cut -d ' ' -f 1)" = "$(recorded 'sha256 shipped')" ] ||
    fail "$downloaded is not the program the record names (sha256 shipped: $(recorded 'sha256 shipped'))"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
unsigned=$scratch/QuarnfellOstvale.exe
osslsigncode remove-signature -in "$downloaded" -out "$unsigned" > /dev/null 2>&1 || cp "$downloaded" "$unsigned"
[ "$(sha256sum < "$unsigned" | cut -d ' ' -f 1)" = "$(recorded 'sha256 built')" ] ||
    fail "$downloaded without its signature is not the program the record says was built (sha256 built: $(recorded 'sha256 built'))"

# Whatever a release needs is installed first, so that nothing changes the packages once checked.
"$root/tools/install-deps.sh" release
packages=$(recorded package)
[ -n "$packages" ] || fail "the record names no packages"
differences=$(join <(sort <<< "$packages") <("$root/tools/package-versions.sh" $(cut -d ' ' -f 1 <<< "$packages") | sort) |
    awk '$2 != $3 { print "  " $1 " " $2 " (here: " $3 ")" }')
[ -z "$differences" ] || fail "this machine has not the record's packages:"$'\n'"$differences"
commit=$(git -C "$root" rev-parse HEAD)
git -C "$root" diff --quiet HEAD || commit="$commit (with uncommitted changes)"
[ "$commit" = "$(recorded commit)" ] || fail "this tree is $commit, the record's is $(recorded commit)"
if [ "$(recorded keys)" = none ]; then
    kind=(--unsigned)
else
    [ -n "$keys" ] || fail "the record names the keys $(recorded keys): give the release's keys file"
    [ "$(python3 "$root/tools/keys.py" ids "$keys")" = "$(recorded keys)" ] ||
        fail "'$keys' does not hold the record's keys, $(recorded keys)"
    kind=(--keys "$keys")
fi

"$root/tools/release.sh" "$(recorded host)" "$out" "${kind[@]}"
if cmp -s "$out/QuarnfellOstvale.exe" "$unsigned"; then
    echo "rebuild.sh: the same program, byte for byte: sha256 $(recorded 'sha256 built')"
else
    diff <(echo "$record") "$out/QuarnfellOstvale.buildinfo" >&2 || true
    fail "a different program from the same commit, keys and packages: it was not built from what its record says"
fi
