#!/usr/bin/env python3
"""The command "slots": what is in the named ports, and how their names are learnt."""
import json
import os
import plistlib
import subprocess
import sys
import tempfile
import threading
import unittest

from test_station import BOARD, CHIP, a_bench, ecid, emulator, host_path, record, simulator, station

NEXT = "or type end to stop: "


class a_session:
    """A station that asks, and somebody who answers. Whatever happens, it ends with the test."""

    def __init__(self, test, command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.limit = threading.Timer(300, self.process.kill)
        self.limit.start()
        self.test = test
        self.text = ""
        self.seen = 0
        test.addCleanup(self.stop)

    def stop(self):
        self.limit.cancel()
        self.process.kill()
        self.process.wait()
        for stream in (self.process.stdin, self.process.stdout, self.process.stderr):
            stream.close()

    def wait_for(self, wanted):
        """What was written before it, since the last time."""
        while (place := self.text.find(wanted, self.seen)) < 0:
            piece = os.read(self.process.stdout.fileno(), 4096)
            if not piece:
                self.test.fail(f"{wanted!r} was never written, but {self.text[self.seen:]!r}")
            self.text += piece.decode().replace("\r\n", "\n")
        before = self.text[self.seen:place]
        self.seen = place + len(wanted)
        return before

    def type(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def name(self, line=""):
        """Answers the question for the next name. What was written before that."""
        before = self.wait_for(NEXT)
        self.type(line)
        return before

    def end(self):
        """The rest, and the exit status."""
        self.process.stdin.close()
        rest = self.process.stdout.read().decode().replace("\r\n", "\n")
        error = self.process.stderr.read().decode()
        self.process.wait()
        self.test.assertEqual(error, "")
        return rest, self.process.returncode

    def end_with(self, words):
        """Stops naming ports. Its last line has these words."""
        self.name("end")
        self.test.assertEqual(self.end(), (words + "\n", 0))


class a_telephone(a_bench):
    """One that is plugged into one port after the other."""

    def __init__(self):
        super().__init__([[]])
        self.show([])
        self.file = os.path.join(self.folder, "slots.txt")

    def plug(self, *locations):
        """Into this port; or several telephones into several ports."""
        numbers = [ecid(1 + i) for i in range(len(locations))]
        for number, location in zip(numbers, locations):
            self.write(number + ".info", record("DeviceInfo", {
                "ECID": number, "ProductID": 1, "BoardID": BOARD, "ChipID": CHIP, "ProductType": 1, "FusingInfo": 3,
                "LocationID": location, "SerialNumber": "SERIAL", "ProductString": "Phone"}))
        self.show(numbers)

    def slots(self, *words):
        return self.command("slots", "--slots", host_path(self.file), *words, rules={}, with_folder=False)

    def learn(self, test):
        return a_session(test, self.slots("--learn"))

    def content(self):
        with open(self.file, "rb") as file:
            return file.read().decode()


class learning(unittest.TestCase):
    def test_names_one_port_after_the_other_with_one_device(self):
        with a_telephone() as phone:
            phone.plug(0x14100000)
            session = phone.learn(self)
            self.assertIn("press Enter for A1,", session.name())
            session.wait_for("Plug the device into the port for A1.\n")
            # It was there before, so that its port is none to be named.
            phone.pass_lists(1)
            phone.plug(0x14200000)
            session.wait_for("A1 is 0x14200000.\n")
            self.assertEqual(phone.content(), "0x14200000 A1\n")
            # It is in the next port before the name has been typed.
            phone.plug(0x14300000)
            self.assertIn("press Enter for A2,", session.name("B09"))
            session.wait_for("B09 is 0x14300000.\n")
            self.assertEqual(phone.content(), "0x14200000 A1\n0x14300000 B09\n")
            self.assertIn("press Enter for B10,", session.name("end"))
            rest, status = session.end()
            self.assertEqual((rest, status),
                             (f"2 ports learnt. {host_path(phone.file)} has 2 names.\n", 0))

    def test_keeps_what_it_has_learnt_when_it_is_killed(self):
        with a_telephone() as phone:
            session = phone.learn(self)
            session.name()
            session.wait_for("A1.\n")
            phone.plug(0x14200000)
            session.wait_for("A1 is 0x14200000.\n")
            session.name()
            session.wait_for("A2.\n")
            session.process.kill()
            session.process.wait()
            self.assertEqual(phone.content(), "0x14200000 A1\n")
            self.assertEqual([name for name in os.listdir(phone.folder) if name.startswith("slots.txt.")], [])

    def test_keeps_the_other_lines_of_a_file(self):
        with a_telephone() as phone:
            kept = "# the hub on the left\n0x14100000 A1\n\n0X14200000\tA2\n"
            with open(phone.file, "w", encoding="ascii") as file:
                file.write(kept)
            session = phone.learn(self)
            self.assertIn("press Enter for A3,", session.name())
            session.wait_for("A3.\n")
            phone.plug(0x14300000)
            session.wait_for("A3 is")
            session.name("end")
            session.end()
            self.assertEqual(phone.content(), kept + "0x14300000 A3\n")

    def test_gives_a_name_to_another_port_and_says_so(self):
        with a_telephone() as phone:
            with open(phone.file, "w", encoding="ascii") as file:
                file.write("0x14100000 A1\n0x14200000 A2\n")
            session = phone.learn(self)
            session.name("A1")
            session.wait_for("So far, A1 is 0x14100000.\nPlug the device into the port for A1.\n")
            phone.plug(0x14300000)
            session.wait_for("A1 is 0x14300000.\n")
            self.assertEqual(phone.content(), "0x14200000 A2\n0x14300000 A1\n")
            session.end_with(f"1 port learnt. {host_path(phone.file)} has 2 names.")

    QUESTION = ("This port is A1 already (0x14100000). Type y to name it B1, or press Enter to plug the device into "
                "another port: ")

    def give_a_port_another_name(self, phone):
        """The session, which asks whether port A1 gets the name B1."""
        with open(phone.file, "w", encoding="ascii") as file:
            file.write("0x14100000 A1\n")
        session = phone.learn(self)
        session.name("B1")
        session.wait_for("B1.\n")
        phone.plug(0x14100000)
        session.wait_for(self.QUESTION)
        return session

    def test_asks_before_a_port_that_has_a_name_gets_another(self):
        with a_telephone() as phone:
            session = self.give_a_port_another_name(phone)
            session.type("")
            phone.plug(0x14200000)
            session.wait_for("B1 is 0x14200000.\n")
            session.name("B2")
            session.wait_for("B2.\n")
            phone.plug(0x14100000)
            session.wait_for(self.QUESTION.replace("B1", "B2"))
            session.type("y")
            session.wait_for("B2 is 0x14100000.\n")
            self.assertEqual(phone.content(), "0x14200000 B1\n0x14100000 B2\n")
            session.end_with(f"2 ports learnt. {host_path(phone.file)} has 2 names.")

    def test_ends_with_its_input_when_it_asks_whether_a_port_gets_another_name(self):
        with a_telephone() as phone:
            session = self.give_a_port_another_name(phone)
            self.assertEqual(session.end(), (f"\n0 ports learnt. {host_path(phone.file)} has 1 name.\n", 0))
            self.assertEqual(phone.content(), "0x14100000 A1\n")

    def test_does_not_guess_among_devices_that_come_together(self):
        with a_telephone() as phone:
            session = phone.learn(self)
            session.name()
            session.wait_for("A1.\n")
            phone.plug(0x14200000, 0x14300000)
            session.wait_for("2 devices have come at the same time. Unplug them, and plug in one.\n")
            self.assertEqual(phone.content(), "")
            phone.show([])
            phone.pass_lists(1)
            phone.plug(0x14300000)
            session.wait_for("A1 is 0x14300000.\n")
            session.end_with(f"1 port learnt. {host_path(phone.file)} has 1 name.")

    def test_says_that_a_device_does_not_report_its_port_and_how_to_go_on(self):
        with a_telephone() as phone:
            session = phone.learn(self)
            session.name()
            session.wait_for("A1.\n")
            phone.plug(0)
            session.wait_for(f"{ecid(1)} does not report in which port it is.\n")
            session.wait_for("No device has come yet. One that stays in its port is not found again: unplug it for "
                             "some seconds.\n")
            phone.plug(0x14300000)
            session.wait_for("A1 is 0x14300000.\n")
            session.end_with(f"1 port learnt. {host_path(phone.file)} has 1 name.")

    def test_takes_no_name_that_cannot_be_shown(self):
        with a_telephone() as phone:
            session = phone.learn(self)
            session.name("A\x1b[31m1")
            session.wait_for("The name has characters that cannot be shown.\n")
            session.name("end")
            self.assertEqual(session.end()[1], 0)

    def test_ends_with_its_input(self):
        with a_telephone() as phone:
            session = phone.learn(self)
            session.wait_for(NEXT)
            rest, status = session.end()
            self.assertEqual((rest, status), (f"\n0 ports learnt. {host_path(phone.file)} has 0 names.\n", 0))

    def test_refuses_a_file_that_cannot_be_written_before_it_asks(self):
        with a_telephone() as phone:
            for file in (phone.folder + "/none/slots.txt", phone.folder):
                phone.file = file
                done = subprocess.run(phone.slots("--learn"), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                      stderr=subprocess.PIPE, timeout=120)
                self.assertEqual((done.returncode, done.stdout), (2, b""))
                self.assertRegex(done.stderr.decode(), r"^vandrel-station: \S.*(cannot be written|is no file)\r?\n$")
            self.assertEqual(phone.lists(), 0)

    def test_ends_with_status_4_without_a_list(self):
        with a_telephone() as phone:
            phone.write("list", b"no record")
            done = subprocess.run(phone.slots("--learn"), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, timeout=120)
            self.assertEqual(done.returncode, 4)
            self.assertEqual(done.stderr.decode().strip(), "vandrel-station: the tool's list of devices cannot be read")


class what_is_in_the_slots(unittest.TestCase):
    def written(self, phone, *words):
        done = subprocess.run(phone.slots(*words), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=120)
        return done.returncode, done.stdout.decode().replace("\r\n", "\n")

    def test_is_a_table_and_json(self):
        with a_telephone() as phone:
            with open(phone.file, "w", encoding="ascii") as file:
                file.write("0x14100000 A10\n0x14200000 A2\n")
            phone.plug(0x14200000, 0x14300000)
            status, out = self.written(phone)
            self.assertEqual((status, out), (0, (
                "  SLOT  LOCATION    ECID              SERIAL  DEVICE\n"
                f"  A2    0x14200000  {ecid(1)}  SERIAL  Phone\n"
                "  A10   0x14100000  -\n"
                f"  -     0x14300000  {ecid(2)}  SERIAL  Phone\n")))
            status, out = self.written(phone, "--json")
            self.assertTrue(out.isascii())
            whole = json.loads(out)
            self.assertEqual((status, whole["v"], sorted(whole)), (0, 1, ["elsewhere", "slots", "v"]))
            self.assertEqual([(each["slot"], each["location"], each.get("ecid")) for each in whole["slots"]],
                             [("A2", "0x14200000", ecid(1)), ("A10", "0x14100000", None)])
            self.assertEqual([(each["ecid"], each["location"], "slot" in each) for each in whole["elsewhere"]],
                             [(ecid(2), "0x14300000", False)])

    def test_needs_a_file_and_a_list(self):
        with a_telephone() as phone:
            self.assertEqual(self.written(phone), (2, ""))
            with open(phone.file, "w", encoding="ascii") as file:
                file.write("0x14100000 A1\n")
            phone.write("list", b"no record")
            self.assertEqual(self.written(phone), (4, ""))


class a_bench_of_the_simulator(unittest.TestCase):
    def test_is_learnt_as_its_devices_come(self):
        with tempfile.TemporaryDirectory(prefix="bench") as folder:
            def path(name):
                return os.path.join(folder, name)

            devices = [{"Name": f"phone {i}", "ECID": ecid(i), "State": "Recovery", "LocationID": 0x14100000 + i}
                       for i in (1, 2)]
            events = [{"At": 0, "AwaitFile": host_path(path(f"plugged{i}")), "Device": f"phone {i}",
                       "Type": "connected"} for i in (1, 2)]
            with open(path("scenario"), "wb") as file:
                plistlib.dump({"Devices": devices, "Events": events}, file)
            words = [*emulator, station, "slots", "--learn", "--slots", host_path(path("slots.txt")), "--tool",
                     host_path(simulator), "--rule-time", "list_detect=1"]
            for word in ("--scenario", host_path(path("scenario")), "--bench", host_path(path("devices")), "--"):
                words += ["--tool-argument", word]
            session = a_session(self, words)
            for i in (1, 2):
                session.name()
                session.wait_for(f"A{i}.\n")
                with open(path(f"plugged{i}"), "wb"):
                    pass
                session.wait_for(f"A{i} is 0x1410000{i}.\n")
            session.name("end")
            self.assertEqual(session.end()[1], 0)
            with open(path("slots.txt"), encoding="ascii") as file:
                self.assertEqual(file.read(), "0x14100001 A1\n0x14100002 A2\n")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
