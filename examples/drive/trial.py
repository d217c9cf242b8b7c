#!/usr/bin/env python3
"""Tries the drive with files that arrive by the serial port of the emulated board, and on disks with a host build.

Where the sizes fit, the drive must say that all has arrived, and its flash, which a pattern fills first, must be right
to the last byte. Elsewhere, or if two versions are mixed, it must not say so, and no byte may be of anything else."""
import ctypes
import pathlib
import random
import subprocess
import sys
import zlib

APP_START, PAGE, FLASH_SIZE = 0x4000, 1024, 0x40000
PATTERN = bytes(range(1, 129)) * (FLASH_SIZE // 128)
CLUSTERS = {"FAT12": 2000, "FAT16": 5000, "FAT32": 67000}
TRIALS = [  # where the file is, then sizes of a cluster, a unit and a block, then the application's size and address
    *[("serial", 8192, unit, block, size, start, "new") for unit, block in ((512, 512), (4096, 256), (8192, 8192))
      for size, start in ((9999, 0x400D), (20000, 0x8000))], ("serial", 8192, 512, 8192, 20000, 0x10002, "new"),
    *[(fat, cluster, unit, block, 20000, 0x8003, file) for fat in CLUSTERS for cluster, unit, block, file in (
        (512, 512, 512, "new"), (8192, 512, 512, "new"), (4096, 4096, 512, "new"), (4096, 4096, 4096, "new"),
        (8192, 8192, 512, "new"), (8192, 8192, 8192, "new"), (4096, 4096, 512, "replaced"), (4096, 4096, 512, "mixed"),
        (8192, 512, 8192, "new"), (512, 4096, 512, "new"), (4096, 4096, 512, "unaligned"))]]
QEMU = ("qemu-system-arm -M microbit -nographic -serial pipe:port -monitor stdio -kernel drive.elf "
        "-device loader,file=flash,addr=0x4000,force-raw=on")


def run(*words):
    return subprocess.run([str(word) for word in words], check=True, capture_output=True).stdout


def make_app(size, start, block):
    """Makes app.srec: random bytes from an address, and the word that the drive checks. Returns the expected flash."""
    body, flash = random.randbytes(size), bytearray(PATTERN)
    rest = (b"\xff" * (start - APP_START - 4) + body).ljust(FLASH_SIZE - APP_START - 4, b"\xff")
    for page in (APP_START, *range(start // PAGE * PAGE, start + size, PAGE)):
        flash[page:page + PAGE] = b"\xff" * PAGE
    with open("app.mot", "wb") as records:
        for address, data in (APP_START, zlib.crc32(rest).to_bytes(4, "little")), (start, body):
            flash[address:address + len(data)] = data
            pathlib.Path("part.bin").write_bytes(data)
            run("../Blockfit", "-a", f"{address:x}", "part.bin")
            records.write(pathlib.Path("part.srec").read_bytes())
    run("../Blockfit", "-BlockAlign", f"{block:x}", "app.mot")
    return flash


def units_of(path, unit):
    """The first 4 MiB of a file, all that a disk uses, in units. The last one is filled up with leftovers."""
    data = run("head", "-c", "4M", path)
    return [data[i:i + unit].ljust(unit, b"S") for i in range(0, len(data), unit)]


def on_board(units):
    """Hands the units to the firmware in the emulator. Returns its answers, and the flash."""
    pathlib.Path("flash").write_bytes(PATTERN[APP_START:])
    with subprocess.Popen(QEMU.split(), stdin=subprocess.PIPE, stdout=subprocess.DEVNULL) as qemu, \
            open("port.in", "wb") as to_drive, open("port.out", "rb") as from_drive:
        to_drive.write(b"".join(len(unit).to_bytes(2, "little") + unit for unit in [*units, b""]))
        to_drive.flush()
        answers = from_drive.read(len(units) + 1).decode()
        qemu.communicate(b"memsave 0x4000 0x3c000 flash\nquit\n")
    return answers, PATTERN[:APP_START] + pathlib.Path("flash").read_bytes()


def on_host(units):
    drive = ctypes.CDLL("./drive.so")
    flash = (ctypes.c_char * FLASH_SIZE).in_dll(drive, "aFlash")
    flash.raw = PATTERN
    drive.DRIVE_Start()
    answers = "".join(chr(drive.DRIVE_TakeUnit(unit, len(unit))) for unit in units)
    return answers + "NY"[drive.DRIVE_IsWhole()], flash.raw


def make_disk(fat, cluster, options):
    """Makes a disk with gaps between other files, so that the next file will be in many parts."""
    run("rm", "-f", "disk")
    run("mkfs.fat", "-C", "-F", fat[3:], "-s", cluster // 512, *options, "disk", CLUSTERS[fat] * cluster // 1000)
    for i in range(20):
        run("mcopy", "-i", "disk", "drive.so", f"::{i}")
    run("mdel", "-i", "disk", *[f"::{i}" for i in range(0, 20, 2)])
    if fat == "FAT32":  # forget where to look for space
        run("dd", "if=/dev/zero", "of=disk", "bs=4", "seek=251", "count=1", "conv=notrunc")


def copy_to_disk(unit):
    """Copies app.srec to the disk. Returns the units that this changes."""
    before = units_of("disk", unit)
    run("mcopy", "-o", "-i", "disk", "app.srec", "::")
    return [new for old, new in zip(before, units_of("disk", unit)) if old != new]


def trial(place, cluster, unit, block, size, start, file):
    """Hands over all units in random order, a third of them twice. Prints a row. Returns whether it is right."""
    versions = [make_app(size, start, block)]
    if place == "serial":
        units = units_of("app.srec", unit)
        units.append(units[0][:9] + bytes([units[0][9] ^ 1]) + units[0][10:])  # damaged
    else:
        make_disk(place, cluster, ["-a"] if file == "unaligned" else [])
        units = copy_to_disk(unit)
    if file in ("replaced", "mixed"):
        versions.append(make_app(size - 999, start, block))
        units = copy_to_disk(unit) + (units if file == "mixed" else [])
    units = sorted(units + units[::3], key=lambda _: random.random())
    answers, flash = on_board(units) if place == "serial" else on_host(units)
    fits = unit % block == 0 and cluster >= unit and file in ("new", "replaced")
    is_right = flash == versions[-1] if fits else all(b in (255, *may) for b, *may in zip(flash, PATTERN, *versions))
    result = ("whole" if fits else "refused") if is_right and answers[-1] == "NY"[fits] else "WRONG"
    cells = place, cluster, unit, block, size, f"0x{start:X}", file, *map(answers.count, "TIC"), result
    print("|", *[f"{cell} |" for cell in cells], flush=True)
    return result != "WRONG"


random.seed(1)
print("| place | cluster | unit | block | bytes | at | file | taken | ignored | conflict | result |\n|" + "---|" * 11)
sys.exit(not all([trial(*row) for row in TRIALS]))
