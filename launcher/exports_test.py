#!/usr/bin/env python3
"""What the library gives on a POSIX host: exports_test.py OBJDUMP LIBRARY.

What the Windows product gives and takes is in its headers: release_files_test.py reads them.
"""
import re
import subprocess
import sys
import unittest

objdump, library = sys.argv[1:3]


class exports(unittest.TestCase):
    def test_main_is_the_only_one(self):
        table = subprocess.run([objdump, "-T", library], capture_output=True, text=True, check=True).stdout
        # Defined in a section, unlike *UND*; the linker's own version node is *ABS*.
        lines = [line.split() for line in table.splitlines() if re.match("[0-9a-f]{16} ", line)]
        names = [words[-1] for words in lines if "*UND*" not in words and "*ABS*" not in words]
        self.assertEqual(names, ["main"])


unittest.main(argv=sys.argv[:1], verbosity=2)
