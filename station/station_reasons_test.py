#!/usr/bin/env python3
"""Each reason on the page of the station, and the tool that makes a device end with it."""
import concurrent.futures
import csv
import ctypes
import os
import plistlib
import re
import shutil
import subprocess
import sys
import unittest

from station_signals_test import a_started_station
from test_station import (
    BOARD, RULES, a_bench, a_folder, a_run, completion, host_path, internal_error, on_windows, page, record, report,
    tool, tools_of)

PLACE = {"Operation": 14, "Orv_OperationName": "Restoring image"}


def step(progress=42, **more):
    return report(progress=progress, **{**PLACE, **more})


def failed(progress=42, **more):
    return step(progress, status="Failed", **more)


ERROR_9 = "error 9: Communication error, possibly USB disconnection in Restoring image at 42 %"

# What a tool does, the reason and the words with which its device ends, and what else the event says.
CASES = [
    # A good completion counts whatever comes before and after it.
    ([step(), completion()], "completed", "complete", {"unreadable_records": 0, "exit_status": 0}),
    ([step(Error=0), completion(Error=0)], "completed", "complete", {}),
    ([step(Error=4005), completion()], "completed", "complete", {"warnings": ["error_in_report"]}),
    ([failed(Error=9), completion()], "completed", "complete", {}),
    ([internal_error(7), completion()], "completed", "complete", {}),
    ([completion(), internal_error(7)], "completed", "complete", {"warnings": ["after_completion"]}),
    ([completion(), completion("Failed", Error=3)], "completed", "complete", {"warnings": ["after_completion"]}),
    ([completion(), "exit 3"], "completed", "complete", {"exit_status": 3, "warnings": ["after_completion"]}),
    ([b"rubbish\n", step(), completion()], "completed", "complete",
     {"unreadable_records": 1, "warnings": ["unreadable_record"]}),
    ([step()[:200], completion()], "completed", "complete",
     {"unreadable_records": 1, "warnings": ["unreadable_record"]}),
    ([record("News", {"Any": 1}), completion()], "completed", "complete", {"unreadable_records": 0, "warnings": []}),
    ([step(), step(Large="x" * 10_000_000), completion()], "completed", "complete",
     {"unreadable_records": 1, "warnings": ["unreadable_record"]}),
    ([step(), completion(), "leave_child later"], "completed", "complete", {"exit_status": 0}),
    # An error of any type.
    ([step(), completion(Error=4005)], "device_error", "error 4005 in Restoring image at 42 %",
     {"error": {"code": 4005}, "operation": 14, "operation_name": "Restoring image", "progress": 42}),
    ([completion(Error={"Code": 21, "Domain": "D", "FailureReason": "why"})], "device_error", "error 21 (D): why",
     {"error": {"code": 21, "domain": "D", "text": "why"}}),
    ([completion(Error={})], "device_error", "an error", {"error": {}}),
    ([completion(Error="text")], "device_error", "an error: text", {"error": {"text": "text"}}),
    ([completion(Error=1.5)], "device_error", "an error: 1.5", {"error": {"text": "1.5"}}),
    ([completion(Error=-1)], "device_error", "error -1", {"error": {"code": -1}}),
    ([completion(Error=True)], "device_error", "an error: true", {"error": {"text": "true"}}),
    ([completion(Error=2**64 - 1)], "device_error", "an error: 18446744073709551615", {}),
    ([completion("Failed")], "device_error", "a failure", {"error": None}),
    ([failed(Error=9)], "device_error", ERROR_9, {"error": {"code": 9, "text": "Communication error, possibly USB disconnection"}}),
    ([failed(Error=9), completion(Error=10)], "device_error", ERROR_9, {}),
    ([failed(Error=9), internal_error(4), "exit 4"], "device_error", ERROR_9, {}),
    ([step(Error=4005)], "device_error", "error 4005 in Restoring image at 42 %", {"warnings": ["error_in_report"]}),
    # No completion.
    ([step(), internal_error(7), "exit 0"], "time_limit", "the time limit has passed in Restoring image at 42 %",
     {"exit_status": 0, "ended_by": "tool", "error": {"domain": "vandrel", "code": 7, "text": "because"}}),
    ([internal_error(4), "exit 4"], "tool_error", "error 4 (vandrel): because", {"exit_status": 4}),
    ([internal_error(1), "exit 0"], "tool_error", "error 1 (vandrel): because", {"exit_status": 0}),
    ([step()], "no_completion", "the tool ended without a completing report in Restoring image at 42 %",
     {"exit_status": 0, "error": None}),
    ([], "no_completion", "the tool ended without a completing report", {"operation": None}),
    ([completion()[:-9]], "no_completion", "the tool ended without a completing report", {"unreadable_records": 1}),
    ([step(), completion(Large="x" * 10_000_000)], "no_completion",
     "the tool ended without a completing report in Restoring image at 42 %", {"unreadable_records": 1}),
    ([step(), "leave_child later"], "no_completion",
     "the tool ended without a completing report in Restoring image at 42 %", {"exit_status": 0}),
    ([step(), "exit 9"], "tool_crashed", "the tool ended abnormally with status 9 in Restoring image at 42 %",
     {"exit_status": 9}),
    ([step()[:150], "exit 1"], "tool_crashed", "the tool ended abnormally with status 1", {"unreadable_records": 1}),
]

STATES = {
    "completed": "restored", "device_error": "failed", "tool_error": "failed", "no_completion": "failed",
    "tool_crashed": "failed", "time_limit": "timed_out"}
WORDS = {
    "restored": "restored", "failed": "FAILED", "timed_out": "TIMED OUT", "stalled": "STALLED",
    "cancelled": "CANCELLED", "missing": "MISSING", "left_alone": "LEFT"}


class one_run_with_many_tools(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.bench = a_bench([steps for steps, *_ in CASES])
        cls.addClassCleanup(cls.bench.kept.cleanup)
        cls.addCleanup = cls.addClassCleanup
        cls.station = a_run(cls, cls.bench, "--yes", "--at-once", "64", "--stop-after", "0", seconds=120,
                        stderr=subprocess.PIPE)
        with_child = {ecid for ecid, (steps, *_) in zip(cls.bench.ecids, CASES) if "leave_child later" in steps}
        while with_child:
            with_child.discard(cls.station.wait_for("device_ended")["ecid"])
        # The children had their tools' pipes until now.
        cls.bench.write("later", b"")
        cls.status = cls.station.wait()
        cls.events = cls.station.events

    def test_each_device_ends_as_its_tool_says(self):
        ended = self.bench.ended()
        for number, (_, reason, words, keys) in enumerate(CASES):
            with self.subTest(case=number, reason=reason, words=words):
                event = ended[self.bench.ecids[number]]
                self.assertEqual((event["reason"], event["state"]), (reason, STATES[reason]), event)
                self.assertEqual(event["message"], f"{WORDS[STATES[reason]]}: {words}")
                for key, value in keys.items():
                    if key != "warnings":
                        self.assertEqual(event.get(key), value, event)

    def test_what_changes_nothing_is_a_warning(self):
        for number, (*_, keys) in enumerate(CASES):
            if "warnings" in keys:
                with self.subTest(case=number):
                    kinds = [event["kind"] for event in self.events
                             if event["event"] == "warning" and event["ecid"] == self.bench.ecids[number]]
                    self.assertEqual(kinds, keys["warnings"])

    def test_the_status_says_that_not_all_are_restored(self):
        with self.station.process.stderr as errors:
            self.assertEqual((self.status, errors.read()), (1, b""))

    def test_standard_output_is_the_log(self):
        self.assertEqual(self.events, self.bench.events())

    def test_the_sequence_has_no_gaps(self):
        self.assertEqual([event["seq"] for event in self.events], list(range(1, len(self.events) + 1)))

    def test_the_counts_are_those_of_the_events(self):
        ended = self.bench.ended().values()
        counts = self.bench.summary()["counts"]
        for state in ("restored", "failed", "timed_out", "stalled", "cancelled", "missing", "left_alone"):
            self.assertEqual(counts[state], sum(event["state"] == state for event in ended), state)
        self.assertEqual(counts["chosen"], len(CASES))
        self.assertEqual(self.events[-1]["counts"], counts)

    def test_each_record_is_in_its_devices_file(self):
        for number, (steps, *_) in enumerate(CASES):
            path = os.path.join(self.bench.run_folder, f"{self.bench.ecids[number]}-visit1-try1", "records.plist")
            written = b"".join(step for step in steps if isinstance(step, bytes))
            kept = b""
            if os.path.exists(path):
                with open(path, "rb") as file:
                    kept = file.read()
            self.assertTrue(kept == written, number)

    def test_the_table_has_a_line_for_each_device(self):
        with open(os.path.join(self.bench.run_folder, "summary.csv"), newline="", encoding="utf-8") as file:
            rows = list(csv.DictReader(file))
        self.assertEqual({row["ecid"]: row["reason"] for row in rows},
                         {self.bench.ecids[i]: case[1] for i, case in enumerate(CASES)})
        self.assertEqual({row["serial_number"] for row in rows}, {f"SERIAL{i}" for i in range(len(CASES))})

    def test_no_folder_of_a_tool_is_left(self):
        self.assertEqual([name for name in os.listdir(self.bench.folder) if name.startswith("vs-")], [])


# The page's table, written again by hand: state, sentence, status, tried again. WHY is the system's own reason, NUMBER
# a process number.
ROWS = {
    "completed": ("restored", "complete", "0", "no"),
    "device_error": ("failed", "error 4005 in Restoring image at 42 %", "1", "yes"),
    "tool_given_up": ("failed", "the tool does not end in Restoring image at 42 %", "1", "no"),
    "user": ("cancelled", "cancelled in Restoring image at 42 %", "130", "no"),
    "time_limit": ("timed_out", "the time limit has passed in Restoring image at 42 %", "1", "no"),
    "tool_error": ("failed", "error 5 (vandrel): because", "1", "yes, for codes 4, 5 and 6"),
    "silence": ("stalled", "no report came any more in Restoring image at 42 %", "1", "yes"),
    "never_began": ("stalled", "the restore never began", "1", "yes"),
    "tool_not_started": ("failed", "the tool could not be started: WHY", "1", "no"),
    "no_completion": ("failed", "the tool ended without a completing report in Restoring image at 42 %", "1", "no"),
    "tool_crashed": ("failed", "the tool ended abnormally with status 9 in Restoring image at 42 %", "1", "yes"),
    "not_back": ("failed", "it was to be tried again and did not come back", "1", "no"),
    "came_back": ("failed", "it was restored and came back soon after: it does not start", "1", "no"),
    "never_seen": ("missing", "it was never seen", "3", "no"),
    "unfit": ("left_alone", "the bundle is not for it", "3", "no"),
    "no_bundle": ("left_alone", "no bundle in the folder is for it", "3", "no"),
    "no_room": ("left_alone", "its bundle needs more room than there is", "4", "no"),
    "held": ("left_alone", "another station works on it: process NUMBER", "3", "no"),
    "stopped": ("left_alone", "not begun: too many failures in a row", "1", "no"),
    "watch_over": ("left_alone", "not begun: the watch was over", "0", "no"),
    "not_begun": ("left_alone", "not begun", "0 or 2", "no"),
}


def rows_of_the_page():
    with open(page, encoding="utf-8") as file:
        section = file.read().split("\n## How a device ends\n")[1].split("\n## ")[0]
    rows = {}
    for line in section.splitlines():
        if line.startswith("| `"):
            reason, *rest = [cell.strip(" `") for cell in line.strip("|").split("|")]
            assert reason not in rows, f"two rows for {reason}"
            rows[reason] = tuple(rest)
    return rows


class ending:
    """How the first device of a run ended, and the run."""

    def __init__(self, status, events, number=0):
        ecid = sorted({event["ecid"] for event in events if "ecid" in event})[number]
        self.status = status
        own = [event for event in events if event.get("ecid") == ecid]
        self.tries = len([event for event in own if event["event"] == "try_started"])
        self.last = [event for event in own if event["event"] in ("device_ended", "device_left_alone")][-1]


class provoked:
    """Runs of one station with retries, each with a device that ends with the reason of the function's name."""

    def __init__(self, test, number):
        self.test = test
        self.first = 1000 + 10 * number

    def bench(self, *scripts):
        made = a_bench(list(scripts), self.first)
        self.test.addCleanup(made.kept.cleanup)
        return made

    def start(self, bench, *arguments, **more):
        # Why a run touched nothing is said there, which is another test's business.
        more.setdefault("stderr", subprocess.DEVNULL)
        return a_run(self.test, bench, "--retries", "1", "--stop-after", "0", *arguments, seconds=120, **more)

    def run(self, steps, *arguments, **more):
        run = self.start(self.bench(steps), *arguments, **more)
        return ending(run.wait(), run.events)

    def completed(self):
        return self.run([step(), completion()])

    def device_error(self):
        return self.run([step(), completion(Error=4005)])

    def tool_error(self):
        return self.run([internal_error(5), "exit 5"])

    def time_limit(self):
        return self.run([step(), internal_error(7)])

    def silence(self):
        # A tool on a busy machine must not be taken for a silent one.
        return self.run([step(), "hang"], "--stall-timeout", "10")

    def never_began(self):
        return self.run(["hang"], "--stall-timeout", "1")

    def no_completion(self):
        return self.run([step()])

    def tool_crashed(self):
        return self.run([step(), "exit 9"])

    def tool_not_started(self):
        bench = self.bench([])
        own = os.path.join(bench.folder, "tool.exe")
        shutil.copy(tool, own)
        bench.tool[0] = host_path(own)
        bench.script(bench.ecids[0] + ".looked", ["rename tool.exe gone.exe"])
        run = self.start(bench)
        return ending(run.wait(), run.events)

    def tool_given_up(self):
        bench = self.bench([step(), "hang"])
        run = self.start(bench, "--stall-timeout", "10", rules={**RULES, "give_up": 0.2})
        run.wait_for("operation")
        # Who watches a process gets its end first, and until then it has not gone.
        process, = tools_of(bench)
        libc = ctypes.CDLL(None, use_errno=True)
        seize = 0x4206
        if libc.ptrace(seize, process, None, None) != 0:
            raise OSError(ctypes.get_errno(), "ptrace")
        try:
            status = run.wait()
        finally:
            os.waitpid(process, 0)
        return ending(status, run.events)

    def user(self):
        run = a_started_station(self.test, self.bench([step(), "hang"]), "--retries", "1", seconds=120)
        run.wait_for("operation")
        for _ in range(2):
            run.press_ctrl_c()
            run.wait_for("cancel")
        return ending(run.wait(), run.events)

    def not_back(self):
        bench = self.bench([completion(Error=1)])
        run = self.start(bench, rules={**RULES, "retry_pause": 60, "retry_wait": 1})
        run.wait_for("try_ended", will_retry=True)
        bench.show([])
        return ending(run.wait(), run.events)

    def came_back(self):
        bench = self.bench([completion()])
        run = a_run(self.test, bench, "--watch", "--retries", "1", "--stop-after", "1", seconds=120)
        run.wait_for("device_ended", state="restored")
        bench.show([])
        run.wait_for("device_away")
        bench.show(bench.ecids)
        return ending(run.wait(), run.events)

    def never_seen(self):
        bench = self.bench([completion()])
        bench.show([])
        run = self.start(bench, command=bench.command(
            "restore", "--bundle", host_path(bench.bundle), "--ecid", bench.ecids[0], "--json"))
        return ending(run.wait(), run.events)

    def unfit(self):
        bench = self.bench([completion()])
        bench.bundle = bench.make_bundle("other.ipsw", BOARD + 1)
        run = self.start(bench)
        return ending(run.wait(), run.events)

    def with_folder(self, **bundle):
        bench = self.bench([completion()])
        folder = a_folder(bench)
        folder.add("some.ipsw", **bundle)
        run = self.start(bench, command=bench.command(
            "restore", "--bundles", host_path(folder.path), "--all", "--json"))
        return ending(run.wait(), run.events)

    def no_bundle(self):
        return self.with_folder(board=BOARD + 1)

    def no_room(self):
        return self.with_folder(claims=2**60)

    def held(self):
        other = self.bench([step(), "await go", completion()])
        holder = self.start(other)
        holder.wait_for("operation")
        run = self.start(self.bench([completion()]))
        result = ending(run.wait(), run.events)
        other.write("go", b"")
        assert holder.wait() == 0, holder.events
        return result

    def stopped(self):
        run = a_run(self.test, self.bench([completion(Error=1)], [completion()]), "--at-once", "1", "--stop-after", "1",
                    seconds=120)
        return ending(run.wait(), run.events, 1)

    def watch_over(self):
        run = a_run(self.test, self.bench([completion()], [completion()]), "--watch", "--at-once", "1", "--count", "1",
                    seconds=120)
        return ending(run.wait(), run.events, 1)

    def not_begun(self):
        run = self.start(self.bench([completion()]), "--dry-run")
        return ending(run.wait(), run.events)

# Windows' own end of a process cannot be held up by another program.
NOT_ON_WINDOWS = {"tool_given_up"} if on_windows else set()


class the_table_of_reasons(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.addCleanup = cls.addClassCleanup
        # Silence takes its time. So that the others do not wait for it, it is the first.
        order = sorted(ROWS, key=lambda reason: reason not in ("silence", "tool_given_up"))
        pool = concurrent.futures.ThreadPoolExecutor(4)
        cls.addClassCleanup(pool.shutdown)
        cls.ends = {reason: pool.submit(getattr(provoked(cls, number), reason))
                    for number, reason in enumerate(order) if reason not in NOT_ON_WINDOWS}

    def test_the_page_has_the_rows_that_are_expected(self):
        self.assertEqual(rows_of_the_page(), ROWS)

    def test_each_row_is_what_happens(self):
        for reason, (state, sentence, status, again) in rows_of_the_page().items():
            if reason in NOT_ON_WINDOWS:
                continue
            with self.subTest(reason=reason):
                end = self.ends[reason].result()
                words = re.escape(sentence).replace("WHY", ".+").replace("NUMBER", "[0-9]+")
                tries = "" if end.last.get("tries", 0) < 2 else f", after {end.last['tries']} tries"
                self.assertEqual(end.last["reason"], reason)
                self.assertEqual(end.last.get("state", "left_alone"), state)
                self.assertRegex(end.last["message"], f"^{WORDS[state]}: {words}{tries}$")
                self.assertIn(str(end.status), status.split(" or "))
                self.assertEqual(end.tries > 1, again.startswith("yes"))

    def test_a_tool_that_could_not_be_started_is_named(self):
        self.assertIn("tool.exe", self.ends["tool_not_started"].result().last["message"])


class tool_errors(unittest.TestCase):
    def test_codes_4_5_and_6_are_tried_again(self):
        codes = range(1, 10)
        with a_bench([[internal_error(code)] for code in codes], 5000) as bench:
            bench.restore("--retries", "1", "--at-once", "9", "--stop-after", "0")
            offered = {event["ecid"] for event in bench.events() if event["event"] == "try_ended" and event["will_retry"]}
            self.assertEqual([code for code, ecid in zip(codes, bench.ecids) if ecid in offered], [4, 5, 6])


class refused(unittest.TestCase):
    def test_devices_of_a_refused_run_are_not_begun(self):
        with a_bench([[completion()]], 6000) as bench:
            self.assertEqual(bench.restore("--expect", "2").returncode, 2)
            left = [event["reason"] for event in bench.events() if event["event"] == "device_left_alone"]
            self.assertEqual((left, bench.journal()), (["not_begun"], []))


class the_stations_own_time_limit(unittest.TestCase):
    def test_it_ends_a_tool_that_has_options_from_a_file(self):
        with a_bench([["hang"]], 7000) as bench:
            bench.write("options.plist", plistlib.dumps({
                "AuthInstallRestoreBehavior": "Update", "RestoreBundlePath": host_path(bench.bundle)}))
            options = host_path(os.path.join(bench.folder, "options.plist"))
            self.assertEqual(bench.run("restore", "--options", options, "--all", "--restore-timeout", "1").returncode, 1)
            event = bench.ended()[bench.ecids[0]]
            self.assertEqual((event["reason"], event["state"], event["ended_by"]),
                             ("time_limit", "timed_out", "station"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
