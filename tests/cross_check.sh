#!/usr/bin/env bash
# Compares the tool with others that read and write the same formats: whatever the input format, the conditioned file of
# a real program has the same bytes at the same addresses, and keeps every promise.
# Usage: cross_check.sh <Blockfit> <blockfit-check> [<emulator that runs them>]
set -euo pipefail
blockfit=("${@:3}" "$1") check=("${@:3}" "$2")
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"

# Loadable sections with their addresses: gaps, and addresses beyond 16 and 24 bits.
objcopy -O srec --change-addresses 0x8000000 /bin/true elf.s37
objcopy -O ihex --change-addresses 0x8000000 /bin/true elf.hex
srec_cat elf.s37 -output other.hex -intel
# The data only, in one canonical form.
data_of() { srec_cat "$1" -output - -intel -disable=header -disable=exec-start-address; }
data_of elf.s37 >want.txt

[ "$(grep -c '^S3' elf.s37)" -gt 100 ] || { echo "too few S3 records to test with"; exit 1; }

for align in "2000 8" "100 4" "50 2" "1000 20"; do
  read -r block line <<<"$align"
  for input in elf.s37 elf.hex other.hex; do
    "${blockfit[@]}" -balign "$block" -lalign "$line" "$input" >/dev/null
    out=${input%.*}.srec
    "${check[@]}" --conditioned --block "0x$block" --line "0x$line" --against "$input" "$out"
    data_of "$out" 2>/dev/null | cmp - want.txt
    if [ "$input" = elf.s37 ]; then cp "$out" first.srec; fi
    cmp "$out" first.srec
  done
  objcopy -I srec -O binary elf.srec back.bin
  objcopy -I srec -O binary elf.s37 want.bin
  cmp back.bin want.bin
done

# A raw binary file at an address, and the same file as text.
head -c 70000 /bin/sh >fw.bin
"${blockfit[@]}" -a 8000000 fw.bin >/dev/null
objcopy -I srec -O binary fw.srec back.bin
cmp back.bin fw.bin
mv fw.srec want.srec
objcopy -I binary -O ihex --change-addresses 0x8000000 fw.bin fw.HEX
"${blockfit[@]}" fw.HEX >/dev/null
cmp fw.srec want.srec
echo "all formats agree"
