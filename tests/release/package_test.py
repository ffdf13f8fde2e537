#!/usr/bin/env python3
"""Makes the release's archives and looks into them: package_test.py CPACK BUILD SOURCE VERSION [EMULATOR]."""
import os
import subprocess
import sys
import tempfile
import unittest
import zipfile

cpack, build, source, version, *emulator = sys.argv[1:]
name = f"vandrel-{version}-windows-x64"


def read(*path):
    with open(os.path.join(*path), "rb") as file:
        return file.read()


class package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = folder.name
        made = subprocess.run([cpack, "--config", os.path.join(build, "CPackConfig.cmake"), "-B", cls.folder],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, cwd=cls.folder)
        if made.returncode != 0:
            raise RuntimeError(made.stdout)
        cls.product = cls.contents(name + ".zip")
        cls.symbols = cls.contents(name + "-debug-symbols.zip")

    @classmethod
    def contents(cls, archive):
        with zipfile.ZipFile(os.path.join(cls.folder, archive)) as opened:
            return {entry: opened.read(entry) for entry in opened.namelist() if not entry.endswith("/")}

    def test_the_product_is_its_files_pages_samples_and_licences(self):
        files = ["README.md", "docs/records.md", "docs/station.md", "docs/windows.md", "licences/GPL-3.txt",
                 "licences/LGPL-2.1.txt", "licences/boost.txt", "licences/cli11.txt", "licences/fmt.txt",
                 "licences/gcc.txt", "licences/libzip.txt", "licences/mingw-w64.txt", "licences/pugixml.txt",
                 "licences/zlib.txt", "samples/run_with_pipe.cpp", "samples/run_with_pipe.cs",
                 "samples/run_with_pipe.py", "vandrel-check-platform.exe", "vandrel-station.exe", "vandrel.dll",
                 "vandrel.exe"]
        self.assertEqual(sorted(file for file in self.product if not file.startswith(f"{name}/truth/")),
                         [f"{name}/{file}" for file in files])

    def test_what_the_platform_is_compared_with_is_that_of_the_sources(self):
        truth = os.path.join(source, "simulator", "core_foundation", "truth")
        expected = {"results.txt": read(truth, "results.txt")}
        for folder in ("contents", "documents"):
            for file in os.listdir(os.path.join(truth, folder)):
                expected[f"{folder}/{file}"] = read(truth, folder, file)
        packed = {file.removeprefix(f"{name}/truth/"): content for file, content in self.product.items()
                  if file.startswith(f"{name}/truth/")}
        self.assertTrue(packed == expected, packed.keys() ^ expected.keys())
        self.assertGreater(len(expected), 1000)

    def test_debug_symbols_are_apart_and_unpack_beside_the_product(self):
        self.assertEqual(sorted(self.symbols), [
            f"{name}/{file}.debug"
            for file in ("vandrel-check-platform.exe", "vandrel-station.exe", "vandrel.dll", "vandrel.exe")])

    def test_the_files_are_those_that_were_built(self):
        for file in ("vandrel.exe", "vandrel.dll", "vandrel-station.exe", "vandrel-check-platform.exe"):
            self.assertTrue(self.product[f"{name}/{file}"] == read(build, "bin", file), file)
            symbols = file + ".debug"
            self.assertTrue(self.symbols[f"{name}/{symbols}"] == read(build, "bin", symbols), symbols)

    def test_the_licences_are_what_they_are_called(self):
        phrases = {"boost": "Boost Software License", "fmt": "Victor Zverovich",
                   "gcc": "GCC RUNTIME LIBRARY EXCEPTION", "mingw-w64": "winpthreads",
                   "cli11": "Redistribution and use", "libzip": "Dieter Baron", "pugixml": "Arseny Kapoulkine",
                   "zlib": "Jean-loup Gailly", "GPL-3": "GNU GENERAL PUBLIC LICENSE",
                   "LGPL-2.1": "GNU LESSER GENERAL PUBLIC LICENSE"}
        for licence, phrase in phrases.items():
            self.assertIn(phrase, self.product[f"{name}/licences/{licence}.txt"].decode(), licence)

    def test_no_build_path_is_in_it(self):
        folders = {source, os.path.realpath(os.path.join(source, ".deps"))}
        for entry, content in (self.product | self.symbols).items():
            for folder in folders:
                for encoding in ("utf-8", "utf-16-le"):
                    self.assertFalse(folder.encode(encoding) in content, f"{folder} in {entry}")

    def unpacked(self, program, *arguments):
        with tempfile.TemporaryDirectory() as folder:
            with zipfile.ZipFile(os.path.join(self.folder, name + ".zip")) as archive:
                archive.extractall(folder)
            here = os.path.join(folder, name)
            return subprocess.run([*emulator, os.path.join(here, program), *arguments], cwd=here,
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True)

    def test_the_unpacked_launcher_finds_its_library(self):
        run = self.unpacked("vandrel.exe", "--help")
        self.assertEqual((run.returncode, run.stdout), (0, ""))
        self.assertTrue(run.stderr.startswith("Program options:"), run.stderr)

    def test_the_unpacked_station_finds_the_launcher(self):
        # It starts it, and the launcher finds no libraries of Apple's.
        run = self.unpacked("vandrel-station.exe", "list")
        self.assertEqual((run.returncode, run.stdout), (4, ""))
        self.assertTrue(run.stderr.startswith("vandrel-station: the tool gave no list of devices"), run.stderr)

    def test_the_unpacked_check_of_the_platform_starts(self):
        run = self.unpacked("vandrel-check-platform.exe", "truth")
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertTrue(run.stderr.startswith("vandrel-check-platform: "), run.stderr)


unittest.main(argv=sys.argv[:1], verbosity=2)
