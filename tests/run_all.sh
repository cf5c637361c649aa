#!/bin/sh
# Runs every test of the release build, then every test once more against
# the sanitizer build, and closes with one line of totals.
#   run_all.sh RELEASE_BUILD SANITIZER_BUILD JOBS
release=$1 asan=$2 jobs=$3
log=$(mktemp); trap 'rm -f "$log"' EXIT
passed=0 failed=0

# run_ctest TITLE DIR [ARGS]: runs ctest and adds its counts to the totals
run_ctest() {
  title=$1 dir=$2; shift 2
  echo "== $title"
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure "$@" >"$log" 2>&1
  grep -v -E '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed' "$log"
  counts=$(sed -n 's/.*tests passed, \([0-9]*\) tests* failed out of \([0-9]*\).*/\1 \2/p' "$log" | tail -n 1)
  if [ -z "$counts" ]; then
    echo "ctest gave no summary for $title"
    failed=$((failed + 1))
    return
  fi
  set -- $counts
  failed=$((failed + $1)) passed=$((passed + $2 - $1))
}

run_ctest "unit and end-to-end tests" "$release"
run_ctest "unit and end-to-end tests under AddressSanitizer and UBSan" "$asan"

echo "$passed passed, $failed failed"
[ "$failed" = 0 ]
