#!/usr/bin/env python3
"""Faults of the host under restores. Not for Windows."""
import os
import plistlib
import resource
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

from test_station import a_run, completion, report, tests_of_benches, wait_until, without_coverage


MIB = 2**20


class faults(tests_of_benches):
    def test_a_temporary_folder_that_goes_ends_no_restore(self):
        bench = self.bench([report(), "await go", completion()], [completion()])
        first, second = bench.ecids
        bench.show([first])
        with tempfile.TemporaryDirectory() as temporary:
            run = a_run(self, bench, "--watch", "--count", "2", env={**os.environ, "TMPDIR": temporary + "/all"},
                        preexec_fn=lambda: os.mkdir(temporary + "/all"))
            run.wait_for("operation")
            for name in os.listdir(temporary + "/all"):
                os.unlink(f"{temporary}/all/{name}")
            os.rmdir(temporary + "/all")
            bench.show([first, second])
            run.wait_for("device_found", ecid=second)
            bench.write("go", b"")
            self.assertEqual(run.wait_for("device_ended")["state"], "restored")

    def kept_of(self, bench, number=0):
        return sorted(os.listdir(os.path.join(bench.run_folder, bench.ecids[number] + "-visit1-try1")))

    def test_the_end_of_the_session_keeps_what_a_tool_has_left(self):
        bench = self.bench([report(), "hang"])
        run = a_run(self, bench)
        run.wait_for("operation")
        run.process.terminate()
        self.assertEqual(run.wait(), 130)
        self.assertEqual(self.kept_of(bench), ["command.txt", "diagnostics.txt", "records.plist"])
        self.assertEqual([each["state"] for each in bench.summary()["devices"]], ["cancelled"])

    def scratch_folders(self, bench):
        return [name for name in os.listdir(bench.folder) if name.startswith("vs-")]

    def test_the_end_of_the_session_leaves_the_scratch_folder_to_the_next_run(self):
        bench = self.bench([report(), "hang"])
        run = a_run(self, bench)
        run.wait_for("operation")
        run.process.terminate()
        run.wait()
        self.assertEqual(len(self.scratch_folders(bench)), 1)
        bench.script(bench.ecids[0] + ".restore", [completion()])
        bench.run_folder += "2"
        self.assertEqual(bench.restore().returncode, 0)
        self.assertEqual(self.scratch_folders(bench), [])

    def test_a_disk_and_a_reader_that_stand_still_do_not_delay_the_end_of_the_session_one_after_the_other(self):
        many = b"".join(report(14, i % 100) for i in range(1000))
        bench = self.bench(["await go", many, "rename go gone", "hang"])
        run = a_run(self, bench)
        run.wait_for("try_started")
        folder = os.path.join(bench.run_folder, bench.ecids[0] + "-visit1-try1")
        os.makedirs(folder, exist_ok=True)
        os.mkfifo(os.path.join(folder, "records.plist"))
        bench.write("go", b"")
        wait_until(lambda: os.path.exists(os.path.join(bench.folder, "gone")))
        begin = time.monotonic()
        run.process.terminate()
        run.process.wait()
        # Each has 2 s.
        self.assertLess(time.monotonic() - begin, 3.5)

    def test_a_scratch_folder_that_goes_is_a_tool_that_could_not_be_started_and_leaves_no_strange_file(self):
        bench = self.bench(["await go", completion()], [completion()])
        # The station's current folder has a file of the name that a tool's diagnostics have.
        here = os.path.join(bench.folder, "here")
        os.mkdir(here)
        bench.write("here/diagnostics.txt", b"strange")
        run = a_run(self, bench, "--at-once", "1", cwd=here)
        run.wait_for("try_started")
        # The event comes before the process.
        wait_until(bench.journal)
        (scratch,) = self.scratch_folders(bench)
        shutil.rmtree(os.path.join(bench.folder, scratch))
        bench.write("go", b"")
        self.assertEqual(run.wait(), 1)
        self.assertEqual([event["reason"] for event in run.named("device_ended")], ["completed", "tool_not_started"])
        self.assertFalse(os.path.exists(os.path.join(bench.run_folder, bench.ecids[1] + "-visit1-try1")))

    def test_a_run_without_a_scratch_folder_leaves_no_run_folder(self):
        bench = self.bench([completion()])
        bench.write("file", b"")
        result = bench.restore("--run-folder", bench.run_folder, "--scratch", os.path.join(bench.folder, "file"),
                               with_folder=False)
        self.assertEqual(result.returncode, 4)
        self.assertFalse(os.path.exists(bench.run_folder))
        self.assertEqual(bench.journal(), [])

    def test_a_scratch_folder_in_which_nothing_can_be_made_is_status_4(self):
        bench = self.bench([completion()])
        bench.scratch = "/proc"
        result = bench.run("recover", "--exit", "--all")
        self.assertEqual(result.returncode, 4)
        self.assertRegex(result.stderr.decode(), r"^vandrel-station: no folder can be made for scratch: .*\n$")
        self.assertEqual((bench.journal(), os.path.exists(bench.run_folder)), ([], False))

    def test_restore_options_for_which_there_is_no_room_are_status_4(self):
        bench = self.bench([completion()])
        bench.write("options.plist", plistlib.dumps({
            "AuthInstallRestoreBehavior": "Update", "RestoreBundlePath": bench.bundle, "More": "x" * (5 * MIB)}))

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (4 * MIB, 4 * MIB))

        words = bench.command("restore", "--options", os.path.join(bench.folder, "options.plist"), "--all")
        result = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, timeout=120,
                                preexec_fn=limit, restore_signals=False)
        self.assertEqual(result.returncode, 4)
        self.assertRegex(result.stderr.decode(), r"^vandrel-station: \S.*options\.plist cannot be written\n$")
        self.assertEqual((bench.journal(), os.path.exists(bench.run_folder)), ([], False))
        self.assertEqual(self.scratch_folders(bench), [])

    def test_a_run_without_a_place_for_its_folder_is_status_4(self):
        bench = self.bench([completion()])
        environment = {name: value for name, value in os.environ.items() if name not in ("HOME", "XDG_STATE_HOME")}
        words = bench.command("restore", "--bundle", bench.bundle, "--all", with_folder=False)
        for home in ({}, {"HOME": ""}, {"HOME": "", "XDG_STATE_HOME": "not/absolute"}):
            result = subprocess.run(words, env={**environment, **home}, stdin=subprocess.DEVNULL, capture_output=True,
                                    timeout=120)
            self.assertEqual((result.returncode, result.stderr.decode()), (
                4, "vandrel-station: there is no place for the run's folder: HOME names no folder; give --run-folder\n"))
        self.assertEqual((bench.journal(), bench.lists()), ([], 0))

    def test_a_run_without_a_place_for_what_the_next_one_would_like_to_know_goes_on(self):
        bench = self.bench([completion()])
        folder = os.path.join(bench.folder, "ipsw")
        os.mkdir(folder)
        os.rename(bench.bundle, os.path.join(folder, "some.ipsw"))
        os.utime(os.path.join(folder, "some.ipsw"), (1e9, 1e9))
        environment = {name: value for name, value in os.environ.items() if name not in ("HOME", "XDG_STATE_HOME")}
        result = subprocess.run(bench.command("restore", "--bundles", folder, "--all"), env=environment,
                                stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
        self.assertEqual((result.returncode, result.stderr), (0, b""))

    def refusal_without_a_folder(self, *words, **more):
        bench = self.bench([completion()])
        words = bench.command("recover", "--exit", "--all", "--run-folder", bench.run_folder, *words,
                              with_folder=False)
        result = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, timeout=120, **more)
        self.assertEqual((bench.journal(), os.path.exists(bench.run_folder)), ([], False))
        return result.returncode, result.stderr.decode()

    def test_a_temporary_folder_that_is_not_there_is_status_4(self):
        self.assertEqual(self.refusal_without_a_folder(env={**os.environ, "TMPDIR": "/gone"}), (
            4, "vandrel-station: the temporary folder cannot be used for scratch: No such file or directory\n"))

    def test_a_list_without_a_temporary_folder_is_status_4(self):
        bench = self.bench([])
        result = subprocess.run(bench.command("list", rules={}, with_folder=False), stdin=subprocess.DEVNULL,
                                capture_output=True, timeout=120, env={**os.environ, "TMPDIR": "/gone"})
        self.assertEqual((result.returncode, result.stdout), (4, b""))
        self.assertRegex(result.stderr.decode(), r"^vandrel-station: \S.*No such file or directory\n$")

    def test_a_scratch_folder_in_a_current_folder_that_has_gone_is_status_4(self):
        here = tempfile.mkdtemp()
        self.assertEqual(self.refusal_without_a_folder("--scratch", "work", cwd=here, preexec_fn=lambda: os.rmdir(here)), (
            4, "vandrel-station: the folder work cannot be used for scratch: No such file or directory\n"))

    def test_a_disk_that_was_full_for_a_while_leaves_whole_lines_and_whole_records(self):
        some = b"".join(report(14, i) for i in range(100))
        bench = self.bench([some, "await go", completion()])
        free = resource.RLIM_INFINITY
        # Python ignores the signal that goes with the limit, and so does the station then.
        run = a_run(self, bench, restore_signals=False, env=without_coverage(bench),
                    preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (20_000, free)))
        while not run.named("log_incomplete") or run.named("progress")[-1]["progress"] != 99:
            self.assertIsNotNone(run.next_event())
        resource.prlimit(run.process.pid, resource.RLIMIT_FSIZE, (free, free))
        bench.write("go", b"")
        self.assertEqual(run.wait(), 5)
        self.assertEqual([bench.events()[i]["event"] for i in (0, -1)], ["run_started", "run_ended"])
        with open(os.path.join(bench.run_folder, bench.ecids[0] + "-visit1-try1", "records.plist"), "rb") as file:
            self.assertTrue(file.read().endswith(completion()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
