#!/usr/bin/env python3
"""The live view on a terminal of its own, and how it leaves the terminal."""
import fcntl
import json
import os
import re
import signal
import sys
import termios
import threading
import unittest

from test_station import (BOARD, CHIP, RULES, SILENCE, completion, host_path, page, report, tests_of_benches,
                          wait_until)

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(page))), "scripts", "lib"))
from terminal_screen import program_on_terminal  # noqa: E402

# A terminal takes nothing between them.
CTRL_S, CTRL_Q = b"\x13", b"\x11"


class a_terminal(program_on_terminal):
    """A station on a terminal of its own."""

    def __init__(self, test, bench, *arguments, columns=80, rows=24, rules=RULES, around=None, asks=False,
                 **variables):
        self.bench = bench
        words = bench.command("restore", "--bundle", host_path(bench.bundle), "--all", *([] if asks else ["--yes"]),
                              *arguments, rules=rules)
        environment = {key: value for key, value in os.environ.items() if key != "NO_COLOR"}
        environment.update(TERM="xterm", XDG_STATE_HOME=os.path.join(bench.folder, "state"))
        super().__init__(around(words) if around else words, {**environment, **variables}, columns, rows)
        self.limit = threading.Timer(120, self.process.kill)
        self.limit.start()
        test.addCleanup(self.end)

    def end(self):
        self.limit.cancel()
        self.kill()

    def cancel(self):
        """Ctrl-C, twice."""
        self.type(b"\x03")
        self.wait_for("^ Ctrl-C: end the running tools")
        self.type(b"\x03")

    def wait_for(self, pattern):
        """Until a line of the live view matches."""
        try:
            wait_until(lambda: self.shows(pattern))
        except AssertionError:
            raise AssertionError(f"{pattern} never came, but\n" + "\n".join(self.lines())) from None

    def wait_for_text(self, text):
        """Until it was written outside of the live view."""
        def is_there():
            with self.lock:
                return text in self.screen.text
        wait_until(is_there)


class tests(tests_of_benches):
    def start(self, bench, *arguments, **more):
        return a_terminal(self, bench, *arguments, **more)


class the_view(tests):
    def test_shows_each_device_and_leaves_the_summary(self):
        bench = self.bench([report(13, 48), "await go", completion()], [report(13, 42, "Failed", Error=4005)],
                           [report(28, 10), "hang"])
        run = self.start(bench, "--linger", "0.1")
        first, second, third = bench.ecids
        run.wait_for(rf"^   0x14100000 {first} iPhone14,2 Restoring image   #\.\.\.  48%$")
        run.wait_for(rf"^ X 0x14100001 {second} iPhone14,2 FAILED 4005 in Restoring image 42%$")
        run.wait_for(rf"^   0x14100002 {third} iPhone14,2 Waiting for NAND  \.\.\.\.  10%$")
        self.assertRegex(run.lines()[0], r"^ RESTORE  17\.1 \(21B80\)  to do 2 of 3 .* running 00:0\d:\d\d$")
        self.assertEqual(run.screen.text.count("\n"), 5, run.screen.text)
        bench.write("go", b"")
        run.wait_for(rf"^ \+ 0x14100000 {first} iPhone14,2 restored ")
        run.cancel()
        self.assertEqual(run.wait(), 130)
        self.assertIn("\nNOT RESTORED (2)\r\n", run.screen.text)
        self.assertIn("1 of 3 devices restored. Status 130.", run.screen.text)
        self.assertEqual(run.screen.unknown, [])

    def test_counts_the_seconds_of_silence(self):
        run = self.start(self.bench([report(28, 10), "hang"]), rules=SILENCE)
        run.wait_for(r"^ ! .* Waiting for NAND  quiet 00:02$")
        run.wait_for(r"^ ! .* Waiting for NAND  quiet 00:0[3-9]$")

    def test_has_what_is_left_by_earlier_runs(self):
        bench = self.bench([report(13, 0), "await go", completion()])
        os.makedirs(os.path.join(bench.folder, "state", "vandrel"))
        bench.write("state/vandrel/history.jsonl", json.dumps({
            "chip_id": CHIP, "board_id": BOARD, "build": "21B80", "erase": False,
            "operations_ms": [[13, 600_000], [14, 1_200_000]]}).encode() + b"\n")
        run = self.start(bench)
        run.wait_for(r" Restoring image   \.\.\.\.   0%   (30:00|29:5\d)$")
        bench.write("go", b"")
        self.assertEqual(run.wait(), 0)

    def test_comes_after_the_question(self):
        bench = self.bench([report(13, 48), "await go", completion()])
        run = self.start(bench, "--erase", asks=True)
        run.wait_for_text("or press Enter to stop: ")
        self.assertFalse(run.screen.was_second)
        run.type(b"1\n")
        run.wait_for(r"^ RESTORE \+ ERASE ")
        self.assertTrue(run.screen.text.endswith("or press Enter to stop: 1\r\n"), run.screen.text)
        bench.write("go", b"")
        self.assertEqual(run.wait(), 0)

    def test_is_not_shown_when_nothing_is_begun(self):
        bench = self.bench([completion()])
        run = self.start(bench, "--erase", asks=True)
        run.wait_for_text("or press Enter to stop: ")
        run.type(b"\n")
        self.assertEqual(run.wait(), 2)
        self.assertFalse(run.screen.was_second)

    def test_fits_a_terminal_whose_size_changes(self):
        bench = self.bench(*[[report(13, 48), "await go", completion()]] * 12)
        run = self.start(bench, "--at-once", "12")
        run.wait_for(r"^ 12 running  0 waiting ")
        for columns, rows in (40, 10), (120, 40), (80, 24):
            with run.lock:
                run.screen.resize(columns, rows)
            run.resize(columns, rows)
            run.wait_for(r"^ Ctrl-C: begin no more devices")
            lines = run.lines()
            self.assertEqual(max(map(len, lines)), {40: 39, 80: 79, 120: 114}[columns])
            shown = [line for line in lines if re.match(r" {3}0x1410", line)]
            self.assertEqual(len(shown), 5 if rows == 10 else 12)
        bench.write("go", b"")
        self.assertEqual(run.wait(), 0)

    def test_has_a_bell_for_each_failure_and_for_the_end(self):
        for words, bells in ((), 2), (("--quiet",), 0):
            with self.subTest(words):
                bench = self.bench([report(13, 48), "await go", completion()], [completion("Failed")])
                run = self.start(bench, "--linger", "0.1", *words)
                run.wait_for(" 1 failed ")
                bench.write("go", b"")
                self.assertEqual(run.wait(), 1)
                self.assertEqual(run.screen.bells, bells)

    def test_has_colours_unless_the_user_wants_none(self):
        for value, has_colours in (None, True), ("", True), ("1", False):
            with self.subTest(value):
                run = self.start(self.bench([completion()]), **({} if value is None else {"NO_COLOR": value}))
                self.assertEqual(run.wait(), 0)
                self.assertTrue(run.screen.was_second)
                self.assertEqual(run.screen.colours > 0, has_colours)

    def test_gives_way_to_lines_where_it_cannot_be_or_is_not_wanted(self):
        def in_background(words):
            return ["bash", "-c", 'set -m; "$@" & wait $!', "-", *words]
        for words, more in (("--plain",), {}), ((), {"TERM": "dumb"}), ((), {"TERM": ""}), ((), {"around": in_background}):
            with self.subTest(words, **more):
                run = self.start(self.bench([completion()]), *words, **more)
                self.assertEqual(run.wait(), 0)
                self.assertFalse(run.screen.was_second)
                self.assertIn(" restored  complete\r\n", run.screen.text)
                self.assertEqual(run.screen.bells, 0)


class the_terminal(tests):
    def run_until_shown(self):
        bench = self.bench([report(13, 48), "await go", completion()])
        run = self.start(bench)
        run.wait_for("Restoring image")
        self.assertFalse(run.modes()[3] & termios.ECHO)
        self.assertFalse(run.screen.has_cursor or run.screen.wraps)
        return run

    def assert_is_as_it_was(self, run):
        self.assertEqual(run.modes(), run.found_modes)
        self.assertFalse(run.screen.is_second)
        self.assertTrue(run.screen.has_cursor and run.screen.wraps)
        self.assertEqual(run.screen.colour, "")

    def test_is_as_it_was_after_the_end(self):
        run = self.run_until_shown()
        run.bench.write("go", b"")
        self.assertEqual(run.wait(), 0)
        self.assert_is_as_it_was(run)

    def test_is_as_it_was_after_two_ctrl_c(self):
        run = self.run_until_shown()
        run.cancel()
        self.assertEqual(run.wait(), 130)
        self.assert_is_as_it_was(run)

    def test_is_as_it_was_after_signals(self):
        for number, status in ((signal.SIGTERM, 130), (signal.SIGHUP, 130), (signal.SIGABRT, -signal.SIGABRT),
                               (signal.SIGQUIT, -signal.SIGQUIT)):
            with self.subTest(number):
                run = self.run_until_shown()
                run.process.send_signal(number)
                self.assertEqual(run.wait(), status)
                self.assert_is_as_it_was(run)

    def test_gives_the_shell_nothing_that_was_typed_meanwhile(self):
        run = self.run_until_shown()
        # Ctrl-Z, too, stops nothing.
        run.type(b"reboot\n\x1a")
        run.bench.write("go", b"")
        self.assertEqual(run.wait(), 0)
        self.assertNotIn("reboot", run.screen.text)
        with open(run.name, "rb", buffering=0) as terminal:
            self.assertEqual(fcntl.ioctl(terminal, termios.FIONREAD, b"\0" * 4), b"\0" * 4)

    def test_that_takes_nothing_stops_no_restore(self):
        bench = self.bench([report(13, 48), "await go", report(13, 50), "sleep 1500", report(13, 52), completion()])
        run = self.start(bench)
        run.wait_for("48%$")
        run.type(CTRL_S)
        bench.write("go", b"")
        # Before the last report comes, there is a frame that the terminal does not take.
        wait_until(lambda: len(bench.ended()) == 1)
        self.assertTrue(run.shows("48%$"))
        run.type(CTRL_Q)
        self.assertEqual(run.wait(), 0)
        self.assert_is_as_it_was(run)
        self.assertIn("1 of 1 device restored. Status 0.", run.screen.text)

    def test_that_takes_nothing_gets_its_modes_back(self):
        run = self.run_until_shown()
        run.type(CTRL_S)
        run.process.send_signal(signal.SIGTERM)
        self.assertEqual(run.process.wait(), 130)
        self.assertEqual(run.modes(), run.found_modes)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
