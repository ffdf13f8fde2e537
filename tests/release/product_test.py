#!/usr/bin/env python3
"""The product on a POSIX host, with libraries under Apple's names beside it, and without.

    product_test.py VANDREL VANDREL-SIM [EMULATOR...]

The libraries are the simulator's, in the folder "apple" beside VANDREL.
"""
import os
import pathlib
import plistlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

from command_lines import COMMAND_LINES, LISTING, RECOVERY, wrote_the_same

vandrel, vandrel_sim, emulator = pathlib.Path(), pathlib.Path(), []

CORE_FOUNDATION = "libCoreFoundation.so"
MOBILE_DEVICE = "libMobileDevice.so"
NEED = "vandrel: attached devices need Apple's libraries, which exist for Windows only, and of which "
INSTEAD = "; use vandrel-sim for simulated devices\n"
NOT_THERE = "cannot open shared object file: No such file or directory"

# One phone, which is restored at once, and options that hold both booleans.
SCENARIO = {
    "Devices": [{
        "Name": "phone",
        "ECID": "00000000CAFE0001",
        "State": "DFU",
        "Restore": {"Reports": [
            {"After": 0.0, "Report": {"Status": "Restoring", "Operation": 14, "Progress": 7}},
            {"After": 0.0, "Report": {"Status": "Successful", "Operation": 0, "Progress": 100}},
        ]},
    }],
    "DefaultRestoreOptions": {"Yes": True, "No": False},
}


def plists(stream):
    """The property lists that stand in `stream` one after the other."""
    return [plistlib.loads(b"<?xml" + part) for part in stream.split(b"<?xml")[1:]]


def end_of_loaded_parts(image):
    """Where the last part of a 64-bit ELF file ends that is loaded into memory."""
    table, = struct.unpack_from("<Q", image, 32)
    size, count = struct.unpack_from("<HH", image, 54)
    ends = []
    for i in range(count):
        kind, _, offset, _, _, length = struct.unpack_from("<IIQQQQ", image, table + i * size)
        if kind == 1:  # PT_LOAD
            ends.append(offset + length)
    return max(ends)


class product(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(os.path.realpath(temporary.name))
        self.libraries = self.folder / "apple"

    def copy_program(self):
        for name in (vandrel.name, "libvandrel.so"):
            shutil.copy(vandrel.parent / name, self.folder)

    def copy_all(self):
        self.copy_program()
        shutil.copytree(vandrel.parent / "apple", self.libraries)

    def run_program(self, program, *arguments, folder=None, environment=None):
        # The loader speaks the language of the locale. The leak sanitizer's own thread
        # crashes at the end of some runs with libraries loaded so late; the tests of vandrel-sim
        # look for leaks in the same code.
        settings = {
            "LC_ALL": "C",
            "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0",
            **(environment or {}),
        }
        return subprocess.run(
            [*emulator, program, *arguments],
            env={**os.environ, **{name: str(value) for name, value in settings.items()}},
            cwd=folder or self.folder,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            timeout=120,
            check=False,
        )

    def expect_sentence(self, sentence, **settings):
        result = self.run_program(self.folder / vandrel.name, *LISTING, **settings)
        self.assertEqual(result.stderr.decode(), sentence)
        self.assertEqual(result.stdout, b"")
        self.assertEqual(result.returncode, 1)

    def expect_not_loaded(self, library, why, **settings):
        file = self.libraries / f"lib{library}.so"
        self.expect_sentence(f"{NEED}{library} could not be loaded: {file} ({why}){INSTEAD}", **settings)

    # --- found

    def test_every_command_does_what_it_does_over_the_simulator(self):
        for arguments in COMMAND_LINES:
            with self.subTest(arguments=arguments):
                real = self.run_program(vandrel, *arguments)
                simulated = self.run_program(vandrel_sim, *arguments)
                self.assertTrue(simulated.stdout or simulated.stderr)
                self.assertTrue(wrote_the_same(arguments, real.stdout, simulated.stdout),
                                (real.stdout, simulated.stdout))
                self.assertEqual(real.stderr, simulated.stderr)
                self.assertEqual(real.returncode, simulated.returncode)

    def test_the_device_receives_the_calls_of_the_command(self):
        journal = self.folder / "journal"
        self.run_program(vandrel, "--exit-recovery", "--ecid", RECOVERY,
                         environment={"VANDREL_JOURNAL": journal})
        # What other threads call stands among these in an order of its own.
        calls = [(call["Device"], call["Call"], call["Arguments"]) for call in plists(journal.read_bytes())
                 if call["Call"].startswith("AMRecoveryModeDevice")]
        self.assertEqual(calls, [("recovery", "AMRecoveryModeDeviceSetAutoBoot", {"AutoBoot": True}),
                                 ("recovery", "AMRecoveryModeDeviceReboot", {})])

    def test_a_scenario_of_ones_own_is_played_and_its_calls_are_recorded(self):
        scenario, journal = self.folder / "phone.plist", self.folder / "journal"
        scenario.write_bytes(plistlib.dumps(SCENARIO))
        result = self.run_program(
            vandrel, "--restore", "firmware.ipsw", "--ecid", "00000000CAFE0001",
            environment={"VANDREL_SCENARIO": scenario, "VANDREL_JOURNAL": journal})
        self.assertEqual(result.returncode, 0, result)
        self.assertEqual([record["Type"] for record in plists(result.stdout)], ["RestoreStatus"] * 2)
        restores = [call for call in plists(journal.read_bytes())
                    if call["Call"] == "AMRestorableDeviceRestore"]
        self.assertEqual([call["Device"] for call in restores], ["phone"])
        options = restores[0]["Arguments"]["Options"]
        self.assertEqual((options["Yes"], options["No"]), (True, False))

    def test_a_scenario_that_cannot_be_played_ends_the_program(self):
        result = self.run_program(vandrel, *LISTING,
                                  environment={"VANDREL_SCENARIO": self.folder / "missing.plist"})
        self.assertEqual((result.returncode, result.stdout), (64, b""))
        self.assertIn(b"simulated libraries: ", result.stderr)
        self.assertIn(b"missing.plist", result.stderr)

    def test_the_reason_is_one_line_whatever_the_scenario_is_called(self):
        result = self.run_program(vandrel, *LISTING, environment={"VANDREL_SCENARIO": self.folder / "no\nscenario"})
        self.assertEqual(result.stderr.count(b"\n"), 1)
        self.assertIn(b"no?scenario", result.stderr)

    def test_the_libraries_are_found_wherever_the_program_lies(self):
        self.copy_all()
        result = self.run_program(self.folder / vandrel.name, *LISTING, folder="/")
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertIn(RECOVERY.encode(), result.stdout)

    def test_the_libraries_are_found_through_a_link_to_the_program(self):
        self.copy_all()
        elsewhere = self.folder / "elsewhere"
        elsewhere.mkdir()
        link = elsewhere / "link"
        link.symlink_to(self.folder / vandrel.name)
        result = self.run_program(link, *LISTING, folder="/")
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertIn(RECOVERY.encode(), result.stdout)

    # --- not found, or not usable

    def test_without_the_libraries_the_path_is_printed(self):
        self.copy_program()
        self.expect_not_loaded("CoreFoundation", NOT_THERE)

    def test_without_one_library_its_path_is_printed(self):
        self.copy_all()
        (self.libraries / MOBILE_DEVICE).unlink()
        self.expect_not_loaded("MobileDevice", NOT_THERE)

    def test_a_missing_library_that_a_library_needs_is_named(self):
        self.copy_all()
        library = self.libraries / CORE_FOUNDATION
        image = library.read_bytes()
        self.assertIn(b"\0libc.so.6\0", image)
        library.write_bytes(image.replace(b"\0libc.so.6\0", b"\0libx.so.6\0"))
        self.expect_not_loaded("CoreFoundation", "libx.so.6: " + NOT_THERE)

    def test_a_file_that_is_no_library_is_reported(self):
        self.copy_all()
        (self.libraries / CORE_FOUNDATION).write_text("This is a text.\n" * 1000)
        self.expect_not_loaded("CoreFoundation", "it is damaged, or is not a library")

    def test_a_damaged_library_is_reported(self):
        self.copy_all()
        library = self.libraries / CORE_FOUNDATION
        library.write_bytes(library.read_bytes()[:100_000])
        self.expect_not_loaded("CoreFoundation", "it is damaged: its end is missing")

    def test_a_library_without_its_last_needed_byte_is_reported(self):
        self.copy_all()
        library = self.libraries / CORE_FOUNDATION
        image = library.read_bytes()
        library.write_bytes(image[:end_of_loaded_parts(image) - 1])
        self.expect_not_loaded("CoreFoundation", "it is damaged: its end is missing")

    def test_a_library_of_another_architecture_is_reported(self):
        self.copy_all()
        library = self.libraries / CORE_FOUNDATION
        image = bytearray(library.read_bytes())
        image[4] = 1  # 32 bits
        library.write_bytes(image)
        self.expect_not_loaded("CoreFoundation", "it is for another architecture than x64")

    def test_a_missing_function_of_a_library_is_named(self):
        self.copy_all()
        library = self.libraries / CORE_FOUNDATION
        image = library.read_bytes()
        self.assertIn(b"\0AMRestorableDeviceRestore\0", image)
        library.write_bytes(
            image.replace(b"\0AMRestorableDeviceRestore\0", b"\0AMRestorableDeviceRegrets\0"))
        self.expect_sentence("vandrel: Apple's libraries on this machine do not have "
                             "AMRestorableDeviceRestore; install a current version of them\n")

    def test_the_current_folder_and_the_loaders_path_are_not_looked_in(self):
        self.copy_program()
        elsewhere = self.folder / "elsewhere"
        shutil.copytree(vandrel.parent / "apple", elsewhere / "apple")
        for name in (CORE_FOUNDATION, MOBILE_DEVICE):
            shutil.copy(vandrel.parent / "apple" / name, elsewhere)
        path = f"{elsewhere}:{elsewhere / 'apple'}"
        self.expect_not_loaded("CoreFoundation", NOT_THERE, folder=elsewhere,
                               environment={"LD_LIBRARY_PATH": path, "PATH": path + ":" + os.environ["PATH"]})


if __name__ == "__main__":
    vandrel, vandrel_sim = (pathlib.Path(os.path.realpath(name)) for name in sys.argv[1:3])
    emulator = sys.argv[3:]
    unittest.main(argv=sys.argv[:1], verbosity=2)
