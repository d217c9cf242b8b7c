#!/usr/bin/env python3
"""Puts the page and its program into one HTML file: page.py PROGRAM.js VERSION OUTPUT.html.

PROGRAM.js is what emscripten made, PROGRAM.wasm is beside it. Styles and scripts are allowed by their hashes, so the
page runs what is in this file and nothing else, and connects to nothing. Needs the libraries in node_modules.
"""

import base64
import hashlib
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
SCRIPTS = ["numbers", "names", "settings", "jobs", "saving", "map", "picture", "blocks", "rows", "page"]
LIBRARIES = {"fflate": "umd/index.js", "preact": "dist/preact.min.umd.js"}


def read(path):
    return path.read_text(encoding="utf-8")


def hash_of(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"


def element(text, attributes=""):
    if "</script" in text.lower() or "<!--" in text:
        sys.exit(f"a script{attributes} has a text that would end it")
    return f"<script{attributes}>{text}</script>"


def data_block(name, text):
    return element(text, f' type="text/plain" id="{name}"')


def library(name, path):
    folder = HERE / "node_modules" / name
    return f"/* {name}\n{read(folder / 'LICENSE')} */\n{read(folder / path)}"


def main(loader, version, output):
    style = read(HERE / "style.css")
    scripts = [library(*item) for item in LIBRARIES.items()]
    scripts.append("'use strict';\n" + "\n".join(read(HERE / f"{name}.js") for name in SCRIPTS))
    policy = (
        f"default-src 'none'; script-src {' '.join(map(hash_of, scripts))} 'wasm-unsafe-eval'; worker-src blob:; "
        f"style-src {hash_of(style)}; img-src data:; base-uri 'none'; form-action 'none'"
    )
    parts = {
        "@POLICY@": policy,
        "@STYLE@": style,
        "@VERSION@": version,
        "@DATA@": "\n".join([
            data_block("program", base64.b64encode(loader.with_suffix(".wasm").read_bytes()).decode()),
            data_block("loader", read(loader)), data_block("worker", read(HERE / "worker.js")),
        ]),
        "@SCRIPTS@": "\n".join(map(element, scripts)),
    }
    page = read(HERE / "index.html")
    for mark, text in parts.items():
        page = page.replace(mark, text, 1)
    output.write_text(page, encoding="utf-8", newline="\n")


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), sys.argv[2], pathlib.Path(sys.argv[3]))
