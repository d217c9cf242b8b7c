#!/usr/bin/python3
"""Draws the medians that measure.py left as two pictures, for light and dark pages.

Usage: chart.py RESULTS FOLDER
Writes FOLDER/speed-light.svg and FOLDER/speed-dark.svg. Runs on the system's Python, where Debian has matplotlib.
"""
import json
import sys
from pathlib import Path

import matplotlib

from make_inputs import DENSE, MOST, RAW, SMALL, ordered

matplotlib.use("svg")
from matplotlib import pyplot  # noqa: E402  (it takes the backend that is set before)

ROWS = {
    SMALL: "4 KiB of Intel HEX",
    DENSE: "32 MiB of Intel HEX",
    RAW: "32 MiB raw binary",
    ordered("ascending", MOST): "524,288 records, ascending",
    ordered("descending", MOST): "… descending",
    ordered("ascending with gaps", MOST): "… ascending with gaps",
    ordered("shuffled", MOST): "… shuffled",
}
# Tool, marker, colour on a light page, colour on a dark page.
TOOLS = [("copying", "|", "#57606a", "#9aa4af"), ("Blockfit", "o", "#1f5fbf", "#79a9e6"),
         ("objcopy", "s", "#b3261e", "#ff8d85"), ("srec_cat", "D", "#8a5300", "#e0a84e")]
TICKS = {0.001: "1 ms", 0.01: "10 ms", 0.1: "100 ms", 1: "1 s"}


def draw(times, is_dark, path):
    ink, faint = ("#e6edf3", "#3d444d") if is_dark else ("#1f2328", "#d1d9e0")
    figure, axes = pyplot.subplots(figsize=(8.6, 3.9), layout="constrained")
    rows = range(len(ROWS))
    for name, row in zip(ROWS, rows):
        axes.plot([min(times[name].values()), max(times[name].values())], [row, row], color=faint, zorder=1)
    for tool, marker, light, dark in TOOLS:
        places = [(times[name][tool], row) for name, row in zip(ROWS, rows) if tool in times[name]]
        size = 9 if tool == "Blockfit" else 7
        axes.plot(*zip(*places), marker, color=dark if is_dark else light, markersize=size, markeredgewidth=2,
                  label=tool)
    axes.set_xscale("log")
    axes.set_xticks(list(TICKS), TICKS.values())
    axes.set_yticks(rows, ROWS.values())
    axes.invert_yaxis()
    axes.grid(axis="x", color=faint)
    axes.set_axisbelow(True)
    axes.tick_params(which="both", colors=ink, length=0)
    axes.spines[:].set_visible(False)
    axes.set_title("Processor time: further left is faster", loc="left", color=ink)
    axes.legend(loc="upper center", bbox_to_anchor=(0.4, -0.08), ncols=len(TOOLS), frameon=False, labelcolor=ink)
    figure.savefig(path, transparent=True, metadata={"Date": None})


def main():
    results, folder = map(Path, sys.argv[1:])
    times = json.loads(results.read_text(encoding="utf-8"))
    pyplot.rcParams |= {"font.size": 11, "svg.fonttype": "none", "svg.hashsalt": "speed",
                        "font.family": "sans-serif"}
    draw(times, False, folder / "speed-light.svg")
    draw(times, True, folder / "speed-dark.svg")


if __name__ == "__main__":
    main()
