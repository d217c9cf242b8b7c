#!/usr/bin/env bash
# Builds the program with each compiler as Debug and MinSizeRel, with warnings as errors, and runs it; then once more
# without linker options that not every linker has.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh

need g++ g++
need clang++ clang
need make make
need cmake cmake
install_needed

# try COMPILER BUILD_TYPE [OPTION...]
try() {
  local Build=build/builds/$1-$2${3:+-plain}
  quietly cmake -S . -B "$Build" -DCMAKE_CXX_COMPILER="$1" -DCMAKE_BUILD_TYPE="$2" -DBLOCKFIT_WERROR=ON "${@:3}"
  quietly cmake --build "$Build" --parallel "$(nproc)"
  quietly "$Build/Blockfit" -o "$Build/sample" examples/sample.hex
  cmp "$Build/sample.srec" build/builds/g++-Debug/sample.srec
  echo "$*: as expected"
}

for Compiler in g++ clang++; do
  for Type in Debug MinSizeRel; do
    try "$Compiler" "$Type"
  done
done
try g++ MinSizeRel -DBLOCKFIT_LINKER_HAS_AS_NEEDED=OFF
