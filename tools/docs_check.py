#!/usr/bin/env python3
"""Checks the Markdown pages of the tree: that links work, that quoted code is in the sources, and that examples work.

A link within the tree must name an existing file or folder, and an anchor must be a heading of that page. A path in
backquotes must exist, a name like SYS_Alloc must occur in the sources, and so must a block marked "cpp", word for word.
An example is a fenced block marked "console": lines that begin with "$ " are run by bash, one after the other, and the
lines that follow are what each must print; a line "..." matches any lines. Each page's examples run in a new folder,
which holds a copy of examples/, and a sample of each kind as fw.hex, fw.bin, fw.elf and so on. A block marked with a
language and a file name is written to that file. Needs Python 3 and objcopy.
"""

import argparse
import dataclasses
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
FENCE = re.compile(r"^ *(```|~~~)(.*)$")
LINK = re.compile(r"""!?\[[^\]]*\]\(<?([^)\s>]+)>?[^)]*\)|<(?:img|a|source)[^>]*?(?:src|href|srcset)="([^"]+)\"""")
MARK = "--- end of the command ---"


@dataclasses.dataclass
class Page:
    path: pathlib.Path
    text: list  # (line number, line) outside of fenced blocks
    blocks: list  # (line number, the block's mark, lines)


def read_page(path):
    page = Page(path, [], [])
    block = None
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        fence = FENCE.match(line)
        if fence and block is None:
            block = (number, fence[2].strip(), [])
        elif fence:
            page.blocks.append(block)
            block = None
        elif block is not None:
            block[2].append(line)
        else:
            page.text.append((number, line))
    return page


def anchors(page):
    """The anchors of a page's headings: lower case, spaces become hyphens, only letters, digits, - and _ are kept."""
    found = set()
    for _, line in page.text:
        heading = re.match(r"#+ +(.*)", line)
        if heading:
            slug = re.sub(r"[^\w\- ]", "", heading[1].strip().lower()).replace(" ", "-")
            found.add(slug if slug not in found else f"{slug}-1")
    return found


def check_links(page, pages):
    for number, line in page.text:
        for match in LINK.finditer(re.sub(r"`[^`]*`", "", line)):
            link = match[1] or match[2]
            if re.match(r"[a-z]+:", link):
                continue
            name, _, anchor = link.partition("#")
            target = (page.path.parent / name).resolve() if name else page.path
            if not target.exists() or ROOT not in [target, *target.parents]:
                yield number, f"{link} does not exist"
            elif anchor and (target not in pages or anchor not in anchors(pages[target])):
                yield number, f"no such heading: {link}"


def check_code(page, sources):
    for number, line in page.text:
        for code in re.findall(r"`([^`]*)`", line):
            is_path = re.fullmatch(r"(src|tests|docs|tools|examples|man|cmake|\.ci)/[\w./-]*", code)
            if is_path and not (ROOT / code).exists():
                yield number, f"{code} does not exist"
            if re.fullmatch(r"[A-Z]{2,}_\w+", code) and not re.search(rf"\b{code}\b", sources):
                yield number, f"{code} does not occur in the sources"
    for number, kind, lines in page.blocks:
        if kind == "cpp" and "\n".join(lines) not in sources:
            yield number, "this code does not occur in the sources"


def commands(block):
    """The commands of an example and the lines they must print: (line number, command, lines)."""
    found = []
    for number, line in enumerate(block[2], block[0] + 1):
        if line.startswith("$ "):
            found.append((number, line[2:], []))
        elif found:
            found[-1][2].append(line)
    return found


def matches(expected, lines):
    if not expected:
        return not lines
    if expected[0] == "...":
        return any(matches(expected[1:], lines[i:]) for i in range(len(lines) + 1))
    return bool(lines) and expected[0].rstrip() == lines[0].rstrip() and matches(expected[1:], lines[1:])


def run_block(block, folder, path):
    steps = commands(block)
    script = "".join(f"{command}\n__Status=$?; echo; echo '{MARK}'; (exit $__Status)\n" for _, command, _ in steps)
    environment = os.environ | {"PATH": path, "LC_ALL": "C.UTF-8"}
    run = subprocess.run(
        ["bash", "-c", script], cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT, check=False,
    )
    outputs = run.stdout.decode(errors="replace").split(f"\n{MARK}\n")
    for (number, command, expected), output in zip(steps, outputs):
        if not matches(expected, output.splitlines()):
            yield number, f"{command}\nprints\n{output}"
    if len(outputs) != len(steps) + 1:
        yield block[0], "the example ended too early"


def check_examples(page, path):
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        shutil.copytree(ROOT / "examples", work / "examples")
        for sample in (ROOT / "examples").glob("sample.*"):
            shutil.copy(sample, work / f"fw{sample.suffix}")
        make_elf = "objcopy -I binary -O elf32-little --change-section-address .data=0x8000 fw.bin fw.elf"
        subprocess.run(make_elf.split(), cwd=work, check=True)
        for block in page.blocks:
            if block[1] == "console":
                yield from run_block(block, work, path)
            elif " " in block[1]:
                (work / block[1].split()[1]).write_text("\n".join(block[2]) + "\n", encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folders", nargs="*", help="folders of the programs that the examples run")
    path = os.pathsep.join([*map(os.path.abspath, parser.parse_args().folders), os.environ["PATH"]])
    others = ("build", "node_modules")  # beginnings of names of folders with the pages of others
    files = [file for file in ROOT.rglob("*.md")
             if not any(part.startswith(others) for part in file.relative_to(ROOT).parts)]
    pages = {file: read_page(file) for file in sorted(files)}
    source_files = [*ROOT.glob("src/**/*.[ch]*"), *ROOT.glob("examples/consumer/*.[ch]")]
    sources = "\n".join(file.read_text(encoding="utf-8") for file in source_files)
    num_wrong = 0
    for page in pages.values():
        for number, problem in [*check_links(page, pages), *check_code(page, sources), *check_examples(page, path)]:
            print(f"{page.path.relative_to(ROOT)}:{number}: {problem}", file=sys.stderr)
            num_wrong += 1
    num_examples = sum(len(commands(b)) for p in pages.values() for b in p.blocks if b[1] == "console")
    print(f"{len(pages)} pages, {num_examples} commands in examples, {num_wrong} problems")
    return 1 if num_wrong or not num_examples else 0


if __name__ == "__main__":
    sys.exit(main())
