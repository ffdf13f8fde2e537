#!/usr/bin/env python3
"""Runs with a file of restore options."""
import os
import plistlib
import sys
import unittest

from test_station import a_bench, completion, host_path


def options_file(bench, **more):
    bench.write("options.plist", plistlib.dumps(
        {"AuthInstallRestoreBehavior": "Update", "RestoreBundlePath": host_path(bench.bundle), **more}))
    return os.path.join(bench.folder, "options.plist")


class the_file_of_restore_options(unittest.TestCase):
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
