"""Compares the simulator's property lists with Python's.

Python writes values as XML and as binary, the converter reads both and writes XML, and Python must
read the same from that.

Usage: property_list_peer_test.py CONVERTER...   (the command, emulator and all)
"""

import datetime
import math
import pathlib
import plistlib
import random
import subprocess
import sys
import tempfile

CHARACTERS = "abcXYZ 0189\t\n&<>\"'=%\x7f\u00e4\u20ac\ud7ff\ue000\ufffd\U00010000\U0001f4f1\U0010ffff"
CORNERS = [
    0, -1, 255, 256, 65535, 65536, 2**31, 2**32 - 1, 2**32, 2**63 - 1, 2**63, 2**64 - 1, -(2**63),
    0.0, -0.0, 0.1, 1e22, 5e-324, 1.7976931348623157e308, math.inf, -math.inf,
    True, False, "", b"", [], {},
    datetime.datetime(1, 1, 1), datetime.datetime(1969, 12, 31, 23, 59, 59),
    datetime.datetime(2000, 2, 29), datetime.datetime(9999, 12, 31, 23, 59, 59),
]


def make_text(choice):
    return "".join(choice.choice(CHARACTERS) for _ in range(choice.randrange(20)))


def make_value(choice, depth):
    kind = choice.randrange(6 if depth < 6 else 4)
    if kind == 0:
        return choice.choice(CORNERS)
    if kind == 1:
        return make_text(choice)
    if kind == 2:
        return choice.randbytes(choice.randrange(200))
    if kind == 3:
        return choice.uniform(-1, 1) * 10.0 ** choice.randrange(-300, 300)
    count = choice.randrange(12)
    if kind == 4:
        return [make_value(choice, depth + 1) for _ in range(count)]
    return {make_text(choice): make_value(choice, depth + 1) for _ in range(count)}


def main(converter):
    choice = random.Random(20010101)
    values = CORNERS + [CORNERS] + [make_value(choice, 0) for _ in range(100)]
    formats = {"xml": plistlib.FMT_XML, "binary": plistlib.FMT_BINARY}
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        expected = {}
        # Names relative to the folder mean the same to every host.
        arguments = []
        for index, value in enumerate(values):
            for suffix, form in formats.items():
                source, target = f"{index}.{suffix}", f"{index}.{suffix}.out"
                document = plistlib.dumps(value, fmt=form)
                (folder / source).write_bytes(document)
                # Its binary form keeps equal numbers once, and so makes 0.0 of -0.0.
                expected[target] = plistlib.loads(document)
                arguments += [source, target]
        subprocess.run([*converter, *arguments], cwd=folder, check=True)
        for target, value in expected.items():
            found = plistlib.loads((folder / target).read_bytes())
            # As text, which distinguishes 1 from True and 0.0 from -0.0.
            if repr(found) != repr(in_key_order(value)):
                sys.exit(f"{target}: {found!r}\nin place of {value!r}")
    print(f"{len(expected)} documents agree")


def in_key_order(value):
    """The value as its document has it: keys sorted by UTF-16 units, and no sign on a zero."""
    if isinstance(value, float) and value == 0:
        return 0.0
    if isinstance(value, dict):
        return {key: in_key_order(value[key]) for key in sorted(value, key=lambda key: key.encode("utf-16-be"))}
    if isinstance(value, list):
        return [in_key_order(element) for element in value]
    return value


main(sys.argv[1:])
