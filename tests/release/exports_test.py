#!/usr/bin/env python3
"""What a library exports on a POSIX host: exports_test.py OBJDUMP LIBRARY [NAME...].

It must export these NAMEs and no others. release_files_test.py checks what the files for Windows export and import.
"""
import re
import subprocess
import sys
import unittest

objdump, library, *expected = sys.argv[1:]


def table(option):
    lines = subprocess.run([objdump, option, library], capture_output=True, text=True, check=True).stdout
    return [line.split() for line in lines.splitlines() if re.match("[0-9a-f]{16} ", line)]


class exports(unittest.TestCase):
    def test_they_are_these_and_no_other(self):
        # Defined in a section, unlike *UND*; the linker's own version node is *ABS*.
        names = [words[-1] for words in table("-T") if "*UND*" not in words and "*ABS*" not in words]
        self.assertEqual(sorted(names), sorted(expected))

    def test_the_library_itself_uses_its_own_whatever_else_has_these_names(self):
        relocations = table("-R")
        self.assertTrue(relocations)
        left_to_the_loader = {re.split("[@+]", words[2])[0] for words in relocations}
        self.assertEqual(left_to_the_loader & set(expected), set())


unittest.main(argv=sys.argv[:1], verbosity=2)
