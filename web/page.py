#!/usr/bin/env python3
"""Puts the page and its program into one HTML file: page.py PROGRAM.js VERSION OUTPUT.html.

PROGRAM.js is what emscripten made, PROGRAM.wasm is beside it. Styles and scripts are allowed by their hashes, so the
page runs what is in this file and nothing else, and connects to nothing. Needs Python 3 only.
"""

import base64
import hashlib
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
SCRIPTS = ["numbers.js", "output.js", "drawings.js", "page.js"]


def read(path):
    return path.read_text(encoding="utf-8")


def hash_of(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"


def data_block(name, text):
    if "</script" in text.lower() or "<!--" in text:
        sys.exit(f"{name}: its text would end the element that holds it")
    return f'<script type="text/plain" id="{name}">{text}</script>'


def main(loader, version, output):
    style = read(HERE / "style.css")
    script = "'use strict';\n" + "\n".join(read(HERE / name) for name in SCRIPTS)
    policy = [
        "default-src 'none'",
        f"script-src {hash_of(script)} 'wasm-unsafe-eval'",
        "worker-src blob:",
        f"style-src {hash_of(style)}",
        "img-src data:",
        "base-uri 'none'",
        "form-action 'none'",
    ]
    parts = {
        "@POLICY@": "; ".join(policy),
        "@STYLE@": style,
        "@VERSION@": version,
        "@DATA@": "\n".join([
            data_block("program", base64.b64encode(loader.with_suffix(".wasm").read_bytes()).decode()),
            data_block("loader", read(loader)),
            data_block("worker", read(HERE / "worker.js")),
        ]),
        "@SCRIPT@": script,
    }
    page = read(HERE / "index.html")
    for mark, text in parts.items():
        page = page.replace(mark, text, 1)
    output.write_text(page, encoding="utf-8", newline="\n")


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), sys.argv[2], pathlib.Path(sys.argv[3]))
