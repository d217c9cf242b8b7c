#!/usr/bin/env bash
# Measures how much of src/ the tests reach, by line and by branch, and lists what they do not reach.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh
source tools/lib/build.sh

need g++ g++
need make make
need cmake cmake
need gcovr gcovr
need objcopy binutils
need srec_cat srecord
need /usr/include/gtest/gtest.h libgtest-dev
install_needed

build coverage
find build/coverage -name '*.gcda' -delete
quietly ctest --preset coverage --parallel "$(nproc)"

Report=build/coverage/coverage.json
gcovr --root . --filter src/ --exclude-throw-branches --exclude-unreachable-branches --json "$Report" build/coverage
gcovr --root . --add-tracefile "$Report" --txt
gcovr --root . --add-tracefile "$Report" --txt --branches
python3 tools/lib/uncovered.py "$Report"
