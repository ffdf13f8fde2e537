#!/usr/bin/env python3
"""Builds the release a second time, in another folder and environment, and compares it with the first.

    release_again_test.py RELEASE SOURCE DATE COMMIT
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

release, source, date, commit = sys.argv[1:]


def sums_of(archive):
    """The entries of the archive, with their checksums."""
    with zipfile.ZipFile(archive) as opened:
        return {(entry.filename, entry.CRC) for entry in opened.infolist()}


class release_again(unittest.TestCase):
    def run_in(self, folder, environment, *words):
        done = subprocess.run(words, cwd=folder, env=environment, umask=0o077, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stdout[-5000:])

    def test_gives_the_same_bytes(self):
        with tempfile.TemporaryDirectory(prefix="another folder ") as name:
            folder = pathlib.Path(name).resolve()
            (folder / "temporary").mkdir()
            # Without what the first build's environment may hold, such as the name of a compiler cache.
            environment = {"PATH": os.environ["PATH"], "HOME": str(folder / "home"), "USER": "somebody",
                           "LOGNAME": "somebody", "TMPDIR": str(folder / "temporary"), "TZ": "Pacific/Chatham",
                           "LANG": "tr_TR.UTF-8", "SOURCE_DATE_EPOCH": "1000000000", "CCACHE_DISABLE": "1"}
            copy = folder / "sources"
            left_out = shutil.ignore_patterns(".git", ".deps", "build", "__pycache__")
            shutil.copytree(source, copy, ignore=left_out)
            (copy / ".deps").symlink_to(os.path.realpath(os.path.join(source, ".deps")))
            self.run_in(copy, environment, "cmake", "--preset", "windows")
            self.run_in(copy, environment, "ninja", "-C", "build/windows", "release_programs")
            self.run_in(copy, environment, "scripts/lib/release.py", "build/windows", "again", "--date", date,
                        "--commit", commit)
            files = sorted(os.listdir(release))
            self.assertEqual(len(files), 5)
            self.assertEqual(sorted(os.listdir(copy / "again")), files)
            for file in files:
                one, other = pathlib.Path(release, file), copy / "again" / file
                with self.subTest(file=file):
                    if file.endswith(".zip"):
                        self.assertEqual({name for name, _ in sums_of(one) ^ sums_of(other)}, set())
                    self.assertTrue(one.read_bytes() == other.read_bytes())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
