#!/usr/bin/env python3
"""Runs a mutation campaign: see scripts/mutation, which installs what this needs.

A mutant is the core with one change (mutants.py). A test that fails, times out or does not build kills it. It
survives if all tests of the core pass, except some long ones. A change of a lock has to pass the tests with the thread
sanitizer, too. A mutant that does not compile is not counted, nor is one that the optimiser turns into the same machine
code. docs/reliability.md says of each survivor why no test kills it. The choice of mutants is the same in every run
with the same sources.
"""
import argparse
import collections
import functools
import hashlib
import itertools
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

sys.dont_write_bytecode = True
from mutants import mutants_of

ROOT = Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "mutation"
FOLDERS = ("debug", "device", "driver", "foundation", "output", "platform")
# The percentage of mutants that the tests must kill.
PROMISED = 97
DECLARATIONS = ("platform/core_foundation.h", "platform/mobile_device.h")
# The tests of what has locks. A lock in the wrong place is a race, which the thread sanitizer sees.
SANITIZED = ("device_tests", "output_tests", "session_tests")
# The programs outside the core's folders whose tests call the core.
PROGRAMS = ("session_tests", "launcher_tests", "out_of_memory_tests", "controlling_application_tests")
# Tests without a test program: longer versions of other tests, those that do not call the core, and those of
# exported symbols, because gold exports more than the project's linker.
LEFT_OUT = ("records_of_many_producers|same_as|station_|check_includes|mutants|campaign|figures|declarations|truth"
            "|exports")

@functools.cache
def source_of(file):
    return (ROOT / file).read_text(encoding="utf-8")


def sources_of(folder):
    """The files that the Linux build compiles, except the declarations of Apple's functions: a change there
    would change the simulator too."""
    listed = subprocess.run(["git", "ls-files", f"{folder}/*.cpp", f"{folder}/*.h"], cwd=ROOT,
                            check=True, capture_output=True, text=True).stdout.split()
    return [name for name in listed
            if name.count("/") == 1 and name not in DECLARATIONS
            and not re.search(r"_(test|windows)\.(cpp|h)$", name)]


def in_even_order(candidates):
    """Kinds alternate. The order within a kind is arbitrary, but the same in every run: a mutant's place depends on
    its own text only, so that a change of the sources replaces few of the mutants that a campaign tests."""
    kinds, seen = {}, collections.Counter()
    for candidate in candidates:
        text = f"{candidate.file} {candidate.difference(source_of(candidate.file))}"
        seen[candidate.kind, text] += 1
        place = hashlib.sha256(f"{seen[candidate.kind, text]} {text}".encode()).digest()
        kinds.setdefault(candidate.kind, {})[place] = candidate
    turns = itertools.zip_longest(*([kinds[kind][place] for place in sorted(kinds[kind])] for kind in sorted(kinds)))
    return [candidate for turn in turns for candidate in turn if candidate]


def explained_survivors(page):
    """The rows of the page's table of mutants that no test kills: (file, kind, line, replacement)."""
    row = re.compile(r"^\| `([^`]+)` \| ([\w ]+) \| `(.+?)` \| `(.+?)` \| .+ \|$", re.MULTILINE)
    return {tuple(cell.replace("\\|", "|") for cell in cells) for cells in row.findall(page)}


def row_of(candidate):
    """What a row of that table says of a mutant: the line, or the beginning of the statements, that it changes; and
    how the replacement begins."""
    source = source_of(candidate.file)
    begin = source.rfind("\n", 0, candidate.begin) + 1
    line = source[begin:].split("\n", 1)[0].strip()
    if not source[begin : candidate.begin].strip():
        line = " ".join(source[candidate.begin : candidate.end].split())[:70].strip()
    replacement = " ".join(candidate.replacement.split()) or "(nothing)"
    return candidate.file, candidate.kind, line, replacement[:40].strip()


def nearest_suites(file):
    """The filter of GoogleTest for the suites in the tests next to a source."""
    folder, name = os.path.split(file)
    stem = name.split(".")[0].removesuffix("_posix")
    tests = [path for path in (ROOT / folder).glob("*_test.cpp") if path.name.startswith(stem)]
    suites = {suite for path in tests
              for suite in re.findall(r"^(?:TEST|TEST_F|TEST_P)\((\w+),", path.read_text("utf-8"), re.MULTILINE)}
    return ":".join(f"{suite}.*:*/{suite}.*" for suite in sorted(suites))


class worktree:
    """A copy of the project, in which one mutant at a time is built and tested."""

    def __init__(self, number):
        self.folder = WORK / str(number) / "vandrel"
        self.build = self.folder / "build" / "linux"
        self.temporary = WORK / str(number) / "tmp"
        self.has_sanitized_tests = False
        self.original_code = None

    def prepare(self):
        files = subprocess.run(["git", "ls-files"], cwd=ROOT, check=True, capture_output=True,
                               text=True).stdout.split("\n")
        for file in filter(None, files):
            target = self.folder / file
            target.parent.mkdir(parents=True, exist_ok=True)
            if not target.exists() or target.read_bytes() != (ROOT / file).read_bytes():
                shutil.copy(ROOT / file, target)
        if not (self.folder / ".deps").exists():
            (self.folder / ".deps").symlink_to(ROOT / ".deps")
        linker = ["-DCMAKE_%s_LINKER_FLAGS=-fuse-ld=gold" % kind for kind in ("EXE", "SHARED", "MODULE")]
        self.clear_temporary()
        self.require(["cmake", "-S", ".", "--preset", "linux", "-DCMAKE_BUILD_TYPE=",
                      "-DCMAKE_CXX_FLAGS=-w", *(linker if shutil.which("ld.gold") else [])])
        self.require(["ninja", "-C", "build/linux", "-j1"])
        if not (self.passes("program_tests", shards=4) and self.other_tests_pass()):
            sys.exit("error: a test fails without any change")

    def clear_temporary(self):
        shutil.rmtree(self.temporary, ignore_errors=True)
        self.temporary.mkdir(parents=True)

    def require(self, command):
        if not self.succeeds(command, 3600, WORK / "prepare.log"):
            sys.exit(f"error: {' '.join(map(str, command))} failed: see {WORK / 'prepare.log'}")

    def sanitized_tests_pass(self):
        # The sanitizer reserves more memory than other tests may have, also when the build asks for the tests' names.
        return (self.succeeds(["ninja", "-C", "build/tsan", "-j1", *SANITIZED], 1200, WORK / "prepare.log", memory=None)
                and all(self.succeeds([self.folder / "build" / "tsan" / "bin" / program, "--gtest_fail_fast"], 600,
                                      memory=None) for program in SANITIZED))

    def survives_the_thread_sanitizer(self, path, source, changed):
        """Whether the tests with the thread sanitizer let a change of locks pass. The first time, they are built and
        run without it, because a test that fails then would kill every mutant."""
        if not self.has_sanitized_tests:
            path.write_text(source, encoding="utf-8")
            self.require(["cmake", "-S", ".", "--preset", "tsan", "-DCMAKE_CXX_FLAGS=-w"])
            if not self.sanitized_tests_pass():
                sys.exit("error: a test with the thread sanitizer fails without any change")
            self.has_sanitized_tests = True
            path.write_text(changed, encoding="utf-8")
        return self.sanitized_tests_pass()

    def machine_code(self):
        """A digest of the core's object files, optimised. They do not depend on the numbers of lines, because they have
        no debug information."""
        self.require(["cmake", "-S", ".", "--preset", "linux", "-B", "build/optimised", "-DCMAKE_BUILD_TYPE=",
                      "-DCMAKE_CXX_FLAGS=-O2 -w"])
        self.require(["ninja", "-C", "build/optimised", "-j1", "vandrel_core"])
        digest = hashlib.sha256()
        for file in sorted((self.folder / "build" / "optimised").rglob("*.o")):
            digest.update(file.read_bytes())
        return digest.digest()

    def changes_nothing(self, path, source, changed):
        """Whether the machine code of the core is that of the core without the change."""
        if self.original_code is None:
            path.write_text(source, encoding="utf-8")
            self.original_code = self.machine_code()
            path.write_text(changed, encoding="utf-8")
        return self.machine_code() == self.original_code

    def succeeds(self, command, seconds, log=os.devnull, shard=None, memory=1 << 33):
        """False if it fails or runs longer than this. A shard is (index, number of shards): (1, 4) is the
        second quarter of the tests. `memory` limits the address space, in bytes; None does not."""
        environment = {**os.environ, "TMPDIR": str(self.temporary)}
        if shard:
            environment.update(GTEST_SHARD_INDEX=str(shard[0]), GTEST_TOTAL_SHARDS=str(shard[1]))
        with open(log, "a", encoding="utf-8") as output:
            process = subprocess.Popen(
                command, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                start_new_session=True, env=environment,
                preexec_fn=lambda: memory and resource.setrlimit(resource.RLIMIT_AS, (memory, memory)))
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

    def other_tests_pass(self, *passed):
        """The tests of the core, except program_tests and those of the programs that have `passed`."""
        programs = (*(f"{folder}_tests" for folder in FOLDERS), *PROGRAMS)
        return (all(self.passes(program, "-*storm*") for program in programs if program not in passed)
                # The names of tests that are part of a program have two dots.
                and self.succeeds(["ctest", "--test-dir", "build/linux", "--stop-on-failure", "--timeout", "180",
                                   "--parallel", "2", "--no-tests=error",
                                   "--tests-regex", "^linux\\.[a-z0-9_]+$", "--exclude-regex", LEFT_OUT], 2400))

    def builds(self, *targets):
        return self.succeeds(["ninja", "-C", "build/linux", "-j1", *targets], 600)

    def passes(self, program, suites="*", shards=1, seconds=360):
        """Whether these suites of a program pass in this time. Tests mostly wait, so shards run at the same
        time."""
        passed = []
        command = [self.build / "bin" / program, "--gtest_fail_fast", "--gtest_brief=1",
                   f"--gtest_filter={suites}"]
        run_in_threads([lambda i=i: passed.append(self.succeeds(command, seconds, shard=(i, shards)))
                        for i in range(shards)])
        return all(passed)

    def survives(self, candidate):
        """None if it does not compile, or changes nothing."""
        source = source_of(candidate.file)
        path = self.folder / candidate.file
        changed = candidate.change(source)
        self.clear_temporary()
        path.write_text(changed, encoding="utf-8")
        try:
            if not self.builds("vandrel_core"):
                return None
            # The nearest and quickest tests first: they kill most mutants.
            unit_tests = candidate.file.split("/")[0] + "_tests"
            suites = nearest_suites(candidate.file)
            # They take seconds. Some mutants make them run forever.
            if not self.builds(unit_tests) or (suites and not self.passes(unit_tests, suites, seconds=60)):
                return False
            if not self.passes(unit_tests):
                return False
            if not self.builds("program_tests") or not self.passes("program_tests", shards=4):
                return False
            if not self.builds() or not self.other_tests_pass(unit_tests):
                return False
            if candidate.kind == "lock scope" and not self.survives_the_thread_sanitizer(path, source, changed):
                return False
            return None if self.changes_nothing(path, source, changed) else True
        finally:
            path.write_text(source, encoding="utf-8")


def identity(candidate):
    """A key that changes only if the mutant's file changes."""
    source = source_of(candidate.file)
    key = json.dumps([candidate.file, source, candidate.begin, candidate.end, candidate.replacement])
    return hashlib.sha256(key.encode()).hexdigest()


class results:
    """The result of each mutant. It is written to a file as soon as it is known, for later runs."""

    def __init__(self, again, explained=frozenset()):
        self.lock = threading.Lock()
        self.explained = explained
        self.path = WORK / "results.jsonl"
        self.known = {}
        self.this_run = {}
        if self.path.exists() and "all" not in again:
            # The last line can be incomplete if the run was killed.
            for line in self.path.read_text("utf-8").splitlines(keepends=True):
                if line.endswith("\n"):
                    entry = json.loads(line)
                    self.known[entry["identity"]] = entry
        if "survivors" in again:
            self.known = {key: entry for key, entry in self.known.items() if entry["result"] != "survived"}
        self.path.write_text("".join(json.dumps(entry) + "\n" for entry in self.known.values()), "utf-8")

    def recall(self, group, candidate):
        """The result of an earlier run: "killed", "survived", "refused", or None."""
        with self.lock:
            entry = self.known.get(identity(candidate))
            if entry:
                self.this_run[entry["identity"]] = {**entry, "group": group, "row": row_of(candidate)}
            return entry and entry["result"]

    def add(self, group, candidate, result, seconds):
        with self.lock:
            description = candidate.describe(source_of(candidate.file))
            entry = {"identity": identity(candidate), "group": group, "result": result,
                     "seconds": round(seconds, 1), "mutant": description}
            self.this_run[entry["identity"]] = {**entry, "row": row_of(candidate)}
            with open(self.path, "a", encoding="utf-8") as file:
                print(json.dumps(entry), file=file)
            if result == "survived":
                print(f"survived: {description}", flush=True)

    def close(self):
        """Prints the table. Returns whether enough mutants are killed, and the others explained."""
        entries = list(self.this_run.values())
        print(f"{'':12}  mutants  killed")
        totals = [0, 0]
        for group in sorted({entry["group"] for entry in entries}):
            of_group = [entry["result"] for entry in entries if entry["group"] == group]
            killed, survived = of_group.count("killed"), of_group.count("survived")
            totals = [totals[0] + killed + survived, totals[1] + killed]
            print(f"{group:12}  {killed + survived:7}  {killed:6}")
        print(f"{'in all':12}  {totals[0]:7}  {totals[1]:6}"
              f"  {100 * totals[1] / max(totals[0], 1):.1f} %")
        for result in ("killed", "survived", "refused"):
            times = [entry["seconds"] for entry in entries if entry["result"] == result]
            if times:
                print(f"{result}: {len(times)}, {sum(times) / len(times):.1f} seconds each")
        unexplained = [entry["mutant"] for entry in entries
                       if entry["result"] == "survived" and entry["row"] not in self.explained]
        for mutant in unexplained:
            print(f"docs/reliability.md does not explain: {mutant}")
        return 100 * totals[1] >= PROMISED * totals[0] > 0 and not unexplained


class selection:
    """The mutants still to be tested: `count` that compile, the same number from each group if it has them."""

    def __init__(self, groups, count):
        self.lock = threading.Lock()
        self.candidates = groups
        self.taken = dict.fromkeys(groups, 0)
        self.wanted = count

    def take(self):
        """A group and one of its candidates, of the group with the fewest so far."""
        with self.lock:
            open_groups = [group for group in self.candidates if self.candidates[group]]
            if self.wanted <= 0 or not open_groups:
                return None
            group = min(open_groups, key=self.taken.get)
            self.wanted -= 1
            self.taken[group] += 1
            return group, self.candidates[group].pop(0)

    def give_back(self, group):
        with self.lock:
            self.wanted += 1
            self.taken[group] -= 1


def test_mutants(tree, candidates, recorded):
    """Tests the candidates in this worktree, one at a time, until none is left."""
    while taken := candidates.take():
        group, candidate = taken
        result = recorded.recall(group, candidate)
        if result is None:
            begin = time.monotonic()
            survives = tree.survives(candidate)
            result = {None: "refused", True: "survived", False: "killed"}[survives]
            recorded.add(group, candidate, result, time.monotonic() - begin)
        if result == "refused":
            candidates.give_back(group)


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutation")
    parser.add_argument("--count", type=int, default=210, metavar="N")
    parser.add_argument("--jobs", type=int, default=2 * os.cpu_count(), metavar="N")
    parser.add_argument("--again", choices=["all", "survivors"], action="append", default=[])
    parser.add_argument("--list", action="store_true")
    parser.add_argument("files", nargs="*", metavar="FILE")
    options = parser.parse_args()

    groups = {folder: sources_of(folder) for folder in FOLDERS}
    count = options.count
    if options.files:
        groups = {file: [file] for file in options.files}
        count = sys.maxsize
    groups = {group: in_even_order(candidate for file in files
                                   for candidate in mutants_of(file, source_of(file)))
              for group, files in groups.items()}
    explained = explained_survivors((ROOT / "docs" / "reliability.md").read_text(encoding="utf-8"))
    unknown = explained - {row_of(candidate) for candidates in groups.values() for candidate in candidates}
    if unknown and not options.files:
        sys.exit("error: docs/reliability.md has rows of mutants that do not exist:\n" +
                 "\n".join(" | ".join(row) for row in sorted(unknown)))
    if options.list:
        for candidate in itertools.chain(*groups.values()):
            print(candidate.describe(source_of(candidate.file)))
        return 0

    WORK.mkdir(parents=True, exist_ok=True)
    trees = [worktree(number) for number in range(options.jobs)]
    print("Building and testing the core without a change ...", flush=True)
    run_in_threads([tree.prepare for tree in trees])
    print("Mutating ...", flush=True)
    candidates, recorded = selection(groups, count), results(options.again, explained)
    run_in_threads([lambda tree=tree: test_mutants(tree, candidates, recorded) for tree in trees])
    return 0 if recorded.close() else 1


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
