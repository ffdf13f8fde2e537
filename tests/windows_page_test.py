#!/usr/bin/env python3
"""Runs the Command Prompt examples in docs/windows.md, and compares their output.

    windows_page_test.py PAGE EMULATOR VANDREL.EXE VANDREL.DLL VANDREL-SIM.EXE

An example is a block of the language "bat", in which a line that begins with the prompt is a command. Up to
HEADING_OF_INSTALLED, Apple's libraries are not installed, as in EMULATOR's prefix; after it they are, and
VANDREL-SIM.EXE takes the place of vandrel.exe.
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

# Tests leave nothing among the sources.
sys.dont_write_bytecode = True
from pages_test import BLOCK, matches

page, emulator, vandrel, vandrel_library, vandrel_sim = sys.argv[1:]

HEADING_OF_INSTALLED = "## The first command\n"
PROMPT = "C:\\vandrel>"
MARK = "=== the next command"
# Wine's text differs from that of Windows.
MODULE_NOT_FOUND = "(Module not found)", "(The specified module could not be found)"
ADDRESS = re.compile(r"\(0x[0-9a-f]+\)")


def play(block, folder):
    """The block's commands, each with its output."""
    commands = [line[len(PROMPT) :] for line in block.splitlines() if line.startswith(PROMPT)]
    batch = ["@echo off"]
    for command in commands:
        batch += [f"echo {MARK}", command]
    (folder / "session.bat").write_text("\r\n".join(batch) + "\r\n", "utf-8", newline="")
    result = subprocess.run(
        [emulator, "cmd", "/c", "session.bat"],
        cwd=folder,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        timeout=120,
        check=False,
    )
    text = result.stdout.decode("utf-8").replace("\r\n", "\n").replace(*MODULE_NOT_FOUND)
    before, *played = text.split(MARK + "\n")
    assert before == "" and len(played) == len(commands), text
    return "".join(PROMPT + command + "\n" + output for command, output in zip(commands, played))


class command_prompt_sessions(unittest.TestCase):
    def test_show_what_a_run_writes(self):
        text = pathlib.Path(page).read_text("utf-8")
        installed = text.index(HEADING_OF_INSTALLED)
        counts = {False: 0, True: 0}
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            shutil.copy(vandrel_library, folder / "vandrel.dll")
            for block in BLOCK.finditer(text):
                kind, shown = block.groups()
                if kind != "bat":
                    continue
                is_installed = block.start() > installed
                counts[is_installed] += 1
                shutil.copy(vandrel_sim if is_installed else vandrel, folder / "vandrel.exe")
                played = ADDRESS.sub("(0x1)", play(shown, folder))
                with self.subTest(block=shown.splitlines()[0]):
                    self.assertTrue(matches(ADDRESS.sub("(0x1)", shown), played), f"it wrote:\n{played}")
        self.assertEqual(counts, {False: 1, True: 3})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
