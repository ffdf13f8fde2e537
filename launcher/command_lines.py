"""What the tests of the product have both vandrel and vandrel-sim do."""

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
    ["--restore", "firmware.ipsw", "--ecid", RECOVERY, "--enter-restore-mode"],
    ["--restore", "firmware.ipsw", "--ecid", RECOVERY, "--restore-timeout", "0"],
    ["--restore-plist", "missing.plist", "--ecid", RECOVERY],
    ["--device-info", "--ecid", "00000000000000AB", "--detect-timeout", "0"],
    ["--frobnicate"],
    [],
]
