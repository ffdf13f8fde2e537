#!/usr/bin/env python3
"""Looks into the archives of a release: package_test.py RELEASE BUILD SOURCE VERSION DATE [EMULATOR]."""
import hashlib
import json
import os
import pathlib
import posixpath
import re
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zipfile

# Tests leave nothing among the sources.
sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))

from testing_page_test import anchors_of

release, build, source, version, date, *emulator = sys.argv[1:]
name = f"vandrel-{version}-windows-x64"

PROGRAMS = ["vandrel-check-platform.exe", "vandrel-sim.exe", "vandrel-station.exe", "vandrel.dll", "vandrel.exe"]
# The libraries that the linker is given, and what the list of parts calls them.
PART_OF_LIBRARY = {"libboost_filesystem.a": "boost", "libboost_json.a": "boost", "libboost_program_options.a": "boost",
                   "libboost_container.a": "boost", "libboost_atomic.a": "boost", "libexpat.a": "expat",
                   "libfmt.a": "fmt", "libpugixml.a": "pugixml", "libz.a": "zlib", "libzip.a": "libzip"}
# What a program has without the linker being given it: headers, and the compiler's own libraries.
OTHER_PARTS = {"cli11", "libgcc", "libstdc++", "mingw-w64", "winpthreads"}


def read(*path):
    with open(os.path.join(*path), "rb") as file:
        return file.read()


def header_of(program):
    (header,) = struct.unpack_from("<I", program, 0x3C)
    return header


def date_of(program):
    return struct.unpack_from("<I", program, header_of(program) + 8)[0]


def without_date_and_checksum(program):
    header, image = header_of(program), bytearray(program)
    image[header + 8:header + 12] = image[header + 88:header + 92] = bytes(4)
    return bytes(image)


class package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.product = cls.contents(name + ".zip")
        cls.symbols = cls.contents(name + "-debug-symbols.zip")
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        with zipfile.ZipFile(os.path.join(release, name + ".zip")) as archive:
            archive.extractall(folder.name + "/Unpacked Распаковано 展開")
        cls.here = pathlib.Path(folder.name) / "Unpacked Распаковано 展開" / name
        cls.sbom = json.loads(cls.product[f"{name}/sbom.spdx.json"])
        cls.parts = {part["name"]: part for part in cls.sbom["packages"]}

    @classmethod
    def contents(cls, archive):
        with zipfile.ZipFile(os.path.join(release, archive)) as opened:
            return {entry: opened.read(entry) for entry in opened.namelist()}

    def test_the_product_is_its_files_pages_samples_and_licences(self):
        files = ["CHANGELOG.md", "README.md", "docs/records.md", "docs/report.png", "docs/scenario.md",
                 "docs/station.md", "docs/windows.md", "licences/GPL-3.txt", "licences/LGPL-2.1.txt", "licences/boost.txt",
                 "licences/cli11.txt", "licences/expat.txt", "licences/fmt.txt", "licences/gcc.txt",
                 "licences/libzip.txt", "licences/mingw-w64.txt", "licences/pugixml.txt", "licences/zlib.txt",
                 "sbom.spdx.json", *PROGRAMS]
        files += ["samples/" + file for file in os.listdir(os.path.join(source, "samples"))
                  if file.endswith((".cpp", ".cs", ".h", ".py"))]
        of_their_own = f"{name}/truth/", f"{name}/scenarios/"
        self.assertEqual(sorted(file for file in self.product if not file.startswith(of_their_own)),
                         [f"{name}/{file}" for file in sorted(files)])

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

    def test_the_scenarios_are_those_of_the_sources(self):
        scenarios = os.path.join(source, "release", "scenarios")
        self.assertEqual({file: content for file, content in self.product.items() if "/scenarios/" in file},
                         {f"{name}/scenarios/{file}": read(scenarios, file) for file in os.listdir(scenarios)})

    def test_debug_symbols_are_apart_and_unpack_beside_the_product(self):
        self.assertEqual(sorted(self.symbols), [f"{name}/{file}.debug" for file in PROGRAMS])

    def test_the_files_are_those_that_were_built_with_the_date_of_the_release(self):
        for file in PROGRAMS:
            packed, built = self.product[f"{name}/{file}"], read(build, "bin", file)
            self.assertEqual((date_of(packed), date_of(built)), (int(date), 0), file)
            self.assertTrue(without_date_and_checksum(packed) == without_date_and_checksum(built), file)
            symbols = file + ".debug"
            self.assertTrue(self.symbols[f"{name}/{symbols}"] == read(build, "bin", symbols), symbols)

    def test_the_checksums_of_the_programs_are_right(self):
        for file in PROGRAMS:
            image = self.product[f"{name}/{file}"]
            place = header_of(image) + 88
            words = image[:place] + bytes(4) + image[place + 4:] + bytes(len(image) % 2)
            total = sum(int.from_bytes(words[at:at + 2], "little") for at in range(0, len(words), 2))
            # Adding with the carry is counting modulo one less than the carry's weight.
            expected = (total % 0xFFFF or 0xFFFF) + len(image)
            self.assertEqual(struct.unpack_from("<I", image, place), (expected,), file)

    def test_the_programs_are_small(self):
        self.assertLess(len(self.product[f"{name}/vandrel-sim.exe"]), 12_000_000)

    def test_entries_are_sorted_and_have_the_date_of_the_release_and_fixed_modes(self):
        # The format counts in steps of two seconds.
        when = time.gmtime(int(date) // 2 * 2)[:6]
        for archive in (name + ".zip", name + "-debug-symbols.zip"):
            with zipfile.ZipFile(os.path.join(release, archive)) as opened:
                entries = opened.infolist()
            names = [entry.filename for entry in entries]
            self.assertEqual(names, sorted(names, key=lambda path: path.split("/")))
            for entry in entries:
                self.assertEqual(entry.date_time, when, entry.filename)
                runs = entry.filename.endswith((".exe", ".dll"))
                self.assertEqual(oct(entry.external_attr >> 16), oct(0o100755 if runs else 0o100644), entry.filename)

    def test_the_sums_are_those_of_the_files(self):
        files = [name + "-debug-symbols.zip", name + ".zip", f"vandrel-{version}-x64-user.msi",
                 f"vandrel-{version}-x64.msi"]
        self.assertEqual(sorted(os.listdir(release)), ["SHA256SUMS", *files])
        self.assertEqual(read(release, "SHA256SUMS").decode("ascii"), "".join(
            f"{hashlib.sha256(read(release, file)).hexdigest()}  {file}\n" for file in files))

    def test_the_licences_are_what_they_are_called(self):
        phrases = {"boost": "Boost Software License", "fmt": "Victor Zverovich",
                   "gcc": "GCC RUNTIME LIBRARY EXCEPTION", "mingw-w64": "winpthreads",
                   "cli11": "Redistribution and use", "expat": "Expat maintainers", "libzip": "Dieter Baron",
                   "pugixml": "Arseny Kapoulkine", "zlib": "Jean-loup Gailly",
                   "GPL-3": "GNU GENERAL PUBLIC LICENSE", "LGPL-2.1": "GNU LESSER GENERAL PUBLIC LICENSE"}
        for licence, phrase in phrases.items():
            self.assertIn(phrase, self.product[f"{name}/licences/{licence}.txt"].decode(), licence)

    def test_boosts_licence_is_its_text_alone(self):
        lines = self.product[f"{name}/licences/boost.txt"].decode().splitlines()
        self.assertEqual(lines[0], "Boost Software License - Version 1.0 - August 17th, 2003")
        self.assertEqual(lines[1:3], ["", "Permission is hereby granted, free of charge, to any person or"])
        self.assertEqual((lines[-1], len(lines)), ("OTHER DEALINGS IN THE SOFTWARE.", 26))

    def test_no_build_path_is_in_it(self):
        folders = {source, os.path.realpath(os.path.join(source, ".deps"))}
        for entry, content in (self.product | self.symbols).items():
            for folder in folders:
                for encoding in ("utf-8", "utf-16-le"):
                    self.assertFalse(folder.encode(encoding) in content, f"{folder} in {entry}")

    def test_the_installers_have_windows_take_back_what_they_add_to_path(self):
        # "-" is removal, which Wine does for the computer's variable without it, too; "*" is that variable.
        for suffix, variable in (("", "=-*PATH"), ("-user", "=-PATH")):
            installer = os.path.join(release, f"vandrel-{version}-x64{suffix}.msi")
            rows = subprocess.run(["msiinfo", "export", installer, "Environment"], capture_output=True, text=True,
                                  check=True).stdout.splitlines()[3:]
            self.assertEqual(rows, [f"Path\t{variable}\t[~];[INSTALLDIR]\tFiles0"])

    # --- the list of parts

    def test_every_linked_library_is_in_the_list_of_parts(self):
        text = read(build, "build.ninja").decode()
        linked = set()
        for program in PROGRAMS:
            (rule,) = re.findall(rf"^build bin/{re.escape(program)}[ :].*?\n\n", text, re.MULTILINE | re.DOTALL)
            linked |= {os.path.basename(path) for path in re.findall(r"(?<= )/\S+\.a\b", rule)}
        self.assertEqual(linked - PART_OF_LIBRARY.keys(), set())
        self.assertEqual(self.parts.keys(),
                         {"vandrel"} | OTHER_PARTS | {PART_OF_LIBRARY[library] for library in linked})

    def test_the_versions_of_parts_are_those_of_their_headers(self):
        headers = pathlib.Path(source) / ".deps" / "windows" / "include"
        compiler = subprocess.run(["dpkg-query", "--show", "--showformat", "${Version}", "g++-mingw-w64-x86-64-posix"],
                                  capture_output=True, text=True, check=True).stdout.split("-")[0]
        (boost,) = re.findall(r'#define BOOST_LIB_VERSION "(\S+)"', (headers / "boost/version.hpp").read_text())
        (libzip,) = re.findall(r'#define LIBZIP_VERSION "(\S+)"', (headers / "zipconf.h").read_text())
        (pugixml,) = re.findall(r"define PUGIXML_VERSION \d+ // (\S+)", (headers / "pugixml.hpp").read_text())
        versions = {part: entry["versionInfo"] for part, entry in self.parts.items()}
        self.assertEqual(versions["vandrel"], version)
        self.assertEqual(versions["boost"].split(".")[:2], boost.split("_"))
        self.assertEqual(versions["libzip"], libzip)
        self.assertEqual(versions["pugixml"].removesuffix(".0"), pugixml)
        self.assertEqual((versions["libgcc"], versions["libstdc++"]), (compiler, compiler))
        for part, text in versions.items():
            self.assertRegex(text, r"^\d+\.\d+\.\d+$", part)

    def test_the_list_of_parts_has_what_its_format_requires(self):
        self.assertEqual([self.sbom[key] for key in ("spdxVersion", "dataLicense", "SPDXID", "name")],
                         ["SPDX-2.3", "CC0-1.0", "SPDXRef-DOCUMENT", f"vandrel-{version}"])
        self.assertTrue(self.sbom["documentNamespace"].startswith("https://"))
        self.assertEqual(self.sbom["creationInfo"]["created"],
                         time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(int(date))))
        ids = [part["SPDXID"] for part in self.sbom["packages"]]
        self.assertEqual(len(ids), len(set(ids)))
        for part in self.sbom["packages"]:
            self.assertRegex(part["SPDXID"], "^SPDXRef-[A-Za-z0-9.-]+$")
            self.assertEqual((part["filesAnalyzed"], part["downloadLocation"]), (False, "NOASSERTION"))
        product = self.parts["vandrel"]["SPDXID"]
        self.assertEqual({(one["spdxElementId"], one["relationshipType"], one["relatedSpdxElement"])
                          for one in self.sbom["relationships"]},
                         {("SPDXRef-DOCUMENT", "DESCRIBES", product)}
                         | {(product, "STATIC_LINK", part) for part in ids if part != product})

    def test_each_part_has_its_licence_in_the_archive(self):
        for part, entry in self.parts.items():
            if part != "vandrel":
                self.assertIn(f"{name}/{entry['comment']}", self.product, part)

    # --- the pages

    def pages(self):
        return {entry: content.decode() for entry, content in self.product.items() if entry.endswith(".md")}

    def test_links_lead_to_a_file_and_a_heading_of_the_archive(self):
        count = 0
        for entry, text in self.pages().items():
            for target in re.findall(r"\]\((?!https?:)([^)\s]*)\)", text):
                path, _, anchor = target.partition("#")
                file = posixpath.normpath(posixpath.join(posixpath.dirname(entry), path)) if path else entry
                with self.subTest(page=entry, target=target):
                    count += 1
                    self.assertTrue(file in self.product or any(other.startswith(file + "/") for other in self.product))
                    self.assertTrue(not anchor or anchor in anchors_of(self.here.parent / file))
        self.assertGreater(count, 30)

    def test_files_that_pages_name_are_in_the_archive(self):
        count = 0
        for entry, text in self.pages().items():
            for file in re.findall(r"(?<![\w/\\.-])((?:docs|licences|samples|scenarios)[/\\][\w-]+\.\w+)", text):
                with self.subTest(page=entry, file=file):
                    count += 1
                    self.assertTrue((self.here / file.replace("\\", "/")).exists())
        self.assertGreater(count, 2)

    # --- unpacked

    def unpacked(self, program, *arguments):
        return subprocess.run([*emulator, str(self.here / program), *arguments], cwd=self.here,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)

    def test_the_unpacked_launcher_finds_its_library(self):
        run = self.unpacked("vandrel.exe", "--help")
        self.assertEqual((run.returncode, run.stdout), (0, ""))
        self.assertTrue(run.stderr.startswith("Program options:"), run.stderr)

    def test_the_unpacked_simulator_lists_its_devices(self):
        run = self.unpacked("vandrel-sim.exe", "--list-devices", "--detect-timeout", "1")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertIn("<string>DeviceList</string>", run.stdout)

    def test_the_unpacked_station_finds_the_launcher(self):
        # It starts it, and the launcher finds no libraries of Apple's.
        run = self.unpacked("vandrel-station.exe", "list")
        self.assertEqual((run.returncode, run.stdout), (4, ""))
        self.assertTrue(run.stderr.startswith("vandrel-station: the tool gave no list of devices"), run.stderr)

    def test_the_unpacked_check_of_the_platform_starts(self):
        run = self.unpacked("vandrel-check-platform.exe", "truth")
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertTrue(run.stderr.startswith("vandrel-check-platform: "), run.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
