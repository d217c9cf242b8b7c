#!/usr/bin/env python3
"""Runs the program, other tools and plain copying in turn; prints their ratios and the goals as Markdown.

Usage: measure.py PROGRAM INPUT_DIRECTORY ROUNDS TIMES_JSON [BEFORE]
BEFORE: another build of the program, to measure beside this one.
The times, in seconds by input, tool and round, go to TIMES_JSON. Every command writes a new output file and runs
without a shell. Before anything is timed, srec_cmp compares the program's output for each input with that input.
"""
import json
import os
import shlex
import subprocess
import sys
from statistics import median

from make_inputs import DENSE, DENSE_BYTES, ORDERS, RAW, RECORD_BYTES, SECTIONS, SIZES, SMALL, ordered

TOOLS = ["Blockfit", "objcopy", "srec_cat", "copying"]
FORMATS = {"hex": ("ihex", "-Intel"), "srec": ("srec", "-Motorola"), "bin": ("binary", "-Binary")}
MIB = 1 << 20
MOST = SIZES[-1]
FOURTH = MOST // 4
OBJCOPY_MAX_SHUFFLED = 32 << 10  # With more shuffled records, objcopy takes minutes.
SMALL_RUNS = 200  # Runs of a millisecond need many repetitions in a round.

INPUTS = {DENSE: "32 MiB as Intel HEX", RAW: "32 MiB raw binary", SMALL: "4 KiB as Intel HEX",
          SECTIONS: "4 MiB in 24 sections out of order"}
INPUTS |= {ordered(order, size): f"{size:,} records, {order}" for order in ORDERS for size in SIZES}
NOT_FOR_OBJCOPY = {ordered(order, size) for order in ["shuffled", "shuffled with gaps"] for size in SIZES
                   if size > OBJCOPY_MAX_SHUFFLED}

# Input, yardstick, maximum ratio of the program's time to the yardstick's.
RATIO_GOALS = [
    (DENSE, "objcopy", 0.25),
    (DENSE, "srec_cat", 0.08),
    (DENSE, "copying", 2.0),
    (ordered("ascending with gaps", MOST), "srec_cat", 0.2),
    (ordered("descending", MOST), "srec_cat", 0.25),
    (ordered("shuffled", MOST), "srec_cat", 0.6),
    (ordered("shuffled with gaps", MOST), "srec_cat", 0.9),
    (RAW, "copying", 2.5),
    (SMALL, "objcopy", 0.6),
]
# Maximum ratio of times when there are four times as many records.
GROWTH_GOALS = {order: 5.5 for order in ["ascending with gaps", "descending", "shuffled", "shuffled with gaps"]}
# Maximum ratio of times to the build before, if one is given.
BEFORE_GOAL = 1.1
BEFORE_INPUTS = [DENSE, RAW, SMALL, ordered("ascending", MOST), ordered("descending", MOST), SECTIONS]
# Maximum peak of resident memory, from the number of bytes stored, or of areas if each record is one.
JOINED = MOST * RECORD_BYTES * 2.3 + 4 * MIB
MEMORY_GOALS = {
    DENSE: DENSE_BYTES * 1.25 + 4 * MIB,
    RAW: DENSE_BYTES * 1.25 + 4 * MIB,
    ordered("ascending with gaps", MOST): MOST * 260 + 4 * MIB,
    ordered("shuffled with gaps", MOST): MOST * 260 + 4 * MIB,
    ordered("descending", MOST): JOINED,
    ordered("shuffled", MOST): JOINED,
}


def conditioned(name):
    """The file that keeps the program's output for an input, to be read by copying and srec_cmp."""
    return f"{name}.conditioned"


def steps(tool, programs, name):
    """The commands of a tool, each with the file that receives its standard output. All write result.srec."""
    bfd, srecord = FORMATS[name.split(".")[-1]]
    if tool in programs:
        return [([programs[tool], "-Out", "result", name], "null")]
    return {
        "objcopy": [(["objcopy", "-I", bfd, "-O", "srec", name, "result.srec"], "null")],
        "srec_cat": [(["srec_cat", name, srecord, "-Output", "result.srec", "-Motorola"], "null")],
        "copying": [(["cat", name], "null"), (["cat", conditioned(name)], "./result.srec")],
    }[tool]


def peak_memory(command):
    """Runs a command. Returns its peak resident memory, in bytes."""
    watched = ["/usr/bin/time", "--format=%M", "--output=peak.txt", *command]
    if subprocess.run(watched, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode != 0:
        sys.exit(f"{shlex.join(command)}: failed")
    with open("peak.txt") as file:
        return int(file.read()) * 1024


def check(programs, name):
    """Conditions an input and checks that the result holds the same bytes. Returns the peak memory."""
    peak = peak_memory(steps("Blockfit", programs, name)[0][0])
    os.replace("result.srec", conditioned(name))
    compare = ["srec_cmp", name, FORMATS[name.split(".")[-1]][1], conditioned(name), "-Motorola"]
    if subprocess.run(compare, stderr=subprocess.DEVNULL).returncode != 0:
        sys.exit(f"{name}: the conditioned file does not hold the same bytes")
    return peak


def seconds(command, output, runs):
    timer = ["hyperfine", "-N", "--style=none", f"--runs={runs}", f"--output={output}", "--export-json=run.json",
             "--prepare=rm -f result.srec", shlex.join(command)]
    run = subprocess.run(timer, capture_output=True, text=True)
    if run.returncode != 0:
        sys.exit(run.stderr)
    with open("run.json") as file:
        return json.load(file)["results"][0]["median"]


def measure(programs, num_rounds):
    """Returns the times by input, tool and round. Rounds are outermost, so that a slow minute affects every tool."""
    tools = list(programs) + [tool for tool in TOOLS if tool not in programs]
    times = {name: {tool: [] for tool in tools if tool != "objcopy" or name not in NOT_FOR_OBJCOPY}
             for name in INPUTS}
    for i in range(num_rounds):
        print(f"round {i + 1} of {num_rounds}", file=sys.stderr)
        for name, by_tool in times.items():
            turn = i % len(by_tool)
            for tool in list(by_tool)[turn:] + list(by_tool)[:turn]:
                runs = SMALL_RUNS if name == SMALL else 1
                by_tool[tool].append(sum(seconds(*step, runs) for step in steps(tool, programs, name)))
    return times


def row(*cells):
    print(f"| {' | '.join(cells)} |")


def table(*heads):
    print()
    row(*heads)
    row(*["---"] * len(heads))


def verdict(value, goal):
    return "met" if value <= goal else "**missed**"


def ratio_row(label, against, ours, theirs, goal):
    ratios = [a / b for a, b in zip(ours, theirs)]
    row(label, against, f"{median(ratios):.3f} ({min(ratios):.3f} to {max(ratios):.3f})", f"{goal:g}",
        verdict(median(ratios), goal))


def report(times, peaks, num_rounds):
    print(f"Medians of {num_rounds} rounds, with the lowest and the highest round.")
    table("input", "measured against", "ratio of times", "at most", "")
    for name, tool, goal in RATIO_GOALS:
        ratio_row(INPUTS[name], tool, times[name]["Blockfit"], times[name][tool], goal)
    for order, goal in GROWTH_GOALS.items():
        most, fourth = ordered(order, MOST), ordered(order, FOURTH)
        ratio_row(INPUTS[most], f"{FOURTH:,} records", times[most]["Blockfit"], times[fourth]["Blockfit"], goal)
    for name in BEFORE_INPUTS:
        if "before" in times[name]:
            ratio_row(INPUTS[name], "the build before", times[name]["Blockfit"], times[name]["before"], BEFORE_GOAL)

    table("input", "peak memory, MiB", "at most", "", "srec_cat, for scale")
    for name, goal in MEMORY_GOALS.items():
        other = peak_memory(steps("srec_cat", {}, name)[0][0])
        row(INPUTS[name], f"{peaks[name] / MIB:.1f}", f"{goal / MIB:.0f}", verdict(peaks[name], goal),
            f"{other / MIB:.1f}")

    table("median time, ms", *TOOLS)
    for name, by_tool in times.items():
        row(INPUTS[name], *[f"{median(by_tool[tool]) * 1000:.1f}" if tool in by_tool else "-" for tool in TOOLS])
    print(f"\nobjcopy is left out (-) where it takes minutes: shuffled, more than {OBJCOPY_MAX_SHUFFLED:,} records.")


def main():
    program, folder, num_rounds, times_path, *before = sys.argv[1:]
    programs = {"Blockfit": os.path.abspath(program)} | {"before": os.path.abspath(path) for path in before}
    times_path = os.path.abspath(times_path)
    os.chdir(folder)
    peaks = {name: check(programs, name) for name in INPUTS}
    os.sync()
    times = measure(programs, int(num_rounds))
    with open(times_path, "w") as file:
        json.dump(times, file)
    report(times, peaks, int(num_rounds))


if __name__ == "__main__":
    main()
