#!/usr/bin/env bash
# Builds and runs all tests: tools/check.sh [PRESET], where PRESET has tests (see CONTRIBUTING.md). For another machine,
# also compares the program's output with that of the native build.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"

Preset=${1:-check}
case $Preset in
  check) Needs=() ;;
  clang) Needs=(clang++:clang "/usr/lib/llvm-*/lib/clang/*/lib/linux:libclang-rt-dev") ;;
  libcxx) Needs=(clang++:clang "/usr/lib/llvm-*/lib/clang/*/lib/linux:libclang-rt-dev"
    "/usr/lib/llvm-*/lib/libc++.so:libc++-dev" "/usr/lib/llvm-*/lib/libc++abi.so:libc++abi-dev") ;;
  m32) Needs=(i686-linux-gnu-g++:g++-i686-linux-gnu qemu-i386:qemu-user) ;;
  s390x) Needs=(s390x-linux-gnu-g++:g++-s390x-linux-gnu qemu-s390x:qemu-user) ;;
  arm64) Needs=(aarch64-linux-gnu-g++:g++-aarch64-linux-gnu qemu-aarch64:qemu-user) ;;
  *) fail "tools/check.sh: $Preset is no preset with tests" ;;
esac
need g++ make cmake objcopy:binutils srec_cat:srecord python3 /usr/include/gtest/gtest.h:libgtest-dev "${Needs[@]}"

Options=()
# Not every 64-bit system runs 32-bit programs, and the emulator has no memory for AddressSanitizer's shadow.
if [[ $Preset == m32 ]] && ! quietly /usr/i686-linux-gnu/lib/ld-linux.so.2 --version; then
  Options=(-DCMAKE_CROSSCOMPILING_EMULATOR="qemu-i386;-L;/usr/i686-linux-gnu" -DBLOCKFIT_SANITIZE=)
fi
build "$Preset" "${Options[@]}"
ctest --preset "$Preset"

Emulator=$(sed -n 's/^CMAKE_CROSSCOMPILING_EMULATOR:.*=//p' "build/$Preset/CMakeCache.txt")
if [[ -n $Emulator ]]; then
  build release
  IFS=';' read -ra Command <<<"$Emulator;build/$Preset/Blockfit"
  tools/same_output.py 400 build/release/Blockfit "${Command[@]}"
fi
