#!/bin/sh
# Shows zcppc at work on the shipped example.
#   demo.sh BUILD_DIR
bin=$1
cd "$(dirname "$0")" || exit 1
echo "\$ zcppc -md -o demo.o demo.c"
"../$bin/zcppc" -md -o demo.o demo.c
