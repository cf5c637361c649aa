#!/usr/bin/env bash
# Runs many random programs of tests/e2e/zirrun/random/gen.py once, each
# built by gcc and by zcppc under zirrun, in blocks of 100 seeds,
# alternately in the default model and with every pointer far.  Too slow
# for `make check`: run it by hand, at low priority, and look at the seeds
# it lists.  With UBSAN=1 gcc's build checks for undefined behaviour, so
# that a program of the generator that is not well defined shows up too
# (about three times slower).
#
#   tests/random_sweep.sh [BUILD_DIR] [FIRST] [COUNT]
#
# Prints each seed that differs with the first lines of the difference, and
# the totals at the end.  Defaults: build, seed 1001, 10000 seeds.
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd) || exit 2
first=${2:-1001} count=${3:-10000}
gen=$root/tests/e2e/zirrun/random/gen.py
compare=$root/tests/e2e/zirrun/random/compare.sh
work=$(mktemp -d "${TMPDIR:-/tmp}/zcppc-sweep.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2
export PATH="$build:$PATH"
[ "${UBSAN:-}" = 1 ] && export HOST_CFLAGS="-fsanitize=undefined -fno-sanitize-recover"
same=0 block=0
last=$((first + count - 1))
for start in $(seq "$first" 100 "$last"); do
  end=$((start + 99)); [ $end -gt "$last" ] && end=$last
  flags=; [ $((block % 2)) = 1 ] && flags=-m0x3030
  block=$((block + 1))
  # shellcheck disable=SC2086
  nice -n 19 bash "$compare" "$gen" "$start" "$end" $flags >result
  sed '$d' result | sed "s/^seed [0-9]*/&${flags:+ $flags}/"
  n=$(tail -n 1 result | cut -d' ' -f1)
  same=$((same + ${n:-0}))
done
echo "$count seeds from $first: $((count - same)) differ"
