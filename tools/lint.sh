#!/usr/bin/env bash
# Checks layout (clang-format) and code (clang-tidy, cppcheck; shellcheck, zsh, flake8); any finding is an error.
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
need zsh zsh
need flake8 flake8
need make make
need cmake cmake
need /usr/include/gtest/gtest.h libgtest-dev
install_needed

# files PATTERN...: the project's files whose names match one of the patterns.
files() {
  local Names=() Pattern
  for Pattern in "$@"; do
    Names+=(-o -name "$Pattern")
  done
  find . \( -path './build*' -o -path ./.git -o -name node_modules \) -prune -o -type f \( "${Names[@]:1}" \) -print | sort
}

mapfile -t Sources < <(files '*.cpp' '*.[ch]')
mapfile -t BashScripts < <(files '*.sh' '*.bash')
mapfile -t ZshScripts < <(files '*.zsh' '_[A-Za-z]*')
mapfile -t PythonScripts < <(files '*.py')
BashScripts+=(.ci/run)

echo "clang-format: ${#Sources[@]} files"
clang-format --dry-run --Werror "${Sources[@]}"

# Checks that are off for tests, in addition to those in .clang-tidy.
RELAXED=(
  'clang-analyzer-*'                         # takes minutes on the expansions of GoogleTest's macros
  bugprone-reserved-identifier               # __wrap_ and __real_ are the linker's names
  cert-err58-cpp                             # a constant that throws ends the run, as it should
  cert-msc32-c cert-msc51-cpp                # seeds are fixed so that failures are reproducible
  modernize-avoid-c-arrays                   # the compiler counts the rows of a table of cases
  modernize-use-using                        # the consumer's header is C
  'performance-*'                            # simplicity matters more than speed
  readability-function-cognitive-complexity  # a test reads best in one piece
)

# tidy [OPTION...] PATTERN: checks the files that match the pattern, and shows only findings.
tidy() {
  run-clang-tidy -quiet -j "$(nproc)" -p build/lint "$@" 2>&1 |
    sed -E 's/\x1b\[[0-9;]*m//g; /^(clang-tidy|[0-9]+ warnings? generated)/d'
}

# Configured with everything on, so that the compile commands include every source file.
quietly cmake --preset lint
echo "clang-tidy: $(grep -c '"file":' build/lint/compile_commands.json) files"
tidy "$PWD/(src|fuzz|examples)/"
tidy -checks="$(printf -- '-%s,' "${RELAXED[@]}")" "$PWD/tests/"

echo "cppcheck"
cppcheck --quiet --error-exitcode=1 --enable=warning,style,performance,portability --inline-suppr -j "$(nproc)" \
  --std=c++20 --std=c11 --library=posix --library=googletest --suppressions-list=tools/cppcheck-suppressions.txt \
  -I src -I tests src tests fuzz examples

echo "shellcheck: ${#BashScripts[@]} files"
shellcheck --external-sources "${BashScripts[@]}"

echo "zsh: ${#ZshScripts[@]} files"
for Script in "${ZshScripts[@]}"; do
  zsh -n "$Script"
done

echo "flake8: ${#PythonScripts[@]} files"
flake8 "${PythonScripts[@]}"
