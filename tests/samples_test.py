#!/usr/bin/env python3
"""Tests the controlling applications in samples/.

    samples_test.py page PAGE SAMPLES
        PAGE has each file of the folder SAMPLES in full, and each is valid for the oldest compiler or
        interpreter that it supports.
    samples_test.py run documents|literals SAMPLE... -- PROGRAM
        SAMPLE, one or more words, is the command that starts a sample, which controls PROGRAM, a
        vandrel-sim. It prints records as documents, or as types and Python literals.
"""
import ast
import os
import pathlib
import plistlib
import subprocess
import sys
import tempfile
import unittest

RECOVERY = "0001A2B3C4D5E6F7"
LIMIT = 120

page, samples = pathlib.Path(), pathlib.Path()
printed, sample, program = "", [], ""


def documents(stream):
    document = b""
    for line in stream:
        document += line
        if line.strip() == b"</plist>":
            yield plistlib.loads(document)
            document = b""
    assert document == b"", document


def literals(stream):
    for line in stream:
        kind, value = line.decode("utf-8").split(" ", 1)
        yield {"Type": kind, "Value": ast.literal_eval(value)}


def records(stream):
    return {"documents": documents, "literals": literals}[printed](stream)


def environment(temporary):
    """Our environment, without the variable that makes Python write immediately. A program that is killed
    leaves its scratch folder in `temporary`."""
    ours = {name: value for name, value in os.environ.items() if name != "PYTHONUNBUFFERED"}
    return {**ours, "TMPDIR": str(temporary)}


def a_report(after, operation, progress):
    report = {"Status": "Restoring", "Operation": operation, "Progress": progress}
    return {"After": after, "Report": report}


class shown_samples(unittest.TestCase):
    def test_are_on_the_page_in_full(self):
        text = page.read_text("utf-8")
        for name, kind in (("run_with_pipe.cpp", "cpp"), ("run_with_pipe.py", "python"), ("run_with_pipe.cs", "csharp")):
            with self.subTest(name=name):
                content = (samples / name).read_text("utf-8")
                self.assertEqual(text.count(f"```{kind}\n{content}```\n"), 1)

    def test_are_all_on_the_page(self):
        names = {path.name for path in samples.iterdir()} - {"CMakeLists.txt"}
        self.assertEqual(names, {"run_with_pipe.cpp", "run_with_pipe.py", "run_with_pipe.cs"})

    def test_in_python_are_valid_for_3_8(self):
        ast.parse((samples / "run_with_pipe.py").read_text("utf-8"), feature_version=(3, 8))

    def test_in_csharp_compile_with_the_compiler_of_windows(self):
        with tempfile.TemporaryDirectory() as folder:
            compiled = os.path.join(folder, "run_with_pipe.exe")
            # The compiler of the .NET Framework, which is part of Windows, supports C# 5.
            result = subprocess.run(
                ["mcs", "-langversion:5", "-warn:4", "-warnaserror+", f"-out:{compiled}", samples / "run_with_pipe.cs"],
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
                check=False,
            )
            self.assertEqual((result.returncode, result.stdout), (0, ""))
            self.assertEqual(pathlib.Path(compiled).read_bytes()[:2], b"MZ")


class running_sample(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)

    def run_sample(self, *words):
        """The records, standard error and the exit status."""
        result = subprocess.run(
            [*sample, program, *words],
            cwd=self.folder,
            env=environment(self.folder),
            stdin=subprocess.DEVNULL,
            capture_output=True,
            timeout=LIMIT,
            check=False,
        )
        return list(records(result.stdout.splitlines(True))), result.stderr.decode("utf-8"), result.returncode

    def test_prints_every_record_of_a_restore(self):
        found, other, status = self.run_sample(
            "--speed", "20", "--", "--restore", "firmware.ipsw", "--ecid", RECOVERY)
        self.assertEqual((status, other), (0, ""))
        self.assertEqual(len(found), 41)
        self.assertEqual({record["Type"] for record in found}, {"RestoreStatus"})
        self.assertEqual(found[0]["Value"], {
            "Status": "Restoring", "Operation": 201, "Progress": 0, "Orv_OperationName": "Unzipping IPSW"})
        self.assertEqual(found[-1]["Value"], {"Status": "Successful", "Operation": 0, "Progress": 100, "Error": 0})

    def test_prints_the_record_of_a_failing_command_and_exits_with_its_code(self):
        found, other, status = self.run_sample(
            "--device-info", "--ecid", "00000000000000AB", "--detect-timeout", "0")
        self.assertEqual((status, other), (4, ""))
        self.assertEqual(found, [{"Type": "InternalError", "Value": {
            "Code": 4,
            "Description": "Bad ECID specified",
            "Domain": "vandrel",
            "FailureReason": "Failed to find device with ecid 00000000000000AB after 0 seconds",
        }}])

    def test_passes_other_output_on_to_standard_error(self):
        found, other, status = self.run_sample("--frobnicate")
        self.assertEqual((found, status), ([], 3))
        record = plistlib.loads(other.strip().encode("utf-8"))
        self.assertEqual((record["Type"], record["Value"]["Code"]), ("InternalError", 3))

    def test_passes_every_argument_unchanged(self):
        words = ["--restore", 'two words "and\\" ends in \\', "--ecid", RECOVERY, "--erase"]
        log = "a log.txt"
        _, _, status = self.run_sample("--speed", "20", "--", "--amr-logfile", log, *words)
        self.assertEqual(status, 0)
        first_line = (self.folder / log).read_text("utf-8").splitlines()[0]
        self.assertIn(" ".join(["", "--amr-logfile", log, *words, "--output-pipe "]), first_line)

    def test_prints_a_record_while_the_program_runs(self):
        # Too few to fill a buffer before the run ends by its own timeout.
        reports = [a_report(0, 201, 0), a_report(2, 13, 50), a_report(20, 13, 99)]
        (self.folder / "endless.plist").write_bytes(plistlib.dumps(
            {"Devices": [
                {"Name": "iPhone", "ECID": RECOVERY, "State": "Recovery", "Restore": {"Reports": reports}}]}))
        command = ["--scenario", "endless.plist", "--", "--restore", "firmware.ipsw", "--ecid", RECOVERY,
                   "--restore-timeout", "100"]
        with subprocess.Popen(
            [*sample, program, *command],
            cwd=self.folder,
            env=environment(self.folder),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        ) as process:
            try:
                first = next(records(process.stdout), None)
            finally:
                process.kill()
                later = process.stdout.read()
                # At the next record the program fails to write to the closed pipe, and ends.
                other = process.stderr.read()
        self.assertIsNotNone(first, other)
        self.assertNotIn(b"InternalError", later)
        self.assertEqual(first["Value"]["Orv_OperationName"], "Unzipping IPSW")


if __name__ == "__main__":
    kind, *words = sys.argv[1:]
    if kind == "page":
        page, samples = map(pathlib.Path, words)
        unittest.main(argv=sys.argv[:1], defaultTest="shown_samples", verbosity=2)
    else:
        printed, *sample = words[: words.index("--")]
        program = words[words.index("--") + 1]
        unittest.main(argv=sys.argv[:1], defaultTest="running_sample", verbosity=2)
