#!/usr/bin/env bash
# Builds Blockfit, after installing what that needs, and runs it with the given arguments, or without any on a sample.
set -euo pipefail

From=$PWD
source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
{
  need c++:g++ make cmake
  echo "Building $PWD/build"
  quietly cmake -S . -B build
  show cmake --build build
} >&2

if (($# != 0)); then
  Program=$PWD/build/Blockfit
  cd "$From"
  exec "$Program" "$@"
fi
build/Blockfit -o build/sample examples/sample.hex
echo
echo "The first lines of $PWD/build/sample.srec:"
head -n 8 build/sample.srec
