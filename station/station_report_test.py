#!/usr/bin/env python3
"""The page of a run, and how long restores will take."""
import json
import os
import subprocess
import sys
import unittest

from test_page import page, row_of
from test_station import (
    a_bench, a_run, completion, emulator, host_path, record, report, station, BOARD, CHIP)

FAILS = [report(13, 40, Orv_OperationName="Restoring image"), report(13, 42, status="Failed", Error=4005)]


def make(*words, **more):
    """The command "report": its status, standard output and standard error."""
    done = subprocess.run([*emulator, station, "report", *words], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, timeout=120, **more)
    return (done.returncode, *(text.decode().replace("\r\n", "\n") for text in (done.stdout, done.stderr)))


class pages(unittest.TestCase):
    def made(self, folder):
        """The page of the run in this folder."""
        path = os.path.join(folder, "report.html")
        self.assertEqual(make(host_path(folder)), (0, host_path(path) + "\n", ""))
        with open(path, encoding="utf-8") as file:
            return page(file.read())

    def test_have_the_devices_of_the_summary(self):
        scripts = [[report(), completion()], FAILS, [report(), "exit 9"], [report(), completion()]]
        with a_bench(scripts) as bench:
            bench.write(bench.ecids[3] + ".info", record("DeviceInfo", {
                "ECID": bench.ecids[3], "ChipID": CHIP, "BoardID": BOARD + 1, "LocationID": 0x14200000,
                "SerialNumber": "OTHER", "ProductString": "Pad"}))
            bench.write("slots", b"0x14100001 B2\n")
            bench.write("only", "\n".join([*bench.ecids, "NEVER-SEEN"]).encode())
            words = ["--only", host_path(os.path.join(bench.folder, "only")), "--linger", "0.1",
                     "--slots", host_path(os.path.join(bench.folder, "slots"))]
            self.assertEqual(bench.restore(*words).returncode, 1)
            made = self.made(bench.run_folder)
            expected = [row_of(device) for device in bench.summary()["devices"]]
            self.assertEqual(sorted(made.devices()), sorted(expected))
            self.assertEqual(sorted(row[4] for row in made.devices()),
                             ["failed", "failed", "left alone", "missing", "restored"])
            self.assertEqual(made.devices()[0][0], "B2")
            # Each of them has its row in the picture, below the axis.
            self.assertEqual(len(made.rows["times"]), 1 + len(expected))
            self.assertIn("error 4005 in Restoring image at 42 %", made.texts["p"])

    def test_have_the_ends_of_the_logs_of_a_failed_device(self):
        with a_bench([FAILS]) as bench:
            bench.restore("--linger", "0.1")
            kept = os.path.join(bench.run_folder, bench.ecids[0] + "-visit1-try1")
            with open(os.path.join(kept, "restore.log"), "w", encoding="utf-8") as file:
                file.writelines(f"line <{i}>\n" for i in range(100))
            self.assertEqual(self.made(bench.run_folder).texts["pre"][-1],
                             "".join(f"line <{i}>\n" for i in range(60, 100)))

    def test_leave_a_serial_number_of_markup_a_text(self):
        serial = "<script>alert(1)</script>\" onload='x' &amp;"
        with a_bench([FAILS]) as bench:
            bench.write(bench.ecids[0] + ".info", record("DeviceInfo", {
                "ECID": bench.ecids[0], "ChipID": CHIP, "BoardID": BOARD, "LocationID": 1, "SerialNumber": serial,
                "ProductString": serial}))
            bench.restore("--linger", "0.1")
            made = self.made(bench.run_folder)
            self.assertEqual(made.devices()[0][2], serial)
            self.assertEqual([tag for tag, _ in made.elements if tag in ("script", "img", "link", "iframe", "a")], [])
            self.assertEqual([attributes for _, attributes in made.elements if "onload" in attributes], [])

    def test_of_a_run_under_way_show_what_is_known(self):
        with a_bench([[report(13, 42, Orv_OperationName="Restoring image"), "await go", completion()]]) as bench:
            run = a_run(self, bench)
            run.wait_for("operation")
            made = self.made(bench.run_folder)
            self.assertIn("under way", made.texts["p"][0])
            (row,) = made.devices()
            self.assertEqual((row[1], row[4], row[5]), (bench.ecids[0], "running", "Restoring image at 42 %"))
            bench.write("go", b"")
            self.assertEqual(run.wait(), 0)
            # The page is replaced.
            made = self.made(bench.run_folder)
            self.assertEqual([row[4] for row in made.devices()], ["restored"])
            self.assertNotIn("p", made.texts)

    def test_of_a_run_that_was_cut_off_say_so(self):
        with a_bench([[report(), completion()]]) as bench:
            bench.restore()
            log = os.path.join(bench.run_folder, "events.jsonl")
            os.truncate(log, os.path.getsize(log) - 1)
            self.assertIn("The last line of events.jsonl is cut off and left out.",
                          self.made(bench.run_folder).texts["p"])

    def test_are_of_the_newest_run_when_none_is_named(self):
        with a_bench([[completion()]]) as bench:
            state = os.path.join(bench.folder, "state")
            environment = {**os.environ, "LOCALAPPDATA": host_path(state), "XDG_STATE_HOME": state}
            status, out, error = make(env=environment)
            self.assertEqual((status, out), (2, ""))
            self.assertRegex(error, r"^vandrel-station: there is no run in .*station\n$")
            words = bench.command("restore", "--bundle", host_path(bench.bundle), "--all", "--json", with_folder=False)
            for _ in range(2):
                subprocess.run([*words, "--scratch", host_path(bench.folder)], env=environment,
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True, timeout=120)
            runs = os.path.join(state, "vandrel", "station")
            newest = max(os.listdir(runs))
            output = os.path.join(bench.folder, "page.html")
            self.assertEqual(make("--output", host_path(output), env=environment), (0, host_path(output) + "\n", ""))
            with open(output, encoding="utf-8") as file:
                self.assertEqual(page(file.read()).texts["title"][0], f"Restore: {newest}")

    def test_of_what_is_no_run_are_refused_with_one_sentence(self):
        with a_bench([[completion()]]) as bench:
            bench.restore()
            for words, why in [
                    ([bench.folder + "/none"], r"none is no folder of a run: there is no summary\.json in it"),
                    ([bench.folder], r"is no folder of a run: there is no summary\.json in it"),
                    ([bench.run_folder, "--output", bench.folder + "/none/page.html"],
                     r"page\.html cannot be written")]:
                with self.subTest(why):
                    status, out, error = make(*(word if word == "--output" else host_path(word) for word in words))
                    self.assertEqual((status, out), (2, ""))
                    self.assertRegex(error, rf"^vandrel-station: [^\n]*{why}\n$")


class times(unittest.TestCase):
    def test_that_are_left_are_known_from_the_run_before(self):
        with a_bench([[report(13, 0), "sleep 20", report(14, 0), "sleep 20", completion()]]) as bench:
            state = os.path.join(bench.folder, "state")
            environment = {**os.environ, "LOCALAPPDATA": host_path(state), "XDG_STATE_HOME": state}
            left = []
            for number in range(2):
                bench.run_folder = os.path.join(bench.folder, f"run{number}")
                subprocess.run(bench.command("restore", "--bundle", host_path(bench.bundle), "--all"), env=environment,
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True, timeout=120)
                left.append({event["operation"]: event.get("left_s") for event in bench.events()
                             if event["event"] == "operation"})
            self.assertEqual(left[0], {13: None, 14: None})
            with open(os.path.join(state, "vandrel", "history.jsonl"), encoding="ascii") as file:
                kept = [json.loads(line) for line in file]
            self.assertEqual([[number for number, _ in each["operations_ms"]] for each in kept], [[13, 14]] * 2)
            first, second = (length for _, length in kept[0]["operations_ms"])
            self.assertEqual(left[1], {13: (first + second) / 1000, 14: second / 1000})
            self.assertEqual({(each["chip_id"], each["board_id"], each["build"], each["erase"]) for each in kept},
                             {(CHIP, BOARD, "21B80", False)})

    def test_are_no_matter_when_they_cannot_be_kept(self):
        with a_bench([[report(13, 0), completion()]]) as bench:
            bench.write("state", b"no folder")
            state = os.path.join(bench.folder, "state")
            environment = {**os.environ, "LOCALAPPDATA": host_path(state), "XDG_STATE_HOME": state}
            done = subprocess.run(bench.command("restore", "--bundle", host_path(bench.bundle), "--all"),
                                  env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, timeout=120)
            self.assertEqual((done.returncode, done.stderr), (0, b""))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
