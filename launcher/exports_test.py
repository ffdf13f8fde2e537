#!/usr/bin/env python3
"""What the built product gives and takes: exports_test.py OBJDUMP LIBRARY LAUNCHER."""
import re
import subprocess
import sys
import unittest

objdump, library, launcher = sys.argv[1:4]


def read(option, file):
    return subprocess.run([objdump, option, file], capture_output=True, text=True, check=True).stdout


class exports(unittest.TestCase):
    def test_main_is_the_only_one(self):
        if library.endswith(".dll"):
            table = read("-p", library).split("[Ordinal/Name Pointer] Table")[1]
            names = re.findall(r"^\s+\[ *\d+\] (?:\+base\[ *\d+\] +[0-9a-f]+ )?(\S+)$", table, re.M)
        else:
            # Defined in a section, unlike *UND*; the linker's own version node is *ABS*.
            lines = [line.split() for line in read("-T", library).splitlines() if re.match("[0-9a-f]{16} ", line)]
            names = [words[-1] for words in lines if "*UND*" not in words and "*ABS*" not in words]
        self.assertEqual(names, ["main"])


class imports(unittest.TestCase):
    def test_no_run_time_library_of_the_compiler_on_windows(self):
        if not library.endswith(".dll"):
            self.skipTest("for Windows only")
        for file in (library, launcher):
            names = re.findall(r"DLL Name: (\S+)", read("-p", file))
            self.assertIn("KERNEL32.dll", names)
            for name in names:
                self.assertNotRegex(name.lower(), "libgcc|libstdc|winpthread|boost|fmt", file)


unittest.main(argv=sys.argv[:1], verbosity=2)
