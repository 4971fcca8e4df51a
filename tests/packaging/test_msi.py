#!/usr/bin/python3
"""Reads the MSI's tables, and under Wine installs the program, uses it, upgrades and uninstalls it.

Wine does not bring the old version back when the new one fails, replaces a running program's files at once, and
logs no sentence of a refusal: for these, only the tables are held against what they must say.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import uuid

import packages

sys.path += [str(packages.SOURCE / "simulator" / "wine"), str(packages.SOURCE / "tests" / "support")]
from virtual_display import virtual_display  # noqa: E402
from waiting import wait_for  # noqa: E402
from wine_pc import CURRENT_VERSION, WinePrefix, environment, windows_path  # noqa: E402

UPGRADE_CODE = uuid.UUID("BE04FD5D-40C3-4A31-B147-58667F650768")
UNINSTALL_KEY = r"Software\Microsoft\Windows\CurrentVersion\Uninstall"
OLD_VERSION = "3.1.9"

# A process on Linux has one byte.
FAILED = 1603 & 0xFF
RESTART_REQUIRED = 3010 & 0xFF

PROGRAM_FOLDER = pathlib.PurePath("Program Files", "Orvanta Configurator")
# Wine's menu for all users is the user's.
START_MENU = pathlib.PurePath("users/user1/AppData/Roaming/Microsoft/Windows/Start Menu/Programs")
DOCUMENTS = pathlib.PurePath("users", "Public", "Documents")
CONFIGURATION = DOCUMENTS / "Fennory" / "PMT2" / "orvanta_config.txt"
USERS_CONNECTIONS = b"DEVICE-A\r\nDEVICE-B;DEVICE-C\r\n"


def next_patch(version):
    start, patch = version.rsplit(".", 1)
    return f"{start}.{int(patch) + 1}"


def make_msi(folder, **settings):
    """Makes a package with the build's settings, but for the given ones, of two small files."""
    (folder / "files" / "licenses").mkdir(parents=True, exist_ok=True)
    for file in ("guide.html", "licenses/gone.txt"):
        (folder / "files" / file).write_bytes(b"other")
    settings |= {"INSTALL_CMAKE_PROJECTS": "", "INSTALLED_DIRECTORIES": f"{folder}/files;."}
    settings |= {"PACKAGE_DIRECTORY": folder, "PACKAGE_FILE_NAME": "other"}
    command = ["cpack", "--config", packages.BUILD / "CPackConfig.cmake"]
    for setting, value in settings.items():
        command += ["-D", f"CPACK_{setting}={value}"]
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return folder / "other.msi"


class Pc(WinePrefix):
    """A fresh Wine prefix with a display."""

    def __init__(self, folder, display):
        super().__init__(folder / "prefix", folder.parent)
        self.variables = environment(self.prefix, DISPLAY=display)
        self.log = folder / "log.txt"

    def start(self, *command, **options):
        return subprocess.Popen(["wine", *command], env=self.variables, **options)

    def msiexec(self, option, msi):
        """Installs ("/i") or uninstalls ("/x") silently; returns the exit status."""
        command = ["msiexec", option, windows_path(msi), "/qn", "/norestart", "/l*v", windows_path(self.log)]
        return self.start(*command, stderr=subprocess.DEVNULL).wait()

    def has_window(self):
        search = ["xdotool", "search", "--onlyvisible", "--name", "OrvantaConfigurator"]
        return subprocess.run(search, env=self.variables, capture_output=True).returncode == 0

    def everything(self):
        """Returns the drive's files and folders, without temporary ones and the installer's own."""
        skipped = {"temp", "installer"}
        paths = (path.relative_to(self.drive) for path in self.drive.rglob("*"))
        return {path for path in paths if not skipped & {part.lower() for part in path.parts}}

    def files(self):
        """Returns the program's files, by their paths within its folder."""
        folder = self.drive / PROGRAM_FOLDER
        return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file()}

    def entries(self):
        """Returns the values of each program that Windows lists as installed."""
        query = self.start("reg", "query", rf"HKLM\{UNINSTALL_KEY}", "/s", stdout=subprocess.PIPE, text=True)
        keys = query.communicate()[0].split("HKEY_")
        entries = (dict(re.findall(r"^ +(\w+) +REG_\w+ +(.*)$", key, re.MULTILINE)) for key in keys)
        return [entry for entry in entries if entry]


class Installation(unittest.TestCase):
    def setUp(self):
        shelf = packages.BUILD / "wine-msi"
        shelf.mkdir(exist_ok=True)
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory(dir=shelf)))
        display = self.enterContext(virtual_display())
        self.pc = self.enterContext(Pc(self.folder, display))

    def install(self, msi=packages.MSI):
        self.assertEqual(self.pc.msiexec("/i", msi), 0)

    def uninstall(self, msi=packages.MSI):
        self.assertEqual(self.pc.msiexec("/x", msi), 0)
        self.assertEqual(self.pc.entries(), [])

    def test_installation_and_uninstallation_which_leaves_nothing(self):
        before = self.pc.everything()
        self.install()
        self.assertIn("Action ended", self.pc.log.read_text())
        self.assertEqual(self.pc.files(), packages.FILES)
        self.assertTrue((self.pc.drive / CONFIGURATION.parent).is_dir())
        guide = (self.pc.drive / START_MENU / "Orvanta Configurator Guide.lnk").read_bytes()
        self.assertIn(rb"C:\Program Files\Orvanta Configurator\guide.html", guide)
        (entry,) = self.pc.entries()
        expected = {
            "DisplayName": "Orvanta Configurator",
            "DisplayVersion": packages.VERSION,
            "Publisher": "Fennory",
            "Comments": packages.CUSTOMER_NOTE,
            "NoModify": "0x1",
            "NoRepair": "0x1",
        }
        self.assertLessEqual(expected.items(), entry.items())

        self.uninstall()
        self.assertEqual(self.pc.everything(), before)

    def test_upgrade_replaces_all_files_but_not_the_connections(self):
        connections = self.pc.drive / CONFIGURATION
        connections.parent.mkdir(parents=True)
        connections.write_bytes(USERS_CONNECTIONS)
        written = connections.stat()
        self.install(make_msi(self.folder, PACKAGE_VERSION=OLD_VERSION))
        guide = self.pc.drive / PROGRAM_FOLDER / "guide.html"
        guide.write_bytes(b"changed by somebody")
        self.install()
        self.assert_installed()

        self.uninstall()
        self.assertEqual(connections.read_bytes(), USERS_CONNECTIONS)
        self.assertEqual(connections.stat().st_mtime_ns, written.st_mtime_ns)

    def assert_installed(self):
        """Checks that the build's package, and nothing else, is installed."""
        self.assertEqual(self.pc.files(), packages.FILES)
        guide = self.pc.drive / PROGRAM_FOLDER / "guide.html"
        self.assertEqual(guide.read_bytes(), packages.read_zip()["guide.html"])
        (entry,) = self.pc.entries()
        self.assertEqual(entry["DisplayVersion"], packages.VERSION)
        self.assertEqual(entry["Comments"], packages.CUSTOMER_NOTE)

    def test_same_version_again_and_for_another_customer(self):
        self.install(make_msi(self.folder, ORVANTA_CUSTOMER_ID="OTHER", PACKAGE_DESCRIPTION_SUMMARY="Other"))
        self.assertEqual(self.pc.entries()[0]["Comments"], "Other")
        for _ in range(2):
            self.install()
            self.assert_installed()

    def test_locked_file_is_replaced_at_the_restart(self):
        self.install(make_msi(self.folder, PACKAGE_VERSION=OLD_VERSION))
        guide = self.pc.drive / PROGRAM_FOLDER / "guide.html"
        locker = self.pc.start("cmd", "/c", "pause>>guide.html", cwd=guide.parent, stdin=subprocess.PIPE)
        wait_for(lambda: b"Press" in guide.read_bytes(), "the file to be in use")
        self.assertEqual(self.pc.msiexec("/i", packages.MSI), RESTART_REQUIRED)
        self.assertIn(b"Press", guide.read_bytes())
        locker.communicate(b"\n")
        self.assertEqual(self.pc.start("wineboot", "-r").wait(), 0)
        self.assert_installed()

    def test_newer_version_is_not_replaced(self):
        self.install(make_msi(self.folder, PACKAGE_VERSION=next_patch(packages.VERSION)))
        self.assert_refused("NEWER")

    def test_windows_that_is_too_old_is_refused(self):
        # The second one is greater as a text.
        for build in ("17762", "9600"):
            self.add_to_registry(CURRENT_VERSION, "CurrentBuildNumber", build)
            self.assert_refused("WINDOWSBUILD")
        self.add_to_registry(CURRENT_VERSION, "CurrentBuildNumber", "17763")
        self.install()

    def test_program_of_the_former_installer_is_refused(self):
        key = rf"{UNINSTALL_KEY}\OrvantaConfigurator"
        self.add_to_registry(key, "UninstallString", r"C:\Configurator\uninstall.exe")
        self.assert_refused("FORMERINSTALLATION")

    def test_file_in_the_place_of_a_folder_is_refused(self):
        file = self.pc.drive / DOCUMENTS / "Fennory"
        file.write_bytes(b"")
        self.assert_refused("FILEASFOLDER")
        file.unlink()
        file.mkdir()
        (file / "PMT2").write_bytes(b"")
        self.assert_refused("FILEASFOLDER")

    def add_to_registry(self, key, name, value):
        command = ["reg", "add", rf"HKLM\{key}", "/v", name, "/d", value, "/f"]
        self.assertEqual(self.pc.start(*command, stdout=subprocess.DEVNULL).wait(), 0)

    def assert_refused(self, reason):
        """Checks that a property of the launch conditions is set, and that nothing changes."""
        before = self.pc.everything(), self.pc.entries()
        self.assertEqual(self.pc.msiexec("/i", packages.MSI), FAILED)
        log = self.pc.log.read_text()
        self.assertIn("LaunchConditions. Return value 0.", log)
        self.assertRegex(log, rf"Property\(S\): {reason} = .")
        self.assertEqual((self.pc.everything(), self.pc.entries()), before)

    def test_program_starts_from_the_menu_and_makes_a_file(self):
        self.install()
        os.link(packages.API_LIBRARY, self.pc.drive / PROGRAM_FOLDER / "Brelvix.dll")
        log = self.folder / "kernel.log"
        self.pc.variables["ORVANTA_KERNEL_LOG"] = windows_path(log)
        self.pc.variables["ORVANTA_SIMULATED_PC"] = windows_path(packages.SOURCE / "pcs" / "no-devices")
        (self.pc.drive / "windows/system32/Brelvix.run64.sys").touch()
        entry = self.pc.drive / START_MENU / "Orvanta Configurator.lnk"
        self.assertEqual(self.pc.start("start", "/unix", entry).wait(), 0)
        wait_for(self.pc.has_window, "the wizard's window")
        wait_for(self.is_wizard_over, "Return on each page to lead to the end")
        self.assertEqual((self.pc.drive / CONFIGURATION).read_bytes(), b"\n")
        self.assertEqual(log.read_text().splitlines()[0], f'OV_openDriver("{packages.CUSTOMER}")')

    def is_wizard_over(self):
        subprocess.run(["xdotool", "key", "Return"], env=self.pc.variables, check=True)
        # The search for the window also finds none while the display is busy.
        return (self.pc.drive / CONFIGURATION).exists() and not self.pc.has_window()


def read_table(name):
    """Returns the rows of a table of the MSI; three lines describe its columns."""
    lines = subprocess.check_output(["msiinfo", "export", packages.MSI, name], text=True).splitlines()
    return [tuple(line.split("\t")) for line in lines[3:]]


class Tables(unittest.TestCase):
    def test_properties(self):
        expected = {
            "ALLUSERS": "1",
            "ARPCOMMENTS": packages.CUSTOMER_NOTE,
            "ARPNOMODIFY": "1",
            "ARPNOREPAIR": "1",
            "ARPPRODUCTICON": "OrvantaConfigurator.ico",
            "MSIRESTARTMANAGERCONTROL": "DisableShutdown",
            "Manufacturer": "Fennory",
            "MakerFolder": r"C:\Users\Public\Documents\Fennory",
            "ProductCode": f"{{{uuid.uuid5(UPGRADE_CODE, f'{packages.VERSION} {packages.CUSTOMER}')}}}".upper(),
            "ProductLanguage": "1033",
            "ProductName": "Orvanta Configurator",
            "ProductVersion": packages.VERSION,
            "REINSTALLMODE": "amus",
            "SecureCustomProperties": "REPLACED;NEWER;WINDOWSBUILD;FORMERINSTALLATION;FILEASFOLDER",
            "UpgradeCode": f"{{{UPGRADE_CODE}}}".upper(),
        }
        self.assertEqual(dict(read_table("Property")), expected)

    def test_old_version_is_removed_within_the_transaction(self):
        numbers = {action: int(number) for action, _, number in read_table("InstallExecuteSequence")}
        order = sorted(numbers, key=numbers.get)
        self.assertEqual(order[:3], ["FindRelatedProducts", "AppSearch", "LaunchConditions"])
        start = order.index("InstallInitialize")
        self.assertEqual(order[start + 1], "RemoveExistingProducts")
        writing = ("CreateFolders", "InstallFiles", "CreateShortcuts", "RegisterProduct", "PublishProduct")
        self.assertLess(start, min(order.index(action) for action in writing))
        self.assertEqual(order[-1], "InstallFinalize")

    def test_refusals(self):
        rows = read_table("LaunchCondition")
        sentences = {condition.removeprefix("Installed OR "): sentence for condition, sentence in rows}
        reasons = {"WINDOWSBUILD >= 17763": "1809", "NOT NEWER": "newer version"}
        reasons |= {"NOT FORMERINSTALLATION": "former installer", "NOT FILEASFOLDER": "PMT2 cannot be made"}
        self.assertEqual(set(sentences), set(reasons))
        for condition, reason in reasons.items():
            self.assertIn(reason, sentences[condition])

    def test_searches(self):
        code, next_version = f"{{{UPGRADE_CODE}}}".upper(), next_patch(packages.VERSION)
        # 256: the least version counts; 2: is only looked for.
        replaced = (code, "0.0.0", next_version, "", "256", "", "REPLACED")
        newer = (code, next_version, "", "", "258", "", "NEWER")
        self.assertEqual(set(read_table("Upgrade")), {replaced, newer})
        # 2: the machine's part of the registry; 2 + 16: a value, of the 64-bit one.
        values = {
            ("WindowsBuild", "2", CURRENT_VERSION, "CurrentBuildNumber", "18"),
            ("FormerInstallation", "2", rf"{UNINSTALL_KEY}\OrvantaConfigurator", "UninstallString", "18"),
        }
        self.assertEqual(set(read_table("RegLocator")), values)

    def test_folders_and_start_menu(self):
        made = {("MakerFolder", "MakerFolder"), ("DataFolder", "DataFolder")}
        self.assertEqual(set(read_table("CreateFolder")), made)
        # 2: at the uninstallation; a folder without a file's name is removed if it is empty.
        removed = {(component, "", folder, "2") for component, folder in made}
        self.assertEqual({row[1:] for row in read_table("RemoveFile")}, removed)
        targets = {(row[1], row[4]) for row in read_table("Shortcut")}
        files = ("OrvantaConfigurator.exe", "guide.html")
        self.assertEqual(targets, {("ProgramMenuFolder", f"[ProgramFolder]{file}") for file in files})

    def test_icon_is_the_program_s(self):
        icon = subprocess.check_output(["msiinfo", "extract", packages.MSI, "Icon.OrvantaConfigurator.ico"])
        self.assertEqual(icon, (packages.SOURCE / "resources" / "OrvantaConfigurator.ico").read_bytes())

    def test_package_is_for_64_bit_windows(self):
        summary = subprocess.check_output(["msiinfo", "suminfo", packages.MSI], text=True)
        self.assertIn("Template: x64;1033\n", summary)
        # 256: a component of 64 bits.
        self.assertEqual({row[3] for row in read_table("Component")}, {"256"})

    def test_files_are_the_zip_s(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["msiextract", "-C", folder, packages.MSI], check=True, stdout=subprocess.DEVNULL)
            root = pathlib.Path(folder) / PROGRAM_FOLDER.name
            paths = [path for path in root.rglob("*") if path.is_file()]
            files = {str(path.relative_to(root)): path.read_bytes() for path in paths}
        self.assertEqual(files, packages.read_zip())


if __name__ == "__main__":
    unittest.main()
