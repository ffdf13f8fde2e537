#!/usr/bin/env python3
"""Readers that stop or go, and disks that stop or fill, under restores."""
import json
import os
import subprocess
import sys
import threading
import time
import unittest

from test_station import (
    RULES, a_bench, a_run, bench_state, completion, host_path, on_windows, report, wait_until, without_coverage)

try:
    import pty
    import resource
except ImportError:
    resource = None

posix_only = unittest.skipIf(on_windows, "this is a POSIX host's own way to stop a reader")
TWELVE = ["--at-once", "12", "--yes"]
# A stop as long as a minute, with all times made shorter: reports go on for longer than a device may be silent. That is
# long enough for a busy machine to run every tool meanwhile.
PIECES, PAUSE_MS, QUIET_S = 30, 200, 5
STOP_S = PIECES * PAUSE_MS / 1000
STOP_RULES = {**RULES, "quiet": QUIET_S}
# More than the queue in front of standard output holds.
QUEUE = 8 * 2**20


def reports(count):
    return b"".join(report(14, i % 100) for i in range(count))


def reports_over_the_stop(count):
    """The steps of a tool: so many reports in each piece."""
    steps = []
    for _ in range(PIECES):
        steps += [reports(count), f"sleep {PAUSE_MS}"]
    return steps


def bytes_of(steps):
    return b"".join(step for step in steps if isinstance(step, bytes))


class a_test(unittest.TestCase):
    def assert_nobody_waited(self, bench, count):
        events = bench.events()
        self.assertEqual([event["seq"] for event in events], list(range(1, len(events) + 1)))
        names = {event["event"] for event in events}
        self.assertFalse(names & {"quiet", "clock_gap", "log_incomplete", "failure_reported", "warning"}, names)
        self.assertEqual(bench.summary()["counts"]["restored"], count)

    def durations(self, bench):
        return [event["duration_s"] for event in bench.ended().values()]

    def assert_as_fast(self, stopped, other):
        """As the devices of a run beside it, which nothing stops. A stop for which somebody waits lasts longer."""
        self.assertGreater(min(self.durations(stopped)), STOP_S)
        self.assertLess(max(self.durations(stopped)), max(self.durations(other)) + STOP_S)


class standard_output(a_test):
    def start(self, bench, *arguments, **more):
        process = subprocess.Popen(
            bench.command("restore", "--bundle", host_path(bench.bundle), "--all", *arguments, rules=STOP_RULES),
            stdin=subprocess.DEVNULL, **more)
        limit = threading.Timer(120, process.kill)
        limit.start()
        self.addCleanup(limit.cancel)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def test_a_reader_that_stops_stops_no_device(self):
        with a_bench([[*reports_over_the_stop(150), completion()]] * 12) as bench, \
                a_bench([[*reports_over_the_stop(150), completion()]] * 12, first=101) as other:
            process = self.start(bench, *TWELVE, "--json", stdout=subprocess.PIPE)
            beside = self.start(other, *TWELVE, "--json", stdout=subprocess.DEVNULL)
            wait_until(lambda: bench_state(bench) == "ended")
            self.assert_nobody_waited(bench, 12)
            log = os.path.join(bench.run_folder, "events.jsonl")
            self.assertGreater(os.path.getsize(log), QUEUE)
            # Now it goes on. What did not fit in the meantime is in the run's folder only.
            with process.stdout as output:
                shown = output.read()
            numbers = [json.loads(line)["seq"] for line in shown.splitlines()]
            self.assertEqual(numbers, sorted(set(numbers)))
            self.assertLess(len(shown), os.path.getsize(log))
            self.assertEqual((process.wait(), beside.wait()), (0, 0))
            self.assert_as_fast(bench, other)

    @posix_only
    def test_a_terminal_that_stops_stops_no_device(self):
        with a_bench([[*reports_over_the_stop(100), completion()]] * 12) as bench:
            terminal, other_end = pty.openpty()
            process = self.start(bench, *TWELVE, stdout=other_end)
            os.close(other_end)
            with open(terminal, "rb", buffering=0) as screen:
                wait_until(lambda: bench_state(bench) == "ended")
                self.assert_nobody_waited(bench, 12)
                shown = b""
                try:
                    while piece := screen.read(65536):
                        shown += piece
                except OSError:
                    # This is how a terminal ends that nobody has open any more.
                    pass
            self.assertEqual(process.wait(), 0)
            self.assertIn(b"12 of 12 devices restored. Status 0.", shown)

    def test_a_reader_that_goes_ends_no_run(self):
        with a_bench([[report(), "await go", reports(1000), completion()]] * 2) as bench:
            process = self.start(bench, "--json", stdout=subprocess.PIPE)
            process.stdout.readline()
            process.stdout.close()
            bench.write("go", b"")
            self.assertEqual(process.wait(), 0)
            self.assert_nobody_waited(bench, 2)

    def test_a_reader_that_goes_does_not_hide_a_failure(self):
        with a_bench([["await go", completion(Error=1)]]) as bench:
            process = self.start(bench, "--json", stdout=subprocess.PIPE)
            process.stdout.close()
            bench.write("go", b"")
            self.assertEqual(process.wait(), 1)

    @posix_only
    def test_an_output_that_was_never_open_is_no_other_file(self):
        for numbers in ([1], [0, 1], [0, 1, 2]):
            with self.subTest(closed=numbers), a_bench([[report(), completion()]]) as bench:
                process = self.start(bench, "--json", preexec_fn=lambda: [os.close(number) for number in numbers])
                self.assertEqual(process.wait(), 0)
                self.assert_nobody_waited(bench, 1)
                folder = os.path.join(bench.run_folder, bench.ecids[0] + "-visit1-try1")
                with open(os.path.join(folder, "records.plist"), "rb") as file:
                    self.assertEqual(file.read(), report() + completion())
                self.assertEqual(os.path.getsize(os.path.join(folder, "diagnostics.txt")), 0)


class run_folder(a_test):
    def stop(self, bench, run):
        """From the first record on, the run's folder takes nothing: one of its files is a pipe without a reader."""
        for _ in bench.ecids:
            run.wait_for("try_started")
        folder = os.path.join(bench.run_folder, bench.ecids[0] + "-visit1-try1")
        os.makedirs(folder, exist_ok=True)
        pipe = os.path.join(folder, "records.plist")
        os.mkfifo(pipe)
        bench.write("go", b"")
        return pipe

    def all_restored(self, bench, run):
        waiting = set(bench.ecids)
        while waiting:
            waiting.discard(run.wait_for("device_ended", state="restored")["ecid"])
        self.assertEqual(run.named("quiet"), [])

    @posix_only
    def test_a_disk_that_stops_for_a_while_stops_no_device_and_loses_nothing(self):
        steps = [*reports_over_the_stop(10), completion()]
        content = bytes_of(steps)
        with a_bench([["await go", *steps]] * 12) as bench:
            run = a_run(self, bench, *TWELVE, rules=STOP_RULES)
            pipe = self.stop(bench, run)
            self.all_restored(bench, run)
            with open(pipe, "rb") as file:
                self.assertEqual(file.read(), content)
            self.assertEqual(run.wait(), 0)
            self.assert_nobody_waited(bench, 12)
            for each in bench.ecids[1:]:
                with open(os.path.join(bench.run_folder, each + "-visit1-try1", "records.plist"), "rb") as file:
                    self.assertEqual(file.read(), content)

    @posix_only
    def test_a_disk_that_stops_for_good_is_status_5(self):
        with a_bench([["await go", reports(4000), completion()]] * 12) as bench:
            run = a_run(self, bench, *TWELVE, seconds=120)
            self.stop(bench, run)
            self.all_restored(bench, run)
            self.assertEqual(run.wait(), 5)
            self.assertEqual([event["text"] for event in run.named("log_incomplete")],
                             ["the run folder takes what is written too slowly"])

    @posix_only
    def test_a_disk_that_still_stands_still_at_the_end_is_status_5(self):
        with a_bench([["await go", completion()]]) as bench:
            run = a_run(self, bench, stderr=subprocess.PIPE)
            self.stop(bench, run)
            run.wait_for("run_ended", exit_status=5)
            over = time.monotonic()
            self.assertEqual(run.wait(), 5)
            # The folder has been waited for, and is not waited for again: that would take 10 seconds.
            self.assertLess(time.monotonic() - over, 9)
            self.assertEqual([event["text"] for event in run.named("log_incomplete")],
                             ["the run folder takes nothing any more"])
            # What an event says is not said again.
            with run.process.stderr as errors:
                self.assertEqual(errors.read(), b"")

    def start_with_files_of(self, most, bench, *arguments, **more):
        """Runs a station that can write so many bytes to each file."""
        def limit_files():
            resource.setrlimit(resource.RLIMIT_FSIZE, (most, most))
        # Python ignores the signal that goes with the limit, and so does the station then.
        return a_run(self, bench, *arguments, preexec_fn=limit_files, restore_signals=False,
                     env=without_coverage(bench), **more)

    @unittest.skipUnless(resource, "no file's size can be limited here")
    def test_a_disk_that_fills_is_status_5(self):
        with a_bench([[reports(500), completion()]] * 4) as bench:
            run = self.start_with_files_of(100_000, bench)
            self.assertEqual(run.wait(), 5)
            self.assertEqual(len(run.named("log_incomplete")), 1)
            self.assertIn(" could not be written", run.named("log_incomplete")[0]["text"])
            self.assertEqual([event["state"] for event in run.named("device_ended")], ["restored"] * 4)
            self.assertEqual([event["exit_status"] for event in run.named("run_ended")], [5])
            self.assertEqual((bench.summary()["state"], bench.summary()["exit_status"]), ("ended", 5))
            # Whole lines only.
            self.assertEqual(bench.events()[0]["event"], "run_started")

    @unittest.skipUnless(resource, "no file's size can be limited here")
    def test_a_disk_that_takes_all_but_the_end_of_the_run_is_status_5(self):
        # Each event has the tag, so that no other file is as large as that of the events.
        script, tag = [[completion()]], ["--tag", "order=" + 1000 * "1"]
        with a_bench(script) as bench:
            run = a_run(self, bench, *tag)
            self.assertEqual(run.wait(), 0)
            with open(os.path.join(bench.run_folder, "events.jsonl"), "rb") as file:
                lines = file.readlines()
        # Half of the last line is much more than the lines of two runs differ by.
        most = sum(map(len, lines)) - len(lines[-1]) // 2
        with a_bench(script) as bench:
            run = self.start_with_files_of(most, bench, *tag, stderr=subprocess.PIPE)
            self.assertEqual(run.wait(), 5)
            self.assertEqual(run.named("log_incomplete"), [])
            with run.process.stderr as errors:
                self.assertEqual(errors.read().decode(), "vandrel-station: the run's record is incomplete: "
                                                         "events.jsonl could not be written\n")
            self.assertEqual(bench.events()[-1]["event"], "device_ended")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
