#!/usr/bin/env python3
"""Draws docs/conditioned-file.svg from a run of Blockfit; with --check, fails if the picture in the tree differs.

The input is examples/gaps.hex, the blocks have 96 characters: small enough to show the text of the complete file.
Everything drawn is read from the file that the tool writes. Needs only Python 3.
"""

import argparse
import dataclasses
import html
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PICTURE = ROOT / "docs" / "conditioned-file.svg"
INPUT = ROOT / "examples" / "gaps.hex"
BLOCK_SIZE = 96
PIECE_SIZE = 32  # bytes of a run that make a record, or two after a cut

CHAR_WIDTH = 9
LEFT = 76
TOP = 66
ROW_HEIGHT = 74
BOX_HEIGHT = 30
WIDTH = LEFT + BLOCK_SIZE * CHAR_WIDTH + 24

# Class: property, colour on a light page, colour on a dark one. Spelt out, because not every viewer supports variables.
COLOURS = {
    "card": ("fill", "#ffffff", "#0d1117"),
    "ink": ("fill", "#1f2328", "#e6edf3"),
    "soft": ("fill", "#656d76", "#9198a1"),
    "count": ("fill", "#8250df", "#c297ff"),
    "address": ("fill", "#0757b8", "#6cb6ff"),
    "checksum": ("fill", "#9a5b00", "#e0a84e"),
    "note-cut": ("fill", "#c2255c", "#ff7ba9"),
    "note-end": ("fill", "#1a7f37", "#56d364"),
    "record": ("fill", "#f3f5f8", "#1a212b"),
    "plain": ("stroke", "#8c959f", "#6e7681"),
    "cut": ("stroke", "#c2255c", "#ff7ba9"),
    "end": ("stroke", "#1a7f37", "#56d364"),
    "hatch": ("stroke", "#c8ced6", "#3d444d"),
    "block": ("stroke", "#1f2328", "#e6edf3"),
}

STYLE = """
  text { font: 12px ui-sans-serif, system-ui, "Segoe UI", Helvetica, Arial, sans-serif; }
  .title { font-size: 15px; font-weight: 600; }
  .mono { font: 14.9px ui-monospace, SFMono-Regular, Menlo, Consolas, "DejaVu Sans Mono", monospace; }
  .type { font-weight: 700; }
  .line-end { text-anchor: middle; }
  .hatch { stroke-width: 3; }
  .cut, .end { stroke-width: 2; }
  .block { fill: none; stroke-width: 1.5; }
"""


def style():
    def rules(which):
        return "\n".join(f"  .{css} {{ {row[0]}: {row[which]}; }}" for css, row in COLOURS.items())

    return f"{STYLE}{rules(1)}\n  @media (prefers-color-scheme: dark) {{\n{rules(2)}\n  }}\n"


@dataclasses.dataclass
class Line:
    """A line of the file, or all fill of a block together."""

    offset: int
    text: str  # without its line end; empty: fill
    num_chars: int
    part: str = ""  # which part of a cut record the line is

    @property
    def address_digits(self):
        return 4 + 2 * (int(self.text[1]) - 1) if self.text[1] in "123" else 4

    @property
    def address(self):
        return int(self.text[4 : 4 + self.address_digits], 16)

    @property
    def num_bytes(self):
        return int(self.text[2:4], 16) - self.address_digits // 2 - 1


def condition(program):
    """The text of the conditioned file that the program makes from INPUT."""
    with tempfile.TemporaryDirectory() as folder:
        base = pathlib.Path(folder) / "picture"
        command = [program, "-BlockAlign", f"{BLOCK_SIZE:x}", "-Out", base, INPUT]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        return base.with_suffix(".srec").read_bytes().decode("ascii")


def split(text):
    """The lines of the file. A record that starts inside a piece of its run is the rest of a cut one."""
    lines = []
    before = None
    run_start = 0
    offset = 0
    for line in text.split("\r\n")[:-1]:
        if line == "" and lines[-1].text == "" and offset % BLOCK_SIZE != 0:
            lines[-1].num_chars += 2
        else:
            lines.append(Line(offset, line, len(line) + 2))
        if line.startswith(("S1", "S2", "S3")):
            record = lines[-1]
            if before is None or before.address + before.num_bytes != record.address:
                run_start = record.address
            elif (record.address - run_start) % PIECE_SIZE != 0:
                before.part, record.part = "cut, ", "the rest, "
            before = record
        offset += len(line) + 2
    return lines


def draw_text(x, y, css, text, num_cells=0):
    """A text. With num_cells, it is stretched to that many character cells, whatever the font."""
    width = f' textLength="{num_cells * CHAR_WIDTH}" lengthAdjust="spacingAndGlyphs"' if num_cells else ""
    return f'<text x="{x}" y="{y}" class="{css}"{width}>{html.escape(text)}</text>'


def draw_record(line, x, y):
    fields = [
        ("ink type", 2),
        ("count", 2),
        ("address", line.address_digits),
        ("ink", 2 * line.num_bytes),
        ("checksum", 2),
    ]
    parts = []
    start = 0
    for css, num_chars in fields:
        if num_chars:
            field = line.text[start : start + num_chars]
            parts.append(draw_text(x + start * CHAR_WIDTH, y, f"mono {css}", field, num_chars))
        start += num_chars
    return parts


def note(line):
    """The label above the line: its css class and text."""
    if line.text == "":
        return "soft", "fill"
    if line.text[1] == "9":
        return "note-end", "end record"
    what = f"{line.text[:2]}, {line.part}{line.num_bytes} bytes at 0x{line.address:X}"
    return "note-cut" if line.part else "soft", what


def draw_line(line):
    block, column = divmod(line.offset, BLOCK_SIZE)
    x = LEFT + column * CHAR_WIDTH
    y = TOP + block * ROW_HEIGHT
    if line.text == "":
        css = 'fill="url(#fill)"'
    else:
        edge = "cut" if line.part else "end" if line.text[1] == "9" else "plain"
        css = f'class="record {edge}"'
    width = line.num_chars * CHAR_WIDTH
    parts = [f'<rect x="{x + 1}" y="{y + 1}" width="{width - 2}" height="{BOX_HEIGHT - 2}" rx="2" {css}/>']
    if line.text:
        parts += draw_record(line, x, y + 20)
    for end in range(len(line.text), line.num_chars, 2):
        parts.append(draw_text(x + (end + 1) * CHAR_WIDTH, y + 20, "mono soft line-end", "\u21b5"))
    return parts + [draw_text(x + 2, y - 5, *note(line))]


def draw(text):
    lines = split(text)
    num_blocks = -(-len(text) // BLOCK_SIZE)
    height = TOP + num_blocks * ROW_HEIGHT + 22
    title = f"{INPUT.name}, conditioned for blocks of {BLOCK_SIZE} characters"
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" role="img" '
        'aria-labelledby="title desc">',
        f'<title id="title">{title}</title>',
        '<desc id="desc">The text of the complete file, one row per block. Records never cross the end of a row: '
        "one that would is cut or moved to the next row, and the rest of the row is filled with line ends.</desc>",
        "<!-- drawn by tools/picture.py -->",
        f"<style>{style()}</style>",
        '<defs><pattern id="fill" width="7" height="7" patternUnits="userSpaceOnUse" patternTransform="rotate(45)">'
        '<path d="M0 0V7" class="hatch"/></pattern></defs>',
        f'<rect width="{WIDTH}" height="{height}" rx="8" class="card"/>',
        draw_text(LEFT, 28, "title ink", title),
    ]
    for block in range(num_blocks):
        y = TOP + block * ROW_HEIGHT
        num_chars = min(BLOCK_SIZE, len(text) - block * BLOCK_SIZE)
        parts.append(draw_text(14, y + 14, "ink", f"block {block}"))
        parts.append(draw_text(14, y + 29, "soft", f"from {block * BLOCK_SIZE}"))
        parts.append(
            f'<rect x="{LEFT}" y="{y}" width="{num_chars * CHAR_WIDTH}" height="{BOX_HEIGHT}" rx="3" class="block"/>'
        )
    for line in lines:
        parts += draw_line(line)
    x = LEFT
    for css, label in [
        ("mono ink type", "type"),
        ("mono count", "count"),
        ("mono address", "address"),
        ("mono ink", "data"),
        ("mono checksum", "checksum"),
        ("mono soft", "\u21b5 CR LF"),
    ]:
        parts.append(draw_text(x, height - 18, css, label, len(label)))
        x += (len(label) + 3) * CHAR_WIDTH
    return "\n".join(parts + ["</svg>", ""])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true", help="write nothing; fail if the picture in the tree differs")
    parser.add_argument("program", nargs="?", default=ROOT / "build" / "Blockfit", help="default: build/Blockfit")
    arguments = parser.parse_args()
    picture = draw(condition(arguments.program))
    if not arguments.check:
        PICTURE.write_text(picture, encoding="utf-8")
    elif not PICTURE.is_file() or PICTURE.read_text(encoding="utf-8") != picture:
        print(f"{PICTURE}: does not match what the tool writes today; redraw it with tools/picture.py", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
