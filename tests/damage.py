#!/usr/bin/env python3
"""Damages good files in many ways: blockfit-check --strict must fail for each, except for what cannot be seen. It must
pass what objcopy and srec_cat write.

Usage: damage.py BLOCKFIT_CHECK [ARGUMENT...]
The program may be an emulator, with the program to run as its last argument.
"""
import gzip
import os
import pathlib
import subprocess
import sys
import tempfile

# The places and changes of a line, and what replaces a file.
PLACES = {"mark": 0, "type or count": 1, "count": 3, "address": 6, "data": 15, "checksum": -1}
EDITS = {
    "lost": lambda line, at: line[:at] + line[at + 1:],
    "doubled": lambda line, at: line[:at] + line[at:at + 1] + line[at:],
    "changed": lambda line, at: line[:at] + (b"7" if line[at:at + 1] != b"7" else b"3") + line[at + 1:],
    "a letter": lambda line, at: line[:at] + b"O" + line[at + 1:],
    "NUL": lambda line, at: line[:at] + b"\0" + line[at + 1:],
}
FOREIGN = {
    "nothing": b"", "a web page": b"<!DOCTYPE html>", "another": b"<html>", "UF2": b"UF2\nWQ]\x9e", "ELF": b"\x7fELF",
    "a Git LFS pointer": b"version https://git-lfs.github.com/\n", "S-records": b"S9030000FC\n",
    "Intel HEX": b":00000001FF\n",
    "compressed": gzip.compress(b"firmware"),
}
# What no one can tell from a good file: data of other bytes, and records that have become other records.
UNSEEN = {"bin cut", "bin changed", "bin compressed", "hex line lost", "s19 line lost", "s19 S1 is S2", "s19 S1 is S3",
          "srec S1 is S2", "srec S1 is S3"}


def good_files():
    """(extension, contents): of each extension, the first file has 700 bytes from address 0."""
    options = {"hex": "objcopy -I binary -O ihex --set-start=256 in.bin out.hex",
               "s19": "objcopy -I binary -O srec in.bin out.s19",
               "srec": "srec_cat in.bin -binary -output out.srec",
               "s37": "objcopy -I binary -O srec --srec-forceS3 --set-start=256 in.bin out.s37",
               "HEX": "srec_cat in.bin -binary -offset 65520 -output out.HEX -intel"}
    for name, command in options.items():
        subprocess.run(command.split(), check=True)
        text = pathlib.Path(f"out.{name}").read_bytes()
        yield name, text
        yield name, text + b"\x1a\0\0 \t\r\n"
        if name == "srec":  # several headers and counts, and no end record
            yield name, text[:text.rfind(b"S9")] + b"S00400004DAE\nS1041000AA41\nS5030001FB\n"


def damaged_texts(text):
    lines = text.splitlines(True)
    middle = len(lines) // 2
    before, line, after = b"".join(lines[:middle]), lines[middle].rstrip(), b"".join(lines[middle + 1:])
    for place, at in PLACES.items():
        for change, edit in EDITS.items():
            yield f"{change} in {place}", before + edit(line, at % len(line)) + b"\n" + after
    yield "cut after a line", before
    yield "cut in a line", before + line[:15]
    yield "end record cut", text.rstrip()[:-3]
    yield "line lost", before + after
    yield "line doubled", before + 2 * (line + b"\n") + after
    yield "half a line lost", before + line[:15] + b"\n" + after
    yield "text after the line", before + line + b" x\n" + after
    yield "NUL after the line", before + line + b"\n\0" + after
    yield "0x1A after the line", before + line + b"\n\x1a" + after
    yield "text after the end", text + b"the end\n"
    yield "text after 0x1A", text + b"\x1a the end\n"
    yield "the end record first", lines[-1] + b"".join(lines[:-1])
    yield "joined with another", text + before
    yield "blank line first", b"\n" + text
    yield "byte order mark", b"\xef\xbb\xbf" + text
    yield "UTF-16", text.decode().encode("utf-16")
    for digit in b"023456789" if line[:1] == b"S" else b"":
        yield f"S1 is S{chr(digit)}", before + b"S%c" % digit + line[2:] + b"\n" + after


def main():
    check = sys.argv[1:-1] + [os.path.abspath(sys.argv[-1])]
    wrong = []

    def status_of(name, contents):
        pathlib.Path(f"f.{name}").write_bytes(contents)
        return subprocess.run(check + ["--strict", f"f.{name}"], capture_output=True).returncode

    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        pathlib.Path("in.bin").write_bytes(bytes(i * i % 251 for i in range(700)))
        damaged = [("bin cut", pathlib.Path("in.bin").read_bytes()[:99]), ("bin changed", b"firmware\0")]
        good = list(good_files())
        wrong += [f"good {name}" for name, contents in good if status_of(name, contents) != 0]
        for name in ["hex", "s19", "srec"]:
            damaged += [(f"{name} {what}", new) for what, new in damaged_texts(dict(reversed(good))[name])]
        damaged += [(f"{name} {what}", new) for what, new in FOREIGN.items() for name in ["hex", "s19", "bin"]]
        wrong += [what for what, new in damaged if status_of(what.split()[0], new) != (0 if what in UNSEEN else 1)]
        os.chdir("/")
    print(f"{len(damaged)} damaged files; wrong answers: {wrong or 'none'}")
    return 1 if wrong or len(damaged) < 60 else 0


if __name__ == "__main__":
    sys.exit(main())
