#!/usr/bin/env python3
"""The product under Wine with Apple's libraries, in the usual folders and in those that the registry names.

    installation_test.py EMULATOR VANDREL.EXE VANDREL-SIM.EXE FOLDER SHOUTING.DLL

The libraries in FOLDER are the simulator's, under Apple's names. SHOUTING.DLL says so when it is loaded.
EMULATOR is scripts/wine; the tests have a Wine prefix of their own to install them in.
"""
import os
import pathlib
import shutil
import sys
import tempfile
import unittest

# Tests leave nothing among the sources.
sys.dont_write_bytecode = True

from command_lines import COMMAND_LINES, LISTING, RECOVERY, wrote_the_same
from wine_prefix import wine_prefix

emulator, vandrel, vandrel_sim, stand_ins, shouting = "", "", "", pathlib.Path(), ""

COMMON_FILES = "Program Files/Common Files/Apple"
APPLICATION_SUPPORT = COMMON_FILES + "/Apple Application Support"
MOBILE_DEVICE_SUPPORT = COMMON_FILES + "/Mobile Device Support"
# What Windows 10 takes from its own folder whatever else has these names: its list of "known" libraries, in the
# registry under Control\\Session Manager\\KnownDLLs, and what every process has before its first instruction.
KNOWN_LIBRARIES = {f"{name}.dll" for name in (
    "advapi32 clbcatq combase comdlg32 coml2 difxapi gdi32 gdiplus imagehlp imm32 kernel32 msctf msvcrt normaliz nsi "
    "ole32 oleaut32 psapi rpcrt4 sechost setupapi shcore shell32 shlwapi user32 wldap32 ws2_32 ntdll kernelbase"
).split()}
# What these import under Wine before a program's first instruction. On Windows, the first two are known as well, and
# the others are not needed.
NEEDED_BY_WINES_KNOWN_LIBRARIES = ["ucrtbase.dll", "win32u.dll", "version.dll", "zlib1.dll"]
MODULE_NOT_FOUND = "(Module not found)"
KEY = "HKLM\\Software\\Apple Inc.\\"


class installation(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.windows = wine_prefix(emulator, pathlib.Path(temporary.name) / "prefix")
        cls.addClassCleanup(cls.windows.stop)
        cls.drive = cls.windows.drive
        cls.run_windows = cls.windows.run

    def tearDown(self):
        for folder in (COMMON_FILES, "Elsewhere"):
            shutil.rmtree(self.drive / folder, ignore_errors=True)
        self.run_windows("reg", "delete", KEY.rstrip("\\"), "/f")

    def install(self, source, folder, name=None):
        target = self.drive / folder
        target.mkdir(parents=True, exist_ok=True)
        return shutil.copy(source, target / (name or pathlib.Path(source).name))

    def install_customary(self):
        self.install(stand_ins / "CoreFoundation.dll", APPLICATION_SUPPORT)
        self.install(stand_ins / "MobileDevice.dll", MOBILE_DEVICE_SUPPORT)

    def record(self, key, value, text):
        result = self.run_windows(
            "reg", "add", KEY + key, "/v", value, "/t", "REG_SZ", "/d", text, "/f", "/reg:64"
        )
        self.assertEqual(result.returncode, 0, result)

    def expect_devices(self, **settings):
        result = self.run_windows(vandrel, *LISTING, **settings)
        self.assertEqual(result.returncode, 0, result)
        self.assertIn(b"<string>DeviceList</string>", result.stdout)
        self.assertIn(RECOVERY.encode(), result.stdout)

    def expect_sentence(self, *parts, **settings):
        """Status 1, and on standard error one line that has these parts in this order."""
        result = self.run_windows(vandrel, *LISTING, **settings)
        self.assertEqual(result.returncode, 1, result)
        self.assertEqual(result.stdout, b"")
        text = result.stderr.decode("utf-8")
        self.assertEqual(text.count("\n"), 1, text)
        position = 0
        for part in ("vandrel: ", *parts):
            self.assertIn(part, text[position:], text)
            position = text.index(part, position) + len(part)

    # --- found

    def test_every_command_does_what_it_does_over_the_simulator(self):
        self.install_customary()
        for arguments in COMMAND_LINES:
            with self.subTest(arguments=arguments):
                real = self.run_windows(vandrel, *arguments)
                simulated = self.run_windows(vandrel_sim, *arguments)
                self.assertEqual(real.returncode, simulated.returncode)
                self.assertTrue(wrote_the_same(arguments, real.stdout, simulated.stdout),
                                (real.stdout, simulated.stdout))
                self.assertEqual(real.stderr, simulated.stderr)

    def test_the_tests_of_the_simulator_pass_with_the_product(self):
        self.install_customary()
        for tests in ("program_tests.exe", "controlling_application_tests.exe"):
            with self.subTest(tests=tests):
                result = self.run_windows(
                    os.path.join(os.path.dirname(vandrel), tests),
                    # The suite of a machine without Apple's libraries is left out.
                    "--gtest_filter=-launcher.*",
                    environment={"VANDREL_TESTED_PROGRAM": "vandrel"},
                )
                self.assertEqual(result.returncode, 0, result.stdout.decode("utf-8"))

    def test_the_folders_that_the_registry_names_are_looked_in(self):
        self.install(stand_ins / "CoreFoundation.dll", "Elsewhere/Support")
        library = self.install(stand_ins / "MobileDevice.dll", "Elsewhere/Devices")
        self.assertTrue(os.path.exists(library))
        self.record("Apple Application Support", "InstallDir", "C:\\Elsewhere\\Support\\")
        self.record(
            "Apple Mobile Device Support\\Shared",
            "MobileDeviceDLL",
            "C:\\Elsewhere\\Devices\\MobileDevice.dll",
        )
        self.expect_devices()

    def test_the_registry_takes_precedence_over_the_customary_folders(self):
        self.install_customary()
        self.install(vandrel, "Elsewhere/Support", "CoreFoundation.dll")
        self.record("Apple Application Support", "InstallDir", "C:\\Elsewhere\\Support")
        self.expect_sentence("do not have CFArrayAppendValue")

    def test_a_missing_folder_that_the_registry_names_is_ignored(self):
        self.install_customary()
        self.record("Apple Application Support", "InstallDir", "C:\\Elsewhere\\Support")
        self.expect_devices()

    def test_the_older_name_of_the_library_serves_as_well(self):
        self.install(stand_ins / "CoreFoundation.dll", APPLICATION_SUPPORT)
        self.install(
            stand_ins / "MobileDevice.dll", MOBILE_DEVICE_SUPPORT, "iTunesMobileDevice.dll"
        )
        self.expect_devices()

    def test_a_link_to_the_program_finds_the_programs_library(self):
        folder = self.drive / "Elsewhere"
        folder.mkdir()
        # Wine passes links of the host's on as what they lead to.
        link = folder / "link.exe"
        link.symlink_to(vandrel)
        result = self.run_windows(link, "--help", folder=folder)
        self.assertEqual(result.returncode, 0, result)
        self.assertIn(b"Program options:", result.stderr)

    # --- not found, or not usable

    def test_without_the_libraries_the_paths_are_printed(self):
        self.expect_sentence(
            "CoreFoundation could not be loaded: ",
            "Common Files\\Apple\\Apple Application Support\\CoreFoundation.dll "
            + MODULE_NOT_FOUND,
            "; install the Apple Devices app or iTunes",
        )

    def test_without_one_library_its_paths_are_printed(self):
        self.install(stand_ins / "CoreFoundation.dll", APPLICATION_SUPPORT)
        self.record(
            "Apple Mobile Device Support\\Shared",
            "iTunesMobileDeviceDLL",
            "C:\\Elsewhere\\iTunesMobileDevice.dll",
        )
        self.expect_sentence(
            "MobileDevice could not be loaded: ",
            "C:\\Elsewhere\\MobileDevice.dll " + MODULE_NOT_FOUND,
            "C:\\Elsewhere\\iTunesMobileDevice.dll " + MODULE_NOT_FOUND,
            "Mobile Device Support\\MobileDevice.dll " + MODULE_NOT_FOUND,
            "Mobile Device Support\\iTunesMobileDevice.dll " + MODULE_NOT_FOUND,
            "; install",
        )

    def test_a_missing_function_of_a_library_is_named(self):
        self.install_customary()
        self.install(vandrel, APPLICATION_SUPPORT, "CoreFoundation.dll")
        self.expect_sentence("do not have CFArrayAppendValue", "install a current version")

    def test_a_library_of_another_architecture_is_reported(self):
        self.install_customary()
        path = self.drive / APPLICATION_SUPPORT / "CoreFoundation.dll"
        image = bytearray(path.read_bytes())
        header = int.from_bytes(image[0x3C:0x40], "little")
        image[header + 4 : header + 6] = (0x14C).to_bytes(2, "little")
        path.write_bytes(image)
        self.expect_sentence(
            "Apple Application Support\\CoreFoundation.dll (it is for another architecture than x64)"
        )

    def test_a_damaged_library_is_reported(self):
        self.install_customary()
        path = self.drive / APPLICATION_SUPPORT / "CoreFoundation.dll"
        path.write_bytes(path.read_bytes()[:100_000])
        self.expect_sentence(
            "Apple Application Support\\CoreFoundation.dll (it is damaged: its end is missing)"
        )

    def test_the_current_folder_and_the_path_are_not_looked_in(self):
        folder = self.drive / "Elsewhere"
        self.install(stand_ins / "CoreFoundation.dll", "Elsewhere")
        self.install(stand_ins / "MobileDevice.dll", "Elsewhere")
        self.expect_sentence(
            "CoreFoundation could not be loaded: ",
            folder=folder,
            environment={"WINEPATH": "C:\\Elsewhere"},
        )

    def names_to_plant(self):
        """Windows' own libraries that it looks for in several folders."""
        names = {library.name.lower() for library in (self.drive / "windows/system32").glob("*.dll")}
        return sorted(name for name in names - KNOWN_LIBRARIES if not name.startswith(("api-ms-", "ext-ms-")))

    def plant_libraries(self, folder):
        """Libraries that shout, under all these names."""
        folder.mkdir(parents=True)
        first, *others = self.names_to_plant()
        shutil.copy(shouting, folder / first)
        for name in others:
            os.link(folder / first, folder / name)

    def prefer_files_to_wines_own_code(self):
        """As on Windows. Wine would take its own code instead of a file with the name of a system library."""
        values = "".join(f'"*{name.removesuffix(".dll")}"="native,builtin"\n' for name in self.names_to_plant())
        settings = self.drive / "overrides.reg"
        key = "[HKEY_CURRENT_USER\\Software\\Wine\\DllOverrides]"
        settings.write_text(f"REGEDIT4\n\n{key}\n{values}")
        self.assertEqual(self.run_windows("regedit", "/S", "C:\\overrides.reg").returncode, 0)
        self.addCleanup(self.run_windows, "reg", "delete", "HKCU\\Software\\Wine\\DllOverrides", "/f")

    def expect_nothing_planted(self, program, *arguments):
        result = self.run_windows(program, *arguments, folder=self.drive / "Elsewhere/Current",
                                  environment={"WINEPATH": "C:\\Elsewhere\\Path"})
        self.assertNotIn(b"planted library loaded", result.stderr)
        self.assertIn(result.returncode, (0, 1), result)

    def test_windows_own_libraries_come_from_its_folder_only(self):
        self.install_customary()
        self.prefer_files_to_wines_own_code()
        folders = [self.drive / "Elsewhere" / name for name in ("Program", "Current", "Path")]
        for folder in folders:
            self.plant_libraries(folder)
        for name in ("vandrel.exe", "vandrel.dll", "vandrel-sim.exe", "vandrel-check-platform.exe",
                     "vandrel-station.exe"):
            shutil.copy(pathlib.Path(vandrel).parent / name, folders[0])
        self.expect_nothing_planted(folders[0] / "vandrel.exe", *LISTING)
        for folder in folders:
            for name in NEEDED_BY_WINES_KNOWN_LIBRARIES:
                (folder / name).unlink()
        for name, *arguments in (["vandrel-sim.exe", *LISTING], ["vandrel-check-platform.exe", "missing"],
                                 ["vandrel-station.exe", "--help"]):
            with self.subTest(program=name):
                self.expect_nothing_planted(folders[0] / name, *arguments)

    def test_a_relative_folder_in_the_registry_is_not_looked_in(self):
        folder = self.drive / "Elsewhere"
        self.install(stand_ins / "CoreFoundation.dll", "Elsewhere/Support")
        self.record("Apple Application Support", "InstallDir", "Support")
        self.expect_sentence("CoreFoundation could not be loaded: C:\\Program Files", folder=folder)


if __name__ == "__main__":
    emulator, vandrel, vandrel_sim = map(os.path.abspath, sys.argv[1:4])
    stand_ins = pathlib.Path(os.path.abspath(sys.argv[4]))
    shouting = os.path.abspath(sys.argv[5])
    unittest.main(argv=sys.argv[:1] + sys.argv[6:], verbosity=2)
