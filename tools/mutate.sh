#!/usr/bin/env bash
# Plants COUNT faults in src/, one at a time, and lists those that no test notices: tools/mutate.sh [COUNT [SEED]], by
# default 150 and 1. The same seed plants the same faults in the same code. The work tree is not changed.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need g++ make cmake objcopy:binutils srec_cat:srecord /usr/include/gtest/gtest.h:libgtest-dev python3

# Code that runs wild soon reaches a limit: seconds of processor time, KiB of files and of memory. What it leaves goes.
ulimit -c 0 -t 100 -f $((3 << 20)) -v $((8 << 20))
TMPDIR=$(mktemp -d)
trap 'rm -rf "$TMPDIR"' EXIT
# The date of a build makes no difference between two programs.
export TMPDIR SOURCE_DATE_EPOCH=0
rm -rf build/mutate && mkdir -p build/mutate
git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents --target-directory=build/mutate
cd build/mutate
quietly cmake -S . -B build -DBLOCKFIT_TESTS=ON -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O1
quietly cmake --build build
quietly ctest --test-dir build --stop-on-failure
python3 -B tools/lib/mutate.py "${1:-150}" "${2:-1}"
