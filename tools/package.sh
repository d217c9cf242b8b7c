#!/usr/bin/env bash
# Builds the Debian package, checks it with lintian, installs it into a separate root and tries everything in it: the
# programs, the manual pages, the completions, the reference consumer. Then does the same for cmake --install.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/quietly.sh
source tools/lib/packages.sh

need c++ g++
need make make
need cmake cmake
need dpkg-buildflags dpkg-dev
need file file
need lintian lintian
need man man-db
need zsh zsh
install_needed

Build=build/package
Scratch=$(mktemp -d)
trap 'rm -rf "$Scratch"' EXIT

fail() {
  echo "$1" >&2
  exit 1
}

# expect WHAT EXPECTED FOUND
expect() {
  [[ $2 == "$3" ]] || fail "$1: expected"$'\n'"$2"$'\n'"but found"$'\n'"$3"
  echo "$1: as expected"
}

# try PREFIX ZSH_FOLDER: tries an installation on its own samples.
try() {
  local Doc=$1/share/doc/blockfit Work=$Scratch/work
  rm -rf "$Work"
  mkdir -p "$Work/folder"
  touch "$Work/app.hex" "$Work/app.S19" "$Work/notes.txt"

  (cd "$Work" && "$1/bin/Blockfit" -a 8000 -o out "$Doc/examples/sample.bin" >printed)
  expect "program" "Conditioning done." "$(tail -n 1 "$Work/printed")"

  quietly cmake -S "$Doc/examples/consumer" -B "$Work/consumer" -DCMAKE_BUILD_TYPE=Release
  quietly cmake --build "$Work/consumer"
  expect "consumer" "00008000 000102" "$("$Work/consumer/consumer" "$Work/out.srec" | head -c 15)"
  expect "blockfit-check" "$Work/out.srec: same bytes at the same addresses as $Doc/examples/sample.hex" \
    "$("$1/bin/blockfit-check" --against "$Doc/examples/sample.hex" "$Work/out.srec")"
  rm -rf "$Work/consumer" "$Work/out.srec"

  local Program
  for Program in Blockfit blockfit-check; do
    man -M "$1/share/man" "$Program" >"$Work/page"
    expect "manual page of $Program" "EXIT STATUS" "$(grep -x 'EXIT STATUS' "$Work/page")"
  done

  local Tries=$PWD/packaging Bash=$1/share/bash-completion/completions/Blockfit
  cd "$Work"
  expect "bash, options" "-BaseAddr -BlockAlign" "$(bash "$Tries/try_completion.bash" "$Bash" -b | xargs)"
  expect "bash, files" "app.S19 app.hex folder" \
    "$(bash "$Tries/try_completion.bash" "$Bash" -a 8000 '' | LC_ALL=C sort | xargs)"
  local Check=$1/share/bash-completion/completions/blockfit-check
  expect "bash, options of blockfit-check" "--block --blocks" "$(bash "$Tries/try_completion.bash" "$Check" --bl | xargs)"
  expect "bash, files of blockfit-check" "app.S19 app.hex folder" \
    "$(bash "$Tries/try_completion.bash" "$Check" --against '' | LC_ALL=C sort | xargs)"
  local Shown
  Shown=$(timeout 60 zsh -f "$Tries/try_completion.zsh" "$2" 'Blockfit -')
  expect "zsh, options" "-BaseAddr -BlockAlign -LineAlign -Out" "$(grep -oE -- '-[A-Z][A-Za-z]+' <<<"$Shown" | xargs)"
  Shown=$(timeout 60 zsh -f "$Tries/try_completion.zsh" "$2" 'Blockfit -a 8000 ')
  expect "zsh, files" "app.S19 app.hex folder" \
    "$(grep -oE '(app|folder|notes)(\.[A-Za-z0-9]+)?' <<<"$Shown" | LC_ALL=C sort | xargs)"
  Shown=$(timeout 60 zsh -f "$Tries/try_completion.zsh" "$2" 'blockfit-check --bl')
  expect "zsh, options of blockfit-check" "--block --blocks" "$(grep -oE -- '--[a-z]{3,}' <<<"$Shown" | sort -u | xargs)"
  cd - >/dev/null
}

tools/web.sh build

# The flags that Debian builds its packages with.
export DEB_BUILD_MAINT_OPTIONS="hardening=+all reproducible=-timeless"
CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
LDFLAGS=$(dpkg-buildflags --get LDFLAGS)
export CXXFLAGS LDFLAGS
quietly cmake -S . -B "$Build" -DCMAKE_BUILD_TYPE=Release
quietly cmake --build "$Build" --parallel "$(nproc)"
unset CXXFLAGS LDFLAGS
rm -f "$Build"/*.deb
(cd "$Build" && quietly cpack -G DEB)
Package=$(echo "$PWD/$Build"/*.deb)
dpkg-deb --info "$Package"

echo "lintian"
AsRoot=()
((EUID != 0)) || AsRoot=(--allow-root)
lintian "${AsRoot[@]}" --fail-on error,warning --display-info "$Package"

echo "The package in a separate root"
mkdir -p "$Scratch/root/var/lib/dpkg"
touch "$Scratch/root/var/lib/dpkg/status"
# Whether its dependencies are available is checked in the machine's own root, because the new one is empty.
apt-get --simulate install "$Package" >/dev/null
quietly dpkg --root="$Scratch/root" --log=/dev/null --force-not-root,depends,bad-path --install "$Package"
try "$Scratch/root/usr" "$Scratch/root/usr/share/zsh/vendor-completions"
quietly dpkg --root="$Scratch/root" --log=/dev/null --force-not-root,depends,bad-path --purge blockfit
expect "after its removal" "" "$(find "$Scratch/root" -path "*/usr/*" -type f)"

echo "cmake --install"
quietly cmake --install "$Build" --prefix "$Scratch/local"
try "$Scratch/local" "$Scratch/local/share/zsh/site-functions"

# Filters lines of a mode and a path: keeps files that others cannot read, or can write.
not_public() {
  grep -vE '^(drwxr-xr-x|-rwxr-xr-x|-rw-r--r--) ' || true
}
for Umask in 002 027 077; do
  (umask "$Umask" && cd "$Build" && quietly cpack -G DEB -B "$Scratch/$Umask")
  (umask "$Umask" && quietly cmake --install "$Build" --prefix "$Scratch/$Umask/new/local")
  expect "permissions, package, umask $Umask" "" \
    "$(dpkg-deb --contents "$Scratch/$Umask"/*.deb | awk '{ print $1, $6 }' | not_public)"
  expect "permissions, cmake --install, umask $Umask" "" \
    "$(find "$Scratch/$Umask/new" -printf '%M %p\n' | not_public)"
done
echo "$Package"
