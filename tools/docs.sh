#!/usr/bin/env bash
# Builds the API reference (build/docs/api/index.html) and checks all documentation: that every name and link in it
# exists, and that samples, examples, options and version match what the tool does today.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh
source tools/lib/build.sh

need c++ g++
need make make
need cmake cmake
need doxygen doxygen
need objcopy binutils
need srec_cat srecord
need man man-db
need mandoc mandoc
need python3 python3
install_needed

fail() {
  echo "$1" >&2
  exit 1
}

build release
quietly cmake -S examples/consumer -B build/consumer
quietly cmake --build build/consumer

echo "Version"
Version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/release/CMakeCache.txt)
[[ $(grep -m 1 -oP '^## \[\K[0-9][^]]*' CHANGELOG.md) == "$Version" ]] ||
  fail "CHANGELOG.md: the latest release is not $Version, the version in CMakeLists.txt"

echo "API reference"
mkdir -p build/docs
{ cat docs/Doxyfile && echo "PROJECT_NUMBER = $Version"; } | quietly doxygen -

echo "Manual page"
# Our pages refer to each other, but mandoc finds neither in the system's folders.
Warnings=$(mandoc -T lint man/*.1 | grep -v 'referenced manual not found' || true)
Warnings+=$(man --warnings=all --local-file man/*.1 2>&1 >/dev/null)
[[ -z $Warnings ]] || fail "$Warnings"

echo "Options and extensions"
# expect_in WORD FILE...: each of the files must contain the word, with no letter or digit next to it.
expect_in() {
  local File
  for File in "${@:2}"; do
    grep -qP -- "(?<![\w-])$1(?!\w)" "$File" || fail "$File: does not mention $1"
  done
}
Options=$(grep -oP '^ +\{"-\K\w+(?=", Apply)' src/app/options.cpp)
Extensions=$(grep -oP '^ +\{"\.\K\w+(?=", DATAFILE_Read)' src/datafile/data_file.cpp)
for Option in $Options; do
  expect_in "-?$Option" README.md man/Blockfit.1
done
for Extension in $Extensions; do
  expect_in "\.?$Extension" README.md docs/format.md man/*.1 completions/*
done
CheckOptions=$(grep -oP '^ +\{"\K[a-z]+(?=", (no|required)_argument)' src/check/command.cpp)
for Option in $CheckOptions; do
  expect_in "-?-$Option" man/blockfit-check.1 completions/*blockfit-check*
done

echo "Samples"
examples/make_samples.py --check

echo "Pages"
tools/docs_check.py build/release build/consumer
