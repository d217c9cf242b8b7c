#!/usr/bin/env bash
# Plants COUNT faults in src/, one at a time, and lists those that no test notices: tools/mutate.sh [COUNT [SEED]], by
# default 150 and 1. The seed determines which faults. The work tree is not changed.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh

if ! [[ ${1:-1} =~ ^[1-9][0-9]*$ && ${2:-1} =~ ^[0-9]+$ ]]; then
  echo "Usage: tools/mutate.sh [COUNT [SEED]]" >&2
  exit 2
fi
need g++ g++
need make make
need cmake cmake
need objcopy binutils
need srec_cat srecord
need /usr/include/gtest/gtest.h libgtest-dev
need python3 python3
install_needed

python3 tools/lib/mutate.py "${1:-150}" "${2:-1}"
