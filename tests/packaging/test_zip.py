#!/usr/bin/python3
"""Checks the portable zip: its files, the resources and the protection of its program, and that it
needs nothing but itself and Windows."""

import hashlib
import json
import pathlib
import re
import struct
import subprocess
import tempfile
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
        for package in packages.ZIP, packages.MSI:
            self.assertLess(package.stat().st_size, 7.7 * MEGABYTE)
        self.assertLess(len(self.files[packages.PROGRAM]), MEGABYTE / 2)
        self.assertLess(len(self.files["guide.html"]), 0.4 * MEGABYTE)

    def test_plugins_come_from_the_program_s_folder(self):
        self.assertEqual(self.files["qt.conf"].decode(), "[Paths]\nPrefix=.\nPlugins=.\n")

    def test_notepad_shows_the_lines_of_the_first_file_to_read(self):
        text = self.files["README.txt"].decode("ascii")
        title = f"Orvanta Configurator {packages.VERSION}\r\n{packages.CUSTOMER_NOTE}\r\n"
        self.assertTrue(text.startswith(title))
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


# What SPDX 2.3 requires of the elements of each list.
REQUIRED = {
    "packages": {"SPDXID", "downloadLocation", "externalRefs", "filesAnalyzed", "name", "versionInfo"},
    "files": {"SPDXID", "checksums", "fileName"},
    "relationships": {"relatedSpdxElement", "relationshipType", "spdxElementId"},
    "hasExtractedLicensingInfos": {"extractedText", "licenseId"},
}


class Components(unittest.TestCase):
    files = packages.read_zip()
    notices = files["licenses/NOTICES.txt"].decode()
    list = json.loads(files["licenses/components.spdx.json"])
    components = {component["name"]: component for component in list["packages"]}

    def test_has_what_spdx_requires(self):
        document = {"SPDXID", "comment", "creationInfo", "dataLicense", "documentNamespace", "name", "spdxVersion"}
        self.assertEqual(set(self.list), document | set(REQUIRED))
        self.assertEqual((self.list["spdxVersion"], self.list["dataLicense"]), ("SPDX-2.3", "CC0-1.0"))
        self.assertEqual(set(self.list["creationInfo"]), {"created", "creators"})
        for name, keys in REQUIRED.items():
            for element in self.list[name]:
                self.assertLessEqual(keys, set(element), element)
                self.assertNotIn("", element.values(), element)
                self.assertEqual("packageVerificationCode" in element, element.get("filesAnalyzed", False))

    def test_identifiers_are_unique_and_relationships_join_them(self):
        elements = [self.list, *self.list["packages"], *self.list["files"]]
        identifiers = {element["SPDXID"] for element in elements}
        self.assertEqual(len(identifiers), len(elements))
        self.assertTrue(all(re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", identifier) for identifier in identifiers))
        for relationship in self.list["relationships"]:
            self.assertLessEqual({relationship["spdxElementId"], relationship["relatedSpdxElement"]}, identifiers)

    def test_names_each_file_with_its_checksums_in_one_component(self):
        owners = [(link["relatedSpdxElement"], link["spdxElementId"]) for link in self.list["relationships"]]
        paths = {file["fileName"].removeprefix("./"): file for file in self.list["files"]}
        self.assertEqual(set(paths), packages.FILES - {"licenses/components.spdx.json"})
        for path, file in paths.items():
            for sum in file["checksums"]:
                found = hashlib.new(sum["algorithm"], self.files[path]).hexdigest()
                self.assertEqual(sum["checksumValue"], found, path)
            self.assertEqual([sum["algorithm"] for sum in file["checksums"]], ["SHA1", "SHA256"])
            (owner,) = [owner for element, owner in owners if element == file["SPDXID"]]
            self.assertEqual(owner == "SPDXRef-Package-OrvantaConfigurator", not path.endswith(".dll"), path)

    def test_versions_are_those_of_the_build(self):
        lines = (packages.QT / "licenses" / "versions.txt").read_text().splitlines()
        for name, version in [line.split() for line in lines] + [("OrvantaConfigurator", packages.VERSION)]:
            self.assertEqual(self.components[name]["versionInfo"], version)
        moved = packages.QT / "moved-inputs.txt"
        comment = moved.read_text().strip() if moved.exists() else "Qt is built from the recorded inputs."
        self.assertEqual(self.list["comment"], comment)

    def test_names_what_qt_s_libraries_contain_and_nothing_else(self):
        parts = {"D3D12 Memory Allocator", "HarfBuzz-NG", "Mipmap generator for D3D12", "SipHash Algorithm"}
        others = {"Catch2", "Freetype 2", "KWin", "LibJPEG-turbo", "The Public Suffix List", "XCB-XInput"}
        self.assertLessEqual(parts, set(self.components))
        self.assertFalse(others & set(self.components))

    def test_every_component_has_an_address_and_a_notice(self):
        for name, component in self.components.items():
            (reference,) = component["externalRefs"]
            self.assertRegex(reference["referenceLocator"], r"^pkg:(deb|generic|github)/[^\s$]+$")
            if name != "OrvantaConfigurator":
                self.assertIn(f"\n{name} {component['versionInfo']}\n", self.notices)
                self.assertIn(f"Licence: {component['licenseDeclared']}\n", self.notices)
                for line in component["copyrightText"].splitlines():
                    self.assertIn(line, self.notices)

    def test_every_licence_has_its_text(self):
        expressions = " ".join(component["licenseDeclared"] for component in self.components.values())
        named = set(re.findall(r"[\w.-]+", expressions)) - {"AND", "NOASSERTION", "OR", "WITH"}
        texts = set(re.findall(r"^Text of (\S+)$", self.notices, re.MULTILINE))
        self.assertEqual(named - texts, {"GCC-exception-3.1", "GPL-3.0-or-later", "Imlib2", "ZPL-2.1"})
        self.assertIn("Imlib2 License", self.notices)
        self.assertIn(b"GCC RUNTIME LIBRARY EXCEPTION", self.files["licenses/gcc-mingw-w64.txt"])
        self.assertIn(b"License: ZPL-2.1", self.files["licenses/mingw-w64.txt"])
        extracted = {text["licenseId"] for text in self.list["hasExtractedLicensingInfos"]}
        self.assertEqual(extracted, {name for name in named if name.startswith("LicenseRef-")})

    def test_sources_are_offered_and_are_what_qt_was_built_from(self):
        self.assertIn(packages.SOURCES.name, self.notices)
        self.assertIn("For at least three years after you received the program", self.notices)
        with tempfile.TemporaryDirectory() as folder:
            subprocess.check_call(["tar", "xf", packages.SOURCES, "-C", folder, "--strip-components=1"])
            subprocess.check_call(["sha256sum", "--check", "--quiet", "qt-windows.sha256"], cwd=folder)
            for recipe in ("qt-windows.sh", "windows-toolchain.cmake"):
                kept = pathlib.Path(folder, recipe).read_bytes()
                self.assertEqual(kept, (packages.SOURCE / "packaging" / recipe).read_bytes())


if __name__ == "__main__":
    unittest.main()
