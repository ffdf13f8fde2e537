#!/usr/bin/env python3
"""What the station gives to each tool, and what it keeps of it."""
import os
import plistlib
import re
import sys
import unittest

from test_station import (BOARD, CHIP, a_folder, completion, host_path, internal_error, on_windows, record, report,
                          simulator, tests_of_benches)

SUCCESS = record("CommandSuccess", True)


class tests(tests_of_benches):
    def reasons(self, bench):
        ended = bench.ended()
        return [ended[ecid]["reason"] for ecid in bench.ecids]

    def look_at(self, bench, command, number=0):
        """Each start of a tool on the device. `command` is what its command line begins with; FOLDER in it stands for
        the station's scratch folder. Returns the tools' own folders."""
        starts = bench.starts(number)
        for start in starts:
            self.look_at_start(bench, command, bench.ecids[number], start)
        folders = [start["TEMP"][0] for start in starts]
        self.assertEqual(len(set(folders)), len(folders), "each try has a folder of its own")
        self.assertEqual([name for name in os.listdir(bench.scratch) if name.startswith("vs-")], [])
        return folders

    def look_at_start(self, bench, command, ecid, start):
        arguments = start["argument"]
        (temporary,) = start["TEMP"]
        self.assertRegex(temporary, "^" + re.escape(host_path(bench.scratch)) + r"[/\\]vs-[a-z0-9]{6}[/\\]\d+$")
        self.assertEqual((start["TMP"], start["TMPDIR"]), ([temporary], [temporary]))
        scratch, separator = temporary[:-1].rstrip("0123456789")[:-1], host_path("/")[-1]
        pipe = arguments[-1]
        self.assertRegex(pipe, r"^\d+$")
        self.assertEqual(arguments, [
            *bench.tool, *(word.replace("FOLDER", scratch + separator) for word in command), "--ecid", ecid,
            "--detect-timeout", "30", "--debug", "--amr-logfile", f"{temporary}{separator}restore.log",
            "--output-pipe", pipe])
        handles = start["handle"]
        if on_windows:
            # The station's own standard output is a pipe too, and can be inherited.
            self.assertEqual(handles, [f"pipe {pipe}"])
        else:
            diagnostics = f"{temporary}/diagnostics.txt"
            self.assertRegex(handles.pop(), r"^\d+ pipe:")
            self.assertEqual(handles, ["0 /dev/null", f"1 {diagnostics}", f"2 {diagnostics}"])


class what_a_tool_is_given(tests):
    def test_a_restore_with_a_bundle(self):
        bench = self.bench([completion()])
        self.assertEqual(bench.restore().returncode, 0)
        self.look_at(bench, ["--restore", host_path(bench.bundle), "--restore-timeout", "7200"])

    def test_each_try_of_an_erase(self):
        bench = self.bench([completion(Error=1)])
        result = bench.restore("--erase", "--yes", "--restore-timeout", "90m", "--retries", "1", "--linger", "0.1")
        self.assertEqual(result.returncode, 1)
        folders = self.look_at(
            bench, ["--restore", host_path(bench.bundle), "--restore-timeout", "5400", "--erase"])
        self.assertEqual(len(folders), 2)

    def test_an_erase_with_a_folder_of_bundles(self):
        bench = self.bench([completion()])
        folder = a_folder(bench)
        folder.add("some.ipsw")
        result = bench.run("restore", "--bundles", host_path(folder.path), "--all", "--erase", "--yes")
        self.assertEqual(result.returncode, 0)
        self.look_at(bench, ["--restore", host_path(folder.file("some.ipsw")), "--restore-timeout", "7200", "--erase"])

    def test_a_file_of_restore_options_has_no_time_limit_beside_it(self):
        bench = self.bench([completion()])
        bench.write("options.plist", plistlib.dumps({
            "AuthInstallRestoreBehavior": "Erase", "RestoreBundlePath": host_path(bench.bundle)}))
        options = host_path(os.path.join(bench.folder, "options.plist"))
        result = bench.run("restore", "--options", options, "--all", "--yes", "--restore-timeout", "1h")
        self.assertEqual(result.returncode, 0)
        self.look_at(bench, ["--restore-plist", "FOLDERoptions.plist"])


class recover(tests):
    def test_each_command_is_given_and_judged_by_its_record(self):
        for word, option in (("--exit", "--exit-recovery"), ("--stay", "--no-exit-recovery")):
            with self.subTest(word):
                bench = self.bench([SUCCESS], [internal_error(6), "exit 6"], [])
                # There is no terminal to ask on, and nothing is erased.
                self.assertEqual(bench.run("recover", word, "--all").returncode, 1)
                self.assertEqual(self.reasons(bench), ["completed", "tool_error", "no_completion"])
                self.assertEqual(bench.kept_file("records.plist"), SUCCESS)
                for number in range(3):
                    self.look_at(bench, [option], number)

    def test_all_that_obey_are_status_0(self):
        bench = self.bench([SUCCESS], [SUCCESS])
        result = bench.run("recover", "--exit", "--all")
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertEqual(len(bench.journal()), 2)

    def simulated(self, *states):
        bench = self.bench(*[[] for _ in states])
        bench.write("scenario.plist", plistlib.dumps({
            "Devices": [{"Name": each, "ECID": each, "State": state, "ChipID": CHIP, "BoardID": BOARD}
                        for each, state in zip(bench.ecids, states)],
            "Events": [{"At": 0, "Device": each, "Type": "connected"} for each in bench.ecids]}))
        bench.tool = [host_path(simulator)]
        for option, name in (("--scenario", "scenario.plist"), ("--bench", "devices"), ("--journal", "calls")):
            bench.tool += [option, host_path(os.path.join(bench.folder, name))]
        bench.tool.append("--")
        return bench

    def test_simulated_devices_obey_in_recovery_mode_only(self):
        # Programs start slowly on Windows.
        for word, calls in (("--exit", 1), ("--stay", 0))[:1 if on_windows else 2]:
            with self.subTest(word):
                bench = self.simulated("Recovery", "DFU")
                result = bench.run("recover", word, "--all", rules={"list_detect": 1})
                self.assertEqual((result.returncode, result.stderr), (1, b""))
                self.assertEqual(self.reasons(bench), ["completed", "tool_error"])
                self.assertEqual(bench.ended()[bench.ecids[1]]["error"]["code"], 5)
                self.assertEqual(plistlib.loads(bench.kept_file("records.plist")), {"Type": "CommandSuccess", "Value": True})
                made = "\n".join(bench.lines_of("calls"))
                self.assertEqual(made.count("AMRecoveryModeDeviceSetAutoBoot"), 1)
                self.assertEqual(made.count("AMRecoveryModeDeviceReboot"), calls)


class what_is_kept_of_a_tool(tests):
    def test_its_platforms_log_also_when_it_was_ended(self):
        ended = report(status="Failed", Error=9)
        bench = self.bench([report(), "log first", completion()], [ended, "log first", "log second", "hang"])
        bench.write("first", b"the first line\r\n")
        bench.write("second", "and more: Ж\n".encode())
        self.assertEqual(bench.restore("--linger", "0.1").returncode, 1)
        self.assertEqual([event["ended_by"] for event in bench.events() if event["event"] == "try_ended"],
                         ["tool", "station"])
        self.assertEqual(bench.kept_file("restore.log"), b"the first line\r\n")
        self.assertEqual(bench.kept_file("restore.log", 1), "the first line\r\nand more: Ж\n".encode())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
