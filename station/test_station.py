"""What tests of whole runs of the station share. They are called with PAGE STATION TOOL [EMULATOR...]: docs/station.md,
the station, and the tool that plays scripts."""
import json
import os
import plistlib
import subprocess
import sys
import tempfile
import zipfile

page, station, tool, *emulator = sys.argv[1:]
on_windows = station.endswith(".exe")
CHIP, BOARD = 0x8110, 0x0C
RULES = {"retry_pause": 0.1, "list_after_start": 0}
# Silence is judged soon, but not so soon that a tool on a busy machine is taken for a silent one.
SILENCE = {**RULES, "never_began": 20, "quiet": 2}


def host_path(path):
    return "Z:" + path.replace("/", "\\") if on_windows else path


def record(kind, value):
    return plistlib.dumps({"Type": kind, "Value": value})


def report(operation=14, progress=50, status="Restoring", **more):
    return record("RestoreStatus", {"Operation": operation, "Progress": progress, "Status": status, **more})


def completion(status="Successful", **more):
    return report(0, 100, status, **more)


def internal_error(code):
    return record("InternalError", {"Code": code, "Domain": "vandrel", "FailureReason": "because"})


def ecid(number):
    """No other test process has the same: the locks of devices are the machine's."""
    return f"{(os.getpid() << 24) + number:016X}"


class a_bench:
    """A folder with what the tool does, and a bundle. Its devices have the numbers from `first`."""

    def __init__(self, scripts, first=1):
        self.kept = tempfile.TemporaryDirectory(prefix="bench & 100% Ж ")
        self.folder = self.kept.name
        self.run_folder = os.path.join(self.folder, "run")
        self.ecids = [ecid(first + i) for i in range(len(scripts))]
        self.write("list", record("DeviceList", self.ecids))
        for i, (each, steps) in enumerate(zip(self.ecids, scripts)):
            self.write(each + ".info", record("DeviceInfo", {
                "ECID": each, "ProductID": 1, "BoardID": BOARD, "ChipID": CHIP, "ProductType": 1, "FusingInfo": 3,
                "LocationID": 0x14100000 + i, "SerialNumber": f"SERIAL{i}", "ProductString": "Phone"}))
            lines = []
            for k, step in enumerate(steps):
                if isinstance(step, bytes):
                    name = f"{each}.{k}"
                    self.write(name, step)
                    step = "write " + name
                lines.append(step)
            self.write(each + ".restore", "\n".join(lines).encode())
        self.bundle = self.make_bundle("some.ipsw", BOARD)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kept.cleanup()

    def write(self, name, content):
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(content)

    def make_bundle(self, name, board):
        path = os.path.join(self.folder, name)
        with zipfile.ZipFile(path, "w") as made:
            made.writestr("BuildManifest.plist", plistlib.dumps({
                "ProductVersion": "17.1", "ProductBuildVersion": "21B80", "SupportedProductTypes": ["iPhone14,2"],
                "BuildIdentities": [{"ApChipID": hex(CHIP), "ApBoardID": hex(board)}]}))
            made.writestr("image.dmg", b"image")
        return path

    def command(self, *arguments, rules=RULES, with_folder=True):
        words = [*emulator, station, *arguments, "--tool", host_path(tool), "--tool-argument", host_path(self.folder)]
        if with_folder:
            words += ["--run-folder", host_path(self.run_folder), "--scratch", host_path(self.folder),
                      "--stagger", "0", "--poll", "0.2"]
        for name, value in rules.items():
            words += ["--rule-time", f"{name}={value}"]
        return words

    def run(self, *arguments, **more):
        return subprocess.run(self.command(*arguments, **more), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=300)

    def restore(self, *arguments, **more):
        return self.run("restore", "--bundle", host_path(self.bundle), "--all", *arguments, **more)

    def events(self):
        with open(os.path.join(self.run_folder, "events.jsonl"), encoding="ascii") as file:
            return [json.loads(line) for line in file]

    def ended(self):
        """The event device_ended of each device."""
        return {event["ecid"]: event for event in self.events() if event["event"] == "device_ended"}

    def summary(self):
        with open(os.path.join(self.run_folder, "summary.json"), encoding="ascii") as file:
            return json.load(file)

    def journal(self):
        path = os.path.join(self.folder, "journal")
        if not os.path.exists(path):
            return []
        with open(path) as file:
            return file.read().split("\n")[:-1]


def bench_state(bench):
    try:
        return bench.summary()["state"]
    except (OSError, ValueError):
        return None
