#!/usr/bin/env python3
"""Damages files in thousands of ways: blockfit-check --strict must find each, and nothing in the files before.

Usage: damage.py [EMULATOR...] BLOCKFIT_CHECK
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

# How good files are made.
GOOD = {"hex": "objcopy -I binary -O ihex --set-start=256 in.bin out.hex",
        "HEX": "srec_cat in.bin -binary -offset 65520 -output out.HEX -intel",
        "s19": "objcopy -I binary -O srec in.bin out.s19",
        "srec": "srec_cat in.bin -binary -output out.srec",
        "s37": "objcopy -I binary -O srec --srec-forceS3 --set-start=256 in.bin out.s37"}
FOREIGN = [b"", b"<!DOCTYPE html>", b"<html>", b"UF2\nWQ]\x9e", b"\x7fELF", b"version https://git-lfs.github.com/\n",
           b"S9030000FC\n", b":00000001FF\n"]


def damaged_texts(text):
    lines = text.splitlines(True)
    before, line, after = b"".join(lines[:9]), lines[9].rstrip(), b"".join(lines[10:])
    yield from (b"".join(lines[:num]) for num in range(len(lines)))
    yield from (text[:num] for num in range(0, len(text) - 3, 7))
    yield from (before + line + b"\n" + more + after for more in (line + b"\n", b"x\n", b"\0", b"\x1a"))
    yield from (text + more for more in (b"the end\n", b"\x1a the end\n", before))
    yield from (first + text for first in (lines[-1], b"\n", b"\xef\xbb\xbf"))
    yield text.decode().encode("utf-16")
    for at in range(len(line)):
        for new in [b"", b"O", b"\0", 2 * line[at:at + 1], *map(bytes, zip(b"0123456789ABCDEF"))]:
            # No one can tell when S1, S2 and S3 are confused.
            if new != line[at:at + 1] and (at != 1 or new not in (b"1", b"2", b"3")):
                yield before + line[:at] + new + line[at + 1:] + b"\n" + after


def found_in(check, files):
    """Returns those of the files, (extension, contents), in which the program finds something."""
    names = [f"{i}.{extension}" for i, (extension, _) in enumerate(files)]
    for name, (_, contents) in zip(names, files):
        pathlib.Path(name).write_bytes(contents)
    run = subprocess.run(check + ["--strict", *names], capture_output=True)
    numbers = re.findall(rb"^(\d+)\.\w+(?::\d+)?: (?:error|warning): ", run.stderr, re.MULTILINE)
    if run.returncode != (1 if numbers else 0):
        sys.exit(f"wrong exit status: {run.returncode}")
    return {files[int(number)] for number in numbers}


def main():
    check = sys.argv[1:-1] + [os.path.abspath(sys.argv[-1])]
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        pathlib.Path("in.bin").write_bytes(bytes(i * i % 251 for i in range(700)))
        damaged = [(extension, text) for extension in ("hex", "s19", "bin") for text in FOREIGN]
        good = []
        for extension, command in GOOD.items():
            subprocess.run(command.split(), check=True)
            text = pathlib.Path(f"out.{extension}").read_bytes()
            good += [(extension, text), (extension, text + b"\x1a\0\0 \t\r\n")]
            damaged += [(extension, new) for new in damaged_texts(text)]
        # Several headers and counts, and no end record.
        good.append(("s37", text[:text.rfind(b"S7")] + b"S00400004DAE\nS1041000AA41\nS503002DCF\n"))
        found = set().union(*(found_in(check, damaged[i:i + 300]) for i in range(0, len(damaged), 300)))
        wrong = [*found_in(check, good), *(set(damaged) - found)]
        os.chdir("/")
    print(f"{len(damaged)} damaged files; wrong answers: {wrong or 'none'}")
    return 1 if wrong or len(damaged) < 4000 else 0


if __name__ == "__main__":
    sys.exit(main())
