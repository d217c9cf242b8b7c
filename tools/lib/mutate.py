"""Plants one-line faults in src/, one at a time, builds and tests each, and lists those that survive.

Usage: mutate.py COUNT SEED, in a copy of the project whose build, in build/, passes its tests

A fault counts if it compiles to a program other than the original. It is caught if a test fails or does not end.
"""
import collections
import os
import pathlib
import random
import re
import subprocess
import sys

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


def all_faults():
    """(path, number of a line, how it is changed): one for each line that can have one, in random order."""
    faults = []
    for path in sorted(pathlib.Path("src").glob("**/*.[ch]*")):
        text = path.read_text()
        code = NO_CODE.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), text)
        for number, (line, line_code) in enumerate(zip(text.split("\n"), code.split("\n"))):
            places = [(match.span(1), replace) for pattern, replace in OPERATORS
                      for match in re.finditer(pattern, line_code.rstrip())]
            if places:
                (start, end), replace = random.choice(places)
                # What is replaced is taken from the line, because literals are blank in its code.
                faults.append((path, number, line[:start] + replace(line[start:end]) + line[end:]))
    random.shuffle(faults)
    return faults


def succeeds(command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, check=False).returncode == 0


def read_programs():
    files = sorted(path for path in pathlib.Path("build").iterdir() if path.is_file() and os.access(path, os.X_OK))
    return [path.read_bytes() for path in files]


def build_and_test(original_programs):
    if not succeeds(BUILD):
        return "did not compile"
    if read_programs() == original_programs:
        return "changed no program"
    return "survived" if succeeds(TEST) else "caught"


def main():
    random.seed(int(sys.argv[2]))
    programs, results = read_programs(), collections.Counter()
    for path, number, new in all_faults():
        original = path.read_text()
        lines = original.split("\n")
        old, lines[number] = lines[number], new
        path.write_text("\n".join(lines))
        result = build_and_test(programs)
        path.write_text(original)
        results[result] += 1
        if result == "survived":
            print(f"{path}:{number + 1}\n  - {old.strip()}\n  + {new.strip()}", flush=True)
        if results["caught"] + results["survived"] == int(sys.argv[1]):
            break
    print(", ".join(f"{number} {result}" for result, number in results.most_common()))


if __name__ == "__main__":
    main()
