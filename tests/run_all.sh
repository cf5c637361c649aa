#!/bin/sh
# Runs every test of the release build, then every test once more against
# the sanitizer build, and closes with one line of totals:
#   N passed, N failed, N skipped
# A skipped test is one that cannot run on this machine (a comparison
# program or the shared corpus beside the checkout is missing); the reason
# it gave is shown above the totals.
#   run_all.sh RELEASE_BUILD SANITIZER_BUILD JOBS
release=$1 asan=$2 jobs=$3
log=$(mktemp); trap 'rm -f "$log"' EXIT
passed=0 failed=0 skipped=0

# run_ctest TITLE DIR: runs ctest and adds its counts to the totals
run_ctest() {
  title=$1 dir=$2
  echo "== $title"
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure >"$log" 2>&1
  grep -v -E '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed|^ *Start +[0-9]+: ' "$log"
  counts=$(sed -n 's/.*tests passed, \([0-9]*\) tests* failed out of \([0-9]*\).*/\1 \2/p' "$log" | tail -n 1)
  if [ -z "$counts" ]; then
    echo "ctest gave no summary for $title"
    failed=$((failed + 1))
    return
  fi
  # ctest counts a skipped test among the passed ones.
  skips=$(grep -c -E '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .*\*\*\*Skipped' "$log")
  # The first line a skipped end-to-end case printed says why.
  awk 'first && /^SKIP: / { print "skipped " name ": " substr($0, 7) }
       { first = 0 }
       /^[0-9]+\/[0-9]+ Test: / { name = $3 }
       /^Output:$/ { output = 1; next }
       output && /^-+$/ { output = 0; first = 1 }' "$dir/Testing/Temporary/LastTest.log"
  set -- $counts
  failed=$((failed + $1)) skipped=$((skipped + skips))
  passed=$((passed + $2 - $1 - skips))
}

run_ctest "unit and end-to-end tests" "$release"
run_ctest "unit and end-to-end tests under AddressSanitizer and UBSan" "$asan"

echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" = 0 ]
