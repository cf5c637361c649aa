#!/bin/sh
# Times the preprocessor on large generated sources.
#
#   bench.sh BUILD_DIR
#
# Generates gen_corpus.py 2000 and 8000 (the same text on every run), runs
# `zcppc -e` on each three times and keeps the best time, and prints lines
# per second.  The larger source is four times the smaller, so the time
# should grow by about four: the ratio is printed too.  When tcc is
# installed, `tcc -E` is timed on the same files for comparison.
set -eu
build=$(cd "${1:?usage: bench.sh BUILD_DIR}" && pwd)
here=$(cd "$(dirname "$0")/.." && pwd)
generator=$here/../shared/bench/gen_corpus.py
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

for n in 2000 8000; do
  python3 "$generator" "$n" >"$work/gen$n.c"
done

echo "zcppc -e (best of 3)"
for n in 2000 8000; do
  lines=$(wc -l <"$work/gen$n.c")
  ns=$(best_of_3 "$zcppc" -e -o "$work/out.i" "$work/gen$n.c")
  eval "zcppc_$n=$ns"
  report "gen_corpus.py $n" "$lines" "$ns"
done
awk -v a="$zcppc_2000" -v b="$zcppc_8000" 'BEGIN {
  printf "time ratio 8000/2000: %.2f (4 is linear)\n", b / (a > 0 ? a : 1) }'

if command -v tcc >/dev/null 2>&1; then
  echo "tcc -E (best of 3), for comparison"
  for n in 2000 8000; do
    lines=$(wc -l <"$work/gen$n.c")
    ns=$(best_of_3 tcc -E -o "$work/out.i" "$work/gen$n.c")
    report "gen_corpus.py $n" "$lines" "$ns"
  done
else
  echo "tcc is not installed: no comparison"
fi
