#!/usr/bin/python3
"""Uses the shipped program under Wine from its first page to the written file.

Every case has a display, a Wine prefix and a copy of a simulated PC of its own.
"""

import json
import os
import pathlib
import shutil
import sys
import tempfile
import unittest

sys.path.append(str(pathlib.Path(__file__).parents[2] / "simulator" / "wine"))
from virtual_display import virtual_display  # noqa: E402
from wine_pc import WinePc, can_have_own_network, manage_windows, windows_path  # noqa: E402
from wizard import AVAILABLE, DUAL_LINKS, SINGLE_LINKS, Wizard, wait_for  # noqa: E402

READY_PCS = pathlib.Path(__file__).parents[2] / "pcs"
CONFIG = pathlib.Path("C/Users/Public/Documents/Fennory/PMT2/orvanta_config.txt")


BUILD = pathlib.Path(os.environ["ORVANTA_BUILD_FOLDER"])
PREFIXES = BUILD / "wine"
PICTURES = BUILD / "pictures"
KERNEL_LIBRARY = BUILD / "simulator" / "Brelvix.dll"
KERNEL_LIBRARY_WITHOUT_182 = BUILD / "tests" / "windows" / "without-182" / "Brelvix.dll"
PLANTED_LIBRARY = BUILD / "tests" / "windows" / "Planted.dll"


def port(number):
    """Returns the entry text of a port of the ready PCs with two cards, counted from 1."""
    suffix = "" if number == 1 else f" #{number}"
    return f"Example 10G Adapter{suffix}. PCI Slot: 0, Port: 0"


def onboard_port(number):
    suffix = "" if number == 1 else f" #{number}"
    return f"Example Onboard 10G Adapter{suffix}. PCI Slot: 0, Port: 0"


def both(first, second):
    """Returns the text of a Dual Link."""
    return f"{first} + {second}"


TWO_CARDS = [port(1), port(2), port(3), port(4), onboard_port(1), onboard_port(2)]
TWO_CARDS_IDS = [f"DEVICE-{letter}" for letter in "ABCDEF"]
SLOTTED_PORTS = [
    "Example Adapter. PCI Slot: 3, Port: 0",
    "Example Adapter. PCI Slot: 3, Port: 1",
    "Example Adapter. PCI Slot: 5, Port: 0",
]

# Far less than one in a search. Threads of Qt's own, which have handles, come and go, and painting
# holds one more GDI object now and then.
TOLERATED_GROWTH = {"memory": 1024 * 1024, "handles": 8, "threads": 4, "GDI objects": 4}


def adapter_pair(first, second, state):
    """Returns the shell commands that make two network adapters joined by a cable."""
    names = f"Example-{first}", f"Example-{second}"
    made = f"ip link add name {names[0]} type veth peer name {names[1]}\n"
    return made + "".join(f"ip link set {name} {state}\n" for name in names)


def open_calls():
    return [
        f'OV_openDriver("{os.environ["ORVANTA_CUSTOMER_ID"]}")',
        "OV_createSharedMemEx(null, 287, 0)",
        "OV_getSharedMemEx(1, 0)",
        "OV_getSystemInformation(680, 0)",
        'OV_loadKernel("gevOrvanta_kernel.dll", null, null, 4)',
        "OV_getSharedMemEx(1, 0)",
    ]


CLOSE_CALLS = ["OV_getSharedMemEx(1, 0)", "freeSharedMem(1, 0)", "closeDriver()"]


def enumeration_call(index):
    return f'OV_enumDevicesEx("NET", "PCI", null, {index}, 0)'


def queries(device_id):
    """Returns the calls that ask for a device's name and description."""
    return [f'queryDeviceInformation("{device_id}", 1204, 0)'] * 2


def search_calls(device_ids, saved_ids=()):
    """Returns the kernel calls of one search, in order."""
    calls = open_calls()
    for index, device_id in enumerate(device_ids):
        calls += [enumeration_call(index), *queries(device_id)]
    calls.append(enumeration_call(len(device_ids)))
    for saved_id in saved_ids:
        calls += queries(saved_id)
    return calls + CLOSE_CALLS


def report_calls(code, command):
    """Returns the kernel calls of one error report."""
    return [f"errorName({code}, 0)", f'errorText({code}, "{command}", 0)']


def report(code, name, command, message):
    """Returns the two lines of an error report as they stand in a file."""
    return f"ERROR ({code} = '{name}') -\r\n  {command}: {message}: Error running command {command}\r\n"


OPEN_DRIVER = "OV_openDriver(customerNr)"
CREATE_SHARED_MEMORY = (
    "OV_createSharedMemEx(&m_sharedMemHandle, nullptr, sizeof(SharedData), OVF_NO_FLAGS)"
)
SYSTEM_INFORMATION = "OV_getSystemInformation(&m_systemInfo, 0)"
LOAD_KERNEL = "OV_loadKernel(&kernel, getKernelLibraryPath().c_str(), NULL, NULL, OVF_KERNEL_EXEC)"


class EndToEnd(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        PREFIXES.mkdir(exist_ok=True)
        PICTURES.mkdir(exist_ok=True)
        self.name = self.id().rsplit(".", 1)[-1].removeprefix("test_")
        for picture in PICTURES.glob(f"{self.name}-*.png"):
            picture.unlink()
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="case-", dir=PREFIXES))
        self.addCleanup(self.remove_folder)
        self.display = self.enterContext(virtual_display())
        self.runs = 0

    def remove_folder(self):
        for folder in self.folder.rglob("*/"):
            if not folder.is_symlink():
                folder.chmod(0o755)
        shutil.rmtree(self.folder)

    # The PC

    def prepare(self, ready_pc, change=None, kernel_library=True):
        """Fills a prefix from a copy of a ready PC, whose settings `change` may change."""
        self.pc_folder = self.folder / "pc"
        shutil.copytree(READY_PCS / ready_pc, self.pc_folder)
        if change:
            file = self.pc_folder / "pc.json"
            settings = json.loads(file.read_text(encoding="utf-8"))
            change(settings)
            file.write_text(json.dumps(settings), encoding="utf-8")
        self.fill_prefix(KERNEL_LIBRARY if kernel_library else None)

    def fill_prefix(self, kernel_library):
        self.pc = WinePc(
            self.folder / "prefix", self.pc_folder, PREFIXES
        )
        self.addCleanup(self.pc.end)
        manage_windows(self.pc.prefix)
        self.program_folder = self.pc.install(BUILD / "program", kernel_library)

    def start(self, network_setup=None, command=None, variables=None):
        """Starts the program, or a command that starts it, with its output in a file."""
        self.runs += 1
        self.output_file = self.folder / f"output-{self.runs}.txt"
        self.messages_file = self.folder / f"messages-{self.runs}.txt"
        with open(self.output_file, "wb") as output, open(self.messages_file, "wb") as messages:
            wizard = Wizard(
                self.pc,
                command or [self.program_folder / "OrvantaConfigurator.exe"],
                BUILD,
                self.display,
                PICTURES / f"{self.name}-{self.runs}",
                network_setup=network_setup,
                variables={
                    "ORVANTA_KERNEL_LOG": windows_path(self.folder / "kernel.log"),
                    "QT_FORCE_STDERR_LOGGING": "1",
                    **(variables or {}),
                },
                cwd=self.folder,
                stdout=output,
                stderr=messages,
            )
        return self.enterContext(wizard)

    def start_at_adapters(self, network_setup=None):
        wizard = self.start(network_setup)
        wizard.open_adapters()
        return wizard

    @property
    def config(self):
        return self.pc_folder / CONFIG

    def kernel_calls(self):
        log = self.folder / "kernel.log"
        return log.read_text(encoding="utf-8").splitlines() if log.exists() else []

    # Making and showing connections

    def make_single_link(self, wizard, text):
        wizard.click_row(AVAILABLE, text)
        wizard.click("createSingleLink")
        wait_for(lambda: text in wizard.texts(SINGLE_LINKS), f"{text!r} among the Single Links")

    def make_dual_link(self, wizard, first, second):
        wizard.click_row(AVAILABLE, first)
        wizard.click_row(AVAILABLE, second)
        wizard.click("createDualLink")
        link = both(first, second)
        wait_for(lambda: link in wizard.texts(DUAL_LINKS), f"{link!r} among the Dual Links")

    def test_both_kinds_of_link_are_written(self):
        self.prepare("two-cards-empty")
        wizard = self.start_at_adapters()
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)

        self.make_single_link(wizard, port(1))
        self.make_dual_link(wizard, port(3), port(4))
        wizard.wait_for_rows(AVAILABLE, [port(2), onboard_port(1), onboard_port(2)])

        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-A\nDEVICE-C;DEVICE-D\n\n")
        self.assertEqual(self.kernel_calls(), search_calls(TWO_CARDS_IDS))
        self.assertEqual(self.output_file.read_bytes(), b"")

    def test_the_keyboard_alone_makes_both_kinds_of_link(self):
        self.prepare("two-cards-empty")
        wizard = self.start_at_adapters()
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)
        wizard.move_focus_to(AVAILABLE)
        wizard.press_keys("Home", "Down", "space")
        wizard.move_focus_to("createSingleLink")
        wizard.press_keys("space")
        wizard.wait_for_rows(SINGLE_LINKS, [port(2)])

        wizard.move_focus_to(AVAILABLE)
        wizard.press_keys("End", "Up", "space", "Down", "space")
        wizard.move_focus_to("createDualLink")
        wizard.press_keys("space")
        wizard.wait_for_rows(DUAL_LINKS, [both(onboard_port(1), onboard_port(2))])

        wizard.press_keys("alt+n")
        wizard.wait_for_page(2)
        wizard.press_keys("Return")
        self.assertEqual(wizard.wait_for_end(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-B\nDEVICE-E;DEVICE-F\n\n")

    def test_the_second_run_shows_the_connections_of_the_first(self):
        self.prepare("two-cards-empty")
        wizard = self.start_at_adapters()
        self.make_single_link(wizard, port(2))
        self.make_dual_link(wizard, onboard_port(1), onboard_port(2))
        self.assertEqual(wizard.finish(), 0)
        written = self.config.read_bytes()
        self.assertEqual(written, b"DEVICE-B\nDEVICE-E;DEVICE-F\n\n")

        wizard = self.start_at_adapters()
        wizard.wait_for_rows(SINGLE_LINKS, [port(2)])
        wizard.wait_for_rows(DUAL_LINKS, [both(onboard_port(1), onboard_port(2))])
        wizard.wait_for_rows(AVAILABLE, [port(1), port(3), port(4)])
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), written)
        self.assertEqual(
            self.kernel_calls(),
            search_calls(TWO_CARDS_IDS)
            + search_calls(TWO_CARDS_IDS, ["DEVICE-B", "DEVICE-E", "DEVICE-F"]),
        )

    def test_a_dual_link_of_two_adapters_is_refused(self):
        self.prepare("refused-dual-link")
        wizard = self.start_at_adapters()
        ports = SLOTTED_PORTS
        wizard.wait_for_rows(AVAILABLE, ports)
        wizard.click_row(AVAILABLE, ports[0])
        wizard.click_row(AVAILABLE, ports[2])
        wizard.click("createDualLink")
        self.assertEqual(
            wizard.answer_message_box(),
            (
                "Dual link connection made with different network adapters",
                "Dual link connection should be made with two GiGE cables connected to two ports "
                "of a single network adapter",
            ),
        )
        self.assertEqual(wizard.texts(AVAILABLE), ports)
        self.assertEqual(wizard.texts(DUAL_LINKS), [])

        wizard.click_row(AVAILABLE, ports[2])
        wizard.click_row(AVAILABLE, ports[1])
        wizard.click("createDualLink")
        wizard.wait_for_rows(DUAL_LINKS, [both(ports[0], ports[1])])
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-A;DEVICE-B\n\n")

    def test_connections_are_removed(self):
        self.prepare("two-cards")
        wizard = self.start_at_adapters()
        link = both(port(3), port(4))
        wizard.wait_for_rows(SINGLE_LINKS, [port(1)])
        wizard.wait_for_rows(DUAL_LINKS, [link])

        wizard.click_row(SINGLE_LINKS, port(1))
        wizard.click("removeSingleLink")
        wizard.wait_for_rows(SINGLE_LINKS, [])
        wizard.click_row(DUAL_LINKS, link)
        wizard.click("removeDualLink")
        wizard.wait_for_rows(DUAL_LINKS, [])
        wizard.wait_for_rows(
            AVAILABLE, [port(2), onboard_port(1), onboard_port(2), port(1), port(3), port(4)]
        )
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"\n")

    def test_lists_are_cleared(self):
        self.prepare("two-cards")
        wizard = self.start_at_adapters()
        self.make_single_link(wizard, port(2))
        self.make_dual_link(wizard, onboard_port(2), onboard_port(1))
        wizard.click("clearSingleLink")
        wizard.wait_for_rows(SINGLE_LINKS, [])
        wizard.wait_for_rows(AVAILABLE, [port(1), port(2)])
        wizard.click("clearDualLink")
        wizard.wait_for_rows(DUAL_LINKS, [])
        wizard.wait_for_rows(
            AVAILABLE,
            [port(1), port(2), port(3), port(4), onboard_port(2), onboard_port(1)],
        )
        # Rows of a cleared list take part in everything as before.
        self.make_dual_link(wizard, port(2), port(1))
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-B;DEVICE-A\n\n")

    # Long use

    def prepare_without_network_devices(self):
        """Every search leaves the program a few lists of the PC's network devices until it ends.
        Here they are empty, so that nothing else can hide behind them."""

        def change(settings):
            settings["deviceNodes"] = []

        self.prepare("refused-dual-link", change)

    def make_and_clear_links(self, wizard, ports):
        wizard.wait_for_rows(AVAILABLE, ports)
        self.make_dual_link(wizard, *ports[:2])
        self.make_single_link(wizard, ports[2])
        wizard.click("clearDualLink")
        wizard.wait_for_rows(DUAL_LINKS, [])
        wizard.click("clearSingleLink")
        wizard.wait_for_rows(SINGLE_LINKS, [])

    def files_of_the_pc(self):
        return sorted((self.pc.prefix / "drive_c").rglob("*"))

    def use_every_button_on_a_screen(self, screen):
        self.display = self.enterContext(virtual_display(screen))
        self.prepare("two-cards-empty")
        wizard = self.start_at_adapters()

        def see_buttons():
            self.assertEqual(wizard.buttons_off_screen(screen), [])

        see_buttons()
        wizard.click_button("< Back")
        wizard.wait_for_page(0)
        see_buttons()
        wizard.click_button("Next >")
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)
        see_buttons()
        for single, dual in [
            ("removeSingleLink", "clearDualLink"),
            ("clearSingleLink", "removeDualLink"),
        ]:
            first, second, third = wizard.texts(AVAILABLE)[:3]
            self.make_single_link(wizard, first)
            self.make_dual_link(wizard, second, third)
            see_buttons()
            wizard.click_row(SINGLE_LINKS, first)
            wizard.click(single)
            wizard.wait_for_rows(SINGLE_LINKS, [])
            wizard.click_row(DUAL_LINKS, both(second, third))
            wizard.click(dual)
            wizard.wait_for_rows(DUAL_LINKS, [])
        wizard.click_button("Next >")
        wizard.wait_for_page(2)
        see_buttons()
        self.assertEqual(wizard.cancel(), 0)

    def test_every_button_on_a_screen_of_1366x768(self):
        self.use_every_button_on_a_screen("1366x768")

    def test_every_button_on_a_screen_of_1280x720(self):
        self.use_every_button_on_a_screen("1280x720")

    def test_every_button_on_a_screen_of_1280x672(self):
        self.use_every_button_on_a_screen("1280x672")

    def test_every_button_on_a_screen_of_1024x570(self):
        self.use_every_button_on_a_screen("1024x570")

    def test_nothing_grows_in_a_hundred_searches(self):
        self.prepare_without_network_devices()
        rounds, warm_up = 100, 20
        wizard = self.start()
        wizard.wait_for_page(0)
        for number in range(1, rounds + 1):
            wizard.press_keys("alt+n")
            self.make_and_clear_links(wizard, SLOTTED_PORTS)
            wizard.press_keys("alt+b")
            wizard.wait_for_page(0)
            if number == warm_up:
                before, files_before = wizard.resources(), self.files_of_the_pc()
        after = wizard.resources()
        print(f"before: {before}, after: {after}")
        self.assertEqual(self.files_of_the_pc(), files_before)
        for name, tolerated in TOLERATED_GROWTH.items():
            self.assertGreater(before[name], 0, name)
            self.assertLessEqual(after[name], before[name] + tolerated, name)

        wizard.press_keys("alt+n")
        wizard.wait_for_rows(AVAILABLE, SLOTTED_PORTS)
        self.make_single_link(wizard, SLOTTED_PORTS[0])
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-A\n\n")
        for call in open_calls()[0], CLOSE_CALLS[-1]:
            self.assertEqual(self.kernel_calls().count(call), rounds + 1)

    # Cancel

    def assert_config_untouched(self, before):
        after = self.config.stat()
        self.assertEqual(self.config.read_bytes(), b"DEVICE-A\nDEVICE-C;DEVICE-D\n\n")
        self.assertEqual((after.st_ino, after.st_mtime_ns), (before.st_ino, before.st_mtime_ns))

    def test_cancel_on_the_first_page_writes_nothing(self):
        self.prepare("two-cards")
        before = self.config.stat()
        wizard = self.start()
        wizard.wait_for_page(0)
        self.assertEqual(wizard.cancel(), 0)
        self.assert_config_untouched(before)
        self.assertEqual(self.kernel_calls(), [])

    def test_cancel_on_the_adapter_page_writes_nothing(self):
        self.prepare("two-cards")
        before = self.config.stat()
        wizard = self.start_at_adapters()
        self.make_single_link(wizard, port(2))
        wizard.press_keys("Escape")
        self.assertEqual(wizard.wait_for_end(), 0)
        self.assert_config_untouched(before)

    def test_cancel_on_the_last_page_writes_nothing(self):
        self.prepare("two-cards")
        before = self.config.stat()
        wizard = self.start_at_adapters()
        self.make_single_link(wizard, port(2))
        wizard.click_button("Next >")
        wizard.wait_for_page(2)
        self.assertEqual(wizard.cancel(), 0)
        self.assert_config_untouched(before)

    # What is missing

    def test_a_missing_driver_leaves_the_lists_empty(self):
        self.prepare("no-driver")
        wizard = self.start_at_adapters()
        self.assertIsNone(wizard.message_box())
        for name in (AVAILABLE, SINGLE_LINKS, DUAL_LINKS):
            self.assertEqual(wizard.texts(name), [])
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"\n")
        self.assertEqual(self.kernel_calls(), [])

    def test_a_missing_driver_is_told_where_connections_are_saved(self):
        self.prepare("no-driver-saved")
        wizard = self.start_at_adapters()
        self.assertEqual(
            wizard.answer_message_box(),
            ("Orvanta Search Error", "Orvanta not found. Please install the Orvanta drivers."),
        )
        self.assertEqual(wizard.cancel(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-A\nDEVICE-C;DEVICE-D\n\n")
        self.assertEqual(self.kernel_calls(), [])
        self.assertIn(
            "OrvantaConfig::isOrvantaInstalled(): Orvanta driver not found.", self.messages()
        )

    def messages(self):
        return self.messages_file.read_text(encoding="utf-8").splitlines()

    def check_refused_search(self, message, report_bytes):
        """Starts the program; its search ends with a message and a report."""
        wizard = self.start_at_adapters()
        self.assertEqual(wizard.answer_message_box(), ("Orvanta Search Error", message))
        self.assertEqual(wizard.texts(AVAILABLE), [])
        self.assertEqual(wizard.cancel(), 0)
        self.assertEqual(self.output_file.read_bytes().decode(), report_bytes)

    def test_a_missing_kernel_library_is_told(self):
        self.prepare("two-cards-empty", kernel_library=False)
        # One that lies elsewhere is not the kernel's.
        os.link(KERNEL_LIBRARY, self.folder / "Brelvix.dll")
        self.check_refused_search(
            "[ERROR]: Unable to open the driver!",
            report("0000007E", "", OPEN_DRIVER, "Unable to open the driver!"),
        )
        self.assertEqual(self.kernel_calls(), [])
        self.assertIn(
            "platform::kernelApi(): Brelvix.dll cannot be loaded, error 126.", self.messages()
        )

    def test_the_kernel_library_is_found_in_the_system_folder(self):
        self.prepare("two-cards-empty", kernel_library=False)
        os.link(
            KERNEL_LIBRARY,
            self.pc.prefix / "drive_c" / "windows" / "system32" / "Brelvix.dll",
        )
        wizard = self.start_at_adapters()
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)
        self.assertEqual(wizard.cancel(), 0)

    def test_a_missing_ordinal_is_told(self):
        self.prepare("two-cards-empty", kernel_library=False)
        os.link(
            KERNEL_LIBRARY_WITHOUT_182, self.program_folder / "Brelvix.dll"
        )
        message = "Could not get system information"
        self.check_refused_search(
            f"[ERROR]: {message}",
            report("0000007F", "EXAMPLE_ERROR", SYSTEM_INFORMATION, message) + "\r\n",
        )
        self.assertIn("platform::kernelApi(): Brelvix.dll has no ordinal 182.", self.messages())
        self.assertEqual(
            self.kernel_calls(),
            open_calls()[:3] + report_calls("0x0000007F", SYSTEM_INFORMATION) + CLOSE_CALLS,
        )

    # Libraries of others

    def plant(self, folder):
        """Puts libraries that leave a mark into a folder, under every name that the program loads
        from its own, also as Qt would look for its plugins."""
        names = [
            file.relative_to(self.program_folder)
            for file in self.program_folder.rglob("*.dll")
        ]
        self.assertIn(pathlib.Path("platforms/qwindows.dll"), names)
        for name in [*names, *("plugins" / name for name in names)]:
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(PLANTED_LIBRARY, folder / name)

    def test_planted_libraries_are_not_loaded(self):
        self.prepare("two-cards-empty")
        on_path = self.folder / "on-path"
        mark = self.folder / "mark"
        for folder in (self.folder, on_path):
            self.plant(folder)
        variables = {
            "ORVANTA_PLANTED_MARK": windows_path(mark),
            "WINEPATH": windows_path(on_path),
        }

        wizard = self.start(variables=variables)
        wizard.open_adapters()
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)
        self.assertEqual(wizard.cancel(), 0)
        self.assertFalse(mark.exists())

        # The same libraries are loaded by a program that takes them from there.
        self.pc.start(
            ["rundll32", "Qt6Core.dll,Planted"], variables=variables, cwd=self.folder
        ).wait()
        self.assertTrue(mark.exists())

    # What the kernel refuses

    def refuse(self, ordinal, code, text=""):
        def change(settings):
            settings["kernel"].update(
                failures={str(ordinal): code}, errorName="EXAMPLE_REFUSED", errorText=text
            )

        self.prepare("two-cards-empty", change)

    def test_a_refused_driver_is_told(self):
        self.refuse(13, "0x10160000", "The licence has expired.")
        message = "Unable to open the driver!"
        self.check_refused_search(
            f"[ERROR]: {message}",
            report("10160000", "EXAMPLE_REFUSED", OPEN_DRIVER, message)
            + "The licence has expired.\r\n",
        )
        self.assertEqual(
            self.kernel_calls(), open_calls()[:1] + report_calls("0x10160000", OPEN_DRIVER)
        )

    def test_refused_shared_memory_is_told(self):
        self.refuse(37, "0x101F0000")
        self.check_refused_search(
            "[ERROR]: Code: [-104] - Error description: ErrCode: -104",
            report(
                "101F0000",
                "EXAMPLE_REFUSED",
                CREATE_SHARED_MEMORY,
                "Unable to create shared memory!",
            )
            + "\r\n",
        )
        self.assertEqual(
            self.kernel_calls(),
            open_calls()[:2] + report_calls("0x101F0000", CREATE_SHARED_MEMORY),
        )

    def test_refused_system_information_is_told(self):
        self.refuse(182, "0x10240000")
        message = "Could not get system information"
        self.check_refused_search(
            f"[ERROR]: {message}",
            report("10240000", "EXAMPLE_REFUSED", SYSTEM_INFORMATION, message) + "\r\n",
        )
        self.assertEqual(
            self.kernel_calls(),
            open_calls()[:4] + report_calls("0x10240000", SYSTEM_INFORMATION) + CLOSE_CALLS,
        )

    def test_a_refused_kernel_load_is_told(self):
        self.refuse(55, "0x10050000")
        message = "Unable to load DLL! Is the DLL in the search path?"
        self.check_refused_search(
            f"[ERROR]: {message}",
            report("10050000", "EXAMPLE_REFUSED", LOAD_KERNEL, message) + "\r\n",
        )
        self.assertEqual(
            self.kernel_calls(),
            open_calls()[:5] + report_calls("0x10050000", LOAD_KERNEL) + CLOSE_CALLS,
        )

    def test_a_kernel_without_devices_is_told_on_the_console_only(self):
        self.prepare("no-devices")
        wizard = self.start_at_adapters()
        self.assertIsNone(wizard.message_box())
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"\n")
        self.assertEqual(self.output_file.read_bytes(), b"No network adapters found!\r\n")
        self.assertEqual(self.kernel_calls(), search_calls([]))

    def test_cancel_while_a_slow_kernel_opens(self):
        self.prepare("slow-kernel")
        before = self.config.stat()
        wizard = self.start()
        wizard.wait_for_page(0)
        wizard.press_keys("Return")
        wait_for(lambda: wizard.page() == 1 and wizard.is_searching(), "the loading frame")
        wait_for(self.kernel_calls, "the driver to be opened")
        wizard.keep_picture("loading")
        self.assertTrue(wizard.is_on_screen())
        wizard.click_button("Cancel")
        wait_for(lambda: not wizard.is_on_screen(), "the wizard to close")
        self.assertEqual(self.kernel_calls(), open_calls()[:1])

        self.assertEqual(wizard.wait_for_end(), 0)
        self.assert_config_untouched(before)
        self.assertEqual(
            self.kernel_calls(),
            search_calls(TWO_CARDS_IDS[:4], ["DEVICE-A", "DEVICE-C", "DEVICE-D"]),
        )

    # The public folder and the file in it

    def test_a_missing_public_folder_is_not_made(self):
        self.prepare("two-cards-empty")
        folder = self.config.parent
        shutil.rmtree(folder)
        wizard = self.start_at_adapters()
        self.make_single_link(wizard, port(1))
        self.assertEqual(wizard.finish(), 0)
        self.assertFalse(folder.exists())

    def test_a_read_only_public_folder_stays_as_it_is(self):
        self.prepare("two-cards")
        self.config.chmod(0o444)
        self.config.parent.chmod(0o555)
        before = self.config.stat()
        wizard = self.start_at_adapters()
        wizard.click("clearDualLink")
        wizard.wait_for_rows(DUAL_LINKS, [])
        self.assertEqual(wizard.finish(), 0)
        self.assert_config_untouched(before)

    def test_a_file_with_carriage_returns_is_read_and_written_without(self):
        self.prepare("two-cards-empty")
        self.config.write_bytes(b"DEVICE-A\r\nDEVICE-C;DEVICE-D\r\n")
        wizard = self.start_at_adapters()
        wizard.wait_for_rows(SINGLE_LINKS, [port(1)])
        wizard.wait_for_rows(DUAL_LINKS, [both(port(3), port(4))])
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-A\nDEVICE-C;DEVICE-D\n\n")

    # Names and numbers

    def test_names_and_a_user_name_beyond_ascii(self):
        self.prepare("non-ascii")
        home = self.pc.prefix / "drive_c" / "users" / "Jürgen"
        wizard = self.start_at_adapters()
        self.assertTrue(home.is_dir())
        cameras = [
            "Kamera-Adapter Süd. PCI Slot: 0, Port: 0",
            "Kamera-Adapter Süd #2. PCI Slot: 0, Port: 0",
        ]
        # Windows' device texts come in its code page, which has no letters for the other names:
        # they match no device node.
        wizard.wait_for_rows(AVAILABLE, [*cameras, "Адаптер 10G"])
        wizard.wait_for_rows(SINGLE_LINKS, ["カメラ用アダプター"])
        self.make_dual_link(wizard, cameras[1], cameras[0])
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-D\nDEVICE-B;DEVICE-A\n\n")

    def test_markup_in_a_name_is_shown_as_it_is(self):
        name = "<b>Card</b> &amp; <img src='file:///C:/x.png'>"

        def change(settings):
            settings["kernel"]["devices"][0]["friendlyName"] = name

        self.prepare("two-cards-empty", change)
        wizard = self.start_at_adapters()
        wizard.wait_for_rows(AVAILABLE, [name, *TWO_CARDS[1:]])
        self.make_single_link(wizard, name)
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-A\n\n")

    def test_sixty_four_ports(self):
        self.prepare("sixty-four-ports")
        wizard = self.start_at_adapters()
        ports = [port(number) for number in range(1, 65)]
        wizard.wait_for_rows(AVAILABLE, ports)

        wizard.click_row(AVAILABLE, ports[1])
        wizard.press_keys("End", "space")
        wait_for(
            lambda: wizard.selected_texts(AVAILABLE) == [ports[1], ports[63]],
            "the first and the last port to be selected",
        )
        wizard.click("createDualLink")
        wizard.wait_for_rows(DUAL_LINKS, [both(ports[1], ports[63])])
        self.make_single_link(wizard, ports[31])
        self.assertEqual(len(wizard.texts(AVAILABLE)), 61)
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-32\nDEVICE-02;DEVICE-64\n\n")
        self.assertEqual(
            self.kernel_calls(), search_calls([f"DEVICE-{number:02}" for number in range(1, 65)])
        )

    def test_lamps_show_the_state_of_the_adapters(self):
        if not can_have_own_network():
            self.skipTest("This machine does not let programs have a network of their own.")

        def change(settings):
            settings["kernel"] = {
                "devices": [
                    {"id": f"DEVICE-{letter}", "friendlyName": f"Example-{letter}"}
                    for letter in "ABCDEFGHKJ"
                ]
            }

        self.prepare("no-devices", change)
        self.config.write_bytes(b"DEVICE-A\nDEVICE-C\nDEVICE-E\nDEVICE-F;DEVICE-G\nDEVICE-B;DEVICE-D\nDEVICE-A;DEVICE-E\n")
        # A, B, F, G and K are up; C, D and H are not; E and J are no adapters of Windows.
        wizard = self.start_at_adapters(
            adapter_pair("A", "B", "up")
            + adapter_pair("C", "D", "down")
            + adapter_pair("F", "G", "up")
            + adapter_pair("H", "I", "down")
            + adapter_pair("K", "L", "up")
        )
        # Windows tells no speed for these adapters, and slow ones that are up are not offered.
        wizard.wait_for_rows(AVAILABLE, ["Example-H", "Example-J"])
        wizard.wait_for_lamps(AVAILABLE, ["red", "white"])
        wizard.wait_for_lamps(SINGLE_LINKS, ["green", "red", "white"])
        wizard.wait_for_lamps(DUAL_LINKS, ["green", "red", "white"])
        self.assertEqual(wizard.cancel(), 0)

    # The console

    def test_the_report_is_red_on_the_console(self):
        self.refuse(13, "0x10160000", "The licence has expired.")
        console_file = self.folder / "console.txt"
        wizard = self.start(
            command=[
                BUILD / "tests" / "windows" / "console_reader.exe",
                windows_path(console_file),
                windows_path(self.program_folder / "OrvantaConfigurator.exe"),
            ]
        )
        wizard.open_adapters()
        wizard.answer_message_box()
        self.assertEqual(wizard.cancel(), 0)
        lines = console_file.read_text(encoding="utf-8").splitlines()
        first = lines.index("0C ERROR (10160000 = 'EXAMPLE_REFUSED') -")
        message = "Unable to open the driver!"
        self.assertEqual(
            lines[first + 1 : first + 3],
            [
                f"0C   {OPEN_DRIVER}: {message}: Error running command {OPEN_DRIVER}",
                "02 The licence has expired.",
            ],
        )


if __name__ == "__main__":
    unittest.main()
