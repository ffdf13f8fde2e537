#!/usr/bin/env python3
"""Measures the figures of docs/performance.md, and writes its table.

    benchmark.py BIN WORK [--only WORD] [--runs N]
    benchmark.py BIN WORK --quick [--write]

BIN has the programs, WORK is a folder for their input files. Exits with 1 if a figure exceeds its "must". With
--only, it measures the rows with WORD in their first column, and does not change the page. --quick counts the
instructions of a few jobs and exits with 1 if a job takes over 5 % more than in
benchmarks/instruction_counts.json, or is not in it; --write writes that file.
"""
import argparse
import json
import os
import pathlib
import plistlib
import re
import shlex
import subprocess
import sys
import tempfile
import time
import zipfile

from figures import Row, between_markers, grown, measure, size_text, table

ROOT = pathlib.Path(__file__).parents[1]
sys.path.insert(0, str(ROOT / "scripts" / "lib"))
from terminal_screen import program_on_terminal  # noqa: E402

PAGE = ROOT / "docs" / "performance.md"
COUNTS = ROOT / "benchmarks" / "instruction_counts.json"
MARKERS = "<!-- figures begin -->", "<!-- figures end -->"

ECID = "00000000000000AB"
MARGIN = 0.05


def say(text):
    print(text, file=sys.stderr, flush=True)


# --- inputs

def options_of(count):
    """A flat dictionary of `count` small ones."""
    return {f"Component{i:06}": {"Path": f"Firmware/{i:06}.im4p", "Size": i} for i in range(count)}


def write_plist(path, value, form=plistlib.FMT_XML):
    with open(path, "wb") as file:
        plistlib.dump(value, file, fmt=form)


def write_options(work, name, count):
    """The same options as XML and as a binary property list. Created once."""
    paths = work / f"{name}.xml", work / f"{name}.bplist"
    if not all(path.exists() for path in paths):
        say(f"Writing {name} ...")
        options = options_of(count)
        for path, form in zip(paths, (plistlib.FMT_XML, plistlib.FMT_BINARY)):
            unfinished = path.with_suffix(".unfinished")
            write_plist(unfinished, options, form)
            unfinished.rename(path)
    return paths


def write_scenario(path, reports, ecid=ECID, after=0, **more):
    """One device, whose restore sends that many reports, each after so many seconds, and then completes."""
    steps = [{"Status": "Restoring", "Operation": 14, "Progress": i % 100}
             for i in range(reports - 1)]
    steps.append({"Status": "Successful", "Operation": 0, "Progress": 100})
    write_plist(path, {"Devices": [{
        "Name": "phone", "ECID": ecid, "State": "Recovery",
        "Restore": {"Reports": [{"After": after, "Report": step} for step in steps]}, **more,
    }]})
    return path


def write_bench(folder, vandrel, devices, reports, after=0):
    """Devices for the station, and a tool that is vandrel with the scenario of the device that is named. So no
    tool reads the reports of the others. Returns the tool."""
    folder.mkdir(exist_ok=True)
    ecids = [f"{0x000A11B22C330000 + i:016X}" for i in range(devices)]
    for ecid in ecids:
        write_scenario(folder / f"{ecid}.plist", reports, ecid, after, ChipID=0x8110, BoardID=12)
    write_plist(folder / "all.plist", {"Devices": [
        {"Name": ecid, "ECID": ecid, "State": "Recovery"} for ecid in ecids]})
    with zipfile.ZipFile(folder / "bundle.ipsw", "w") as bundle:
        bundle.writestr("BuildManifest.plist", plistlib.dumps({
            "ProductVersion": "17.1", "ProductBuildVersion": "21B80",
            "BuildIdentities": [{"ApChipID": "0x8110", "ApBoardID": "0x0C"}]}))
    write_plist(folder / "options.plist", {
        "AuthInstallRestoreBehavior": "Update", "RestoreBundlePath": str(folder / "bundle.ipsw")})
    tool = folder / "tool"
    tool.write_text("#!/bin/sh\nscenario=all\n"
                    "for word; do [ \"$before\" = --ecid ] && scenario=$word; before=$word; done\n"
                    f"VANDREL_SCENARIO={shlex.quote(str(folder))}/$scenario.plist "
                    f"exec {shlex.quote(vandrel)} \"$@\"\n")
    tool.chmod(0o755)
    return tool


# --- measuring

class programs:
    def __init__(self, folder):
        self.folder = folder

    def path(self, name):
        return str(self.folder / name)

    def run(self, command, *, runs=1, copies=1, stream=1, status=0, scenario=None):
        """The median seconds that a program takes, its peak memory in bytes, and the processor time of all copies
        in seconds. Its `stream` is a pipe that is emptied."""
        environment = dict(os.environ)
        if scenario is not None:
            environment["VANDREL_SCENARIO"] = str(scenario)
        written = subprocess.run(
            [self.path("process_timer"), str(runs), str(copies), str(stream), *map(str, command)],
            check=True, stdout=subprocess.PIPE, text=True, env=environment).stdout
        seconds, peak, ended, processor_seconds = written.split()
        if int(ended) != status:
            sys.exit(f"error: {command} has ended with {ended}, not {status}")
        return float(seconds), int(peak), float(processor_seconds)

    def timed(self, command, **how):
        return lambda: self.run(command, **how)[0]

    def peak(self, command, **how):
        return lambda: self.run(command, **how)[1]

    def inside(self, program, name, *arguments):
        """The seconds of one of a program's benchmarks, measured by Google Benchmark."""
        def run():
            written = subprocess.run(
                [self.path(program), f"--benchmark_filter=^{name}(/|$)", "--benchmark_format=json",
                 *map(str, arguments)],
                check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
            benchmark, = json.loads(written)["benchmarks"]
            if benchmark.get("error_occurred"):
                sys.exit(f"error: {name}: {benchmark['error_message']}")
            return benchmark["real_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}[benchmark["time_unit"]]
        return run


def plistlib_timed(path):
    """The seconds in which Python's library reads a file, in a separate process."""
    program = ("import plistlib, sys, time\n"
               "begin = time.perf_counter()\n"
               "with open(sys.argv[1], 'rb') as file:\n"
               "    value = plistlib.load(file)\n"
               "print(time.perf_counter() - begin, flush=True)\n"
               "import os; os._exit(0)\n")
    return lambda: float(subprocess.run([sys.executable, "-c", program, str(path)], check=True,
                                        stdout=subprocess.PIPE, text=True).stdout)


def processor_seconds(process):
    """Of all its threads, so far."""
    tasks = pathlib.Path(f"/proc/{process}/task")
    return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks.iterdir()) * 1e-9


# --- the rows

def rows(bin_folder, work):
    run = programs(bin_folder)
    vandrel = run.path("vandrel")
    refused = [vandrel, "--no-such-option"]
    record = subprocess.run(refused, stdout=subprocess.PIPE, text=True, check=False).stdout
    empty = [run.path("empty_program"), record]

    dump = work / "debug-dump.txt"
    with open(dump, "wb") as file:
        subprocess.run([vandrel, "--debug-dump"], stderr=file, check=True)

    xml, binary = write_options(work, "options", 700_000)
    tenth_xml, _ = write_options(work, "options-tenth", 70_000)
    restore = write_scenario(work / "restore.plist", 1_000)
    last_report = write_scenario(work / "last-report.plist", 1)
    restoring = [vandrel, "--restore", "x.ipsw", "--ecid", ECID]
    cores = len(os.sched_getaffinity(0))

    bench = (work / "bench").resolve()
    tool = write_bench(bench, str(pathlib.Path(vandrel).resolve()), 64, 1_000)

    slow_bench = (work / "slow bench").resolve()
    slow_tool = write_bench(slow_bench, str(pathlib.Path(vandrel).resolve()), 64, 200, after=0.5)
    seconds = 10

    def station_command(its_bench, its_tool, memory):
        return [run.path("vandrel-station"), "restore", "--options", its_bench / "options.plist", "--all", "--yes",
                "--run-folder", f"{memory}/run", "--scratch", f"{memory}/scratch", "--at-once", "64", "--stagger", "0",
                "--rule-time", "list_detect=1", "--tool", its_tool]

    def station(result):
        # In memory: what a disk's file system takes varies more than all the rest.
        with tempfile.TemporaryDirectory(dir="/dev/shm") as memory:
            return run.run([*station_command(bench, tool, memory), "--json"])[result]

    def station_on_terminal():
        with tempfile.TemporaryDirectory(dir="/dev/shm") as memory:
            command = [str(word) for word in station_command(slow_bench, slow_tool, memory)]
            running = program_on_terminal(command, dict(os.environ, TERM="xterm"), 80, 72)
            try:
                while not running.shows("^ 64 running "):
                    if running.process.poll() is not None:
                        sys.exit(f"error: {command} has ended with {running.process.returncode}")
                    time.sleep(0.1)
                before = processor_seconds(running.process.pid)
                time.sleep(seconds)
                return processor_seconds(running.process.pid) - before
            finally:
                running.kill()

    def tools_of_64():
        return run.run(restoring, copies=64, scenario=restore)[2]

    def one_of_64():
        return run.run(restoring, runs=7, scenario=restore)[0] * 64 / cores

    def connect(count):
        return run.inside("notification_benchmark", f"connect/{count}")

    report = run.inside("report_benchmark", "reports")
    options = "options_file_benchmark"
    return [
        Row("a refused command line, start to end", "a program that loads and writes the same",
            run.timed(refused, runs=50, status=3), run.timed(empty, runs=50), 1.5, 1.1),
        Row("100,000 reports into a pipe", "libplist making and writing the same records",
            report, run.inside("report_benchmark", "libplist"), 1.5, 1),
        Row("100,000 reports into a pipe", "their bytes alone, one `write` a record",
            report, run.inside("report_benchmark", "bytes_alone"), 8, 4),
        Row("`--debug-dump`, start to end", "`cat` of the same bytes to the same pipe",
            run.timed([vandrel, "--debug-dump"], runs=20, stream=2),
            run.timed(["cat", dump], runs=20), 10, 4),
        Row("options file of 100 MB, XML", "Python's plistlib",
            run.inside(options, "options", xml), plistlib_timed(xml), 0.25),
        Row("options file of 100 MB, XML", "expat alone, with empty handlers",
            run.inside(options, "options", xml), run.inside(options, "expat", xml), None, 2.5),
        Row("a tenth of it, XML", "libplist",
            run.inside(options, "options", tenth_xml), run.inside(options, "libplist", tenth_xml)),
        Row("the same options, binary", "Python's plistlib",
            run.inside(options, "options", binary), plistlib_timed(binary), 0.1, 0.05),
        Row("a file of 100 MB read whole", "`cat` of it to a pipe",
            run.inside(options, "whole_file_alone", xml), run.timed(["cat", xml]), 1.5, 1),
        Row("a device connects, to 1,000 others", "to 10 others", connect(1_000), connect(10)),
        Row("a device connects, to 100,000 others", "to 10 others", connect(100_000), connect(10),
            2, 1.3),
        Row("a device connects, until the worker has it", "a bare mutex and condition variable",
            run.inside("notification_benchmark", "handover"),
            run.inside("notification_benchmark", "bare_handover"), 3, 1.5),
        Row("64 restores of 1,000 reports at once", "one of them, times 64, over the processors",
            run.timed(restoring, copies=64, scenario=restore), one_of_64, 1.3, 1.1),
        Row("peak memory of `--list-devices`", "the program that loads the same",
            run.peak([vandrel, "--list-devices", "--detect-timeout", "0"]), run.peak(empty), 8, 3,
            lambda ours, reference: (ours - reference) / 2**20,
            lambda figure: f"+ {figure:.3g} MiB", size_text),
        Row("peak memory of a restore with the options file of 100 MB, XML", "the file's size",
            run.peak([vandrel, "--restore-plist", xml, "--ecid", ECID], scenario=last_report),
            lambda: xml.stat().st_size, 8, 4, show_measured=size_text),
        Row("peak memory of the station, 64 devices of 1,000 reports at once", "64 MiB",
            lambda: station(1), lambda: 64 * 2**20, 1, show_measured=size_text),
        Row("processor time of the station, 64 devices of 1,000 reports at once", "that of its tools",
            lambda: station(2), tools_of_64, 0.25),
        Row("live view, 64 devices that report twice a second", "one processor, for as long",
            station_on_terminal, lambda: seconds, 0.02, show=lambda figure: f"{figure * 100:.3g} %"),
    ]


def machine():
    """A description of the machine."""
    cpu = re.search(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.M)
    memory = int(re.search(r"^MemTotal: *(\d+) kB$", pathlib.Path("/proc/meminfo").read_text(),
                           re.M)[1])
    kernel = re.match(r"[\d.]+", os.uname().release)[0]
    return (f"{len(os.sched_getaffinity(0))} processors ({cpu[1] if cpu else os.uname().machine}), "
            f"{memory / 2**20:.0f} GiB of memory, Linux {kernel}")


def measure_all(bin_folder, work, only, runs):
    figures = []
    for row in rows(bin_folder, work):
        if only is None or only in row.what:
            figures.append(measure(row, runs))
            say(table(figures).splitlines()[-1])
    text = table(figures)
    print(text)
    if only is None:
        text = f"\n{runs} pairs each, on {machine()}.\n\n{text}\n"
        PAGE.write_text(between_markers(PAGE.read_text(), *MARKERS, text))
    return 1 if any(figure.misses_must for figure in figures) else 0


# --- instruction counts, which do not depend on the load

def instructions(work, command, function=None):
    """The number of instructions of a program, or of one function in it."""
    out = work / "callgrind.out"
    only = [] if function is None else ["--collect-atstart=no", f"--toggle-collect={function}*"]
    done = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}", *only,
                           *map(str, command)], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    counted = re.search(r"Collected : (\d+)", done.stderr.decode(errors="replace"))
    if not counted or int(counted[1]) == 0:
        sys.exit(f"error: {command} was not counted:\n{done.stderr.decode()}")
    return int(counted[1])


def quick(bin_folder, work, write):
    vandrel = bin_folder / "vandrel"
    xml, binary = write_options(work, "options-small", 7_000)

    def whole(*command):
        return instructions(work, command)

    def part(*job):
        return instructions(work, [bin_folder / "quick_jobs", *job], "(anonymous namespace)::counted")

    jobs = {
        "refused command line": lambda: whole(vandrel, "--no-such-option"),
        "debug dump": lambda: part("dump"),
        "5,000 reports": lambda: part("reports"),
        "options file of 1 MB, XML": lambda: part("options", xml),
        "options file of 0.6 MB, binary": lambda: part("options", binary),
        "1,000 devices come and go, beside 10": lambda: part("connect", 10),
        "1,000 devices come and go, beside 10,000": lambda: part("connect", 10_000),
    }
    counts = {}
    for job, count in jobs.items():
        counts[job] = count()
        say(f"{counts[job]:>13,}  {job}")
    if write:
        COUNTS.write_text(json.dumps(counts, indent=2) + "\n")
        return 0
    messages = grown(counts, json.loads(COUNTS.read_text()), MARGIN)
    for job, message in messages:
        say(f"error: {job}: {message}")
    return 1 if messages else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("bin", type=pathlib.Path)
    parser.add_argument("work", type=pathlib.Path)
    parser.add_argument("--only")
    parser.add_argument("--runs", type=int, default=7)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--write", action="store_true")
    arguments = parser.parse_args()
    arguments.work.mkdir(parents=True, exist_ok=True)
    if arguments.quick:
        return quick(arguments.bin, arguments.work, arguments.write)
    return measure_all(arguments.bin, arguments.work, arguments.only, arguments.runs)


if __name__ == "__main__":
    sys.exit(main())
