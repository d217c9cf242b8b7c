# shellcheck shell=bash
# Sourced: installs the Debian packages that a script needs and the machine has not.
#
#     need cmake cmake
#     need /usr/include/gtest/gtest.h libgtest-dev
#     install_needed
#
# With LIST_PACKAGES=1 a script prints what it would install, and does nothing else.

MISSING_PACKAGES=()

# need PROBE PACKAGE...: notes the packages as missing unless PROBE, a command or the pattern of a file's path, is there.
need() {
  local Probe=$1
  shift
  if [[ $Probe == /* ]]; then
    compgen -G "$Probe" >/dev/null || MISSING_PACKAGES+=("$@")
  else
    command -v "$Probe" >/dev/null || MISSING_PACKAGES+=("$@")
  fi
}

# Installs what is noted, in one go. Nothing is asked, and nothing printed of apt-get's but when it fails.
install_needed() {
  if [[ -n ${LIST_PACKAGES:-} ]]; then
    echo "${MISSING_PACKAGES[@]}"
    exit 0
  fi
  ((${#MISSING_PACKAGES[@]} != 0)) || return 0
  local Packages="${MISSING_PACKAGES[*]}" AsRoot=()
  if ! command -v apt-get >/dev/null; then
    echo "Not installed: $Packages (Debian's names), and there is no apt-get to install them with." >&2
    return 1
  fi
  if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
      echo "Not installed: $Packages. Installing them takes root or sudo: apt-get install $Packages" >&2
      return 1
    fi
    AsRoot=(sudo)
  fi
  echo "Installing $Packages"
  local Lock
  exec {Lock}>"${TMPDIR:-/tmp}/blockfit-packages.lock"
  flock "$Lock"  # apt-get update does not wait for another
  quietly "${AsRoot[@]}" apt-get -q update
  quietly "${AsRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 \
    -qy install --no-install-recommends "${MISSING_PACKAGES[@]}" </dev/null
  exec {Lock}>&-
  MISSING_PACKAGES=()
}

# The same for a script that will need more, but needs these first to find out what.
install_first() {
  ((${#MISSING_PACKAGES[@]} == 0)) || install_needed
}
