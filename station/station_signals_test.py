#!/usr/bin/env python3
"""Interrupted and killed stations, and what else is in their way."""
import json
import os
import signal
import subprocess
import sys
import time
import unittest

from test_station import a_bench, bench_state, completion, on_windows, report, tool


@unittest.skipIf(on_windows, "signals are sent by their POSIX names")
class signals(unittest.TestCase):
    def start(self, bench, *arguments):
        process = subprocess.Popen(
            bench.command("restore", "--bundle", bench.bundle, "--all", "--json", *arguments),
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        return process

    def wait_for(self, process, name):
        for line in process.stdout:
            if json.loads(line)["event"] == name:
                return
        self.fail(f"{name} never came")

    def test_one_interruption_lets_running_tools_finish(self):
        with a_bench([[report(), "sleep 1500", completion()], [completion()]]) as bench:
            process = self.start(bench, "--at-once", "1")
            self.wait_for(process, "operation")
            process.send_signal(signal.SIGINT)
            process.stdout.read()
            self.assertEqual(process.wait(), 130)
            self.assertEqual([event["reason"] for event in bench.ended().values()], ["completed", "user"])

    def test_two_interruptions_end_the_tools(self):
        with a_bench([[report(), "hang"]]) as bench:
            process = self.start(bench)
            self.wait_for(process, "operation")
            for _ in range(2):
                process.send_signal(signal.SIGINT)
                self.wait_for(process, "cancel")
            process.stdout.read()
            self.assertEqual(process.wait(), 130)
            self.assertEqual([event["state"] for event in bench.ended().values()], ["cancelled"])

    def test_a_killed_station_takes_its_tools_along_and_the_next_removes_its_folders(self):
        with a_bench([[report(), "hang"]]) as bench:
            process = self.start(bench)
            self.wait_for(process, "operation")
            process.kill()
            process.wait()
            # The tool has the other end of nothing of ours: it is looked for by its command line.
            until = time.monotonic() + 5
            while self.tools_of(bench) and time.monotonic() < until:
                time.sleep(0.05)
            self.assertEqual(self.tools_of(bench), [])
            self.assertEqual(len([name for name in os.listdir(bench.folder) if name.startswith("vs-")]), 1)
            bench.write(bench.ecids[0] + ".restore", b"")
            subprocess.run(["rm", "-rf", bench.run_folder], check=True)
            bench.restore()
            self.assertEqual([name for name in os.listdir(bench.folder) if name.startswith("vs-")], [])

    def tools_of(self, bench):
        found = []
        for number in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{number}/cmdline", "rb") as file:
                    words = file.read().split(b"\0")
            except OSError:
                continue
            if words[0] == tool.encode() and bench.folder.encode() in words:
                found.append(number)
        return found

    def test_a_closed_output_does_not_end_the_run(self):
        with a_bench([[report(), "sleep 300", completion()]]) as bench:
            process = self.start(bench)
            process.stdout.close()
            self.assertEqual(process.wait(), 0)
            self.assertEqual(bench.summary()["counts"]["restored"], 1)

    def test_a_stopped_output_does_not_stop_the_run(self):
        many = b"".join(report(14, i % 100) for i in range(2000))
        with a_bench([[many, completion()]] * 12) as bench:
            process = self.start(bench, "--at-once", "12")
            until = time.monotonic() + 30
            while time.monotonic() < until and bench_state(bench) != "ended":
                time.sleep(0.05)
            self.assertEqual(bench.summary()["counts"]["restored"], 12)
            process.stdout.read()
            self.assertEqual(process.wait(), 0)

    def test_a_second_station_leaves_a_held_device_alone(self):
        with a_bench([[report(), "hang"]]) as first:
            process = self.start(first)
            self.wait_for(process, "operation")
            second = a_bench([[completion()]])
            self.addCleanup(second.kept.cleanup)
            result = second.restore("--json")
            left = [event for event in second.events() if event["event"] == "device_left_alone"]
            process.kill()
            process.wait()
            self.assertEqual([(event["reason"], event["holder"]) for event in left], [("held", process.pid)])
            self.assertNotEqual(result.returncode, 0)
            self.assertEqual(second.journal(), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
