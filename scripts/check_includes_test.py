#!/usr/bin/env python3
"""Puts violations into small source trees, and checks that check-includes finds each of them."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).with_name("check-includes")

CLEAN = {
    "launcher/simulated/vandrel_sim.cpp": '#include "driver/entry_point.h"\n#include "simulator/mobile_device/play.h"\n',
    "driver/entry_point.h": '#include "device/session.h"\n',
    "driver/ecid.h": '#include "foundation/text.h"\n',
    "device/session.h": '#include "debug/status.h"\n#include "driver/ecid.h"\n',
    "debug/status_tables.h": "",
    "station/report.cpp": '#include "debug/status_tables.h"\n',
    "debug/status.h": '#include "output/channel.h"\n',
    "output/channel.h": '#include "driver/ecid.h"\n',
    "output/channel_test.cpp": '#include "simulator/mobile_device/play.h"\n',
    "foundation/text.h": '#include "platform/core.h"\n',
    "platform/core.h": "#include <cstdint>\n#if defined(NDEBUG)\n#endif\n",
    "platform/forwarding/load.cpp": '#include "platform/core.h"\n',
    "simulator/core_foundation/object.h": '#include "simulator/core_foundation/accounting.h"\n',
    "simulator/core_foundation/accounting.h": "",
    "simulator/core_foundation/number.h": '#include "simulator/core_foundation/object.h"\n',
    "simulator/core_foundation/test_objects.h": '#include "platform/core.h"\n',
    "simulator/mobile_device/play.h": '#include "simulator/core_foundation/object.h"\n',
    "simulator/mobile_device/play_test.cpp": '#include "simulator/core_foundation/test_objects.h"\n',
    "simulator/mobile_device/test_play.h": '#include "simulator/core_foundation/test_objects.h"\n',
    "tests/value.cpp": '#include "simulator/core_foundation/number.h"\n',
    "samples/run.cpp": '#include "read.h"\n',
    "samples/read.h": "#include <string>\n",
    "tests/capture.h": '#include "output/channel.h"\n',
}


class check_includes(unittest.TestCase):
    def check(self, files):
        """The exit status and output of check-includes for the clean tree with these files."""
        with tempfile.TemporaryDirectory() as folder:
            for name, text in {**CLEAN, **files}.items():
                path = pathlib.Path(folder, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text)
            done = subprocess.run([sys.executable, CHECK, folder], stderr=subprocess.PIPE, text=True)
        return done.returncode, done.stderr.splitlines()

    def assert_only_violation(self, files, violation):
        self.assertEqual(self.check(files), (1, [violation]))

    def test_a_clean_tree_passes(self):
        self.assertEqual(self.check({}), (0, ["Includes: clean"]))

    def test_nothing_includes_backwards(self):
        for path, target, source_zone, target_zone in [
            ("driver/run.cpp", "launcher/launch.h", "driver", "launcher"),
            ("device/table.cpp", "driver/entry_point.h", "device", "driver"),
            ("debug/dump.cpp", "device/session.h", "debug", "device"),
            ("output/record.cpp", "debug/status.h", "output", "debug"),
            ("driver/ecid.cpp", "output/channel.h", "driver values", "output"),
            ("foundation/file.cpp", "driver/ecid.h", "foundation", "driver values"),
            ("platform/clock.cpp", "foundation/text.h", "platform", "foundation"),
        ]:
            with self.subTest(path):
                self.assert_only_violation(
                    {"launcher/launch.h": "", path: f'\n#include "{target}"\n'},
                    f"{path}:2: {source_zone} may not include {target_zone} ({target})")

    def test_the_core_includes_no_supplier_of_the_platform(self):
        self.assert_only_violation(
            {"device/table.cpp": '#include "simulator/mobile_device/play.h"\n'},
            "device/table.cpp:1: device may not include simulated MobileDevice (simulator/mobile_device/play.h)")
        self.assert_only_violation(
            {"platform/forwarding/load.h": "",
             "platform/clock.cpp": '#include "platform/forwarding/load.h"\n'},
            "platform/clock.cpp:1: platform may not include forwarding (platform/forwarding/load.h)")

    def test_a_sample_stands_alone(self):
        self.assert_only_violation(
            {"samples/run.cpp": '#include "foundation/text.h"\n'},
            "samples/run.cpp:1: samples may not include foundation (foundation/text.h)")

    def test_the_station_includes_of_the_core_only_its_tables_of_texts(self):
        self.assert_only_violation(
            {"station/bench.cpp": '#include "debug/status.h"\n'},
            "station/bench.cpp:1: station may not include debug/status.h, which is internal to debug")
        for target, zone in [("output/channel.h", "output"), ("driver/ecid.h", "driver values"),
                             ("platform/core.h", "platform")]:
            with self.subTest(target):
                self.assert_only_violation(
                    {"station/bench.cpp": f'#include "{target}"\n'},
                    f"station/bench.cpp:1: station may not include {zone} ({target})")

    def test_a_supplier_includes_only_the_platform(self):
        self.assert_only_violation(
            {"simulator/mobile_device/play.cpp": '#include "foundation/text.h"\n'},
            "simulator/mobile_device/play.cpp:1: simulated MobileDevice may not include foundation (foundation/text.h)")
        self.assert_only_violation(
            {"platform/forwarding/more.cpp": '#include "simulator/mobile_device/play.h"\n'},
            "platform/forwarding/more.cpp:1: forwarding may not include simulated MobileDevice (simulator/mobile_device/play.h)")

    def test_one_library_of_the_simulator_includes_one_header_of_the_other(self):
        for path in ["simulator/mobile_device/journal.cpp", "simulator/mobile_device/journal_test.cpp",
                     "simulator/mobile_device/test_journal.h"]:
            for target in ["simulator/core_foundation/number.h",
                           "simulator/core_foundation/accounting.h"]:
                with self.subTest(path=path, target=target):
                    self.assert_only_violation(
                        {path: f'#include "{target}"\n'},
                        f"{path}:1: simulated MobileDevice may not include {target}, "
                        "which is internal to simulated CoreFoundation")

    def test_the_other_library_of_the_simulator_includes_nothing_of_the_first(self):
        self.assert_only_violation(
            {"simulator/core_foundation/number.cpp": '#include "simulator/mobile_device/play.h"\n'},
            "simulator/core_foundation/number.cpp:1: simulated CoreFoundation may not include "
            "simulated MobileDevice (simulator/mobile_device/play.h)")

    def test_only_tests_include_what_is_for_tests(self):
        self.assert_only_violation(
            {"output/record.cpp": '#include "tests/capture.h"\n'},
            "output/record.cpp:1: includes tests/capture.h, which is for tests only")

    def test_headers_do_not_form_an_include_cycle(self):
        self.assert_only_violation(
            {"device/a.h": '#include "device/b.h"\n', "device/b.h": '\n#include "device/c.h"\n',
             "device/c.h": '#include "device/b.h"\n'},
            "device/b.h:2: include cycle: device/b.h -> device/c.h -> device/b.h")

    def test_an_include_is_relative_to_the_root(self):
        for target in ["session.h", "../device/session.h", "device/absent.h"]:
            with self.subTest(target):
                self.assert_only_violation(
                    {"device/table.cpp": f'#include "{target}"\n'},
                    f'device/table.cpp:1: "{target}" is not a file relative to the project\'s root')

    def test_no_source_depends_on_the_host(self):
        for line, macro in [("#ifdef _WIN32", "_WIN32"), ("#ifndef _WIN64", "_WIN64"),
                            ("# if !defined(__linux__)", "__linux__"), ("#elif __MINGW32__", "__MINGW32__")]:
            with self.subTest(line):
                self.assert_only_violation(
                    {"tests/capture.cpp": line + "\n"},
                    f"tests/capture.cpp:1: depends on the host by {macro}; use a pair of sources "
                    "for code that differs between hosts")

    def test_only_tests_include_what_can_keep_a_program_from_ending(self):
        for header in ("latch", "barrier", "semaphore"):
            with self.subTest(header):
                self.assert_only_violation(
                    {"foundation/a.cpp": f"#include <{header}>\n", "foundation/a_test.cpp": f"#include <{header}>\n"},
                    f"foundation/a.cpp:1: <{header}> can keep a program for Windows from ending; use a mutex and a "
                    "condition variable")

    def test_a_folder_without_a_rule_is_refused(self):
        self.assert_only_violation(
            {"gadgets/a.cpp": '#include "platform/core.h"\n'},
            "gadgets/a.cpp:1: no rule for the includes of gadgets")


if __name__ == "__main__":
    unittest.main()
