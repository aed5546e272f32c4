#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints, for each folder, what share of its lines and branches the tests reached, and the lines that nobody reached.

  scripts/coverage.py FILE.json [--lines]

FILE.json is what gcovr wrote. With --lines every line that was not reached is printed, else only those of the agent's
rooms that scripts/coverage.reasons has no reason for. There a line at the margin is a reason, and the indented ones
below it are what it holds for: `FILE: TEXT`, TEXT being a part of the source line or of one that it stands in, as a
condition; `FILE: NAME(): TEXT`, the same in one function; or `FILE: NAME()`, a function that nobody enters. Ends with
1 if a line has no reason, if a reason names what its file doesn't have, or if the agent's rooms are below their aims:
95% of lines, 85% of branches.
"""
import json
import os
import sys
from collections import defaultdict

AGENT = ("agent", "channels", "core", "dorvald", "ha", "inventory", "lib", "platform", "velmar")
AIMS = (95, 85)
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def source_of(name):
    path = os.path.join(ROOT, name)
    if not os.path.exists(path):
        return []
    with open(path) as file:
        return file.read().split("\n")


def reasons():
    """What has a reason, by file, and the entries that name nothing."""
    known, stale, reason = defaultdict(list), [], None
    with open(os.path.join(ROOT, "scripts", "coverage.reasons")) as file:
        for line in file:
            if not line.strip() or line.startswith("#"):
                continue
            if not line[0].isspace():
                reason = line.strip()
                continue
            name, _, text = line.strip().partition(": ")
            known[name].append(text)
            part = text[:-1] if text.endswith("()") else text.partition("(): ")[2] or text
            if not reason or not part or not any(part in source for source in source_of(name)):
                stale.append(line.strip())
    return known, stale


def never_entered(entry, source):
    """For the lines of functions that nobody entered, the line that each function begins with."""
    starts = defaultdict(int)
    for function in entry.get("functions", []):
        if not source[function["lineno"] - 1][:1].isspace():  # a lambda belongs to the function around it
            starts[function["lineno"]] += function["execution_count"]
    begins = {}
    for line in sorted(entry["lines"], key=lambda line: line["line_number"]):
        number = line["line_number"]
        start = max((start for start in starts if start <= number), default=0)
        if start and starts[start] == 0:
            begins[number] = source[start - 1]
    return begins


def around(source, number):
    """A line and those that it stands in, such as the condition above it, but for the function's first."""
    lines = [source[number - 1].strip()]
    depth = len(source[number - 1]) - len(source[number - 1].lstrip())
    for line in reversed(source[:number - 1]):
        indent = len(line) - len(line.lstrip())
        if line.strip() and indent < depth:
            if indent == 0:
                break
            lines.append(line.strip())
            depth = indent
    return lines


def function_of(source, number):
    """The line that the function around a line begins with."""
    return next((line for line in reversed(source[:number]) if line[:1].isalpha() and "(" in line), "")


def has_reason(texts, source, number, begin):
    lines, function = around(source, number), function_of(source, number)
    for text in texts:
        name, within, part = text.partition("(): ")
        if within:
            if name + "(" in function and any(part in line for line in lines):
                return True
        elif begin and text.endswith("()") and text[:-1] in begin or any(text in line for line in lines):
            return True
    return False


def main():
    with open(sys.argv[1]) as file:
        files = json.load(file)["files"]
    counts = defaultdict(lambda: [0, 0, 0, 0])
    known, stale = reasons()
    left = []
    for entry in files:
        name = entry["file"]
        room = name.split("/")[0]
        source = source_of(name)
        begins = never_entered(entry, source)
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
            number = line["line_number"]
            text = source[number - 1].strip()
            if line["count"] == 0 and ("--lines" in sys.argv or room in AGENT and not has_reason(
                    known[name], source, number, begins.get(number))):
                left.append(f"{name}:{number}: {text}")
    print(f"{'':16} {'lines':>16} {'branches':>18}")
    for key in sorted(counts, key=lambda name: (name != "agent's rooms", name)):
        lines, all_lines, branches, all_branches = counts[key]
        print(f"{key:16} {lines:6}/{all_lines:<6} {100 * lines / all_lines:4.1f}% "
              f"{branches:6}/{all_branches:<6} {100 * branches / max(all_branches, 1):4.1f}%")
    if "--lines" in sys.argv:
        print("\nlines that no test reached:", *left, sep="\n")
        left = []
    lines, all_lines, branches, all_branches = counts["agent's rooms"]
    failures = [f"{line}: no test reaches it and scripts/coverage.reasons has no reason" for line in left]
    failures += [f"scripts/coverage.reasons: {entry}: its file doesn't have that, or no reason stands above"
                 for entry in stale]
    if 100 * lines < AIMS[0] * all_lines or 100 * branches < AIMS[1] * all_branches:
        failures.append(f"the agent's rooms are below {AIMS[0]}% of lines or {AIMS[1]}% of branches")
    if failures:
        print("", *failures, sep="\n")
    sys.exit(bool(failures))


if __name__ == "__main__":
    main()
