"""Plants one-line faults in a copy of the project, builds and tests each, and lists those that survive.

Usage: mutate.py COUNT SEED

A fault counts if it compiles to a program other than the original. It is caught if a test fails or does not end.
"""

import collections
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
COPY = ROOT / "build" / "mutate"
CONFIGURE = ["cmake", "-S", ".", "-B", "build", "-DBLOCKFIT_TESTS=ON", "-DCMAKE_BUILD_TYPE=Debug",
             "-DCMAKE_CXX_FLAGS_DEBUG=-O1"]
BUILD = ["cmake", "--build", "build"]
TEST = ["ctest", "--test-dir", "build", "--stop-on-failure", "--no-tests=error", "--timeout", "100"]

# Where no fault is planted: comments, string and character literals, and what only the compiler reads.
NO_CODE = re.compile(
    r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|(?<!\w)'(?:\\.|[^'\\\n])+'|^#[^\n]*|\bstatic_assert\b[^;]*",
    re.DOTALL | re.MULTILINE,
)

SWAPS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}
SWAPS |= {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "|", "<<": ">>", ">>": "<<"}
SWAPS |= {"++": "--", "--": "++", "true": "false", "false": "true"}


def next_number(old):
    return str(abs(int(old, 0) + random.choice([-1, 1])))


# Kinds of faults: a pattern whose group is what the fault replaces, and a function that returns the replacement.
OPERATORS = [
    (r" (<|<=|>|>=|==|!=|&&|\|\|) ", SWAPS.get),
    (r" ([-+*/%&|^]|<<|>>)=? ", SWAPS.get),
    (r"(\+\+|--)", SWAPS.get),
    (r"\b(true|false)\b", SWAPS.get),
    (r"(?<![\w.])(0[xX][0-9a-fA-F]+|0|[1-9]\d*)(?=[uUlL]*(?![\w.]))", next_number),
    (r"^ +(?!return\b)((?:\w+(?:::|->|\.))*\w+\(.*\));$", lambda call: ""),
    (r"\b(?:if|while) \((.*)\) \{$", lambda condition: f"!({condition})"),
    (r"(!)(?=[\w(])", lambda negation: ""),
]

# A fault in a line of a file, with the original and the changed line.
Fault = collections.namedtuple("Fault", "path number old new")


def all_faults():
    """One fault for each line that can have one, in random order."""
    faults = []
    for path in sorted(path for path in COPY.glob("src/**/*") if path.suffix in (".cpp", ".h")):
        text = path.read_text()
        code = NO_CODE.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), text)
        for number, (line, line_code) in enumerate(zip(text.split("\n"), code.split("\n"))):
            places = [(match.span(1), replace) for pattern, replace in OPERATORS
                      for match in re.finditer(pattern, line_code.rstrip())]
            if places:
                (start, end), replace = random.choice(places)
                # What is replaced is taken from the line, because literals are blank in its code.
                new = line[:start] + replace(line[start:end]) + line[end:]
                faults.append(Fault(path, number, line, new))
    random.shuffle(faults)
    return faults


def succeeds(command):
    return subprocess.run(command, cwd=COPY, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, check=False).returncode == 0


def read_programs():
    files = sorted(path for path in (COPY / "build").iterdir() if path.is_file() and os.access(path, os.X_OK))
    return [path.read_bytes() for path in files]


def try_fault(fault, programs):
    original = fault.path.read_text()
    lines = original.split("\n")
    lines[fault.number] = fault.new
    fault.path.write_text("\n".join(lines))
    try:
        if not succeeds(BUILD):
            return "did not compile"
        if read_programs() == programs:
            return "changed no program"
        return "survived" if succeeds(TEST) else "caught"
    finally:
        fault.path.write_text(original)


def main():
    count = int(sys.argv[1])
    random.seed(int(sys.argv[2]))
    shutil.rmtree(COPY, ignore_errors=True)
    shutil.copytree(ROOT, COPY, ignore=shutil.ignore_patterns(".git", "build*", "node_modules"))
    if not all(map(succeeds, [CONFIGURE, BUILD, TEST])):
        sys.exit(f"The unchanged code does not build in {COPY}, or does not pass its tests.")
    programs = read_programs()
    results = collections.Counter()
    for fault in all_faults():
        result = try_fault(fault, programs)
        results[result] += 1
        if result == "survived":
            place = f"{fault.path.relative_to(COPY)}:{fault.number + 1}"
            print(f"{place}\n  - {fault.old.strip()}\n  + {fault.new.strip()}", flush=True)
        if results["caught"] + results["survived"] == count:
            break
    print(", ".join(f"{number} {result}" for result, number in results.most_common()))


if __name__ == "__main__":
    main()
