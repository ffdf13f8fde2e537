#!/usr/bin/env python3
"""Runs with a file of restore options."""
import os
import plistlib
import re
import shlex
import shutil
import sys
import tempfile
import unittest
import zipfile

from test_station import (
    BOARD, a_bench, a_folder, a_run, completion, host_path, on_windows, report, wait_until)


def options_file(bench, **more):
    bench.write("options.plist", plistlib.dumps(
        {"AuthInstallRestoreBehavior": "Update", "RestoreBundlePath": host_path(bench.bundle), **more}))
    return os.path.join(bench.folder, "options.plist")


class the_file_of_restore_options(unittest.TestCase):
    def given_to(self, bench, ecid):
        """What the running tool of the device has as its file of options."""
        path = os.path.join(bench.run_folder, ecid + "-visit1-try1", "command.txt")
        wait_until(lambda: os.path.exists(path) and os.path.getsize(path) > 0)
        with open(path, encoding="utf-8") as file:
            words = shlex.split(file.read().replace("\\", "/"))
        name = words[words.index("--restore-plist") + 1]
        with open(name.removeprefix("Z:"), "rb") as file:
            return file.read()

    def test_an_edit_does_not_reach_the_tools_of_devices_that_come_later(self):
        with a_bench([[completion()], ["await go", completion()]]) as bench:
            path = options_file(bench)
            with open(path, "rb") as file:
                judged = file.read()
            bench.show(bench.ecids[:1])
            run = a_run(self, bench, command=bench.command(
                "restore", "--options", host_path(path), "--all", "--watch", "--count", "2", "--json"))
            run.wait_for("device_ended", ecid=bench.ecids[0], state="restored")
            options_file(bench, AuthInstallRestoreBehavior="Erase")
            bench.show(bench.ecids)
            run.wait_for("try_started", ecid=bench.ecids[1])
            self.assertEqual(self.given_to(bench, bench.ecids[1]), judged)
            bench.write("go", b"")
            self.assertEqual(run.wait(), 0)

    def test_one_without_a_bundle_is_refused(self):
        with a_bench([[completion()]]) as bench:
            path = host_path(options_file(bench, RestoreBundlePath=1))
            result = bench.run("restore", "--options", path, "--all")
            self.assertEqual((result.returncode, bench.journal()), (2, []))
            self.assertIn("names no bundle in RestoreBundlePath", result.stderr.decode())
            result = bench.run("restore", "--options", path, "--ecid", bench.ecids[0], "--any-bundle")
            self.assertEqual((result.returncode, len(bench.journal())), (0, 1))

    def test_its_bundle_is_checked_like_one_that_is_named(self):
        with a_bench([[completion()]]) as bench:
            folder = a_folder(bench)
            folder.write("none.ipsw", b"")
            os.remove(folder.file("none.ipsw"))
            folder.write("broken.ipsw", b"PK\x03\x04 and no more")
            with zipfile.ZipFile(folder.file("empty.ipsw"), "w") as made:
                made.writestr("other", b"")
            folder.add("unfit.ipsw", board=BOARD + 1)
            folder.add("large.ipsw", claims=2**60)
            cases = (
                ("none.ipsw", 2, "is no IPSW that can be read"),
                ("broken.ipsw", 2, "has no directory at its end"),
                ("empty.ipsw", 2, "is no IPSW: it has no BuildManifest.plist"),
                ("unfit.ipsw", 3, "the bundle is not for what was chosen; nothing was touched"),
                ("large.ipsw", 4, " free, and a restore needs "))
            # Programs start slowly on Windows, and files are read in the same way.
            for name, status, why in cases[3:] if on_windows else cases:
                bundle = host_path(folder.file(name))
                options = host_path(options_file(bench, RestoreBundlePath=bundle))
                ends = []
                for means in (("--options", options), ("--bundle", bundle)):
                    bench.run_folder = os.path.join(bench.folder, f"run {name} {means[0]}")
                    result = bench.run("restore", *means, "--all")
                    # The free room changes from one moment to the next.
                    error = re.sub(r" has \S+ \S+ free", " has room free", result.stderr.decode())
                    ends.append((result.returncode, error))
                with self.subTest(name):
                    self.assertEqual(ends[0], ends[1])
                    self.assertEqual(ends[0][0], status)
                    self.assertIn(why, ends[0][1])
                    self.assertEqual(ends[0][1].count("\n"), 1)
            self.assertEqual(bench.journal(), [])


class the_room_for_a_bundle(unittest.TestCase):
    def bench(self, scripts, claims):
        bench = a_bench(scripts)
        self.addCleanup(bench.kept.cleanup)
        folder = a_folder(bench)
        folder.add("some.ipsw", claims=claims)
        bench.bundle = folder.file("some.ipsw")
        return bench

    def most_at_once(self, bench, *arguments):
        """No tool ends before the first three have begun."""
        run = a_run(self, bench, *arguments)
        for _ in range(3):
            run.wait_for("operation")
        bench.write("go", b"")
        self.assertEqual(run.wait(), 0)
        running = most = 0
        for event in run.events:
            running += {"try_started": 1, "try_ended": -1}.get(event["event"], 0)
            most = max(most, running)
        return most

    def test_limits_how_many_run_at_once(self):
        # What is free is not the same a moment later, but nearly.
        free = shutil.disk_usage(tempfile.gettempdir()).free
        scripts = [[report(), "await go", completion()]] * 6
        self.assertEqual(self.most_at_once(self.bench(scripts, int(free / 1.1 / 3.5))), 3)
        self.assertEqual(self.most_at_once(self.bench(scripts, int(free / 1.1 / 3.5)), "--at-once", "5"), 5)

    def test_that_there_is_not_is_status_4_whatever_was_asked_for(self):
        bench = self.bench([[completion()]], 2**60)
        for arguments in ((), ("--at-once", "1"), ("--dry-run",)):
            with self.subTest(arguments):
                result = bench.restore(*arguments)
                self.assertEqual((result.returncode, result.stdout), (4, b""))
                self.assertRegex(result.stderr.decode(), r"^vandrel-station: .+ has [\d.]+ GB free, and a restore needs "
                                                         r"1268213655\.1 GB\r?\n$")
        self.assertEqual((bench.journal(), bench.lists()), ([], 0))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
