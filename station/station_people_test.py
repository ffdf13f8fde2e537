#!/usr/bin/env python3
"""What a person sees of the station: help, messages, the list, the question's facts and the summary."""
import json
import os
import pty
import re
import subprocess
import sys
import unittest

from test_station import BOARD, a_bench, completion, emulator, host_path, on_windows, report, station

DEVICES = {"--ecid", "--only", "--all", "--yes", "--expect", "--dry-run"}
RUN = {"--at-once", "--stagger", "--poll", "--scratch", "--run-folder", "--tag", "--quiet"}
ALL = {"--help", "--tool", "--tool-argument", "--slots", "--json", "--plain"}
RESTORE = {"--bundle", "--bundles", "--options", "--erase", "--watch", "--count", "--for", "--retries", "--restore-timeout",
           "--stall-timeout", "--linger", "--stop-after", "--any-bundle"}
OPTIONS = {"list": ALL | {"--bundle", "--bundles"}, "bundles": {"--help", "--verify", "--json", "--plain"},
           "report": {"--help", "--output"}, "restore": ALL | DEVICES | RUN | RESTORE,
           "recover": ALL | DEVICES | RUN | {"--exit", "--stay"},
           "slots": ALL | {"--learn"}, "doctor": ALL - {"--slots"} | {"--bundles", "--scratch", "--clean"}}


def call(*words):
    result = subprocess.run([*emulator, station, *words], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, timeout=60)
    return (result.returncode, *(text.decode().replace("\r\n", "\n") for text in (result.stdout, result.stderr)))


class command_line(unittest.TestCase):
    def test_the_help_of_each_command_has_its_options_and_an_example(self):
        for command, options in OPTIONS.items():
            with self.subTest(command):
                status, help_text, _ = call(command, "--help")
                self.assertEqual(status, 0)
                self.assertEqual(set(re.findall(r"^  (?:-h,)?(--[\w-]+)", help_text, re.M)), options)
                self.assertIn(f"\n  vandrel-station {command} ", help_text.partition("Example")[2])
                self.assertLessEqual(max(map(len, help_text.splitlines())), 100)

    def test_help_and_version_go_to_standard_output(self):
        status, text, error = call("--help")
        self.assertEqual((status, error), (0, ""))
        for command in OPTIONS:
            self.assertRegex(text, rf"\n  {command} ")
        status, text, error = call("--version")
        self.assertEqual((status, error), (0, ""))
        self.assertRegex(text, r"^vandrel-station \d+\.\d+\.\d+\n$")

    def test_what_is_wrong_is_one_sentence_and_status_2(self):
        for words, why in [
                ((), "which command? --help lists them"),
                (("restor",), "which command? --help lists them"),
                (("restore",), "what to restore with? Give --bundle, --bundles or --options"),
                (("restore", "--bundle", "x"), "which devices? Give --ecid, --only or --all"),
                (("restore", "--bundle", "x", "--all", "--ecid", "zz"), '"zz" is no ECID'),
                (("restore", "--bundle", "x", "--all", "--poll", "3x"),
                 '"3x" is no time; times look like 90, 0.5, 30m or 2h'),
                (("restore", "--bundle", "x", "--all", "--poll", "1e999"),
                 '"1e999" is no time; times look like 90, 0.5, 30m or 2h'),
                (("restore", "--bundle", "x", "--all", "--poll", "367d"),
                 '"367d" is no time; times look like 90, 0.5, 30m or 2h'),
                (("restore", "--bundle", "x", "--all", "--poll", "8785h"),
                 '"8785h" is no time; times look like 90, 0.5, 30m or 2h'),
                (("restore", "--bundle", "x", "--all", "--poll", "-1"),
                 '"-1" is no time; times look like 90, 0.5, 30m or 2h'),
                (("restore", "--bundle", "x", "--all", "--poll", "nan"),
                 '"nan" is no time; times look like 90, 0.5, 30m or 2h'),
                (("list", "--rule-time", "frob=1"), 'no time is called "frob"'),
                (("list", "--rule-time", "=1"), '"=1" is not of the form KEY=VALUE'),
                (("restore", "--bundle", "x", "--all", "--count", "1"), "--count and --for go with --watch only"),
                (("restore", "--bundle", "x", "--all", "--for", "2h"), "--count and --for go with --watch only"),
                (("restore", "--bundle", "x", "--only", "x", "--any-bundle"), "--any-bundle goes with --ecid only"),
                (("restore", "--bundle", "x", "--all", "--any-bundle"), "--any-bundle goes with --ecid only"),
                (("restore", "--bundle", "x", "--all", "--tag", "x"), '"x" is not of the form KEY=VALUE'),
                (("restore", "--bundle", "x", "--options", "y", "--all"), "--bundle excludes --options"),
                (("restore", "--bundles", "x", "--options", "y", "--all"), "--options excludes --bundles"),
                (("restore", "--bundle", "x", "--bundles", "y", "--all"), "--bundle excludes --bundles"),
                (("restore", "--bundles", "x", "--ecid", "1", "--any-bundle"), "--bundles excludes --any-bundle"),
                (("restore", "--options", "y", "--all", "--erase"), "--options excludes --erase"),
                (("bundles",), "which folder? Give its name"),
                (("slots",), "which file? Give --slots"),
                (("slots", "--slots", "x", "--learn", "--json"), "--learn excludes --json"),
                (("doctor", "--frob"), "The following argument was not expected: --frob"),
                (("restore", "--bundle", "x", "--all", "--at-once", "0"), "--at-once: Value 0 not in range 1 to 1000"),
                (("recover", "--all"), "what to do? Give --exit or --stay"),
                (("recover", "--all", "--exit", "--stay"), "--exit excludes --stay"),
                (("list", "--json", "--plain"), "--json excludes --plain"),
                (("list", "--two\nlines"), "The following argument was not expected: --two lines"),
                (("list", "--frob"), "The following argument was not expected: --frob")]:
            with self.subTest(words):
                self.assertEqual(call(*words), (2, "", f"vandrel-station: {why}\n"))


class what_is_shown(unittest.TestCase):
    def texts(self, result):
        return [text.decode().replace("\r\n", "\n") for text in (result.stdout, result.stderr)]

    def test_a_list_with_a_bundle_has_models_and_whether_it_fits(self):
        with a_bench([[], []]) as bench:
            other = bench.make_bundle("other.ipsw", BOARD + 1)
            for bundle, fits, model in ((bench.bundle, True, "iPhone14,2"), (other, False, None)):
                result = bench.run("list", "--json", "--bundle", host_path(bundle), rules={}, with_folder=False)
                self.assertEqual([(each["fits"], each.get("model")) for each in json.loads(result.stdout)["devices"]],
                                 [(fits, model)] * 2)
            result = bench.run("list", "--bundle", host_path(bench.bundle), rules={}, with_folder=False)
            self.assertIn("MODEL       BUNDLE\n", self.texts(result)[0])
            self.assertEqual(self.texts(result)[0].count("iPhone14,2  fits\n"), 2)

    def test_a_list_refuses_a_bundle_that_is_none(self):
        with a_bench([[]]) as bench:
            result = bench.run("list", "--bundle", host_path(bench.folder + "/none.ipsw"), rules={}, with_folder=False)
            self.assertEqual((result.returncode, result.stdout), (2, b""))
            self.assertIn("is no IPSW that can be read", self.texts(result)[1])

    def test_a_dry_run_shows_the_devices_and_nothing_else(self):
        with a_bench([[completion()]]) as bench:
            result = bench.restore("--erase", "--dry-run", "--plain")
            out, error = self.texts(result)
            self.assertEqual((result.returncode, error), (0, ""))
            self.assertTrue(out.startswith("1 device will be ERASED. Everything on it is lost.\n\n  Bundle   "), out)
            self.assertTrue(out.endswith(f"  0x14100000  {bench.ecids[0]}  SERIAL0  iPhone14,2  Phone\n"), out)
            self.assertEqual(bench.journal(), [])
            self.assertFalse(os.path.exists(bench.run_folder))

    def test_a_run_that_touched_nothing_says_why(self):
        with a_bench([[completion()]] * 2) as bench:
            other = host_path(bench.make_bundle("other.ipsw", BOARD + 1))
            for status, why, words in [
                    (2, "2 devices are chosen, and --expect says 1; nothing was touched",
                     ("--bundle", host_path(bench.bundle), "--all", "--expect", "1")),
                    (2, "an erase without a terminal needs --yes",
                     ("--bundle", host_path(bench.bundle), "--all", "--erase")),
                    (3, "the bundle is not for what was chosen; nothing was touched",
                     ("--bundle", other, "--ecid", bench.ecids[0])),
                    (3, "there is no device to work on", ("--bundle", host_path(bench.bundle), "--ecid", "ABCD"))]:
                for view in ("--plain", "--json"):
                    with self.subTest(why, view=view):
                        bench.run_folder = os.path.join(bench.folder, f"run{view}{why[:20]}")
                        result = bench.run("restore", *words, view)
                        self.assertEqual(result.returncode, status)
                        self.assertEqual(self.texts(result)[1], f"vandrel-station: {why}\n")
            self.assertEqual(bench.journal(), [])

    def test_a_first_list_that_fails_is_named(self):
        with a_bench([[completion()]]) as bench:
            bench.write("list", b"no record")
            result = bench.restore()
            self.assertEqual(result.returncode, 4)
            self.assertEqual(self.texts(result)[1],
                             "vandrel-station: the tool gave no list of devices; nothing was touched\n")

    def test_a_failure_has_its_line_its_log_and_what_to_do(self):
        with a_bench([[report(13, 40, Orv_OperationName="Restoring image"),
                       report(13, 42, Orv_OperationName="Restoring image", status="Failed", Error=4005)]]) as bench:
            out, error = self.texts(bench.restore("--linger", "0.1"))
            self.assertEqual(error, "")
            self.assertRegex(out, r"^Times are local \(UTC[+-]\d\d:\d\d\)\.\n")
            self.assertRegex(out, r"(?m)^\d\d:\d\d:\d\d 0x14100000 [0-9A-F]{16} FAILED    error 4005 in Restoring "
                                  r"image at 42 %$")
            log = out.partition("       Log: ")[2].partition("\n")[0]
            self.assertTrue(log.endswith(bench.ecids[0] + "-visit1-try1"), out)
            kept = os.path.join(bench.run_folder, os.path.basename(log.replace("\\", "/")))
            self.assertEqual({"records.plist", "diagnostics.txt", "command.txt"} - set(os.listdir(kept)), set())
            self.assertIn("\n       Put it into Recovery mode or DFU, and restore it again with another cable.\n", out)

    def test_an_amr_code_has_its_text_everywhere(self):
        text = "Communication error, possibly USB disconnection"
        with a_bench([[report(), completion(Error=9)]]) as bench:
            out, _ = self.texts(bench.restore("--linger", "0.1"))
            self.assertIn(f"FAILED    error 9: {text} in Verifying restore at 50 %\n", out)
            (ended,) = bench.ended().values()
            self.assertEqual(ended["error"], {"code": 9, "text": text})
            self.assertEqual(ended["operation_name"], "Verifying restore")
            (device,) = bench.summary()["devices"]
            self.assertEqual(device["error"], {"code": 9, "text": text})

    def test_who_was_left_alone_is_in_the_summary(self):
        with a_bench([[completion()]]) as bench:
            bench.bundle = bench.make_bundle("other.ipsw", BOARD + 1)
            out, _ = self.texts(bench.restore())
            self.assertRegex(out, r"\nLeft alone \(1\)\n  0x14100000 [0-9A-F]{16} SERIAL0 +the bundle is not for it\n")
            (device,) = bench.summary()["devices"]
            self.assertEqual((device["state"], device["reason"]), ("left_alone", "unfit"))


@unittest.skipIf(on_windows, "the terminal is one of POSIX")
class the_question_on_a_terminal(unittest.TestCase):
    def answered(self, bench, keys, *arguments):
        """The exit status, and what the terminal shows, when these keys are pressed at the question."""
        child, terminal = pty.fork()
        if child == 0:
            words = bench.command("restore", "--bundle", bench.bundle, "--all", "--plain", *arguments)
            os.execvp(words[0], words)
        shown = b""
        try:
            while piece := os.read(terminal, 65536):
                shown += piece
                if keys and shown.endswith(b"to stop: "):
                    os.write(terminal, keys)
                    keys = b""
        except OSError:
            pass  # The terminal has gone with the program.
        status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        os.close(terminal)
        self.assertEqual(keys, b"", "there was a question")
        return status, shown.decode()

    def test_only_the_number_of_devices_begins_an_erase(self):
        refused = {"another number": b"1\n", "Enter": b"\n", "the word of a watch": b"ERASE\n", "y": b"y\n",
                   "Ctrl-D": b"\x04", "Ctrl-C": b"\x03"}
        with a_bench([[completion()]] * 2) as bench:
            for name, keys in refused.items():
                with self.subTest(name):
                    bench.run_folder = os.path.join(bench.folder, "run " + name)
                    status, shown = self.answered(bench, keys, "--erase")
                    self.assertEqual((status, bench.journal()), (2, []))
                    self.assertIn("vandrel-station: nobody consented; nothing was touched\r\n", shown)
            bench.run_folder = os.path.join(bench.folder, "run")
            self.assertEqual(self.answered(bench, b"2\n", "--erase")[0], 0)
            self.assertEqual(len(bench.journal()), 2)

    def test_only_the_word_begins_an_erase_in_a_watch(self):
        with a_bench([[completion()]]) as bench:
            for keys in (b"erase\n", b"1\n", b"y\n", b"\x03"):
                with self.subTest(keys):
                    bench.run_folder = os.path.join(bench.folder, f"run {keys}")
                    status, _ = self.answered(bench, keys, "--erase", "--watch", "--count", "1")
                    self.assertEqual((status, bench.journal()), (2, []))
            bench.run_folder = os.path.join(bench.folder, "run")
            self.assertEqual(self.answered(bench, b"ERASE\n", "--erase", "--watch", "--count", "1")[0], 0)

    def test_only_y_begins_a_restore_that_keeps_data(self):
        with a_bench([[completion()]]) as bench:
            for keys in (b"1\n", b"\n", b"\x04"):
                with self.subTest(keys):
                    bench.run_folder = os.path.join(bench.folder, f"run {keys}")
                    status, _ = self.answered(bench, keys)
                    self.assertEqual((status, bench.journal()), (2, []))
            bench.run_folder = os.path.join(bench.folder, "run")
            self.assertEqual(self.answered(bench, b"y\n")[0], 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
