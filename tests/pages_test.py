#!/usr/bin/env python3
"""Runs the console examples on the pages, and compares their output.

    pages_test.py [--write] PAGES... -- [EMULATOR...] PROGRAM

PROGRAM is a vandrel-sim. An example is a block of the language "console", in which a line that begins with
"$ " is a command, followed by its output. An xml block after a line that ends in "`NAME.plist`:" is a file
for the examples that follow on the page. "[...]" on a line of its own stands for omitted lines. Parts that
differ between runs or hosts are not compared. With --write, the real output replaces that of the examples;
omit lines again after that.
"""
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import unittest

pages = []
program = []

BLOCK = re.compile(r"^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
FILE_NAME = re.compile(r"`([\w-]+\.plist)`:\s*\Z")
LEFT_OUT = "[...]\n"
SAME = [
    (re.compile(r"(<key>Time</key>\n\t<real>)[^<]*"), r"\g<1>1.75"),
    (re.compile(r"<string>[^<]*vandrel\.[0-9a-f]{6}[/\\]PRB[/\\]1<"), "<string>/tmp/vandrel.0a1b2c/PRB/1<"),
]


def same(text):
    for pattern, replacement in SAME:
        text = pattern.sub(replacement, text)
    return text


class session:
    """The shell of a reader who types the commands of one page."""

    def __init__(self, folder):
        self.folder = folder
        self.status = 0

    def run(self, command):
        words = shlex.split(command)
        if words == ["echo", "$?"]:
            return f"{self.status}\n"
        if words[0] == "cat":
            (name,) = words[1:]
            return (self.folder / name).read_text("utf-8")
        if words.pop(0) not in ("vandrel-sim", "scripts/run"):
            raise ValueError(f"not a command for pages: {command}")
        merged = words[-1] == "2>&1"
        result = subprocess.run(
            program + words[: len(words) - merged],
            cwd=self.folder,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT if merged else subprocess.PIPE,
            timeout=60,
            check=False,
        )
        self.status = result.returncode
        return result.stdout.decode("utf-8")

    def play(self, block):
        """The block's commands, each with its output."""
        return "".join(
            f"{line}\n{self.run(line[2:])}" for line in block.splitlines() if line.startswith("$ ")
        )


def transcripts(page, folder):
    """Yields each console block of the page, and the same block with the real output."""
    text = page.read_text("utf-8")
    reader = session(pathlib.Path(folder))
    for block in BLOCK.finditer(text):
        kind, content = block.groups()
        name = FILE_NAME.search(text[: block.start()])
        if kind == "xml" and name:
            (reader.folder / name[1]).write_text(content, "utf-8")
        elif kind == "console":
            yield block, reader.play(content)


def matches(shown, played):
    parts = [re.escape(part) for part in same(shown).split(LEFT_OUT)]
    return re.fullmatch("(?:.*\n)+?".join(parts), same(played))


def write(page):
    text = page.read_text("utf-8")
    with tempfile.TemporaryDirectory() as folder:
        for block, played in reversed(list(transcripts(page, folder))):
            text = text[: block.start(2)] + same(played) + text[block.end(2) :]
    page.write_text(text, "utf-8")


class console_sessions(unittest.TestCase):
    def test_show_what_a_run_writes(self):
        for page in pages:
            with tempfile.TemporaryDirectory() as folder:
                count = 0
                for block, played in transcripts(page, folder):
                    count += 1
                    with self.subTest(page=page.name, block=block[2].splitlines()[0]):
                        self.assertTrue(matches(block[2], played), f"it wrote:\n{same(played)}")
                self.assertGreater(count, 0, page.name)


if __name__ == "__main__":
    words = sys.argv[1:]
    is_writing = words[:1] == ["--write"]
    split = words.index("--")
    pages = [pathlib.Path(name) for name in words[is_writing:split]]
    program = [os.path.abspath(word) if os.path.exists(word) else word for word in words[split + 1 :]]
    if is_writing:
        for each in pages:
            write(each)
    else:
        unittest.main(argv=sys.argv[:1], verbosity=2)
