#!/bin/bash
# Prints "PACKAGE VERSION" for each Debian package named, as a release's build record lists the
# packages that built it: the version installed for this machine's own architecture, or for
# all, so one line a package even when it is installed for a second architecture too; and
# "not-installed" for a package that is not fully installed (one removed but not purged keeps
# its version in dpkg's database).
#   tools/package-versions.sh PACKAGE...
set -euo pipefail
arch=$(dpkg --print-architecture)
for package in "$@"; do
    version=$(dpkg-query -W -f='${db:Status-Abbrev}${Architecture} ${Version}\n' "$package" 2> /dev/null |
        awk -v arch="$arch" '$1 == "ii" && ($2 == arch || $2 == "all") { print $3 }' || true)
    echo "$package ${version:-not-installed}"
done
