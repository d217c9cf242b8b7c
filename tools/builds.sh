#!/usr/bin/env bash
# Builds the program with each compiler as Debug and MinSizeRel, with warnings as errors, and runs it.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/common.sh
need g++ clang++:clang make cmake

for Compiler in g++ clang++; do
  for Type in Debug MinSizeRel; do
    Build=build/builds/$Compiler-$Type
    quietly cmake -S . -B "$Build" -DCMAKE_CXX_COMPILER="$Compiler" -DCMAKE_BUILD_TYPE="$Type" -DBLOCKFIT_WERROR=ON
    quietly cmake --build "$Build"
    quietly "$Build/Blockfit" -o "$Build/sample" examples/sample.hex
    cmp "$Build/sample.srec" build/builds/g++-Debug/sample.srec
    echo "$Compiler, $Type: as expected"
  done
done
