#!/usr/bin/env python3
"""What Windows reads in the product's files: release_files_test.py VERSION LIBRARY PROGRAM..."""
import os
import struct
import sys
import unittest
import xml.etree.ElementTree
import zlib

version = sys.argv[1]
library, *programs = (os.path.abspath(path) for path in sys.argv[2:])

# The first number of a file's header, for this kind of machine.
machine_amd64 = 0x8664
# Of the file header's characteristics.
relocs_stripped, executable_image, large_address_aware, is_library = 0x0001, 0x0002, 0x0020, 0x2000
# Of the optional header's.
high_entropy_va, dynamic_base, nx_compat = 0x0020, 0x0040, 0x0100
# Rows of the table of directories.
export_directory, import_directory, resource_directory, relocation_directory = 0, 1, 2, 5
delayed_import_directory = 13
# Types of resources.
version_resource, manifest_resource = 16, 24
# The kind of relocation that holds a whole address.
relocation_dir64 = 10


class portable_executable:
    """A program or library in Windows' format, laid out in `image` as Windows lays it out in memory."""

    def __init__(self, path):
        with open(path, "rb") as file:
            data = file.read()
        (header,) = struct.unpack_from("<I", data, 0x3C)
        signature, self.machine, sections, _, symbols, symbol_count, optional_size, self.characteristics = (
            struct.unpack_from("<4sHHIIIHH", data, header))
        if (data[:2], signature) != (b"MZ", b"PE\0\0"):
            raise ValueError(f"{path} is no program of Windows'")
        optional = header + 24
        (magic,) = struct.unpack_from("<H", data, optional)
        if magic != 0x20B:
            raise ValueError(f"{path} is not a 64-bit one")
        (self.base,) = struct.unpack_from("<Q", data, optional + 24)
        (size,) = struct.unpack_from("<I", data, optional + 56)
        (self.dll_characteristics,) = struct.unpack_from("<H", data, optional + 70)
        (count,) = struct.unpack_from("<I", data, optional + 108)
        self.directories = [struct.unpack_from("<II", data, optional + 112 + 8 * i) for i in range(count)]
        self.sections = {}
        image = bytearray(size)
        for i in range(sections):
            name, memory_size, address, file_size, offset = struct.unpack_from(
                "<8sIIII", data, optional + optional_size + 40 * i)
            content = data[offset:offset + min(file_size, memory_size)]
            if name.startswith(b"/"):  # longer than eight letters: the table of strings has it
                start = symbols + 18 * symbol_count + int(name[1:].rstrip(b"\0"))
                name = data[start:data.index(b"\0", start)]
            self.sections[name.rstrip(b"\0").decode()] = content
            image[address:address + len(content)] = content
        self.image = bytes(image)

    def number(self, address):
        return struct.unpack_from("<I", self.image, address)[0]

    def text(self, address):
        return self.image[address:self.image.index(b"\0", address)].decode()

    def exports(self):
        address, _ = self.directories[export_directory]
        if not address:
            return []
        functions, names, _, table = struct.unpack_from("<IIII", self.image, address + 20)
        if functions != names:
            raise ValueError("exports without names")
        return [self.text(self.number(table + 4 * i)) for i in range(names)]

    def imported_libraries(self):
        address, _ = self.directories[import_directory]
        names = []
        while name := self.number(address + 12):
            names.append(self.text(name))
            address += 20
        return names

    def relocated_addresses(self):
        address, size = self.directories[relocation_directory]
        end, found = address + size, []
        while address < end:
            page, block = struct.unpack_from("<II", self.image, address)
            if block < 8:
                raise ValueError("a block of relocations that ends before it begins")
            for (entry,) in struct.iter_unpack("<H", self.image[address + 8:address + block]):
                if entry >> 12 == relocation_dir64:
                    found.append(page + (entry & 0xFFF))
            address += block
        return found

    def resources(self):
        """{(type, number, language): content}"""
        root, size = self.directories[resource_directory]
        found = {}

        def read_table(table, path):
            names, numbers = struct.unpack_from("<HH", self.image, table + 12)
            for i in range(names + numbers):
                key, value = struct.unpack_from("<II", self.image, table + 16 + 8 * i)
                if value & 0x80000000:
                    read_table(root + (value & 0x7FFFFFFF), path + (key,))
                else:
                    address, length = struct.unpack_from("<II", self.image, root + value)
                    found[path + (key,)] = self.image[address:address + length]

        if size:
            read_table(root, ())
        return found

    def resources_of_type(self, wanted):
        return {number: content for (kind, number, _), content in self.resources().items() if kind == wanted}


def read_version_block(data, start=0):
    """(key, value, {key: value} of the blocks within, end) of one block of a version resource."""
    length, value_length, is_text = struct.unpack_from("<HHH", data, start)
    at = start + 6
    while data[at:at + 2] != b"\0\0":
        at += 2
    key = data[start + 6:at].decode("utf-16-le")
    at = (at + 2 + 3) & ~3
    value = data[at:at + value_length * (2 if is_text else 1)]
    at += len(value)
    end = start + length
    within = {}
    while (at := (at + 3) & ~3) < end:
        name, inner, deeper, at = read_version_block(data, at)
        within[name] = deeper or inner
    return key, value.decode("utf-16-le").rstrip("\0") if is_text else value, within, end


class release_files(unittest.TestCase):
    def for_each(self):
        for path in (library, *programs):
            yield path, portable_executable(path)

    def test_they_are_for_windows_x64(self):
        for path, file in self.for_each():
            self.assertEqual(file.machine, machine_amd64)
            for wanted in (executable_image, large_address_aware):
                self.assertTrue(file.characteristics & wanted, hex(wanted))
            self.assertEqual(bool(file.characteristics & is_library), path == library)

    def test_windows_may_place_them_anywhere_and_runs_no_data(self):
        for _, file in self.for_each():
            for wanted in (high_entropy_va, dynamic_base, nx_compat):
                self.assertTrue(file.dll_characteristics & wanted, hex(wanted))

    def test_what_depends_on_their_place_is_listed(self):
        for _, file in self.for_each():
            self.assertFalse(file.characteristics & relocs_stripped)
            addresses = file.relocated_addresses()
            # Every such place holds an address of the file's own.
            self.assertGreater(len(addresses), 100)
            for address in addresses:
                (value,) = struct.unpack_from("<Q", file.image, address)
                self.assertTrue(file.base <= value < file.base + len(file.image), hex(address))

    def test_main_is_the_only_export(self):
        self.assertEqual(portable_executable(library).exports(), ["main"])
        for program in programs:
            self.assertEqual(portable_executable(program).exports(), [], program)

    def test_they_import_windows_own_libraries_only(self):
        # Windows takes these from its own folder even if there are others beside the program: they are in its
        # list of known libraries (in the registry, Control\\Session Manager\\KnownDLLs). Names that begin with
        # api-ms-win- are not those of files: Windows has a table of what they mean.
        windows_own = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "shell32.dll", "user32.dll",
                       "ws2_32.dll"}
        for _, file in self.for_each():
            names = {name.lower() for name in file.imported_libraries()}
            self.assertIn("kernel32.dll", names)
            self.assertLessEqual({name for name in names if not name.startswith("api-ms-win-")}, windows_own)
            self.assertEqual(file.directories[delayed_import_directory], (0, 0))

    def test_they_carry_one_manifest_where_windows_looks_for_it(self):
        for program in programs:
            self.assertEqual(list(portable_executable(program).resources_of_type(manifest_resource)), [1])
        self.assertEqual(list(portable_executable(library).resources_of_type(manifest_resource)), [2])
        for _, file in self.for_each():
            manifests = [key for key in file.resources() if key[0] == manifest_resource]
            self.assertEqual(len(manifests), 1, manifests)

    def test_the_manifest_asks_for_utf8_long_paths_no_elevation_and_windows_10(self):
        for _, file in self.for_each():
            (text,) = file.resources_of_type(manifest_resource).values()
            manifest = xml.etree.ElementTree.fromstring(text)
            self.assertEqual(manifest.tag, "{urn:schemas-microsoft-com:asm.v1}assembly")
            self.assertEqual(manifest.get("manifestVersion"), "1.0")

            def elements(path):
                spaces = {"asm": "urn:schemas-microsoft-com:asm.v3",
                          "compatibility": "urn:schemas-microsoft-com:compatibility.v1",
                          "ws2016": "http://schemas.microsoft.com/SMI/2016/WindowsSettings",
                          "ws2019": "http://schemas.microsoft.com/SMI/2019/WindowsSettings"}
                return manifest.findall(path, spaces)

            settings = "asm:application/asm:windowsSettings/"
            self.assertEqual([e.text for e in elements(settings + "ws2019:activeCodePage")], ["UTF-8"])
            self.assertEqual([e.text for e in elements(settings + "ws2016:longPathAware")], ["true"])
            levels = elements("asm:trustInfo/asm:security/asm:requestedPrivileges/asm:requestedExecutionLevel")
            self.assertEqual([e.attrib for e in levels], [{"level": "asInvoker", "uiAccess": "false"}])
            systems = elements("compatibility:compatibility/compatibility:application/compatibility:supportedOS")
            self.assertEqual([e.get("Id") for e in systems], ["{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"])

    def test_their_version_is_the_projects(self):
        major, minor, patch = (int(number) for number in version.split("."))
        for path, file in self.for_each():
            resources = file.resources_of_type(version_resource)
            self.assertEqual(list(resources), [1])
            key, fixed, blocks, _ = read_version_block(resources[1])
            self.assertEqual(key, "VS_VERSION_INFO")
            signature, _, *numbers = struct.unpack("<13I", fixed)
            self.assertEqual(signature, 0xFEEF04BD)
            as_two_numbers = [major << 16 | minor, patch << 16]
            self.assertEqual(numbers[0:2], as_two_numbers, "of the file")
            self.assertEqual(numbers[2:4], as_two_numbers, "of the product")
            self.assertEqual(numbers[7], 2 if path == library else 1)
            # The block's name is the translation's two numbers: no language, UTF-16.
            self.assertEqual(struct.unpack("<HH", blocks["VarFileInfo"]["Translation"]), (0, 0x04B0))
            self.assertEqual(list(blocks["StringFileInfo"]), ["000004B0"])
            texts = blocks["StringFileInfo"]["000004B0"]
            self.assertEqual(texts["CompanyName"], "vandrel")
            self.assertEqual(texts["ProductName"], "vandrel")
            self.assertEqual(texts["FileDescription"], "Recovery tool for Apple mobile devices")
            self.assertEqual(texts["OriginalFilename"], os.path.basename(path))
            self.assertEqual(texts["FileVersion"], version)
            self.assertEqual(texts["ProductVersion"], version)

    def test_their_debug_symbols_lie_beside_them(self):
        for path, file in self.for_each():
            self.assertEqual([name for name in file.sections if name.startswith(".debug")], [])
            link = file.sections[".gnu_debuglink"]
            name, (checksum,) = link[:link.index(b"\0")].decode(), struct.unpack("<I", link[-4:])
            self.assertEqual(name, os.path.basename(path) + ".debug")
            with open(path + ".debug", "rb") as symbols:
                self.assertEqual(checksum, zlib.crc32(symbols.read()))
            self.assertIn(".debug_info", portable_executable(path + ".debug").sections)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
