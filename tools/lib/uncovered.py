"""Lists the lines and branches of a gcovr JSON report that no test reaches, as file:line."""

import json
import sys

with open(sys.argv[1], encoding="utf-8") as report:
    files = json.load(report)["files"]

print("Not reached by any test:")
for file in sorted(files, key=lambda file: file["file"]):
    for line in file["lines"]:
        place = f'{file["file"]}:{line["line_number"]}'
        taken = [branch["count"] > 0 for branch in line["branches"]]
        if line.get("gcovr/noncode"):
            continue
        if line["count"] == 0:
            print(f"{place}: line")
        elif not all(taken):
            print(f"{place}: {taken.count(False)} of {len(taken)} branches")
