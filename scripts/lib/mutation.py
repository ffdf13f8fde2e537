#!/usr/bin/env python3
"""Tests the tests: see scripts/mutation, which installs what this needs.

A mutant is the core with one change. It is killed when a test fails, or does not come to its end;
it survives when all tests pass. What the compiler refuses is no mutant. Which changes are tried is
the same in every run over the same sources.
"""
import argparse
import functools
import itertools
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "mutation"
FOLDERS = ("debug", "device", "driver", "foundation", "output", "platform")
# Fewer than this many of a hundred killed mutants are too few.
PROMISED = 95
DECLARATIONS = ("platform/core_foundation.h", "platform/mobile_device.h")
# Tests that do the same as others, at greater length.
REPEATED_TESTS = r"\.(every_creation_fails_once|product)\.|records_of_many_producers|storm|same_as"

# What a change is looked for in: code without comments, whose strings are kept as they are.
TOKENS = re.compile(
    r"""(?P<comment>//[^\n]*)
      | (?P<directive>^\#[^\n]*)
      | (?P<text>"(?:[^"\\\n]|\\.)*")
      | (?P<character>'(?:[^'\\\n]|\\.)+')
      | (?P<number>(?<![\w.])(?:0x[0-9A-Fa-f']+|\d[\d']*)[uUlL]*(?![\w.]))
      | (?P<operator>(?<=\s)(?:==|!=|<=|>=|<|>|&&|\|\||\+=|-=|\+|-|\*|/|%|&|\||\^)(?=\s)|\+\+|--|!(?=[\w(:]))
      | (?P<word>\b(?:true|false|break|continue)\b)
    """,
    re.VERBOSE | re.MULTILINE,
)
OPERATORS = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="],
    ">=": [">", "<"], "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"],
    "%": ["*"], "&": ["|"], "|": ["&"], "^": ["&"], "+=": ["-="], "-=": ["+="], "++": ["--"],
    "--": ["++"], "!": [""],
}
WORDS = {"true": "false", "false": "true", "break": "continue", "continue": "break"}
# A statement that is a call and nothing else; and a call of two arguments without parentheses.
CALL = re.compile(r"(?<=[;{})])(\s+)((?:\w+(?:::|\.|->))*\w+\([^;{}]*\);)(?=\s)")
# The order does not matter to the smaller of two.
TWO_ARGUMENTS = re.compile(r"(?<=\w\()(?<!std::min\()(?<!std::max\()"
                           r"([^(){};,\"]+), ([^(){};,\"]+)(?=\))")
# What has a type before its name is a parameter, not an argument.
PARAMETER = re.compile(r"\w[\s*&]+\w")
CONDITION = re.compile(r"\b(?:if|while) \((?!const |auto )((?:[^(){};]|\([^(){};]*\))+)\) \{")


@dataclass(frozen=True)
class mutant:
    file: str
    kind: str
    begin: int
    end: int
    replacement: str

    def change(self, source):
        return source[: self.begin] + self.replacement + source[self.end :]

    def describe(self, source):
        line = source.count("\n", 0, self.begin) + 1
        before = " ".join(source[self.begin : self.end].split())
        return f"{self.file}:{line}: {self.kind}: {before}  ->  {self.replacement or '(nothing)'}"


def mutants_of_token(match):
    kind, text = match.lastgroup, match.group()
    if kind == "operator":
        return [("operator", replacement) for replacement in OPERATORS[text]]
    if kind == "word":
        return [("constant", WORDS[text])]
    if kind == "number":
        return [("constant", f"({text} + 1)")]
    if kind == "text":
        return [("constant", '"?"' if text == '""' else '""')]
    return []


def mutants_of(file, source):
    """All changes that may be made to `source`, in no particular order."""
    skipped = []
    for match in TOKENS.finditer(source):
        if match.lastgroup in ("comment", "directive"):
            skipped.append(match.span())
            continue
        for kind, replacement in mutants_of_token(match):
            yield mutant(file, kind, *match.span(), replacement)

    def is_code(match):
        return all(match.end() <= begin or match.start() >= end for begin, end in skipped)

    for match in filter(is_code, CALL.finditer(source)):
        yield mutant(file, "removed call", *match.span(2), ";")
    for match in filter(is_code, TWO_ARGUMENTS.finditer(source)):
        if PARAMETER.search(match[1]) or PARAMETER.search(match[2]):
            continue
        yield mutant(file, "swapped arguments", *match.span(), f"{match[2]}, {match[1]}")
    for match in filter(is_code, CONDITION.finditer(source)):
        yield mutant(file, "condition", *match.span(1), f"!({match[1]})")


@functools.cache
def source_of(file):
    return (ROOT / file).read_text(encoding="utf-8")


def sources_of(folder):
    """Those that the Linux build compiles, without the declarations of the platform's functions: a
    change there changes the simulator too."""
    listed = subprocess.run(["git", "ls-files", f"{folder}/*.cpp", f"{folder}/*.h"], cwd=ROOT,
                            check=True, capture_output=True, text=True).stdout.split()
    return [name for name in listed
            if name.count("/") == 1 and name not in DECLARATIONS
            and not re.search(r"_(test|windows)\.(cpp|h)$", name)]


def in_even_order(candidates):
    """The kinds take turns; within a kind chance decides, the same way in every run."""
    chance = random.Random(0)
    kinds = {}
    for candidate in candidates:
        kinds.setdefault(candidate.kind, []).append(candidate)
    for same_kind in kinds.values():
        chance.shuffle(same_kind)
    turns = itertools.zip_longest(*(kinds[kind] for kind in sorted(kinds)))
    return [candidate for turn in turns for candidate in turn if candidate]


class workshop:
    """A copy of the project, in which one mutant at a time is built and tested."""

    def __init__(self, number):
        self.tree = WORK / str(number) / "vandrel"
        self.build = self.tree / "build" / "linux"
        self.temporary = WORK / str(number) / "tmp"

    def prepare(self):
        files = subprocess.run(["git", "ls-files"], cwd=ROOT, check=True, capture_output=True,
                               text=True).stdout.split("\n")
        for file in filter(None, files):
            target = self.tree / file
            target.parent.mkdir(parents=True, exist_ok=True)
            if not target.exists() or target.read_bytes() != (ROOT / file).read_bytes():
                shutil.copy(ROOT / file, target)
        if not (self.tree / ".deps").exists():
            (self.tree / ".deps").symlink_to(ROOT / ".deps")
        self.require(["cmake", "-S", ".", "--preset", "linux", "-DCMAKE_BUILD_TYPE=",
                      "-DCMAKE_CXX_FLAGS=-w"])
        self.require(["ninja", "-C", "build/linux", "-j1"])
        for folder in FOLDERS:
            self.require([self.build / "bin" / f"{folder}_tests"])
        self.require(self.all_tests())

    def require(self, command):
        if not self.succeeds(command, 3600, WORK / "prepare.log"):
            sys.exit(f"error: {' '.join(map(str, command))} failed: see {WORK / 'prepare.log'}")

    def succeeds(self, command, seconds, log=os.devnull):
        """False when it fails, or goes on for longer than these seconds."""
        shutil.rmtree(self.temporary, ignore_errors=True)
        self.temporary.mkdir(parents=True)
        with open(log, "a", encoding="utf-8") as output:
            process = subprocess.Popen(
                command, cwd=self.tree, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                start_new_session=True, env={**os.environ, "TMPDIR": str(self.temporary)},
                preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (1 << 33, 1 << 33)))
            try:
                return process.wait(seconds) == 0
            except subprocess.TimeoutExpired:
                return False
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait()

    def all_tests(self):
        return ["ctest", "--test-dir", "build/linux", "--stop-on-failure", "--timeout", "60",
                "--exclude-regex", REPEATED_TESTS]

    def builds(self, *targets):
        return self.succeeds(["ninja", "-C", "build/linux", "-j1", *targets], 600)

    def passes(self, program):
        return self.succeeds([self.build / "bin" / program, "--gtest_fail_fast", "--gtest_brief=1"],
                             360)

    def survives(self, candidate):
        """None: the compiler refuses it."""
        source = source_of(candidate.file)
        path = self.tree / candidate.file
        path.write_text(candidate.change(source), encoding="utf-8")
        try:
            if not self.builds("vandrel_core"):
                return None
            # The quickest first.
            unit_tests = candidate.file.split("/")[0] + "_tests"
            for program in (unit_tests, "program_tests"):
                if not self.builds(program) or not self.passes(program):
                    return False
            return self.builds() and self.succeeds(self.all_tests(), 1200)
        finally:
            path.write_text(source, encoding="utf-8")


class tally:
    """Counts; keeps what has become of each mutant as soon as it is known."""

    def __init__(self):
        self.lock = threading.Lock()
        self.killed = {}
        self.survived = {}
        self.results = open(WORK / "results.txt", "w", encoding="utf-8")

    def add(self, group, candidate, survives):
        with self.lock:
            (self.survived if survives else self.killed).setdefault(group, []).append(candidate)
            line = candidate.describe(source_of(candidate.file))
            print("survived" if survives else "killed", line, file=self.results, flush=True)
            if survives:
                print(f"survived: {line}", flush=True)

    def close(self):
        """Prints the table; whether enough are killed."""
        self.results.close()
        print(f"{'':12}  mutants  killed")
        totals = [0, 0]
        for folder in sorted({*self.killed, *self.survived}):
            killed = len(self.killed.get(folder, []))
            mutants = killed + len(self.survived.get(folder, []))
            totals = [totals[0] + mutants, totals[1] + killed]
            print(f"{folder:12}  {mutants:7}  {killed:6}")
        print(f"{'in all':12}  {totals[0]:7}  {totals[1]:6}"
              f"  {100 * totals[1] / max(totals[0], 1):.1f} %")
        return 100 * totals[1] >= PROMISED * totals[0] > 0


class selection:
    """What is still to be tried: of each group so many mutants that the compiler takes."""

    def __init__(self, groups, per_group):
        self.lock = threading.Lock()
        self.candidates = groups
        self.wanted = dict.fromkeys(groups, per_group)

    def take(self):
        """A group and one of its candidates, of the group that lacks the most."""
        with self.lock:
            open_groups = [group for group in self.candidates
                           if self.wanted[group] > 0 and self.candidates[group]]
            if not open_groups:
                return None
            group = max(open_groups, key=self.wanted.get)
            self.wanted[group] -= 1
            return group, self.candidates[group].pop(0)

    def give_back(self, group):
        with self.lock:
            self.wanted[group] += 1


def work_off(shop, candidates, results):
    while taken := candidates.take():
        group, candidate = taken
        survives = shop.survives(candidate)
        if survives is None:
            candidates.give_back(group)
        else:
            results.add(group, candidate, survives)


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutation")
    parser.add_argument("--per-folder", type=int, default=35, metavar="N")
    parser.add_argument("files", nargs="*", metavar="FILE")
    options = parser.parse_args()

    groups = {folder: sources_of(folder) for folder in FOLDERS}
    per_group = options.per_folder
    if options.files:
        groups = {file: [file] for file in options.files}
        per_group = sys.maxsize
    candidates = selection(
        {group: in_even_order(candidate for file in files
                              for candidate in mutants_of(file, source_of(file)))
         for group, files in groups.items()},
        per_group)

    WORK.mkdir(parents=True, exist_ok=True)
    # Tests mostly wait for something.
    shops = [workshop(number) for number in range(2 * os.cpu_count())]
    print("Building and testing the core as it is ...", flush=True)
    run_in_threads([shop.prepare for shop in shops])
    print("Mutating ...", flush=True)
    results = tally()
    run_in_threads([lambda shop=shop: work_off(shop, candidates, results) for shop in shops])
    return 0 if results.close() else 1


def run_in_threads(jobs):
    failures = []

    def run(job):
        try:
            job()
        except BaseException as failure:  # also what sys.exit raises
            failures.append(failure)

    threads = [threading.Thread(target=run, args=[job]) for job in jobs]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if failures:
        raise failures[0]


if __name__ == "__main__":
    sys.exit(main())
