#!/usr/bin/env bash
# Runs the tests of what threads share under ThreadSanitizer, and those that run the program under valgrind.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh
source tools/lib/build.sh

# Which tests: a regular expression for ctest's names, and a GoogleTest filter.
THREAD_TESTS='MutexTable|ImageLock'
# valgrind uses descriptor 2 itself, even if it is closed, so the test that closes it is left out.
RUN_TESTS='Run*-Run.KeepsMessagesOutOfItsOutput'

need g++ g++
need make make
need cmake cmake
need valgrind valgrind
need /usr/include/gtest/gtest.h libgtest-dev
install_needed

build thread
# Not reported: a thread that releases another's lock. The tests do this, and expect it to be refused.
TSAN_OPTIONS=report_mutex_bugs=0 ctest --preset thread --tests-regex "$THREAD_TESTS" --no-tests=error

build memcheck
# A finding changes the program's exit status, which the tests compare.
valgrind --quiet --leak-check=full --error-exitcode=99 --trace-children=yes \
  build/memcheck/blockfit_tests --gtest_filter="$RUN_TESTS" --gtest_brief=1
