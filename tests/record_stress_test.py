#!/usr/bin/env python3
"""Reads many records of eight concurrent producers from a pipe, more slowly than they write.

    record_stress_test.py RECORD_PRODUCERS COUNT

Python's plistlib reads every record.
"""
import os
import plistlib
import subprocess
import sys
import unittest

PRODUCERS = 8
LAST_LINE = b"</plist>\n"

program, count = "", 0


def records(descriptor):
    """Yields each record from the pipe as a value. Anything after the last one is an error."""
    rest = b""
    while piece := os.read(descriptor, 65536):
        *documents, rest = (rest + piece).split(LAST_LINE)
        for document in documents:
            yield plistlib.loads(document + LAST_LINE)
    if rest:
        raise AssertionError(f"the pipe ended in the middle of a record: {rest!r}")


class record_stress(unittest.TestCase):
    def test_no_record_is_lost_torn_or_out_of_its_producers_order(self):
        reader, writer = os.pipe()
        with subprocess.Popen([program, str(writer), str(count)], pass_fds=[writer]) as producers:
            os.close(writer)
            following = [0] * PRODUCERS
            for record in records(reader):
                self.assertEqual(set(record), {"Type", "Value"})
                self.assertEqual(record["Type"], "Place")
                self.assertEqual(set(record["Value"]), {"Producer", "Number"})
                producer = record["Value"]["Producer"]
                self.assertEqual(record["Value"]["Number"], following[producer])
                following[producer] += 1
            os.close(reader)
        self.assertEqual(producers.returncode, 0)
        self.assertEqual(following, [count // PRODUCERS] * PRODUCERS)


if __name__ == "__main__":
    program, count = os.path.abspath(sys.argv[1]), int(sys.argv[2])
    unittest.main(argv=sys.argv[:1], verbosity=2)
