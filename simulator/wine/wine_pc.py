"""A simulated PC under Wine: a prefix of its own, filled from the PC's folder.

Wine's own SetupAPI, IP Helper, file and console functions answer the program; the API library is
the simulated `Brelvix.dll`, which reads the same folder.
"""

import fcntl
import json
import os
import pathlib
import shutil
import subprocess
import sys

CURRENT_VERSION = r"Software\Microsoft\Windows NT\CurrentVersion"
THEME = r"Software\Microsoft\Windows\CurrentVersion\Themes\Personalize"
NETWORK_DEVICES = r"System\CurrentControlSet\Enum\PCI\SIMULATED"

# The build number, and whether windows are light. Windows 11 calls itself 10.0, too; its build numbers
# are higher.
KINDS_OF_WINDOWS = {"10": ("19045", 1), "11": ("22631", 1), "11-dark": ("22631", 0)}

APPEARANCE = pathlib.Path(__file__).with_name("appearance.reg")
TITLE_BAR_FONT = "/usr/share/wine/fonts/marlett.ttf"

NETWORK_CLASS = "{4D36E972-E325-11CE-BFC1-08002BE10318}"
REGISTRY_FILES = ("system.reg", "user.reg", "userdef.reg")
DEFAULT_USER = "user1"

# The program uses neither .NET nor HTML, and starts nothing from a desktop's menu.
UNUSED_PARTS_OF_WINE = "mscoree=;mshtml=;winemenubuilder.exe="

# Root may write to everything; the program's user may not.
ORDINARY_USER = ["setpriv", "--bounding-set", "-dac_override,-dac_read_search"]
OWN_NETWORK = ["unshare", "--map-root-user", "--net"]


def can_have_own_network():
    """Returns whether this machine lets programs run in a network of their own."""
    return subprocess.run([*OWN_NETWORK, "true"], capture_output=True).returncode == 0


def environment(prefix, user=DEFAULT_USER, **variables):
    """Returns the environment of a Wine program: nothing of this machine's user shows through."""
    names = ("DISPLAY", "PATH", "WINEDLLPATH", "XAUTHORITY")
    kept = {name: os.environ[name] for name in names if name in os.environ}
    return {
        **kept,
        "HOME": "/nonexistent",
        "LC_ALL": "C.UTF-8",
        "USER": user,
        "WINEDEBUG": "-all",
        "WINEDLLOVERRIDES": UNUSED_PARTS_OF_WINE,
        "WINEPREFIX": str(prefix),
        **{wine_name(name): value for name, value in variables.items()},
    }


def wine_name(variable):
    """Returns the name under which an environment variable has to be given to Wine, which keeps this
    machine's Qt settings from Windows programs."""
    return "WINE" + variable if variable.startswith("QT_") else variable


def windows_path(path):
    """Returns the path under which Wine's programs find a file of this machine."""
    return "Z:" + str(pathlib.Path(path).absolute()).replace("/", "\\")


def template(folder):
    """Returns the folder of an empty prefix for the Wine of this machine; makes it at the first
    use, since that takes a while."""
    # Wine takes no relative path.
    folder = pathlib.Path(folder).absolute()
    version = subprocess.run(
        ["wine", "--version"], env=environment(folder), capture_output=True, text=True, check=True
    ).stdout.split()[0]
    prefix = folder / f"windows-10-{version}"
    prefix.parent.mkdir(parents=True, exist_ok=True)
    with open(f"{prefix}.lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not prefix.exists():
            create_template(prefix)
    return prefix


def create_template(prefix):
    unfinished = prefix.with_suffix(".unfinished")
    shutil.rmtree(unfinished, ignore_errors=True)
    variables = environment(unfinished, WINEDEBUG="err+all")
    variables.pop("DISPLAY", None)
    # winecfg once failed in a prefix that was still being made.
    for command in (["wine", "wineboot", "--init"], ["wineserver", "-w"],
                    ["wine", "winecfg", "-v", "win10"], ["wineserver", "-w"]):
        run = subprocess.run(command, env=variables, capture_output=True, text=True)
        if run.returncode != 0:
            raise RuntimeError(f"{command} ended with status {run.returncode}: {run.stderr}")
    unfinished.rename(prefix)


def copy_prefix(origin, prefix):
    """Copies a prefix in a moment: Windows' own files are shared, they do not change."""
    shutil.copytree(
        origin, prefix, symlinks=True, copy_function=os.link, ignore=ignore_registry
    )
    for name in REGISTRY_FILES:
        shutil.copy2(origin / name, prefix)


def ignore_registry(_, names):
    return [name for name in names if name in REGISTRY_FILES]


def registry_text(text):
    """Returns a text as it stands between the quotes of a registry file."""
    units = memoryview(text.encode("utf-16-le")).cast("H")
    return "".join(
        chr(unit) if 0x20 <= unit < 0x7F and chr(unit) not in '"\\[]' else f"\\x{unit:04x}"
        for unit in units
    )


def registry_entry(name, value):
    if isinstance(value, list):
        return f'"{name}"=str(7):"{registry_text("".join(text + chr(0) for text in value))}"\n'
    if isinstance(value, int):
        return f'"{name}"=dword:{value:08x}\n'
    if "%" in value:
        return f'"{name}"=str(2):"{registry_text(value)}"\n'
    return f'"{name}"="{registry_text(value)}"\n'


def kind_of_windows():
    kind = os.environ.get("ORVANTA_WINDOWS", "10")
    if kind not in KINDS_OF_WINDOWS:
        sys.exit(f"Expected one of {', '.join(KINDS_OF_WINDOWS)} in ORVANTA_WINDOWS, found {kind}.")
    return KINDS_OF_WINDOWS[kind]


class WinePrefix:
    """A fresh Wine prefix; its programs are ended with the `with` block. `ORVANTA_WINDOWS` names the
    Windows that it shows: "10", the default, "11" or, with dark windows, "11-dark"; another name ends
    this program."""

    def __init__(self, prefix, template_folder):
        self.prefix = pathlib.Path(prefix).absolute()
        self.drive = self.prefix / "drive_c"
        copy_prefix(template(template_folder), self.prefix)
        build, is_light = kind_of_windows()
        self.add_to_registry("system", CURRENT_VERSION, CurrentBuild=build, CurrentBuildNumber=build)
        self.add_to_registry("user", THEME, AppsUseLightTheme=is_light)
        with open(self.prefix / "user.reg", "a", encoding="ascii") as registry:
            registry.write("\n" + APPEARANCE.read_text(encoding="ascii"))
        (self.drive / "windows" / "Fonts" / "marlett.ttf").symlink_to(TITLE_BAR_FONT)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def end(self):
        """Ends every Windows program of this prefix and waits for them."""
        for option in ("-k", "-w"):
            subprocess.run(
                ["wineserver", option], env=environment(self.prefix), capture_output=True
            )

    def manage_windows(self):
        """Has Wine draw the windows' frames and hand the keyboard on, for displays without a window
        manager."""
        self.add_to_registry("user", r"Software\Wine\X11 Driver", Managed="N")

    def add_to_registry(self, part, key, **values):
        """Adds values to a key of the part "system" or "user" before the first program starts."""
        with open(self.prefix / f"{part}.reg", "a", encoding="ascii") as registry:
            registry.write(f"\n[{registry_text(key)}] 0\n")
            registry.writelines(registry_entry(*value) for value in values.items())


class WinePc(WinePrefix):
    """A Wine prefix that answers as the simulated PC in `pc_folder` does. The files that the
    program writes appear in that folder."""

    def __init__(self, prefix, pc_folder, template_folder):
        super().__init__(prefix, template_folder)
        self.pc_folder = pathlib.Path(pc_folder).absolute()
        self.settings = json.loads((self.pc_folder / "pc.json").read_text(encoding="utf-8"))
        self.user = self.settings.get("userName", DEFAULT_USER)
        self._add_device_nodes()
        self._link_files()

    def _add_device_nodes(self):
        for index, node in enumerate(self.settings.get("deviceNodes", [])):
            properties = {
                "ClassGUID": NETWORK_CLASS,
                "Class": "Net",
                "FriendlyName": node.get("friendlyName"),
                "HardwareID": node.get("hardwareIds"),
                "DeviceDesc": node.get("description"),
                "LocationInformation": node.get("location"),
            }
            present = {name: value for name, value in properties.items() if value is not None}
            self.add_to_registry("system", rf"{NETWORK_DEVICES}\{index:04}", **present)

    def _link_files(self):
        linked = {"Users/Public/Documents": "users/Public/Documents",
                  "Windows/system32": "windows/system32"}
        for origin, folder in linked.items():
            for file in (self.pc_folder / "C" / origin).glob("*"):
                (self.drive / folder / file.name).symlink_to(file)

    def install(self, program_folder, api_library=None):
        """Puts the program, and the API library beside it, into the PC; returns the folder."""
        folder = self.drive / "Program Files" / "Orvanta Configurator"
        shutil.copytree(program_folder, folder, copy_function=os.link)
        if api_library:
            os.link(api_library, folder / "Brelvix.dll")
        return folder

    def start(self, command, network_setup=None, variables=None, **options):
        """Starts a Windows program and returns its process. `network_setup`, a shell command, gives
        the program a network of its own; without it the machine's network adapters are seen."""
        outer = []
        if network_setup is not None:
            outer += [*OWN_NETWORK, "sh", "-ec", f'{network_setup}\nexec "$@"', "sh"]
        if network_setup is not None or os.geteuid() == 0:
            outer += ORDINARY_USER
        return subprocess.Popen(
            [*outer, "wine", *command],
            env=environment(
                self.prefix,
                self.user,
                ORVANTA_SIMULATED_PC=windows_path(self.pc_folder),
                **(variables or {}),
            ),
            **options,
        )
