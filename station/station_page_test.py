#!/usr/bin/env python3
"""Plays the examples of docs/station.md: station_page_test.py [--show] PAGE STATION VANDREL-SIM [EMULATOR].

A session is a block of the language "bat" or "powershell": a line that begins with a prompt is a command, what
stands behind "to stop: " is typed, and "[...]" on a line of its own stands for omitted lines. It is played over
a bench of the devices that are named above it, in a comment such as <!-- devices: 1 4 -->. Devices are worked on
side by side, so that only the lines of one device have an order. Times, room and the run's folder are not
compared. With --show, the sessions are printed as they look.
"""
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import time
import tomllib
import unittest

is_shown = sys.argv[1:2] == ["--show"]
page, station, vandrel_sim, *emulator = sys.argv[1 + is_shown:]
station, vandrel_sim = os.path.abspath(station), os.path.abspath(vandrel_sim)
on_windows = station.endswith(".exe")
root = pathlib.Path(page).resolve().parents[1]
# Tests leave nothing among the sources.
sys.dont_write_bytecode = True
sys.path.insert(0, str(root / "scripts" / "lib"))
from live_picture import drawn, play  # noqa: E402
from station_bench import write_bench  # noqa: E402
from terminal_screen import program_on_terminal  # noqa: E402

text_of_page = pathlib.Path(page).read_text("utf-8")
BLOCK = re.compile(r"(?:<!-- devices: ([\d ]+) -->\n)?^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
PROMPT = re.compile(r"^(?:C:\\vandrel>|PS C:\\vandrel> )(.*)$")
QUESTION = "to stop: "
SAME = [(re.compile(r"\b\d\d:\d\d:\d\d\b"), "00:00:00"), (re.compile(r"UTC[+-]\d\d:\d\d"), "UTC+00:00"),
        (re.compile(r"\S+ \S+ free in .*, (\d+) at once need about .*"), r"1 GB free in T, \1 at once need about 1 GB"),
        (re.compile(r" \S+ has [\d.]+ \w+ free, (.*) needs .*"), r" T has 1 GB free, \1 needs 1 GB"),
        (re.compile(r"(Logs?: ).*?((?:[0-9A-F]{16}-visit\d-try\d)?)$"), r"\1R\2"),
        (re.compile(r".*[/\\]night[/\\]report\.html$"), "night/report.html"),
        (re.compile(r"\), \d+ bytes, for"), "), 1 GB, for"), (re.compile(r"\), [\d.]+ GB, for"), "), 1 GB, for")]


def host_path(path):
    return "Z:" + str(path).replace("/", "\\") if on_windows else str(path)


class computer:
    """A folder with a bench, in which vandrel-station is on the path."""

    def __init__(self, numbers):
        self.kept = tempfile.TemporaryDirectory(prefix="page ")
        self.folder = pathlib.Path(self.kept.name)
        self.status = 0
        write_bench(self.folder, numbers)
        here = host_path(self.folder)
        words = ["--tool", host_path(vandrel_sim)]
        for each in ("--scenario", f"{here}/scenario.plist", "--bench", f"{here}/devices", "--"):
            words += ["--tool-argument", each]
        for rule in ("list_detect=1", "list_after_start=0", "quiet=2", "away=2"):
            words += ["--rule-time", rule]
        running = ["--stagger", "0.2", "--poll", "2", "--linger", "1"]
        program = self.folder / "bin" / "vandrel-station"
        program.parent.mkdir()
        program.write_text(f'#!/bin/sh\ncase $1 in\nbundles|report) ;;\nlist|slots|doctor) set -- "$@" {shlex.join(words)};;\n'
                           f'*) set -- "$@" {shlex.join(running + words)};;\nesac\n'
                           f'exec {shlex.join([*emulator, station])} "$@"\n')
        program.chmod(0o755)
        self.environment = dict(os.environ, PATH=f"{program.parent}:{os.environ['PATH']}", CI_JOB_ID="4711",
                                XDG_STATE_HOME=str(self.folder / "state"))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kept.cleanup()

    def run(self, command, answers=()):
        """The command's output on a terminal, but not what its live view shows, or through a pipe when nothing is
        typed."""
        if command in ("echo %ERRORLEVEL%", "$LASTEXITCODE"):
            return f"{self.status}\n"
        words = shlex.split(command.replace("\\", "/"))
        if words[0] == "type":
            return (self.folder / words[1]).read_text("ascii")
        words[0] = words[0].removeprefix("./").removesuffix(".exe")
        if not answers:
            done = subprocess.run(words, cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
            self.status = done.returncode
            return done.stdout.decode().replace("\r\n", "\n")
        terminal = program_on_terminal(words, dict(self.environment, TERM="xterm"), cwd=self.folder)
        try:
            for number, answer in enumerate(answers):
                while terminal.screen.text.count(QUESTION) <= number and terminal.process.poll() is None:
                    time.sleep(0.02)
                terminal.type(answer.encode() + b"\n")
                # For a device that is plugged in when the station asks for it.
                (self.folder / "plugged").touch()
            self.status = terminal.wait()
        finally:
            terminal.kill()
        return terminal.screen.text.replace("\r\n", "\n")


def blocks(*languages):
    return [(found[1], found[3]) for found in BLOCK.finditer(text_of_page) if found[2] in languages]


def steps(block):
    """Each command of a session, with the lines that are shown below it and what is typed."""
    result = []
    for line in block.splitlines():
        if command := PROMPT.match(line):
            result.append((command[1], []))
        else:
            result[-1][1].append(line)
    return [(command, lines, [line.partition(QUESTION)[2] for line in lines if QUESTION in line])
            for command, lines in result]


def comparable(lines):
    """The lines of each device, and those of none."""
    groups = {}
    for line in lines:
        for pattern, same in SAME:
            line = pattern.sub(same, line)
        found = re.search(r"\b[0-9A-F]{16}\b", line)
        groups.setdefault(found[0] if found else "", []).append(line)
    return groups


def is_within(part, whole):
    rest = iter(whole)
    return all(line in rest for line in part)


class sessions(unittest.TestCase):
    def test_look_as_on_the_page(self):
        played = 0
        for numbers, block in blocks("bat", "powershell"):
            with computer([int(number) for number in numbers.split()]) as here:
                for command, shown, answers in steps(block):
                    if answers and on_windows:
                        # There is no terminal to ask on, and what follows depends on the answer.
                        break
                    written = here.run(command, answers)
                    if is_shown:
                        print(f"{command}\n{written}")
                        continue
                    is_whole = "[...]" not in shown
                    expected, found = comparable(shown), comparable(written.splitlines())
                    played += 1
                    for device in expected.keys() | (found.keys() if is_whole else set()):
                        part = [line for line in expected.get(device, []) if line != "[...]"]
                        with self.subTest(command, device=device):
                            if is_whole:
                                self.assertEqual(found.get(device, []), part)
                            else:
                                self.assertTrue(is_within(part, found.get(device, [])),
                                                f"shown: {part}\nplayed: {found.get(device)}")
        self.assertGreaterEqual(played, 0 if is_shown else 4)


@unittest.skipIf(on_windows, "it is drawn on a terminal of POSIX")
class the_picture(unittest.TestCase):
    def test_in_the_readme_is_that_of_a_run(self):
        kept = (root / "docs" / "live-view.svg").read_text("utf-8")
        self.assertEqual(self.same_in_each_run(kept), self.same_in_each_run(drawn(play(station, vandrel_sim))))

    def same_in_each_run(self, picture):
        lines = re.findall(r">([^<]*)</text>", picture.replace("\u00a0", " "))
        return [re.sub(r"[ \d]+", " ", lines[0]), lines[1], *(line for line in lines if " A4 " in line[:5]), lines[-1]]


class worked_examples(unittest.TestCase):
    def test_the_job_runs_and_leaves_what_it_keeps(self):
        ((_, job),) = blocks("yaml")
        (command,) = re.findall(r"^ {4}- (vandrel-station .*)$", job, re.M)
        (kept,) = re.findall(r"^ {4}paths: \[(.*)\]$", job, re.M)
        for numbers, status in (([1, 2], 0), ([1, 4], 1)):
            with self.subTest(status=status), computer(numbers) as here:
                (here.folder / "ecids.txt").write_text("".join(f"000A11B22C33{number:04X}\n" for number in numbers))
                done = subprocess.run(["bash", "-c", command], cwd=here.folder, env=here.environment,
                                      stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=120)
                self.assertEqual(done.returncode, status)
                for path in kept.split(", "):
                    self.assertTrue((here.folder / path).is_file(), path)
                self.assertEqual((here.folder / "run" / "events.jsonl").read_bytes(),
                                 done.stdout)
                events = [json.loads(line) for line in done.stdout.splitlines()]
                self.assertEqual({event["tags"]["job"] for event in events}, {"4711"})

    def test_the_shipper_is_given_what_a_run_writes(self):
        ((_, shipper),) = blocks("toml")
        config = tomllib.loads(shipper)
        (source,), (transform,), (sink,) = (config[kind].items() for kind in ("sources", "transforms", "sinks"))
        self.assertEqual((transform[1]["inputs"], sink[1]["inputs"]), ([source[0]], [transform[0]]))
        (pattern,) = source[1]["include"]
        with computer([1]) as here:
            here.run("vandrel-station restore --bundle iPhone.ipsw --all --run-folder state/vandrel/station/one")
            found = list((here.folder / "state").glob(pattern.replace("\\", "/").partition("Local/")[2]))
            self.assertEqual([path.name for path in found], ["events.jsonl"])
            events = [json.loads(line) for line in found[0].read_text("ascii").splitlines()]
        keys = re.findall(r"\.(\w+)", transform[1]["source"])
        self.assertEqual(set(keys) - {"message", "timestamp"}, {"time", "run", "seq", "id"})
        for event in events:
            self.assertRegex(event["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
        self.assertEqual(len({(event["run"], event["seq"]) for event in events}), len(events))

    def test_the_program_ends_with_the_stations_status(self):
        ((_, program),) = blocks("python")
        with computer([1, 4]) as here:
            done = subprocess.run([sys.executable, "-c", program, "iPhone.ipsw"], cwd=here.folder,
                                  env=here.environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, text=True, timeout=120)
        self.assertEqual((done.returncode, done.stderr), (1, ""))
        self.assertEqual(sorted(done.stdout.splitlines()), ["000A11B22C330001 restored completed",
                                                            "000A11B22C330004 failed device_error"])

    def test_the_columns_of_the_table_are_those_of_the_file(self):
        section = text_of_page.partition("| column | |\n")[2].partition("\n\n")[0]
        columns = [name for row in section.splitlines()[1:] for name in re.findall(r"`(\w+)`", row.split("|")[1])]
        with computer([1]) as here:
            here.run("vandrel-station restore --bundle iPhone.ipsw --all --run-folder run")
            header = (here.folder / "run" / "summary.csv").read_text("utf-8").splitlines()[0]
        self.assertEqual(columns, header.split(","))


@unittest.skipIf(on_windows, "the script is for the computer that builds")
class the_script(unittest.TestCase):
    def play(self, *words):
        environment = dict(os.environ, VANDREL_PROGRAMS=os.path.dirname(station))
        done = subprocess.run([root / "scripts" / "station", *words], env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=120)
        return done.returncode, done.stdout, done.stderr

    def test_plays_twelve_devices_of_which_one_fails_one_goes_quiet_and_one_comes_late(self):
        begun = time.monotonic()
        status, out, error = self.play()
        print(f"{time.monotonic() - begun:.1f} s")
        self.assertEqual((status, error), (1, ""))
        self.assertTrue(out.partition("\nLogs: ")[0].endswith("\n\n11 of 12 devices restored. Status 1."), out)
        slots = [f"{row}{place}" for row in "AB" for place in range(1, 7)]

        def slots_with(word):
            return sorted(re.findall(rf"(?m)^\d\d:\d\d:\d\d (\w\d)   [0-9A-F]{{16}} {word}\b", out))
        self.assertEqual(slots_with("started"), slots)
        self.assertEqual(slots_with("restored"), [slot for slot in slots if slot != "A4"])
        self.assertEqual(slots_with("FAILED"), ["A4"])
        self.assertEqual(slots_with("QUIET"), ["B1"])
        found = re.findall(r"(?m)^(\d\d:\d\d):(\d\d) (\w\d)   [0-9A-F]{16} found ", out)
        self.assertEqual([slot for *_, slot in found], slots)
        begin = re.search(r"(?m)^(\d\d:\d\d):(\d\d) run ", out)
        # It comes after four seconds. On a slow computer the first list takes longer than that.
        if begin[1] == found[0][0] and int(found[0][1]) - int(begin[2]) < 3:
            self.assertGreater(out.index("B6   000A11B22C33000C found"), out.index("A1   000A11B22C330001 started"))

    def test_gives_each_command_what_it_takes(self):
        status, out, error = self.play("bundles", "ipsw")
        self.assertEqual((status, error), (1, ""))
        self.assertIn("2 bundles, ", out)
        status, out, error = self.play("list", "--bundle", "iPhone.ipsw")
        self.assertEqual((status, error), (0, ""))
        self.assertEqual(len(re.findall(r"(?m)^  [AB]\d .* fits$", out)), 11)
        self.assertEqual(self.play("--help")[0], 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
