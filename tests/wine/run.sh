#!/bin/bash
# Runs one Windows program in the test bed started by prefix.sh; its exit code is the program's.
#   run.sh WINE_DIR PROGRAM [ARGS...]
set -euo pipefail
source "$(dirname "$0")/env.sh" "$1"
shift
exec "$WINE" "$@"
