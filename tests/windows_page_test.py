#!/usr/bin/env python3
"""Unpacks a release, plays the commands of its pages under Wine, and compares their output.

    windows_page_test.py ARCHIVE SAMPLE EMULATOR

The pages are docs/windows.md, which is played, and README.md in the ARCHIVE, whose commands must be on the former. A
block of the language "bat" has commands: the lines that begin with the prompt, or all lines if none does. It is left
out if all of them begin with words of NOT_PLAYED. Up to HEADING_OF_INSTALLED, Apple's libraries are not installed, as
in EMULATOR's prefix. After it they count as installed: vandrel-sim takes the place of vandrel. Of a block of the
language "powershell", the programs of the release are played, up to the first "|". SAMPLE is the C++ sample, built.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor

# Tests leave nothing among the sources.
sys.dont_write_bytecode = True
root = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(root / "scripts" / "lib"))
import station_bench
from pages_test import BLOCK, matches

archive, sample, emulator = map(os.path.abspath, sys.argv[1:])

HEADING_OF_INSTALLED = "### Try it without a device\n"
PROMPT = "C:\\vandrel>"
MARK = "=== the next command"
LEFT_OVER = "vandrel.0a1b2c"
# Those of Windows, and one that needs Apple's library.
NOT_PLAYED = ("certutil ", "msiexec ", "Get-FileHash ", "Unblock-File ", "$LASTEXITCODE", "vandrel-check-platform ")
# What the programs write differs from run to run, and Wine's texts from those of Windows.
SAME = [(re.compile(r"\(0x[0-9a-f]+\)"), "(0x1)"), (re.compile(r"after \d\d:\d\d:\d\d"), "after 00:00:00"),
        (re.compile(re.escape("(Module not found)")), "(The specified module could not be found)")]
# Those of the built-in scenario.
CHIP, BOARD = 32816, 14
BUILT_IN = ("0001A2B3C4D5E6F7", "000A11B22C33D44E", "000C44D55E66F770", "000E77F88A99B00C", "8001A2B3C4D5E6F7")


def commands_in(block):
    """Each command, with the lines that are shown below it."""
    lines = block.splitlines(True)
    if not any(line.startswith(PROMPT) for line in lines):
        return [(line.strip(), "") for line in lines]
    found = []
    for line in lines:
        if line.startswith(PROMPT):
            found.append((line.removeprefix(PROMPT).strip(), ""))
        else:
            found[-1] = (found[-1][0], found[-1][1] + line)
    return found


def same(text):
    for pattern, replacement in SAME:
        text = pattern.sub(replacement, text)
    return text


class release:
    """A release, unpacked. Each session has a folder for temporary files, with what a killed run has
    left there."""

    def __init__(self, folder, is_installed):
        shutil.unpack_archive(archive, folder)
        (self.folder,) = folder.iterdir()
        self.sessions = 0
        shutil.copy(sample, self.folder / "samples")
        station_bench.write_bundle(self.folder / "iPhone.ipsw", CHIP, BOARD)
        if is_installed:
            shutil.copy(self.folder / "vandrel-sim.exe", self.folder / "vandrel.exe")

    def play(self, commands):
        """What each command writes."""
        self.sessions += 1
        name, temporary = f"session{self.sessions}.bat", f"temp{self.sessions}"
        (self.folder / temporary / LEFT_OVER).mkdir(parents=True)
        (self.folder / temporary / LEFT_OVER / "unpacked").write_text("a bundle")
        batch = ["@echo off", f"set TEMP=%CD%\\{temporary}", f"set TMP=%CD%\\{temporary}", "set LOCALAPPDATA=%CD%\\local"]
        for command in commands:
            batch += [f"echo {MARK}", command]
        (self.folder / name).write_text("\r\n".join(batch) + "\r\n", "utf-8", newline="")
        result = subprocess.run(
            [emulator, "cmd", "/c", name],
            cwd=self.folder,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            timeout=240,
            check=False,
        )
        before, *played = result.stdout.decode("utf-8").replace("\r\n", "\n").split(MARK + "\n")
        assert before == "" and len(played) == len(commands), result.stdout
        return played


class commands_of_the_page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.releases = {}
        for is_installed in (False, True):
            folder = tempfile.TemporaryDirectory(prefix="unpacked \u00e4\u6587 ")
            cls.addClassCleanup(folder.cleanup)
            cls.releases[is_installed] = release(pathlib.Path(folder.name), is_installed)
        text = cls.text_of("docs/windows.md")
        cls.installed_from = text.index(HEADING_OF_INSTALLED)
        cls.blocks = [(found.start(), *found.groups()) for found in BLOCK.finditer(text)]

    @classmethod
    def text_of(cls, page):
        return (cls.releases[True].folder / page).read_text("utf-8")

    def sessions(self):
        """Those of the Command Prompt whose commands are not all of Windows: whether Apple's libraries are
        installed, the commands, and what the page shows below them."""
        for start, language, block in self.blocks:
            commands = commands_in(block)
            if language == "bat" and not all(command.startswith(NOT_PLAYED) for command, _ in commands):
                yield start > self.installed_from, *zip(*commands)

    def test_write_what_the_page_shows(self):
        sessions = list(self.sessions())
        # The station locks a device, so that two stations at a time are one too many.
        with ThreadPoolExecutor(1) as one, ThreadPoolExecutor(3) as several:
            played = [(one if "vandrel-station" in commands[0] else several).submit(
                self.releases[is_installed].play, commands) for is_installed, commands, _ in sessions]
        for (_, commands, shown), each in zip(sessions, played):
            for command, expected, found in zip(commands, shown, each.result()):
                with self.subTest(command):
                    self.assertTrue(matches(same(expected), same(found)), f"it wrote:\n{found}")
        left_over = [path for path in self.releases[True].folder.glob(f"temp*/{LEFT_OVER}")]
        self.assertEqual(len(left_over), self.releases[True].sessions - 1)
        self.assertEqual(len(sessions), 15)

    def test_of_powershell_give_what_the_rest_of_the_line_takes(self):
        commands = []
        for _, language, block in self.blocks:
            if language == "powershell":
                commands += re.sub(r" \|\n +", " | ", block).splitlines()
        played = [command for command in commands if not command.startswith(NOT_PLAYED)]
        inner = [re.sub(r"^cmd /c '(.*)'$", r"\1", command).removeprefix(".\\") for command in played]
        written = self.releases[True].play([command.partition(" | ")[0].replace("'", "") for command in inner])
        (json_lines,) = [each for command, each in zip(inner, written) if "--json" in command]
        (rest,) = [command.partition(" | ")[2] for command in inner if "--json" in command]
        (event,) = re.findall(r"\$_\.event -eq '(\w+)'", rest)
        (keys,) = re.findall(r"Select-Object (.*)$", rest)
        ended = [each for each in map(json.loads, json_lines.splitlines()) if each["event"] == event]
        self.assertEqual(sorted([each[key] for key in keys.split(", ")] for each in ended),
                         [[ecid, "restored", "completed"] for ecid in BUILT_IN])
        self.assertEqual([each for command, each in zip(inner, written) if "--json" not in command], ["", ""])
        for name in ("devices.plist", "restore records.plist"):
            self.assertIn(b"</plist>", (self.releases[True].folder / name).read_bytes())

    def test_of_the_readme_are_on_the_page(self):
        of_page = {command for _, language, block in self.blocks if language == "bat"
                   for command, _ in commands_in(block)}
        of_readme = {command for found in BLOCK.finditer(self.text_of("README.md"))
                     for command, _ in commands_in(found[2])}
        self.assertEqual(len(of_readme), 4)
        self.assertEqual(of_readme - of_page, set())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
