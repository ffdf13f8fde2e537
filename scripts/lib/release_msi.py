"""The installers: packages for Windows Installer, made of the files in a folder."""
import hashlib
import os
import struct
import subprocess
import tempfile
import uuid
import xml.etree.ElementTree as ElementTree
from dataclasses import dataclass
from pathlib import Path

# Windows Installer knows products and parts by GUIDs. All of ours are made of this one and a name, so that the
# same files give the same installer.
FAMILY = uuid.UUID("6f0b9a6e-3c5b-4d1c-9a43-0f5a2a7c8d51")


@dataclass(frozen=True)
class Scope:
    """For whom an installer installs. Each has products of its own, which upgrade each other."""
    name: str
    suffix: str
    wix_scope: str
    folders: tuple  # Windows' own folder, and those within it
    variable: str  # the environment variable, after the signs that Windows Installer defines


# "=" sets the variable when installing, "-" removes it with the product, "*" is that of the computer.
SCOPES = (
    Scope("machine", "", "perMachine", ("ProgramFiles64Folder",), "=-*PATH"),
    Scope("user", "-user", "perUser", ("LocalAppDataFolder", "Programs"), "=-PATH"),
)

# wixl has no element for environment variables. The numbers are those that Windows Installer recommends.
ENVIRONMENT = [
    "CREATE TABLE `Environment` (`Environment` CHAR(72) NOT NULL, `Name` CHAR(255) NOT NULL LOCALIZABLE, "
    "`Value` CHAR(255) LOCALIZABLE, `Component_` CHAR(72) NOT NULL PRIMARY KEY `Environment`)",
    "INSERT INTO `Environment` (`Environment`, `Name`, `Value`, `Component_`) "
    "VALUES ('Path', '{variable}', '[~];[INSTALLDIR]', 'Files0')",
    "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('RemoveEnvironmentStrings', 3300)",
    "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('WriteEnvironmentStrings', 5200)",
]


def guid(*names):
    return "{" + str(uuid.uuid5(FAMILY, " ".join(names))).upper() + "}"


def content_of(folder):
    """A text that differs for folders with different files."""
    digest = hashlib.sha256()
    for path in sorted(folder.rglob("*")):
        if path.is_file():
            digest.update(f"{path.relative_to(folder)}\0{path.stat().st_size}\0".encode())
            digest.update(path.read_bytes())
    return digest.hexdigest()


class Source:
    """The installer's source for wixl."""

    def __init__(self, folder, version, scope):
        self.scope = scope
        self.files = 0
        self.folders = 0
        wix = ElementTree.Element("Wix", xmlns="http://schemas.microsoft.com/wix/2006/wi")
        product = ElementTree.SubElement(
            wix, "Product", Id=guid("product", version, scope.name), UpgradeCode=guid("upgrades", scope.name),
            Name="vandrel", Manufacturer="vandrel", Version=version, Language="1033")
        ElementTree.SubElement(
            product, "Package", Compressed="yes", InstallScope=scope.wix_scope, InstallerVersion="500",
            Description=f"vandrel {version}", Manufacturer="vandrel")
        ElementTree.SubElement(
            product, "MajorUpgrade", DowngradeErrorMessage="A newer version of vandrel is installed already.")
        ElementTree.SubElement(product, "Media", Id="1", Cabinet="vandrel.cab", EmbedCab="yes")
        # There is nothing to choose: without this, Windows offers to change what is installed.
        ElementTree.SubElement(product, "Property", Id="ARPNOMODIFY", Value="1")
        at = ElementTree.SubElement(product, "Directory", Id="TARGETDIR", Name="SourceDir")
        windows_own, *within = scope.folders
        at = ElementTree.SubElement(at, "Directory", Id=windows_own)
        for name in within:
            at = ElementTree.SubElement(at, "Directory", Id=f"{name}Folder", Name=name)
        at = ElementTree.SubElement(at, "Directory", Id="INSTALLDIR", Name="vandrel")
        self.feature = ElementTree.SubElement(product, "Feature", Id="Complete", Level="1")
        self.add_folder(folder, at, "")
        self.text = ElementTree.tostring(wix, encoding="unicode", xml_declaration=True)

    def add_folder(self, folder, element, name):
        """Adds the folder's files as one component, and the folders in it."""
        entries = sorted(folder.iterdir())
        files = [entry for entry in entries if entry.is_file()]
        if files:
            component = ElementTree.SubElement(
                element, "Component", Id=f"Files{self.folders}", Guid=guid("component", self.scope.name, name),
                Win64="yes")
            ElementTree.SubElement(self.feature, "ComponentRef", Id=component.get("Id"))
        for file in files:
            ElementTree.SubElement(component, "File", Id=f"File{self.files}", Name=file.name, Source=f"{name}{file.name}",
                                   KeyPath="yes" if file == files[0] else "no")
            self.files += 1
        for entry in entries:
            if entry.is_dir():
                self.folders += 1
                inner = ElementTree.SubElement(element, "Directory", Id=f"Folder{self.folders}", Name=entry.name)
                self.add_folder(entry, inner, f"{name}{entry.name}/")


# The identifier with which the properties of an installer's summary begin, and the numbers of those that wixl
# chooses anew each time. See Microsoft's descriptions of property sets and of the summary stream.
SUMMARY = uuid.UUID("f29f85e0-4ff9-1068-ab91-08002b27b3d9").bytes_le
REVISION, CREATED, SAVED = 9, 12, 13
TEXT, FILE_TIME = 30, 64
SECONDS_FROM_1601_TO_1970 = 11644473600


def set_summary(msi, revision, date):
    """Replaces the summary's revision, which is the installer's own GUID, and both of its dates."""
    image = bytearray(msi.read_bytes())
    if image.count(SUMMARY) != 1:
        raise ValueError(f"{msi} does not have one summary")
    at = image.index(SUMMARY) + len(SUMMARY) + 4
    _, count = struct.unpack_from("<II", image, at)
    properties = dict(struct.unpack_from("<II", image, at + 8 + 8 * i) for i in range(count))
    file_time = struct.pack("<Q", (date + SECONDS_FROM_1601_TO_1970) * 10_000_000)
    text = revision.encode("ascii") + b"\0"
    for number, kind, value in ((REVISION, TEXT, struct.pack("<I", len(text)) + text),
                                (CREATED, FILE_TIME, file_time), (SAVED, FILE_TIME, file_time)):
        place = at + properties[number]
        if struct.unpack_from("<I", image, place) != (kind,):
            raise ValueError(f"{msi} has no property {number} of the type {kind}")
        if kind == TEXT and image[place + 4:place + 8] != value[:4]:
            raise ValueError(f"{msi} has another length of its revision")
        image[place + 4:place + 4 + len(value)] = value
    msi.write_bytes(image)


def make_msi(folder, version, scope, date, output):
    """Makes the installer `output` of the files in `folder`, which get the time `date` (seconds since 1970)."""
    for path in folder.rglob("*"):
        os.utime(path, (date, date))
    environment = dict(os.environ, TZ="UTC", LC_ALL="C.UTF-8")
    source = Source(folder, version, scope)
    with tempfile.TemporaryDirectory() as temporary:
        wxs = Path(temporary) / "vandrel.wxs"
        wxs.write_text(source.text, "utf-8")
        subprocess.run(["wixl", "--arch", "x64", "--output", str(output), str(wxs)], cwd=folder, env=environment,
                       check=True)
    for query in ENVIRONMENT:
        subprocess.run(["msibuild", str(output), "-q", query.format(variable=scope.variable)], env=environment,
                       check=True)
    set_summary(output, guid("package", version, scope.name, content_of(folder)), date)
