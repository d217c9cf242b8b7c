#!/usr/bin/env bash
# Builds and runs all tests, after installing what that takes. tools/check.sh [check | clang | m32]: which build.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh

# Whether a 32-bit program runs here: not every 64-bit system lets them.
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

Options=()
if [[ $Preset == m32 ]] && ! runs_32_bits; then
  need qemu-i386 qemu-user
  install_needed
  Options=(-DCMAKE_CROSSCOMPILING_EMULATOR=qemu-i386 -DBLOCKFIT_SANITIZE=undefined)
  echo "32-bit programs do not run here but in an emulator, which has no memory for AddressSanitizer's shadow"
fi

echo "Building build/$Preset"
quietly cmake --preset "$Preset" "${Options[@]}"
quietly cmake --build --preset "$Preset" --parallel "$(nproc)"
ctest --preset "$Preset" --parallel "$(nproc)"
