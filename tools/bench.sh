#!/bin/sh
# Times the preprocessor on large generated sources.
#
#   bench.sh BUILD_DIR
#
# Generates gen_bench.py 2000 and 8000 (the same text on every run), runs
# `zcppc -e` on each three times and keeps the best time, and prints lines
# per second.  The larger source is four times the smaller, so the time
# should grow by about four: a last table line gives the ratios.  When tcc
# is installed, `tcc -E` is timed on the same files for comparison.
set -eu
build=$(cd "${1:?usage: bench.sh BUILD_DIR}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
zcppc=$build/zcppc
work=$(mktemp -d "${TMPDIR:-/tmp}/zcppc-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT

now_ns() { date +%s%N; }

# best_of_3 COMMAND...: the shortest of three runs, in nanoseconds
best_of_3() {
  best=
  for round in 1 2 3; do
    start=$(now_ns)
    "$@" >/dev/null 2>&1 || true
    took=$(($(now_ns) - start))
    if [ -z "$best" ] || [ "$took" -lt "$best" ]; then best=$took; fi
  done
  echo "$best"
}

# report NAME LINES NANOSECONDS
report() {
  awk -v name="$1" -v lines="$2" -v ns="$3" 'BEGIN {
    s = ns / 1e9; if (s <= 0) s = 1e-9
    printf "%-28s %8d lines %9.3f s %12.0f lines/s\n", name, lines, s, lines / s }'
}

# report_ratio LINES_SMALL NS_SMALL LINES_LARGE NS_LARGE: large over small
report_ratio() {
  awk -v l1="$1" -v t1="$2" -v l2="$3" -v t2="$4" 'BEGIN {
    if (t1 <= 0) t1 = 1; if (t2 <= 0) t2 = 1
    printf "%-28s %8.2f x     %9.2f x   %12.2f x  (a time ratio of 4 is linear)\n",
           "ratio 8000/2000", l2 / l1, t2 / t1, (l2 / t2) / (l1 / t1) }'
}

# table TITLE COMMAND...: times COMMAND FILE for both sources
table() {
  echo "$1"; shift
  for n in 2000 8000; do
    lines=$(wc -l <"$work/gen$n.c")
    ns=$(best_of_3 "$@" "$work/gen$n.c")
    eval "lines_$n=$lines ns_$n=$ns"
    report "gen_bench.py $n" "$lines" "$ns"
  done
  report_ratio "$lines_2000" "$ns_2000" "$lines_8000" "$ns_8000"
}

for n in 2000 8000; do
  python3 "$here/gen_bench.py" "$n" >"$work/gen$n.c"
done

table "zcppc -e (best of 3)" "$zcppc" -e -o "$work/out.i"
if command -v tcc >/dev/null 2>&1; then
  table "tcc -E (best of 3), for comparison" tcc -E -o "$work/out.i"
else
  echo "tcc is not installed: no comparison"
fi
