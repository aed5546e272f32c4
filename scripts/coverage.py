#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints, for each folder, what share of its lines and branches the tests reached, and the lines that nobody reached.

  scripts/coverage.py FILE.json [--lines]

FILE.json is what gcovr wrote. With --lines every line that was not reached is printed, else only those of the agent's
rooms that scripts/coverage.reasons has no reason for: a line of it is FILE: TEXT: REASON, TEXT being a part of the source
line, or `*` for all of a file. Ends with 1 if the agent's rooms are below their aims: 95% of lines, 85% of branches.
"""
import json
import os
import sys
from collections import defaultdict

AGENT = ("agent", "channels", "core", "dorvald", "ha", "inventory", "lib", "platform", "velmar")
AIMS = (95, 85)
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def reasons():
    known = defaultdict(list)
    path = os.path.join(ROOT, "scripts", "coverage.reasons")
    with open(path) if os.path.exists(path) else open(os.devnull) as file:
        for line in file:
            if line.strip() and not line.startswith("#"):
                name, text, _ = line.split(": ", 2)
                known[name].append(text)
    return known


def main():
    with open(sys.argv[1]) as file:
        files = json.load(file)["files"]
    counts = defaultdict(lambda: [0, 0, 0, 0])
    known = reasons()
    left = []
    for entry in files:
        name = entry["file"]
        room = name.split("/")[0]
        with open(os.path.join(ROOT, name)) as file:
            source = file.read().split("\n")
        for line in entry["lines"]:
            if line.get("gcovr/noncode"):
                continue
            reached = [branch["count"] > 0 for branch in line["branches"]]
            for key in (room, "agent's rooms") if room in AGENT else (room,):
                sums = counts[key]
                sums[0] += line["count"] > 0
                sums[1] += 1
                sums[2] += sum(reached)
                sums[3] += len(reached)
            text = source[line["line_number"] - 1].strip()
            if line["count"] == 0 and ("--lines" in sys.argv or room in AGENT and not any(
                    part == "*" or part in text for part in known[name])):
                left.append(f"{name}:{line['line_number']}: {text}")
    print(f"{'':16} {'lines':>16} {'branches':>18}")
    for key in sorted(counts, key=lambda name: (name != "agent's rooms", name)):
        lines, all_lines, branches, all_branches = counts[key]
        print(f"{key:16} {lines:6}/{all_lines:<6} {100 * lines / all_lines:4.1f}% "
              f"{branches:6}/{all_branches:<6} {100 * branches / max(all_branches, 1):4.1f}%")
    if left:
        print(f"\n{len(left)} lines that no test reached and that have no reason:")
        print("\n".join(left))
    lines, all_lines, branches, all_branches = counts["agent's rooms"]
    sys.exit(100 * lines < AIMS[0] * all_lines or 100 * branches < AIMS[1] * all_branches)


if __name__ == "__main__":
    main()
