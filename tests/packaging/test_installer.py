#!/usr/bin/python3
"""Installs the program under Wine, uses it, installs a newer version over it, and uninstalls it."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import pefile

import packages
import portable_executable

# The installer is a 32-bit program.
os.environ["WINEDLLPATH"] = subprocess.check_output(packages.FOLDER / "wine-32-bit", text=True).strip()
sys.path += [str(packages.SOURCE / "simulator" / "wine"), str(packages.SOURCE / "tests" / "support")]
from virtual_display import virtual_display  # noqa: E402
from waiting import wait_for  # noqa: E402
from wine_pc import WinePrefix, environment, windows_path  # noqa: E402

STATUS_PROGRAM_RUNS = 2
STATUS_WRONG_WINDOWS = 3
STATUS_FOLDER_TAKEN = 4
STATUS_NOT_REMOVED = 5
OLDEST_BUILD = 17763

PROGRAM_FOLDER = pathlib.PurePath("Program Files", "Orvanta Configurator")
OTHER_FOLDER = r"C:\Configurator"
START_MENU = pathlib.PurePath("ProgramData", "Microsoft", "Windows", "Start Menu", "Programs")
START_MENU_ENTRY = START_MENU / "Orvanta Configurator.lnk"
GUIDE_ENTRY = START_MENU / "Orvanta Configurator Guide.lnk"
CONFIGURATION_FOLDER = pathlib.PurePath("users", "Public", "Documents", "Fennory", "PMT2")
CONFIGURATION = CONFIGURATION_FOLDER / "orvanta_config.txt"
UNINSTALL_KEY = r"HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\OrvantaConfigurator"
UNINSTALLER = "uninstall.exe"
INSTALLED_FILES = packages.FILES | {UNINSTALLER}

SIGNED = packages.BUILD / "signed"

# Where 32-bit programs look.
SOFTWARE = r"Software\Wow6432Node\Microsoft"
CURRENT_VERSION = rf"{SOFTWARE}\Windows NT\CurrentVersion"
SHELL_FOLDERS = rf"{SOFTWARE}\Windows\CurrentVersion\Explorer\User Shell Folders"

PROTECTED = "O:BAG:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;BU)"
# What Wine makes of these rights.
PROTECTED_MODE = 0o40750

OLD_VERSION = "3.1.0"
USERS_CONNECTIONS = b"DEVICE-A\r\nDEVICE-B;DEVICE-C\r\n"


class Pc(WinePrefix):
    """A fresh Wine prefix with a display."""

    def __init__(self, folder, display):
        super().__init__(folder / "prefix", folder.parent)
        self.variables = environment(self.prefix, DISPLAY=display)
        self.add_to_registry("system", SHELL_FOLDERS, **{"Common Documents": r"C:\Moved"})
        self.add_to_registry("system", CURRENT_VERSION, CurrentMajorVersionNumber=10)
        self.set_build(OLDEST_BUILD)

    def set_build(self, number):
        """Sets Windows' build number before its first program starts."""
        self.add_to_registry("system", CURRENT_VERSION, CurrentBuildNumber=str(number))

    def start(self, *command, **options):
        return subprocess.Popen(["wine", *command], env=self.variables, **options)

    def run(self, *command, **options):
        """Runs a program and everything that it starts; returns its exit status."""
        status = self.start(*command, **options).wait()
        subprocess.run(["wineserver", "-w"], env=self.variables)
        return status

    def has_window(self):
        search = ["xdotool", "search", "--onlyvisible", "--name", "OrvantaConfigurator"]
        return subprocess.run(search, env=self.variables, capture_output=True).returncode == 0

    def files(self, folder=""):
        """Returns the files of a folder, by their paths within it."""
        root = self.drive / folder
        return {str(path.relative_to(root)) for path in root.rglob("*") if not path.is_dir()}

    def uninstall_values(self):
        """Returns the values by which Windows lists the program among the installed ones."""
        streams = {"stdout": subprocess.PIPE, "stderr": subprocess.DEVNULL, "text": True}
        listed, _ = self.start("reg", "query", UNINSTALL_KEY, **streams).communicate()
        return dict(re.findall(r"^ +(\w+) +REG_SZ +(.*)$", listed, re.MULTILINE))


class Installer(unittest.TestCase):
    def setUp(self):
        shelf = packages.BUILD / "wine-32-bit"
        shelf.mkdir(exist_ok=True)
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(dir=shelf)))
        display = self.enterContext(virtual_display())
        self.pc = self.enterContext(Pc(self.folder, display))

    def install(self, installer=packages.INSTALLER, *options):
        self.assertEqual(self.pc.run(installer, "/S", *options), 0)

    def uninstall(self, folder=PROGRAM_FOLDER):
        self.assertEqual(self.pc.run(self.pc.drive / folder / UNINSTALLER, "/S"), 0)

    def test_silent_installation_and_uninstallation_which_leaves_nothing(self):
        # Nobody's, at the root of the current drive.
        (self.pc.drive / UNINSTALLER).write_bytes(b"no program")
        before = self.everything()
        self.assertEqual(self.pc.run(packages.INSTALLER, "/S", cwd=self.pc.drive), 0)

        self.assertEqual(self.pc.files(PROGRAM_FOLDER), INSTALLED_FILES)
        self.assertTrue((self.pc.drive / START_MENU_ENTRY).is_file())
        folder = r"C:\Program Files\Orvanta Configurator"
        self.assertIn(rf"{folder}\guide.html".encode(), (self.pc.drive / GUIDE_ENTRY).read_bytes())
        self.assertTrue((self.pc.drive / CONFIGURATION_FOLDER).is_dir())
        self.assertEqual(self.pc.files(CONFIGURATION_FOLDER), set())

        values = self.pc.uninstall_values()
        self.assertEqual(values["DisplayName"], "Orvanta Configurator")
        self.assertEqual(values["DisplayVersion"], packages.VERSION)
        self.assertEqual(values["InstallLocation"], folder)
        self.assertEqual(values["DisplayIcon"], rf"{folder}\OrvantaConfigurator.exe")
        self.assertEqual(values["QuietUninstallString"], rf'"{folder}\uninstall.exe" /S')

        self.uninstall()
        self.assertEqual(self.everything(), before)
        self.assertEqual(self.pc.uninstall_values(), {})

    def everything(self):
        """Returns the drive's files and folders but for the temporary ones."""
        paths = (path.relative_to(self.pc.drive) for path in self.pc.drive.rglob("*"))
        return {path for path in paths if "temp" not in (part.lower() for part in path.parts)}

    def test_chosen_folder_is_protected_from_its_first_moment(self):
        self.pc.variables["WINEDEBUG"] = "-all,+security"
        loose = self.pc.drive / "Loose"
        loose.mkdir()
        loose.chmod(0o777)
        for folder, made in (("Loose", ["Loose"]), (r"New\Nested", ["New", "New/Nested"])):
            with open(self.folder / "trace.txt", "w+") as trace:
                options = [packages.INSTALLER, "/S", rf"/D=C:\{folder}"]
                self.assertEqual(self.pc.run(*options, stderr=trace), 0)
                trace.seek(0)
                self.assertIn(f'L"{PROTECTED}"', trace.read())
            for path in made:
                self.assertEqual((self.pc.drive / path).stat().st_mode, PROTECTED_MODE, path)

    def test_folder_with_others_files_is_refused_but_not_among_programs(self):
        for folder in "Configurator", PROGRAM_FOLDER:
            (self.pc.drive / folder).mkdir()
            (self.pc.drive / folder / "Brelvix.dll").write_bytes(b"others'")
        self.refuse(STATUS_FOLDER_TAKEN)
        self.assertEqual(self.pc.files("Configurator"), {"Brelvix.dll"})
        self.install()
        self.assertEqual(self.pc.files(PROGRAM_FOLDER), INSTALLED_FILES | {"Brelvix.dll"})

    def test_windows_without_what_qt_needs_is_refused(self):
        self.pc.set_build(OLDEST_BUILD - 1)
        self.refuse(STATUS_WRONG_WINDOWS)
        self.assertFalse((self.pc.drive / "Configurator").exists())

    def test_installed_version_whose_uninstaller_does_not_start_stays(self):
        self.install(packages.INSTALLER, f"/D={OTHER_FOLDER}")
        (self.pc.drive / "Configurator" / UNINSTALLER).write_bytes(b"no program")
        before = self.everything()
        self.assertEqual(self.pc.run(packages.INSTALLER, "/S"), STATUS_NOT_REMOVED)
        self.assertEqual(self.everything(), before)

    def refuse(self, status):
        """Checks that the installer ends with a status and registers nothing."""
        self.assertEqual(self.pc.run(packages.INSTALLER, "/S", f"/D={OTHER_FOLDER}"), status)
        self.assertEqual(self.pc.uninstall_values(), {})

    def test_upgrade_replaces_the_older_version_and_no_files_of_others(self):
        configuration = self.pc.drive / CONFIGURATION
        configuration.parent.mkdir(parents=True)
        configuration.write_bytes(USERS_CONNECTIONS)
        written = configuration.stat().st_mtime_ns
        # The old version has files that the new one has not, those of this test's folder.
        cpack = ["cpack", "--config", packages.BUILD / "CPackConfig.cmake", "-G", "NSIS"]
        cpack += ["-D", f"CPACK_PACKAGE_DIRECTORY={self.folder}", "-D", "CPACK_PACKAGE_FILE_NAME=old"]
        cpack += ["-D", f"CPACK_PACKAGE_VERSION={OLD_VERSION}", "-D", "CPACK_NSIS_COMPRESSOR=zlib"]
        cpack += ["-D", f"CPACK_INSTALLED_DIRECTORIES={packages.FOLDER};licenses"]
        subprocess.run(cpack, check=True, stdout=subprocess.DEVNULL)

        self.install(self.folder / "old.exe", f"/D={OTHER_FOLDER}")
        self.assertIn("licenses/files.txt", self.pc.files("Configurator"))
        self.assertEqual(self.pc.uninstall_values()["DisplayVersion"], OLD_VERSION)
        (self.pc.drive / "Configurator" / "Brelvix.dll").write_bytes(b"kernel")

        self.install()
        self.assertEqual(self.pc.files("Configurator"), INSTALLED_FILES | {"Brelvix.dll"})
        self.assertFalse((self.pc.drive / PROGRAM_FOLDER).exists())
        self.assertEqual(self.pc.uninstall_values()["DisplayVersion"], packages.VERSION)
        self.assertTrue((self.pc.drive / START_MENU_ENTRY).is_file())

        self.uninstall("Configurator")
        self.assertEqual(configuration.read_bytes(), USERS_CONNECTIONS)
        self.assertEqual(configuration.stat().st_mtime_ns, written)
        self.assertEqual(self.pc.files("Configurator"), {"Brelvix.dll"})

    def test_all_that_the_signed_installer_installs_is_signed(self):
        self.install(SIGNED / packages.INSTALLER.name)
        verify = ["osslsigncode", "verify", "-CAfile", SIGNED / "root.pem", "-in"]
        for file in (UNINSTALLER, *packages.RUNNABLE):
            path = self.pc.drive / PROGRAM_FOLDER / file
            self.assertEqual(subprocess.run([*verify, path], capture_output=True).returncode, 0, file)
        self.uninstall()
        self.assertFalse((self.pc.drive / PROGRAM_FOLDER).exists())

    def test_running_program_is_left_alone_and_makes_a_file(self):
        self.install(packages.INSTALLER, f"/D={OTHER_FOLDER}")
        os.link(packages.KERNEL_LIBRARY, self.pc.drive / "Configurator" / "Brelvix.dll")
        log = self.folder / "kernel.log"
        self.pc.variables["ORVANTA_KERNEL_LOG"] = windows_path(log)
        self.pc.variables["ORVANTA_SIMULATED_PC"] = windows_path(packages.SOURCE / "pcs" / "no-devices")
        (self.pc.drive / "windows/system32/Brelvix.run64.sys").touch()
        self.pc.start("start", "/unix", self.pc.drive / START_MENU_ENTRY).wait()
        wait_for(self.pc.has_window, "the wizard's window")

        self.assertEqual(self.pc.start(packages.INSTALLER, "/S").wait(), STATUS_PROGRAM_RUNS)
        # With _?= the uninstaller does the work itself and tells how it ended.
        command = [rf"{OTHER_FOLDER}\{UNINSTALLER}", "/S", f"_?={OTHER_FOLDER}"]
        self.assertEqual(self.pc.start(*command).wait(), STATUS_PROGRAM_RUNS)
        self.assertTrue(self.pc.has_window())
        self.assertEqual(self.pc.files("Configurator"), INSTALLED_FILES | {"Brelvix.dll"})

        wait_for(self.is_wizard_over, "Return on each page to lead to the end")
        self.assertEqual((self.pc.drive / CONFIGURATION).read_bytes(), b"\n")
        call = f'OV_openDriver("{os.environ["ORVANTA_CUSTOMER_ID"]}")'
        self.assertEqual(log.read_text().splitlines()[0], call)

    def is_wizard_over(self):
        subprocess.run(["xdotool", "key", "Return"], env=self.pc.variables, check=True)
        # The search for the window also finds none while the display is busy.
        return (self.pc.drive / CONFIGURATION).exists() and not self.pc.has_window()


class InstallerFile(unittest.TestCase):
    image = pefile.PE(data=packages.INSTALLER.read_bytes())

    def test_version_block(self):
        _, texts = portable_executable.version_texts(self.image)
        self.assertEqual(texts["ProductName"], "Orvanta Configurator")
        self.assertEqual(texts["FileDescription"], "Orvanta Configurator Installer")
        self.assertEqual(texts["FileVersion"], packages.VERSION)

    def test_icon_is_the_program_s(self):
        icon = (packages.SOURCE / "resources" / "OrvantaConfigurator.ico").read_bytes()
        _, image = portable_executable.resource(self.image, "RT_ICON")
        # An icon file is a directory of one image, 6 + 16 bytes, and the image.
        self.assertEqual(image, icon[22:])

    def test_starts_on_32_bit_windows_to_say_what_is_missing(self):
        machine = pefile.MACHINE_TYPE["IMAGE_FILE_MACHINE_I386"]
        self.assertEqual(self.image.FILE_HEADER.Machine, machine)

    def test_manifest_asks_for_an_administrator(self):
        _, manifest = portable_executable.resource(self.image, "RT_MANIFEST")
        self.assertIn(b'level="requireAdministrator"', manifest)


if __name__ == "__main__":
    unittest.main()
