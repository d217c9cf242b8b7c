#!/usr/bin/env bash
# Plants COUNT faults in src/, one at a time, and lists those that no test notices: tools/mutate.sh [COUNT [SEED]], by
# default 150 and 1. The same seed plants the same faults in the same code. The work tree is not changed.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need g++ make cmake objcopy:binutils srec_cat:srecord /usr/include/gtest/gtest.h:libgtest-dev python3

# Code that runs wild soon reaches a limit: seconds of processor time, KiB of files and of memory. What it leaves is removed.
ulimit -c 0 -t 100 -f $((3 << 20)) -v $((8 << 20))
TMPDIR=$(mktemp -d)
trap 'rm -rf "$TMPDIR"' EXIT
# The date of a build makes no difference between two programs.
export TMPDIR SOURCE_DATE_EPOCH=0
python3 -B tools/lib/mutate.py "${1:-150}" "${2:-1}"
