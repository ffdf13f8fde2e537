#!/usr/bin/env python3
"""Interrupted and killed stations, and two of them on one device."""
import os
import shutil
import signal
import subprocess
import sys
import time
import unittest

from test_station import (RULES, a_run, bench_state, completion, emulator, host_path, on_windows, report, station,
                          tests_of_benches, tools_of, wait_until)

WRITES_FIRMWARE = 35
MARKER = "vandrel-station.marker"


class a_started_station(a_run):
    """Keys reach everything that runs in its terminal or console, tools too if they were there."""

    def __init__(self, test, bench, *arguments, **more):
        words = bench.command("restore", "--bundle", host_path(bench.bundle), "--all", "--json", *arguments,
                              rules=more.pop("rules", RULES))
        if on_windows:
            keys = os.path.join(os.path.dirname(station), "console_keys.exe")
            words = [*emulator, keys, host_path(station), *words[len(emulator) + 1:]]
            super().__init__(test, bench, command=words, stdin=subprocess.PIPE, **more)
        else:
            super().__init__(test, bench, command=words, start_new_session=True, **more)

    def say(self, word):
        self.process.stdin.write(word + b"\n")
        self.process.stdin.flush()

    def press_ctrl_c(self):
        if on_windows:
            self.say(b"ctrl-c")
        else:
            os.killpg(self.process.pid, signal.SIGINT)

    def press_ctrl_break(self):
        self.say(b"ctrl-break")

    def end_session(self):
        if on_windows:
            self.say(b"end-session")
        else:
            os.killpg(self.process.pid, signal.SIGHUP)

    def stop(self):
        if on_windows:
            self.say(b"kill")
        else:
            self.process.kill()

    def end(self):
        super().end()
        if self.process.stdin:
            self.process.stdin.close()

    def kill(self):
        self.stop()
        # Its end of standard output is the last thing that the station has.
        while self.next_event():
            pass
        self.process.wait()


def scratch_folders(bench):
    return [name for name in os.listdir(bench.folder) if name.startswith("vs-")]


class tests(tests_of_benches):
    def start(self, bench, *arguments, **more):
        return a_started_station(self, bench, *arguments, **more)


class keys(tests):
    def test_one_ctrl_c_lets_running_tools_finish_and_begins_no_other(self):
        bench = self.bench([report(), "await go", completion()], [completion()])
        run = self.start(bench, "--at-once", "1")
        run.wait_for("operation")
        run.press_ctrl_c()
        self.assertEqual(run.wait_for("cancel")["stage"], 1)
        self.assertEqual(len(tools_of(bench)), 1)
        bench.write("go", b"")
        self.assertEqual(run.wait(), 130)
        self.assertEqual([event["reason"] for event in run.named("device_ended")], ["completed", "user"])
        self.assertEqual(len(bench.journal()), 1)

    def test_one_ctrl_c_is_the_normal_end_of_a_watch(self):
        bench = self.bench([completion()])
        run = self.start(bench, "--watch")
        run.wait_for("device_ended")
        run.press_ctrl_c()
        self.assertEqual(run.wait(), 0)

    def test_two_end_the_tools(self):
        self.check_two(a_started_station.press_ctrl_c)

    @unittest.skipUnless(on_windows, "the key is of Windows")
    def test_ctrl_break_is_as_ctrl_c(self):
        self.check_two(a_started_station.press_ctrl_break)

    def check_two(self, press):
        bench = self.bench([report(), "hang"])
        run = self.start(bench)
        run.wait_for("operation")
        for stage in (1, 2):
            self.assertEqual(len(tools_of(bench)), 1)
            press(run)
            self.assertEqual(run.wait_for("cancel")["stage"], stage)
        self.assertEqual(run.wait(), 130)
        self.assertEqual([(event["state"], event["ended_by"]) for event in run.named("device_ended")],
                         [("cancelled", "user")])
        self.assertEqual(tools_of(bench), [])

    def test_two_name_who_writes_firmware_and_a_third_ends_them_too(self):
        bench = self.bench([report(WRITES_FIRMWARE), "hang"], [report(), "hang"])
        run = self.start(bench)
        for _ in bench.ecids:
            run.wait_for("operation")
        run.press_ctrl_c()
        run.wait_for("cancel", stage=1)
        run.press_ctrl_c()
        self.assertEqual(run.wait_for("cancel")["writing_firmware"], bench.ecids[:1])
        run.wait_for("device_ended", ecid=bench.ecids[1], state="cancelled")
        self.assertEqual(len(tools_of(bench)), 1)
        run.press_ctrl_c()
        self.assertEqual(run.wait_for("cancel")["stage"], 3)
        self.assertEqual(run.wait(), 130)
        self.assertEqual(run.named("device_ended")[-1]["state"], "cancelled")

    def test_a_third_that_comes_late_asks_again(self):
        bench = self.bench([report(WRITES_FIRMWARE), "await go", completion()])
        run = self.start(bench, rules={**RULES, "third_cancel": 0.1})
        run.wait_for("operation")
        for stage in (1, 2, 2):
            since = time.monotonic()
            wait_until(lambda: time.monotonic() > since + 0.2)
            run.press_ctrl_c()
            self.assertEqual(run.wait_for("cancel")["stage"], stage)
        bench.write("go", b"")
        self.assertEqual(run.wait(), 0)

    @unittest.skipIf(on_windows, "sessions are those of POSIX")
    def test_each_tool_has_a_session_of_its_own(self):
        bench = self.bench([report(), "hang"])
        run = self.start(bench)
        run.wait_for("operation")
        [tool] = tools_of(bench)
        self.assertEqual(os.getsid(run.process.pid), run.process.pid)
        self.assertEqual(os.getsid(tool), tool)


class ends_of_sessions(tests):
    def test_they_end_the_run_with_a_summary(self):
        self.check_the_end_by(lambda run: run.end_session())

    @unittest.skipIf(on_windows, "Windows has no such signal")
    def test_a_request_to_terminate_does_too(self):
        self.check_the_end_by(lambda run: os.killpg(run.process.pid, signal.SIGTERM))

    def check_the_end_by(self, ends):
        bench = self.bench([report(), "hang"], [completion()], [report(WRITES_FIRMWARE), "hang"])
        run = self.start(bench)
        run.wait_for("device_ended", ecid=bench.ecids[1])
        while len(run.named("operation")) < 2:
            run.wait_for("operation")
        ends(run)
        # Under Wine, the news reaches the windows late. Windows gives a program no longer than five seconds.
        wait_until(lambda: bench.summary()["state"] == "ended", 5 if on_windows else 2)
        self.assertEqual(run.wait(), 130)
        self.assertEqual({each["ecid"]: each["state"] for each in bench.summary()["devices"]},
                         dict(zip(bench.ecids, ["cancelled", "restored", "cancelled"])))
        wait_until(lambda: not tools_of(bench), 5)

    @unittest.skipIf(on_windows, "sent by its POSIX name")
    def test_the_end_comes_soon_though_nobody_reads_the_output(self):
        reports = 3000
        bench = self.bench([b"".join(report(14, i % 100) for i in range(reports)), "hang"])
        run = self.start(bench)
        wait_until(lambda: self.events_in_the_folder(bench) > reports)
        began = time.monotonic()
        os.killpg(run.process.pid, signal.SIGTERM)
        self.assertEqual(run.process.wait(), 130)
        # Windows gives a closed console's programs no longer.
        self.assertLess(time.monotonic() - began, 5)
        self.assertEqual(bench.summary()["state"], "ended")

    def events_in_the_folder(self, bench):
        try:
            with open(os.path.join(bench.run_folder, "events.jsonl"), "rb") as file:
                return file.read().count(b"\n")
        except FileNotFoundError:
            return 0


class kills(tests):
    def killed_station(self):
        """The pipes that it had, of those that can be seen."""
        bench = self.bench([report(), "hang"], ["hang"])
        run = self.start(bench)
        run.wait_for("operation")
        wait_until(lambda: len(tools_of(bench)) == 2)
        pipes = self.pipes_of(run.process.pid) - self.pipes_of(os.getpid())
        run.kill()
        wait_until(lambda: not tools_of(bench), 5)
        return pipes

    def test_no_tool_runs_within_five_seconds(self):
        self.killed_station()

    @unittest.skipIf(on_windows, "Windows' pipes cannot be seen from here; a tool has no other than its own there")
    def test_no_pipe_is_open_within_five_seconds(self):
        pipes = self.killed_station()
        self.assertGreaterEqual(len(pipes), 2)
        self.assertEqual([number for number in filter(str.isdigit, os.listdir("/proc"))
                          if self.pipes_of(number) & pipes], [])

    def pipes_of(self, process):
        pipes = set()
        try:
            for number in os.listdir(f"/proc/{process}/fd"):
                target = os.readlink(f"/proc/{process}/fd/{number}")
                if target.startswith("pipe:"):
                    pipes.add(target)
        except OSError:
            pass
        return pipes

    def test_the_next_run_removes_their_folders_and_no_other(self):
        killed = self.bench([report(), "hang"])
        run = self.start(killed)
        run.wait_for("operation")
        [left] = scratch_folders(killed)
        run.kill()
        wait_until(lambda: not tools_of(killed), 5)
        # A station that runs, and what only looks like a station's.
        other = self.bench([report(), "await go", completion()], first=2)
        other.scratch = killed.folder
        running = self.start(other)
        running.wait_for("operation")
        [held] = set(scratch_folders(killed)) - {left}
        for name, file in (("vs-aaaaaa", "image"), ("other-bbb", MARKER)):
            os.mkdir(os.path.join(killed.folder, name))
            killed.write(os.path.join(name, file), b"")
        shutil.rmtree(killed.run_folder)
        killed.script(killed.ecids[0] + ".restore", [completion()])
        self.assertEqual(killed.restore().returncode, 0)
        self.assertEqual(sorted(scratch_folders(killed)), sorted([held, "vs-aaaaaa"]))
        self.assertTrue(os.path.exists(os.path.join(killed.folder, "other-bbb", MARKER)))
        self.assertTrue(os.path.exists(os.path.join(killed.folder, held, MARKER)))
        other.write("go", b"")
        self.assertEqual(running.wait(), 0)
        self.assertEqual(scratch_folders(killed), ["vs-aaaaaa"])


class two_stations(tests):
    def setUp(self):
        self.first_bench = self.bench([report(), "hang"])
        self.first = self.start(self.first_bench)
        self.first.wait_for("operation")
        # Another station over the same device.
        self.second_bench = self.bench([completion()])

    def test_the_second_leaves_the_device_alone(self):
        second = self.start(self.second_bench)
        left = second.wait_for("device_left_alone")
        self.assertEqual((left["ecid"], left["reason"]), (self.first_bench.ecids[0], "held"))
        self.assertEqual(second.wait(), 3)
        self.assertEqual(self.second_bench.journal(), [])
        if not on_windows:
            self.assertEqual(left["holder"], self.first.process.pid)

    def test_a_dry_run_says_so_before_it_shows_its_choice(self):
        bench = self.bench([completion()], [completion()])
        shown = bench.restore("--dry-run", "--plain").stdout.decode()
        self.assertIn("1 device will be restored", shown)
        self.assertLess(shown.index(" LEFT "), shown.index("1 device will be restored"))

    def test_a_watch_gets_the_device_when_the_first_is_killed(self):
        second = self.start(self.second_bench, "--watch", "--count", "1")
        second.wait_for("device_left_alone", reason="held")
        self.second_bench.pass_lists(2)
        self.assertEqual(self.second_bench.journal(), [])
        self.first.kill()
        self.assertEqual(second.wait(), 0)
        self.assertEqual(second.events[-1]["counts"]["left_alone"], 0)
        [device] = self.second_bench.summary()["devices"]
        self.assertEqual((device["state"], device.get("holder")), ("restored", None))

    def test_a_later_run_gets_the_device_when_the_first_is_killed(self):
        self.first.kill()
        self.assertEqual(self.start(self.second_bench).wait(), 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
