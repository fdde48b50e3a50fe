#!/bin/sh
# Host side of the test bed's tar.exe: runs bsdtar on the arguments after the first, then leaves
# its exit code in tar-bridge/<first argument> beside this script, where tar.exe waits for it.
id=$1
shift
bsdtar "$@"
code=$?
results=$(dirname "$0")/tar-bridge
mkdir -p "$results"
echo "$code" >"$results/$id.new" && mv "$results/$id.new" "$results/$id"
