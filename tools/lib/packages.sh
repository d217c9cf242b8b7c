# shellcheck shell=bash
# Sourced: installs the Debian packages that a script needs and that are not installed yet.
#
#     need cmake cmake
#     need /usr/include/gtest/gtest.h libgtest-dev
#     install_needed
#
# With LIST_PACKAGES=1, a script only prints what it would install.

MISSING_PACKAGES=()

# need PROBE PACKAGE...: marks the packages as missing unless PROBE, a command or a file path pattern, exists.
need() {
  local Probe=$1
  shift
  if [[ $Probe == /* ]]; then
    compgen -G "$Probe" >/dev/null || MISSING_PACKAGES+=("$@")
  else
    command -v "$Probe" >/dev/null || MISSING_PACKAGES+=("$@")
  fi
}

# Installs the missing packages together, without asking. Shows apt-get's output only if it fails.
install_needed() {
  if [[ -n ${LIST_PACKAGES:-} ]]; then
    echo "${MISSING_PACKAGES[@]}"
    exit 0
  fi
  ((${#MISSING_PACKAGES[@]} != 0)) || return 0
  local Packages="${MISSING_PACKAGES[*]}" AsRoot=()
  if ! command -v apt-get >/dev/null; then
    echo "Not installed: $Packages (Debian package names), and there is no apt-get to install them." >&2
    return 1
  fi
  if ((EUID != 0)); then
    if ! command -v sudo >/dev/null; then
      echo "Not installed: $Packages. Installing them needs root or sudo: apt-get install $Packages" >&2
      return 1
    fi
    AsRoot=(sudo)
  fi
  echo "Installing $Packages"
  local Lock
  exec {Lock}>"${TMPDIR:-/tmp}/blockfit-packages.lock"
  flock "$Lock"  # apt-get update does not wait for another one to finish
  quietly "${AsRoot[@]}" apt-get -q update
  quietly "${AsRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 \
    -qy install --no-install-recommends "${MISSING_PACKAGES[@]}" </dev/null
  exec {Lock}>&-
  MISSING_PACKAGES=()
}

# The same, for a script that needs these packages to find out what else it needs.
install_first() {
  ((${#MISSING_PACKAGES[@]} == 0)) || install_needed
}
