#!/usr/bin/env bash
# Builds Blockfit, after installing what that needs, and runs it with the given arguments, or without any on a sample.
set -euo pipefail

Root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$Root/tools/lib/common.sh"
need c++:g++ make cmake

quietly cmake -S "$Root" -B "$Root/build"
quietly cmake --build "$Root/build"

if (($# != 0)); then
  exec "$Root/build/Blockfit" "$@"
fi
cd "$Root"
build/Blockfit -o build/sample examples/sample.hex
echo
echo "The first lines of $Root/build/sample.srec:"
head -n 8 build/sample.srec
