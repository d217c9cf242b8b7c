#!/usr/bin/env bash
# Measures the reference consumer and the example of a drive, and tries the drive: on an emulated microcontroller, with
# disk images, and in sessions in which something goes wrong.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/common.sh
need c++:g++ cc:gcc make cmake python3 srec_cat:srecord arm-none-eabi-gcc:gcc-arm-none-eabi avr-gcc:gcc-avr \
  qemu-system-arm mcopy:mtools /usr/sbin/mkfs.fat:dosfstools

build release
examples/consumer/measure.sh
Work=build/release/drive
rm -rf $Work && mkdir $Work
Strict=(-std=c99 -Wall -Wextra -Werror -Wconversion -Wsign-conversion -Wcast-align -Wpedantic -fanalyzer)
Receiver=("${Strict[@]}" -I examples/consumer examples/drive/drive.c examples/consumer/consumer.c)
M0=(arm-none-eabi-gcc -mcpu=cortex-m0 -mthumb -Os -ffreestanding -fno-tree-loop-distribute-patterns)
Board=("${M0[@]}" -nostdlib -DCONSUMER_NO_TEXTS "${Receiver[@]}" examples/drive/microbit.c
  "-Wl,-T,examples/drive/microbit.ld,--fatal-warnings")

"${M0[@]}" "${Strict[@]}" -I examples/consumer -c examples/drive/drive.c -o $Work/drive.o
read -r Code Data Ram _ < <(arm-none-eabi-size $Work/drive.o | tail -n 1)
echo "drive.c: $((Code + Data)) bytes of code and $((Data + Ram)) of RAM on a Cortex-M0"
((Code + Data <= 520 && Data + Ram == 1)) || fail "That is too much"

"${Board[@]}" -o $Work/drive.elf
"${Board[@]}" -flto -o $Work/drive-lto.elf
cc -O2 -g -fPIC -shared -fsanitize=address,undefined -fno-sanitize-recover=all "${Receiver[@]}" examples/drive/host.c \
  -o $Work/drive.so
cd $Work && mkfifo port.in port.out
export PATH=$PATH:/usr/sbin ASAN_OPTIONS=detect_leaks=0 PYTHONMALLOC=malloc
LD_PRELOAD=$(cc -print-file-name=libasan.so) ../../../examples/drive/trial.py
