#!/usr/bin/env bash
# Runs each fuzz target for SECONDS, from its own corpus: tools/fuzz.sh SECONDS. An input that fails is kept in
# build/fuzz/findings.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/common.sh
need clang++:clang "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-*.a:libclang-rt-dev" make cmake
Seconds=${1:?is missing: tools/fuzz.sh SECONDS}

build fuzz
Findings=build/fuzz/findings
mkdir -p "$Findings"
Scratch=$(mktemp -d)
trap 'rm -rf "$Scratch"' EXIT

for Target in fuzz/fuzz_*.cpp; do
  Name=$(basename "$Target" .cpp)
  Options=(-verbosity=0 -timeout=10 -max_total_time="$Seconds" -artifact_prefix="$Findings/$Name-")
  [[ ! -f fuzz/$Name.dict ]] || Options+=(-dict="fuzz/$Name.dict")
  # New inputs go to the first folder.
  mkdir "$Scratch/$Name"
  quietly "build/fuzz/$Name" "${Options[@]}" "$Scratch/$Name" "fuzz/corpus/$Name" ||
    fail "$Name: A FINDING (above); its input is in $Findings/"
  echo "$Name: no finding in $Seconds seconds, $(find "$Scratch/$Name" -type f | wc -l) new inputs that reach more"
done
