#!/usr/bin/env bash
# Counts the instructions of the release build for 131,072 records in each of five orders: is it slower than it was, or
# slow for one order? Prints the table with the new counts, which replaces the old one after a change worth its cost.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need c++:g++ make cmake valgrind python3

# The highest count in per cent of that for ascending records; thousands of instructions, with g++ 12.2 of Debian for
# x86-64; the order.
TABLE="\
100 98310 ascending
125 106082 descending
250 198052 shuffled
220 177268 with gaps
150 124432 pairs, each in front of the one before"
# The highest count in per cent of that in the table. The place where records are stored, twice in the code, costs 3.2.
MOST=102

build release
Scratch=$(mktemp -d)
trap 'rm -rf "$Scratch"' EXIT
PYTHONPATH=bench python3 -B - "$Scratch" <<'PYTHON'
import pathlib, random, sys
from make_inputs import RECORD_BYTES, s_records
places = range(0x08000000, 0x08000000 + 131072 * RECORD_BYTES, RECORD_BYTES)
orders = {"ascending": places, "descending": places[::-1], "shuffled": random.Random(20).sample(places, len(places)),
          "with gaps": [addr + addr // 2 for addr in places],
          "pairs, each in front of the one before": [addr ^ RECORD_BYTES for addr in places[::-1]]}
for order, addrs in orders.items():
    pathlib.Path(sys.argv[1], f"{order}.srec").write_bytes(b"".join(s_records(addrs)))
PYTHON

# Which functions of the C library run depends on the processor, unless these features are hidden.
export GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2,-AVX512F,-AVX_Fast_Unaligned_Load,-ERMS,-FSRM,-SSSE3
Compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:.*=//p' build/release/CMakeCache.txt)
if [[ "$(uname -m) $("$Compiler" --version)" != "x86_64 "*" (Debian 12.2.0-"* ]]; then
  echo "Another compiler or machine: only compared with ascending records"
  MOST=1000
fi
Failures=()
while read -r Share Known Order; do
  Count=$(valgrind --tool=callgrind --callgrind-out-file=/dev/null build/release/Blockfit -o "$Scratch/out" \
    "$Scratch/$Order.srec" 2>&1 | sed -n 's/.*Collected : \(.*\)...$/\1/p')
  echo "$Share $Count $Order"
  First=${First:-$Count}
  ((100 * Count <= Share * First)) || Failures+=("$Order: more than $Share % of ascending records")
  ((100 * Count <= MOST * Known)) || Failures+=("$Order: more than $MOST % of $Known thousand")
done <<<"$TABLE"
((${#Failures[@]} == 0)) || fail "$(printf '%s\n' "${Failures[@]}")"
