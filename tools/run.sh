#!/usr/bin/env bash
# Builds Blockfit, after installing what that needs, and runs it with the given arguments, or without any on a sample.
set -euo pipefail

Root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$Root/tools/lib/quietly.sh"
source "$Root/tools/lib/packages.sh"

need c++ g++
need make make
need cmake cmake
install_needed

quietly cmake -S "$Root" -B "$Root/build"
quietly cmake --build "$Root/build" --parallel "$(nproc)"

if (($# != 0)); then
  exec "$Root/build/Blockfit" "$@"
fi

Sample=$Root/examples/sample.hex
if [[ ! -f $Sample ]]; then
  echo "The sample $Sample is missing." >&2
  exit 1
fi
Folder=$(mktemp -d)
"$Root/build/Blockfit" -o "$Folder/sample" "$Sample"
echo
echo "The first lines of $Folder/sample.srec:"
head -n 8 "$Folder/sample.srec"
