#!/usr/bin/env bash
# Runs the tests of what threads share under ThreadSanitizer, and those that run the program under valgrind.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need g++ make cmake valgrind /usr/include/gtest/gtest.h:libgtest-dev

build thread
# Not reported: a thread that releases another's lock. The tests do this, and expect it to be refused.
TSAN_OPTIONS=report_mutex_bugs=0 ctest --preset thread --tests-regex 'MutexTable|ImageLock'

build memcheck
# A finding changes the program's exit status, which the tests compare. Left out is the test that closes descriptor 2,
# which valgrind itself uses even then.
valgrind --quiet --leak-check=full --error-exitcode=99 --trace-children=yes \
  build/memcheck/blockfit_tests --gtest_filter='Run*-Run.KeepsMessagesOutOfItsOutput' --gtest_brief=1
