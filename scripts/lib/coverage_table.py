#!/usr/bin/env python3
"""Prints the coverage of each folder, from gcovr's summary:

    coverage_table.py SUMMARY_JSON

Exits with 1 if the coverage of the core is too low.
"""
import json
import sys
from collections import Counter
from pathlib import PurePath

CORE = {"debug", "device", "driver", "foundation", "output", "platform"}
PROMISED = {"line": 97, "branch": 90}


def share(counts, kind):
    total = counts[kind + "_total"]
    return 100 * counts[kind + "_covered"] / total if total else 100


def print_row(name, counts):
    cells = (f"{share(counts, kind):6.1f} % of {counts[kind + '_total']:5}" for kind in PROMISED)
    print(f"{name:24}", *cells, sep="  ")


def main(summary_path):
    with open(summary_path, encoding="utf-8") as summary:
        files = json.load(summary)["files"]
    folders, core = {}, Counter()
    for file in files:
        counts = Counter({key: value for key, value in file.items() if isinstance(value, int)})
        folder = str(PurePath(file["filename"]).parent)
        folders.setdefault(folder, Counter()).update(counts)
        if folder in CORE:
            core.update(counts)
    print(f"{'':24}", f"{'lines':>17}", f"{'branches':>17}", sep="  ")
    for folder in sorted(folders):
        print_row(folder, folders[folder])
    print_row("the core", core)
    missed = [kind for kind, percent in PROMISED.items() if share(core, kind) < percent]
    for kind in missed:
        print(f"error: {kind} coverage of the core is below {PROMISED[kind]} %", file=sys.stderr)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
