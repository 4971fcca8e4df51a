#!/usr/bin/python3
"""Checks the portable zip: its files, its size, and that it needs nothing but itself and Windows."""

import datetime
import json
import os
import pathlib
import re
import subprocess
import unittest
import zipfile

import packages
import portable_executable

MEGABYTE = 1_000_000
TIME_FORMAT = "%Y-%m-%dT%H:%M:%SZ"

# The libraries of Windows 10 that the program, Qt and the run-time use.
WINDOWS_LIBRARIES = {
    "advapi32.dll",
    "api-ms-win-core-synch-l1-2-0.dll",
    "api-ms-win-core-winrt-l1-1-0.dll",
    "api-ms-win-core-winrt-string-l1-1-0.dll",
    "authz.dll",
    "comdlg32.dll",
    "d3d11.dll",
    "d3d12.dll",
    "d3d9.dll",
    "dwmapi.dll",
    "dwrite.dll",
    "dxgi.dll",
    "gdi32.dll",
    "imm32.dll",
    "iphlpapi.dll",
    "kernel32.dll",
    "mpr.dll",
    "msvcrt.dll",
    "netapi32.dll",
    "ole32.dll",
    "oleaut32.dll",
    "setupapi.dll",
    "shcore.dll",
    "shell32.dll",
    "shlwapi.dll",
    "user32.dll",
    "userenv.dll",
    "uxtheme.dll",
    "version.dll",
    "winmm.dll",
    "ws2_32.dll",
    "wtsapi32.dll",
}


def read_zip():
    """Returns the bytes of each file by its path within the package's folder."""
    with zipfile.ZipFile(packages.ZIP) as package:
        return {
            str(pathlib.PurePosixPath(name).relative_to(packages.NAME)): package.read(name)
            for name in package.namelist()
        }


def load_images(files):
    """Returns each executable and library by its lower-case file name."""
    return {
        pathlib.PurePosixPath(path).name.lower(): portable_executable.load(data)
        for path, data in files.items()
        if path.endswith((".dll", ".exe"))
    }


def commit_times():
    """Returns the times of the commits; the last one may have come after the package was made."""
    return subprocess.run(
        ["git", "log", "--format=%cd", f"--date=format-local:{TIME_FORMAT}"],
        cwd=packages.SOURCE,
        env={**os.environ, "TZ": "UTC"},
        capture_output=True,
        text=True,
        check=True,
    ).stdout.split()


class Contents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.files = read_zip()

    def test_holds_exactly_the_listed_files(self):
        self.assertEqual(set(self.files), packages.FILES)

    def test_sizes(self):
        self.assertLess(packages.ZIP.stat().st_size, 7.6 * MEGABYTE)
        self.assertLess(packages.INSTALLER.stat().st_size, 6 * MEGABYTE)
        self.assertLess(len(self.files[packages.PROGRAM]), MEGABYTE / 2)
        self.assertLess(len(self.files["guide.html"]), 0.3 * MEGABYTE)

    def test_plugins_come_from_the_program_s_folder(self):
        self.assertEqual(self.files["qt.conf"].decode(), "[Paths]\nPrefix=.\nPlugins=.\n")

    def test_guide_needs_nothing_but_itself(self):
        page = self.files["guide.html"].decode()
        targets = set(re.findall(r'(?:href|src)="(.*?)"', page))
        pictures = {target for target in targets if target.startswith("data:image/png;base64,")}
        sections = {f"#{name}" for name in re.findall(r'id="(.*?)"', page)}
        self.assertEqual(len(pictures), 4)
        self.assertEqual(targets - pictures - sections, set())
        self.assertNotIn("url(", page)

    def test_notepad_shows_the_lines_of_the_first_file_to_read(self):
        text = self.files["README.txt"].decode("ascii")
        self.assertTrue(text.startswith("Orvanta Configurator 3.2.0\r\n"))
        self.assertEqual(text.count("\n"), text.count("\r\n"))

    def test_no_folder_of_this_machine_is_named(self):
        folders = (packages.BUILD, packages.QT, packages.SOURCE, pathlib.Path.home())
        for path, data in self.files.items():
            for folder in folders:
                self.assertNotIn(f"{folder}/".encode(), data, path)


class Libraries(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.images = load_images(read_zip())

    def test_only_the_package_and_windows_are_needed(self):
        for file, image in self.images.items():
            needed = set(portable_executable.imports(image))
            self.assertEqual(needed - set(self.images) - WINDOWS_LIBRARIES, set(), file)

    def test_every_library_has_what_the_others_take_from_it(self):
        for file, image in self.images.items():
            for library, names in portable_executable.imports(image).items():
                if library in self.images:
                    offered = portable_executable.exports(self.images[library])
                    self.assertEqual(names - offered, set(), f"{file} takes from {library}")

    def test_every_library_is_needed(self):
        plugins = {"qgif.dll", "qmodernwindowsstyle.dll", "qwindows.dll"}
        needed = {
            library for image in self.images.values() for library in portable_executable.imports(image)
        }
        self.assertEqual(set(self.images) - needed, plugins | {packages.PROGRAM.lower()})

    def test_addresses_are_random_and_data_is_not_executable(self):
        for file, image in self.images.items():
            header = image.OPTIONAL_HEADER
            self.assertTrue(header.IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE, file)
            self.assertTrue(header.IMAGE_DLLCHARACTERISTICS_NX_COMPAT, file)
            self.assertTrue(image.DIRECTORY_ENTRY_BASERELOC, file)

    def test_no_time_but_a_commit_s_is_told(self):
        times = commit_times()
        for file, image in self.images.items():
            stamp = image.FILE_HEADER.TimeDateStamp
            if stamp != 0:
                time = datetime.datetime.fromtimestamp(stamp, datetime.timezone.utc)
                self.assertIn(time.strftime(TIME_FORMAT), times, file)


class Components(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.files = read_zip()
        cls.list = json.loads(cls.files["licenses/components.spdx.json"])
        lines = (packages.QT / "licenses" / "versions.txt").read_text().splitlines()
        cls.versions = dict(line.split() for line in lines)
        cls.versions["OrvantaConfigurator"] = "3.2.0"

    def test_versions_are_those_of_the_build(self):
        listed = {component["name"]: component["versionInfo"] for component in self.list["packages"]}
        self.assertEqual(listed, self.versions)

    def test_every_executable_and_library_belongs_to_one_component(self):
        named = [
            file for component in self.list["packages"] for file in component["comment"].split(", ")
        ]
        self.assertEqual(
            sorted(named), sorted(path for path in self.files if path.endswith((".dll", ".exe")))
        )

    def test_every_relationship_joins_listed_elements(self):
        elements = {component["SPDXID"] for component in self.list["packages"]} | {self.list["SPDXID"]}
        for relationship in self.list["relationships"]:
            self.assertIn(relationship["spdxElementId"], elements)
            self.assertIn(relationship["relatedSpdxElement"], elements)

    def test_time_is_a_commit_s(self):
        created = self.list["creationInfo"]["created"]
        self.assertIn(created, commit_times())
        self.assertIn(created, self.list["documentNamespace"])

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
