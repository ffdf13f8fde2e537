#!/usr/bin/env python3
"""Each reason on the page of the station, and the tool that makes a device end with it."""
import csv
import os
import re
import sys
import unittest

from test_station import SILENCE, a_bench, completion, internal_error, page, record, report


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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
