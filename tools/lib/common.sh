# shellcheck shell=bash
# Sourced by every script: goes to the root of the tree, installs packages, builds presets, keeps commands quiet.

cd "$(dirname "${BASH_SOURCE[0]}")/../.." || exit

# CMake and ctest use all processors.
CMAKE_BUILD_PARALLEL_LEVEL=$(nproc)
CTEST_PARALLEL_LEVEL=$(nproc)
export CMAKE_BUILD_PARALLEL_LEVEL CTEST_PARALLEL_LEVEL

# fail TEXT: ends the script with a message.
fail() {
  echo "$1" >&2
  exit 1
}

# quietly COMMAND [ARGUMENT...]: shows the command's output only if it fails. Returns its exit status.
quietly() {
  local Output Status=0
  Output=$("$@" 2>&1) || Status=$?
  ((Status == 0)) || printf '%s\n' "$Output" >&2
  return "$Status"
}

# show COMMAND [ARGUMENT...]: shows on a terminal what the command prints, as it comes; otherwise as quietly does.
show() {
  if [[ -t 1 ]]; then "$@"; else quietly "$@"; fi
}

# need ITEM...: installs what is missing. An item is a command or a file (or a pattern for one), and its Debian package
# where that has another name: cmake, objcopy:binutils, /usr/include/gtest/gtest.h:libgtest-dev. With LIST_PACKAGES=1,
# the script prints the missing packages instead, one a line, and ends.
need() {
  local Item Missing=()
  for Item in "$@"; do
    if [[ $Item == /* ]]; then
      compgen -G "${Item%%:*}" >/dev/null || Missing+=("${Item##*:}")
    else
      command -v "${Item%%:*}" >/dev/null || Missing+=("${Item##*:}")
    fi
  done
  if [[ -n ${LIST_PACKAGES:-} ]]; then
    ((${#Missing[@]} == 0)) || printf '%s\n' "${Missing[@]}"
    exit
  fi
  ((${#Missing[@]} == 0)) || install "${Missing[@]}"
}

# install PACKAGE...: installs Debian packages, without asking.
install() {
  local AsRoot=()
  ((EUID == 0)) || AsRoot=(sudo)
  echo "Installing $*"
  # An update does not wait for another one, so they wait for each other at the folder that they write to.
  show "${AsRoot[@]}" flock /var/lib/apt/lists apt-get -q update
  show "${AsRoot[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -q -y -o DPkg::Lock::Timeout=600 install --no-install-recommends "$@" </dev/null
}

# build PRESET [OPTION...]: brings build/PRESET up to date, configured with the options. If several scripts need it at
# the same time, the first builds it and the others wait.
build() {
  echo "Building build/$1"
  mkdir -p build
  (
    flock 9
    quietly cmake --preset "$@"
    show cmake --build --preset "$1"
  ) 9>"build/$1.lock"
}
