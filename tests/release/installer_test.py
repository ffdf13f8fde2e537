#!/usr/bin/env python3
"""Installs, upgrades and removes the product: installer_test.py RELEASE SOURCE VERSION EMULATOR."""
import os
import pathlib
import re
import shutil
import sys
import tempfile
import unittest
import zipfile

# Tests leave nothing among the sources.
sys.dont_write_bytecode = True

from wine_prefix import wine_prefix

release, source, version, emulator = sys.argv[1:]
sys.path.insert(0, os.path.join(source, "scripts", "lib"))

from release_msi import SCOPES, make_msi

OLDER = "0.0.9"
COMPUTER = r"HKLM\System\CurrentControlSet\Control\Session Manager\Environment"
USER = r"HKCU\Environment"
UNINSTALL = r"Software\Microsoft\Windows\CurrentVersion\Uninstall"
# The folder of each installer's files, and the registry key of the PATH that it extends.
PLACES = {"machine": ("Program Files/vandrel", COMPUTER),
          "user": ("users/*/AppData/Local/Programs/vandrel", USER)}


def files_in(folder):
    return {str(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


class installers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        with zipfile.ZipFile(os.path.join(release, f"vandrel-{version}-windows-x64.zip")) as archive:
            archive.extractall(cls.folder)
        cls.product = cls.folder / f"vandrel-{version}-windows-x64"
        # An older version has a page that this one does not have, and a library of other bytes.
        older = cls.folder / "older"
        (older / "docs").mkdir(parents=True)
        (older / "docs" / "removed.md").write_text("A page.\n")
        shutil.copy(cls.product / "vandrel.exe", older)
        (older / "vandrel.dll").write_bytes((cls.product / "vandrel.dll").read_bytes() + b"older")
        for scope in SCOPES:
            make_msi(older, OLDER, scope, 1600000000, cls.folder / f"older{scope.suffix}.msi")
        cls.windows = wine_prefix(emulator, cls.folder / "prefix")
        cls.addClassCleanup(cls.windows.stop)

    def registry(self, *words):
        return self.windows.run("reg", "query", *words).stdout.decode("utf-8", "replace")

    def entries(self):
        """The versions under which Windows lists the product for removal."""
        found = []
        for root in ("HKLM", "HKCU"):
            text = self.registry(f"{root}\\{UNINSTALL}", "/s", "/reg:64")
            for entry in re.split(r"\r?\n(?=HKEY)", text):
                if re.search(r"DisplayName\s+REG_SZ\s+vandrel\b", entry):
                    found += re.findall(r"DisplayVersion\s+REG_SZ\s+(\S+)", entry)
        return found

    def path(self, key):
        found = re.search(r"\s+PATH\s+REG_\w+\s+(.*?)\r?\n", self.registry(key, "/v", "PATH"), re.IGNORECASE)
        # Wine leaves the separator of an entry that it removes.
        return [entry for entry in found[1].split(";") if entry] if found else []

    def trace_in_registry(self):
        """The lines that name the product, of the keys that Windows Installer writes to. A key may be missing."""
        lines = []
        for key in (r"HKLM\Software\Classes\Installer", r"HKLM\Software\Microsoft\Windows\CurrentVersion", "HKCU"):
            file = self.folder / "exported.reg"
            if self.windows.run("reg", "export", key, file.name, "/y", folder=self.folder).returncode == 0:
                lines += [line for line in file.read_text("utf-16").splitlines() if "vandrel" in line.lower()]
        return lines

    def places_of(self, scope):
        pattern, key = PLACES[scope]
        return sorted(self.windows.drive.glob(pattern)), key

    def msiexec(self, option, installer):
        return self.windows.run("msiexec", option, installer, "/qn").returncode

    def check_installed(self, scope, expected, expected_version):
        (folder,), key = self.places_of(scope)
        installed = files_in(folder)
        self.assertEqual(installed.keys(), expected.keys())
        self.assertTrue(installed == expected)
        self.assertEqual(self.entries(), [expected_version])
        self.assertEqual([entry for entry in self.path(key) if entry.rstrip("\\").endswith("\\vandrel")],
                         [entry for entry in self.path(key) if "vandrel" in entry])
        self.assertEqual(len([entry for entry in self.path(key) if "vandrel" in entry]), 1, self.path(key))

    def check_life(self, scope):
        suffix = {one.name: one.suffix for one in SCOPES}[scope]
        older, newer = self.folder / f"older{suffix}.msi", pathlib.Path(release) / f"vandrel-{version}-x64{suffix}.msi"
        path_before = {key: self.path(key) for key in (COMPUTER, USER)}
        self.assertEqual((self.places_of(scope)[0], self.entries()), ([], []))

        self.assertEqual(self.msiexec("/i", older), 0)
        self.check_installed(scope, files_in(self.folder / "older"), OLDER)
        self.assertNotEqual(self.trace_in_registry(), [])
        help_by_path = self.windows.run("cmd", "/c", "vandrel --help", folder=self.windows.drive)
        self.assertEqual(help_by_path.returncode, 0, help_by_path)
        self.assertTrue(help_by_path.stderr.startswith(b"Program options:"), help_by_path)

        self.assertEqual(self.msiexec("/i", newer), 0)
        self.check_installed(scope, files_in(self.product), version)
        help_by_path = self.windows.run("cmd", "/c", "vandrel-station --help", folder=self.windows.drive)
        self.assertEqual(help_by_path.returncode, 0, help_by_path)

        self.assertNotEqual(self.msiexec("/i", older), 0)
        self.check_installed(scope, files_in(self.product), version)

        self.assertEqual(self.msiexec("/x", newer), 0)
        self.assertEqual((self.places_of(scope)[0], self.entries()), ([], []))
        self.assertEqual({key: self.path(key) for key in (COMPUTER, USER)}, path_before)
        self.assertEqual(self.trace_in_registry(), [])

    def test_for_the_computer_is_installed_used_upgraded_and_removed_without_a_trace(self):
        self.check_life("machine")

    def test_for_one_user_is_installed_used_upgraded_and_removed_without_a_trace(self):
        self.check_life("user")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
