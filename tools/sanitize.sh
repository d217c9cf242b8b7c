#!/usr/bin/env bash
# Runs what threads share under ThreadSanitizer, and the program's own runs under valgrind.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh
source tools/lib/build.sh

# Which tests: a regular expression over the names that ctest gives them, and a filter of GoogleTest's.
THREAD_TESTS='MutexTable|ImageLock'
RUN_TESTS='Run*'

need g++ g++
need make make
need cmake cmake
need valgrind valgrind
need /usr/include/gtest/gtest.h libgtest-dev
install_needed

build thread
# Not reported: a thread that releases what another holds. The tests do, and expect the refusal.
TSAN_OPTIONS=report_mutex_bugs=0 ctest --preset thread --tests-regex "$THREAD_TESTS" --no-tests=error

build memcheck
# A finding in the program changes its exit status, which the tests compare.
valgrind --quiet --leak-check=full --error-exitcode=99 --trace-children=yes \
  build/memcheck/blockfit_tests --gtest_filter="$RUN_TESTS" --gtest_brief=1
