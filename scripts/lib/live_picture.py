#!/usr/bin/env python3
"""Draws the live view of a run: live_picture.py STATION SIMULATOR FILE.

Restores eleven simulated devices on a terminal, and writes the terminal's screen into FILE, as SVG, at a moment when
one device has failed and another is quiet.
"""
import html
import itertools
import os
import sys
import tempfile
import time

from station_bench import write_bench
from terminal_screen import program_on_terminal

COLUMNS, ROWS = 80, 20
# Not all viewers keep several blanks.
NO_BREAK = "\u00a0"
WIDTH, HEIGHT, MARGIN = 8.4, 18, 14
INK = {"": "#d8dee9", "1": "#ffffff", "31": "#ff7b72", "32": "#7ee787", "33": "#f2cc60"}
WANTED = r"^ X A4 .* FAILED", r"^ ! B1 .* quiet "


def play(station, simulator):
    """The cells of the screen."""
    with tempfile.TemporaryDirectory() as folder:
        write_bench(folder, range(1, 12))
        words = [os.path.abspath(station), "restore", "--bundle", "iPhone.ipsw", "--all", "--erase", "--yes",
                 "--slots", "slots.txt", "--at-once", "4", "--stagger", "0.2", "--linger", "1", "--run-folder", "run",
                 "--rule-time", "list_detect=1", "--rule-time", "quiet=2", "--tool", os.path.abspath(simulator)]
        for each in ("--scenario", "scenario.plist", "--bench", f"{folder}/devices", "--"):
            words += ["--tool-argument", each]
        run = program_on_terminal(words, {"PATH": os.environ["PATH"], "TERM": "xterm", "HOME": folder}, COLUMNS, ROWS,
                                  cwd=folder)
        try:
            end = time.monotonic() + 60
            while not all(map(run.shows, WANTED)):
                if time.monotonic() > end:
                    sys.exit("error: the moment never came:\n" + "\n".join(run.lines()))
                time.sleep(0.02)
            with run.lock:
                return [list(row) for row in run.screen.cells if "".join(cell[0] for cell in row).strip()]
        finally:
            run.kill()


def drawn(cells):
    """The SVG of the cells. Each run of characters has a fixed width, whatever the font is."""
    texts = []
    for number, row in enumerate(cells):
        column = 0
        for colour, run in itertools.groupby(row, lambda cell: cell[1]):
            text = "".join(cell[0] for cell in run)
            begin = column + len(text) - len(text.lstrip())
            column += len(text)
            if text := text.strip():
                texts.append(f'<text x="{MARGIN + begin * WIDTH:g}" y="{MARGIN + (number + 0.75) * HEIGHT:g}" '
                             f'fill="{INK[colour]}" textLength="{len(text) * WIDTH:g}">'
                             f'{html.escape(text).replace(" ", NO_BREAK)}</text>')
    width, height = 2 * MARGIN + COLUMNS * WIDTH, 2 * MARGIN + len(cells) * HEIGHT
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:g} {height:g}" width="{width:g}" '
            f'height="{height:g}" font-family="ui-monospace, Consolas, Menlo, monospace" font-size="14">\n'
            f'<title>The live view of vandrel-station</title>\n'
            f'<rect width="100%" height="100%" rx="8" fill="#161b22"/>\n' + "\n".join(texts) + "\n</svg>\n")


if __name__ == "__main__":
    picture = drawn(play(*sys.argv[1:3]))
    with open(sys.argv[3], "w", encoding="utf-8") as file:
        file.write(picture)
