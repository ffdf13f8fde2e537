#!/usr/bin/env python3
"""Watches: visits of devices, lists that go wrong, and what ends a watch."""
import os
import plistlib
import sys
import time
import unittest

from test_station import (BOARD, CHIP, RULES, a_run, completion, ecid, host_path, internal_error, on_windows, record,
                          report, simulator, tests_of_benches, wait_until)

A, B, C = ecid(1), ecid(2), ecid(3)
# A visit ends with the second list without the device.
VISITS = {**RULES, "away": 0}
FAILS = [report(status="Failed", Error=9), "exit 1"]


class watches(tests_of_benches):
    def watch(self, bench, *arguments, rules=VISITS):
        return a_run(self, bench, "--watch", *arguments, rules=rules)

    def plan(self, bench, *lists):
        """What the tool does in each of the next lists, behind those that may have begun meanwhile."""
        for number, steps in enumerate(lists, bench.lists() + 3):
            bench.script(f"list.{number}", steps)

    def begun(self, bench):
        """The devices of all restores, in the order of their ECIDs: tools may begin side by side."""
        return sorted(line.split()[1] for line in bench.journal())

    def leave_and_return(self, run, bench, *, lists):
        """The device A is away for so many lists."""
        bench.show([])
        run.wait_for("device_away", ecid=A)
        if lists > 1:
            bench.pass_lists(lists - 1)
        bench.show([A])


class visits(watches):
    def test_a_device_that_comes_later_is_restored(self):
        bench = self.bench([completion()], [completion()])
        bench.show([A])
        run = self.watch(bench, "--count", "2")
        run.wait_for("device_ended", ecid=A)
        bench.show([A, B])
        self.assertEqual((run.wait(), self.begun(bench)), (0, [A, B]))

    def test_a_failed_device_that_stays_is_not_tried_again(self):
        bench = self.bench(FAILS, [completion()])
        bench.show([A])
        run = self.watch(bench, "--count", "2")
        run.wait_for("device_ended", ecid=A)
        bench.pass_lists(3)
        bench.show([A, B])
        self.assertEqual((run.wait(), self.begun(bench)), (1, [A, B]))

    def test_a_new_visit_gives_a_failed_device_its_tries_anew(self):
        bench = self.bench(FAILS, [completion()])
        bench.show([A])
        run = self.watch(bench, "--count", "2", "--retries", "1")
        run.wait_for("device_ended", ecid=A)
        self.leave_and_return(run, bench, lists=3)
        run.wait_for("device_found", ecid=A)
        self.assertEqual(run.wait_for("device_ended", ecid=A)["tries"], 2)
        bench.show([A, B])
        self.assertEqual((run.wait(), self.begun(bench)), (1, [A] * 4 + [B]))
        self.assertEqual([(event["try"], event["will_retry"]) for event in run.named("try_ended")],
                         [(1, True), (2, False)] * 2 + [(1, False)])
        # The device counts once, each visit has its line.
        self.assertEqual(run.events[-1]["counts"]["failed"], 1)
        self.assertEqual([each["ecid"] for each in bench.summary()["devices"]], [A, A, B])

    def test_a_visit_does_not_end_with_one_list(self):
        bench = self.bench(FAILS, [completion()])
        bench.show([A])
        run = self.watch(bench, "--count", "2")
        run.wait_for("device_ended", ecid=A)
        self.plan(bench, [record("DeviceList", [])], [record("DeviceList", [A])])
        run.wait_for("device_back", ecid=A)
        bench.show([A, B])
        self.assertEqual((run.wait(), self.begun(bench)), (1, [A, B]))
        self.assertEqual([event["event"] for event in run.events if event["event"] in ("device_away", "device_back")],
                         ["device_away", "device_back"])

    def test_a_visit_does_not_end_before_its_time(self):
        bench = self.bench(FAILS, [completion()])
        bench.show([A])
        run = self.watch(bench, "--count", "2", rules={**VISITS, "away": 3600})
        run.wait_for("device_ended", ecid=A)
        self.leave_and_return(run, bench, lists=4)
        run.wait_for("device_back", ecid=A)
        bench.show([A, B])
        self.assertEqual((run.wait(), self.begun(bench)), (1, [A, B]))

    def test_a_restored_device_that_is_back_soon_came_back(self):
        bench = self.bench([completion()], [completion()])
        bench.show([A])
        run = self.watch(bench, "--count", "2", "--retries", "3")
        run.wait_for("device_ended", ecid=A, state="restored")
        self.leave_and_return(run, bench, lists=3)
        event = run.wait_for("device_ended", ecid=A)
        self.assertEqual((event["state"], event["reason"]), ("failed", "came_back"))
        bench.show([A, B])
        self.assertEqual((run.wait(), self.begun(bench)), (1, [A, B]))
        self.assertEqual((run.events[-1]["counts"]["restored"], run.events[-1]["counts"]["failed"]), (1, 1))
        self.assertEqual({each["ecid"]: each["reason"] for each in bench.summary()["devices"]},
                         {A: "came_back", B: "completed"})

    def test_a_boot_loop_is_said_once_and_not_touched_again(self):
        bench = self.bench([completion()], [completion()])
        # In its own lists the device comes and goes; the last have both.
        for number in range(2, 12):
            bench.script(f"list.{number}", [record("DeviceList", [A] if number // 2 % 2 else [])])
        bench.script("list.1", [record("DeviceList", [A])])
        run = self.watch(bench, "--count", "2", rules={**VISITS, "came_back": 3600})
        self.assertEqual((run.wait(), self.begun(bench)), (1, [A, B]))
        self.assertEqual([event["reason"] for event in run.named("device_ended") if event["ecid"] == A],
                         ["completed", "came_back"])

    def test_a_restored_device_that_is_back_later_is_a_new_visit(self):
        bench = self.bench([completion()], [completion()])
        bench.show([A])
        run = self.watch(bench, "--count", "2", rules={**VISITS, "came_back": 0})
        run.wait_for("device_ended", ecid=A)
        self.leave_and_return(run, bench, lists=3)
        run.wait_for("device_ended", ecid=A, state="restored")
        bench.show([A, B])
        self.assertEqual((run.wait(), self.begun(bench)), (0, [A, A, B]))
        self.assertEqual(run.events[-1]["counts"]["chosen"], 2)

    def test_a_device_whose_tool_runs_may_come_and_go(self):
        bench = self.bench([report(), "await go", completion()], [completion()])
        bench.show([A])
        run = self.watch(bench, "--count", "2")
        run.wait_for("operation")
        bench.show([])
        bench.pass_lists(3)
        bench.show([A, B])
        run.wait_for("device_ended", ecid=B)
        bench.write("go", b"")
        self.assertEqual((run.wait(), self.begun(bench)), (0, [A, B]))
        self.assertEqual(run.named("device_away"), [])


class ends_of_watches(watches):
    def test_a_count_ends_the_watch(self):
        bench = self.bench([completion()], [completion()], [completion()])
        run = self.watch(bench, "--count", "2")
        self.assertEqual((run.wait(), self.begun(bench)), (0, [A, B]))
        self.assertEqual([(event["ecid"], event["reason"]) for event in run.named("device_left_alone")],
                         [(C, "watch_over")])

    def test_its_time_ends_the_watch_but_no_tool(self):
        bench = self.bench([report(), "await go", completion()], [completion()])
        run = self.watch(bench, "--for", "3", "--at-once", "1")
        run.wait_for("operation", ecid=A)
        since = time.monotonic()
        wait_until(lambda: time.monotonic() > since + 3)
        bench.write("go", b"")
        self.assertEqual((run.wait(), self.begun(bench)), (0, [A]))
        self.assertEqual([(event["ecid"], event["reason"]) for event in run.named("device_left_alone")],
                         [(B, "watch_over")])

    def test_five_failures_in_a_row_begin_no_sixth(self):
        bench = self.bench(*[FAILS] * 3, [completion()], *[FAILS] * 7)
        run = self.watch(bench, "--at-once", "1")
        self.assertEqual(run.wait(), 1)
        self.assertEqual(self.begun(bench), bench.ecids[:9])
        self.assertEqual([event["failures"] for event in run.named("stopped_after")], [5])
        self.assertEqual([(event["ecid"], event["reason"]) for event in run.named("device_left_alone")],
                         [(each, "stopped") for each in bench.ecids[9:]])

    def test_tools_that_run_when_the_fifth_fails_go_on(self):
        bench = self.bench([report(), "await go", completion()], *[FAILS] * 6)
        run = self.watch(bench, "--at-once", "2")
        run.wait_for("stopped_after")
        bench.write("go", b"")
        self.assertEqual((run.wait(), self.begun(bench)), (1, bench.ecids[:6]))
        self.assertEqual(run.events[-1]["counts"]["restored"], 1)

    def test_no_failure_stops_a_run_that_is_never_to_stop(self):
        bench = self.bench(*[FAILS] * 7)
        run = self.watch(bench, "--count", "7", "--stop-after", "0")
        self.assertEqual((run.wait(), len(self.begun(bench))), (1, 7))

    def test_a_watch_in_which_no_device_came_is_status_3(self):
        bench = self.bench()
        run = self.watch(bench, "--for", "0.5")
        self.assertEqual((run.wait(), self.begun(bench)), (3, []))


class lists_that_go_wrong(watches):
    # What the tool does, and what the event says.
    ALL_CASES = {
        "it ends without one": (["exit 3"], "no_list"),
        "an error": ([internal_error(4), "exit 4"], "no_list"),
        "rubbish": ([b"rubbish \xff\n" * 100], "broken"),
        "half a record": ([record("DeviceList", [A, B])[:-20]], "broken"),
        "an ECID twice": ([record("DeviceList", [B, A, A])], "duplicate_ecid"),
        "one ECID in two ways": ([record("DeviceList", ["0x" + A.lower(), A])], "duplicate_ecid"),
        "what is no ECID": ([record("DeviceList", ["phone"])], "broken"),
        "it hangs": (["hang"], "timed_out"),
        "it hangs behind its list": ([record("DeviceList", [B]), "hang"], "timed_out"),
    }

    ON_WINDOWS = ("it ends without one", "rubbish", "half a record", "an ECID twice", "it hangs")

    def cases(self):
        # What is read is read in the same way there, but starting and ending processes is slow.
        return {name: case for name, case in self.ALL_CASES.items() if not on_windows or name in self.ON_WINDOWS}

    def rules_for(self, name):
        # Short only for those that hang: on a busy machine a good list takes its time too.
        return {**VISITS, "list_limit": 8} if "hangs" in name else VISITS

    def test_nobody_leaves_and_nobody_comes(self):
        # All at once: they mostly wait.
        runs = {}
        for name, (steps, reason) in self.cases().items():
            bench = self.bench(FAILS, [completion()])
            bench.show([A])
            runs[name] = bench, steps, reason, self.watch(bench, "--count", "2", rules=self.rules_for(name))
        for bench, steps, _, run in runs.values():
            run.wait_for("device_ended", ecid=A)
            bench.script("list.script", steps)
        for name, (bench, _, reason, run) in runs.items():
            with self.subTest(name):
                # So many good lists without the device would end its visit, and one good list with B begin that.
                for _ in range(2):
                    self.assertEqual(run.wait_for("list_failed")["reason"], reason)
                bench.show([A, B])
                os.remove(os.path.join(bench.folder, "list.script"))
                self.assertEqual((run.wait(), self.begun(bench)), (1, [A, B]))
                self.assertEqual([event["event"] for event in run.events
                                  if event["event"] in ("device_away", "device_back", "clock_gap")], [])
                self.assertEqual(len(run.named("device_found")), 2)

    def test_a_device_that_is_away_does_not_leave_by_them(self):
        bench = self.bench(FAILS, [completion()])
        bench.show([A])
        run = self.watch(bench, "--count", "2")
        run.wait_for("device_ended", ecid=A)
        self.plan(bench, [record("DeviceList", [])], ["exit 3"], [b"rubbish\n"], [record("DeviceList", [A])])
        run.wait_for("device_back", ecid=A)
        bench.show([A, B])
        self.assertEqual((run.wait(), self.begun(bench)), (1, [A, B]))

    def test_the_first_one_is_status_4_and_nothing_is_touched(self):
        runs = {}
        for name, (steps, _) in self.cases().items():
            bench = self.bench([completion()], [completion()])
            bench.script("list.1", steps)
            runs[name] = bench, self.watch(bench, rules=self.rules_for(name))
        for name, (bench, run) in runs.items():
            with self.subTest(name):
                self.assertEqual((run.wait(), self.begun(bench)), (4, []))

    def test_none_is_begun_soon_after_a_start(self):
        bench = self.bench([completion()])
        run = self.watch(bench, "--for", "1", rules={**VISITS, "list_after_start": 3600})
        self.assertEqual((run.wait(), bench.lists()), (0, 1))

    def test_a_running_restore_goes_on_beside_them(self):
        bench = self.bench([report(), "await go", completion()])
        for number in range(2, 5):
            bench.script(f"list.{number}", ["exit 3"])
        run = self.watch(bench, "--count", "1", "--for", "600")
        run.wait_for("operation")
        bench.write("go", b"")
        self.assertEqual((run.wait(), self.begun(bench)), (0, [A]))


class simulated_devices(watches):
    def test_they_come_back_come_late_and_are_away_while_restored(self):
        bench = self.bench([], [], [])
        restored = {"Status": "Successful", "Operation": 0, "Progress": 100}
        restores = [{"Reports": [{"After": 0, "Report": restored}], "ReturnsAfter": 5},
                    {"Reports": [{"After": 5, "Report": restored}], "Away": [{"From": 0, "Until": 4}]},
                    {"Reports": [{"After": 0, "Report": restored}]}]
        late = os.path.join(bench.folder, "late")
        bench.write("scenario.plist", plistlib.dumps({
            "Devices": [{"Name": each, "ECID": each, "State": "Recovery", "ChipID": CHIP, "BoardID": BOARD,
                         "ProductID": 0x1281, "LocationID": 0x14100000 + i, "SerialNumber": f"SERIAL{i}",
                         "ProductString": "Phone", "Restore": restore}
                        for i, (each, restore) in enumerate(zip(bench.ecids, restores))],
            "Events": [{"At": 0, "Device": each, "Type": "connected", **more} for each, more in
                       ((A, {}), (B, {}), (C, {"AwaitFile": host_path(late)}))]}))
        bench.tool = [host_path(simulator), "--scenario", host_path(os.path.join(bench.folder, "scenario.plist")),
                      "--bench", host_path(os.path.join(bench.folder, "devices")), "--"]
        run = self.watch(bench, "--count", "3", rules={**VISITS, "list_detect": 1})
        run.wait_for("device_ended", ecid=A, reason="came_back")
        bench.write("late", b"")
        self.assertEqual(run.wait(), 1)
        self.assertEqual({event["ecid"]: event["reason"] for event in run.named("device_ended")},
                         {A: "came_back", B: "completed", C: "completed"})
        # While it was restored nobody asked where it was.
        of_b = [event["event"] for event in run.events if event.get("ecid") == B]
        self.assertNotIn("device_away", of_b[:of_b.index("device_ended")])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
