#!/usr/bin/env python3
"""Restores with large options files, and with malicious ones.

    options_file_test.py [--instrumented] [EMULATOR...] PROGRAM

PROGRAM is a vandrel-sim. Python's plistlib checks the options that reached the device. The limits of time and
memory are generous: they find a program with the wrong complexity, not a slow machine.
--instrumented: PROGRAM is slow, and needs more address space than a limit would leave it. The test
with that limit is skipped, and large options have a tenth of the size.
"""
import os
import plistlib
import resource
import struct
import subprocess
import sys
import tempfile
import threading
import unittest

ECID = "00000000000000AB"
SCENARIO = {
    "Devices": [
        {
            "Name": "phone",
            "ECID": ECID,
            "State": "Recovery",
            "Restore": {
                "Reports": [
                    {"After": 0, "Report": {"Status": "Done", "Operation": 0, "Progress": 100}}
                ]
            },
        }
    ]
}
SECONDS = 60
MEBIBYTE = 1 << 20
LARGEST = 1 << 30

program = []
instrumented = False


class result:
    """One run of the tool: its exit status, records, journal and peak memory in bytes."""

    def __init__(self, folder, options_file, address_space=None):
        scenario, journal, output = (
            os.path.join(folder, name) for name in ("scenario", "journal", "output")
        )
        with open(scenario, "wb") as file:
            plistlib.dump(SCENARIO, file)

        def limit():
            if address_space is not None:
                resource.setrlimit(resource.RLIMIT_AS, (address_space, address_space))

        command = program + ["--scenario", scenario, "--journal", journal, "--"]
        command += ["--restore-plist", options_file, "--ecid", ECID]
        with open(output, "wb") as file:
            process = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=file, preexec_fn=limit
            )
        killer = threading.Timer(SECONDS, process.kill)
        killer.start()
        _, status, usage = os.wait4(process.pid, 0)
        killer.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
        self.status = process.returncode
        self.peak_memory = usage.ru_maxrss * 1024
        self.records = documents_in(output)
        self.journal = documents_in(journal)

    def restore_options(self):
        (call,) = [entry for entry in self.journal if entry["Call"] == "AMRestorableDeviceRestore"]
        return call["Arguments"]["Options"]


def documents_in(path):
    with open(path, "rb") as file:
        return [plistlib.loads(part.lstrip() + b"</plist>") for part in file.read().split(b"</plist>")[:-1]]


def nested(levels):
    """A dictionary that is `levels` containers deep, itself counted."""
    value = []
    for _ in range(levels - 2):
        value = [value]
    return {"Deep": value}


def nested_xml(levels):
    inside = levels - 1
    return (
        b"<plist><dict><key>Deep</key>" + b"<array>" * inside + b"</array>" * inside + b"</dict></plist>"
    )


def nested_binary(levels):
    """Built without plistlib, which recurses: object 0 is the dictionary, 1 the key."""
    objects = [b"\xd1" + struct.pack(">HH", 1, 2), b"\x54Deep"]
    for number in range(2, levels + 1):
        objects.append(b"\xa1" + struct.pack(">H", number + 1) if number < levels else b"\xa0")
    return binary(objects, reference_size=2)


def binary(objects, reference_size):
    offsets, body = [], b"bplist00"
    for each in objects:
        offsets.append(len(body))
        body += each
    table = b"".join(struct.pack(">I", offset) for offset in offsets)
    return body + table + struct.pack(">6xBBQQQ", 4, reference_size, len(objects), 0, len(body))


def billion_laughs():
    entities = [b'<!ENTITY laugh0 "ha">']
    for number in range(1, 10):
        entities.append(b'<!ENTITY laugh%d "%s">' % (number, b"&laugh%d;" % (number - 1) * 10))
    return (
        b'<?xml version="1.0"?><!DOCTYPE plist ['
        + b"".join(entities)
        + b"]><plist><dict><key>A</key><string>&laugh9;</string></dict></plist>"
    )


def external_entity(path):
    return (
        b'<?xml version="1.0"?><!DOCTYPE plist [<!ENTITY other SYSTEM "file://%s">]>'
        b"<plist><dict><key>A</key><string>&other;</string></dict></plist>" % path.encode()
    )


# {"A": {"A": ...}}, the dictionary being its own value.
SELF_REFERENCE = binary([b"\xd1\x01\x00", b"\x51A"], reference_size=1)


def scaled(count):
    return count // 10 if instrumented else count


def large_options():
    """About 100 MB in either format: long strings, and many small dictionaries."""
    options = {"Text %d" % i: ("%06d " % i) * 142_857 for i in range(scaled(100))}
    options["Files"] = [
        {"Path": "Firmware/%d.im4p" % i, "Size": i * 4096, "Trusted": i % 2 == 0}
        for i in range(scaled(50_000))
    ]
    return options


class options_file(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = temporary.name
        self.path = os.path.join(self.folder, "options.plist")

    def write(self, content):
        with open(self.path, "wb") as file:
            file.write(content)

    def run_tool(self, **settings):
        return result(self.folder, self.path, **settings)

    def expect_read_error(self, run, reason):
        self.assertEqual(run.status, 8)
        expected = {
            "Code": 8,
            "Domain": "vandrel",
            "Description": "Read error",
            "FailureReason": "Cannot open file '%s' - %s" % (self.path, reason),
        }
        self.assertEqual(run.records, [{"Type": "InternalError", "Value": expected}])
        self.assertEqual(run.journal[2:], [])

    def expect_refusal(self, content, reason="Invalid format"):
        """The file is refused, with little more memory than for a missing file."""
        self.write(content)
        run = self.run_tool()
        self.expect_read_error(run, reason)
        usual = result(self.folder, os.path.join(self.folder, "missing")).peak_memory
        self.assertLess(run.peak_memory, usual + len(content) + 8 * MEBIBYTE)

    def expect_options(self, options):
        run = self.run_tool()
        self.assertEqual(run.status, 0)
        # assertEqual would print the difference of 100 MB.
        self.assertTrue(run.restore_options() == options)
        return run

    def test_a_large_xml_file_reaches_the_device_as_it_is(self):
        self.write(plistlib.dumps(large_options()))
        self.assertGreater(os.path.getsize(self.path), scaled(100_000_000))
        self.expect_options(large_options())

    def test_a_large_binary_file_reaches_the_device_as_it_is(self):
        self.write(plistlib.dumps(large_options(), fmt=plistlib.FMT_BINARY))
        self.assertGreater(os.path.getsize(self.path), scaled(100_000_000))
        self.expect_options(large_options())

    def test_512_levels_reach_the_device_as_they_are(self):
        for content in (nested_xml(512), nested_binary(512)):
            self.write(content)
            self.expect_options(nested(512))

    def test_513_levels_are_refused(self):
        self.expect_refusal(nested_xml(513))
        self.expect_refusal(nested_binary(513))

    def test_a_million_levels_are_refused(self):
        self.expect_refusal(nested_xml(1_000_000))

    def test_entities_that_grow_without_bound_are_refused(self):
        self.expect_refusal(billion_laughs())

    def test_files_that_entities_name_are_not_read(self):
        secret = os.path.join(self.folder, "secret")
        with open(secret, "w", encoding="ascii") as file:
            file.write("secret")
        self.expect_refusal(external_entity(secret))

    def test_a_binary_file_that_holds_itself_is_refused(self):
        self.expect_refusal(SELF_REFERENCE)

    def test_half_a_file_is_refused(self):
        for format in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            whole = plistlib.dumps({"A": ["one", "two"], "B": 2}, fmt=format)
            self.expect_refusal(whole[: len(whole) // 2])

    def test_an_array_on_top_is_refused(self):
        for format in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            self.expect_refusal(plistlib.dumps([{"A": 1}], fmt=format))

    def test_an_empty_file_is_refused(self):
        self.expect_refusal(b"", "Empty file")

    def test_one_byte_more_than_a_gibibyte_is_refused_unread(self):
        self.write(b"")
        os.truncate(self.path, LARGEST + 1)
        run = self.run_tool()
        self.expect_read_error(
            run,
            "'%s' is 1073741825 bytes (max size is 1073741824 bytes): File is too large to fit "
            "into the buffer [Orv::file:1]" % self.path,
        )
        self.assertLess(run.peak_memory, 512 * MEBIBYTE)

    def test_a_gibibyte_is_read(self):
        self.write(b"")
        os.truncate(self.path, LARGEST)
        run = self.run_tool()
        self.expect_read_error(run, "Invalid format")
        self.assertGreater(run.peak_memory, LARGEST)

    def test_a_file_for_which_there_is_no_memory_is_refused(self):
        if len(program) > 1 or instrumented:
            self.skipTest("the memory of such a program cannot be limited")
        self.write(b"")
        os.truncate(self.path, LARGEST)
        self.expect_read_error(
            self.run_tool(address_space=512 * MEBIBYTE),
            "while allocating 1073741824 bytes for '%s': std::bad_alloc: Could not allocate "
            "buffer for file [Orv::file:2]" % self.path,
        )


if __name__ == "__main__":
    words = sys.argv[1:]
    if words[:1] == ["--instrumented"]:
        instrumented, words = True, words[1:]
    program = words
    unittest.main(argv=sys.argv[:1], verbosity=2)
