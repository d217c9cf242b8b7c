#!/usr/bin/env bash
# Compares the release build with other tools and plain copying: prints the results as Markdown and draws
# docs/performance.svg. bench/run.sh [ROUNDS], by default 7; fewer than 5 are for trying it out and draw nothing.
# BEFORE: another build of the program, to measure beside this one. BUILD_DIR: the build directory, by default build.
# TMPDIR: where inputs and outputs go, about 600 MB.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh

Rounds=${1:-7}
if [[ ! $Rounds =~ ^[1-9][0-9]*$ ]]; then
  echo "Usage: bench/run.sh [ROUNDS]" >&2
  exit 2
fi
BuildDir=${BUILD_DIR:-build}
need g++ g++
need make make
need cmake cmake
need hyperfine hyperfine
need /usr/bin/time time
need objcopy binutils
need srec_cat srecord
need python3 python3
install_needed

quietly cmake -S . -B "$BuildDir" -DCMAKE_BUILD_TYPE=Release -DBLOCKFIT_SANITIZE=
quietly cmake --build "$BuildDir" --target Blockfit

Scratch=$(mktemp -d)
trap 'rm -rf "$Scratch"' EXIT
python3 -B bench/make_inputs.py "$Scratch"
python3 -B bench/measure.py "$BuildDir/Blockfit" "$Scratch" "$Rounds" "$Scratch/times.json" ${BEFORE:+"$BEFORE"}
if ((Rounds >= 5)); then
  python3 -B bench/plot.py "$Scratch/times.json" >docs/performance.svg
fi
