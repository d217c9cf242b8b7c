#!/usr/bin/env bash
# Checks layout (clang-format) and code (clang-tidy; shellcheck, zsh, flake8); any finding is an error.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need clang++:clang clang-format run-clang-tidy:clang-tidy shellcheck zsh flake8 make cmake \
  /usr/include/gtest/gtest.h:libgtest-dev "/usr/lib/llvm-*/lib/clang/*/lib/linux:libclang-rt-dev"

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

# Lists the project's files with one of the given name patterns: not those of builds and of installed packages.
files() {
  find . \( -path './build*' -o -name node_modules \) -prune -o -type f -regextype posix-extended -regex "$1" -print0
}

echo "clang-format"
files '.*\.(cpp|h|c)' | xargs -0 clang-format --dry-run --Werror

# Configured with everything on, so that the compile commands include every source file.
echo "clang-tidy"
quietly cmake --preset lint
quietly run-clang-tidy -quiet -p build/lint "$PWD/(src|fuzz|examples)/"
quietly run-clang-tidy -quiet -p build/lint -checks="$(printf -- '-%s,' "${RELAXED[@]}")" "$PWD/tests/"

echo "shellcheck, zsh, flake8"
files '.*\.(sh|bash)|\./\.ci/run' | xargs -0 shellcheck --external-sources
! files '.*\.(sh|bash)|\./\.ci/run' | xargs -0 grep -n '.\{121\}' || fail "More than 120 columns."
files '.*\.zsh|.*/_[A-Za-z-]+' | xargs -0 -n 1 zsh -n
files '.*\.py' | xargs -0 flake8
