#!/usr/bin/env python3
"""Prints the coverage of each folder, of the core and of the station, from gcovr's summary:

    coverage_table.py SUMMARY_JSON

Exits with 1 if the coverage of the core or of the station is too low.
"""
import json
import sys
from collections import Counter
from pathlib import PurePath

GROUPS = {
    "the core": {"debug", "device", "driver", "foundation", "output", "platform"},
    "the station": {"station"},
}
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
    folders = {}
    for file in files:
        counts = Counter({key: value for key, value in file.items() if isinstance(value, int)})
        folders.setdefault(str(PurePath(file["filename"]).parent), Counter()).update(counts)
    print(f"{'':24}", f"{'lines':>17}", f"{'branches':>17}", sep="  ")
    for folder in sorted(folders):
        print_row(folder, folders[folder])
    failed = False
    for name, members in GROUPS.items():
        counts = sum((folders.get(folder, Counter()) for folder in members), Counter())
        print_row(name, counts)
        for kind in (kind for kind, percent in PROMISED.items() if share(counts, kind) < percent):
            print(f"error: {kind} coverage of {name} is below {PROMISED[kind]} %", file=sys.stderr)
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
