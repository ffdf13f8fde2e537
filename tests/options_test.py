#!/usr/bin/env python3
"""Checks that every list of the options, and that of the keys of scenarios, is complete: options_test.py ROOT
VANDREL-SIM."""
import pathlib
import re
import subprocess
import sys
import unittest

# Tests leave nothing among the sources.
sys.dont_write_bytecode = True
root = pathlib.Path(sys.argv[1])
sys.path.insert(0, str(root / "tests" / "release"))

from command_lines import COMMAND_LINES

# Their output differs between runs, or they need a file or a pipe.
COMPARED_ELSEWHERE = {"--debug", "--amr-logfile", "--output-pipe"}


def options_of_the_tool():
    help_text = subprocess.run([sys.argv[2], "--help"], capture_output=True, text=True, check=True).stderr
    return set(re.findall(r"^  (--[a-z-]+)", help_text, re.MULTILINE))


class options(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.all = options_of_the_tool()

    def test_are_in_the_tables_of_the_windows_page(self):
        page = (root / "docs" / "windows.md").read_text("utf-8")
        self.assertEqual(set(re.findall(r"^\| `(--[a-z-]+)[` ]", page, re.MULTILINE)), self.all)

    def test_are_in_the_dictionary_of_the_fuzzer(self):
        dictionary = (root / "fuzzers" / "command_line.dict").read_text("utf-8")
        self.assertEqual(set(re.findall(r'^"(--[a-z-]+)"$', dictionary, re.MULTILINE)), self.all)

    def test_are_in_the_command_lines_that_both_programs_run(self):
        used = {word for words in COMMAND_LINES for word in words if word.startswith("--")}
        self.assertEqual(self.all - used, COMPARED_ELSEWHERE)


class keys_and_words_of_scenarios(unittest.TestCase):
    def test_are_in_the_dictionary_of_the_fuzzer(self):
        reader = (root / "simulator" / "mobile_device" / "scenario_file.cpp").read_text("utf-8")
        known = set(re.findall(r'"([A-Z][A-Za-z]+)"', reader))
        self.assertLessEqual({"ECID", "RestoreOS", "Threads"}, known)
        dictionary = (root / "fuzzers" / "scenario.dict").read_text("utf-8")
        self.assertEqual(known - set(re.findall(r">([A-Za-z]+)<", dictionary)), set())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
