#!/usr/bin/env bash
# Builds the random programs of gen.py for seeds FIRST to LAST with gcc and
# with zcppc, runs the second under zirrun with the zcppc FLAGS given, and
# prints every seed whose output differs, then how many agreed.
#
#   compare.sh GEN FIRST LAST [FLAGS...]
#
# gcc and zirrun must be on PATH.  HOST_CFLAGS adds flags to gcc's build
# (the sweep checks the programs with -fsanitize=undefined that way).
gen=$1 first=$2 last=$3
shift 3
python3 "$gen" "$first" "$last" || exit 1
same=0
for seed in $(seq "$first" "$last"); do
  mv "prog$seed.c" prog.c
  # shellcheck disable=SC2086
  if ! gcc -std=c89 -w -O0 ${HOST_CFLAGS:-} -o host prog.c; then
    echo "seed $seed: gcc failed"
    continue
  fi
  ./host >host.out 2>&1; host_status=$?
  zirrun "$@" prog.c >zirrun.out 2>&1; zirrun_status=$?
  if [ $host_status = $zirrun_status ] && cmp -s host.out zirrun.out; then
    same=$((same + 1))
  else
    echo "seed $seed differs: status $host_status, zirrun $zirrun_status"
    diff host.out zirrun.out | head -n 6
  fi
done
echo "$same of $((last - first + 1)) programs print the same"
