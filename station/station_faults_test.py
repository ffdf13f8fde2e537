#!/usr/bin/env python3
"""Faults of the host under restores."""
import os
import sys
import tempfile
import unittest

from test_station import a_bench, a_run, completion, report


class faults(unittest.TestCase):
    def bench(self, *scripts):
        bench = a_bench(scripts)
        self.addCleanup(bench.kept.cleanup)
        return bench

    def test_a_temporary_folder_that_goes_ends_no_restore(self):
        bench = self.bench([report(), "await go", completion()], [completion()])
        first, second = bench.ecids
        bench.show([first])
        with tempfile.TemporaryDirectory() as temporary:
            run = a_run(self, bench, "--watch", "--count", "2", env={**os.environ, "TMPDIR": temporary + "/all"},
                        preexec_fn=lambda: os.mkdir(temporary + "/all"))
            run.wait_for("operation")
            for name in os.listdir(temporary + "/all"):
                os.unlink(f"{temporary}/all/{name}")
            os.rmdir(temporary + "/all")
            bench.show([first, second])
            run.wait_for("device_found", ecid=second)
            bench.write("go", b"")
            self.assertEqual(run.wait_for("device_ended")["state"], "restored")

    def kept_of(self, bench, number=0):
        return sorted(os.listdir(os.path.join(bench.run_folder, bench.ecids[number] + "-visit1-try1")))

    def test_the_end_of_the_session_keeps_what_a_tool_has_left(self):
        bench = self.bench([report(), "hang"])
        run = a_run(self, bench)
        run.wait_for("operation")
        run.process.terminate()
        self.assertEqual(run.wait(), 130)
        self.assertEqual(self.kept_of(bench), ["command.txt", "diagnostics.txt", "records.plist"])
        self.assertEqual([each["state"] for each in bench.summary()["devices"]], ["cancelled"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
