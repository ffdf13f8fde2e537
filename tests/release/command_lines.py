"""Command lines that two programs run, such as vandrel and vandrel-sim, and the comparison of what they write."""

# A device in Recovery mode of the built-in scenario.
RECOVERY = "0001A2B3C4D5E6F7"
LISTING = ["--list-devices", "--detect-timeout", "1"]
COMMAND_LINES = [
    ["--help"],
    ["--debug-dump"],
    LISTING,
    ["--device-info", "--ecid", RECOVERY],
    ["--exit-recovery", "--ecid", RECOVERY],
    ["--exit-recovery", "--ecid", "000A11B22C33D44E"],
    ["--no-exit-recovery", "--ecid", RECOVERY],
    ["--restore", "firmware.ipsw", "--ecid", RECOVERY],
    ["--restore", "firmware.ipsw", "--ecid", RECOVERY, "--erase", "--no-cleanup"],
    ["--restore", "firmware.ipsw", "--ecid", RECOVERY, "--enter-restore-mode"],
    ["--restore", "firmware.ipsw", "--ecid", RECOVERY, "--restore-timeout", "0"],
    ["--restore-plist", "missing.plist", "--ecid", RECOVERY],
    ["--device-info", "--ecid", "00000000000000AB", "--detect-timeout", "0"],
    ["--frobnicate"],
    [],
]

# Options with which the tool does not wait for the end of a restore. The record with which it stops waiting has this
# text.
STOPPED_WAITING = {
    "--enter-restore-mode": b"<string>Booting</string>",
    "--restore-timeout": b"restore did not complete in 0 seconds",
}


def wrote_the_same(arguments, one, other):
    """Whether two runs of these arguments, with the outputs `one` and `other`, wrote the same. A restore for which
    the tool has stopped waiting goes on while the tool ends, so that one run may write more of its records."""
    for option in STOPPED_WAITING.keys() & set(arguments):
        shorter, longer = sorted((one, other), key=len)
        return (STOPPED_WAITING[option] in shorter and shorter.endswith(b"</plist>\n\n")
                and longer.startswith(shorter))
    return one == other
