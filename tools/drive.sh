#!/usr/bin/env bash
# Measures the reference consumer, and tries the example of a drive: on an emulated microcontroller, and with disk images.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/lib/common.sh
need c++:g++ cc:gcc make cmake python3 arm-none-eabi-gcc:gcc-arm-none-eabi avr-gcc:gcc-avr qemu-system-arm mcopy:mtools \
  /usr/sbin/mkfs.fat:dosfstools

build release
examples/consumer/measure.sh
rm -rf build/release/drive && mkdir build/release/drive
Receiver=(-std=c99 -Wall -Wextra -Werror -I examples/consumer examples/drive/drive.c examples/consumer/consumer.c)
cc -O2 -fPIC -shared "${Receiver[@]}" examples/drive/host.c -o build/release/drive/drive.so
arm-none-eabi-gcc -mcpu=cortex-m0 -mthumb -Os -ffreestanding -nostdlib -fno-tree-loop-distribute-patterns \
  -DCONSUMER_NO_TEXTS "${Receiver[@]}" examples/drive/microbit.c \
  -Wl,-T,examples/drive/microbit.ld,--fatal-warnings -o build/release/drive/drive.elf
cd build/release/drive && mkfifo port.in port.out && PATH=$PATH:/usr/sbin timeout 900 ../../../examples/drive/trial.py
