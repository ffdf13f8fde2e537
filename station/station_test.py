#!/usr/bin/env python3
"""Runs the station over a tool that plays scripts: station_test.py PAGE STATION TOOL [EMULATOR]."""
import csv
import json
import os
import plistlib
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import zipfile

page, station, tool, *emulator = sys.argv[1:]
CHIP, BOARD = 0x8110, 0x0C
RULES = {"retry_pause": 0.1, "list_after_start": 0}
# Silence is judged soon, but not so soon that a tool on a busy machine is taken for a silent one.
SILENCE = {**RULES, "never_began": 20, "quiet": 2}


def host_path(path):
    return "Z:" + path.replace("/", "\\") if emulator else path


def record(kind, value):
    return plistlib.dumps({"Type": kind, "Value": value})


def report(operation=14, progress=50, status="Restoring", **more):
    return record("RestoreStatus", {"Operation": operation, "Progress": progress, "Status": status, **more})


def completion(status="Successful", **more):
    return report(0, 100, status, **more)


def internal_error(code):
    return record("InternalError", {"Code": code, "Domain": "vandrel", "FailureReason": "because"})


def ecid(number):
    return f"{number:016X}"


class a_bench:
    """A folder with what the tool does, and a bundle."""

    def __init__(self, scripts):
        self.kept = tempfile.TemporaryDirectory(prefix="bench & 100% Ж ")
        self.folder = self.kept.name
        self.run_folder = os.path.join(self.folder, "run")
        self.ecids = [ecid(i) for i in range(1, len(scripts) + 1)]
        self.write("list", record("DeviceList", self.ecids))
        for i, (each, steps) in enumerate(zip(self.ecids, scripts)):
            self.write(each + ".info", record("DeviceInfo", {
                "ECID": each, "ProductID": 1, "BoardID": BOARD, "ChipID": CHIP, "ProductType": 1, "FusingInfo": 3,
                "LocationID": 0x14100000 + i, "SerialNumber": f"SERIAL{i}", "ProductString": "Phone"}))
            lines = []
            for k, step in enumerate(steps):
                if isinstance(step, bytes):
                    name = f"{each}.{k}"
                    self.write(name, step)
                    step = "write " + name
                lines.append(step)
            self.write(each + ".restore", "\n".join(lines).encode())
        self.bundle = self.make_bundle("some.ipsw", BOARD)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kept.cleanup()

    def write(self, name, content):
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(content)

    def make_bundle(self, name, board):
        path = os.path.join(self.folder, name)
        with zipfile.ZipFile(path, "w") as made:
            made.writestr("BuildManifest.plist", plistlib.dumps({
                "ProductVersion": "17.1", "ProductBuildVersion": "21B80", "SupportedProductTypes": ["iPhone14,2"],
                "BuildIdentities": [{"ApChipID": hex(CHIP), "ApBoardID": hex(board)}]}))
            made.writestr("image.dmg", b"image")
        return path

    def command(self, *arguments, rules=RULES, with_folder=True):
        words = [*emulator, station, *arguments, "--tool", host_path(tool), "--tool-argument", host_path(self.folder)]
        if with_folder:
            words += ["--run-folder", host_path(self.run_folder), "--scratch", host_path(self.folder),
                      "--stagger", "0", "--poll", "0.2"]
        for name, value in rules.items():
            words += ["--rule-time", f"{name}={value}"]
        return words

    def run(self, *arguments, **more):
        return subprocess.run(self.command(*arguments, **more), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=300)

    def restore(self, *arguments, **more):
        return self.run("restore", "--bundle", host_path(self.bundle), "--all", *arguments, **more)

    def events(self):
        with open(os.path.join(self.run_folder, "events.jsonl"), encoding="ascii") as file:
            return [json.loads(line) for line in file]

    def ended(self):
        """The event device_ended of each device."""
        return {event["ecid"]: event for event in self.events() if event["event"] == "device_ended"}

    def summary(self):
        with open(os.path.join(self.run_folder, "summary.json"), encoding="ascii") as file:
            return json.load(file)

    def journal(self):
        path = os.path.join(self.folder, "journal")
        if not os.path.exists(path):
            return []
        with open(path) as file:
            return file.read().split("\n")[:-1]


# Each reason on the page, and what a tool does that has it: steps, and the event's keys.
REASONS = {
    "completed": [
        ([report(), completion()], {}),
        ([report(Error=0), completion(Error=0)], {}),
        ([report(Error=4005), completion()], {}),
        ([completion(), internal_error(7)], {}),
        ([completion(), "exit 3"], {"exit_status": 3}),
        ([b"rubbish\n", report(), completion()], {"unreadable_records": 1}),
        ([report()[:200], completion()], {"unreadable_records": 1}),
        ([record("News", {"Any": 1}), completion()], {"unreadable_records": 0}),
        ([report(), report(Large="x" * 10_000_000), completion()], {"unreadable_records": 1}),
    ],
    "device_error": [
        ([report(), completion(Error=4005)], {"error": {"code": 4005}}),
        ([completion(Error={"Code": 21, "Domain": "D", "FailureReason": "why"})],
         {"error": {"code": 21, "domain": "D", "text": "why"}}),
        ([completion(Error="text")], {}),
        ([completion(Error=1.5)], {}),
        ([completion(Error=-1)], {"error": {"code": -1}}),
        ([completion("Failed")], {}),
        ([report(status="Failed", Error=9)], {"error": {"code": 9}}),
    ],
    "tool_error": [
        ([internal_error(4), "exit 4"], {"exit_status": 4}),
        ([internal_error(1), "exit 0"], {"exit_status": 0}),
    ],
    "no_completion": [([report()], {"exit_status": 0}), ([], {"exit_status": 0})],
    "tool_crashed": [([report(), "exit 9"], {"exit_status": 9}), ([report()[:150], "exit 1"], {})],
    "time_limit": [([report(), internal_error(7), "exit 0"], {"exit_status": 0})],
    "silence": [([report(), "hang"], {"ended_by": "station"})],
    "never_began": [(["hang"], {"ended_by": "station"})],
}


def rows_of_the_page():
    with open(page, encoding="utf-8") as file:
        text = file.read()
    rows = {}
    for line in text.splitlines():
        match = re.match(r"\| `(\w+)` \| `(\w+)` \| (.*?) \| (\d) \| (yes|no|.*codes.*) \|$", line)
        if match:
            rows[match[1]] = match.groups()[1:]
    return rows


class reasons(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.cases = [(reason, *case) for reason, cases in REASONS.items() for case in cases]
        cls.bench = a_bench([steps for _, steps, _ in cls.cases])
        cls.addClassCleanup(cls.bench.kept.cleanup)
        cls.result = cls.bench.restore("--yes", "--json", "--at-once", "64", "--stop-after", "0",
                                       "--stall-timeout", "20", "--linger", "1", rules=SILENCE)

    def test_each_device_ends_as_the_page_says(self):
        rows = rows_of_the_page()
        ended = self.bench.ended()
        for number, (reason, steps, keys) in enumerate(self.cases):
            with self.subTest(reason=reason, case=number):
                event = ended[self.bench.ecids[number]]
                self.assertEqual((event["reason"], event["state"]), (reason, rows[reason][0]), event)
                self.assertIn(rows[reason][1].split("...")[0].strip(), event["message"])
                for key, value in keys.items():
                    self.assertEqual(event.get(key), value, event)

    def test_the_status_says_that_not_all_are_restored(self):
        self.assertEqual((self.result.returncode, self.result.stderr), (1, b""))

    def test_standard_output_is_the_log(self):
        with open(os.path.join(self.bench.run_folder, "events.jsonl"), "rb") as file:
            self.assertEqual(self.result.stdout, file.read())

    def test_the_sequence_has_no_gaps(self):
        events = self.bench.events()
        self.assertEqual([event["seq"] for event in events], list(range(1, len(events) + 1)))

    def test_the_counts_are_those_of_the_events(self):
        ended = self.bench.ended().values()
        counts = self.bench.summary()["counts"]
        for state in ("restored", "failed", "timed_out", "stalled", "cancelled", "missing", "left_alone"):
            self.assertEqual(counts[state], sum(event["state"] == state for event in ended), state)
        self.assertEqual(counts["chosen"], len(self.cases))
        self.assertEqual(self.bench.events()[-1]["counts"], counts)

    def test_each_record_is_in_its_devices_file(self):
        for number, (_, steps, _) in enumerate(self.cases):
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
                         {self.bench.ecids[i]: case[0] for i, case in enumerate(self.cases)})
        self.assertEqual({row["serial_number"] for row in rows}, {f"SERIAL{i}" for i in range(len(self.cases))})

    def test_no_folder_of_a_tool_is_left(self):
        self.assertEqual([name for name in os.listdir(self.bench.folder) if name.startswith("vs-")], [])


class runs(unittest.TestCase):
    def test_devices_are_listed(self):
        with a_bench([[], []]) as bench:
            result = bench.run("list", "--json", rules={}, with_folder=False)
            self.assertEqual(result.returncode, 0, result)
            self.assertEqual(json.loads(result.stdout), {"v": 1, "devices": [
                {"ecid": each, "location": f"0x1410000{i}", "chip_id": CHIP, "board_id": BOARD,
                 "serial_number": f"SERIAL{i}", "product_string": "Phone"} for i, each in enumerate(bench.ecids)]})

    def test_all_restored_is_status_0(self):
        with a_bench([[report(), completion()]] * 2) as bench:
            result = bench.restore()
            self.assertEqual((result.returncode, result.stderr), (0, b""))
            self.assertIn(b"2 of 2 devices restored. Status 0.", result.stdout)
            self.assertEqual(bench.summary()["state"], "ended")

    def test_a_failed_device_is_tried_again_when_asked(self):
        with a_bench([[completion(Error=1)]]) as bench:
            result = bench.restore("--retries", "1", "--linger", "0.1")
            self.assertEqual(result.returncode, 1)
            self.assertEqual(bench.journal(), ["--restore " + bench.ecids[0]] * 2)
            self.assertEqual([event["will_retry"] for event in bench.events() if event["event"] == "try_ended"],
                             [True, False])

    def test_an_erase_without_a_terminal_needs_yes(self):
        with a_bench([[completion()]]) as bench:
            bench.write("options.plist", plistlib.dumps({"AuthInstallRestoreBehavior": "Erase"}))
            for means in (["--bundle", host_path(bench.bundle), "--erase"],
                          ["--options", host_path(os.path.join(bench.folder, "options.plist"))]):
                with self.subTest(means=means[0]):
                    self.assertEqual(bench.run("restore", *means, "--all").returncode, 2)
                    self.assertEqual(bench.journal(), [])
                    subprocess.run(["rm", "-rf", bench.run_folder], check=True)

    def test_a_bundle_that_cannot_be_used_is_refused_in_one_sentence(self):
        with a_bench([[completion()]]) as bench:
            with zipfile.ZipFile(os.path.join(bench.folder, "empty.ipsw"), "w") as made:
                made.writestr("other", b"")
            bench.write("broken.ipsw", b"PK\x03\x04 and no more")
            for name, why in (("empty.ipsw", "it has no BuildManifest.plist"), ("broken.ipsw", "no IPSW that can be read"),
                              ("none.ipsw", "no IPSW that can be read")):
                with self.subTest(name=name):
                    result = bench.run("restore", "--bundle", host_path(os.path.join(bench.folder, name)), "--all")
                    self.assertEqual(result.returncode, 2, result)
                    self.assertIn(why, result.stderr.decode())
                    self.assertEqual(result.stderr.count(b"\n"), 1)
            self.assertEqual(bench.journal(), [])

    def test_a_device_that_the_bundle_is_not_for_is_left_alone(self):
        with a_bench([[completion()]]) as bench:
            bench.bundle = bench.make_bundle("other.ipsw", BOARD + 1)
            self.assertEqual(bench.restore().returncode, 3)
            self.assertEqual(bench.journal(), [])

    def test_a_run_folder_that_cannot_be_made_is_status_4(self):
        with a_bench([[completion()]]) as bench:
            bench.write("run", b"a file")
            self.assertEqual(bench.restore().returncode, 4)
            self.assertEqual(bench.journal(), [])

    def test_sixty_four_devices_are_restored_at_once(self):
        reports = b"".join(report(14, i // 10) for i in range(1000))
        with a_bench([[reports, completion()]] * 64) as bench:
            result = bench.restore("--json", "--at-once", "64")
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertEqual(bench.summary()["counts"]["restored"], 64)
            for each in bench.ecids:
                path = os.path.join(bench.run_folder, each + "-visit1-try1", "records.plist")
                with open(path, "rb") as file:
                    self.assertTrue(file.read() == reports + completion(), each)


@unittest.skipIf(emulator, "signals are sent by their POSIX names")
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


def bench_state(bench):
    try:
        return bench.summary()["state"]
    except (OSError, ValueError):
        return None


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
