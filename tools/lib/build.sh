# shellcheck shell=bash
# Sourced, after quietly.sh: builds a preset.

# build PRESET [OPTION...]: brings build/PRESET up to date, configured with the options. If several scripts need it at
# the same time, the first builds it and the others wait.
build() {
  local Lock
  echo "Building build/$1"
  mkdir -p build
  exec {Lock}>"build/$1.lock"
  flock "$Lock"
  quietly cmake --preset "$@"
  quietly cmake --build --preset "$1" --parallel "$(nproc)"
  exec {Lock}>&-
}
