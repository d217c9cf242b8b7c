#!/usr/bin/env python3
"""Tries what Windows users may type for files, in Wine: windows_paths.py BLOCKFIT_EXE"""
import subprocess
import sys
import tempfile
from pathlib import Path

# Arguments after -o, between bars, and the file that is made; {} is the current folder. The last argument is the input.
MADE = {"x|fw.hex": "x.srec", r"old\x|fw.hex": "old/x.srec", "old/|fw.hex": "old/.srec", "old\\|fw.hex": "old/.srec",
        r"new\a/x|fw.hex": "new/a/x.srec", "new./x.|fw.hex": "new/x..srec", "Z:x|fw.hex": "x.srec",
        r"Z:{}\x|fw.hex": "x.srec", "{}/new/x|fw.hex": "new/x.srec", r".\old\..\ü 漢|fw.hex": "ü 漢.srec",
        r"x|old\in.hex": "x.srec", "x|Z:fw.hex": "x.srec", r"x|Z:{}\fw.hex": "x.srec", "x|ü 漢.hex": "x.srec"}
REFUSED = ["nul", "Aux", "con", "com1", "lpt9.x", r"old\nul", "prn ", r"\\.\com1", "//./nul", "CONOUT$", "fw:x",
           "fw.hex:x", "Z:fw.hex:x", "a?b", "fw.hex/x", r"Q:\x", r"\\server\share\x", r"\\?\Z:{}\x"]
wrong = []
for arguments, made in [*MADE.items(), *((f"{name}|fw.hex", None) for name in REFUSED)]:
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        (folder / "old").mkdir()
        inputs = [folder / "fw.hex", folder / "ü 漢.hex", folder / "old/in.hex"]
        for file in inputs:
            file.write_bytes(Path("examples/sample.hex").read_bytes())
        typed = arguments.replace("{}", name).split("|")
        run = subprocess.run(["wine", Path(sys.argv[1]).resolve(), "-o", *typed], cwd=folder, capture_output=True)
        files = [str(file.relative_to(folder)) for file in folder.rglob("*") if file.is_file() and file not in inputs]
        text = f"from {typed[1]}.\nWriting destination file to {Path(made or '').name}".encode()
        right = ([made], 0) if made else ([], 1)
        if text not in run.stdout or b"\r" in run.stdout or (files, run.returncode) != right:
            wrong.append((arguments, files, run))
print(f"{len(MADE)} paths that work, {len(REFUSED)} that do not; wrong: {wrong or 'none'}")
sys.exit(len(wrong) != 0)
