#!/bin/bash
# The release command's refusals; a Release configure takes no host from a development cache;
# two releases of one source are the same bytes; a keyed release, signed with Authenticode and
# time-stamped, verifies, and is the built bytes again once its signature is removed.
#   release_test.sh SOURCE_DIR WORK_DIR
set -euo pipefail
root=$1
work=$2
rm -rf "$work" && mkdir -p "$work"

refused() {  # expected message, command...
    local expected=$1
    shift
    if "$@" > "$work/said" 2>&1; then echo "not refused: $*" && exit 1; fi
    grep -qF -- "$expected" "$work/said" || { cat "$work/said" && exit 1; }
}
for host in "" localhost 127.0.0.1 127.8.0.1 ::1 "[::1]"; do
    refused "refusing host '$host'" "$root/tools/release.sh" "$host" "$work/refused"
done

# A test CA; a code-signing certificate, packed with the CA into a PKCS#12 file under a password
# the shell would mangle if it ever met it unquoted; a certificate for the time-stamp authority.
export QO_SIGN_PASSWORD='a pass "phrase" $HOME'
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout "$work/ca.key" -out "$work/ca.pem" \
    -days 2 -subj "/CN=Test CA" -addext basicConstraints=critical,CA:true -addext keyUsage=critical,keyCertSign 2> /dev/null
for use in codeSigning timeStamping; do
    openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout "$work/$use.key" -subj "/CN=Test $use" 2> /dev/null |
        openssl x509 -req -CA "$work/ca.pem" -CAkey "$work/ca.key" -days 2 -out "$work/$use.pem" \
            -extfile <(echo "extendedKeyUsage=critical,$use") 2> /dev/null
done
openssl pkcs12 -export -inkey "$work/codeSigning.key" -in "$work/codeSigning.pem" -certfile "$work/ca.pem" \
    -passout env:QO_SIGN_PASSWORD -out "$work/code.p12"
key=$(python3 "$root/tools/keys.py" new "$work/keys")

while IFS='|' read -r expected arguments; do
    read -ra arguments <<< "$arguments"
    refused "$expected" env -u QO_SIGN_PASSWORD "$root/tools/release.sh" downloads.example.net "$work/refused" "${arguments[@]}"
done << TABLE
say once which program this is|
say once which program this is|--unsigned --keys $work/keys/$key.pub
--timestamp stamps an Authenticode signature|--unsigned --timestamp http://127.0.0.1:9
QO_SIGN_PASSWORD, which is not set|--unsigned --sign-pkcs12 $work/code.p12
cannot read '$work/missing.keys'|--keys $work/missing.keys
TABLE
[ ! -e "$work/refused" ]

cmake -S "$root" -B "$work/dev" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQO_SERVER_HOST=127.0.0.1 -DQO_BUILD_TESTS=OFF > /dev/null
refused "must name its download server" cmake -S "$root" -B "$work/dev" -DCMAKE_BUILD_TYPE=Release

"$root/tools/release.sh" downloads.example.net "$work/first" --unsigned 2>&1 | tee "$work/said"
grep -qx "server: http://downloads.example.net:8080" "$work/said"
grep -qx "keys: none (unsigned)" "$work/said"
grep -q "warning: an --unsigned program installs whatever" "$work/said"
sleep 1  # a time stamp in the program would differ by now
"$root/tools/release.sh" downloads.example.net "$work/second" --unsigned > /dev/null 2>&1
cmp "$work/first/QuarnfellOstvale.exe" "$work/second/QuarnfellOstvale.exe"
(cd "$work/second" && sha256sum --check QuarnfellOstvale.exe.sha256)

python3 "$root/tests/release/tsa.py" "$work" 2> "$work/tsa.log" &
trap "kill $! 2> /dev/null || true" EXIT
for _ in $(seq 100); do [ -e "$work/tsa.port" ] && break; sleep 0.1; done
[ -e "$work/tsa.port" ] || { echo "the time-stamp authority wrote no port within 10 s" && cat "$work/tsa.log" && exit 1; }
"$root/tools/release.sh" downloads.example.net "$work/signed" --keys "$work/keys/$key.pub" \
    --sign-pkcs12 "$work/code.p12" --timestamp "http://127.0.0.1:$(cat "$work/tsa.port")" | tee "$work/said"
grep -qx "keys: $key" "$work/said"
signed=$work/signed/QuarnfellOstvale.exe
# osslsigncode accepts a signature whose time stamp does not verify, so the stamp's own line
# must say so.
osslsigncode verify -CAfile "$work/ca.pem" -TSA-CAfile "$work/ca.pem" -in "$signed" > "$work/verified" 2>&1 &&
    grep -q "Timestamp Server Signature verification: ok" "$work/verified" || { cat "$work/verified" && exit 1; }
osslsigncode remove-signature -in "$signed" -out "$work/removed.exe" > /dev/null
grep -qx "sha256: $(sha256sum < "$work/removed.exe" | cut -d ' ' -f 1)" "$work/said"
grep -qx "sha256 signed: $(sha256sum < "$signed" | cut -d ' ' -f 1)" "$work/said"
(cd "$work/signed" && sha256sum --check QuarnfellOstvale.exe.sha256)
