#!/usr/bin/env bash
# Links the consumer without any library, and measures it. Needs gcc-arm-none-eabi and gcc-avr (Debian packages).
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")"
Work=$(mktemp -d)
trap 'rm -rf "$Work"' EXIT

# measure NAME COMPILER [OPTION...]: prints a row of the table. A symbol that is not the consumer's own is an error.
measure() {
  local Row="| $1 |" Level Text Data
  for Level in -Os -O2; do
    "${@:2}" -std=c99 "$Level" -ffreestanding -Wall -Wextra -Werror -fstack-usage -c consumer.c -o "$Work/consumer.o"
    "${@:2}" -nostdlib -Wl,--fatal-warnings,--entry=CONSUMER_ReadUnit "$Work/consumer.o" -o "$Work/consumer"
    read -r Text Data _ < <(size "$Work/consumer" | tail -n 1)
    # The frames of all functions together: the longest chain of calls cannot take more.
    Row+=" $((Text + Data)) | $Data | $(awk '{ Sum += $2 } END { print Sum }' "$Work/consumer.su") |"
  done
  echo "$Row"
}

M0=(arm-none-eabi-gcc -mcpu=cortex-m0 -mthumb)
# The compiler itself asks for __do_copy_data, which copies the texts to RAM at the start.
AVR=(avr-gcc -mmcu=atmega328p "-Wl,--defsym=__do_copy_data=0")
echo "| | code, -Os | RAM | stack at most | code, -O2 | RAM | stack at most |"
echo "|---|---:|---:|---:|---:|---:|---:|"
measure "Cortex-M0" "${M0[@]}"
measure "Cortex-M0, \`CONSUMER_NO_TEXTS\`" "${M0[@]}" -DCONSUMER_NO_TEXTS
measure "AVR" "${AVR[@]}"
measure "AVR, \`CONSUMER_NO_TEXTS\`" "${AVR[@]:0:2}" -DCONSUMER_NO_TEXTS
