#!/usr/bin/env bash
# Tries the programs for Windows in Wine, beside the native ones: tools/windows.sh [FOLDER], where FOLDER has the
# programs. Without it, builds them.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/lib/common.sh"
need c++:g++ make cmake python3 objcopy:binutils srec_cat:srecord wine script:bsdutils \
  x86_64-w64-mingw32-g++-posix:g++-mingw-w64-x86-64-posix

build release
(($# == 1)) || build windows
Programs=$(realpath "${1:-build/windows}")
Native=$PWD/build/release
Scratch=$(mktemp -d)
mkdir "$Scratch/wine"
export WINEPREFIX=$Scratch/wine WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
trap 'wineserver --kill --wait || true; rm -rf "$Scratch"' EXIT
# What Wine starts with the first program goes on, and would keep that program's output open.
wineserver --persistent
wine wineboot >/dev/null 2>&1 </dev/null

tools/same_output.py 400 "$Native/Blockfit" wine "$Programs/Blockfit.exe"
quietly tests/cross_check.sh "$Programs/Blockfit.exe" "$Programs/blockfit-check.exe" wine
tests/damage.py wine "$Programs/blockfit-check.exe"
tests/windows_paths.py "$Programs/Blockfit.exe"

echo "On a console"
cp examples/sample.hex "$Scratch/fw.hex"
cp examples/refused/digit.hex "$Scratch/fw ü 漢.hex"
cd "$Scratch"
printf '@%s\r\n' "set PATH=Z:$Programs;%PATH%" "set USERPROFILE=Z:$Scratch/home" 'chcp 850' 'Blockfit -o ~\fw fw.hex' \
  'Blockfit -o out fw.hex >out.srec' 'blockfit-check f?????.hex' 'copy /b letter.txt con' \
  'blockfit-convert -o old.srec fw.hex' 'blockfit-convert -o nul.srec fw.hex || echo no >refused' >run.bat
printf '\201 in code page 850' >letter.txt
echo old >old.srec
script --quiet --command "wine cmd /c run.bat" --log-out console.txt </dev/null >/dev/null
[[ -s home/fw.srec ]] || fail "~ is not USERPROFILE."
quietly "$Native/blockfit-check" --conditioned --against fw.hex old.srec
[[ -e refused ]] || fail "It has written to a device."
grep -q '^Failed' out.srec || fail "The output went into the file with the messages."
grep -q 'fw ü 漢\.hex:2: error: ' console.txt || fail "The console does not show names."
grep -q 'ü in code page 850' console.txt || fail "The console's code page is not what it was."
