#!/usr/bin/env python3
"""Runs two builds of the program on the same inputs: exit status, messages and output must match. blockfit-convert of
each build must write the same bytes, from every second input after it has been split in two; or fail, too.

Usage: same_output.py NUM_INPUTS PROGRAM OTHER_PROGRAM [ARGUMENT...]
The other program may be an emulator, with the program to run as its last argument. The inputs are samples and pieces of
them, in and out of order, every second one damaged.
"""
import collections
import pathlib
import random
import re
import subprocess
import sys
import tempfile

OPTIONS = [["-a", "fffff000"], ["-a", "8000000"], ["-balign", "100"], ["-balign", "50"], ["-lalign", "0"],
           ["-lalign", "20"], ["-balign", "7"], ["-LineAlign", "4"], ["-balign"]]

SETTINGS = {"-a": "--base", "-balign": "--block", "-lalign": "--line", "-LineAlign": "--line"}


def new_input(samples):
    """(name, contents, arguments)"""
    sample = random.choice(samples)
    lines = sample.read_bytes().splitlines(True)
    start = random.randrange(len(lines))
    lines = lines[start:start + random.randrange(1, 99)]
    if random.random() < 0.5:
        random.shuffle(lines)
    contents = b"".join(lines)
    if random.random() < 0.5:
        at = random.randrange(len(contents))
        byte = random.choice([b"", contents[at:at + 1] * 2, random.choice(b"0F:S \r\n\0").to_bytes(1, "big")])
        contents = contents[:at] + byte + contents[at + 1:]
    return f"in{sample.suffix}", contents, sum(random.sample(OPTIONS, random.choice([0, 1, 2, 2])), [])


def outcome(command, name, contents, arguments):
    """(exit status, printed text without the build time, files by name)"""
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, name).write_bytes(contents)
        run = subprocess.run(command + arguments + [name], cwd=folder, stdout=subprocess.PIPE, timeout=60)
        printed = re.sub(rb"\(compiled [^)]*\)", b"", run.stdout)
        files = {path.name: path.read_bytes() for path in pathlib.Path(folder).iterdir()}
        return run.returncode, printed, files


def split(name, contents, base):
    """Two inputs, each with its base address, that have the same bytes as one."""
    middle = len(contents) // 2
    if name.endswith(".bin"):
        return [(contents[:middle], base), (contents[middle:], base + middle)]
    lines = [line for line in re.split(rb"[\0\x1a]", contents)[0].splitlines(True) if line.strip()]
    first, second = lines[:len(lines) // 2], lines[len(lines) // 2:]
    upper = [line for line in first if re.match(rb":.{6}0[24]", line)]  # the second file's own upper address
    return [(b"".join(first), base), (b"".join(upper + second), base)]


def convert(command, parts, name, options):
    """(exit status, messages, file) of blockfit-convert"""
    with tempfile.TemporaryDirectory() as folder:
        inputs = []
        for number, (contents, base) in enumerate(parts):
            pathlib.Path(folder, f"{number}{name}").write_bytes(contents)
            inputs += (["--base", str(base)] if name.endswith(".bin") else []) + [f"{number}{name}"]
        program = re.sub(r"lockfit(\.\w+)?$", r"lockfit-convert\1", command[-1]).replace("Blockfit-", "blockfit-")
        run = subprocess.run(command[:-1] + [program, "-q", "--allow-warnings", "-o", "out.srec", *options, *inputs],
                             cwd=folder, stderr=subprocess.PIPE, timeout=60)
        out = pathlib.Path(folder, "out.srec")
        return run.returncode, run.stderr, out.read_bytes() if out.exists() else None


def converts_alike(command, seed, status, files, name, contents, arguments):
    """Whether blockfit-convert does what Blockfit has done, but refuses to cut addresses to 32 bits."""
    if len(arguments) % 2 != 0:
        return True
    options = {SETTINGS[key]: "0x" + value for key, value in zip(arguments[::2], arguments[1::2])}
    base = int(options.pop("--base", "0x0"), 16)
    parts = split(name, contents, base) if status == 0 and seed % 2 and len(contents) > 99 else [(contents, base)]
    result, said, written = convert(command, parts, name, sum(options.items(), ()))
    if result == 0:
        return status == 0 and written == files["in.srec"]
    return written is None and (status != 0 or b"lies outside 0x00000000-0xFFFFFFFF" in said)


def main():
    num_inputs, programs = int(sys.argv[1]), ([sys.argv[2]], sys.argv[3:])
    programs = [command[:-1] + [str(pathlib.Path(command[-1]).resolve())] for command in programs]
    examples = pathlib.Path(__file__).resolve().parents[1] / "examples"
    samples = sorted(path for path in examples.iterdir() if re.fullmatch(r"\.(hex|bin|mot|s.*)", path.suffix))
    statuses = collections.Counter()
    for seed in range(num_inputs):
        random.seed(seed)
        made = new_input(samples)
        first, other = (outcome(command, *made) for command in programs)
        if first != other:
            print(f"Input {seed} ({made[0]} {made[2]}): {first}\nbut\n{other}", file=sys.stderr)
            return 1
        for command in programs:
            if not converts_alike(command, seed, first[0], first[2], *made):
                print(f"Input {seed} ({made[0]} {made[2]}): blockfit-convert beside {command} differs", file=sys.stderr)
                return 1
        statuses[first[0]] += 1
    print(f"Same results for {num_inputs} inputs; exit statuses: {dict(statuses)}")
    return 0 if min(statuses[0], statuses[1]) >= num_inputs // 4 else 1


if __name__ == "__main__":
    sys.exit(main())
