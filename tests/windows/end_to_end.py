#!/usr/bin/python3
"""Uses the shipped program under Wine from its first page to the written file.

Every case has a display, a Wine prefix and a copy of a simulated PC of its own. What the tests of the
Windows build show without the shipped files is not shown again.
"""

import json
import os
import pathlib
import shutil
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).parents[2]
sys.path += [str(SOURCE / "simulator" / "wine"), str(SOURCE / "tests" / "support")]
from virtual_display import virtual_display  # noqa: E402
from waiting import wait_for  # noqa: E402
from wine_pc import WinePc, can_have_own_network, windows_path  # noqa: E402
from wizard import ADAPTER_PAGE, AVAILABLE, CONCLUSION_PAGE, DUAL_LINKS  # noqa: E402
from wizard import INTRODUCTION_PAGE, SINGLE_LINKS, Wizard  # noqa: E402
from wizard import add_observer, observer_variables  # noqa: E402

CONFIG = pathlib.Path("C/Users/Public/Documents/Fennory/PMT2/orvanta_config.txt")

BUILD = pathlib.Path(os.environ["ORVANTA_BUILD_FOLDER"])
PREFIXES = BUILD / "wine"
PICTURES = BUILD / "pictures"
API_LIBRARY = BUILD / "simulator" / "Brelvix.dll"

WINDOWS = os.environ["ORVANTA_WINDOWS"]
STYLES = {"10": "windowsvista", "11": "windows11", "11-dark": "windows11, dark"}
ONBOARD = "Example Onboard 10G Adapter"


def port(number, adapter="Example 10G Adapter"):
    """Returns the entry text of a port of the ready PCs with two cards, counted from 1."""
    suffix = "" if number == 1 else f" #{number}"
    return f"{adapter}{suffix}. PCI Slot: 0, Port: 0"


TWO_CARDS = [port(1), port(2), port(3), port(4), port(1, ONBOARD), port(2, ONBOARD)]

# Far less than one in a search. Threads of Qt's own, which have handles, come and go, and painting
# holds one more GDI object now and then.
TOLERATED_GROWTH = {"memory": 1024 * 1024, "handles": 8, "threads": 4, "GDI objects": 4}

OPEN_DRIVER_CALL = f'OV_openDriver("{os.environ["ORVANTA_CUSTOMER_ID"]}")'
CLOSE_DRIVER_CALL = "closeDriver()"
ADAPTERS_REFUSED = "Failed to setup Orvanta Configuration in this local system. Unknown Error:0"

# Windows knows four adapters of the PC, of which the second is down. Linux's names have no spaces.
KNOWN_ADAPTERS = pathlib.Path(__file__).with_name("known-adapters")
ADAPTERS = """
ip link add Example-10G up type veth peer name Example-10G#2
ip link add Example-10G#3 up type veth peer name Example-10G#4
ip link set Example-10G#4 up
"""
UP, DOWN, UNKNOWN = "Link up", "Link down", "Link state unknown"

# Without this service Windows reports nothing about its network adapters.
ADAPTER_SERVICE = r"System\CurrentControlSet\Services\nsiproxy"


class EndToEnd(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        PREFIXES.mkdir(exist_ok=True)
        PICTURES.mkdir(exist_ok=True)
        self.name = self.id().rsplit(".", 1)[-1].replace("test", WINDOWS, 1)
        for picture in PICTURES.glob(f"{self.name}-*.png"):
            picture.unlink()
        folder = tempfile.TemporaryDirectory(prefix="case-", dir=PREFIXES)
        self.folder = pathlib.Path(self.enterContext(folder))
        self.display = self.enterContext(virtual_display())
        self.runs = 0

    def prepare(self, ready_pc, api_library=API_LIBRARY, **settings):
        """Fills a prefix from a copy of a ready PC, with some of its settings replaced."""
        self.pc_folder = self.folder / "pc"
        shutil.copytree(SOURCE / "pcs" / ready_pc, self.pc_folder)
        file = self.pc_folder / "pc.json"
        settings = {**json.loads(file.read_text(encoding="utf-8")), **settings}
        file.write_text(json.dumps(settings), encoding="utf-8")
        self.pc = self.enterContext(WinePc(self.folder / "prefix", self.pc_folder, PREFIXES))
        self.pc.manage_windows()
        self.program_folder = self.pc.install(BUILD / "program", api_library)
        add_observer(BUILD, self.program_folder)

    def start(self, command=None, variables=None, **options):
        """Starts the program, or a command that starts it, with its output in a file."""
        self.runs += 1
        self.output_file = self.folder / f"output-{self.runs}.txt"
        self.messages_file = self.folder / f"messages-{self.runs}.txt"
        observed_file = self.folder / f"windows-{self.runs}.json"
        command = command or [self.program_folder / "OrvantaConfigurator.exe"]
        variables = {
            "DISPLAY": self.display,
            "ORVANTA_KERNEL_LOG": windows_path(self.folder / "kernel.log"),
            **observer_variables(windows_path(observed_file)),
            **(variables or {}),
        }
        with open(self.output_file, "wb") as output, open(self.messages_file, "wb") as messages:
            options |= {"cwd": self.folder, "stdout": output, "stderr": messages}
            process = self.pc.start(command, variables=variables, **options)
        picture_prefix = PICTURES / f"{self.name}-{self.runs}"
        return self.enterContext(Wizard(process, observed_file, self.display, picture_prefix))

    def start_at_adapters(self, **options):
        wizard = self.start(**options)
        wizard.open_adapters()
        return wizard

    @property
    def config(self):
        return self.pc_folder / CONFIG

    def kernel_calls(self):
        log = self.folder / "kernel.log"
        return log.read_text(encoding="utf-8").splitlines() if log.exists() else []

    def test_links_made_by_mouse_are_written_and_shown_again(self):
        self.prepare("two-cards-empty")
        wizard = self.start_at_adapters()
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)
        wizard.make_single_link(port(2))
        wizard.make_dual_link(port(4), port(3))
        self.assertEqual(wizard.observed("style"), STYLES[WINDOWS])
        self.assertEqual(wizard.finish(), 0)
        written = self.config.read_bytes()
        self.assertEqual(written, b"DEVICE-B\nDEVICE-D;DEVICE-C\n\n")

        wizard = self.start_at_adapters()
        wizard.wait_for_rows(SINGLE_LINKS, [port(2)])
        wizard.wait_for_rows(DUAL_LINKS, [f"{port(4)} + {port(3)}"])
        wizard.wait_for_rows(AVAILABLE, [port(1), port(1, ONBOARD), port(2, ONBOARD)])
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), written)
        self.assertEqual(self.output_file.read_bytes(), b"")
        for call in OPEN_DRIVER_CALL, CLOSE_DRIVER_CALL:
            self.assertEqual(self.kernel_calls().count(call), 2)

    def test_the_keyboard_alone_makes_both_kinds_of_link(self):
        self.prepare("two-cards-empty")
        wizard = self.start_at_adapters()
        wizard.press_on(AVAILABLE, "Home", "Down", "space")
        wizard.press_on("createSingleLink", "space")
        wizard.wait_for_rows(SINGLE_LINKS, [port(2)])
        wizard.press_on(AVAILABLE, "End", "Up", "space", "Down", "space")
        wizard.press_on("createDualLink", "space")
        wizard.wait_for_rows(DUAL_LINKS, [f"{port(1, ONBOARD)} + {port(2, ONBOARD)}"])

        wizard.press_keys("alt+n")
        wizard.wait_for_page(CONCLUSION_PAGE)
        wizard.press_keys("Return")
        self.assertEqual(wizard.wait_for_end(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-B\nDEVICE-E;DEVICE-F\n\n")

    def use_every_button_on_a_screen(self, screen):
        self.display = self.enterContext(virtual_display(screen))
        wizard = self.start_at_adapters()

        def see_all():
            self.assertEqual(wizard.parts_off_screen(screen), [])

        see_all()
        wizard.click_button("< Back")
        wizard.wait_for_page(INTRODUCTION_PAGE)
        see_all()
        wizard.click_button("Next >")
        wizard.wait_for_rows(AVAILABLE, TWO_CARDS)
        see_all()
        ways_back = ("removeSingleLink", "clearDualLink"), ("clearSingleLink", "removeDualLink")
        for single, dual in ways_back:
            first, second, third = wizard.texts(AVAILABLE)[:3]
            wizard.make_single_link(first)
            wizard.make_dual_link(second, third)
            see_all()
            wizard.click_row(SINGLE_LINKS, first)
            wizard.click(single)
            wizard.wait_for_rows(SINGLE_LINKS, [])
            wizard.click_row(DUAL_LINKS, f"{second} + {third}")
            wizard.click(dual)
            wizard.wait_for_rows(DUAL_LINKS, [])
        wizard.click_button("Next >")
        wizard.wait_for_page(CONCLUSION_PAGE)
        see_all()
        self.assertEqual(wizard.cancel(), 0)

    def test_every_button_on_small_screens(self):
        self.prepare("two-cards-empty")
        for screen in "1366x768", "1280x672", "1024x600", "1024x570", "1024x540":
            with self.subTest(screen):
                self.use_every_button_on_a_screen(screen)
            # Wine's desktop stays on the display on which it began.
            self.pc.end()

    def test_nothing_grows_in_a_hundred_searches(self):
        # Every search leaves the program a few lists of the PC's network devices until it ends. Here
        # they are empty, so that nothing else can hide behind them.
        self.prepare("refused-dual-link", deviceNodes=[])
        rounds, warm_up = 100, 20
        wizard = self.start()
        wizard.wait_for_page(INTRODUCTION_PAGE)
        for number in range(1, rounds + 1):
            wizard.press_keys("alt+n")
            *pair, single = wait_for(lambda: wizard.texts(AVAILABLE), "the ports")
            wizard.make_dual_link(*pair)
            wizard.make_single_link(single)
            wizard.click("clearDualLink")
            wizard.wait_for_rows(DUAL_LINKS, [])
            wizard.click("clearSingleLink")
            wizard.wait_for_rows(SINGLE_LINKS, [])
            wizard.press_keys("alt+b")
            wizard.wait_for_page(INTRODUCTION_PAGE)
            if number == warm_up:
                before, files_before = wizard.observed("resources"), sorted(self.pc.drive.rglob("*"))
        after = wizard.observed("resources")
        print(f"before: {before}, after: {after}")
        self.assertEqual(sorted(self.pc.drive.rglob("*")), files_before)
        for name, tolerated in TOLERATED_GROWTH.items():
            self.assertGreater(before[name], 0, name)
            self.assertLessEqual(after[name], before[name] + tolerated, name)
        self.assertEqual(wizard.cancel(), 0)
        for call in OPEN_DRIVER_CALL, CLOSE_DRIVER_CALL:
            self.assertEqual(self.kernel_calls().count(call), rounds)

    def assert_config_untouched(self, before):
        after = self.config.stat()
        self.assertEqual(self.config.read_bytes(), b"DEVICE-A\nDEVICE-C;DEVICE-D\n\n")
        self.assertEqual((after.st_ino, after.st_mtime_ns), (before.st_ino, before.st_mtime_ns))

    def test_cancel_while_a_slow_kernel_opens(self):
        # Longer than a busy machine needs to look at the page.
        self.prepare("slow-kernel", kernel={"openDelayMs": 60_000})
        before = self.config.stat()
        wizard = self.start()
        wizard.wait_for_page(INTRODUCTION_PAGE)
        self.assertEqual(self.kernel_calls(), [])
        wizard.press_keys("Return")
        wait_for(lambda: wizard.page() == ADAPTER_PAGE and wizard.is_searching(), "the loading frame")
        wait_for(self.kernel_calls, "the driver to be opened")
        self.assertTrue(wizard.is_on_screen())
        wizard.click_button("Cancel")
        wait_for(lambda: not wizard.is_on_screen(), "the wizard to close")
        self.assertEqual(self.kernel_calls(), [OPEN_DRIVER_CALL])

        self.assertEqual(wizard.wait_for_end(), 0)
        self.assert_config_untouched(before)
        self.assertEqual(self.kernel_calls()[-1], CLOSE_DRIVER_CALL)

    def test_a_read_only_public_folder_stays_as_it_is(self):
        self.prepare("two-cards")
        self.config.chmod(0o444)
        self.config.parent.chmod(0o555)
        self.addCleanup(self.config.parent.chmod, 0o755)
        before = self.config.stat()
        wizard = self.start_at_adapters()
        wizard.click("clearDualLink")
        wizard.wait_for_rows(DUAL_LINKS, [])
        self.assertEqual(wizard.finish(), 0)
        self.assert_config_untouched(before)

    def test_names_and_a_user_name_beyond_ascii(self):
        self.prepare("non-ascii")
        wizard = self.start_at_adapters()
        self.assertTrue((self.pc.drive / "users" / "Jürgen").is_dir())
        cameras = [port(number, "Kamera-Adapter Süd") for number in (1, 2)]
        # Windows' device texts come in its code page, which has no letters for the other names:
        # they match no device node.
        wizard.wait_for_rows(AVAILABLE, [*cameras, "Адаптер 10G"])
        wizard.wait_for_rows(SINGLE_LINKS, ["カメラ用アダプター"])
        wizard.make_dual_link(cameras[1], cameras[0])
        self.assertEqual(wizard.finish(), 0)
        self.assertEqual(self.config.read_bytes(), b"DEVICE-D\nDEVICE-B;DEVICE-A\n\n")

    def test_lamps_show_the_state_of_the_adapters(self):
        if not can_have_own_network():
            self.skipTest("This machine does not let programs have a network of their own.")
        self.prepare(KNOWN_ADAPTERS)
        wizard = self.start_at_adapters(network_setup=ADAPTERS)
        e, f, g = (port(1, f"Example-10G#{number}") for number in (5, 6, 7))
        wizard.wait_for_rows(AVAILABLE, [e, f, g])
        for row in e, f:
            wizard.click_row(AVAILABLE, row)
        wizard.click("createDualLink")
        wizard.wait_for_rows(AVAILABLE, [g])
        self.assertEqual(wizard.lamps(AVAILABLE), [UNKNOWN])
        self.assertEqual(wizard.lamps(SINGLE_LINKS), [UP, DOWN])
        self.assertEqual(wizard.lamps(DUAL_LINKS), [UP, UNKNOWN])
        for links, row in (SINGLE_LINKS, 0), (SINGLE_LINKS, 1), (DUAL_LINKS, 1):
            self.see_lamp_keep_its_colour(wizard, links, row)
        self.assertEqual(wizard.finish(), 0)

    def see_lamp_keep_its_colour(self, wizard, links, index):
        """Selects a row."""
        row = wizard.rows(links)[index]
        left, top, _, height = row["place"]
        inner_part_of_lamp = left + 7, top + height // 2 - 4, 8, 8
        before, colours = map(wizard.pixels, (row["place"], inner_part_of_lamp))
        wizard.click_row(links, row["text"])
        wait_for(lambda: wizard.pixels(row["place"]) != before, "the row to look selected")
        self.assertEqual(wizard.pixels(inner_part_of_lamp), colours)

    def test_windows_does_not_tell_its_adapters(self):
        self.prepare("no-driver-no-adapters")
        self.pc.add_to_registry("system", ADAPTER_SERVICE, Start=4)
        wizard = self.start_at_adapters()
        self.assertIn(ADAPTERS_REFUSED, [widget["text"] for widget in wizard.widgets()])
        self.assertEqual(wizard.cancel(), 0)


if __name__ == "__main__":
    unittest.main()
