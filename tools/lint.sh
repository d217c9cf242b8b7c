#!/usr/bin/env bash
# Checks layout (clang-format) and code (clang-tidy, cppcheck, shellcheck); any finding is an error.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh

need clang++ clang
need "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-*.a" libclang-rt-dev
need clang-format clang-format
need run-clang-tidy clang-tidy
need cppcheck cppcheck
need shellcheck shellcheck
need make make
need cmake cmake
need /usr/include/gtest/gtest.h libgtest-dev
need /usr/include/benchmark/benchmark.h libbenchmark-dev
install_needed

Sources=$(find src tests fuzz bench examples -name '*.cpp' -o -name '*.[ch]')
Scripts=$(find tools tests bench -name '*.sh')
mapfile -t Sources <<<"$Sources"
mapfile -t Scripts <<<"$Scripts"

echo "clang-format: ${#Sources[@]} files"
clang-format --dry-run --Werror "${Sources[@]}"

# What clang-tidy lets tests and benchmarks do beyond what .clang-tidy says.
RELAXED=(
  'clang-analyzer-*'                         # takes minutes for what GoogleTest's macros expand to
  bugprone-reserved-identifier               # __wrap_ and __real_ are the linker's names
  cert-err58-cpp                             # a constant that throws ends the run, as it should
  cert-msc32-c cert-msc51-cpp                # a seed is fixed so that a failure comes again
  modernize-avoid-c-arrays                   # a table of cases counts its rows itself
  modernize-use-using                        # the consumer's header is C
  'performance-*'                            # plain before fast
  readability-function-cognitive-complexity  # a test tells its story in one place
)

# tidy [OPTION...] PATTERN: checks the files that the pattern fits, and shows nothing but findings.
tidy() {
  run-clang-tidy -quiet -j "$(nproc)" -p build/lint "$@" 2>&1 |
    sed -E 's/\x1b\[[0-9;]*m//g; /^(clang-tidy|[0-9]+ warnings? generated)/d'
}

# Configured with everything on, so that every source file stands in the compile commands.
quietly cmake --preset lint
echo "clang-tidy: $(grep -c '"file":' build/lint/compile_commands.json) files"
tidy "$PWD/(src|fuzz|examples)/"
tidy -checks="$(printf -- '-%s,' "${RELAXED[@]}")" "$PWD/(tests|bench)/"

echo "cppcheck"
cppcheck --quiet --error-exitcode=1 --enable=warning,style,performance,portability --inline-suppr -j "$(nproc)" \
  --std=c++20 --std=c11 --library=posix --library=googletest --suppressions-list=tools/cppcheck-suppressions.txt \
  -I src -I tests src tests fuzz bench examples

echo "shellcheck: $((${#Scripts[@]} + 1)) files"
shellcheck --external-sources .ci/run "${Scripts[@]}"
