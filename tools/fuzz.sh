#!/usr/bin/env bash
# Runs the fuzz target for SECONDS, from its corpus: tools/fuzz.sh SECONDS. An input that fails is kept in
# build/fuzz/findings.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need clang++:clang "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-*.a:libclang-rt-dev" make cmake
Seconds=${1:?is missing: tools/fuzz.sh SECONDS}

build fuzz
Findings=build/fuzz/findings
mkdir -p "$Findings"
Scratch=$(mktemp -d)
trap 'rm -rf "$Scratch"' EXIT

# New inputs go to the first folder.
quietly build/fuzz/fuzz_run -verbosity=0 -timeout=10 -max_total_time="$Seconds" -dict=fuzz/fuzz_run.dict \
  -artifact_prefix="$Findings/" "$Scratch" fuzz/corpus || fail "A FINDING (above); its input is in $Findings/"
echo "No finding in $Seconds seconds, $(find "$Scratch" -type f | wc -l) new inputs that reach more"
