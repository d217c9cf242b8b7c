#!/usr/bin/env python3
"""Checks the Markdown pages of the tree: that links work, that quoted code is in the sources, and that examples work.

A link within the tree must name a file or folder, and an anchor a heading of that page. A path in backquotes must
exist, and a name like SYS_Alloc must occur in the sources, as must a block marked "cpp". A fenced block marked
"console" is an example: bash runs the lines that begin with "$ ", and each must print the lines that follow it; a line
"..." stands for any lines. The examples of a page run in a new folder with a copy of examples/, and the sample as
fw.hex, fw.bin, fw.elf and so on. A block marked with a language and a file name is written to that file.

Usage: docs_check.py [FOLDER...], the folders of the programs that the examples run
"""

import collections
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
FENCED = re.compile(r"^ *```(.*)\n((?:.*\n)*?) *```$", re.MULTILINE)
LINK = re.compile(r"\[[^\]]*\]\(<?([^)\s>]+)|<(?:img|a|source)[^>]*?(?:src|href|srcset)=\"([^\"]+)")
PATH = re.compile(r"(src|tests|docs|tools|examples|man|cmake|\.ci)/[\w./-]*")
OTHERS = re.compile(r"build|.*\bnode_modules\b")  # folders with the pages of others
MAKE_ELF = "objcopy -I binary -O elf32-little --change-section-address .data=0x8000 fw.bin fw.elf"

# The text of a page without its fenced blocks, and the blocks: (mark, text).
Page = collections.namedtuple("Page", "text blocks")


def read_page(path):
    text = path.read_text(encoding="utf-8")
    return Page(FENCED.sub("", text), [(mark.strip(), block) for mark, block in FENCED.findall(text)])


def anchors(page):
    """What the page's headings are called in links: lower case, hyphens for spaces, without other marks."""
    headings = re.findall(r"^#+ +(.*)", page.text, re.MULTILINE)
    return [re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-") for heading in headings]


def wrong_links(path, pages):
    for match in LINK.finditer(re.sub(r"`[^`]*`", "", pages[path].text)):
        link = match[1] or match[2]
        name, _, anchor = link.partition("#")
        target = (path.parent / name).resolve() if name else path
        if re.match(r"[a-z]+:", link):
            continue
        if not target.exists() or ROOT not in [target, *target.parents]:
            yield f"{link} does not exist"
        elif anchor and (target not in pages or anchor not in anchors(pages[target])):
            yield f"no such heading: {link}"


def wrong_code(page, sources):
    for code in re.findall(r"`([^`\n]*)`", page.text):
        if PATH.fullmatch(code) and not (ROOT / code).exists():
            yield f"{code} does not exist"
        if re.fullmatch(r"[A-Z]{2,}_\w+", code) and not re.search(rf"\b{code}\b", sources):
            yield f"{code} does not occur in the sources"
    for mark, block in page.blocks:
        if mark == "cpp" and block not in sources:
            yield f"does not occur in the sources:\n{block}"


def run_example(block, folder, path):
    """Runs the commands of a block, and compares the block with what a terminal would show."""
    commands = re.findall(r"^\$ (.*)\n", block, re.MULTILINE)
    script = "".join(f"echo {shlex.quote('$ ' + command)}\n{command}\n" for command in commands)
    run = subprocess.run(["bash", "-c", script], cwd=folder, env=os.environ | {"PATH": path, "LC_ALL": "C.UTF-8"},
                         stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    shown = re.sub(r" +$", "", run.stdout.decode(errors="replace"), flags=re.MULTILINE)
    expected = "".join("(.*\n)*" if line == "..." else re.escape(line) + "\n" for line in block.splitlines())
    if not re.fullmatch(expected, shown):
        yield f"this example\n{block}shows\n{shown}"


def wrong_examples(page, path):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        shutil.copytree(ROOT / "examples", folder / "examples")
        for sample in (ROOT / "examples").glob("sample.*"):
            shutil.copy(sample, folder / f"fw{sample.suffix}")
        subprocess.run(MAKE_ELF.split(), cwd=folder, check=True)
        for mark, block in page.blocks:
            if mark == "console":
                yield from run_example(block, folder, path)
            elif " " in mark:
                (folder / mark.split()[1]).write_text(block, encoding="utf-8")


def main():
    path = os.pathsep.join([*map(os.path.abspath, sys.argv[1:]), os.environ["PATH"]])
    files = [file for file in sorted(ROOT.rglob("*.md")) if not OTHERS.match(str(file.relative_to(ROOT)))]
    pages = {file: read_page(file) for file in files}
    source_files = [*ROOT.glob("src/**/*.[ch]*"), *ROOT.glob("examples/*/*.[ch]")]
    sources = "\n".join(file.read_text(encoding="utf-8") for file in source_files)
    problems = [f"{file.relative_to(ROOT)}: {problem}" for file, page in pages.items() for problem in
                [*wrong_links(file, pages), *wrong_code(page, sources), *wrong_examples(page, path)]]
    print(*problems, f"{len(pages)} pages, {len(problems)} problems", sep="\n")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
