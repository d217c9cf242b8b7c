#!/usr/bin/env bash
# Builds the programs with clang++ in each configuration, by a generator that has all of them in one tree, with warnings
# as errors, and runs them. Release must be hardened there, too.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need clang++:clang cmake ninja:ninja-build readelf:binutils

Build=build/builds
quietly cmake -S . -B "$Build" -G "Ninja Multi-Config" -DCMAKE_CONFIGURATION_TYPES="Debug;MinSizeRel;Release" \
  -DCMAKE_CXX_COMPILER=clang++ -DBLOCKFIT_WERROR=ON
for Config in Debug MinSizeRel Release; do
  quietly cmake --build "$Build" --config "$Config"
  quietly "$Build/$Config/Blockfit" -o "$Build/$Config/sample" examples/sample.hex
  cmp "$Build/$Config/sample.srec" "$Build/Debug/sample.srec"
  echo "$Config: as expected"
done
readelf --dynamic --symbols "$Build/Release/Blockfit" | tr '\n' ' ' | grep -q 'BIND_NOW.*__stack_chk_fail' ||
  fail "Release is not hardened"
