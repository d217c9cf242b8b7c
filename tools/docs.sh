#!/usr/bin/env bash
# Builds the API reference (build/docs/api/index.html), and checks that the documentation matches what is there today:
# manual pages, completions, samples, and the links, names and examples on the pages.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need c++:g++ make cmake doxygen objcopy:binutils srec_cat:srecord mandoc python3 git meson scons pre-commit

build release
quietly cmake -S examples/consumer -B build/consumer
quietly cmake --build build/consumer

echo "API reference"
mkdir -p build/docs
quietly doxygen docs/Doxyfile

echo "Manual pages and completions"
# mandoc looks for the pages that ours refer to only in the system's folders.
Warnings=$(mandoc -T lint man/*.1 | grep -v 'referenced manual not found' || true)
[[ -z $Warnings ]] || fail "$Warnings"

# expect_words FILE...: each of the files must have each of the words from standard input.
expect_words() {
  local Word File
  while read -r Word; do
    for File in "$@"; do
      grep -qw "$Word" "$File" || fail "$File does not mention $Word"
    done
  done
}
grep -oP '^ +\{"-\K\w+(?=", Apply)' src/app/options.cpp | expect_words man/Blockfit.1
for Program in check convert; do
  grep -oP '^ +\{"\K[\w-]+(?=", (no|required)_arg)' "src/$Program/command.cpp" |
    expect_words "man/blockfit-$Program.1" completions/*"blockfit-$Program"*
done
grep -oP '^ +\{"\.\K\w+' src/datafile/data_file.cpp | expect_words man/*.1 completions/*

echo "Samples"
examples/make_samples.py --check

echo "Pages"
tools/docs_check.py build/release build/consumer
