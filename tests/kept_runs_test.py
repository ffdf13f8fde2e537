#!/usr/bin/env python3
"""Keeps a whole-program test's run, and repeats it: kept_runs_test.py PROGRAM_TESTS."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

program_tests = pathlib.Path()

TEST = "restore.the_record_of_a_report_is_one_document_and_a_line_feed"


class kept_run(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        subprocess.run([program_tests, f"--gtest_filter={TEST}", "--gtest_brief=1"], check=True,
                       env={**os.environ, "VANDREL_KEEP_RUNS": temporary.name}, stdout=subprocess.DEVNULL)
        (self.folder,) = pathlib.Path(temporary.name).iterdir()

    def read(self, name):
        return (self.folder / name).read_text("utf-8")

    def test_has_the_name_of_its_test_and_a_number(self):
        self.assertEqual(self.folder.name, TEST + ".1")

    def test_has_the_scenario_the_journal_and_both_streams(self):
        self.assertIn("<key>Restore</key>", self.read("scenario.plist"))
        self.assertIn("<string>AMRestorableDeviceRestore</string>", self.read("journal"))
        self.assertIn("<string>RestoreStatus</string>", self.read("standard_output"))
        self.assertEqual(self.read("standard_error"), "")

    def test_is_repeated_by_its_command_with_more_arguments(self):
        again = subprocess.run(["sh", self.folder / "command", "--debug"], capture_output=True, text=True, check=False)
        self.assertEqual((again.returncode, again.stdout), (0, self.read("standard_output")))
        self.assertIn("Notifying restore complete", again.stderr)


if __name__ == "__main__":
    program_tests = pathlib.Path(sys.argv[1]).resolve()
    unittest.main(argv=sys.argv[:1], verbosity=2)
