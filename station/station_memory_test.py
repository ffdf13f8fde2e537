#!/usr/bin/env python3
"""How much memory the station takes."""
import json
import os
import subprocess
import sys
import unittest

from test_station import a_bench, a_folder, completion, report, station
import station_bundles_test


class memory(unittest.TestCase):
    def peak_of(self, bench, losses=([],)):
        """In bytes. `losses`: what the run's record may lack."""
        process = subprocess.Popen(
            bench.command("restore", "--bundle", bench.bundle, "--all", "--json", "--at-once", "64"),
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        with process.stdout as lines:
            events = [json.loads(line) for line in lines]
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        lost = [event["text"] for event in events if event["event"] == "log_incomplete"]
        self.assertIn(lost, losses)
        self.assertEqual(process.returncode, 5 if lost else 0)
        self.assertEqual(bench.summary()["counts"]["restored"], 64)
        return usage.ru_maxrss * 1024

    def test_a_thousand_reports_of_each_of_sixty_four_devices_take_less_than_64_mib(self):
        reports = b"".join(report(14, i % 100) for i in range(1000))
        with a_bench([[reports, completion()]] * 64) as bench:
            self.assertLess(self.peak_of(bench), 64 * 2**20)

    def test_a_record_of_10_mb_of_each_of_sixty_four_devices_takes_less_than_64_mib(self):
        with a_bench([["write large", completion()]] * 64) as bench:
            bench.write("large", report(Large="x" * 10_000_000))
            # A disk that takes less than 640 MB in about a second costs a part of the record, but no memory.
            slow_disk = ["the run folder takes what is written too slowly"]
            self.assertLess(self.peak_of(bench, ([], slow_disk)), 64 * 2**20)
            self.assertEqual({event["unreadable_records"] for event in bench.ended().values()}, {1})

    def test_bundles_that_cannot_be_used_take_less_than_200_mib(self):
        with a_bench([]) as bench:
            folder = a_folder(bench)
            station_bundles_test.bad_files().make(folder)
            # A process of its own: this one has large files in its memory, which a child would begin with.
            measure = ("import resource, subprocess, sys; subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL); "
                       "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024)")
            peak = subprocess.run([sys.executable, "-c", measure, station, "bundles", folder.path],
                                  env=folder.environment, stdout=subprocess.PIPE, timeout=60, check=True).stdout
            self.assertLess(int(peak), 200 * 2**20)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
