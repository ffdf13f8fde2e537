#!/usr/bin/env python3
"""Writes a bench of simulated devices: station_bench.py FOLDER [NUMBER...].

FOLDER gets scenario.plist, a bundle for the devices (iPhone.ipsw), a folder of bundles (ipsw) and the names of all
ports (slots.txt), also of those without a device. The bench has the devices of these numbers, or those from 1 to 12.
Number 4 fails, number 7 goes quiet for a while, and number 12 arrives late. Number 13 arrives when there is a file
"plugged" in the current folder.
"""
import os
import plistlib
import sys
import zipfile

CHIP, BOARD = 0x8110, 0x0C
FAILS, GOES_QUIET, ARRIVES_LATE, IS_PLUGGED_IN = 4, 7, 12, 13
STEPS = [(201, 0), (201, 100), (14, 0), (14, 25), (14, 50), (14, 75), (14, 100), (15, 50), (15, 100)]


def reports(number):
    result = []
    for operation, progress in STEPS:
        quiet = number == GOES_QUIET and (operation, progress) == (14, 50)
        result.append((4 if quiet else 0.3, {"Status": "Restoring", "Operation": operation, "Progress": progress}))
        if number == FAILS and (operation, progress) == (14, 25):
            result.append((0.3, {"Status": "Failed", "Operation": operation, "Progress": 42, "Error": 4005}))
            return result
    return result + [(0.3, {"Status": "Successful", "Operation": 0, "Progress": 100, "Error": 0})]


def device(number):
    return {"Name": f"phone {number}", "ECID": f"{0x000A11B22C330000 + number:016X}", "State": "Recovery",
            "ChipID": CHIP, "BoardID": BOARD, "ProductID": 0x1281, "LocationID": 0x14110000 + number * 0x1000,
            "SerialNumber": f"F17Q2X9A{number:02}", "ProductString": "Mobile Device (Recovery Mode)",
            "Restore": {"Reports": [{"After": after, "Report": report} for after, report in reports(number)]}}


def write_bundle(path, chip=CHIP, board=BOARD, version="17.1", build="21B80"):
    with zipfile.ZipFile(path, "w") as bundle:
        bundle.writestr("BuildManifest.plist", plistlib.dumps({
            "ProductVersion": version, "ProductBuildVersion": build, "SupportedProductTypes": ["iPhone14,2"],
            "BuildIdentities": [{"ApChipID": hex(chip), "ApBoardID": hex(board)}]}))


def write_bench(folder, numbers):
    events = [{"At": 4 if number == ARRIVES_LATE else 0, "Device": f"phone {number}", "Type": "connected"}
              for number in numbers]
    for event in events:
        if event["Device"] == f"phone {IS_PLUGGED_IN}":
            event["AwaitFile"] = "plugged"
    with open(os.path.join(folder, "scenario.plist"), "wb") as file:
        plistlib.dump({"Devices": [device(number) for number in numbers], "Events": events}, file)
    with open(os.path.join(folder, "slots.txt"), "w", encoding="ascii") as file:
        for number in sorted({*range(1, 13), *numbers}):
            file.write(f"{0x14110000 + number * 0x1000:#x} {chr(ord('A') + (number - 1) // 6)}{(number - 1) % 6 + 1}\n")
    write_bundle(os.path.join(folder, "iPhone.ipsw"))
    several = os.path.join(folder, "ipsw")
    os.makedirs(several, exist_ok=True)
    write_bundle(os.path.join(several, "iPhone_17.1.ipsw"))
    write_bundle(os.path.join(several, "iPhone_16.0.ipsw"), version="16.0", build="20A362")
    with open(os.path.join(several, "iPad_17.1.ipsw"), "wb") as file:
        file.write(b"PK")
    # What has just changed is taken for a copy that goes on.
    for name in os.listdir(several):
        os.utime(os.path.join(several, name), (1e9, 1e9))


if __name__ == "__main__":
    write_bench(sys.argv[1], [int(number) for number in sys.argv[2:]] or range(1, 13))
