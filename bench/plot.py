#!/usr/bin/env python3
"""Draws time against number of records as SVG: a panel for each order of the records, a line for each tool.

Usage: plot.py TIMES_JSON >PLOT.svg
"""
import json
import math
import sys
from statistics import median

from make_inputs import ORDERS, SIZES, ordered

# A tool's colour on a light and a dark background, and its dashes for readers who cannot see colours.
LINES = {
    "Blockfit": ("#0060a8", "#6cb8ff", "none"),
    "objcopy": ("#00795a", "#35c9a0", "7 3"),
    "srec_cat": ("#b84a00", "#ff9d5c", "2 3"),
    "copying": ("#6e7781", "#9ea7b1", "8 3 2 3"),
}
TEXT, GRID = ("#1f2328", "#e6edf3"), ("#d0d7de", "#3d444d")
WIDTH, HEIGHT, COLUMNS = 920, 600, 3
PANEL_WIDTH, PANEL_HEIGHT = 225, 215
LEFT, TOP, STEP_X, STEP_Y = 78, 36, 280, 275
MS_TICKS = {1: "1 ms", 10: "10 ms", 100: "100 ms", 1000: "1 s", 10000: "10 s"}


def colours(ground):
    """The rules for everything whose colour differs between a light (0) and a dark (1) background."""
    rules = [f"text {{ fill: {TEXT[ground]} }}", f".grid {{ stroke: {GRID[ground]} }}"]
    rules += [f".s{i} {{ stroke: {line[ground]} }} .f{i} {{ fill: {line[ground]} }}"
              for i, line in enumerate(LINES.values())]
    return " ".join(rules)


def text(x, y, content, anchor="middle", more=""):
    print(f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}"{more}>{content}</text>')


def polyline(points, css):
    print(f'<polyline points="{" ".join(f"{x:.1f},{y:.1f}" for x, y in points)}" class="{css}"/>')


def curve(i, points):
    polyline(points, f"curve s{i}")
    for x, y in points:
        print(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" class="f{i}"/>')


def place(value, ticks):
    """The position of a value on a logarithmic axis: 0 at the first tick, 1 at the last."""
    ticks = list(ticks)
    return math.log(value / ticks[0]) / math.log(ticks[-1] / ticks[0])


def panel(order, left, top, times):
    right, bottom = left + PANEL_WIDTH, top + PANEL_HEIGHT
    across = {size: left + place(size, SIZES) * PANEL_WIDTH for size in SIZES}
    text((left + right) / 2, top - 12, order, more=' font-weight="bold"')
    for size, x in across.items():
        polyline([(x, top), (x, bottom)], "grid")
        text(x, bottom + 16, f"{size >> 10} Ki")
    for ms, label in MS_TICKS.items():
        y = bottom - place(ms, MS_TICKS) * PANEL_HEIGHT
        polyline([(left, y), (right, y)], "grid")
        if left == LEFT:
            text(left - 8, y + 4, label, "end")
    for i, tool in enumerate(LINES):
        rounds = {size: times[ordered(order, size)].get(tool) for size in SIZES}
        curve(i, [(across[size], bottom - place(median(rounds[size]) * 1000, MS_TICKS) * PANEL_HEIGHT)
                  for size in SIZES if rounds[size]])


def legend(left, top):
    for i, tool in enumerate(LINES):
        y = top + 30 * i
        curve(i, [(left, y), (left + 44, y)])
        text(left + 56, y + 4, tool, "start")


def main():
    with open(sys.argv[1]) as file:
        times = json.load(file)
    print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-size="12" '
          'font-family="system-ui, sans-serif" role="img">')
    print("<title>Time of a run against the number of records, for each order of records and each tool</title>")
    print("<style>.grid { fill: none } .curve { fill: none; stroke-width: 2 }")
    print(" ".join(f".s{i} {{ stroke-dasharray: {dashes} }}" for i, (_, _, dashes) in enumerate(LINES.values())))
    print(f"{colours(0)}\n@media (prefers-color-scheme: dark) {{ {colours(1)} }}</style>")
    for i, order in enumerate(ORDERS):
        panel(order, LEFT + i % COLUMNS * STEP_X, TOP + i // COLUMNS * STEP_Y, times)
    legend(LEFT + 2 * STEP_X + 30, TOP + STEP_Y + 60)
    text(WIDTH / 2, HEIGHT - 14, "records of 16 bytes")
    text(0, 0, "time of a run", more=f' transform="translate(16 {HEIGHT / 2 - 10:.0f}) rotate(-90)"')
    print("</svg>")


if __name__ == "__main__":
    main()
