#!/usr/bin/env bash
# Runs every fuzz target for SECONDS from its seed corpus and reports the result: tools/fuzz.sh SECONDS
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh
source tools/lib/build.sh

if ! [[ ${1:-} =~ ^[1-9][0-9]*$ ]]; then
  echo "Usage: tools/fuzz.sh SECONDS" >&2
  exit 2
fi
export SECONDS_EACH=$1 FINDINGS=build/fuzz/findings
SCRATCH=$(mktemp -d)
export SCRATCH
trap 'rm -rf "$SCRATCH"' EXIT

need clang++ clang
need "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-*.a" libclang-rt-dev
need make make
need cmake cmake
install_needed

# fuzz TARGET: new inputs are added to a copy of the corpus, and an input that fails is saved in $FINDINGS.
fuzz() {
  local Target=$1 Dict=fuzz/$1.dict Log=$SCRATCH/$1.log Options=() Status=0
  [[ ! -f $Dict ]] || Options+=("-dict=$Dict")
  cp -R "fuzz/corpus/$Target" "$SCRATCH/$Target" || return 1
  "build/fuzz/$Target" "${Options[@]}" -max_total_time="$SECONDS_EACH" -timeout=10 -print_final_stats=1 \
    -artifact_prefix="$FINDINGS/$Target-" "$SCRATCH/$Target" >"$Log" 2>&1 || Status=$?
  local Executions
  Executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$Log")
  if ((Status == 0)) && [[ -n $Executions ]]; then
    echo "$Target: $Executions executions, no finding"
    return 0
  fi
  # The end of the log says what was found, after thousands of lines of progress.
  grep -vE '^#[0-9]+' "$Log" | tail -n 100
  echo "$Target: ${Executions:-no} executions, A FINDING (above); its input is in $FINDINGS/"
  return 1
}
export -f fuzz

build fuzz
mkdir -p "$FINDINGS"

mapfile -t Targets < <(find build/fuzz -maxdepth 1 -type f -name 'fuzz_*' -executable -printf '%f\n' | sort)
if ((${#Targets[@]} == 0)); then
  echo "There are no fuzz targets in build/fuzz." >&2
  exit 1
fi
printf '%s\n' "${Targets[@]}" | xargs -P 0 -I{} bash -c 'fuzz {}'
