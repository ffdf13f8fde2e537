"""The screen of a terminal on which the station's live view is written, and a program on such a terminal.

    terminal_screen.py PROGRAM [ARGUMENTS...]

runs a program on a terminal, prints what it wrote outside the live view's screen, and ends with its exit status.
"""
import codecs
import fcntl
import os
import pty
import re
import struct
import subprocess
import sys
import termios
import threading

TOKEN = re.compile(r"\x1b\[(\??[\d;]*)([A-Za-z])|\x1b|[^\x1b]")


class terminal_screen:
    """Knows only those control sequences that the station writes."""

    def __init__(self, columns=80, rows=24):
        self.decoder = codecs.getincrementaldecoder("utf-8")()
        self.rest = ""
        # What was written while the second screen was not shown.
        self.text = ""
        self.is_second = self.was_second = False
        self.has_cursor = self.wraps = True
        self.bells = 0
        self.colours = 0
        self.unknown = []
        self.resize(columns, rows)

    def resize(self, columns, rows):
        self.columns, self.rows = columns, rows
        self.clear()

    def clear(self, first=0):
        """From this row on, counted from 0."""
        kept = self.cells[:first] if first else []
        self.cells = kept + [[(" ", "")] * self.columns for _ in range(self.rows - len(kept))]
        if not first:
            self.at = [0, 0]
            self.colour = ""

    def feed(self, data):
        text = self.rest + self.decoder.decode(data)
        self.rest = ""
        begin = text.rfind("\x1b")
        if begin >= 0 and not re.match(r"\x1b\[[?\d;]*[A-Za-z]", text[begin:]):
            text, self.rest = text[:begin], text[begin:]
        for token in TOKEN.finditer(text):
            if token[2]:
                self.obey(token[1], token[2])
            elif token[0] == "\a":
                self.bells += 1
            elif self.is_second:
                self.put(token[0])
            else:
                self.text += token[0]

    def put(self, character):
        row, column = self.at
        if row < self.rows and column < self.columns:
            self.cells[row][column] = (character, self.colour)
        self.at[1] += 1

    def obey(self, arguments, what):
        if what in "hl":
            is_on = what == "h"
            if arguments == "?1049":
                self.is_second = is_on
                self.was_second |= is_on
                self.clear()
            elif arguments == "?25":
                self.has_cursor = is_on
            elif arguments == "?7":
                self.wraps = is_on
            else:
                self.unknown.append(arguments + what)
        elif what == "H":
            self.at = [int(each) - 1 for each in (arguments or "1;1").split(";")]
        elif what == "K" and not arguments:
            row, column = self.at
            self.cells[row][column:] = [(" ", "")] * (self.columns - column)
        elif what == "J":
            self.clear(0 if arguments == "2" else self.at[0])
        elif what == "m":
            self.colour = "" if arguments == "0" else arguments
            self.colours += arguments != "0"
        else:
            self.unknown.append(arguments + what)

    def lines(self):
        return ["".join(character for character, _ in row).rstrip() for row in self.cells]


class program_on_terminal:
    """A program on a terminal of its own. A thread reads at once what it writes."""

    def __init__(self, words, environment, columns=80, rows=24, **more):
        self.screen = terminal_screen(columns, rows)
        self.lock = threading.Lock()
        self.master, slave = pty.openpty()
        self.name = os.ttyname(slave)
        self.resize(columns, rows)
        self.found_modes = self.modes()
        self.process = subprocess.Popen(words, env=environment, stdin=slave, stdout=slave, stderr=slave,
                                        start_new_session=True,
                                        preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0), **more)
        os.close(slave)
        self.reader = threading.Thread(target=self.read)
        self.reader.start()

    def read(self):
        while True:
            try:
                data = os.read(self.master, 65536)
            except OSError:
                return  # Nobody has the terminal any more.
            with self.lock:
                self.screen.feed(data)

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.reader.join()
        os.close(self.master)

    def modes(self):
        return termios.tcgetattr(self.master)

    def resize(self, columns, rows):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def type(self, text):
        os.write(self.master, text)

    def lines(self):
        with self.lock:
            return self.screen.lines()

    def shows(self, pattern):
        return any(re.search(pattern, line) for line in self.lines())

    def wait(self):
        """The exit status, once all that was written has been read."""
        status = self.process.wait()
        self.reader.join()
        return status


if __name__ == "__main__":
    run = program_on_terminal(sys.argv[1:], dict(os.environ, TERM="xterm"))
    status = run.wait()
    run.kill()
    print(run.screen.text)
    sys.exit(status)
