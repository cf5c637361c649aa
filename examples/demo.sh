#!/bin/sh
# Shows zcppc at work on the shipped examples.
#   demo.sh BUILD_DIR
bin=$(cd "$1" && pwd)
cd "$(dirname "$0")" || exit 1
out=$(mktemp -d "${TMPDIR:-/tmp}/zcppc-demo.XXXXXX")
trap 'rm -rf "$out"' EXIT

echo "\$ zcppc -e demo.c"
"$bin/zcppc" -e demo.c
echo
echo "\$ zcppc -md -o demo.o demo.c"
"$bin/zcppc" -md -o demo.o demo.c
echo
echo "\$ zcppc -o demo.o demo.c && zirdump demo.o"
"$bin/zcppc" -o "$out/demo.o" demo.c && "$bin/zirdump" "$out/demo.o"
echo
echo "\$ zcppc -l -o startup.o startup.c && zirdump startup.o"
"$bin/zcppc" -l -o "$out/startup.o" startup.c && "$bin/zirdump" "$out/startup.o"
echo
echo "\$ zcppc -o data.o data.c && zirdump data.o"
"$bin/zcppc" -o "$out/data.o" data.c && "$bin/zirdump" "$out/data.o"
