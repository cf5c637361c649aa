#!/bin/sh
# Times zcppc on large generated sources, beside tcc when it is installed.
#
#   bench.sh BUILD_DIR
#
# Sources of 350, 1,400, 2,000 and 8,000 functions (the same text on every
# run): from ../shared/bench/gen_corpus.py when the shared folder lies
# beside the checkout, else from our own tools/gen_bench.py.  Each command
# runs five times on each source and the median counts.  Tables:
# preprocessing (`zcppc -e` against `tcc -E`) and the whole pass (`zcppc -o`
# against `tcc -c`), and a third that times the whole pass with -x against
# the pass without it.  Each row gives the time, lines per second, peak memory
# and the ratio of zcppc's time to tcc's; the last rows of a table give the
# growth from 350 to 1,400 and from 2,000 to 8,000 functions, four times as
# large each, so a growth of 4 is linear.
#
# The file numbers its labels in 16 bits, which a unit of about 1,500 such
# functions fills: zcppc then reports "file too large for label
# information" and writes no more statements, so the rows of 2,000 and
# 8,000 functions time a pass that stops writing early, and say so.  The
# rows of 350 and 1,400 functions time the complete pass.
set -eu
build=$(cd "${1:?usage: bench.sh BUILD_DIR}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
zcppc=$build/zcppc
work=$(mktemp -d "${TMPDIR:-/tmp}/zcppc-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
runs=5

generator="$here/gen_bench.py"
if [ -f "$here/../../shared/bench/gen_corpus.py" ]; then
  generator="$here/../../shared/bench/gen_corpus.py"
fi
have_tcc=
if command -v tcc >/dev/null 2>&1; then have_tcc=1; fi

now_ns() { date +%s%N; }

# median_ns COMMAND...: the median of $runs runs, in nanoseconds
median_ns() {
  for round in $(seq $runs); do
    start=$(now_ns)
    "$@" >/dev/null 2>&1 || true
    echo $(($(now_ns) - start))
  done | sort -n | sed -n "$(((runs + 1) / 2))p"
}

# peak_kb COMMAND...: the peak resident memory of one run, in kilobytes,
# or - when /usr/bin/time is not there
peak_kb() {
  if [ -x /usr/bin/time ]; then
    /usr/bin/time -f %M "$@" 2>&1 >/dev/null | tail -n 1
  else
    echo -
  fi
}

# row NAME SIZE COMMAND...: one timed row; sets last_ns
row() {
  name=$1 size=$2; shift 2
  lines=$(wc -l <"$work/gen$size.c")
  last_ns=$(median_ns "$@" "$work/gen$size.c")
  kb=$(peak_kb "$@" "$work/gen$size.c")
  awk -v name="$name" -v size="$size" -v lines="$lines" -v ns="$last_ns" -v kb="$kb" 'BEGIN {
    s = ns / 1e9; if (s <= 0) s = 1e-9
    printf "%-10s %6d fn %8d lines %8.3f s %10.0f lines/s %9s KB", name, size, lines, s, lines / s, kb }'
  if [ "$name" = zcppc ] && "$@" "$work/gen$size.c" 2>&1 >/dev/null |
       grep -q 'file too large for label information'; then
    printf '  (labels ran out)'
  fi
}

# table TITLE ZCPPC_ARGS -- TCC_ARGS: both commands on both sources
table() {
  title=$1 zargs=$2 targs=$3
  echo "$title"
  for size in $sizes; do
    row zcppc "$size" "$zcppc" $zargs
    z=$last_ns
    eval "z_$size=$z"
    if [ -n "$have_tcc" ]; then
      echo
      row tcc "$size" tcc $targs
      awk -v z="$z" -v t="$last_ns" 'BEGIN { if (t <= 0) t = 1; printf "   zcppc/tcc %.2f\n", z / t }'
    else
      echo
    fi
  done
  awk -v a="$z_350" -v b="$z_1400" 'BEGIN { if (a <= 0) a = 1
    printf "zcppc growth 350 -> 1400: %.2f x (4 is linear)\n", b / a }'
  awk -v a="$z_2000" -v b="$z_8000" 'BEGIN { if (a <= 0) a = 1
    printf "zcppc growth 2000 -> 8000: %.2f x (4 is linear)\n\n", b / a }'
}

sizes="350 1400 2000 8000"
echo "sources: $(basename "$generator") $sizes, median of $runs runs"
for size in $sizes; do
  python3 "$generator" "$size" >"$work/gen$size.c"
done
[ -n "$have_tcc" ] || echo "tcc is not installed: no comparison"
echo
table "preprocessing: zcppc -e, tcc -E" "-e -o $work/out.i" "-E -o $work/out.i"
table "whole pass: zcppc -o, tcc -c" "-o $work/out.o" "-c -o $work/out.t.o"

# The whole pass with -x against the pass without it, on the sources whose
# labels last: the debug data takes labels of its own, so on larger units
# the -x run stops writing early and says so.  The pass with -x should take
# at most 1.3 times as long.
echo "debug information: zcppc -x -o against zcppc -o"
for size in 350 1400; do
  plain=$(median_ns "$zcppc" -o "$work/out.o" "$work/gen$size.c")
  debug=$(median_ns "$zcppc" -x -o "$work/out.o" "$work/gen$size.c")
  awk -v size="$size" -v p="$plain" -v d="$debug" 'BEGIN { if (p <= 0) p = 1
    printf "%6d fn  zcppc %8.3f s  zcppc -x %8.3f s  -x/plain %.2f (at most 1.30)", size, p / 1e9, d / 1e9, d / p }'
  if "$zcppc" -x -o "$work/out.o" "$work/gen$size.c" 2>&1 >/dev/null |
       grep -q 'file too large for label information'; then
    printf '  (labels ran out)'
  fi
  echo
done
