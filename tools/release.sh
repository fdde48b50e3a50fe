#!/bin/bash
# Builds the installer that players download, talking to the download server HOST, and leaves
# in OUT_DIR QuarnfellOstvale.exe, its digest QuarnfellOstvale.exe.sha256 (check it with
# `sha256sum -c QuarnfellOstvale.exe.sha256` in OUT_DIR) and its build record
# QuarnfellOstvale.buildinfo. The build runs in a fresh folder of its own, so nothing from a
# development build's cache reaches it, and the same commit, keys file and Debian packages give
# the same bytes wherever and whenever it is built.
#   tools/release.sh HOST OUT_DIR (--keys FILE | --unsigned) [--sign-pkcs12 FILE [--timestamp URL]]
# --keys FILE builds the player's program: it takes only version files signed by a key of that
# keys file (docs/security.md), runs in the UTF-8 code page so that every name works, and goes on
# with a broken download where it stopped.
# --unsigned builds the plain program, which takes any version file. --sign-pkcs12
# signs the program with Authenticode, the PKCS#12 file's password taken from QO_SIGN_PASSWORD;
# --timestamp adds an RFC 3161 time stamp from that server, so the signature outlives the
# certificate.
#
# The signature is the only difference between a signed program and the one the source gives,
# so anyone can check a shipped program against its build record: docs/operators.md says how.
set -euo pipefail
# The tools that make and check the program are the system's, whatever the caller's PATH finds.
export PATH=/usr/sbin:/usr/bin:/sbin:/bin
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
# A file the record cannot name could still reach the program: an include found before the one
# meant, say. Ignored build folders are the only place for one.
untracked=$(git -C "$root" ls-files --others --exclude-standard 2> /dev/null || true)
[ -z "$untracked" ] || fail "the tree holds files git does not track, which the build may use and its record cannot name; commit or remove them:"$'\n'"$(head -n 5 <<< "$untracked")"
"$root/tools/install-deps.sh" release
build=$(mktemp -d "${TMPDIR:-/tmp}/qo-release.XXXXXX")
trap 'rm -rf "$build"' EXIT
utf8=OFF code_page=ANSI resume=OFF resumes=no
[ ! -v keys ] || utf8=ON code_page=UTF-8 resume=ON resumes=yes
# Nothing of the caller's environment reaches the build, which the record could not name either:
# no CFLAGS, CXXFLAGS, LDFLAGS or RCFLAGS, no compiler found by another PATH.
clean=(env -i PATH="$PATH" LC_ALL=C.UTF-8)
"${clean[@]}" cmake -S "$root" -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DQO_SERVER_HOST="$host" -DQO_SIGNING_KEYS="${keys-}" -DQO_UTF8_CODE_PAGE=$utf8 -DQO_RESUME=$resume \
    -DPython3_EXECUTABLE=/usr/bin/python3 -DQO_BUILD_TESTS=OFF > /dev/null
"${clean[@]}" cmake --build "$build" --target QuarnfellOstvale
built=$build/bin/QuarnfellOstvale.exe
shipped=$build/bin

# Nothing ships that does not say it is what was asked for. The keyed note reads "Download
# server: http://HOST:8080; version file keys: ID1 ID2; code page: UTF-8; resumes downloads".
note=$(x86_64-w64-mingw32-strings -el "$built" | sed -n 's/^Download server: //p')
named_keys=$(sed -n 's/.*; version file keys: \([^;]*\).*/\1/p' <<< "$note")
asked_keys=$([ ! -v keys ] || python3 "$root/tools/keys.py" ids "$keys")
[ "$named_keys" = "$asked_keys" ] ||
    fail "the program built names the keys '${named_keys:-none}', not those of the keys file, '${asked_keys:-none}'; nothing shipped"
[[ $note == *"; code page: UTF-8"* ]] && built_page=UTF-8 || built_page=ANSI
[ "$built_page" = "$code_page" ] || fail "the program built runs in the $built_page code page, not $code_page; nothing shipped"
[[ $note == *"; resumes downloads"* ]] && built_resumes=yes || built_resumes=no
[ "$built_resumes" = "$resumes" ] || fail "the program built resumes downloads: $built_resumes, not $resumes; nothing shipped"

if [ -v pkcs12 ]; then
    shipped=$build/signed
    mkdir "$shipped"
    # The password reaches osslsigncode through a file descriptor, never a command line that
    # ps shows; it drops the line end the here-string adds. A time-stamp server that accepts a
    # connection and never answers would hold osslsigncode 2.9 for ever.
    timeout 300 osslsigncode sign -pkcs12 "$pkcs12" -readpass /dev/fd/3 -h sha256 -n "Quarnfell Ostvale" \
        ${timestamp+-ts "$timestamp"} -in "$built" -out "$shipped/QuarnfellOstvale.exe" \
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
    cmp -s "$build/removed.exe" "$built" ||
        fail "the signed program without its signature is not the program built; nobody could check it against the source"
fi

# What anyone needs to build the same bytes again: the source, the choices, and the exact Debian
# packages that made the program (compiler, binutils, the mingw-w64 runtime and headers, CMake,
# Ninja, and Debian's Python and zlib, which render the icon and write the keys table).
commit=$(git -C "$root" rev-parse HEAD 2> /dev/null || echo unknown)
git -C "$root" diff --quiet HEAD 2> /dev/null || commit="$commit (with uncommitted changes)"
packages=(g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix-runtime gcc-mingw-w64-base
          binutils-mingw-w64-x86-64 mingw-w64-x86-64-dev mingw-w64-common cmake ninja-build
          "$(dpkg -S "$(readlink -f /usr/bin/python3)" | cut -d : -f 1)" zlib1g)
built_sha256=$(sha256sum < "$built" | cut -d ' ' -f 1)
shipped_sha256=$(sha256sum < "$shipped/QuarnfellOstvale.exe" | cut -d ' ' -f 1)
{
    echo "# How QuarnfellOstvale.exe was built, by tools/release.sh; docs/operators.md tells how to rebuild it."
    echo "commit: $commit"
    echo "host: $host"
    echo "keys: ${named_keys:-none}"
    echo "code page: $code_page"
    echo "resumes downloads: $resumes"
    "$root/tools/package-versions.sh" "${packages[@]}" | sed 's/^/package: /'
    echo "sha256 built: $built_sha256"
    echo "sha256 shipped: $shipped_sha256"
} > "$build/QuarnfellOstvale.buildinfo"

# Every file is renamed into place, so OUT_DIR never holds a half-written program, nor a
# program beside the digest or record of another build.
mkdir -p "$out"
rm -f "$out/QuarnfellOstvale.exe.sha256" "$out/QuarnfellOstvale.buildinfo"
(cd "$shipped" && sha256sum QuarnfellOstvale.exe) > "$out/QuarnfellOstvale.exe.sha256.part"
cp "$shipped/QuarnfellOstvale.exe" "$out/QuarnfellOstvale.exe.part"
cp "$build/QuarnfellOstvale.buildinfo" "$out/QuarnfellOstvale.buildinfo.part"
mv "$out/QuarnfellOstvale.exe.part" "$out/QuarnfellOstvale.exe"
mv "$out/QuarnfellOstvale.exe.sha256.part" "$out/QuarnfellOstvale.exe.sha256"
mv "$out/QuarnfellOstvale.buildinfo.part" "$out/QuarnfellOstvale.buildinfo"
(cd "$out" && sha256sum --check --quiet QuarnfellOstvale.exe.sha256)

echo "commit: $commit"
echo "server: ${note%%;*}"
echo "keys: ${named_keys:-none (unsigned)}"
echo "code page: $code_page"
echo "resumes downloads: $resumes"
echo "sha256: $built_sha256"
[ ! -v pkcs12 ] || echo "sha256 signed: $shipped_sha256"
[ -v keys ] || echo "release.sh: warning: an --unsigned program installs whatever anyone on the network path to its server serves; see docs/security.md" >&2
