#!/usr/bin/env python3
"""Makes the files of a release from a build of the preset windows:

    release.py BUILD OUTPUT --date SECONDS --commit HASH [--sign OPTION...]

OUTPUT, which is emptied first, gets the archive, the archive of the debug symbols, two installers and the SHA-256 sums
of these. The same build, commit and date (of the commit, in seconds since 1970) give the same bytes, unless they are
signed. --sign signs the programs and the installers; the OPTIONs are those of "osslsigncode sign", for the certificate.
"""
import argparse
import hashlib
import json
import shutil
import struct
import subprocess
import tempfile
import time
import zipfile
from pathlib import Path

from release_msi import SCOPES, make_msi
from release_sbom import linked_versions, make_sbom

PROGRAMS = (".exe", ".dll")


def install(build, component, folder):
    """Copies the files of a component of cmake/package.cmake into the folder."""
    subprocess.run(["cmake", "--install", str(build), "--prefix", str(folder), "--component", component],
                   stdout=subprocess.DEVNULL, check=True)


def set_program_date(path, date):
    """Writes the date into the header of a Windows program or library, which the linker has left at 0. Crash
    reports and stores of symbols distinguish versions of a file by it."""
    image = bytearray(path.read_bytes())
    (header,) = struct.unpack_from("<I", image, 0x3C)
    struct.pack_into("<I", image, header + 8, date)
    checksum = header + 24 + 64
    struct.pack_into("<I", image, checksum, 0)
    total = sum(struct.unpack(f"<{len(image) // 2}H", image[: len(image) & ~1]))
    total += image[-1] if len(image) % 2 else 0
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    struct.pack_into("<I", image, checksum, total + len(image))
    path.write_bytes(image)


def write_zip(folder, name, date, output):
    """Packs the files of the folder under NAME/, in the order of their names."""
    with zipfile.ZipFile(output, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for path in sorted(folder.rglob("*")):
            if path.is_file():
                entry = zipfile.ZipInfo(f"{name}/{path.relative_to(folder).as_posix()}", time.gmtime(date)[:6])
                entry.create_system = 3
                entry.external_attr = (0o100755 if path.suffix in PROGRAMS else 0o100644) << 16
                entry.compress_type = zipfile.ZIP_DEFLATED
                archive.writestr(entry, path.read_bytes())


def sign(path, options):
    signed = path.with_name(path.name + ".signed")
    subprocess.run(["osslsigncode", "sign", *options, "-h", "sha256", "-n", "vandrel", "-in", str(path),
                    "-out", str(signed)], stdout=subprocess.DEVNULL, check=True)
    signed.replace(path)


def write_sums(folder):
    lines = [f"{hashlib.sha256(path.read_bytes()).hexdigest()}  {path.name}\n" for path in sorted(folder.iterdir())]
    (folder / "SHA256SUMS").write_text("".join(lines), "ascii")


def make_release(build, output, date, commit, sign_options):
    settings = json.loads((build / "release.json").read_text("utf-8"))
    version = settings["version"]
    output.mkdir(parents=True)
    with tempfile.TemporaryDirectory() as temporary:
        product, symbols = Path(temporary) / "product", Path(temporary) / "symbols"
        install(build, "product", product)
        install(build, "debug-symbols", symbols)
        versions = linked_versions(settings["compiler"], settings["includes"])
        (product / "sbom.spdx.json").write_text(make_sbom(version, commit, date, versions), "utf-8")
        for path in product.iterdir():
            if path.suffix in PROGRAMS:
                set_program_date(path, date)
                if sign_options:
                    sign(path, sign_options)
        name = f"vandrel-{version}-windows-x64"
        write_zip(product, name, date, output / f"{name}.zip")
        write_zip(symbols, name, date, output / f"{name}-debug-symbols.zip")
        for scope in SCOPES:
            installer = output / f"vandrel-{version}-x64{scope.suffix}.msi"
            make_msi(product, version, scope, date, installer)
            if sign_options:
                sign(installer, sign_options)
    write_sums(output)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=Path)
    parser.add_argument("output", type=Path)
    parser.add_argument("--date", type=int, required=True)
    parser.add_argument("--commit", required=True)
    parser.add_argument("--sign", nargs=argparse.REMAINDER, default=[])
    words = parser.parse_args()
    shutil.rmtree(words.output, ignore_errors=True)
    make_release(words.build.resolve(), words.output.resolve(), words.date, words.commit, words.sign)


if __name__ == "__main__":
    main()
