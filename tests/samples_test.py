#!/usr/bin/env python3
"""Tests the controlling applications in samples/.

    samples_test.py page PAGE SAMPLES
        PAGE names each file of the folder SAMPLES, and those in Python are valid for the oldest interpreter
        that they support.
    samples_test.py judge documents|elements|literals SAMPLE...
        SAMPLE, one or more words, is the command that starts a sample, or a source in C#. It judges recorded
        streams. It prints records as documents, or as types with XML elements or Python literals.
    samples_test.py run documents|literals SAMPLE... -- PROGRAM SCENARIOS
        SAMPLE controls PROGRAM, a vandrel-sim, also with the ready scenarios in the folder SCENARIOS.
"""
import ast
import os
import pathlib
import plistlib
import re
import subprocess
import sys
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor

RECOVERY = "0001A2B3C4D5E6F7"
LIMIT = 120

page, samples, scenarios = pathlib.Path(), pathlib.Path(), pathlib.Path()
printed, sample, program = "", [], ""


def documents(stream):
    document = b""
    for line in stream:
        document += line
        if line.strip() == b"</plist>":
            yield plistlib.loads(document.decode("utf-8", "replace").strip().encode("utf-8"))
            document = b""
    assert document.strip() == b"", document


def literals(stream):
    for line in stream:
        kind, value = line.decode("utf-8").split(" ", 1)
        try:
            yield {"Type": kind, "Value": ast.literal_eval(value)}
        except ValueError:  # Such as a date.
            yield {"Type": kind, "Value": value}


def elements(stream):
    text = b"".join(stream).decode("utf-8").lstrip("\ufeff")
    for kind, value in re.findall(r"^(\w+) (<.*?)$(?=\n\w+ <|\Z)", text.strip(), re.DOTALL | re.MULTILINE):
        yield {"Type": kind, "Value": plistlib.loads(f"<plist>{value}</plist>".encode(), fmt=plistlib.FMT_XML)}


def records(stream):
    return {"documents": documents, "elements": elements, "literals": literals}[printed](stream)


def environment(temporary):
    """Our environment, without the variable that makes Python write immediately. A program that is killed
    leaves its scratch folder in `temporary`."""
    ours = {name: value for name, value in os.environ.items() if name != "PYTHONUNBUFFERED"}
    return {**ours, "TMPDIR": str(temporary)}


def host_path(path):
    return "Z:" + str(path).replace("/", "\\") if program.endswith(".exe") else str(path)


def a_report(after, operation, progress):
    report = {"Status": "Restoring", "Operation": operation, "Progress": progress}
    return {"After": after, "Report": report}


def record(kind, value):
    return plistlib.dumps({"Type": kind, "Value": value})


def report(operation, progress, status="Restoring", name="", **more):
    value = {"Status": status, "Operation": operation, "Progress": progress, **more}
    return record("RestoreStatus", {**value, "Orv_OperationName": name} if name else value)


def an_error(domain, code, reason):
    return record("InternalError", {"Domain": domain, "Code": code, "Description": "d", "FailureReason": reason})


RUNNING = report(13, 42, name="Restoring image")
RESTORED = report(0, 100, "Successful", Error=0)
TIMEOUT = an_error("vandrel", 7, "no end")
WHERE = " in Restoring image at 42 %"

# Recorded streams, each with its exit status and verdict.
VERDICTS = {
    "a_good_completion": ([RUNNING, RESTORED], 0, "restored"),
    "a_good_completion_without_an_error": ([RUNNING, report(0, 100, "Successful")], 0, "restored"),
    "a_good_completion_in_reals": ([RUNNING, report(0.0, 100.0, "Successful")], 0, "restored"),
    "a_good_completion_then_a_failed_report": (
        [RESTORED, report(13, 42, "Failed", "Restoring image", Error=4005)], 0, "restored"),
    "a_failed_report_then_a_good_completion": (
        [report(13, 42, "Failed", "Restoring image", Error=4005), RESTORED], 0, "restored"),
    "a_good_completion_then_code_7": ([RESTORED, TIMEOUT], 0, "restored"),
    "an_error_then_a_good_completion": (
        [report(13, 42, name="Restoring image", Error=4005), RESTORED], 0, "restored"),
    "a_completion_that_says_failed": (
        [RUNNING, report(0, 100, "Failed", Error=4005)], 1, "failed: error 4005" + WHERE),
    "a_completion_with_a_number": (
        [RUNNING, report(0, 100, "Successful", Error=-1)], 1, "failed: error -1" + WHERE),
    "a_completion_that_says_failed_without_an_error": (
        [RUNNING, report(0, 100, "Failed")], 1, "failed: unknown error" + WHERE),
    "a_completion_with_a_dictionary": (
        [RUNNING, report(0, 100, "Successful", Error={"Code": 0, "Domain": "d.Restore"})], 1,
        "failed: error 0 (d.Restore)" + WHERE),
    "a_completion_with_a_text": (
        [report(0, 100, "Successful", Error="no ticket")], 1, "failed: unknown error"),
    "a_completion_with_a_real": ([report(0, 100, "Successful", Error=0.0)], 1, "failed: unknown error"),
    "a_completion_with_a_boolean": ([report(0, 100, "Successful", Error=False)], 1, "failed: unknown error"),
    "a_failed_report_and_code_7": (
        [report(13, 42, "Failed", "Restoring image", Error=4005), TIMEOUT], 1, "failed: error 4005" + WHERE),
    "the_first_of_two_failures": (
        [report(13, 42, "Failed", "Restoring image", Error=8), report(0, 100, "Failed", Error=10)], 1,
        "failed: error 8" + WHERE),
    "an_error_and_no_completion": (
        [report(13, 42, name="Restoring image", Error=4005)], 1, "failed: error 4005" + WHERE),
    "a_lost_connection": (
        [RUNNING, report(13, 42, "Failed", "Restoring image", Error=9), TIMEOUT], 3,
        "connection lost: error 9" + WHERE),
    "a_9_of_another_domain": (
        [RUNNING, report(0, 100, "Failed", Error={"Code": 9, "Domain": "d"})], 1, "failed: error 9 (d)" + WHERE),
    "code_7": ([RUNNING, TIMEOUT], 2, "timed out: no end"),
    "code_7_of_another_domain": ([an_error("d", 7, "why")], 1, "failed: error 7 (d): why"),
    "code_4": ([an_error("vandrel", 4, "no device")], 1, "failed: error 4 (vandrel): no device"),
    "an_error_without_a_reason": (
        [record("InternalError", {"Domain": "d", "Code": 21, "Description": "text"})], 1,
        "failed: error 21 (d): text"),
    "half_a_restore": ([RUNNING], 4, "not completed: the records end" + WHERE),
    "a_completion_at_99": ([RUNNING, report(0, 99)], 4, "not completed: the records end" + WHERE),
    "another_operation_at_100": (
        [report(9, 100, name="Booting")], 4, "not completed: the records end in Booting at 100 %"),
    "nothing": ([], 4, "not completed: the records end"),
    "a_list": ([record("DeviceList", [])], 0, "done"),
    "a_device": ([record("DeviceInfo", {"ECID": RECOVERY})], 0, "done"),
    "a_success": ([record("CommandSuccess", True)], 0, "done"),
    "a_list_and_an_error": (
        [record("DeviceList", []), an_error("vandrel", 1, "no memory")], 1, "failed: error 1 (vandrel): no memory"),
}

WITH_TEXT = report(0, 100, "Successful", Text="a mark")
# Recorded streams, each with the number of records that cannot be read and the types of the others.
STREAMS = {
    "a_document_that_is_no_xml": (RUNNING + RUNNING.replace(b"</dict>", b"</duct>") + RESTORED, 1, "RR"),
    "an_element_that_ends_as_another": (
        RUNNING + WITH_TEXT.replace(b"mark</string>", b"mark</strong>") + RESTORED, 1, "RR"),
    "an_ampersand_that_is_no_reference": (RUNNING + WITH_TEXT.replace(b"a mark", b"a & mark") + RESTORED, 1, "RR"),
    "references": (RUNNING + WITH_TEXT.replace(b"a mark", b"&lt;&amp;&gt;"), 0, "RR"),
    "characters_that_xml_forbids": (
        RUNNING + WITH_TEXT.replace(b"a mark", b"\x01\x0b\x1f\xef\xbf\xbe\xef\xbf\xbf"), 0, "RR"),
    "a_zero_byte": (RUNNING + WITH_TEXT.replace(b"a mark", b"a\0mark"), 0, "RR"),
    "bytes_that_are_no_text": (RUNNING + WITH_TEXT.replace(b"a mark", b"\xff\xc3"), 0, "RR"),
    "texts_of_other_languages": (RUNNING + WITH_TEXT.replace(b"a mark", "\u00e4\u6587\U0001f600".encode()), 0, "RR"),
    "a_record_that_is_cut_short": (WITH_TEXT.partition(b"a mark")[0] + RUNNING + RESTORED, 1, "RR"),
    "two_records_that_are_cut_short": (2 * WITH_TEXT.partition(b"a mark")[0] + RESTORED, 2, "R"),
    "half_a_record_at_the_end": (RUNNING + RESTORED + RUNNING[:200], 1, "RR"),
    "words_of_a_library": (b"a library's words\n" + RUNNING + RESTORED, 1, "RR"),
    "an_unknown_type": (RUNNING + record("News", {"Progress": 1}) + RESTORED, 0, "RNR"),
    "a_report_that_is_no_dictionary": (record("RestoreStatus", True) + RESTORED, 0, "RR"),
    "a_type_that_is_no_text": (plistlib.dumps({"Type": 1, "Value": 1}) + RESTORED, 1, "R"),
    "a_record_without_a_value": (plistlib.dumps({"Type": "News"}) + RESTORED, 1, "R"),
    "documents_that_are_no_records": (plistlib.dumps([]) + plistlib.dumps("text") + RESTORED, 2, "R"),
    "lines_between_the_records": (b"\n".join([RUNNING, RUNNING, RESTORED, b"\n"]), 0, "RRR"),
    "numbers_of_any_kind": (
        WITH_TEXT.replace(b"<string>a mark</string>", b"<array><integer>18446744073709551615</integer>"
                          b"<real>nan</real><real>-infinity</real><data></data><date>2026-11-22T00:00:00Z</date>"
                          b"<dict/><true/></array>"), 0, "R"),
}


def marks_on_seams(piece):
    """Records and records that are cut short, whose marks are on each place that a mark can have on a multiple
    of `piece`; the number of those cut short, and the types of the others."""
    stream, cut, types = b"", 0, ""
    for mark in ("</plist>", "<?xml"):
        for offset in range(len(mark) + 1):
            # The mark begins `offset` bytes before the seam.
            filling = piece - len(stream) % piece - offset
            if mark == "</plist>":
                size = filling - WITH_TEXT.index(b"</plist>") + len("a mark")
                stream += WITH_TEXT.replace(b"a mark", size * b"x")
                types += "R"
            else:
                before = WITH_TEXT.partition(b"a mark")[0]
                stream += before + (filling - len(before)) * b"x"
                cut += 1
                stream += RUNNING
                types += "R"
    return stream + RESTORED, cut, types + "R"


class named_samples(unittest.TestCase):
    def test_are_all_on_the_page(self):
        names = {path.name for path in samples.iterdir()} - {"CMakeLists.txt"}
        self.assertEqual(names, {"records.h", "run_with_pipe.cpp", "run_with_pipe.py", "run_with_pipe.cs"})
        text = page.read_text("utf-8")
        for name in names:
            self.assertIn(f"](../samples/{name})", text)

    def test_in_python_are_valid_for_3_8(self):
        ast.parse((samples / "run_with_pipe.py").read_text("utf-8"), feature_version=(3, 8))


class judging_sample(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        cls.command = sample if not sample[0].endswith(".cs") else cls.compiled(sample[0])

    @classmethod
    def compiled(cls, source):
        program = str(cls.folder / "run_with_pipe.exe")
        # The compiler of the .NET Framework, which is part of Windows, supports C# 5.
        result = subprocess.run(
            ["mcs", "-langversion:5", "-warn:4", "-warnaserror+", f"-out:{program}", source],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if (result.returncode, result.stdout) != (0, ""):
            raise RuntimeError(result.stdout)
        return ["mono", program]

    def run_sample(self, stream):
        """The records that it prints, the lines on standard error and the exit status."""
        (self.folder / "stream.plist").write_bytes(stream)
        result = subprocess.run([*self.command, "--records", "stream.plist"], cwd=self.folder,
                                env={**os.environ, "LC_ALL": "C.UTF-8"}, stdin=subprocess.DEVNULL,
                                capture_output=True, timeout=LIMIT, check=False)
        return (list(records(result.stdout.splitlines(True))), result.stderr.decode("utf-8").splitlines(),
                result.returncode)

    def judge(self, stream):
        """The same, with the first letters of the records' types in place of the records."""
        found, lines, status = self.run_sample(stream)
        return "".join(each["Type"][0] for each in found), lines, status

    def test_decides_by_the_records(self):
        for name, (stream, status, words) in VERDICTS.items():
            with self.subTest(name):
                types, lines, found = self.judge(b"".join(stream))
                self.assertEqual((lines, found, len(types)), ([words], status, len(stream)))

    def test_goes_on_after_what_it_cannot_read(self):
        for name, (stream, count, types) in STREAMS.items():
            with self.subTest(name):
                lines = [f"unreadable records: {number}" for number in range(1, count + 1)] + ["restored"]
                self.assertEqual(self.judge(stream), (types, lines, 0))

    def test_does_not_miss_a_completion_that_it_cannot_read(self):
        self.assertEqual(self.judge(RUNNING + RESTORED[:-12]),
                         ("R", ["unreadable records: 1", "not completed: the records end" + WHERE], 4))

    def test_finds_the_end_of_a_record_wherever_a_piece_ends(self):
        for piece in (4096, 65536):
            with self.subTest(piece=piece):
                stream, cut, types = marks_on_seams(piece)
                lines = [f"unreadable records: {number}" for number in range(1, cut + 1)] + ["restored"]
                self.assertEqual(self.judge(stream), (types, lines, 0))

    def test_keeps_a_character_in_which_a_piece_ends(self):
        text = "x" * (65536 - WITH_TEXT.index(b"a mark") - 2) + "\U0001f600"
        found, lines, status = self.run_sample(WITH_TEXT.replace(b"a mark", text.encode("utf-8")))
        self.assertEqual((lines, status), (["restored"], 0))
        self.assertTrue(found[0]["Value"]["Text"] == text, found[0]["Value"]["Text"][-10:])

    def test_says_how_it_is_used(self):
        for words in ([], ["--records"], ["--records", "a", "b"]):
            result = subprocess.run([*self.command, *words], stdin=subprocess.DEVNULL, capture_output=True,
                                    timeout=LIMIT, check=False)
            self.assertEqual((result.returncode, result.stdout, result.stderr[:6]), (64, b"", b"usage:"))


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
        other = result.stderr.decode("utf-8").replace("\r\n", "\n")
        return list(records(result.stdout.splitlines(True))), other, result.returncode

    def test_prints_every_record_of_a_restore(self):
        found, other, status = self.run_sample(
            "--speed", "20", "--", "--restore", "firmware.ipsw", "--ecid", RECOVERY)
        self.assertEqual((status, other), (0, "restored\n"))
        self.assertEqual(len(found), 41)
        self.assertEqual({record["Type"] for record in found}, {"RestoreStatus"})
        self.assertEqual(found[0]["Value"], {
            "Status": "Restoring", "Operation": 201, "Progress": 0, "Orv_OperationName": "Unzipping IPSW"})
        self.assertEqual(found[-1]["Value"], {"Status": "Successful", "Operation": 0, "Progress": 100, "Error": 0})

    def test_prints_the_record_of_a_failing_command(self):
        found, other, status = self.run_sample(
            "--device-info", "--ecid", "00000000000000AB", "--detect-timeout", "0")
        self.assertEqual((status, other), (1, "vandrel's exit status: 4\nfailed: error 4 (vandrel): Failed to find device "
                                              "with ecid 00000000000000AB after 0 seconds\n"))
        self.assertEqual(found, [{"Type": "InternalError", "Value": {
            "Code": 4,
            "Description": "Bad ECID specified",
            "Domain": "vandrel",
            "FailureReason": "Failed to find device with ecid 00000000000000AB after 0 seconds",
        }}])

    def test_passes_other_output_on_to_standard_error(self):
        found, other, status = self.run_sample("--frobnicate")
        self.assertEqual((found, status), ([], 4))
        self.assertRegex(other, r"\A<\?xml ")
        document, end, words = other.partition("</plist>")
        found = plistlib.loads((document + end).encode("utf-8"))
        self.assertEqual((found["Type"], found["Value"]["Code"]), ("InternalError", 3))
        self.assertEqual(words.split("\n"), ["", "", "vandrel's exit status: 3", "not completed: the records end", ""])

    def test_passes_every_argument_unchanged(self):
        words = ["--restore", 'two words "and\\" ends in \\', "--ecid", RECOVERY, "--erase"]
        log = "a log.txt"
        _, _, status = self.run_sample("--speed", "20", "--", "--amr-logfile", log, *words)
        self.assertEqual(status, 0)
        first_line = (self.folder / log).read_text("utf-8").splitlines()[0]
        self.assertIn(" ".join(["", "--amr-logfile", log, *words, "--output-pipe "]), first_line)

    def test_judges_the_ready_scenarios(self):
        # vandrel itself exits with 0 in each.
        verdicts = {
            "restores": (0, "restored\n"),
            "fails": (1, "failed: error 4005 in Restoring image at 42 %\n"),
            "never-completes": (2, "timed out: Aborting, restore did not complete in 6 seconds\n"),
            "unplugged": (3, "connection lost: error 9 in Restoring image at 42 %\n"),
            "two-devices": (0, "restored\n"),
        }
        # The options of a restore, for the station, are no scenario.
        self.assertEqual({path.stem for path in scenarios.iterdir()} - {"restore-options"}, verdicts.keys())
        with ThreadPoolExecutor() as several:
            runs = [several.submit(
                self.run_sample, "--scenario", host_path(scenarios / f"{name}.plist"), "--speed", "10", "--",
                "--restore", "iPhone.ipsw", "--ecid", RECOVERY, "--restore-timeout", "6") for name in verdicts]
        for (name, expected), run in zip(verdicts.items(), runs):
            with self.subTest(name):
                _, other, status = run.result()
                self.assertEqual((status, other), expected)

    def test_is_done_when_the_device_enters_the_restore_system(self):
        _, other, status = self.run_sample(
            "--speed", "20", "--", "--restore", "firmware.ipsw", "--ecid", RECOVERY, "--enter-restore-mode")
        self.assertEqual((status, other), (0, "done\n"))

    def test_reads_a_record_of_many_writes(self):
        text = "x" * 300000
        last = {"Status": "Successful", "Operation": 0, "Progress": 100, "Text": text}
        (self.folder / "long.plist").write_bytes(plistlib.dumps({"Devices": [
            {"Name": "iPhone", "ECID": RECOVERY, "State": "Recovery",
             "Restore": {"Reports": [{"After": 0, "Report": last}]}}]}))
        found, other, status = self.run_sample(
            "--scenario", "long.plist", "--", "--restore", "firmware.ipsw", "--ecid", RECOVERY)
        self.assertEqual((status, other), (0, "restored\n"))
        self.assertEqual([each["Value"]["Text"] == text for each in found], [True])

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
        tests = "named_samples"
    elif kind == "judge":
        printed, *sample = words
        tests = "judging_sample"
    else:
        printed, *sample = words[: words.index("--")]
        program, folder = words[words.index("--") + 1 :]
        scenarios = pathlib.Path(folder)
        tests = "running_sample"
    unittest.main(argv=sys.argv[:1], defaultTest=tests, verbosity=2)
