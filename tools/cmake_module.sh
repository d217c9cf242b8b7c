#!/usr/bin/env bash
# Tries blockfit_condition in copies of examples/cmake, for each way of including Blockfit, with Ninja and with Make:
# the files are right, they are made again when (and only when) something has changed, and a failure leaves no file.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need c++:g++ make cmake ninja:ninja-build objcopy:binutils

Check=$PWD/build/release/blockfit-check
Scratch=$(mktemp -d)
trap 'rm -rf "$Scratch"' EXIT

# expect_failure TEXT COMMAND...: the command must fail and print the text.
expect_failure() {
  local Said
  ! Said=$("${@:2}" 2>&1) || fail "succeeded: ${*:2}"
  Said=$(tr -s ' \n' ' ' <<<"$Said")
  [[ $Said == *"$1"* ]] || fail "does not say '$1': $Said"
}

# expect_made NUM: a build makes that many conditioned files, and then all are right.
expect_made() {
  local Data=$Project/boot.bin
  touch "$Scratch/before"
  quietly cmake --build "$Build"
  (($(find "$Build" -maxdepth 1 -name '*.srec' -newer "$Scratch/before" | wc -l) == $1)) || fail "$Build: not $1 files"
  objcopy -O ihex "$Build/app" "$Scratch/app.hex"
  quietly "$Check" --against "$Scratch/app.hex" --block 0x200 "$Build/app.srec"
  quietly "$Check" --against "$Data" --base 0x08000000 --block 0x200 "$Build/boot.srec"
  quietly "$Check" --against "$Data" --base 0x8000 --conditioned --block 100 --line 4 "$Build/all.srec"
}

# try WAY GENERATOR [OPTION...]: the example includes Blockfit by $Scratch/WAY.cmake.
try() {
  echo "$1, $2"
  Project="$Scratch/project/firmware folder"
  Build="$Project/build folder"
  rm -rf "$Scratch/project"
  mkdir "$Scratch/project"
  cp -r examples/cmake "$Project"
  sed -i "s|^find_package.*|include($Scratch/$1.cmake)|" "$Project/CMakeLists.txt"
  echo 'blockfit_condition(INPUT boot.bin BASE 0x8000 BLOCK 100 LINE 0x4 OUTPUT all.srec
                           WITHIN 0-0x8001 32770-0xFFFF)' >>"$Project/CMakeLists.txt"

  quietly cmake -S "$Project" -B "$Build" -G "$2" "${@:3}"
  expect_made 3
  expect_made 0
  sed -i 's/34}/35}/' "$Project/main.c"
  echo "more" >>"$Project/boot.bin"
  expect_made 3
  find "$Scratch" -name blockfit-convert -type f -exec touch {} +
  expect_made 3

  quietly cmake --install "$Build" --prefix "$Scratch/nothing"
  [[ ! -e $Scratch/nothing ]] || fail "$1: the including project installs Blockfit"
}

# expect_no_file NAME TEXT: a build fails with the text, and so does the next one; neither leaves the file.
expect_no_file() {
  expect_failure "$2" cmake --build "$Build"
  expect_failure "$2" cmake --build "$Build"
  [[ -z $(find "$Build" -name "$1*") ]] || fail "$Build: a failed build leaves $1"
}

echo "Arguments"
while IFS='|' read -r Arguments Text; do
  echo "include($PWD/cmake/blockfit_condition.cmake)
    blockfit_condition($Arguments)" >"$Scratch/call.cmake"
  expect_failure "blockfit_condition: $Text" cmake -P "$Scratch/call.cmake"
done <<'TABLE'
app|app is not a target
app BASE 0x1000|BASE and OUTPUT go with INPUT
INPUT a.hex BLOCK|no value for BLOCK
INPUT a.hex WITHIN|no value for WITHIN
INPUT a.hex SIZE 3|unknown argument SIZE;3
INPUT a.elf|INPUT a.elf is not a
INPUT a.bin|INPUT a.bin needs BASE
INPUT a.hex BASE 0|BASE is for .bin files
INPUT /a.srec OUTPUT /a|/a.srec is both INPUT and OUTPUT
TABLE

build release
quietly cmake --install build/release --prefix "$Scratch/installed"
cat >"$Scratch/bare.cmake" <<'TOOLCHAIN'
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_C_COMPILER cc)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
TOOLCHAIN

echo "find_package(Blockfit REQUIRED)" >"$Scratch/find_package.cmake"
echo "add_subdirectory(\"$PWD\" blockfit)" >"$Scratch/add_subdirectory.cmake"
echo "include(FetchContent)
FetchContent_Declare(Blockfit SOURCE_DIR \"$PWD\")
FetchContent_MakeAvailable(Blockfit)" >"$Scratch/for_another_machine.cmake"

for Generator in Ninja "Unix Makefiles"; do
  try add_subdirectory "$Generator"
  try for_another_machine "$Generator" -DCMAKE_TOOLCHAIN_FILE="$Scratch/bare.cmake"
  try find_package "$Generator" -DCMAKE_PREFIX_PATH="$Scratch/installed"

  # A file that is cut off is not let through, unless it is known to be.
  head -n 9 examples/sample.hex >"$Project/cut.hex"
  echo 'blockfit_condition(INPUT cut.hex)' >>"$Project/CMakeLists.txt"
  expect_no_file cut.srec "cut.hex:9: warning: no end record"
  sed -i 's/INPUT cut.hex/& ALLOW_WARNINGS/' "$Project/CMakeLists.txt"
  quietly cmake --build "$Build"
  "$Check" --against "$Project/cut.hex" "$Build/cut.srec" >/dev/null 2>&1 || fail "cut.srec is not right"

  echo 'blockfit_condition(INPUT cut.hex WITHIN 0-0x8080 0x9000-0x9001 OUTPUT far ALLOW_WARNINGS)' \
    >>"$Project/CMakeLists.txt"
  expect_no_file far.srec \
    "cut.hex:9: error: 0x00008081-0x0000808F lies outside 0x00000000-0x00008080, 0x00009000-0x00009001"
  sed -i '/far/d' "$Project/CMakeLists.txt"

  echo 'blockfit_condition(INPUT cut.hex BLOCK 1000h OUTPUT far)' >>"$Project/CMakeLists.txt"
  expect_no_file far.srec "--block takes an even number, 34 or more, decimal or with 0x, and not '1000h'"
  sed -i '/far/d' "$Project/CMakeLists.txt"

  cp examples/refused/digit.hex "$Project/bad.hex"
  echo 'blockfit_condition(INPUT bad.hex)' >>"$Project/CMakeLists.txt"
  expect_no_file bad.srec "bad.hex:2: error: "
  # An address of more than 32 bits, which objcopy refuses.
  echo 'const int Far __attribute__((section(".far"))) = 1;' >>"$Project/main.c"
  sed -i 's/-Tdata=0x20000/&,--section-start=.far=0x100000000/; /bad/d' "$Project/CMakeLists.txt"
  expect_no_file app.srec "app.objcopy.hex"
done
