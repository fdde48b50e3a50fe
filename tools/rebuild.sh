#!/bin/bash
# Rebuilds a released program from its build record and says whether it is the same program.
#   tools/rebuild.sh RECORD OUT_DIR [KEYS_FILE]
# RECORD is the QuarnfellOstvale.buildinfo published beside the program; KEYS_FILE is the public
# keys file of the release, needed when the record names keys. Run it in a checkout of the
# record's commit, on a Debian machine with the record's package versions (apt-get install
# PACKAGE=VERSION; versions gone from the archive are on snapshot.debian.org): it builds nothing
# else, and names what differs. It then builds with tools/release.sh into OUT_DIR and compares
# the program built with the one recorded. Exit 0 when they are the same bytes.
set -euo pipefail
[ $# -ge 2 ] && [ $# -le 3 ] || { echo "usage: tools/rebuild.sh RECORD OUT_DIR [KEYS_FILE]" >&2; exit 2; }
record=$1
out=$2
keys=${3-}
root=$(cd "$(dirname "$0")/.." && pwd)
fail() { echo "rebuild.sh: $1" >&2; exit 1; }
recorded() { sed -n "s/^$1: //p" "$record"; }
[ -r "$record" ] || fail "cannot read '$record'"

differences=$(grep '^package: ' "$record" | while read -r _ package version; do
    here=$(dpkg-query -W -f='${Version}' "$package" 2> /dev/null || echo "not installed")
    [ "$here" = "$version" ] || echo "  $package $version (here: $here)"
done)
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
if [ "$(sed -n 's/^sha256 built: //p' "$out/QuarnfellOstvale.buildinfo")" = "$(recorded 'sha256 built')" ]; then
    echo "rebuild.sh: the same program, byte for byte: sha256 $(recorded 'sha256 built')"
else
    diff "$record" "$out/QuarnfellOstvale.buildinfo" >&2 || true
    fail "a different program from the same commit, keys and packages: it was not built from what its record says"
fi
