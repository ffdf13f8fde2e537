#!/usr/bin/env python3
"""The declarations of Apple's functions and constants against the list of those that are forwarded:
declarations_test.py PROJECT.

Without a line in forwarded.inc, a function that the core uses would first be missing where the product is
linked.
"""
import pathlib
import re
import sys
import unittest

platform = pathlib.Path(sys.argv[1]) / "platform"
forwarded_inc = (platform / "forwarding" / "forwarded.inc").read_text(encoding="utf-8")


def declared(header):
    code = re.sub(r"//.*|#.*(\\\n.*)*", "", (platform / header).read_text(encoding="utf-8"))
    functions = re.findall(r"^[A-Za-z_:\d* \n]*?[ *\n](_*(?:CF|AM)\w+)\([^;{}]*\);", code, re.MULTILINE)
    constants = re.findall(r"^extern const \w+ (\w+);", code, re.MULTILINE)
    return set(functions) | set(constants)


def forwarded(library):
    return set(re.findall(rf"^[A-Z]+\({library}, (\w+)", forwarded_inc, re.MULTILINE))


def not_forwarded():
    return set(re.findall(r"^//   (k?CF\w+)$", forwarded_inc, re.MULTILINE))


class declarations(unittest.TestCase):
    def test_a_declaration_of_each_kind_is_found(self):
        self.assertLessEqual({"CFRetain", "CFErrorCreate", "__CFStringMakeConstantString",
                              "CFDictionaryCreateMutable", "kCFTypeDictionaryKeyCallBacks"},
                             declared("core_foundation.h"))
        self.assertIn("AMRestorableDeviceRegisterForNotifications", declared("mobile_device.h"))

    def test_what_is_declared_is_forwarded_or_named_as_for_the_simulator_and_tests(self):
        self.assertEqual(declared("core_foundation.h"), forwarded("core_foundation") | not_forwarded())
        self.assertEqual(declared("mobile_device.h"), forwarded("mobile_device"))

    def test_what_is_for_the_simulator_and_tests_is_not_forwarded(self):
        self.assertEqual(forwarded("core_foundation") & not_forwarded(), set())


unittest.main(argv=sys.argv[:1], verbosity=2)
