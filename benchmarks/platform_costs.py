#!/usr/bin/env python3
"""Compares what a report, a DeviceInfo and a start cost the core on the platform with the stored counts.

    platform_costs.py PROGRAM [--write]

PROGRAM is platform_costs. Exits with 1 if there are more calls of any function than in
platform_costs.json, or over 5 % more of anything else, or if the table in docs/performance.md does not
match that file. --write replaces both.
"""
import json
import os
import pathlib
import plistlib
import subprocess
import sys
import tempfile

from figures import between_markers

ROOT = pathlib.Path(__file__).parents[1]
PAGE = ROOT / "docs" / "performance.md"
COUNTS = ROOT / "benchmarks" / "platform_costs.json"
MARKERS = "<!-- platform costs begin -->", "<!-- platform costs end -->"
JOBS = ("start", "report", "device-info")
# These depend also on the compiler and its library. The calls depend only on our code.
WITH_MARGIN = ("allocations", "allocated bytes", "converted bytes")
MARGIN = 0.05
TOTALS = ("calls", *WITH_MARGIN)


def count(program, job, scenario):
    environment = dict(os.environ)
    if job == "start":
        environment["VANDREL_SCENARIO"] = str(scenario)
    done = subprocess.run([program, job], env=environment, stdout=subprocess.PIPE, check=True)
    counts = json.loads(done.stdout)
    calls = sum(number for name, number in counts.items() if name not in TOTALS)
    assert calls, f"no call of {job} was counted"
    return {"calls": calls, **counts}


def count_all(program):
    with tempfile.TemporaryDirectory() as folder:
        scenario = pathlib.Path(folder) / "scenario.plist"
        scenario.write_bytes(plistlib.dumps({"Devices": []}))
        return {job: count(program, job, scenario) for job in JOBS}


def grown(counts, kept):
    """A message for each count that is above the stored count."""
    for job in JOBS:
        for name, number in counts[job].items():
            margin = MARGIN if name in WITH_MARGIN else 0
            if number > kept[job].get(name, 0) * (1 + margin):
                yield f"{job}: {name}: {number}, stored count {kept[job].get(name, 0)}"


def table(counts):
    names = sorted({name for job in JOBS for name in counts[job]} - set(TOTALS))
    lines = ["| | a start | a report | a `DeviceInfo` |", "| --- | ---: | ---: | ---: |"]
    for name in (*TOTALS, *names):
        cells = " | ".join(str(counts[job].get(name, 0)) for job in JOBS)
        lines.append(f"| {name if name in TOTALS else f'`{name}`'} | {cells} |")
    return "\n".join(lines)


def page_with(counts):
    return between_markers(PAGE.read_text(encoding="utf-8"), *MARKERS, f"\n{table(counts)}\n")


def main():
    counts = count_all(sys.argv[1])
    if "--write" in sys.argv[2:]:
        COUNTS.write_text(json.dumps(counts, indent=2) + "\n", encoding="utf-8")
        PAGE.write_text(page_with(counts), encoding="utf-8")
        return 0
    kept = json.loads(COUNTS.read_text(encoding="utf-8"))
    complaints = list(grown(counts, kept))
    if page_with(kept) != PAGE.read_text(encoding="utf-8"):
        complaints.append("the table of docs/performance.md is not that of platform_costs.json")
    print("\n".join(complaints) or "No count has grown", file=sys.stderr)
    if complaints:
        print(f"If there is a reason for that: {sys.argv[0]} {sys.argv[1]} --write", file=sys.stderr)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
