"""What tests of whole runs of the station share. They are called with PAGE STATION TOOL SIMULATOR [EMULATOR...]:
docs/station.md, the station, the tool that plays scripts, and vandrel-sim."""
import json
import os
import plistlib
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import zipfile

page, station, tool, simulator, *emulator = sys.argv[1:]
on_windows = station.endswith(".exe")
CHIP, BOARD = 0x8110, 0x0C
MANIFEST = "BuildManifest.plist"
LONG_AGO = time.time() - 3600
RULES = {"retry_pause": 0.1, "list_after_start": 0}
# A shell that starts tests in the background has this signal ignored, and the stations under test would inherit that.
if not on_windows:
    signal.signal(signal.SIGQUIT, signal.SIG_DFL)
# Silence is judged soon, but not so soon that a tool on a busy machine is taken for a silent one.
SILENCE = {**RULES, "never_began": 20, "quiet": 2}


def host_path(path):
    return "Z:" + path.replace("/", "\\") if on_windows else path


# What stations keep for the next run does not go to the user's folders.
local_data = tempfile.TemporaryDirectory(prefix="data ")
os.environ["XDG_STATE_HOME"] = local_data.name
if on_windows:
    os.environ["LOCALAPPDATA"] = host_path(local_data.name)


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
    """A folder with what the tool does, and a bundle. Its devices have the numbers from `first`
    and call themselves `name`."""

    def __init__(self, scripts, first=1, name="Phone"):
        self.kept = tempfile.TemporaryDirectory(prefix="bench & 100% Ж ")
        self.folder = self.kept.name
        self.run_folder = os.path.join(self.folder, "run")
        self.scratch = self.folder
        self.poll = "0.2"
        self.ecids = [ecid(first + i) for i in range(len(scripts))]
        self.show(self.ecids)
        for i, (each, steps) in enumerate(zip(self.ecids, scripts)):
            self.write(each + ".info", record("DeviceInfo", {
                "ECID": each, "ProductID": 1, "BoardID": BOARD, "ChipID": CHIP, "ProductType": 1, "FusingInfo": 3,
                "LocationID": 0x14100000 + i, "SerialNumber": f"SERIAL{i}", "ProductString": name}))
            self.script(each + ".restore", steps)
        self.bundle = self.make_bundle("some.ipsw", BOARD)
        self.tool = [host_path(tool), host_path(self.folder)]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kept.cleanup()

    def write(self, name, content):
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(content)

    def script(self, name, steps):
        """Bytes are written to the pipe; other steps are the tool's own."""
        lines = []
        for k, step in enumerate(steps):
            if isinstance(step, bytes):
                self.write(f"{name}.{k}", step)
                step = f"write {name}.{k}"
            lines.append(step)
        self.write(name, "\n".join(lines).encode())

    def show(self, ecids):
        """From now on lists have these devices."""
        self.write("list.new", record("DeviceList", ecids))
        os.replace(os.path.join(self.folder, "list.new"), os.path.join(self.folder, "list"))

    def lists(self):
        """How many lists have begun."""
        return len(self.lines_of("lists"))

    def pass_lists(self, count):
        """Waits until the station has taken in so many lists that have begun after this call."""
        # Lists follow one another: when one begins, what the one before it had has been taken in.
        wanted = self.lists() + count + 1
        wait_until(lambda: self.lists() >= wanted)

    def make_bundle(self, name, board):
        path = os.path.join(self.folder, name)
        with zipfile.ZipFile(path, "w") as made:
            made.writestr("BuildManifest.plist", plistlib.dumps({
                "ProductVersion": "17.1", "ProductBuildVersion": "21B80", "SupportedProductTypes": ["iPhone14,2"],
                "BuildIdentities": [{"ApChipID": hex(CHIP), "ApBoardID": hex(board)}]}))
            made.writestr("image.dmg", b"image")
        return path

    def command(self, *arguments, rules=RULES, with_folder=True):
        words = [*emulator, station, *arguments, "--tool", self.tool[0]]
        for word in self.tool[1:]:
            words += ["--tool-argument", word]
        if with_folder:
            words += ["--run-folder", host_path(self.run_folder), "--scratch", host_path(self.scratch),
                      "--stagger", "0", "--poll", self.poll]
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
        """The last event device_ended of each device."""
        return {event["ecid"]: event for event in self.events() if event["event"] == "device_ended"}

    def summary(self):
        with open(os.path.join(self.run_folder, "summary.json"), encoding="ascii") as file:
            return json.load(file)

    def starts(self, number=0):
        """What each restore of this device was given: lists of values by their words, such as "argument"."""
        found, current = [], {}
        for line in self.lines_of(self.ecids[number] + ".starts"):
            if line:
                word, _, value = line.partition(" ")
                current.setdefault(word, []).append(value)
            else:
                found.append(current)
                current = {}
        return found

    def kept_file(self, name, number=0, visit_and_try="visit1-try1"):
        """What the run's folder has of a try; nothing when there is no such file."""
        path = os.path.join(self.run_folder, f"{self.ecids[number]}-{visit_and_try}", name)
        if not os.path.exists(path):
            return b""
        with open(path, "rb") as file:
            return file.read()

    def journal(self):
        return self.lines_of("journal")

    def lines_of(self, name):
        path = os.path.join(self.folder, name)
        if not os.path.exists(path):
            return []
        with open(path, encoding="utf-8") as file:
            return file.read().split("\n")[:-1]


def manifest(build="21B80", version="17.1", models=("iPhone14,2",), board=BOARD, behaviors=("Erase", "Update"), **more):
    return plistlib.dumps({
        "ProductVersion": version, "ProductBuildVersion": build, "SupportedProductTypes": list(models),
        "BuildIdentities": [{"ApChipID": hex(CHIP), "ApBoardID": hex(board), "Info": {"RestoreBehavior": behavior}}
                            for behavior in behaviors], **more})


class a_folder:
    """A folder for bundles in the folder of a bench. The files in it are old."""

    def __init__(self, bench, name="ipsw"):
        self.path = os.path.join(bench.folder, name)
        self.state = os.path.join(bench.folder, "state")
        os.mkdir(self.path)
        self.environment = dict(os.environ, XDG_STATE_HOME=self.state)
        if on_windows:
            self.environment["LOCALAPPDATA"] = host_path(self.state)

    def file(self, name):
        return os.path.join(self.path, name)

    def age(self, name):
        os.utime(self.file(name), (LONG_AGO, LONG_AGO))

    def write(self, name, content):
        with open(self.file(name), "wb") as file:
            file.write(content)
        self.age(name)

    def add(self, name, content=None, image=b"image", compression=zipfile.ZIP_STORED, claims=None, **keys):
        """An IPSW with this manifest and an image. With `claims`, the directory gives that as the image's size."""
        with zipfile.ZipFile(self.file(name), "w", compression) as made:
            made.writestr("image.dmg", image)
            made.filelist[0].file_size = claims or len(image)
            made.writestr(MANIFEST, manifest(**keys) if content is None else content)
        self.age(name)

    def show(self, *words):
        """The command "bundles": its status, standard output and standard error."""
        done = subprocess.run([*emulator, station, "bundles", host_path(self.path), *words], env=self.environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
        return (done.returncode, *(text.decode().replace("\r\n", "\n") for text in (done.stdout, done.stderr)))

    def listed(self, *words):
        status, out, _ = self.show("--json", *words)
        return status, {each.pop("file"): each for each in json.loads(out)["bundles"]}


def wait_until(is_so, seconds=60):
    end = time.monotonic() + seconds
    while not is_so():
        if time.monotonic() > end:
            raise AssertionError("it did not come about")
        time.sleep(0.01)


class tests_of_benches(unittest.TestCase):
    def bench(self, *scripts, **more):
        """A bench that goes with the test."""
        bench = a_bench(scripts, **more)
        self.addCleanup(bench.kept.cleanup)
        return bench


def without_coverage(bench):
    """The environment of a run that cannot write all of its files. The preset coverage writes counts at the end; cut
    off, they would spoil those of all later runs."""
    return {**os.environ, "GCOV_PREFIX": bench.folder}


class a_run:
    """A station that runs with --json, and its events as they come. Whatever happens, it ends with the test."""

    def __init__(self, test, bench, *arguments, command=None, rules=RULES, seconds=120, **more):
        self.events = []
        words = command or bench.command(
            "restore", "--bundle", host_path(bench.bundle), "--all", "--json", *arguments, rules=rules)
        self.process = subprocess.Popen(words, stdin=more.pop("stdin", subprocess.DEVNULL), stdout=subprocess.PIPE,
                                        **more)
        self.limit = threading.Timer(seconds, self.stop)
        self.limit.start()
        test.addCleanup(self.end)

    def stop(self):
        self.process.kill()

    def end(self):
        self.limit.cancel()
        if self.process.poll() is None:
            self.stop()
        self.process.wait()
        self.process.stdout.close()

    def next_event(self):
        """None at the end."""
        line = self.process.stdout.readline()
        if not line.endswith(b"\n"):
            return None
        self.events.append(json.loads(line))
        return self.events[-1]

    def wait_for(self, name, **keys):
        """The next event of this name with these keys."""
        while event := self.next_event():
            if event["event"] == name and all(event.get(key) == value for key, value in keys.items()):
                return event
        raise AssertionError(f"{name} with {keys} never came, but {[event['event'] for event in self.events]}")

    def wait(self):
        """Reads everything that is left. The exit status."""
        while self.next_event():
            pass
        return self.process.wait()

    def named(self, name):
        return [event for event in self.events if event["event"] == name]


def bench_state(bench):
    try:
        return bench.summary()["state"]
    except (OSError, ValueError):
        return None


def processes(are_wanted):
    """The numbers of the host's processes whose words, those of their command lines, `are_wanted`."""
    found = []
    for number in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{number}/cmdline", "rb") as file:
                words = file.read().split(b"\0")
        except OSError:
            continue
        if are_wanted(words):
            found.append(int(number))
    return found


def tools_of(bench):
    """The numbers of the processes that are its tools."""
    # A station's own command line has these words too.
    return processes(lambda words: all(os.fsencode(word) in words for word in bench.tool[:2])
                     and b"--tool" not in words)
