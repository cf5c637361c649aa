#!/usr/bin/env bash
# Runs one end-to-end case.
#
#   run_case.sh CASE_DIR BIN_DIR
#
# A case is a folder.  Its `cmd` file is a bash script that runs in a scratch
# copy of the folder, with BIN_DIR first on PATH, so that `zcppc` and
# `zirdump` name the programs under test.  What the script prints and its exit
# status are compared with the files `stdout`, `stderr` and `status` of the
# case (a missing file means: empty, or status 0).  A script whose output
# starts with a line "SKIP: reason" could not run here (a comparison program
# or the shared corpus beside the checkout is missing, say): the case is
# reported as skipped, exit status 77.  With ZCPPC_UPDATE=1 the results are
# written back into the case instead of compared, unless it was skipped.
# A case runs for 30 seconds at most, or for the seconds its file
# `time_limit` names: cases that run a whole corpus need more on a busy
# machine.
set -u
# A case is a folder with a `cmd` file: anything else is refused before the
# folder is copied anywhere.
[ -f "${1:-}/cmd" ] || { echo "run_case.sh: no case in '${1:-}'" >&2; exit 2; }
case_dir=$(cd "$1" && pwd) || exit 2
bin_dir=$(cd "${2:?usage: run_case.sh CASE_DIR BIN_DIR}" && pwd) || exit 2
scratch=$(mktemp -d "${TMPDIR:-/tmp}/zcppc-e2e.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

cp -R "$case_dir/." "$scratch/"
rm -f "$scratch/stdout" "$scratch/stderr" "$scratch/status" "$scratch/time_limit"
limit=30
[ -f "$case_dir/time_limit" ] && limit=$(cat "$case_dir/time_limit")

(
  cd "$scratch" || exit 99
  unset QVPPC
  export PATH="$bin_dir:$PATH"
  export ASAN_OPTIONS=detect_leaks=0
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
  export TZ=UTC LC_ALL=C
  exec timeout "$limit" bash ./cmd </dev/null >"$scratch/.out" 2>"$scratch/.err"
)
status=$?

if head -n 1 "$scratch/.out" | grep -q '^SKIP:'; then
  head -n 1 "$scratch/.out"
  exit 77
fi

if [ "${ZCPPC_UPDATE:-}" = 1 ]; then
  cp "$scratch/.out" "$case_dir/stdout"
  cp "$scratch/.err" "$case_dir/stderr"
  echo "$status" >"$case_dir/status"
  for f in stdout stderr; do [ -s "$case_dir/$f" ] || rm -f "$case_dir/$f"; done
  [ "$status" = 0 ] && rm -f "$case_dir/status"
  exit 0
fi

failed=0
expect() { if [ -f "$case_dir/$1" ]; then cat "$case_dir/$1"; fi; }
if ! diff -u --label "expected stdout" --label "actual stdout" <(expect stdout) "$scratch/.out" >"$scratch/.diff"; then
  cat "$scratch/.diff"; failed=1
fi
if ! diff -u --label "expected stderr" --label "actual stderr" <(expect stderr) "$scratch/.err" >"$scratch/.diff"; then
  cat "$scratch/.diff"; failed=1
fi
want_status=$(expect status); want_status=${want_status:-0}
if [ "$status" != "$want_status" ]; then
  echo "exit status $status, expected $want_status"; failed=1
fi
exit $failed
