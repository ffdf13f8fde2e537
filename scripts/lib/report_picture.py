#!/usr/bin/env python3
"""Makes docs/report.png: report_picture.py STATION VANDREL-SIM. Restores the simulated devices of scripts/station,
makes the page of that run, and takes its picture with chromium."""
import pathlib
import subprocess
import sys
import tempfile

from station_bench import write_bench

station, simulator = (str(pathlib.Path(each).resolve()) for each in sys.argv[1:])
root = pathlib.Path(__file__).resolve().parents[2]
WIDTH, HEIGHT = 1000, 640

with tempfile.TemporaryDirectory() as name:
    folder = pathlib.Path(name)
    write_bench(folder, range(1, 13))
    words = ["restore", "--bundle", "iPhone.ipsw", "--all", "--erase", "--yes", "--watch", "--count", "12",
             "--at-once", "12", "--stagger", "0.3", "--poll", "4", "--linger", "1", "--run-folder", "night",
             "--slots", "slots.txt", "--tool", simulator]
    for each in ("list_detect=1", "list_after_start=0", "quiet=2", "away=2"):
        words += ["--rule-time", each]
    for each in ("--scenario", "scenario.plist", "--bench", "devices", "--"):
        words += ["--tool-argument", each]
    subprocess.run([station, *words], cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=False)
    subprocess.run([station, "report", "night"], cwd=folder, stdout=subprocess.DEVNULL, check=True)
    subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                    f"--window-size={WIDTH},{HEIGHT}", f"--user-data-dir={folder}/profile",
                    f"--screenshot={root}/docs/report.png", f"file://{folder}/night/report.html"], check=True,
                   stderr=subprocess.DEVNULL)
