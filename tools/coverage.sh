#!/bin/sh
# Line and branch coverage of src/ by the whole test suite.
#
#   coverage.sh BUILD_DIR [--files]
#
# Builds the programs and unit tests with gcc's --coverage into BUILD_DIR,
# runs every ctest case there, and prints the totals of src/ through gcovr
# (or lcov when gcovr is missing).  --files adds a line per source file.
# Without either tool it says so and ends with status 0.
set -eu
build=${1:?usage: coverage.sh BUILD_DIR [--files]}
here=$(cd "$(dirname "$0")/.." && pwd)
if command -v gcovr >/dev/null 2>&1; then tool=gcovr
elif command -v lcov >/dev/null 2>&1; then tool=lcov
else
  echo "coverage skipped: neither gcovr nor lcov is installed (apt-get install gcovr)"
  exit 0
fi
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS="--coverage -O0" >/dev/null
cmake --build "$build" -j "${JOBS:-2}" >/dev/null
find "$build" -name '*.gcda' -delete
ctest --test-dir "$build" -j "${JOBS:-2}" >"$build/ctest.log" 2>&1 || echo "(some tests failed: see $build/ctest.log)"
if [ "$tool" = gcovr ]; then
  if [ "${2:-}" = --files ]; then
    gcovr -r "$here" --object-directory "$build" --filter "$here/src/" 2>/dev/null | sed -n '/^src\//p'
  fi
  gcovr -r "$here" --object-directory "$build" --filter "$here/src/" -s 2>/dev/null | grep -E '^(lines|branches):'
else
  lcov -q -c -d "$build" -o "$build/all.info" --rc lcov_branch_coverage=1 >/dev/null 2>&1
  lcov -q -e "$build/all.info" "$here/src/*" -o "$build/src.info" --rc lcov_branch_coverage=1 >/dev/null 2>&1
  lcov --summary "$build/src.info" --rc lcov_branch_coverage=1 2>&1 | grep -E 'lines|branches'
fi
