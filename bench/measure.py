#!/usr/bin/env python3
"""Measures the program, two other tools and copying in turn; prints the tables of docs/performance.md as Markdown.

Usage: measure.py PROGRAM INPUT_DIRECTORY ROUNDS RESULTS [OTHER_PROGRAM]
RESULTS: receives the medians, for chart.py.
OTHER_PROGRAM: another build of the program, to be compared with this one in a table of its own.
A time is processor time, user and system, as hyperfine measures it: another load on the machine hardly shows in it.
The exit status is 1 if a bound is exceeded. Before anything is timed, srec_cmp compares the program's output for each
input with that input.
"""
import json
import os
import subprocess
import sys
from statistics import median

from make_inputs import DENSE, FOURTH, MOST, ORDERS, RAW, SECTIONS, SMALL, ordered

INPUTS = {DENSE: "32 MiB as Intel HEX", RAW: "32 MiB raw binary", SMALL: "4 KiB as Intel HEX",
          SECTIONS: "4 MiB in 24 sections out of order"}
INPUTS |= {ordered(order, size): f"{size:,} records, {order}" for order in ORDERS for size in (FOURTH, MOST)}
FORMATS = {"hex": ("ihex", "-Intel"), "srec": ("srec", "-Motorola"), "bin": ("binary", "-Binary")}
RESULT = "result.srec"
SMALL_RUNS = 200  # Runs of a millisecond need many repetitions in a round.

# Input, yardstick (a tool, or another input), the highest ratio of times.
BOUNDS = [(DENSE, "objcopy", 0.3), (DENSE, "srec_cat", 0.08), (SMALL, "objcopy", 0.8)]
BOUNDS += [(ordered(order, MOST), "srec_cat", 0.08 if order == "ascending" else 1) for order in ORDERS]
BOUNDS += [(ordered(order, MOST), ordered(order, FOURTH), 6.5) for order in ORDERS]


def conditioned(name):
    """The file that keeps the program's output for an input, to be read by copying and srec_cmp."""
    return f"{name}.conditioned"


def commands(programs, name):
    """The commands that each tool runs for an input, each with the file that gets its standard output."""
    bfd, srecord = FORMATS[name.split(".")[-1]]
    tools = {tool: [(f"{path} -Out result {name}", "null")] for tool, path in programs.items()}
    if "shuffled" not in name:  # with that many shuffled records, objcopy takes minutes
        tools["objcopy"] = [(f"objcopy -I {bfd} -O srec {name} {RESULT}", "null")]
    tools["srec_cat"] = [(f"srec_cat {name} {srecord} -Output {RESULT} -Motorola", "null")]
    tools["copying"] = [(f"cat {name}", "null"), (f"cat {conditioned(name)}", f"./{RESULT}")]
    return tools


def processor_seconds(command, output, runs):
    """The mean processor time of a command, which must succeed. No output exists before a run, so none has to be
    emptied."""
    subprocess.run(["hyperfine", "--shell=none", "--style=none", f"--runs={runs}", f"--prepare=rm -f {RESULT}",
                    f"--output={output}", "--export-json=times.json", command],
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    with open("times.json", encoding="utf-8") as file:
        result = json.load(file)["results"][0]
    return result["user"] + result["system"]


def check(program, name):
    """Conditions an input and checks that the result holds the same bytes. Returns the peak memory in MiB."""
    subprocess.run(["/usr/bin/time", "--format=%M", "--output=peak", program, "-Out", "result", name],
                   stdout=subprocess.DEVNULL, check=True)
    os.replace(RESULT, conditioned(name))
    compare = ["srec_cmp", name, FORMATS[name.split(".")[-1]][1], conditioned(name), "-Motorola"]
    if subprocess.run(compare, stderr=subprocess.DEVNULL, check=False).returncode != 0:
        sys.exit(f"{name}: the conditioned file does not hold the same bytes")
    with open("peak", encoding="ascii") as file:
        return int(file.read()) / 1024


def measure(programs, num_rounds):
    """The times by input, tool and round. Rounds are outermost, so that a slow minute affects every tool."""
    steps = {name: commands(programs, name) for name in INPUTS}
    times = {name: {tool: [] for tool in by_tool} for name, by_tool in steps.items()}
    for i in range(num_rounds):
        print(f"round {i + 1} of {num_rounds}", file=sys.stderr)
        for name, by_tool in steps.items():
            turn = i % len(by_tool)
            runs = SMALL_RUNS if name == SMALL else 2  # hyperfine wants two at least
            for tool in list(by_tool)[turn:] + list(by_tool)[:turn]:
                times[name][tool].append(sum(processor_seconds(*step, runs) for step in by_tool[tool]))
    return times


def table(*heads):
    print(f"\n| {' | '.join(heads)} |\n|{'---|' * len(heads)}")


def row(*cells):
    print(f"| {' | '.join(cells)} |")


def ratios(ours, theirs):
    """The median of the ratios within each round, and a text with the lowest and the highest."""
    each = [a / b for a, b in zip(ours, theirs)]
    return median(each), f"{median(each):.3f} ({min(each):.3f} to {max(each):.3f})"


def report(times, peaks):
    """Prints the tables. Returns whether every bound is kept."""
    tools = ["Blockfit", "objcopy", "srec_cat", "copying"]
    table("processor time in ms, memory in MiB", *tools, "Blockfit's peak memory")
    for name, label in INPUTS.items():
        cells = [f"{median(times[name][tool]) * 1000:.1f}" if tool in times[name] else "-" for tool in tools]
        row(label, *cells, f"{peaks[name]:.1f}")

    table("time of", "divided by that of", "at most", "measured")
    is_kept = True
    for name, other, bound in BOUNDS:
        theirs = times[other]["Blockfit"] if other in INPUTS else times[name][other]
        ratio, text = ratios(times[name]["Blockfit"], theirs)
        is_kept &= ratio <= bound
        row(INPUTS[name], f"{FOURTH:,} records" if other in INPUTS else other, f"{bound:g}",
            text if ratio <= bound else f"**{text}**")

    if "other" in times[DENSE]:
        table("time of", "divided by that of the other build")
        for name, label in INPUTS.items():
            row(label, ratios(times[name]["Blockfit"], times[name]["other"])[1])
    return is_kept


def main():
    program, folder, num_rounds, results, *other = sys.argv[1:]
    programs = {"Blockfit": os.path.abspath(program)} | {"other": os.path.abspath(path) for path in other}
    results = os.path.abspath(results)
    os.chdir(folder)
    peaks = {name: check(programs["Blockfit"], name) for name in INPUTS}
    os.sync()
    times = measure(programs, int(num_rounds))
    with open(results, "w", encoding="utf-8") as file:
        json.dump({name: {tool: median(each) for tool, each in by_tool.items()} for name, by_tool in times.items()},
                  file)
    print(f"Medians of {num_rounds} rounds; of the ratios also the lowest and the highest.")
    return 0 if report(times, peaks) else 1


if __name__ == "__main__":
    sys.exit(main())
