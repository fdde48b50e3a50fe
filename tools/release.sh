#!/bin/bash
# Builds the installer that players download, talking to the download server HOST, and leaves
# OUT_DIR/QuarnfellOstvale.exe with its digest beside it, QuarnfellOstvale.exe.sha256 (check it
# with `sha256sum -c QuarnfellOstvale.exe.sha256` in OUT_DIR). The build runs in a fresh folder
# of its own, so nothing from a development build's cache reaches it, and the same commit gives
# the same bytes wherever and whenever it is built.
#   tools/release.sh HOST OUT_DIR (--keys FILE | --unsigned) [--sign-pkcs12 FILE [--timestamp URL]]
# --keys FILE builds a program that takes only version files signed by a key of that keys file
# (docs/security.md); --unsigned one that takes any version file. --sign-pkcs12 signs the program
# with Authenticode, the PKCS#12 file's password taken from QO_SIGN_PASSWORD; --timestamp adds an
# RFC 3161 time stamp from that server, so the signature outlives the certificate.
#
# The signature is the only difference between a signed program and the one the source gives,
# so anyone can check a shipped program: build the same commit for the same host with the same
# keys file, then
#   osslsigncode remove-signature -in QuarnfellOstvale.exe -out unsigned.exe
#   sha256sum unsigned.exe      # the digest on the rebuild's "sha256:" line
set -euo pipefail
usage() {
    echo "usage: tools/release.sh HOST OUT_DIR (--keys FILE | --unsigned) [--sign-pkcs12 FILE [--timestamp URL]]" >&2
    exit 2
}
[ $# -ge 2 ] || usage
host=$1
out=$2
shift 2
kinds=()
while [ $# -gt 0 ]; do
    case $1 in
        --unsigned) kinds+=("$1"); shift ;;
        --keys) [ $# -ge 2 ] || usage; kinds+=("$1"); keys=$2; shift 2 ;;
        --sign-pkcs12) [ $# -ge 2 ] || usage; pkcs12=$2; shift 2 ;;
        --timestamp) [ $# -ge 2 ] || usage; timestamp=$2; shift 2 ;;
        *) usage ;;
    esac
done

fail() { echo "release.sh: $1" >&2; exit 1; }
refuse() { fail "refusing host '$host': $1"; }
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

[ ${#kinds[@]} -eq 1 ] || fail "say once which program this is: --keys FILE (it takes only version files signed by those keys) or --unsigned"
[ ! -v timestamp ] || [ -v pkcs12 ] || fail "--timestamp stamps an Authenticode signature: it needs --sign-pkcs12"
# An empty password is a password; only an unset one is a mistake.
[ ! -v pkcs12 ] || [ -v QO_SIGN_PASSWORD ] || fail "--sign-pkcs12 takes the PKCS#12 file's password from QO_SIGN_PASSWORD, which is not set"
# The compilers have no use for the password.
export -n QO_SIGN_PASSWORD
for file in ${keys+"$keys"} ${pkcs12+"$pkcs12"}; do
    [ -f "$file" ] && [ -r "$file" ] || fail "cannot read '$file'"
done
# The configure runs elsewhere, and needs the keys file's own path.
[ ! -v keys ] || keys=$(realpath "$keys")

root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/install-deps.sh"
build=$(mktemp -d "${TMPDIR:-/tmp}/qo-release.XXXXXX")
trap 'rm -rf "$build"' EXIT
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DQO_SERVER_HOST="$host" -DQO_SIGNING_KEYS="${keys-}" -DQO_BUILD_TESTS=OFF > /dev/null
cmake --build "$build" --target QuarnfellOstvale
shipped=$build/bin

if [ -v pkcs12 ]; then
    shipped=$build/signed
    mkdir "$shipped"
    # The password reaches osslsigncode through a file descriptor, never a command line that
    # ps shows; it drops the line end the here-string adds. A time-stamp server that accepts a
    # connection and never answers would hold osslsigncode 2.9 for ever.
    timeout 300 osslsigncode sign -pkcs12 "$pkcs12" -readpass /dev/fd/3 -h sha256 -n "Quarnfell Ostvale" \
        ${timestamp+-ts "$timestamp"} -in "$build/bin/QuarnfellOstvale.exe" -out "$shipped/QuarnfellOstvale.exe" \
        3<<< "$QO_SIGN_PASSWORD" || fail "signing failed (or the time-stamp server did not answer in 5 minutes)"
    # osslsigncode checks a chain only up to a root it is given: one of the system's, or one the
    # PKCS#12 file brought along into the signature (a company's own CA). Whether Windows trusts
    # that root is for Windows to say; this catches a damaged signature, an expired certificate,
    # and a chain the PKCS#12 file left out.
    osslsigncode extract-signature -pem -in "$shipped/QuarnfellOstvale.exe" -out "$build/signature.pem" > /dev/null
    { cat /etc/ssl/certs/ca-certificates.crt 2> /dev/null || true
      openssl pkcs7 -print_certs -in "$build/signature.pem"; } > "$build/roots.pem"
    osslsigncode verify -CAfile "$build/roots.pem" -in "$shipped/QuarnfellOstvale.exe" > "$build/verify.log" 2>&1 ||
        { cat "$build/verify.log" >&2; fail "osslsigncode does not accept the signed program"; }
    osslsigncode remove-signature -in "$shipped/QuarnfellOstvale.exe" -out "$build/removed.exe" > /dev/null
    cmp -s "$build/removed.exe" "$build/bin/QuarnfellOstvale.exe" ||
        fail "the signed program without its signature is not the program built; nobody could check it against the source"
fi

# Both files are renamed into place, so OUT_DIR never holds a half-written program, nor a
# program beside the digest of another build.
mkdir -p "$out"
rm -f "$out/QuarnfellOstvale.exe.sha256"
(cd "$shipped" && sha256sum QuarnfellOstvale.exe) > "$out/QuarnfellOstvale.exe.sha256.part"
cp "$shipped/QuarnfellOstvale.exe" "$out/QuarnfellOstvale.exe.part"
mv "$out/QuarnfellOstvale.exe.part" "$out/QuarnfellOstvale.exe"
mv "$out/QuarnfellOstvale.exe.sha256.part" "$out/QuarnfellOstvale.exe.sha256"
(cd "$out" && sha256sum --check --quiet QuarnfellOstvale.exe.sha256)

# The keyed note reads "Download server: http://HOST:8080; version file keys: ID1 ID2".
note=$(x86_64-w64-mingw32-strings -el "$build/bin/QuarnfellOstvale.exe" | sed -n 's/^Download server: //p')
echo "commit: $(git -C "$root" describe --always --dirty 2> /dev/null || echo unknown)"
echo "server: ${note%%;*}"
case $note in
    *"; version file keys: "*) echo "keys: ${note#*; version file keys: }" ;;
    *) echo "keys: none (unsigned)" ;;
esac
echo "sha256: $(sha256sum < "$build/bin/QuarnfellOstvale.exe" | cut -d ' ' -f 1)"
[ ! -v pkcs12 ] || echo "sha256 signed: $(cut -d ' ' -f 1 "$out/QuarnfellOstvale.exe.sha256")"
[ -v keys ] || echo "release.sh: warning: an --unsigned program installs whatever anyone on the network path to its server serves; see docs/security.md" >&2
