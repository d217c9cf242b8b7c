#!/usr/bin/env bash
# Tests blockfit_condition on copies of examples/cmake, with Ninja and with Make, for each way of including Blockfit:
# the files are correct, they are remade when (and only when) something has changed, a failure leaves no file and is
# tried again, and the including project is not changed.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh

need c++ g++
need make make
need cmake cmake
need ninja ninja-build
need objcopy binutils
install_needed

Root=$PWD
Scratch=$(mktemp -d)
trap 'rm -rf "$Scratch"' EXIT

fail() {
  echo "$1" >&2
  exit 1
}

# expect_failure TEXT COMMAND...: the command must fail and print TEXT.
expect_failure() {
  local Said
  ! Said=$("${@:2}" 2>&1) || fail "succeeded: ${*:2}"
  Said=$(tr -s ' \n' ' ' <<<"$Said")
  [[ $Said == *"$1"* ]] || fail "does not say '$1': $Said"
}

# copy_example WAY: copies the example to the folder $Project. The copy includes Blockfit that way, and reports which of
# its variables and folder properties this has changed.
copy_example() {
  Project="$Scratch/$1/firmware folder"
  mkdir -p "$Scratch/$1"
  cp -r examples/cmake "$Project"
  cp examples/sample.bin "$Scratch/$1"
  cp examples/sample.hex "$Project"
  {
    # shellcheck disable=SC2016 # CMake's variables
    echo 'get_cmake_property(Names VARIABLES)
foreach(Name IN LISTS Names ITEMS CMAKE_BUILD_TYPE CMAKE_CXX_STANDARD CMAKE_RUNTIME_OUTPUT_DIRECTORY CPACK_PACKAGE_NAME)
  set(Was_${Name} "${${Name}}")
endforeach()
get_directory_property(WasOptions COMPILE_OPTIONS)'
    case $1 in
      find_package) echo 'find_package(Blockfit 1.0 REQUIRED)' ;;
      FetchContent)
        echo 'include(FetchContent)'
        echo "FetchContent_Declare(Blockfit SOURCE_DIR \"$Root\")"
        echo 'FetchContent_MakeAvailable(Blockfit)'
        ;;
      *) echo "add_subdirectory(\"$Root\" blockfit)" ;;
    esac
    # shellcheck disable=SC2016
    echo 'get_cmake_property(Names VARIABLES)
get_directory_property(Options COMPILE_OPTIONS)
foreach(Name IN LISTS Names)
  # CMake itself sets some of these for a language or a version.
  if(Name MATCHES "^CMAKE_(MATCH|CXX_(COMPILER|FLAGS)|PROJECT_VERSION)_?")
    continue()
  endif()
  if(Name MATCHES "^(CMAKE|CPACK|BUILD|CTEST)_" AND NOT "${${Name}}" STREQUAL "${Was_${Name}}")
    message(SEND_ERROR "including Blockfit has set ${Name} to ${${Name}}")
  endif()
endforeach()
if(NOT Options STREQUAL WasOptions)
  message(SEND_ERROR "including Blockfit has set the options ${Options}")
endif()'
  } >"$Scratch/$1/include.txt"
  sed -i -e "/^find_package/{r $Scratch/$1/include.txt" -e "d}" "$Project/CMakeLists.txt"
  {
    echo 'blockfit_condition(INPUT sample.hex)'
    echo 'blockfit_condition(INPUT ../sample.bin BASE 0x8000 BLOCK 100 LINE 0x4 OUTPUT all.srec)'
  } >>"$Project/CMakeLists.txt"
}

# The example's files must match the current sources, in the requested form.
expect_right() {
  objcopy -O ihex "$Build/app" "$Scratch/app.hex"
  quietly "$Check" --against "$Scratch/app.hex" "$Build/app.srec"
  quietly "$Check" --conditioned --block 4096 --line 8 "$Build/app.srec"
  cd "$Scratch"
  quietly "$Program" -a 8000000 -o boot "$Project/../sample.bin"
  cmp boot.srec "$Build/boot.srec"
  quietly "$Program" -a 8000 -o all "$Project/../sample.bin"
  quietly "$Program" -balign 64 -lalign 4 all.srec
  cmp all.srec "$Build/all.srec"
  cd "$Root"
}

try_builds() {
  quietly cmake --build "$Build" --parallel "$(nproc)"
  expect_right
  local Times
  Times=$(stat -c '%y %n' "$Build"/*.srec)
  quietly cmake --build "$Build"
  [[ $(stat -c '%y %n' "$Build"/*.srec) == "$Times" ]] || fail "$Build: remade without a change"

  sed -i 's/34}/35}/' "$Project/main.c"
  echo "more" >>"$Project/../sample.bin"
  quietly cmake --build "$Build"
  expect_right
}

# expect_no_file NAME TEXT: the build must fail twice with the text, and leave no trace of the file.
expect_no_file() {
  expect_failure "$2" cmake --build "$Build"
  expect_failure "$2" cmake --build "$Build"
  [[ -z $(find "$Build" -name "$1*") ]] || fail "$Build: a failed build leaves $1"
}

try_failures() {
  sed -i '2s/.$/G/' "$Project/sample.hex"
  expect_no_file sample.srec "sample.hex:2: error: "
  expect_failure "Failed with error code -1" cmake --build "$Build"
  cp examples/sample.hex "$Project"
  # An address of more than 32 bits, which objcopy refuses.
  echo 'const int Far __attribute__((section(".far"))) = 1;' >>"$Project/main.c"
  sed -i 's/-Tdata=0x20000/&,--section-start=.far=0x100000000/' "$Project/CMakeLists.txt"
  expect_no_file app.srec "app.srec was not made"
  sed -i '/Far/d' "$Project/main.c"
  quietly cmake --build "$Build"
  expect_right
}

# try_way WAY GENERATOR [OPTION...]
try_way() {
  echo "$1, $2"
  copy_example "$1"
  Build="$Project/build folder"
  quietly cmake -S "$Project" -B "$Build" -G "$2" "${@:3}"
  try_builds
  [[ $1 != find_package ]] || try_failures
  quietly cmake --install "$Build" --prefix "$Scratch/nothing"
  [[ ! -e $Scratch/nothing && ! -e $Build/CPackConfig.cmake && ! -e $Build/Blockfit ]] ||
    fail "$1: installs, packages or adds to the including project's output"
  rm -rf "${Scratch:?}/$1"
}

echo "Arguments"
while IFS='|' read -r Arguments Text; do
  echo "include($Root/cmake/blockfit_condition.cmake)
    blockfit_condition($Arguments)" >"$Scratch/call.cmake"
  expect_failure "blockfit_condition: $Text" cmake -P "$Scratch/call.cmake"
done <<'TABLE'
|no arguments
app|app is not a target
INPUT|no value for INPUT
INPUT a.hex BLOCK|no value for BLOCK
INPUT a.hex SIZE 3|unknown argument SIZE;3
app INPUT a.hex|unknown argument app
app BASE 0x1000|BASE and OUTPUT go with INPUT
INPUT a.elf|INPUT a.elf is not a
INPUT a.bin|INPUT a.bin needs BASE
INPUT a.hex BASE 0|BASE is for .bin files
INPUT "a;b.hex"|CMake does not allow a semicolon
INPUT a.hex BLOCK 1000h|BLOCK 1000h is not a number
INPUT a.hex BLOCK -2|BLOCK -2 is not a number
INPUT a.hex BLOCK 0xFFFFFFFFFFFFFFFF|BLOCK 0xFFFFFFFFFFFFFFFF is not in 34 to 0xFFFFFFFF
INPUT a.hex BLOCK 32|BLOCK 32 is not in
INPUT a.hex BLOCK 4097|BLOCK 4097 is not even
INPUT a.hex LINE 0x7|LINE 0x7 is not even
INPUT a.bin BASE 0x100000000|BASE 0x100000000 is not in
INPUT /a.srec OUTPUT /a|/a.srec is both INPUT and OUTPUT
TABLE

quietly cmake --preset release
quietly cmake --build --preset release --parallel "$(nproc)"
quietly cmake --install build/release --prefix "$Scratch/installed"
Program=$Scratch/installed/bin/Blockfit
Check=$Scratch/installed/bin/blockfit-check

cat >"$Scratch/bare.cmake" <<'TOOLCHAIN'
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_C_COMPILER cc)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
TOOLCHAIN

for Generator in Ninja "Unix Makefiles"; do
  try_way find_package "$Generator" -DCMAKE_PREFIX_PATH="$Scratch/installed"
  try_way add_subdirectory "$Generator"
  try_way FetchContent "$Generator"
  try_way for_another_machine "$Generator" -DCMAKE_TOOLCHAIN_FILE="$Scratch/bare.cmake"
done
