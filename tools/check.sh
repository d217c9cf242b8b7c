#!/usr/bin/env bash
# Builds and runs all tests, after installing what that takes. tools/check.sh [check | clang | m32]: which build.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh

Preset=${1:-check}
need g++ g++
need make make
need cmake cmake
need objcopy binutils
need srec_cat srecord
need /usr/include/gtest/gtest.h libgtest-dev
case $Preset in
  clang)
    need clang++ clang
    need "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.asan-*.a" libclang-rt-dev
    ;;
  m32)
    need "/usr/lib/gcc/*/*/32/libstdc++.a" g++-multilib
    need /usr/src/googletest/CMakeLists.txt googletest
    ;;
esac
install_needed

echo "Building build/$Preset"
quietly cmake --preset "$Preset"
quietly cmake --build --preset "$Preset" --parallel "$(nproc)"
ctest --preset "$Preset" --parallel "$(nproc)"
