#!/usr/bin/env bash
# Lists the lines and branches of src/ that no test reaches, and fails if the tests reach less than they used to.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need g++ make cmake gcovr objcopy:binutils srec_cat:srecord python3 /usr/include/gtest/gtest.h:libgtest-dev

build coverage
find build/coverage -name '*.gcda' -delete
quietly ctest --preset coverage

Report=build/coverage/coverage.json
gcovr --filter src/ --exclude-throw-branches --exclude-unreachable-branches --json "$Report" build/coverage
# What runs out of memory or is killed in a test does so in a process of its own, which leaves no counts.
gcovr --add-tracefile "$Report" --fail-under-line 98
gcovr --add-tracefile "$Report" --branches --fail-under-branch 93
