#!/usr/bin/python3
"""Checks the portable zip: its files, the resources and the protection of its program, and that it
needs nothing but itself and Windows."""

import json
import pathlib
import re
import struct
import subprocess
import unittest
import xml.etree.ElementTree

import pefile

import packages
import portable_executable

MEGABYTE = 1_000_000
MANIFEST_OF_A_PROGRAM = 1


class Contents(unittest.TestCase):
    files = packages.read_zip()

    def test_holds_exactly_the_listed_files(self):
        self.assertEqual(set(self.files), packages.FILES)

    def test_sizes(self):
        self.assertLess(packages.ZIP.stat().st_size, 7.6 * MEGABYTE)
        self.assertLess(packages.INSTALLER.stat().st_size, 6 * MEGABYTE)
        self.assertLess(len(self.files[packages.PROGRAM]), MEGABYTE / 2)
        self.assertLess(len(self.files["guide.html"]), 0.4 * MEGABYTE)

    def test_plugins_come_from_the_program_s_folder(self):
        self.assertEqual(self.files["qt.conf"].decode(), "[Paths]\nPrefix=.\nPlugins=.\n")

    def test_notepad_shows_the_lines_of_the_first_file_to_read(self):
        text = self.files["README.txt"].decode("ascii")
        self.assertTrue(text.startswith(f"Orvanta Configurator {packages.VERSION}\r\n"))
        self.assertEqual(text.count("\n"), text.count("\r\n"))

    def test_no_folder_of_this_machine_is_named(self):
        folders = (packages.BUILD, packages.QT, packages.SOURCE, pathlib.Path.home())
        for path, data in self.files.items():
            for folder in folders:
                self.assertNotIn(f"{folder}/".encode(), data, path)


class Program(unittest.TestCase):
    image = pefile.PE(data=packages.read_zip()[packages.PROGRAM])

    def test_imports_by_name_only(self):
        for library, names in portable_executable.imports(self.image).items():
            self.assertNotIn(None, names, library)

    def test_manifest_asks_for_no_elevation(self):
        name, text = portable_executable.resource(self.image, "RT_MANIFEST")
        self.assertEqual(name, MANIFEST_OF_A_PROGRAM)

        manifest = xml.etree.ElementTree.fromstring(text)
        (level,) = manifest.iter("{urn:schemas-microsoft-com:asm.v3}requestedExecutionLevel")
        self.assertEqual(level.attrib, {"level": "asInvoker", "uiAccess": "false"})

    def test_icon_is_one_image_of_16_by_16_pixels_in_24_bit(self):
        name, group = portable_executable.resource(self.image, "RT_GROUP_ICON")
        self.assertEqual(name, "IDI_ICON1")
        kind, count, width, height, bits, identifier = struct.unpack("<2xHHBB4xH4xH", group)
        self.assertEqual((kind, count, width, height, bits), (1, 1, 16, 16, 24))

        name, image = portable_executable.resource(self.image, "RT_ICON")
        self.assertEqual(name, identifier)
        # The height counts the picture and its mask.
        _, width, height, _, bits = struct.unpack_from("<IiiHH", image)
        self.assertEqual((width, height, bits), (16, 2 * 16, 24))

    def test_version_block(self):
        language, texts = portable_executable.version_texts(self.image)
        self.assertEqual(language, "040904E4")
        expected = {
            "FileDescription": "Orvanta Configurator",
            "FileVersion": packages.VERSION.replace(".", ","),
            "OriginalFilename": "OrvantaConfigurator.exe",
            "ProductName": "Orvanta Configurator",
            "ProductVersion": "Git Commit Hash: ",
        }
        self.assertEqual(texts, expected)
        _, variables = self.image.FileInfo[0]
        (translation,) = variables.Var
        self.assertEqual(translation.entry, {b"Translation": "0x0409 0x04e4"})

        (numbers,) = self.image.VS_FIXEDFILEINFO
        version = (3 << 16 | 2, 0)
        self.assertEqual((numbers.FileVersionMS, numbers.FileVersionLS), version)
        self.assertEqual((numbers.ProductVersionMS, numbers.ProductVersionLS), version)

    def test_address_is_random_with_high_entropy(self):
        header = self.image.OPTIONAL_HEADER
        self.assertTrue(header.IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA)
        # Without it the flag has no effect.
        self.assertGreater(header.ImageBase, 0xFFFFFFFF)

    def test_nothing_is_both_writable_and_executable(self):
        for section in self.image.sections:
            is_code = section.IMAGE_SCN_MEM_EXECUTE
            self.assertFalse(is_code and section.IMAGE_SCN_MEM_WRITE, section.Name)

    def test_stack_protector_is_linked(self):
        program = packages.BUILD / "app" / packages.PROGRAM
        symbols = subprocess.check_output(["x86_64-w64-mingw32-nm", program], text=True)
        defined = {line.split()[-1] for line in symbols.splitlines() if " U " not in line}
        self.assertLessEqual({"__stack_chk_fail", "__stack_chk_guard"}, defined)


class Libraries(unittest.TestCase):
    images = {
        pathlib.PurePosixPath(path).name.lower(): pefile.PE(data=data)
        for path, data in packages.read_zip().items()
        if path in packages.RUNNABLE
    }
    imports = {file: portable_executable.imports(image) for file, image in images.items()}

    def test_only_the_package_and_windows_are_needed(self):
        for file, libraries in self.imports.items():
            self.assertLessEqual(set(libraries), set(self.images) | packages.WINDOWS_LIBRARIES, file)

    def test_every_library_has_what_the_others_take_from_it(self):
        for file, libraries in self.imports.items():
            for library in set(libraries) & set(self.images):
                symbols = self.images[library].DIRECTORY_ENTRY_EXPORT.symbols
                offered = {symbol.name for symbol in symbols}
                self.assertLessEqual(libraries[library], offered, f"{file} takes from {library}")

    def test_every_library_is_needed(self):
        plugins = {"qgif.dll", "qmodernwindowsstyle.dll", "qwindows.dll"}
        needed = {library for libraries in self.imports.values() for library in libraries}
        self.assertEqual(set(self.images) - needed, plugins | {packages.PROGRAM.lower()})

    def test_addresses_are_random_and_data_is_not_executable(self):
        for file, image in self.images.items():
            header = image.OPTIONAL_HEADER
            self.assertTrue(header.IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE, file)
            self.assertTrue(header.IMAGE_DLLCHARACTERISTICS_NX_COMPAT, file)
            # Without it an address stays where it is.
            self.assertTrue(image.DIRECTORY_ENTRY_BASERELOC, file)


class Components(unittest.TestCase):
    files = packages.read_zip()
    list = json.loads(files["licenses/components.spdx.json"])
    qt_versions = (packages.QT / "licenses" / "versions.txt").read_text().splitlines()
    versions = {"OrvantaConfigurator": packages.VERSION, **dict(line.split() for line in qt_versions)}

    def test_versions_are_those_of_the_build(self):
        listed = {component["name"]: component["versionInfo"] for component in self.list["packages"]}
        self.assertEqual(listed, self.versions)

    def test_every_executable_and_library_belongs_to_one_component(self):
        named = ", ".join(component["comment"] for component in self.list["packages"])
        self.assertEqual(sorted(named.split(", ")), sorted(packages.RUNNABLE))

    def test_every_relationship_joins_listed_elements(self):
        elements = {component["SPDXID"] for component in self.list["packages"]} | {self.list["SPDXID"]}
        for relationship in self.list["relationships"]:
            self.assertIn(relationship["spdxElementId"], elements)
            self.assertIn(relationship["relatedSpdxElement"], elements)

    def test_notices_name_versions_and_existing_licences(self):
        notices = self.files["licenses/NOTICES.txt"].decode()
        for version in self.versions.values():
            self.assertIn(version, notices)
        licences = re.findall(r"licenses\\[\w\\.-]+\.txt", notices)
        self.assertTrue(licences)
        for licence in licences:
            self.assertIn(licence.replace("\\", "/"), self.files)


if __name__ == "__main__":
    unittest.main()
