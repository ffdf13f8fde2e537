#!/usr/bin/env python3
"""Starts vandrel with a pipe, and prints each record when it arrives.

    run_with_pipe.py C:\\vandrel\\vandrel.exe --list-devices

vandrel's other output goes to standard error. The exit status is that of vandrel.
"""
import os
import plistlib
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
        """The arguments with which Popen passes this handle on, and no other."""
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


def records(stream):
    """Yields each record of the stream as soon as it is complete."""
    document = b""
    for line in stream:
        document += line
        if line.endswith(b"</plist>\n"):
            yield plistlib.loads(document)
            document = b""
    if document:
        print("The last record is incomplete.", file=sys.stderr)


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
            # From here on, only vandrel has the write end open; when it closes it, the stream ends.
            close(writer)
        for record in records(stream):
            handle_record(record)
    return process.wait()


def print_record(record):
    print(record["Type"], record["Value"], flush=True)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit("usage: run_with_pipe.py VANDREL [ARGUMENTS]")
    sys.exit(run(sys.argv[1:], print_record))
