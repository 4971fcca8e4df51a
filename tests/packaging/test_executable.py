#!/usr/bin/python3
"""Reads the packaged executable back: its resources, its protection, and what it is linked to."""

import struct
import subprocess
import unittest
import xml.etree.ElementTree
import zipfile

import pefile

import packages
import portable_executable

US_ENGLISH = 0x0409
LATIN = 1252
MANIFEST_OF_A_PROGRAM = 1


def load_program():
    with zipfile.ZipFile(packages.ZIP) as package:
        return portable_executable.load(package.read(f"{packages.NAME}/{packages.PROGRAM}"))


class Program(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.image = load_program()

    def test_is_a_windowed_program_for_x64(self):
        machine = self.image.FILE_HEADER.Machine
        subsystem = self.image.OPTIONAL_HEADER.Subsystem
        self.assertEqual(machine, pefile.MACHINE_TYPE["IMAGE_FILE_MACHINE_AMD64"])
        self.assertEqual(subsystem, pefile.SUBSYSTEM_TYPE["IMAGE_SUBSYSTEM_WINDOWS_GUI"])

    def test_does_not_import_the_kernel_library(self):
        self.assertNotIn("brelvix.dll", portable_executable.imports(self.image))

    def test_imports_by_name_only(self):
        for library, names in portable_executable.imports(self.image).items():
            self.assertNotIn(None, names, library)


class Resources(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.image = load_program()

    def test_manifest_asks_for_no_elevation(self):
        ((name, _, text),) = portable_executable.resources(self.image, "RT_MANIFEST")
        self.assertEqual(name, MANIFEST_OF_A_PROGRAM)

        manifest = xml.etree.ElementTree.fromstring(text)
        (level,) = manifest.iter("{urn:schemas-microsoft-com:asm.v3}requestedExecutionLevel")
        self.assertEqual(level.attrib, {"level": "asInvoker", "uiAccess": "false"})

    def test_icon_is_one_image_of_16_by_16_pixels_in_24_bit(self):
        ((name, _, group),) = portable_executable.resources(self.image, "RT_GROUP_ICON")
        self.assertEqual(name, "IDI_ICON1")
        _, kind, count = struct.unpack_from("<HHH", group)
        self.assertEqual((kind, count), (1, 1))
        width, height, _, _, _, bits, _, identifier = struct.unpack_from("<BBBBHHIH", group, 6)
        self.assertEqual((width, height, bits), (16, 16, 24))

        ((name, _, image),) = portable_executable.resources(self.image, "RT_ICON")
        self.assertEqual(name, identifier)
        # The height counts the picture and its mask.
        _, width, height, _, bits = struct.unpack_from("<IiiHH", image)
        self.assertEqual((width, height, bits), (16, 2 * 16, 24))

    def test_version_block(self):
        self.assertEqual(
            portable_executable.version_texts(self.image),
            {
                "040904E4": {
                    "FileDescription": "Orvanta Configurator",
                    "FileVersion": "3,2,0",
                    "OriginalFilename": "OrvantaConfigurator.exe",
                    "ProductName": "Orvanta Configurator",
                    "ProductVersion": "Git Commit Hash: ",
                }
            },
        )
        self.assertEqual(portable_executable.translations(self.image), [(US_ENGLISH, LATIN)])

    def test_version_numbers(self):
        (numbers,) = self.image.VS_FIXEDFILEINFO
        version = (3 << 16 | 2, 0)
        self.assertEqual((numbers.FileVersionMS, numbers.FileVersionLS), version)
        self.assertEqual((numbers.ProductVersionMS, numbers.ProductVersionLS), version)


class Protection(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.image = load_program()

    def test_address_is_random_with_high_entropy(self):
        header = self.image.OPTIONAL_HEADER
        self.assertTrue(header.IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE)
        self.assertTrue(header.IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA)
        # Without these two the flags have no effect.
        self.assertTrue(self.image.DIRECTORY_ENTRY_BASERELOC)
        self.assertGreater(header.ImageBase, 0xFFFFFFFF)

    def test_data_is_not_executable(self):
        self.assertTrue(self.image.OPTIONAL_HEADER.IMAGE_DLLCHARACTERISTICS_NX_COMPAT)
        for section in self.image.sections:
            is_code = section.IMAGE_SCN_MEM_EXECUTE
            self.assertFalse(is_code and section.IMAGE_SCN_MEM_WRITE, section.Name)

    def test_stack_protector_is_linked(self):
        program = packages.BUILD / "app" / packages.PROGRAM
        lines = subprocess.run(
            ["x86_64-w64-mingw32-nm", program], capture_output=True, text=True, check=True
        ).stdout.splitlines()
        defined = {line.split()[-1] for line in lines if " U " not in line}
        self.assertLessEqual({"__stack_chk_fail", "__stack_chk_guard"}, defined)


if __name__ == "__main__":
    unittest.main()
