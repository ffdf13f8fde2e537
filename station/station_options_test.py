#!/usr/bin/env python3
"""Runs with a file of restore options."""
import os
import plistlib
import shlex
import sys
import unittest

from test_station import a_bench, a_run, completion, host_path, wait_until


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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
