#!/usr/bin/env python3
"""Tries the drive: its firmware in an emulator, and a host build with files on disks.

Where the sizes fit, it must say whole, and the flash must be right to the last byte. Elsewhere it must not say so, and
no byte may be of anything else. A session begins with an older version, and ends with a reset and all of the new one.
Once a unit of the new version has come, the drive may say whole only if the flash is that version to the last byte.
After the reset it must be bootable if the flash is exactly one version, and only then. The end must be whole."""
import collections
import ctypes
import os
import pathlib
import random
import re
import subprocess
import sys
import zlib

APP_START, APP_END, RUNS = 0x4000, 0x40000, 50
PATTERN = bytes(range(1, 129)) * (APP_END // 128)
CLUSTERS = {"FAT12": 2000, "FAT16": 5000, "FAT32": 67000}
PLACES = [  # where the file is, then sizes of a cluster, a unit and a block, then the application's size and address
    *[("serial", 8192, unit, block, size, start, "new") for unit, block in ((512, 512), (4096, 256), (8192, 8192))
      for size, start in ((9999, 0x400D), (20000, 0x8000))], ("serial", 8192, 512, 8192, 20000, 0x10002, "new"),
    *[(fat, cluster, unit, block, 20000, 0x8003, file) for fat in CLUSTERS for cluster, unit, block, file in (
        (512, 512, 512, "new"), (8192, 512, 512, "new"), (4096, 4096, 512, "new"), (4096, 4096, 4096, "new"),
        (8192, 8192, 512, "new"), (8192, 8192, 8192, "new"), (4096, 4096, 512, "replaced"), (4096, 4096, 512, "mixed"),
        (8192, 512, 8192, "new"), (512, 4096, 512, "new"), (4096, 4096, 512, "unaligned"),
        (512, 512, 512, "unaligned"), (4096, 512, 512, "unaligned"), (8192, 512, 512, "unaligned"))]]
COPY = "mcopy", "-o", "-i", "disk", "app.srec", "::"
QEMU = ("qemu-system-arm -M microbit -nographic -serial pipe:port -monitor stdio "
        "-device loader,file=flash,addr=0x4000,force-raw=on -kernel")
README = pathlib.Path(__file__).with_name("README.md").read_text(encoding="utf-8")
ADD_CRC = re.search(r"^\$ (srec_cat .*)", README, re.MULTILINE)[1]  # makes whole.mot from fw.mot
NONE, REPORTED, SILENT, POWER_CUT = range(4)

os.environ.pop("LD_PRELOAD", None)  # the sanitizers are for this process only
drive = ctypes.CDLL("./drive.so")
host_flash = (ctypes.c_char * APP_END).in_dll(drive, "aFlash")
host_fault, num_good = (ctypes.c_int.in_dll(drive, name) for name in ("Fault", "NumGood"))
Version = collections.namedtuple("Version", "flash units")


def run(*words):
    return subprocess.run([str(word) for word in words], check=True, capture_output=True).stdout


def units_of(path, unit):
    """The first 4 MiB of a file, all that a disk uses, in units. The last one is filled up with leftovers."""
    data = run("head", "-c", "4M", path)
    return [data[i:i + unit].ljust(unit, b"S") for i in range(0, len(data), unit)]


def make_version(body, start=APP_START, block=512, unit=512):
    """Makes app.srec of an application, as README.md says. Returns the flash that it should make, and its units."""
    pathlib.Path("fw.bin").write_bytes(body)
    run("srec_cat", "fw.bin", "-binary", "-offset", start, "-o", "fw.mot")
    run("bash", "-c", ADD_CRC)
    run("../Blockfit", "-o", "app", "-BlockAlign", hex(block), "whole.mot")
    part = (b"\xff" * (start - APP_START) + body).ljust(APP_END - APP_START - 4, b"\xff")
    return Version(PATTERN[:APP_START] + part + zlib.crc32(part).to_bytes(4, "little"), units_of("app.srec", unit))


def mix(units):
    """The units in random order, a third of them twice."""
    return sorted(units + units[::3], key=lambda _: random.random())


def on_host(flash, units, fault=NONE, num=10**6):
    """Resets the drive and hands over units; b"" is a question. Returns the answers to the reset, B if the application
    is bootable, and to each unit, and the flash after each question."""
    host_flash.raw, host_fault.value, num_good.value = flash, fault, num
    answers, flashes = "CB"[drive.DRIVE_IsBootable()], [flash]
    drive.DRIVE_Begin()
    for unit in units:
        text = ctypes.create_string_buffer(unit, len(unit)) if unit else None
        answers += chr(drive.DRIVE_TakeUnit(text, len(unit)) if unit else drive.DRIVE_Finish())
        flashes.append(None if unit else host_flash.raw)
    return answers, flashes


def on_board(flash, units):
    """The same with one of the two builds of the firmware, in the emulator. The only question is the last unit."""
    pathlib.Path("flash").write_bytes(flash[APP_START:])
    command = [*QEMU.split(), random.choice(("drive.elf", "drive-lto.elf"))]
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL) as qemu, \
            open("port.in", "wb", buffering=0) as to_drive, open("port.out", "rb") as from_drive:
        answers = from_drive.read(1)
        if answers == b"B":
            to_drive.write(b"P")  # the button is pressed
            from_drive.read(1)
        to_drive.write(b"".join(len(unit).to_bytes(2, "little") + unit for unit in units))
        answers += from_drive.read(len(units))
        qemu.communicate(b"memsave 0x4000 0x3c000 flash\nquit\n")
    flash_after = flash[:APP_START] + pathlib.Path("flash").read_bytes()
    return answers.decode(), [flash, *[None] * (len(units) - 1), flash_after]


def make_disk(fat, cluster, options=()):
    """Makes a disk with gaps between other files, so that the next file will be in many parts."""
    run("rm", "-f", "disk")
    run("mkfs.fat", "-C", "-F", fat[3:], "-s", cluster // 512, *options, "disk", CLUSTERS[fat] * cluster // 1000)
    for i in range(20):
        run("mcopy", "-i", "disk", "fw.mot", f"::{i}")
    run("mdel", "-i", "disk", *[f"::{i}" for i in range(0, 20, 2)])
    if fat == "FAT32":  # forget where to look for space
        run("dd", "if=/dev/zero", "of=disk", "bs=4", "seek=251", "count=1", "conv=notrunc")


def change_disk(unit, *command):
    """Runs a command for the disk. Returns the units that this changes."""
    before = units_of("disk", unit)
    run(*command)
    return [new for old, new in zip(before, units_of("disk", unit)) if old != new]


def try_place(place, cluster, unit, block, size, start, file):
    """Hands over all units in random order, a third of them twice. Prints a row. Returns whether it is right."""
    on = on_board if place == "serial" else on_host
    versions = [make_version(random.randbytes(size), start, block, unit)]
    if place == "serial":
        units = [*versions[0].units, flip_bit(versions[0].units[0])]
    else:
        make_disk(place, cluster, ["-a"] if file == "unaligned" else [])
        units = change_disk(unit, *COPY)
    if file in ("replaced", "mixed"):
        versions.append(make_version(random.randbytes(size - 999), start, block, unit))
        units = change_disk(unit, *COPY) + (units if file == "mixed" else [])
    answers, flashes = on(PATTERN, [*mix(units), b""])
    fits = unit % block == 0 and cluster >= unit and file != "mixed" and (file != "unaligned" or unit == 512)
    is_right = flashes[-1] == versions[-1].flash if fits else \
        all(b in (255, *may) for b, *may in zip(flashes[-1], PATTERN, *[version.flash for version in versions]))
    is_right &= answers[-1] in ("W" if fits else "EMF") and on(flashes[-1], [])[0][0] == "CB"[fits]
    result = ("whole" if fits else "refused") if is_right else "WRONG"
    print_row(place, cluster, unit, block, size, f"0x{start:X}", file, *map(answers[1:-1].count, "TIF"), result)
    return is_right


def flip_bit(unit):
    """One bit wrong, but not in the digit of a type, which has no checksum."""
    i = random.choice([i for i in range(len(unit)) if unit[i - 1:i] != b"S"])
    return unit[:i] + bytes([unit[i] ^ 1 << random.randrange(8)]) + unit[i + 1:]


def ruin(unit):
    i, j = sorted(random.sample(range(1, len(unit)), 2))
    return random.choice([unit[:i], unit[i:], unit[:i] + unit[j:], unit[:i] + random.randbytes(j - i) + unit[j:]])


def insert_record(units, kind, address, data=b""):
    """Adds a unit with an S-record of any kind after its first line."""
    body = address.to_bytes((2, 2, 3, 4, 3, 2, 3, 4, 3, 2)[kind], "big") + data
    body = bytes([len(body) + 1]) + body
    first, *lines = random.choice(units[:-1]).splitlines(keepends=True)
    return [*units, first + f"S{kind}{body.hex().upper()}{~sum(body) & 255:02X}\r\n".encode() + b"".join(lines)]


def make_sessions():
    """Returns three versions, and rows: what happens, the answers that are right at the end, the units, a fault."""
    body = random.randbytes(1000) + bytes([255]) * 1000 + random.randbytes(5000)
    older, other = make_version(random.randbytes(2000) + body[2000:] + random.randbytes(700)), make_version(body[::-1])
    make_disk("FAT12", 512)
    directory = change_disk(512, "mmd", "-i", "disk", "::directory")
    other_boards = []
    for address in "0", "0x3F00D", "0x8000000":
        run("../Blockfit", "-a", address, "-BlockAlign", "0x200", "fw.bin")
        other_boards.append(units_of("fw.srec", 512))
    new = make_version(body)
    foreign = ((0, 0, b"fw"), (1, APP_START), (1, APP_START, bytes(33)), (1, 0xFFF0, bytes(32)), (5, 9), (7, 0), (9, 1))
    across = [(2, APP_END - num_inside, bytes(32)) for num_inside in (1, 31)]
    return (older, other, new), [
        ("one unit missing", "MW", lambda: mix(random.sample(new.units, len(new.units) - 1)), NONE),
        ("one older unit first", "WF", lambda: [random.choice(older.units[:-5]), *mix(new.units)], NONE),
        ("both versions mixed", "F", lambda: mix(older.units + new.units), NONE),
        ("nothing but a directory", "E", lambda: mix(directory), NONE),
        ("half of the file, then all of it", "W", lambda: [*mix(new.units)[::2], b"", *mix(new.units)], NONE),
        ("also each unit with a wrong bit", "W", lambda: mix([*map(flip_bit, new.units), *new.units]), NONE),
        ("also each unit damaged ten times", "MWF", lambda: mix([*map(ruin, new.units * 10), *new.units]), NONE),
        ("all older units first", "F", lambda: [*mix(older.units), b"", *mix(new.units)], NONE),
        ("also the end of the older file", "MWF", lambda: mix(new.units + older.units[-random.randint(1, 5):]), NONE),
        ("the older version after whole", "F", lambda: [*mix(new.units), b"", *mix(older.units)], NONE),
        ("another application", "W", lambda: mix(other.units), NONE),
        ("a file for another board", "F", lambda: mix(random.choice(other_boards)), NONE),
        ("also a record across the end", "F", lambda: mix(insert_record(new.units, *random.choice(across))), NONE),
        ("also a record of another kind", "F", lambda: mix(insert_record(new.units, *random.choice(foreign))), NONE),
        ("an error of the flash, reported", "F", lambda: mix(new.units), REPORTED),
        ("an error of the flash, silent", "MWF", lambda: mix(new.units), SILENT),
        ("the power fails", "", lambda: mix(new.units), POWER_CUT)]


def session(versions, may_answer, units, on, *fault):
    """Returns the last answer, the number of the version after the reset or -1, and whether all is right."""
    older, other, new = versions
    only_new = {*new.units} - {*older.units} - {*other.units}
    answers, flashes = on(older.flash, [*units, b""], *fault)
    known = [version.flash for version in versions]
    is_right = answers[0] == "B" and (not may_answer or answers[-1] in may_answer) and all(
        flash == new.flash or (flash in known and not only_new & {*units[:i - 1]})
        for i, (answer, flash) in enumerate(zip(answers, flashes)) if answer == "W" and may_answer)
    number = known.index(flashes[-1]) if flashes[-1] in known else -1
    again, flashes = on(flashes[-1], [*mix(new.units), b""])
    is_right &= again[0] == "CB"[number >= 0] and again[-1] == "W" and flashes[-1] == new.flash
    i = random.randrange(APP_START, APP_END)
    is_right &= on_host(new.flash[:i] + bytes([new.flash[i] ^ 1]) + new.flash[i + 1:], [])[0] == "C"
    return answers[-1] if may_answer else "off", number, is_right


def try_sessions():
    """Runs each row's sessions, those of the first three also on the board. Returns whether all are right."""
    versions, rows = make_sessions()
    on_host(versions[0].flash, versions[2].units)
    last_operation = 10**6 - num_good.value - 1
    all_right = True
    print_row("session", "empty", "missing", "whole", "failed", "then older", "other", "or new bootable", "result")
    for row, (what, may_answer, make_units, fault) in enumerate(rows):
        runs = []
        for i in range(RUNS):
            units = make_units()
            units.insert(random.randint(0, len(units)), b"")
            runs.append(session(versions, may_answer, units, on_host, fault, last_operation * i // (RUNS - 1)))
        if row < 3:
            runs.append(session(versions, may_answer, make_units(), on_board))
        answers, after_reset, are_right = zip(*runs)
        result = "right" if all(are_right) else "WRONG"
        print_row(what, *map(answers.count, "EMWF"), *map(after_reset.count, (0, 1, 2)), result)
        all_right &= all(are_right)
    return all_right


def print_row(*cells):
    print("|", *[f"{cell} |" for cell in cells], flush=True)


if __name__ == "__main__":
    random.seed(1)
    print_row("place", "cluster", "unit", "block", "bytes", "at", "file", "taken", "ignored", "failed", "result")
    sys.exit(not all([try_place(*row) for row in PLACES] + [try_sessions()]))
