#!/bin/bash
# Installs the Debian packages that building, testing and the demo need (Debian 12, as root);
# with `release`, only those that tools/release.sh and tools/rebuild.sh need, so that a release
# machine has no test bed. Quiet, quick and without root when everything is there already.
#   tools/install-deps.sh [release]
set -euo pipefail
[ $# -eq 0 ] || [ "$*" = release ] || { echo "usage: tools/install-deps.sh [release]" >&2; exit 2; }
release=(
    cmake ninja-build python3 g++-mingw-w64-x86-64-posix   # the cross build
    python3-cryptography openssl osslsigncode               # signing keys, version files, releases
)
[ $# -eq 1 ] && packages=("${release[@]}") || packages=(
    "${release[@]}"
    wine wine64 xvfb xauth imagemagick                      # the Windows test bed and screenshots
    googletest                                              # the test framework
    libarchive-tools                                        # bsdtar, the system tar.exe of the test bed
    iproute2                                                # the test bed's own loopback (ip netns), and ss
    nginx-light                                             # a real download server on loopback
    varnish                                                 # a caching edge in front of it, as a CDN's
    clang libclang-rt-14-dev                                # native sanitizer and libFuzzer builds
)
missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
