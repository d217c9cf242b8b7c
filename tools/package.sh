#!/usr/bin/env bash
# Builds the Debian package, checks it with lintian, and tries what is in it: the programs, the reference consumer, the
# page, the completions. Then does the same for cmake --install.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need c++:g++ make cmake dpkg-shlibdeps:dpkg-dev file lintian zsh em++:emscripten node:nodejs npm python3

Scratch=$(mktemp -d)
trap 'rm -rf "$Scratch"' EXIT

# expect WHAT EXPECTED FOUND
expect() {
  [[ $2 == "$3" ]] || fail "$1: expected"$'\n'"$2"$'\n'"but found"$'\n'"$3"
}

# What Tab offers after LINE: offers_in_SHELL FOLDER LINE, with the folder of the shell's completions.
offers_in_bash() {
  bash packaging/try_completion.bash "$1/${2%% *}" "$Scratch/files" "$2"
}
offers_in_zsh() {
  # The first and the last line are the command line; names are followed by a slash or a description.
  timeout 60 zsh -f packaging/try_completion.zsh "$1" "$Scratch/files" "$2" </dev/null |
    sed -E '1d; $d; s/\x1b\[[0-9;?]*[A-Za-z]//g; s/ +-- .*//; s/[/\r]//g'
}

# try PREFIX ZSH_FOLDER: tries an installation on its own samples.
try() {
  local Doc=$1/share/doc/blockfit
  quietly "$1/bin/Blockfit" -a 8000 -o "$Scratch/out" "$Doc/examples/sample.bin"
  quietly "$1/bin/blockfit-check" --conditioned --against "$Doc/examples/sample.hex" "$Scratch/out.srec"
  quietly "$1/bin/blockfit-convert" -o "$Scratch/out.srec" "$Doc/examples/sample.hex"
  quietly cmake -S "$Doc/examples/consumer" -B "$Scratch/consumer"
  quietly cmake --build "$Scratch/consumer"
  expect "consumer" "00008000 000102" "$("$Scratch/consumer/consumer" "$Scratch/out.srec" | head -c 15)"
  rm -rf "$Scratch/consumer"
  expect "page" "$(cksum <build/web/blockfit.html)" "$(cksum <"$Doc/blockfit.html")"

  local Shell Line Offers
  local -A Folders=([bash]=$1/share/bash-completion/completions [zsh]=$2)
  while IFS='|' read -r Shell Line Offers; do
    expect "$Shell, $Line" "$Offers" "$("offers_in_$Shell" "${Folders[$Shell]}" "$Line" | xargs)"
  done <<'TABLE'
bash|Blockfit -b|-BaseAddr -BlockAlign
bash|Blockfit -a 8000 |app.S19 app.hex folder
bash|Blockfit -o |folder
bash|Blockfit -a 8000 -o app -|
bash|blockfit-check --bl|--block --blocks
bash|blockfit-check --base |
bash|blockfit-check --against |app.S19 app.hex folder
bash|blockfit-convert --b|--base --block
bash|blockfit-convert -o |app.S19 app.hex folder
zsh|Blockfit -b|-BaseAddr -BlockAlign
zsh|Blockfit -a 8000 |app.S19 app.hex folder
zsh|blockfit-check --bl|--block --blocks
zsh|blockfit-convert --b|--base --block
zsh|blockfit-convert |app.S19 app.hex folder
TABLE
}

tools/web.sh build

build release

# The strictest umask: what is packed or installed is nevertheless for everyone.
umask 077
mkdir -p "$Scratch/files/folder"
touch "$Scratch/files/app.hex" "$Scratch/files/app.S19" "$Scratch/files/notes.txt"

echo "The package"
rm -rf build/package
quietly cpack -G DEB --config build/release/CPackConfig.cmake -B "$PWD/build/package"
Package=$(echo build/package/*.deb)
AsRoot=()
((EUID != 0)) || AsRoot=(--allow-root)
lintian "${AsRoot[@]}" --fail-on error,warning --display-info "$Package"
dpkg-deb --extract "$Package" "$Scratch/root"
try "$Scratch/root/usr" "$Scratch/root/usr/share/zsh/vendor-completions"

echo "cmake --install"
quietly cmake --install build/release --prefix "$Scratch/new/local"
try "$Scratch/new/local" "$Scratch/new/local/share/zsh/site-functions"
expect "what not everyone can read, or others can write" "" "$(find "$Scratch/new" ! -perm -044 -o -perm /022)"
echo "$Package"
