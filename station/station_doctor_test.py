#!/usr/bin/env python3
"""The command "doctor": its checks on this computer, and what it removes."""
import json
import os
import subprocess
import sys
import tempfile
import time
import unittest

from test_station import (
    a_bench, a_folder, emulator, host_path, internal_error, on_windows, simulator, station, tool, wait_until)

CHECKS = ["tool", "libraries", "usb", "room", "sleep", "restart", "leftovers"]
SIMULATED = ("--tool", host_path(simulator), "--rule-time", "list_detect=0")
LONG_AGO = time.time() - 3 * 24 * 3600
is_root = os.geteuid() == 0


def doctor(*words, temporary=None):
    """Its status, standard output and standard error."""
    environment, command = dict(os.environ), [*emulator, station, "doctor", *words]
    if temporary and on_windows:
        # Wine does not take its folder from the environment of Linux.
        batch = os.path.join(temporary, "doctor.bat")
        with open(batch, "w", encoding="utf-8", newline="\r\n") as file:
            file.write(f'@set TEMP={host_path(temporary)}\n@set TMP={host_path(temporary)}\n'
                       f'@"{host_path(station)}" doctor {" ".join(words)}\n')
        command = [*emulator, "cmd", "/c", host_path(batch)]
    elif temporary:
        environment["TMPDIR"] = temporary
    done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, timeout=300)
    return (done.returncode, *(text.decode().replace("\r\n", "\n") for text in (done.stdout, done.stderr)))


def findings(*words, **more):
    status, out, _ = doctor(*words, "--json", **more)
    return status, {each["check"]: each for each in json.loads(out)["checks"]}


class this_computer(unittest.TestCase):
    def test_each_check_has_a_line(self):
        with tempfile.TemporaryDirectory(prefix="empty") as temporary:
            status, out, error = doctor(*SIMULATED, temporary=temporary)
            self.assertEqual((status, error), (0, ""))
            words = [line.split()[:2] for line in out.splitlines() if line[2] != " "]
            *checks, numbers = words
            self.assertEqual([check for _, check in checks], CHECKS)
            self.assertEqual({level for level, _ in checks} - {"ok", "WARNING"}, set())
            self.assertEqual(numbers, ["0", "problems,"])
            left = os.listdir(temporary)
            self.assertEqual([name for name in left if name != "doctor.bat"], [])

    def test_json_is_one_object_in_ascii(self):
        with tempfile.TemporaryDirectory(prefix="Ж") as folder:
            status, out, error = doctor(*SIMULATED, "--json", "--scratch", host_path(folder))
            self.assertEqual((status, error), (0, ""))
            self.assertEqual(os.listdir(folder), [])
        self.assertTrue(out.isascii() and out.count("\n") == 1 and out.endswith("\n"))
        whole = json.loads(out)
        self.assertEqual(whole["v"], 1)
        self.assertRegex(whole["version"], r"^\d+\.\d+\.\d+$")
        self.assertEqual([each["check"] for each in whole["checks"]], CHECKS)
        checks = {each["check"]: each for each in whole["checks"]}
        self.assertIn("Ж", checks["room"]["found"])
        self.assertIn("none of Apple's libraries", checks["libraries"]["found"])
        self.assertEqual({key for each in whole["checks"] for key in each} - {"check", "level", "found"},
                         {"advice"} | ({"details"} if any("details" in each for each in whole["checks"]) else set()))

    def test_the_libraries_are_those_that_the_tool_has_loaded(self):
        """The tool is the product beside the station. On Linux it finds the stand-ins of a build there."""
        status, checks = findings("--rule-time", "list_detect=1")
        found = checks["libraries"]
        if on_windows:
            self.assertEqual((status, found["level"]), (1, "problem"))
            self.assertIn("the tool says: vandrel: attached devices need Apple's libraries", found["found"])
            self.assertIn("Apple Devices", found["advice"])
            self.assertRegex(checks["tool"]["found"], r"vandrel\.exe, version \d+\.\d+\.\d+\.0$")
            self.assertEqual(checks["tool"]["level"], "ok")
        else:
            self.assertEqual((status, found["level"]), (0, "ok"))
            self.assertEqual(found["found"], "all functions that the tool needs are there")
            folder = os.path.join(os.path.dirname(station), "apple")
            self.assertEqual(sorted(found["details"]),
                             [f"{folder}/lib{name}.so, which has no version"
                              for name in ("CoreFoundation", "MobileDevice")])

    def test_a_tool_that_is_not_there_is_a_problem(self):
        status, checks = findings("--tool", host_path(os.path.dirname(station) + "/none"))
        self.assertEqual(status, 1)
        self.assertEqual([checks[name]["level"] for name in ("tool", "libraries")], ["problem", "problem"])
        self.assertIn("cannot be started: ", checks["tool"]["found"])

    def test_a_tool_that_ends_without_a_list_is_a_problem(self):
        with a_bench([]) as bench:
            bench.script("list.script", ["exit 7"])
            status, checks = findings("--tool", bench.tool[0], "--tool-argument", bench.tool[1])
        self.assertEqual((status, checks["tool"]["level"]), (1, "ok"))
        self.assertEqual(checks["libraries"]["found"], "the tool gave no list of devices, and ended with status 7")

    def test_a_tool_that_says_why_it_has_no_list_is_quoted(self):
        with a_bench([]) as bench:
            bench.script("list.script", [internal_error(2), "exit 2"])
            status, checks = findings("--tool", bench.tool[0], "--tool-argument", bench.tool[1])
        self.assertEqual(status, 1)
        self.assertEqual(checks["libraries"]["found"], "the tool says: because")

    def test_a_tool_that_hangs_costs_no_more_than_its_limit(self):
        with a_bench([]) as bench:
            bench.script("list.script", ["hang"])
            begin = time.monotonic()
            status, checks = findings("--tool", bench.tool[0], "--tool-argument", bench.tool[1],
                                      "--rule-time", "list_limit=0.5")
            # The tool hangs for ten minutes.
            self.assertLess(time.monotonic() - begin, 100)
        self.assertEqual(status, 1)
        self.assertEqual(checks["libraries"]["found"], "the tool gave no list of devices in time")

    def test_bundles_have_a_check_of_their_own_and_decide_on_the_room(self):
        with a_bench([]) as bench:
            folder = a_folder(bench)
            folder.add("small.ipsw")
            status, checks = findings(*SIMULATED, "--bundles", host_path(folder.path))
            self.assertEqual((status, checks["bundles"]["level"], checks["room"]["level"]), (0, "ok", "ok"))
            self.assertEqual(checks["bundles"]["found"], "the folder has 1 bundle that can be used")
            self.assertIn("the largest bundle needs", checks["room"]["found"])
            folder.add("large.ipsw", claims=0xFFFFFFF0)
            os.rename(folder.file("small.ipsw"), folder.file("small.txt"))
            folder.write("broken.ipsw", b"PK")
            _, checks = findings(*SIMULATED, "--bundles", host_path(folder.path))
            self.assertEqual(checks["bundles"]["found"],
                             "the folder has 1 bundle that can be used, and 1 file that cannot")
            self.assertEqual(checks["bundles"]["level"], "warning")
            self.assertIn("the largest bundle needs 4.7 GB", checks["room"]["found"])

    def test_a_folder_of_bundles_that_is_not_there_is_a_problem(self):
        status, checks = findings(*SIMULATED, "--bundles", host_path("/none/at/all"))
        self.assertEqual((status, checks["bundles"]["level"]), (1, "problem"))

    def test_a_scratch_folder_that_cannot_be_used_is_a_problem(self):
        with tempfile.NamedTemporaryFile() as file:
            status, checks = findings(*SIMULATED, "--scratch", host_path(file.name))
            self.assertEqual((status, checks["room"]["level"]), (1, "problem"))
            self.assertIn(f"{host_path(file.name)} cannot be used for scratch: ", checks["room"]["found"])

    def test_room_is_looked_for_where_a_new_folder_would_be(self):
        with tempfile.TemporaryDirectory() as folder:
            _, checks = findings(*SIMULATED, "--scratch", host_path(folder + "/new/one"))
            self.assertTrue(checks["room"]["found"].startswith(host_path(folder) + " has "), checks["room"])
            self.assertEqual(os.listdir(folder), [])


def age(path):
    for folder, folders, files in os.walk(path, topdown=False):
        for name in folders + files:
            os.utime(os.path.join(folder, name), (LONG_AGO, LONG_AGO), follow_symlinks=False)
    os.utime(path, (LONG_AGO, LONG_AGO), follow_symlinks=False)


class what_killed_tools_have_left(unittest.TestCase):
    def setUp(self):
        kept = tempfile.TemporaryDirectory(prefix="left")
        self.addCleanup(kept.cleanup)
        self.temporary = kept.name
        self.stays = {"elsewhere", "vandrel.config", "vandrel.0a1b2c3", "vandrel.abcabc"}
        self.left("elsewhere")
        self.left("vandrel.config")
        self.left("vandrel.0a1b2c3")
        with open(self.path("vandrel.abcabc"), "wb") as file:
            file.write(b"a file, and no folder")
        age(self.path("vandrel.abcabc"))

    def path(self, *names):
        return os.path.join(self.temporary, *names)

    def left(self, name):
        os.makedirs(self.path(name, "PRB", "1"))
        with open(self.path(name, "PRB", "1", "image"), "wb") as file:
            file.write(b"image")
        age(self.path(name))

    def keep(self, name):
        """It stays, whatever the test does with it."""
        self.left(name)
        self.stays.add(name)

    def there(self):
        return set(os.listdir(self.temporary)) - {"doctor.bat"}

    def check(self, *words):
        status, checks = findings(*SIMULATED, *words, temporary=self.temporary)
        self.assertEqual(status, 0)
        return checks["leftovers"]

    def fates(self, found):
        return {line.partition(",")[0]: line.partition(": ")[2] for line in found["details"]}

    def test_stays_without_clean(self):
        self.left("vandrel.0a1b2c")
        before = self.there()
        found = self.check()
        self.assertEqual((found["level"], self.fates(found)),
                         ("warning", {"vandrel.0a1b2c": "left by a tool that is gone"}))
        self.assertEqual(self.there(), before)
        self.assertTrue(os.path.exists(self.path("vandrel.0a1b2c", "PRB", "1", "image")))

    def test_goes_only_where_it_is_certain(self):
        self.left("vandrel.0a1b2c")
        # A day is not over for what was changed last.
        self.keep("vandrel.111111")
        os.utime(self.path("vandrel.111111", "PRB", "1", "image"))
        # A link, and a folder with one.
        os.symlink("elsewhere", self.path("vandrel.222222"))
        age(self.path("vandrel.222222"))
        self.keep("vandrel.333333")
        os.symlink(self.path("elsewhere"), self.path("vandrel.333333", "PRB", "link"))
        age(self.path("vandrel.333333"))
        self.stays.add("vandrel.222222")
        expected = {"vandrel.0a1b2c": "removed",
                    "vandrel.111111": "stays: it was changed less than a day ago",
                    "vandrel.222222": "stays: it is a link, or has one in it",
                    "vandrel.333333": "stays: it is a link, or has one in it"}
        found = self.check("--clean")
        self.assertEqual((found["level"], self.fates(found)), ("ok", expected))
        self.assertEqual(self.there(), self.stays)
        for name in self.stays - {"vandrel.abcabc"}:
            self.assertTrue(os.path.exists(self.path(name, "PRB", "1", "image")), name)

    @unittest.skipUnless(is_root, "only root can give a folder to another user")
    def test_stays_where_it_is_another_users(self):
        self.keep("vandrel.444444")
        os.chown(self.path("vandrel.444444"), 65534, 65534)
        self.keep("vandrel.555555")
        os.chown(self.path("vandrel.555555", "PRB", "1", "image"), 65534, 65534)
        why = "stays: it is another user's, or has something of another user in it"
        self.assertEqual(self.fates(self.check("--clean")), {"vandrel.444444": why, "vandrel.555555": why})
        self.assertEqual(self.there(), self.stays)

    def test_stays_as_long_as_a_process_uses_it(self):
        """One that works in a folder in it, and, on Linux, one that has a file in it open."""
        self.left("vandrel.666666")
        used = self.path("vandrel.666666", "PRB", "1")
        with a_bench([]) as bench:
            commands = [(used, [*emulator, tool, bench.tool[1], "--held-until", "go"])]
            if not on_windows:
                commands.append((None, [sys.executable, "-c", "import sys, time\nwith open(sys.argv[1], 'ab'):\n"
                                        " sys.stdin.read()", used + "/image"]))
            for folder, command in commands:
                with subprocess.Popen(command, cwd=folder, stdin=subprocess.PIPE) as process:
                    is_used = {"vandrel.666666": "stays: a program has something in it open"}
                    age(self.path("vandrel.666666"))
                    try:
                        wait_until(lambda: self.fates(self.check()) == is_used, 240)
                        self.assertEqual(self.fates(self.check("--clean")), is_used)
                    finally:
                        # The process ends, whatever came about.
                        bench.write("go", b"")
                        process.stdin.close()
                        process.wait(120)
                os.remove(bench.folder + "/go")
                self.assertTrue(os.path.exists(used + "/image"))
        age(self.path("vandrel.666666"))
        wait_until(lambda: self.fates(self.check("--clean")) == {"vandrel.666666": "removed"}, 240)
        self.assertEqual(self.there(), self.stays)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
