#!/usr/bin/env python3
"""What a run leaves in its folder: whole at each moment, and the same in all its files."""
import csv
import json
import os
import random
import re
import shutil
import subprocess
import sys
import unittest
from concurrent.futures import ThreadPoolExecutor

from test_station import BOARD, RULES, a_bench, completion, host_path, internal_error, on_windows, page, report

# Processes start slowly there.
KILLS = 20 if on_windows else 200
AT_ONCE = 4
SEED = 20261122
DEVICES = 8
STATES = ("restored", "failed", "timed_out", "stalled", "cancelled", "missing", "left_alone")
FAILS = [report(status="Failed", Error={"Code": 9, "Domain": "D"}), "exit 1"]


def read_events(content):
    """As the page says: a last line without a line feed was cut, and does not count."""
    return [json.loads(line) for line in content.split(b"\n")[:-1]]


def content_of(folder, name):
    with open(os.path.join(folder, name), "rb") as file:
        return file.read()


class kills(unittest.TestCase):
    def test_the_summary_is_whole_whenever_the_station_is_killed(self):
        print(f"seed {SEED}")
        source = random.Random(SEED)
        # Behind how many lines of the log, and how long after that.
        moments = [(source.randrange(DEVICES * 6), source.random() * 0.02) for _ in range(KILLS)]
        with ThreadPoolExecutor(AT_ONCE) as pool:
            found = list(pool.map(self.killed, range(AT_ONCE), [moments[i::AT_ONCE] for i in range(AT_ONCE)]))
        # Not all before, and not all behind what is looked at.
        states = [number for of_one in found for number in of_one]
        self.assertEqual(len(states), KILLS)
        self.assertGreater(len(set(states)), DEVICES // 2)

    def killed(self, number, moments):
        """How many devices had ended in each summary."""
        scripts = [[report(), completion()] if i % 3 else FAILS for i in range(DEVICES)]
        with a_bench(scripts, first=1 + number * DEVICES) as bench:
            return [self.kill_once(bench, *moment) for moment in moments]

    def kill_once(self, bench, lines, pause):
        shutil.rmtree(bench.run_folder, ignore_errors=True)
        bench.write("journal", b"")
        process = subprocess.Popen(
            bench.command("restore", "--bundle", host_path(bench.bundle), "--all", "--json", "--at-once", "3"),
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        with process:
            for _ in range(lines):
                process.stdout.readline()
            try:
                process.wait(pause)
            except subprocess.TimeoutExpired:
                pass
            process.kill()
            process.stdout.read()
        return self.look_at(bench, (lines, pause))

    def look_at(self, bench, moment):
        if not os.path.exists(os.path.join(bench.run_folder, "summary.json")):
            self.assertEqual(bench.journal(), [], moment)
            return 0
        summary = json.loads(content_of(bench.run_folder, "summary.json"))
        self.assertIn(summary["state"], ("running", "ended"), moment)
        ended = {event["ecid"]: event["state"] for event in read_events(content_of(bench.run_folder, "events.jsonl"))
                 if event["event"] == "device_ended"}
        in_summary = {each["ecid"]: each["state"] for each in summary["devices"] if each["state"] != "running"}
        # The log is ahead by no more than what ended last.
        self.assertLessEqual(in_summary.items(), ended.items(), moment)
        if os.path.exists(os.path.join(bench.run_folder, "summary.csv")):
            table = content_of(bench.run_folder, "summary.csv")
            self.assertTrue(table.endswith(b"\r\n"), moment)
        return len(in_summary)


class files(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scripts = [[report(), report(18, 3), completion()], FAILS, [report(), "exit 9"], [completion(Error=3)],
                       [internal_error(7), "exit 7"], [report(), "hang"], [], [report()[:90], completion()]]
        cls.bench = a_bench([*cls.scripts, [completion()]])
        cls.addClassCleanup(cls.bench.kept.cleanup)
        # One more that the bundle is not for, and one that is not there.
        info = content_of(cls.bench.folder, cls.bench.ecids[-1] + ".info")
        unfit = info.replace(b"<integer>%d</integer>" % BOARD, b"<integer>%d</integer>" % (BOARD + 1))
        assert unfit != info
        cls.bench.write(cls.bench.ecids[-1] + ".info", unfit)
        cls.bench.write("only", b"NEVER-SEEN\n")
        result = cls.bench.restore("--only", host_path(os.path.join(cls.bench.folder, "only")), "--retries", "1",
                                   "--stall-timeout", "5", "--stop-after", "0", "--json", "--tag", "job=1", rules=RULES)
        assert result.returncode == 1, result
        cls.log = content_of(cls.bench.run_folder, "events.jsonl")
        cls.events = read_events(cls.log)
        cls.summary = cls.bench.summary()

    def test_a_log_that_was_cut_anywhere_is_read_up_to_there(self):
        ends = [i + 1 for i, byte in enumerate(self.log) if byte == ord("\n")]
        self.assertEqual(len(ends), len(self.events))
        whole = 0
        for cut in range(len(self.log) + 1):
            whole += cut in ends[whole:whole + 1]
            last = self.log[ends[whole - 1] if whole else 0:cut]
            # A cut line is no shorter object by accident, but for one that lacks nothing but the line feed.
            if last and cut + 1 not in ends:
                with self.assertRaises(ValueError):
                    json.loads(last)
        for cut in (*ends, *(end - 1 for end in ends), *(end + 1 for end in ends[:-1])):
            self.assertEqual(read_events(self.log[:cut]), self.events[:sum(end <= cut for end in ends)])

    def test_the_counts_are_those_of_the_events(self):
        last = {}
        for event in self.events:
            if event["event"] == "device_ended":
                last[event.get("ecid") or event["message"]] = event["state"]
            elif event["event"] == "device_left_alone":
                last[event["ecid"]] = "left_alone"
        counted = {state: list(last.values()).count(state) for state in STATES}
        self.assertEqual(counted, {"restored": 2, "failed": 4, "timed_out": 1, "stalled": 1, "cancelled": 0,
                                   "missing": 1, "left_alone": 1})
        for counts in (self.summary["counts"], self.events[-1]["counts"]):
            self.assertEqual(counts, {"chosen": sum(counted.values()), **counted})

    def test_the_summary_has_the_keys_that_the_page_names(self):
        with open(page, encoding="utf-8") as file:
            text = file.read().partition("**`summary.json`** is one object:\n")[2].partition("\n**`summary.csv`**")[0]
        table, _, below = text.strip("\n").partition("\n\n")
        on_page = {name for row in table.splitlines() for name in re.findall(r"`(\w+)`", row.split("|")[1])}
        self.assertEqual(set(self.summary), on_page)
        # The keys of a device are those of its events, and of it alone.
        of_events = {"ecid", "slot", "location", "chip_id", "board_id", "serial_number", "product_string", "model",
                     "state", "reason", "tries", "ended_by", "exit_status", "duration_s", "error", "unreadable_records",
                     "operation", "operation_name", "progress"}
        own = set(re.findall(r"`(\w+)`", below)) - of_events - {"devices", "running", "device_found", "device_ended"}
        self.assertEqual(own, {"ended", "holder"})
        found = {key for each in self.summary["devices"] for key in each}
        # Nobody has a slot, and no other station holds a device here.
        self.assertEqual(found, (of_events | own) - {"slot", "holder"})

    def test_each_device_has_the_numbers_of_its_events(self):
        of_summary = {each.get("ecid"): each for each in self.summary["devices"]}
        tries = [event["ecid"] for event in self.events if event["event"] == "try_started"]
        for event in self.events:
            if event["event"] != "device_ended" or not event.get("ecid"):
                continue
            each = of_summary[event["ecid"]]
            self.assertEqual(each["tries"], tries.count(event["ecid"]))
            for key in ("state", "reason", "tries", "ended_by", "exit_status", "duration_s", "error", "operation",
                        "operation_name", "progress", "unreadable_records"):
                self.assertEqual(each.get(key), event.get(key), key)

    def test_a_try_lasts_from_its_start_to_its_end(self):
        started, lasted = {}, {}
        for event in self.events:
            if event["event"] == "try_started":
                started[event["ecid"]] = event["t"]
            elif event["event"] == "try_ended":
                lasted[event["ecid"]] = event["t"] - started[event["ecid"]]
                self.assertAlmostEqual(event["duration_s"], lasted[event["ecid"]], 6)
        # Of several tries, the last one's time is the device's.
        self.assertGreater(len([event for event in self.events if event["event"] == "try_started"]), len(started))
        for each in self.summary["devices"]:
            if each.get("ecid") in lasted:
                self.assertAlmostEqual(each["duration_s"], lasted[each["ecid"]], 6)
        # Silence ends one after five seconds, and three others fail at once.
        self.assertGreater(max(lasted.values()), 4.9)

    def test_the_table_has_the_numbers_of_the_summary(self):
        with open(os.path.join(self.bench.run_folder, "summary.csv"), newline="", encoding="utf-8") as file:
            rows = list(csv.DictReader(file))
        self.assertEqual([row["ecid"] for row in rows], [each.get("ecid", "") for each in self.summary["devices"]])
        for row, each in zip(rows, self.summary["devices"]):
            self.assertEqual((row["state"], row["reason"], int(row["tries"])),
                             (each["state"], each["reason"], each["tries"]))
            self.assertEqual(float(row["duration_s"]), each.get("duration_s", 0))
            self.assertEqual(row["error_code"], str(each.get("error", {}).get("code", "")))
            self.assertEqual(row["progress"], str(each.get("progress", "")))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
