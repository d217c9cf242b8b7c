"""Plants one-line faults in copies of the project, builds and tests each, and lists those that survive.

Usage: mutate.py COUNT SEED

A fault counts if it compiles to a program other than the original. It is caught if a test fails or does not end.
"""

import collections
import concurrent.futures
import os
import pathlib
import queue
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
COPIES = ROOT / "build" / "mutate"
SUITE = ["build/blockfit_tests", "--gtest_fail_fast", "--gtest_brief=1"]
SLOW_SUITE = ["ctest", "--test-dir", "build", "--tests-regex", "^CrossCheck$", "--no-tests=error"]
FAULTS_PER_COPY = 20  # fewer are tested faster than another copy is built
MAX_FILE_BYTES, MAX_MEMORY_BYTES = 1 << 30, 8 << 30  # limits for a test of code that runs wild

CAUGHT, TIMED_OUT, SURVIVES, SAME_PROGRAM, NO_PROGRAM = "caught", "timed out", "survives", "same program", "no program"

# Where no fault is planted: comments, string and character literals, and what only the compiler reads.
NO_CODE = re.compile(
    r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|(?<!\w)'(?:\\.|[^'\\\n])+'|^#[^\n]*|\bstatic_assert\b[^;]*",
    re.DOTALL | re.MULTILINE,
)

SWAPS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}
SWAPS |= {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "|", "<<": ">>", ">>": "<<"}
SWAPS |= {"++": "--", "--": "++", "true": "false", "false": "true"}


def swapped(old):
    return [SWAPS[old]]


def other_numbers(old):
    return [str(value) for value in (int(old, 0) + 1, int(old, 0) - 1) if value >= 0]


def dropped(old):
    return [""] if old.count("(") == old.count(")") else []


def negated(old):
    return [f"!({old})"] if old.count("(") == old.count(")") and ";" not in old else []


# A kind of fault, a pattern whose group is what it replaces, and a function that lists possible replacements.
OPERATORS = [
    ("comparison", r" (<|<=|>|>=|==|!=) ", swapped),
    ("arithmetic", r" ([-+*/%&|^]|<<|>>)=? ", swapped),
    ("arithmetic", r"(\+\+|--)", swapped),
    ("constant", r"(?<![\w.])(0[xX][0-9a-fA-F]+|0|[1-9]\d*)(?=[uUlL]*(?![\w.]))", other_numbers),
    ("constant", r"\b(true|false)\b", swapped),
    ("dropped call", r"^ +(?!return\b)((?:\w+(?:::|->|\.))*\w+\(.*\));$", dropped),
    ("negated condition", r"\b(?:if|while) \((.*)\) \{$", negated),
    ("negated condition", r" (&&|\|\|) ", swapped),
    ("negated condition", r"(!)(?=[\w(])", dropped),
]

# A fault in one line of a file (path, line number, kind), with the original and the changed line.
Fault = collections.namedtuple("Fault", "path line kind old new")


def faults_of_line(path, number, line, code):
    faults = []
    for kind, pattern, replacements in OPERATORS:
        for match in re.finditer(pattern, code):
            start, end = match.span(1)
            # The text to replace is taken from the line, because literals are blank in its code.
            for new in replacements(line[start:end]):
                faults.append(Fault(path, number, kind, line, line[:start] + new + line[end:]))
    return faults


def all_faults():
    """One fault for each line that can have one, in an order determined by the seed."""
    faults = []
    for path in sorted(path for path in (ROOT / "src").rglob("*") if path.suffix in (".cpp", ".h")):
        text = path.read_text()
        code = NO_CODE.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), text)
        for number, (line, line_code) in enumerate(zip(text.split("\n"), code.split("\n"))):
            if found := faults_of_line(path.relative_to(ROOT), number, line, line_code.rstrip()):
                faults.append(random.choice(found))
    random.shuffle(faults)
    return faults


def run(command, folder, seconds=None):
    """Whether the command succeeds, or None if it exceeds the given seconds of processor time, or ten times that on the
    clock. Anything it has started is ended with it."""

    def limit():
        if seconds is not None:
            resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_FSIZE, (MAX_FILE_BYTES, MAX_FILE_BYTES))
        resource.setrlimit(resource.RLIMIT_AS, (MAX_MEMORY_BYTES, MAX_MEMORY_BYTES))

    with tempfile.TemporaryDirectory() as scratch:
        process = subprocess.Popen(
            command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env=os.environ | {"TMPDIR": scratch, "SOURCE_DATE_EPOCH": "0"}, preexec_fn=limit, start_new_session=True)
        try:
            status = process.wait(None if seconds is None else 10 * seconds)
            return None if status == -signal.SIGXCPU else status == 0
        except subprocess.TimeoutExpired:
            return None
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()


def left_out(folder, names):
    """What is not copied with the project: builds, and what is installed or kept beside the sources."""
    is_root = pathlib.Path(folder) == ROOT
    return [name for name in names if name in (".git", "node_modules") or is_root and name.startswith("build")]


class Copy:
    """A copy of the project and its build, in which one fault at a time is planted."""

    def __init__(self, number):
        self.folder = COPIES / str(number)
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.copytree(ROOT, self.folder, ignore=left_out)
        configure = ["cmake", "-S", ".", "-B", "build", "-DBLOCKFIT_TESTS=ON", "-DCMAKE_BUILD_TYPE=Debug"]
        is_built = run(configure + ["-DCMAKE_CXX_FLAGS_DEBUG=-O1"], self.folder) and self.build()
        start = time.monotonic()
        if not is_built or not run(SUITE, self.folder) or not run(SLOW_SUITE, self.folder):
            sys.exit(f"The unchanged code does not build in {self.folder}, or does not pass its tests.")
        self.seconds = 10 + 2 * int(time.monotonic() - start)
        self.programs = self.read_programs()

    def build(self):
        return run(["cmake", "--build", "build", "--parallel", "2"], self.folder)

    def read_programs(self):
        paths = sorted((self.folder / "build").iterdir())
        return [path.read_bytes() for path in paths if path.is_file() and os.access(path, os.X_OK)]

    def try_fault(self, fault):
        path = self.folder / fault.path
        original = path.read_text()
        lines = original.split("\n")
        lines[fault.line] = fault.new
        path.write_text("\n".join(lines))
        try:
            if not self.build():
                return NO_PROGRAM
            if self.read_programs() == self.programs:
                return SAME_PROGRAM
            for suite in (SUITE, SLOW_SUITE):
                if not (passes := run(suite, self.folder, self.seconds)):
                    return TIMED_OUT if passes is None else CAUGHT
            return SURVIVES
        finally:
            path.write_text(original)


def results(faults, num_copies):
    """Each fault with its result, in order, as many as the caller takes."""
    copies = queue.Queue()

    def try_fault(fault):
        copy = copies.get()
        try:
            return fault, copy.try_fault(fault)
        finally:
            copies.put(copy)

    with concurrent.futures.ThreadPoolExecutor(num_copies) as executor:
        for copy in executor.map(Copy, range(num_copies)):
            copies.put(copy)
        pending = collections.deque()
        for fault in faults:
            pending.append(executor.submit(try_fault, fault))
            if len(pending) > num_copies:
                yield pending.popleft().result()
        while pending:
            yield pending.popleft().result()


def main():
    count, seed = int(sys.argv[1]), int(sys.argv[2])
    random.seed(seed)
    faults = all_faults()
    num_copies = min(len(os.sched_getaffinity(0)), 1 + (count - 1) // FAULTS_PER_COPY)
    print(f"{count} of the {len(faults)} lines that a fault can be planted in, seed {seed}", flush=True)
    counts = collections.Counter()
    for fault, result in results(faults, num_copies):
        counts[result] += 1
        if result == SURVIVES:
            place = f"{fault.path}:{fault.line + 1}"
            print(f"{place}: {fault.kind} survived\n  - {fault.old.strip()}\n  + {fault.new.strip()}", flush=True)
        if counts[CAUGHT] + counts[TIMED_OUT] + counts[SURVIVES] == count:
            break
    print(f"{counts[CAUGHT] + counts[TIMED_OUT]} caught, {counts[TIMED_OUT]} of them because a test did not end; "
          f"{counts[SURVIVES]} survived")
    print(f"Not counted: {counts[NO_PROGRAM]} that did not compile, {counts[SAME_PROGRAM]} that changed no program")


if __name__ == "__main__":
    main()
