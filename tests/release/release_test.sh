#!/bin/bash
# The release command's refusals; a Release configure takes no host from a development cache,
# and a keys path is never read as "no keys"; a keyed release, signed with Authenticode and
# time-stamped, verifies, and is the built bytes again once its signature is removed; each
# release's record names what built it, and a rebuild from it in another environment is the
# downloaded program without its signature; a rebuild refuses whatever differs from its record.
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
git init -q "$work/tree" && cp -r "$root/tools" "$work/tree/"
refused "files git does not track" "$work/tree/tools/release.sh" downloads.example.net "$work/refused" --unsigned
[ ! -e "$work/refused" ]

cmake -S "$root" -B "$work/dev" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQO_SERVER_HOST=127.0.0.1 -DQO_BUILD_TESTS=OFF > /dev/null
refused "must name its download server" cmake -S "$root" -B "$work/dev" -DCMAKE_BUILD_TYPE=Release
refused "OFF: No such file or directory" cmake -S "$root" -B "$work/dev" -DQO_SERVER_HOST=127.0.0.1 -DQO_SIGNING_KEYS=OFF

# The record names the choices, the digests of the program built and shipped, and the packages
# that built it (at least these five; the rebuild below holds them to the versions installed).
recorded() {  # folder, keys, code page, digest of the program built
    local record=$1/QuarnfellOstvale.buildinfo
    [ "$(grep -cE '^package: (g\+\+-mingw-w64-x86-64-posix|binutils-mingw-w64-x86-64|mingw-w64-x86-64-dev|cmake|ninja-build) ' "$record")" = 5 ] &&
        grep -q "^commit: $(git -C "$root" rev-parse HEAD)" "$record" && grep -qx "host: downloads.example.net" "$record" &&
        grep -qx "keys: $2" "$record" && grep -qx "code page: $3" "$record" && grep -qx "sha256 built: $4" "$record" &&
        grep -qx "sha256 shipped: $(sha256sum < "$1/QuarnfellOstvale.exe" | cut -d ' ' -f 1)" "$record" || { cat "$record" && exit 1; }
}

"$root/tools/release.sh" downloads.example.net "$work/first" --unsigned 2>&1 | tee "$work/said"
grep -qx "server: http://downloads.example.net:8080" "$work/said"
grep -qx "keys: none (unsigned)" "$work/said"
grep -qx "code page: ANSI" "$work/said"; grep -qx "resumes downloads: no" "$work/said"
recorded "$work/first" none ANSI "$(sha256sum < "$work/first/QuarnfellOstvale.exe" | cut -d ' ' -f 1)"
grep -q "warning: an --unsigned program installs whatever" "$work/said"
refused "holds the record and the program it checks" "$root/tools/rebuild.sh" "$work/first/QuarnfellOstvale.buildinfo" "$work/first/"
mkdir "$work/edited" && cp "$work/first/QuarnfellOstvale.exe" "$work/edited/"
while IFS='|' read -r expected edit; do
    sed "$edit" "$work/first/QuarnfellOstvale.buildinfo" > "$work/edited/QuarnfellOstvale.buildinfo"
    refused "$expected" "$root/tools/rebuild.sh" "$work/edited/QuarnfellOstvale.buildinfo" "$work/refused"
done << TABLE
QuarnfellOstvale.exe is not the program the record names|s/^sha256 shipped: ./&0/
without its signature is not the program the record says was built|s/^sha256 built: ./&0/
cmake 0.1 (here: $(dpkg-query -W -f='${Version}' cmake))|s/^package: cmake .*/package: cmake 0.1/
TABLE
# One version a package, of this machine's architecture or all, and none for one removed but not purged.
mkdir "$work/dpkg" && printf '#!/bin/sh\ncase $3 in two) echo "ii %s 1"; echo "ii i386 2" ;; all) echo "ii all 3" ;; *) echo "rc %s 4" ;; esac\n' \
    "$(dpkg --print-architecture)" "$(dpkg --print-architecture)" > "$work/dpkg/dpkg-query" && chmod +x "$work/dpkg/dpkg-query"
[ "$(PATH="$work/dpkg:$PATH" "$root/tools/package-versions.sh" two all gone | tr '\n' ' ')" = "two 1 all 3 gone not-installed " ]

python3 "$root/tests/release/tsa.py" "$work" 2> "$work/tsa.log" &
trap "kill $! 2> /dev/null || true" EXIT
for _ in $(seq 100); do [ -e "$work/tsa.port" ] && break; sleep 0.1; done
[ -e "$work/tsa.port" ] || { echo "the time-stamp authority wrote no port within 10 s" && cat "$work/tsa.log" && exit 1; }
# A keys path that a plain CMake if() reads as false still gives a keyed program.
cp "$work/keys/$key.pub" "$work/release-NOTFOUND"
"$root/tools/release.sh" downloads.example.net "$work/signed" --keys "$work/release-NOTFOUND" \
    --sign-pkcs12 "$work/code.p12" --timestamp "http://127.0.0.1:$(cat "$work/tsa.port")" | tee "$work/said"
grep -qx "keys: $key" "$work/said"
grep -qx "code page: UTF-8" "$work/said"; grep -qx "resumes downloads: yes" "$work/said"
signed=$work/signed/QuarnfellOstvale.exe
# osslsigncode accepts a signature whose time stamp does not verify, so the stamp's own line
# must say so.
osslsigncode verify -CAfile "$work/ca.pem" -TSA-CAfile "$work/ca.pem" -in "$signed" > "$work/verified" 2>&1 &&
    grep -q "Timestamp Server Signature verification: ok" "$work/verified" || { cat "$work/verified" && exit 1; }
osslsigncode remove-signature -in "$signed" -out "$work/removed.exe" > /dev/null
grep -qx "sha256: $(sha256sum < "$work/removed.exe" | cut -d ' ' -f 1)" "$work/said"
grep -qx "sha256 signed: $(sha256sum < "$signed" | cut -d ' ' -f 1)" "$work/said"
(cd "$work/signed" && sha256sum --check QuarnfellOstvale.exe.sha256)
recorded "$work/signed" "$key" UTF-8 "$(sha256sum < "$work/removed.exe" | cut -d ' ' -f 1)"

# Nothing of the environment reaches a release: not the flags, not the compilers a PATH finds.
mkdir "$work/poison" && for tool in cmake ninja x86_64-w64-mingw32-{gcc,g++,windres,strings}{,-posix}; do ln -s /bin/false "$work/poison/$tool"; done
sleep 1  # a time stamp in the program would differ by now
CFLAGS=-O0 CXXFLAGS=-O0 LDFLAGS=-s RCFLAGS=-DQO_POISON PATH="$work/poison:$PATH" "$root/tools/rebuild.sh" \
    "$work/signed/QuarnfellOstvale.buildinfo" "$work/rebuilt" "$work/release-NOTFOUND" > "$work/said" 2>&1 || { cat "$work/said" && exit 1; }
