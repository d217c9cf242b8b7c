#!/usr/bin/env python3
"""Runs two builds of the program on the same generated inputs: exit status, messages and output must match.

Usage: same_output.py NUM_INPUTS PROGRAM OTHER_PROGRAM [ARGUMENT...]
The other program may be an emulator, with the program to run as its last argument.
"""

import collections
import pathlib
import random
import re
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # the examples folder is installed as it is
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "examples"))
import make_samples as samples  # noqa: E402 (found on the path set above)

LONGEST = 250  # bytes that fit into a record of any kind


def pieces():
    """(address, data) of records: with or without gaps, in order or not, some across the end of an address range, some
    overlapping."""
    start = random.choice([0, 0x8000, 0xFFF0, 0xFFFFF0, 0x08000000, 0xFFFFF000])
    step = random.choice([16, 16, 16, 17, 32, 300, 15])
    size = random.choice([1, 3, 16, 16, 16, LONGEST])
    made = [(start + i * max(step, size) & 0xFFFFFFFF, random.randbytes(size)) for i in range(random.randrange(60))]
    order = random.choice(["kept", "kept", "reversed", "shuffled", "interleaved", "overlap"])
    if order == "reversed":
        made.reverse()
    elif order == "shuffled":
        random.shuffle(made)
    elif order == "interleaved":
        made = made[::2] + made[1::2]
    elif order == "overlap" and made:
        made.insert(random.randrange(len(made)), (made[-1][0] + random.choice([0, size - 1]) & 0xFFFFFFFF, b"\x5A"))
    return made


def text(kind, made):
    line_end = random.choice(["\n", "\r\n"])
    if kind == "hex":
        return "".join(samples.hex_data(address, data, LONGEST) for address, data in made) + samples.HEX_END
    end = max((address for address, _ in made), default=0)
    data_kind = 1 if end < 1 << 16 else 2 if end < 1 << 24 else 3
    lines = [samples.s_record(data_kind, address, data, line_end) for address, data in made]
    lines.append(samples.s_record(10 - data_kind, 0, b"", line_end))
    return samples.s_record(0, 0, b"made", line_end) + "".join(lines)


def damaged(contents):
    """One byte lost, doubled or changed."""
    at = random.randrange(len(contents))
    byte = random.choice([b"", contents[at : at + 1] * 2, random.choice(b"0F:S \r\n\0").to_bytes(1, "big")])
    return contents[:at] + byte + contents[at + 1 :]


def new_input():
    """(name, contents, arguments)"""
    kind = random.choice(["hex", "hex", "srec", "srec", "bin"])
    if kind == "bin":
        contents = random.randbytes(random.choice([0, 1, 15, 16, 17, 5000]))
    else:
        contents = text(kind, pieces()).encode()
        if random.random() < 0.3:
            contents = damaged(contents)
    options = [["-a", "fffff000"], ["-a", "8000000"], ["-balign", "100"], ["-balign", "50"], ["-lalign", "0"],
               ["-lalign", "20"], ["-balign", "7"], ["-LineAlign", "4"], ["-balign"]]
    chosen = random.sample(options, random.choice([0, 1, 2, 2]))
    return f"in.{kind}", contents, sum(chosen, [])


def outcome(command, name, contents, arguments):
    """(exit status, printed text without the build time, files by name)"""
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, name).write_bytes(contents)
        run = subprocess.run(command + arguments + [name], cwd=folder, stdout=subprocess.PIPE, timeout=60)
        printed = re.sub(rb"\(compiled [^)]*\)", b"", run.stdout)
        files = {path.name: path.read_bytes() for path in pathlib.Path(folder).iterdir()}
        return run.returncode, printed, files


def main():
    num_inputs, programs = int(sys.argv[1]), ([sys.argv[2]], sys.argv[3:])
    programs = [command[:-1] + [str(pathlib.Path(command[-1]).resolve())] for command in programs]
    statuses = collections.Counter()
    for seed in range(num_inputs):
        random.seed(seed)
        made = new_input()
        first, other = (outcome(command, *made) for command in programs)
        if first != other:
            print(f"Input {seed} ({made[0]} {made[2]}): {first}\nbut\n{other}", file=sys.stderr)
            return 1
        statuses[first[0]] += 1
    if min(statuses[0], statuses[1]) < num_inputs // 4:
        print(f"The inputs test too little: exit statuses {dict(statuses)}", file=sys.stderr)
        return 1
    counts = ", ".join(f"{count} with exit status {status}" for status, count in sorted(statuses.items()))
    print(f"Same results for {num_inputs} generated inputs: {counts}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
