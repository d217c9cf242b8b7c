#!/usr/bin/env bash
# Builds and runs all tests, after installing what they need: tools/check.sh [PRESET], where PRESET has tests (see
# CONTRIBUTING.md). For another machine, also compares the program's output with that of the native build.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh
source tools/lib/build.sh

# The number of generated inputs used to compare two builds of the program.
NUM_INPUTS=400

# Whether 32-bit programs run here: not every 64-bit system allows them.
runs_32_bits() {
  local Scratch Status=0
  Scratch=$(mktemp -d)
  echo 'int main() {}' >"$Scratch/nothing.cpp"
  g++ -m32 -o "$Scratch/nothing" "$Scratch/nothing.cpp"
  "$Scratch/nothing" 2>/dev/null || Status=$?
  rm -rf "$Scratch"
  return "$Status"
}

Preset=${1:-check}
need g++ g++
need make make
need cmake cmake
need objcopy binutils
need srec_cat srecord
case $Preset in
  clang | libcxx)
    need clang++ clang
    need "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.asan-*.a" libclang-rt-dev
    ;;&
  libcxx)
    need "/usr/lib/llvm-*/include/c++/v1/vector" libc++-dev libc++abi-dev
    ;;
  m32)
    install_first
    # g++-multilib conflicts with compilers for other machines; the package for one version does not.
    need "/usr/lib/gcc/*/*/32/libstdc++.a" "g++-$(g++ -dumpversion)-multilib"
    install_first
    runs_32_bits || need qemu-i386 qemu-user
    ;;
  s390x)
    need s390x-linux-gnu-g++ g++-s390x-linux-gnu
    need qemu-s390x qemu-user
    need python3 python3
    ;;
  arm64)
    need aarch64-linux-gnu-g++ g++-aarch64-linux-gnu
    need qemu-aarch64 qemu-user
    need python3 python3
    ;;
esac
case $Preset in
  libcxx | m32 | s390x | arm64) need /usr/src/googletest/CMakeLists.txt googletest ;;
  *) need /usr/include/gtest/gtest.h libgtest-dev ;;
esac
install_needed

Options=()
if [[ $Preset == m32 ]] && ! runs_32_bits; then
  Options=(-DCMAKE_CROSSCOMPILING_EMULATOR=qemu-i386 -DBLOCKFIT_SANITIZE=undefined)
  echo "32-bit programs run only in an emulator here, which has no memory for AddressSanitizer's shadow"
fi
build "$Preset" "${Options[@]}"
ctest --preset "$Preset" --parallel "$(nproc)"

if [[ $Preset == s390x || $Preset == arm64 ]]; then
  build release
  IFS=';' read -ra Emulator < <(sed -n 's/^CMAKE_CROSSCOMPILING_EMULATOR:.*=//p' "build/$Preset/CMakeCache.txt")
  tests/same_output.py "$NUM_INPUTS" build/release/Blockfit "${Emulator[@]}" "build/$Preset/Blockfit"
fi
