#!/usr/bin/env bash
# Runs all fuzz targets at once, each for SECONDS and from its own corpus: tools/fuzz.sh SECONDS. An input that fails is
# kept in build/fuzz/findings.
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

# fuzz TARGET: new inputs go to a folder that is empty at first.
fuzz() {
  local Options=(-verbosity=0 -timeout=10 -max_total_time="$Seconds" -artifact_prefix="$Findings/$1-")
  [[ ! -f fuzz/$1.dict ]] || Options+=(-dict="fuzz/$1.dict")
  mkdir "$Scratch/$1"
  quietly "build/fuzz/$1" "${Options[@]}" "$Scratch/$1" "fuzz/corpus/$1" ||
    fail "$1: A FINDING (above); its input is in $Findings/"
  echo "$1: no finding in $Seconds seconds, $(find "$Scratch/$1" -type f | wc -l) new inputs that reach more"
}

for Target in fuzz/fuzz_*.cpp; do
  fuzz "$(basename "$Target" .cpp)" &
done
Status=0
for Job in $(jobs -p); do
  wait "$Job" || Status=1
done
exit "$Status"
