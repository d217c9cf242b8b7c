#!/usr/bin/env bash
# Makes a package for pip of installed programs and their manual pages, with nothing to import:
# make_wheel.sh TREE FOLDER PLATFORM..., where TREE is a prefix that cmake --install has filled, FOLDER is for the
# package, and PLATFORM is one that the programs run on, as pip calls it.
set -euo pipefail

Here=$(dirname "${BASH_SOURCE[0]}")
# pip reads 1.00 as 1.0.
Version=$(sed -n 's/^project(Blockfit VERSION \([0-9]*\)\.0*\([0-9][0-9]*\) .*/\1.\2/p' "$Here/../CMakeLists.txt")
Root=$(mktemp -d)
trap 'rm -rf "$Root"' EXIT

umask 022
Info=$Root/blockfit-$Version.dist-info
Data=$Root/blockfit-$Version.data
mkdir -p "$Info" "$Data/data/share"
cp -r "$1/bin" "$Data/scripts"
cp -r "$1/share/man" "$Data/data/share"
sed "s/@VERSION@/$Version/" "$Here/METADATA.in" | cat - "$Here/../packaging/README.md" >"$Info/METADATA"
printf '%s\n' 'Wheel-Version: 1.0' 'Generator: blockfit' 'Root-Is-Purelib: false' >"$Info/WHEEL"
printf 'Tag: py3-none-%s\n' "${@:3}" >>"$Info/WHEEL"
/usr/bin/python3 -m wheel pack --dest-dir "$2" "$Root"
