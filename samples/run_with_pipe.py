#!/usr/bin/env python3
"""Starts vandrel with a pipe, prints each record when it arrives, and judges the run by them:

    run_with_pipe.py C:\\vandrel\\vandrel.exe --restore iPhone.ipsw --ecid 0001A2B3C4D5E6F7
    run_with_pipe.py --records FILE

The second form judges the records in a file. vandrel's other output goes to standard error. So do its exit status
if that is not 0, the number of records that cannot be read, and the verdict. The exit status of run_with_pipe is
the verdict's:

    0   restored; for another command, and with --enter-restore-mode: done
    1   failed
    2   timed out
    3   connection lost: the device was unplugged, or the cable is bad
    4   not completed: vandrel ended, or the file ends, and no record says how the run went

The exit status is 64 for wrong arguments. If run_with_pipe itself fails, it ends with an exception and with 1.
"""
import os
import plistlib
import re
import subprocess
import sys

if sys.platform == "win32":
    import ctypes
    import msvcrt
    import uuid
    from ctypes import wintypes

    PIPE_ACCESS_INBOUND = 0x00000001
    FILE_FLAG_FIRST_PIPE_INSTANCE = 0x00080000
    PIPE_REJECT_REMOTE_CLIENTS = 0x00000008
    GENERIC_WRITE = 0x40000000
    OPEN_EXISTING = 3
    FILE_FLAG_OVERLAPPED = 0x40000000
    INVALID_HANDLE_VALUE = ctypes.c_void_p(-1).value

    kernel32 = ctypes.WinDLL("kernel32", use_last_error=True)
    kernel32.CreateNamedPipeW.restype = wintypes.HANDLE
    kernel32.CreateNamedPipeW.argtypes = [wintypes.LPCWSTR] + [wintypes.DWORD] * 6 + [wintypes.LPVOID]
    kernel32.CreateFileW.restype = wintypes.HANDLE
    kernel32.CreateFileW.argtypes = (
        [wintypes.LPCWSTR] + [wintypes.DWORD] * 2 + [wintypes.LPVOID]
        + [wintypes.DWORD] * 2 + [wintypes.HANDLE]
    )
    kernel32.CloseHandle.argtypes = [wintypes.HANDLE]

    def checked(handle):
        if handle == INVALID_HANDLE_VALUE:
            raise ctypes.WinError(ctypes.get_last_error())
        return handle

    def make_pipe():
        """A stream to read, and the number of the write end, which is overlapped."""
        name = r"\\.\pipe\vandrel-records-" + str(uuid.uuid4())
        reader = checked(kernel32.CreateNamedPipeW(
            name, PIPE_ACCESS_INBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE, PIPE_REJECT_REMOTE_CLIENTS,
            1, 0, 65536, 0, None))
        writer = checked(kernel32.CreateFileW(
            name, GENERIC_WRITE, 0, None, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, None))
        return os.fdopen(msvcrt.open_osfhandle(reader, os.O_RDONLY), "rb"), writer

    def inheriting(handle):
        """The arguments with which Popen passes on this handle, and no other but the standard streams."""
        os.set_handle_inheritable(handle, True)
        return {"startupinfo": subprocess.STARTUPINFO(lpAttributeList={"handle_list": [handle]})}

    close = kernel32.CloseHandle
else:

    def make_pipe():
        """A stream to read, and the number of the write end."""
        reader, writer = os.pipe()
        return os.fdopen(reader, "rb"), writer

    def inheriting(descriptor):
        """The arguments with which Popen passes this descriptor on."""
        return {"pass_fds": [descriptor]}

    close = os.close


# A document ends with </plist>. It also ends where the next one begins: vandrel cuts a record short at U+0000.
DOCUMENT = re.compile(rb".+?(?:</plist>|(?=<\?xml))", re.DOTALL)
# XML forbids these characters, but texts of devices can have them.
FORBIDDEN = re.compile("[\0-\x08\x0b\x0c\x0e-\x1f\ufffe\uffff]")


def documents(stream):
    """Yields each document of the stream as soon as it is complete, and what is left at the end."""
    text = b""
    while True:
        piece = stream.read1(65536)
        text += piece
        while True:
            found = DOCUMENT.match(text)
            if not found:
                break
            text = text[found.end():]
            yield found[0]
        if not piece:
            yield text
            return


def records(stream):
    """Yields the type and the value of each record. Counts those that cannot be read, and goes on."""
    unreadable = 0
    for document in documents(stream):
        text = FORBIDDEN.sub("", document.decode("utf-8", "replace")).strip()
        if not text:
            continue
        try:
            record = plistlib.loads(text.encode("utf-8"), fmt=plistlib.FMT_XML)
            kind, value = record["Type"], record["Value"]
            if not isinstance(kind, str):
                raise TypeError
        except Exception:  # plistlib raises many kinds for a document that is no property list.
            unreadable += 1
            print("unreadable records:", unreadable, file=sys.stderr, flush=True)
        else:
            yield kind, value


def error_words(error):
    if type(error) is int:
        return f"error {error}"
    if isinstance(error, dict) and "Code" in error:
        return f"error {error['Code']} ({error.get('Domain')})"
    return "unknown error"


class Judge:
    """Says how a run went. vandrel's exit status does not: it is 0 for a restore that has failed or timed out."""

    # Of the findings of a run, the first in this order counts.
    RESTORED, DEVICE_FAILED, TIMED_OUT, TOOL_FAILED, DONE = range(5)
    # "Communication error, possibly USB disconnection"
    USB_DISCONNECTION = 9

    def __init__(self, enters_restore_mode=False):
        self.enters_restore_mode = enters_restore_mode
        self.found = {}
        self.where = ""

    def note(self, finding, status, words):
        self.found.setdefault(finding, (status, words))

    def take(self, kind, value):
        if kind == "RestoreStatus" and isinstance(value, dict):
            self.take_report(value)
        elif kind == "InternalError" and isinstance(value, dict):
            self.take_error(value)
        elif kind in ("CommandSuccess", "DeviceInfo", "DeviceList"):
            self.note(self.DONE, 0, "done")

    def take_report(self, report):
        operation, progress, error = (report.get(key) for key in ("Operation", "Progress", "Error"))
        if operation != 0:
            self.where = f" in {report.get('Orv_OperationName')} at {progress} %"
        has_error = error is not None and not (type(error) is int and error == 0)
        # An error in a report does not count if the device was restored.
        if report.get("Status") == "Failed" or has_error:
            is_lost = type(error) is int and error == self.USB_DISCONNECTION
            self.note(self.DEVICE_FAILED, 3 if is_lost else 1,
                      ("connection lost: " if is_lost else "failed: ") + error_words(error) + self.where)
        elif operation == 0 and progress == 100:
            self.note(self.RESTORED, 0, "restored")
        elif operation == 9 and self.enters_restore_mode:
            self.note(self.DONE, 0, "done")

    def take_error(self, error):
        reason = error.get("FailureReason", error.get("Description"))
        if (error.get("Domain"), error.get("Code")) == ("vandrel", 7):
            self.note(self.TIMED_OUT, 2, f"timed out: {reason}")
        else:
            self.note(self.TOOL_FAILED, 1, f"failed: {error_words(error)}: {reason}")

    def verdict(self):
        """The exit status and the words of the verdict."""
        if self.found:
            return self.found[min(self.found)]
        return 4, "not completed: the records end" + self.where


def run(words, handle_record):
    """Runs these words as a command. Returns its exit status."""
    stream, writer = make_pipe()
    with stream:
        try:
            process = subprocess.Popen(
                words + ["--output-pipe", str(writer)],
                stdin=subprocess.DEVNULL, stdout=sys.stderr, stderr=sys.stderr,
                **inheriting(writer))
        finally:
            # From here on, only vandrel has the write end open. The stream ends when vandrel closes it.
            close(writer)
        for kind, value in records(stream):
            handle_record(kind, value)
    return process.wait()


def main(words):
    judge = Judge("--enter-restore-mode" in words)

    def handle_record(kind, value):
        print(kind, value, flush=True)
        judge.take(kind, value)

    if words[:1] == ["--records"] and len(words) == 2:
        with open(words[1], "rb") as stream:
            for kind, value in records(stream):
                handle_record(kind, value)
    elif words and words[0] != "--records":
        exit_status = run(words, handle_record)
        if exit_status != 0:
            print("vandrel's exit status:", exit_status, file=sys.stderr)
    else:
        print("usage: run_with_pipe.py VANDREL [ARGUMENTS], or run_with_pipe.py --records FILE", file=sys.stderr)
        return 64
    status, text = judge.verdict()
    print(text, file=sys.stderr)
    return status


if __name__ == "__main__":
    # A device's text can have characters that standard output cannot show.
    sys.stdout.reconfigure(errors="backslashreplace")
    sys.exit(main(sys.argv[1:]))
