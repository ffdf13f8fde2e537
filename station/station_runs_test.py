#!/usr/bin/env python3
"""Whole runs of the station."""
import csv
import json
import os
import plistlib
import shutil
import subprocess
import sys
import unittest
import zipfile

from test_station import (
    BOARD, CHIP, RULES, a_bench, a_run, completion, ecid, host_path, on_windows, record, report, tool, wait_until)


class runs(unittest.TestCase):
    def test_devices_are_listed(self):
        with a_bench([[], []]) as bench:
            result = bench.run("list", "--json", rules={}, with_folder=False)
            self.assertEqual(result.returncode, 0, result)
            self.assertEqual(json.loads(result.stdout), {"v": 1, "devices": [
                {"ecid": each, "location": f"0x1410000{i}", "chip_id": CHIP, "board_id": BOARD,
                 "serial_number": f"SERIAL{i}", "product_string": "Phone"} for i, each in enumerate(bench.ecids)]})

    def test_a_list_has_ecids_of_sixteen_digits_and_no_location_that_is_unknown(self):
        with a_bench([[]]) as bench:
            short = bench.ecids[0].lstrip("0").lower()
            bench.write(short + ".info", record("DeviceInfo", {
                "ECID": short, "BoardID": BOARD, "ChipID": CHIP, "LocationID": 0, "SerialNumber": "S",
                "ProductString": "Phone"}))
            bench.show([short])
            (device,) = json.loads(bench.run("list", "--json", rules={}, with_folder=False).stdout)["devices"]
            self.assertEqual((device["ecid"], device["serial_number"]), (bench.ecids[0], "S"))
            self.assertNotIn("location", device)

    def test_a_list_with_a_device_twice_is_refused(self):
        with a_bench([[]]) as bench:
            bench.show([bench.ecids[0], bench.ecids[0].lower()])
            result = bench.run("list", rules={}, with_folder=False)
            self.assertEqual((result.returncode, result.stdout), (4, b""))
            self.assertIn("has a device twice", result.stderr.decode())

    def refused_list(self, bench, **rules):
        """The sentence with which a list is refused."""
        result = bench.run("list", rules=rules, with_folder=False)
        self.assertEqual((result.returncode, result.stdout), (4, b""))
        return result.stderr.decode().rstrip()

    def test_a_list_of_a_tool_that_cannot_be_started_is_refused(self):
        with a_bench([[]]) as bench:
            bench.tool[0] = host_path(os.path.join(bench.folder, "no tool"))
            self.assertRegex(self.refused_list(bench), "^vandrel-station: the tool could not be started: .*no tool")

    def test_a_list_of_a_tool_that_ends_without_one_is_refused(self):
        with a_bench([[]]) as bench:
            bench.write("list.script", b"exit 3")
            self.assertEqual(self.refused_list(bench), "vandrel-station: the tool gave no list of devices")

    def test_a_list_that_does_not_come_is_refused(self):
        with a_bench([[]]) as bench:
            bench.write("list.script", b"hang")
            self.assertEqual(self.refused_list(bench, list_limit=0.5),
                             "vandrel-station: the tool gave no list of devices in time")

    def test_a_run_with_a_tool_that_is_not_there_is_refused(self):
        with a_bench([[completion()]]) as bench:
            bench.tool[0] = host_path(os.path.join(bench.folder, "no tool"))
            result = bench.restore()
            self.assertEqual((result.returncode, result.stdout), (4, b""))
            self.assertEqual(result.stderr.decode().rstrip(), "vandrel-station: there is no tool " + bench.tool[0])

    def test_a_file_of_devices_that_names_none_is_refused(self):
        with a_bench([[completion()]]) as bench:
            bench.write("only", b"# none yet\n")
            only = host_path(os.path.join(bench.folder, "only"))
            result = bench.run("restore", "--bundle", host_path(bench.bundle), "--only", only)
            self.assertEqual((result.returncode, result.stdout), (2, b""))
            self.assertEqual(result.stderr.decode().rstrip(), f"vandrel-station: {only} names no device")
            self.assertEqual(bench.journal(), [])

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
            bench.write("options.plist", plistlib.dumps({
                "AuthInstallRestoreBehavior": "Erase", "RestoreBundlePath": host_path(bench.bundle)}))
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
            for name, why in (("empty.ipsw", "it has no BuildManifest.plist"), ("broken.ipsw", "has no directory at its end"),
                              ("none.ipsw", "no IPSW that can be read")):
                with self.subTest(name=name):
                    result = bench.run("restore", "--bundle", host_path(os.path.join(bench.folder, name)), "--all")
                    self.assertEqual(result.returncode, 2, result)
                    self.assertIn(why, result.stderr.decode())
                    self.assertEqual(result.stderr.count(b"\n"), 1)
                    self.assertEqual(result.stdout, b"")
            self.assertEqual((bench.journal(), bench.lists()), ([], 0))

    def test_a_device_that_the_bundle_is_not_for_is_left_alone(self):
        with a_bench([[completion()]]) as bench:
            bench.bundle = bench.make_bundle("other.ipsw", BOARD + 1)
            self.assertEqual(bench.restore().returncode, 3)
            self.assertEqual(bench.journal(), [])

    def test_a_run_folder_that_cannot_be_made_is_status_4(self):
        with a_bench([[completion()]]) as bench:
            bench.write("run", b"a file")
            result = bench.restore()
            self.assertEqual((result.returncode, result.stderr.count(b"\n")), (4, 1), result)
            self.assertEqual((bench.journal(), bench.lists()), ([], 0))

    def test_a_dry_run_touches_nothing(self):
        with a_bench([[completion()]] * 2) as bench:
            before = set(os.listdir(bench.folder))
            for which in (["--all"], ["--ecid", bench.ecids[0]]):
                with self.subTest(which=which[0]):
                    result = bench.run("restore", "--bundle", host_path(bench.bundle), "--erase", "--dry-run", *which)
                    self.assertEqual((result.returncode, result.stderr), (0, b""))
                    self.assertIn(bench.ecids[0].encode(), result.stdout)
                    self.assertEqual(bench.ecids[1].encode() in result.stdout, which == ["--all"])
                    self.assertEqual(set(os.listdir(bench.folder)) - before, {"lists"})

    def test_a_dry_run_without_a_device_is_status_3(self):
        with a_bench([[completion()]]) as bench:
            bench.show([])
            for which in (["--all"], ["--ecid", bench.ecids[0]]):
                with self.subTest(which=which[0]):
                    result = bench.run("restore", "--bundle", host_path(bench.bundle), "--dry-run", *which)
                    self.assertEqual(result.returncode, 3)

    def test_devices_that_were_named_by_their_serial_numbers_and_never_seen_are_distinguished(self):
        with a_bench([[completion()]]) as bench:
            bench.write("only", b"LOST1\nSERIAL0\nLOST2\n")
            only = host_path(os.path.join(bench.folder, "only"))
            result = bench.run("restore", "--bundle", host_path(bench.bundle), "--only", only)
            self.assertEqual(result.returncode, 1)
            missing = [event["serial_number"] for event in bench.events() if event.get("state") == "missing"]
            self.assertEqual(missing, ["LOST1", "LOST2"])
            with open(os.path.join(bench.run_folder, "summary.csv"), newline="", encoding="utf-8") as file:
                rows = {row["serial_number"]: row["state"] for row in csv.DictReader(file)}
            self.assertEqual(rows, {"LOST1": "missing", "LOST2": "missing", "SERIAL0": "restored"})
            kept = {device["serial_number"]: device["state"] for device in bench.summary()["devices"]}
            self.assertEqual(kept, rows)
            self.assertEqual([bench.summary()["counts"][state] for state in ("chosen", "missing", "restored")], [3, 2, 1])
            self.assertIn(b"LOST1", result.stdout)
            self.assertIn(b"LOST2", result.stdout)

    def test_names_of_files_have_any_characters(self):
        name = "a 'b' & 100% %TEMP% ^ (c); Жук 中文 \U0001f4f1"
        if not on_windows:
            name += ' "d" \\ *?<>|'
        with a_bench([[report(), completion()]] * 2) as bench:
            folder = os.path.join(bench.folder, name)
            os.mkdir(folder)
            names = {each: os.path.join(folder, f"{name} {each}") for each in (
                "bundle", "run", "scratch", "tool.exe", "slots", "only", "options", "second run")}
            os.rename(bench.bundle, names["bundle"])
            os.mkdir(names["scratch"])
            shutil.copy(tool, names["tool.exe"])
            bench.tool[0] = host_path(names["tool.exe"])
            bench.run_folder = names["run"]
            bench.scratch = names["scratch"]
            bench.write(names["slots"], "0x14100000 Ж1\n".encode())
            bench.write(names["only"], (bench.ecids[0] + "\n").encode())
            words = ("--slots", host_path(names["slots"]), "--only", host_path(names["only"]))
            result = bench.run("restore", "--bundle", host_path(names["bundle"]), *words)
            self.assertEqual((result.returncode, result.stderr), (0, b""))
            self.assertEqual(bench.journal(), ["--restore " + bench.ecids[0]])
            self.assertEqual({(event["slot"], event["run"]) for event in bench.events() if "ecid" in event},
                             {("Ж1", os.path.basename(names["run"]))})
            arguments = bench.starts()[0]["argument"]
            self.assertEqual(arguments[:2], bench.tool)
            self.assertIn(host_path(names["bundle"]), arguments)
            log = arguments[arguments.index("--amr-logfile") + 1]
            self.assertTrue(log.startswith(host_path(names["scratch"])), log)
            self.assertEqual(os.listdir(names["scratch"]), [])
            kept = os.path.join(names["run"], bench.ecids[0] + "-visit1-try1")
            with open(os.path.join(kept, "records.plist"), "rb") as file:
                self.assertEqual(file.read(), report() + completion())
            # The same with a file of restore options, which names the bundle.
            bench.write(names["options"], plistlib.dumps({
                "AuthInstallRestoreBehavior": "Update", "RestoreBundlePath": host_path(names["bundle"])}))
            bench.run_folder = names["second run"]
            result = bench.run("restore", "--options", host_path(names["options"]), *words)
            self.assertEqual((result.returncode, result.stderr), (0, b""))
            self.assertEqual(bench.journal()[1:], ["--restore-plist " + bench.ecids[0]])
            self.assertEqual(bench.summary()["bundle"], host_path(names["bundle"]))

    def test_json_survives_a_code_page(self):
        name = "Телефон 电话 \U0001f4f1 é \u202e \x85"
        shown = "Телефон 电话 \U0001f4f1 é \ufffd \ufffd"
        with a_bench([[report(Orv_OperationName=name), completion(Error=name)]], name=name) as bench:
            result = bench.restore("--json", "--tag", "Ж=中")
            # Another code page makes other characters of the same bytes.
            events = [json.loads(line) for line in result.stdout.decode("cp437").splitlines()]
            self.assertEqual(events, bench.events())
            self.assertEqual([event["product_string"] for event in events if event["event"] == "device_found"], [shown])
            ended = events[-2]
            self.assertEqual((ended["operation_name"], ended["error"], ended["tags"]), (shown, {"text": shown}, {"Ж": "中"}))
            listed = bench.run("list", "--json", rules={}, with_folder=False).stdout
            self.assertEqual(json.loads(listed.decode("cp437"))["devices"][0]["product_string"], shown)

    def test_what_lies_in_the_pipe_of_a_tool_that_has_ended_counts(self):
        # As much as a pipe holds, and no time in which it could come late.
        reports = report(14, 50, More="x" * 50_000)
        with a_bench([[reports, completion()]] * 16) as bench:
            bench.restore("--at-once", "16", rules={**RULES, "stream_after_process": 0})
            self.assertEqual(bench.summary()["counts"]["restored"], 16)

    def test_sixty_four_devices_are_restored_at_once(self):
        # Each device's reports are its own, and all tools wait for one another.
        written = [b"".join(report(14, i // 10, ECID=ecid(1 + number)) for i in range(1000)) + completion()
                   for number in range(64)]
        with a_bench([["await go", content] for content in written]) as bench:
            run = a_run(self, bench, "--at-once", "64")
            wait_until(lambda: len(bench.journal()) == 64)
            bench.write("go", b"")
            self.assertEqual(run.wait(), 0)
            self.assertEqual(bench.summary()["counts"]["restored"], 64)
            for number, content in enumerate(written):
                self.assertTrue(bench.kept_file("records.plist", number) == content, number)
            # One event for the operation, and one for each further progress.
            wanted = ["device_found", "try_started", "operation", *["progress"] * 99, "try_ended", "device_ended"]
            for events in (run.events, bench.events()):
                of_devices = {each: [] for each in bench.ecids}
                for event in events:
                    if "ecid" in event:
                        of_devices[event["ecid"]].append(event["event"])
                self.assertEqual(of_devices, {each: wanted for each in bench.ecids})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
