#!/usr/bin/env python3
"""The command "bundles", and runs over a folder of bundles."""
import json
import os
import plistlib
import struct
import sys
import time
import unittest
import zipfile
import zlib

from test_station import BOARD, MANIFEST, a_bench, a_folder, a_run, completion, emulator, host_path, manifest, on_windows

GIB = 2**30


def write_large_zip(path, content):
    """A ZIP64 file of 5 GB, which takes no room: an image of zeros, which lies in a hole, and a manifest."""
    image = 5 * GIB

    def local(name, data_size, is_large):
        extra = struct.pack("<HHQQ", 1, 16, data_size, data_size) if is_large else b""
        size = 0xFFFFFFFF if is_large else data_size
        return struct.pack("<4sHHHHHIIIHH", b"PK\3\4", 45, 0, 0, 0, 0, 0, size, size, len(name), len(extra)) + name + extra

    def central(name, data_size, offset, checksum):
        extra = struct.pack("<HHQQQ", 1, 24, data_size, data_size, offset)
        return struct.pack("<4sHHHHHHIIIHHHHHII", b"PK\1\2", 45, 45, 0, 0, 0, 0, checksum, 0xFFFFFFFF, 0xFFFFFFFF,
                           len(name), len(extra), 0, 0, 0, 0, 0xFFFFFFFF) + name + extra

    with open(path, "wb") as file:
        file.write(local(b"image.dmg", image, True))
        file.seek(image, os.SEEK_CUR)
        second = file.tell()
        file.write(local(MANIFEST.encode(), len(content), False) + content)
        directory = file.tell()
        file.write(central(b"image.dmg", image, 0, 0) +
                   central(MANIFEST.encode(), len(content), second, zlib.crc32(content)))
        end = file.tell()
        file.write(struct.pack("<4sQHHIIQQQQ", b"PK\6\6", 44, 45, 45, 0, 0, 2, 2, end - directory, directory))
        file.write(struct.pack("<4sIQI", b"PK\6\7", 0, end, 1))
        file.write(struct.pack("<4sHHHHIIH", b"PK\5\6", 0, 0, 0xFFFF, 0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0))


class the_command(unittest.TestCase):
    def test_shows_version_build_size_and_models_newest_first(self):
        with a_bench([]) as bench:
            folder = a_folder(bench)
            folder.add("old.ipsw", build="20A362", version="16.0")
            folder.add("new.IPSW")
            folder.add("pad.ipsw", models=["iPad13,1", "iPad13,2"])
            folder.write("notes.txt", b"no bundle")
            status, out, error = folder.show()
            self.assertEqual((status, error), (0, ""))
            lines = [" ".join(line.split()) for line in out.splitlines()]
            size = os.path.getsize(folder.file("new.IPSW"))
            pad = os.path.getsize(folder.file("pad.ipsw"))
            self.assertEqual(lines[:-1], [
                "VERSION BUILD SIZE SUMS FILE MODELS",
                f"17.1 21B80 {pad} bytes - pad.ipsw iPad13,1, iPad13,2",
                f"17.1 21B80 {size} bytes - new.IPSW iPhone14,2",
                f"16.0 20A362 {os.path.getsize(folder.file('old.ipsw'))} bytes - old.ipsw iPhone14,2"])
            self.assertRegex(lines[-1], r"^3 bundles, \d+ bytes\.$")

    def test_writes_json(self):
        with a_bench([]) as bench:
            folder = a_folder(bench)
            folder.add("a.ipsw", behaviors=["Update"])
            folder.write("b.ipsw", b"none")
            status, files = folder.listed()
            self.assertEqual(status, 1)
            self.assertEqual(files["a.ipsw"], {
                "version": "17.1", "build": "21B80", "models": ["iPhone14,2"], "unpacked_size": 5 + len(manifest(behaviors=["Update"])),
                "size": os.path.getsize(folder.file("a.ipsw")), "erase": False, "update": True, "verified": False})
            self.assertEqual(files["b.ipsw"], {
                "problem": "is no IPSW, or only the first part of one: it has no directory at its end", "passing": False})

    def test_has_a_status_for_each_outcome(self):
        with a_bench([]) as bench:
            folder = a_folder(bench)
            self.assertEqual(folder.show(), (3, "No file in this folder has a name that ends in .ipsw.\n", ""))
            folder.add("a.ipsw")
            self.assertEqual(folder.show()[0], 0)
            folder.write("b.ipsw", b"")
            self.assertEqual(folder.show()[0], 1)
            folder.path += " that is not there"
            status, out, error = folder.show()
            self.assertEqual((status, out), (2, ""))
            self.assertRegex(error, r"^vandrel-station: the folder .* that is not there cannot be read: .*\n$")

    def test_verifies_the_sums_once(self):
        with a_bench([]) as bench:
            folder = a_folder(bench)
            for name in ("good.ipsw", "bad.ipsw", "cut.ipsw"):
                folder.add(name, image=b"image" * 1000)
            for name, old, new in (("bad.ipsw", b"imageimage", b"imageIMAGE"), ("cut.ipsw", b"\x88\x13\0\0\x88\x13\0\0", b"\x88\x13\0\0\x89\x13\0\0")):
                with open(folder.file(name), "rb") as file:
                    content = file.read()
                self.assertIn(old, content)
                folder.write(name, content.replace(old, new))
            status, files = folder.listed("--verify")
            self.assertEqual(status, 1)
            self.assertTrue(files["good.ipsw"]["verified"])
            self.assertEqual(files["bad.ipsw"]["problem"], "is a broken IPSW: image.dmg in it is not what it was: copy it again")
            status, out, error = folder.show("--verify")
            self.assertEqual((status, error), (1, ""))
            self.assertIn("  right  good.ipsw  iPhone14,2\n", out)
            # What is known to be broken is not restored with.
            self.assertIn("problem", folder.listed()[1]["bad.ipsw"])
            for same in (os.path.join(folder.path, ""), os.path.join(folder.path, ".")):
                folder.path = same
                self.assertIn("problem", folder.listed()[1]["bad.ipsw"], same)


class bad_files(unittest.TestCase):
    def make(self, folder):
        zeros = b"\0" * (100 * 2**20)
        folder.add("bomb.ipsw", content=zeros, compression=zipfile.ZIP_DEFLATED)
        dictionary = manifest()
        large = dictionary.replace(b"</dict>\n</plist>", b"<key>More</key><string>" + zeros.replace(b"\0", b"x") + b"</string></dict></plist>")
        self.assertGreater(len(large), len(zeros))
        folder.add("large.ipsw", content=large)
        folder.add("elements.ipsw", content=b"<plist><dict>" + b"<a/>" * 3_000_000 + b"</dict></plist>")
        folder.add("attributes.ipsw", content=b"<plist><dict><a" + b" a=''" * 2_500_000 + b"/></dict></plist>")
        folder.add("deep.ipsw", content=b"<plist><dict>" + b"<a>" * 400_000 + b"</dict></plist>")
        folder.add("binary.ipsw", content=plistlib.dumps({}, fmt=plistlib.FMT_BINARY))
        with zipfile.ZipFile(folder.file("other.ipsw"), "w") as made:
            made.writestr("image.dmg", b"image")
        folder.age("other.ipsw")
        folder.add("good.ipsw")
        with open(folder.file("good.ipsw"), "rb") as file:
            good = file.read()
        end = good.rindex(b"PK\5\6")
        folder.write("part.ipsw", good[:end])
        # A chip without 0x, without a board, and numbers that are none.
        folder.add("identities.ipsw", content=manifest(BuildIdentities=[
            {"ApChipID": "8110", "ApBoardID": "0x0C"}, {"ApChipID": "0x8110"}, {"ApBoardID": "0x0C"},
            {"ApChipID": "0x811Z", "ApBoardID": "0x0C"}, {"ApChipID": "0x8110", "ApBoardID": "0x1234567890"}, "0x8110"]))
        folder.add("upper.ipsw", content=manifest(BuildIdentities=[{"ApChipID": "0X8110", "ApBoardID": "0X0C"}]))
        folder.add("packed.ipsw", compression=zipfile.ZIP_DEFLATED)
        with open(folder.file("packed.ipsw"), "rb") as file:
            packed = file.read()
        data = packed.index(MANIFEST.encode()) + len(MANIFEST)
        # No deflate stream begins with the third type of block.
        folder.write("damaged.ipsw", packed[:data] + b"\xFF" * 20 + packed[data + 20:])
        # What says where a directory with 64-bit numbers is, but there is none.
        for name, place in (("far.ipsw", 2**40), ("near.ipsw", 0)):
            folder.write(name, good[:end] + struct.pack("<4sIQI", b"PK\6\7", 0, place, 1) + good[end:])
        folder.write("empty.ipsw", b"")
        # The number of entries, the size of the directory, its place.
        for name, place, value in (("entries.ipsw", 10, b"\xFF\xFE"), ("size.ipsw", 12, b"\xFF\xFF\xFF\x7F"),
                                   ("place.ipsw", 16, b"\xFF\xFF\xFF\x7F"), ("directory.ipsw", 16, b"\0\0\0\0")):
            folder.write(name, good[:end + place] + value + good[end + place + len(value):])
        # As many entries as a file of 5 GB could have.
        end64 = struct.pack("<4sQHHIIQQQQ", b"PK\6\6", 44, 45, 45, 0, 0, 100_000_000, 100_000_000, 4_900_000_000, 0)
        with open(folder.file("claims.ipsw"), "wb") as file:
            file.seek(5 * GIB)
            file.write(end64 + struct.pack("<4sIQI", b"PK\6\7", 0, 5 * GIB, 1) +
                       struct.pack("<4sHHHHIIH", b"PK\5\6", 0, 0, 0xFFFF, 0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0))
        folder.age("claims.ipsw")
        write_large_zip(folder.file("large_good.ipsw"), dictionary)
        folder.age("large_good.ipsw")
        os.mkdir(folder.file("folder.ipsw"))
        if not on_windows:
            os.mkfifo(folder.file("pipe.ipsw"))
            os.symlink(folder.file("pipe.ipsw"), folder.file("link.ipsw"))

    def test_have_one_sentence_each_in_little_time(self):
        with a_bench([]) as bench:
            folder = a_folder(bench)
            self.make(folder)
            begun = time.monotonic()
            status, files = folder.listed()
            took = time.monotonic() - begun
            self.assertEqual(status, 1)
            too_large = "is no IPSW that can be used: its BuildManifest.plist is too large"
            impossible = "is a broken IPSW: its directory cannot be what it says"
            part = "is no IPSW, or only the first part of one: it has no directory at its end"
            no_file = "is no IPSW: it is no file"
            expected = {
                "bomb.ipsw": too_large, "large.ipsw": too_large, "elements.ipsw": too_large,
                "attributes.ipsw": too_large,
                "deep.ipsw": "is no IPSW: its BuildManifest.plist is no property list with a dictionary",
                "binary.ipsw": "is no IPSW: its BuildManifest.plist is a binary property list; it has to be an XML one",
                "other.ipsw": "is no IPSW: it has no BuildManifest.plist",
                "identities.ipsw": "is no IPSW that can be used: its BuildManifest.plist has no build identity",
                "damaged.ipsw": "is a broken IPSW: its BuildManifest.plist cannot be unpacked",
                "part.ipsw": part, "empty.ipsw": part, "entries.ipsw": impossible, "size.ipsw": impossible,
                "place.ipsw": impossible, "claims.ipsw": impossible, "folder.ipsw": no_file}
            if not on_windows:
                expected.update({"pipe.ipsw": no_file, "link.ipsw": no_file})
            found = {name: each.get("problem") for name, each in files.items()}
            for name in ("directory.ipsw", "far.ipsw", "near.ipsw"):
                self.assertRegex(found.pop(name), r"^is no IPSW that can be read: ", name)
            self.assertEqual(found, {**expected, **dict.fromkeys(
                ("good.ipsw", "upper.ipsw", "packed.ipsw", "large_good.ipsw"))})
            self.assertEqual(files["large_good.ipsw"]["unpacked_size"], 5 * GIB + len(manifest()))
            # Each in under a second; of most, a hundredth of one.
            self.assertLess(took, len(files))

    def test_are_refused_by_a_restore_too(self):
        with a_bench([[completion()]]) as bench:
            folder = a_folder(bench)
            folder.write("part.ipsw", b"PK")
            result = bench.run("restore", "--bundle", host_path(folder.file("part.ipsw")), "--all")
            self.assertEqual((result.returncode, bench.journal()), (2, []))
            self.assertIn("part.ipsw is no IPSW, or only the first part of one", result.stderr.decode())
            if not on_windows:
                os.mkfifo(folder.file("pipe.ipsw"))
                result = bench.run("restore", "--bundle", folder.file("pipe.ipsw"), "--all")
                self.assertEqual(result.returncode, 2)
                self.assertIn("pipe.ipsw is no IPSW: it is no file", result.stderr.decode())


class many_files(unittest.TestCase):
    def test_that_were_read_before_take_less_than_a_second(self):
        with a_bench([]) as bench:
            folder = a_folder(bench)
            for i in range(300):
                folder.add(f"{i}.ipsw", build=f"21B{i + 1}")
            self.assertEqual(folder.show()[0], 0)
            # Opening them fails the test, since they have become something else with the same size and time.
            for i in range(300):
                folder.write(f"{i}.ipsw", b"x" * os.path.getsize(folder.file(f"{i}.ipsw")))
            begun = time.monotonic()
            status, out, _ = folder.show()
            self.assertLess(time.monotonic() - begun, 10 if emulator else 1)
            self.assertEqual((status, len(out.splitlines())), (0, 302))


class a_restore(unittest.TestCase):
    def restore(self, bench, folder, *words, **more):
        return bench.run("restore", "--bundles", host_path(folder.path), *words, **more)

    def test_gives_each_device_the_newest_bundle_for_it(self):
        with a_bench([[completion()]] * 3) as bench:
            folder = a_folder(bench)
            info = os.path.join(bench.folder, bench.ecids[1] + ".info")
            with open(info, "rb") as file:
                other = file.read().replace(b"<integer>%d</integer>" % BOARD, b"<integer>%d</integer>" % (BOARD + 1))
            bench.write(bench.ecids[1] + ".info", other)
            bench.write(bench.ecids[2] + ".info", other.replace(b"<integer>%d</integer>" % (BOARD + 1), b"<integer>99</integer>"))
            folder.add("old.ipsw", build="20A362", version="16.0")
            folder.add("new.ipsw")
            folder.add("update.ipsw", build="21C1", behaviors=["Update"])
            folder.add("other.ipsw", build="19H12", version="15.7", board=BOARD + 1, models=["iPhone14,3"])
            result = self.restore(bench, folder, "--all", "--erase", "--yes", "--json")
            self.assertEqual((result.returncode, result.stderr), (0, b""))
            begun = {event["ecid"]: event for event in bench.events() if event["event"] == "try_started"}
            self.assertEqual({ecid: (os.path.basename(event["bundle"].replace("\\", "/")), event["bundle_version"], event["bundle_build"])
                              for ecid, event in begun.items()},
                             {bench.ecids[0]: ("new.ipsw", "17.1", "21B80"), bench.ecids[1]: ("other.ipsw", "15.7", "19H12")})
            for ecid, name in ((bench.ecids[0], "new.ipsw"), (bench.ecids[1], "other.ipsw")):
                with open(os.path.join(bench.run_folder, f"{ecid}-visit1-try1", "command.txt"), encoding="utf-8") as file:
                    self.assertIn(name, file.read())
            devices = {device["ecid"]: device for device in bench.summary()["devices"]}
            self.assertEqual([devices[ecid].get("model") for ecid in bench.ecids], ["iPhone14,2", "iPhone14,3", None])
            self.assertEqual([devices[ecid].get("bundle_build") for ecid in bench.ecids], ["21B80", "19H12", None])
            self.assertEqual(devices[bench.ecids[2]]["reason"], "no_bundle")

    def test_that_keeps_data_takes_a_bundle_for_that(self):
        with a_bench([[completion()]]) as bench:
            folder = a_folder(bench)
            folder.add("erase.ipsw", build="21C1", behaviors=["Erase"])
            folder.add("update.ipsw", build="21B80", behaviors=["Update"])
            self.assertEqual(self.restore(bench, folder, "--all").returncode, 0)
            (started,) = [event for event in bench.events() if event["event"] == "try_started"]
            self.assertEqual(started["bundle_build"], "21B80")

    def test_explains_its_choice_in_a_dry_run(self):
        with a_bench([[completion()]] * 2) as bench:
            folder = a_folder(bench)
            folder.add("old.ipsw", build="20A362", version="16.0")
            folder.add("new.ipsw")
            folder.write("part.ipsw", b"")
            result = self.restore(bench, folder, "--all", "--erase", "--dry-run")
            out = result.stdout.decode().replace("\r\n", "\n")
            self.assertEqual((result.returncode, result.stderr, bench.journal()), (0, b"", []))
            self.assertIn('           1 file in it cannot be used: the command "bundles" says why\n'
                          "           new.ipsw\n"
                          f"             17.1 (21B80), {os.path.getsize(folder.file('new.ipsw'))} bytes, for 2 devices\n"
                          "             the newest of 2 that fit; not 16.0 (20A362)\n", out)
            self.assertIn(f"  {bench.ecids[0]}  SERIAL0  iPhone14,2  Phone   17.1 (21B80)\n", out)

    def test_without_a_bundle_for_it_touches_nothing(self):
        with a_bench([[completion()]]) as bench:
            folder = a_folder(bench)
            for words, status, why in ((("--all",), 2, f"{host_path(folder.path)} has no bundle that can be used"),
                                       (("--all",), 3, "no bundle in the folder is for what was chosen; nothing was touched")):
                result = self.restore(bench, folder, *words)
                self.assertEqual((result.returncode, result.stderr.decode().strip()), (status, "vandrel-station: " + why))
                folder.add("other.ipsw", board=BOARD + 1)
            self.assertEqual(bench.journal(), [])

    def test_in_a_watch_takes_what_the_folder_has_when_a_device_comes(self):
        with a_bench([[completion()]] * 2) as bench:
            folder = a_folder(bench)
            folder.add("old.ipsw", build="20A362", version="16.0")
            bench.show(bench.ecids[:1])
            run = a_run(self, bench, command=bench.command(
                "restore", "--bundles", host_path(folder.path), "--all", "--watch", "--count", "2", "--json"))
            run.wait_for("device_ended", ecid=bench.ecids[0], state="restored")
            folder.add("new.part")
            os.rename(folder.file("new.part"), folder.file("new.ipsw"))
            # The folder is looked into when a list begins, and a list that is under way may show the device.
            bench.pass_lists(1)
            bench.show(bench.ecids)
            self.assertEqual(run.wait_for("try_started", ecid=bench.ecids[1])["bundle_build"], "21B80")
            self.assertEqual(run.wait(), 0)
            self.assertEqual([event["bundle_build"] for event in run.named("try_started")], ["20A362", "21B80"])

    def test_in_a_watch_waits_for_the_bundle_of_a_device(self):
        with a_bench([[completion()]]) as bench:
            folder = a_folder(bench)
            run = a_run(self, bench, command=bench.command(
                "restore", "--bundles", host_path(folder.path), "--all", "--watch", "--count", "1", "--json"))
            self.assertEqual(run.wait_for("device_left_alone")["reason"], "no_bundle")
            folder.add("new.part")
            os.rename(folder.file("new.part"), folder.file("new.ipsw"))
            run.wait_for("device_ended", ecid=bench.ecids[0], state="restored")
            self.assertEqual(run.wait(), 0)

    def test_a_list_names_the_newest_bundle(self):
        with a_bench([[]]) as bench:
            folder = a_folder(bench)
            folder.add("old.ipsw", build="20A362", version="16.0")
            folder.add("new.ipsw")
            words = ("list", "--bundles", host_path(folder.path))
            result = bench.run(*words, "--json", rules={}, with_folder=False)
            (device,) = json.loads(result.stdout)["devices"]
            self.assertEqual((device["model"], device["fits"], device["bundle_build"]), ("iPhone14,2", True, "21B80"))
            result = bench.run(*words, rules={}, with_folder=False)
            self.assertIn("  iPhone14,2  17.1 (21B80)\n", result.stdout.decode().replace("\r\n", "\n"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
