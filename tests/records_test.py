#!/usr/bin/env python3
"""Reads the tool's records with independent parsers, and compares the bytes that both hosts write.

    records_test.py [--same-as PROGRAM] [EMULATOR...] PROGRAM

PROGRAM is a vandrel-sim. With --same-as, its records and its exit status must be those of the other PROGRAM
for every command line, byte for byte, except Wine's own texts and the records after the tool has stopped waiting.
"""
import os
import plistlib
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "release"))

import command_lines
from command_lines import RECOVERY, wrote_the_same

RESTORE = ["--speed", "10", "--", "--restore", "example.ipsw", "--ecid", RECOVERY]
COMMAND_LINES = [["--speed", "10", "--", *words] for words in command_lines.COMMAND_LINES] + [
    ["--device-info", "--ecid", "8001A2B3C4D5E6F7"],
    ["--restore", "example.ipsw", "--ecid", "00000000000000AB", "--detect-timeout", "0"],
    ["--restore", "", "--ecid", RECOVERY],
    ["--ecid", "12AB"],
    ["--erase"],
    ["--detect-timeout", "abc"],
    ["--detect-timeout"],
]

# Wine has texts of its own for Windows' errors.
TEXTS_OF_WINE = {b"File not found.": b"The system cannot find the file specified."}

program = []
other_program = None


def run(command, arguments):
    result = subprocess.run(
        command + arguments, stdin=subprocess.DEVNULL, capture_output=True, timeout=60, check=False
    )
    return result.returncode, result.stdout


def documents_of(output):
    """A line feed follows the document of each record."""
    parts = output.split(b"</plist>\n\n")
    assert parts.pop() == b"", "something follows the last record"
    return [part + b"</plist>\n" for part in parts]


class records(unittest.TestCase):
    def test_a_whole_restore_ends_with_the_completing_report(self):
        status, output = run(program, RESTORE)
        self.assertEqual(status, 0)
        reports = [plistlib.loads(document) for document in documents_of(output)]
        self.assertEqual(len(reports), 41)
        for report in reports:
            self.assertEqual(report["Type"], "RestoreStatus")
            is_end = report["Value"]["Operation"] == 0
            self.assertEqual("Orv_OperationName" in report["Value"], not is_end)
        self.assertEqual(reports[-1]["Value"]["Operation"], 0)
        self.assertEqual(reports[-1]["Value"]["Progress"], 100)

    def test_independent_parsers_accept_every_record(self):
        with tempfile.TemporaryDirectory() as folder:
            source, result = os.path.join(folder, "record"), os.path.join(folder, "result")
            for arguments in COMMAND_LINES:
                for document in documents_of(run(program, arguments)[1]):
                    with open(source, "wb") as file:
                        file.write(document)
                    subprocess.run(["plistutil", "-i", source, "-f", "bin", "-o", result], check=True)
                    with open(result, "rb") as file:
                        self.assertEqual(plistlib.load(file), plistlib.loads(document))

    def test_both_hosts_write_the_same_bytes(self):
        if other_program is None:
            self.skipTest("no program to compare with")
        for arguments in COMMAND_LINES:
            with self.subTest(arguments=arguments):
                status, output = run(program, arguments)
                for text, windows_text in TEXTS_OF_WINE.items():
                    output = output.replace(text, windows_text)
                other_status, other_output = run([other_program], arguments)
                self.assertEqual(status, other_status)
                self.assertTrue(wrote_the_same(arguments, output, other_output), (output, other_output))


if __name__ == "__main__":
    words = sys.argv[1:]
    if words[:1] == ["--same-as"]:
        other_program, words = words[1], words[2:]
    program = words
    if shutil.which("plistutil") is None:
        sys.exit("plistutil is missing")
    unittest.main(argv=sys.argv[:1], verbosity=2)
