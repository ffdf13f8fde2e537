#!/usr/bin/env python3
"""Opens the page of a run in a browser without a window, and looks at it. Exits with 77 where there is no
browser."""
import collections
import http.server
import json
import os
import resource
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile
import threading
import unittest
import zlib

from test_page import page, row_of
from test_station import a_bench, completion, record, report, station, BOARD, CHIP

SKIPPED = 77
DEVICES, OPERATIONS = 64, 500
# Of a page that large, beyond what the browser needs for a page with nothing on it, which is about a second. It is
# time of the processor, in which other programs have no part.
LONGEST_OPENING_S = 1
MARKUP = "<script>document.title='run'</script><img src='http://127.0.0.1/'>"

browser = shutil.which("chromium")


def browse(path, *words):
    """What the browser writes about a page that it has loaded whole."""
    with tempfile.TemporaryDirectory(prefix="profile ") as profile:
        return subprocess.run(
            [browser, "--headless", "--no-sandbox", "--no-zygote", "--disable-gpu", "--disable-background-networking",
             "--no-first-run", "--hide-scrollbars", "--window-size=600,500", f"--user-data-dir={profile}", *words,
             "file://" + path],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=120,
            check=True).stdout.decode()


def pixels_of(path):
    """The rows of a PNG with 8 bits a colour and without interlacing, each as its bytes, and the bytes of a pixel."""
    with open(path, "rb") as file:
        content = file.read()
    width, height, depth, kind, _, _, interlaced = struct.unpack(">IIBBBBB", content[16:29])
    size = {2: 3, 6: 4}[kind]
    assert (depth, interlaced) == (8, 0)
    packed, place = b"", 8
    while place < len(content):
        length, name = struct.unpack(">I4s", content[place:place + 8])
        packed += content[place + 8:place + 8 + length] if name == b"IDAT" else b""
        place += length + 12
    data, stride = zlib.decompress(packed), width * size
    rows, above = [], bytes(stride)
    for y in range(height):
        start = y * (stride + 1)
        above = unfiltered(data[start], bytearray(data[start + 1:start + 1 + stride]), above, size)
        rows.append(above)
    return rows, size


def unfiltered(kind, row, above, size):
    for i in range(len(row) if kind else 0):
        left, up, corner = (row[i - size], above[i], above[i - size]) if i >= size else (0, above[i], 0)
        if kind == 4:
            estimate = left + up - corner
            nearest = min((abs(estimate - left), 0, left), (abs(estimate - up), 1, up),
                          (abs(estimate - corner), 2, corner))[2]
        row[i] = row[i] + (left if kind == 1 else up if kind == 2 else (left + up) // 2 if kind == 3 else nearest) & 255
    return bytes(row)


def colours(path):
    """How many pixels each colour has."""
    rows, size = pixels_of(path)
    return collections.Counter(row[i:i + 3] for row in rows for i in range(0, len(row), size))


class a_page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scripts = [[report(13, 10), report(14, 20), completion()],
                   [report(13, 40), report(13, 42, status="Failed", Error=4005)]]
        cls.bench = a_bench(scripts)
        cls.addClassCleanup(cls.bench.kept.cleanup)
        cls.bench.write(cls.bench.ecids[1] + ".info", record("DeviceInfo", {
            "ECID": cls.bench.ecids[1], "ChipID": CHIP, "BoardID": BOARD, "LocationID": 1, "SerialNumber": MARKUP,
            "ProductString": MARKUP}))
        assert cls.bench.restore("--linger", "0.1").returncode == 1
        subprocess.run([station, "report", cls.bench.run_folder], stdout=subprocess.DEVNULL, check=True, timeout=60)
        cls.path = os.path.join(cls.bench.run_folder, "report.html")

    def picture(self, name, *words):
        path = os.path.join(self.bench.folder, name)
        browse(self.path, f"--screenshot={path}", *words)
        return colours(path)

    def test_has_the_rows_of_the_summary(self):
        made = page(browse(self.path, "--dump-dom"))
        self.assertEqual(sorted(made.devices()), sorted(map(row_of, self.bench.summary()["devices"])))
        self.assertIn(MARKUP, [row[2] for row in made.devices()])
        self.assertNotIn("script", [tag for tag, _ in made.elements])
        self.assertEqual(made.texts["title"][0], "Restore: run")

    def test_is_seen_on_light_and_dark_screens(self):
        light, dark = self.picture("light.png"), self.picture("dark.png", "--force-dark-mode")
        for found in (light, dark):
            # Text is drawn in many shades, and pieces of the picture in several colours.
            self.assertGreater(len(found), 50)
        brightness = [sum(found.most_common(1)[0][0]) / 3 for found in (light, dark)]
        self.assertGreater(brightness[0], 240)
        self.assertLess(brightness[1], 60)


class requests(unittest.TestCase):
    def test_are_not_made_whatever_is_on_the_page(self):
        with open(self.make_page(), encoding="utf-8") as file:
            content = file.read()
        asked = []

        class handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                asked.append(self.path)
                self.send_error(404)

            def log_message(self, *_):
                pass

        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        address = f"http://127.0.0.1:{server.server_port}"
        # As if a text had become markup.
        content = content.replace("<h1>", f"<img src='{address}/image'><link rel='stylesheet' href='{address}/style'>"
                                  f"<script src='{address}/script'></script><h1>", 1)
        policy = '<meta http-equiv="Content-Security-Policy"'
        self.assertIn(policy, content)
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "page.html")
            for text, expected in ((content, []), (content.replace(policy, "<meta "), ["/image", "/script", "/style"])):
                with open(path, "w", encoding="utf-8") as file:
                    file.write(text)
                browse(path, "--dump-dom")
                self.assertEqual(sorted(asked), expected)

    def make_page(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        return large_run(folder.name, 1, 1)


def large_run(folder, devices, operations):
    """The page of a run with so many devices, each with so many operations."""
    ecids = [f"{number:016X}" for number in range(1, devices + 1)]
    with open(os.path.join(folder, "summary.json"), "w", encoding="ascii") as file:
        json.dump({"v": 1, "state": "running", "run": "large", "version": "1.0.0", "command": "restore", "erase": True,
                   "started": "2026-11-22T08:00:00.000Z",
                   "devices": [{"ecid": ecid, "state": "running"} for ecid in ecids]}, file)
    with open(os.path.join(folder, "events.jsonl"), "w", encoding="ascii") as file:
        def log(t, event, ecid, **keys):
            print(json.dumps({"v": 1, "t": t, "event": event, "ecid": ecid, **keys}), file=file)
        for number, ecid in enumerate(ecids):
            log(0, "device_found", ecid, serial_number=f"SERIAL{number}", slot=f"A{number}", model="iPhone14,2")
            log(0, "try_started", ecid)
        for i in range(operations):
            for number, ecid in enumerate(ecids):
                log(7 * i + number / 10, "operation", ecid, operation=i % 60 + 1, operation_name=f"Operation {i % 60}",
                    progress=0)
    subprocess.run([station, "report", folder], stdout=subprocess.DEVNULL, check=True, timeout=60)
    return os.path.join(folder, "report.html")


def processor_time():
    """In seconds, of all processes that were started here and have ended."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


class a_large_page(unittest.TestCase):
    def opened(self, path):
        """The time that it takes, and its picture."""
        took = []
        picture = path + ".png"
        for _ in range(3):
            before = processor_time()
            browse(path, f"--screenshot={picture}")
            took.append(processor_time() - before)
        return statistics.median(took), colours(picture)

    def test_opens_within_a_second_of_the_browsers_start(self):
        with tempfile.TemporaryDirectory() as folder:
            empty = os.path.join(folder, "empty.html")
            with open(empty, "w", encoding="ascii") as file:
                file.write("<!DOCTYPE html>")
            start, _ = self.opened(empty)
            path = large_run(folder, DEVICES, OPERATIONS)
            took, found = self.opened(path)
            print(f"{os.path.getsize(path)} bytes, {took:.2f} s, without them {start:.2f} s")
            self.assertGreater(len(found), 50)
            self.assertLess(took - start, LONGEST_OPENING_S)


if __name__ == "__main__":
    if browser is None:
        print("There is no browser here (Debian's package chromium): the page of a run is not opened.")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1])
