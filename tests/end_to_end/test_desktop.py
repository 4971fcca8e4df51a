#!/usr/bin/python3
"""The wizard on a Linux desktop: what a screen reader gets to know, and where a small screen shows it.

usage: test_desktop.py BUILD_FOLDER SIMULATED_PC CASE"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import gi

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
from waiting import wait_for  # noqa: E402
from wizard import AVAILABLE, INTRODUCTION_PAGE, on_desktop  # noqa: E402

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

BUILD, SIMULATED_PC = map(pathlib.Path, sys.argv[1:3])
ROUNDS = max(1, int(os.environ.get("ORVANTA_LONG_TESTS", "10")) // 10)


class Desktop(unittest.TestCase):
    def start(self):
        folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        return self.enterContext(on_desktop(BUILD, SIMULATED_PC, folder, folder / "picture"))


def visible_descendants(node):
    for index in range(node.get_child_count()):
        child = node.get_child_at_index(index)
        if child is not None and child.get_state_set().contains(Atspi.StateType.SHOWING):
            yield child
            yield from visible_descendants(child)


class Accessibility(Desktop):
    """The wizard on the desktop's accessibility bus."""

    def setUp(self):
        self.wizard = self.start()
        self.wizard.open_adapters()
        wait_for(lambda: self.controls("list item"), "rows on the accessibility bus")

    def controls(self, role):
        """Returns what a person can operate or read, of a role such as "button"."""
        desktop = Atspi.get_desktop(0)
        return [
            node
            for application in map(desktop.get_child_at_index, range(desktop.get_child_count()))
            if application and application.get_process_id() == self.wizard.process.pid
            for node in visible_descendants(application)
            # Before AT-SPI 2.56, a button was a push button.
            if node.get_role_name().removeprefix("push ") == role
        ]

    def test_every_button_list_and_row_has_a_name_of_its_own(self):
        for role in ("button", "list", "list item"):
            names = [node.get_name() for node in self.controls(role)]
            self.assertGreater(len(names), 0, role)
            self.assertNotIn("", names, role)
            self.assertEqual(len(names), len(set(names)), f"{role}: {names}")

    def test_a_row_says_its_port_and_its_lamp_in_words(self):
        rows = {row.get_name(): row.get_description() for row in self.controls("list item")}
        words = "Identifier: DEVICE-A\nDescription: Example 10G Dual-Port Ethernet\nLink up"
        self.assertEqual(rows["Example 10G Adapter. PCI Slot: 0, Port: 0"], words)

    def test_selecting_by_keyboard_is_announced(self):
        self.wizard.move_focus_to(AVAILABLE)
        self.press_until_announced("object:state-changed:focused", "Down", "Up")
        self.press_until_announced("object:state-changed:selected", "space")

    def press_until_announced(self, event, *keys):
        """Presses keys again and again: the program learns some time later that somebody listens."""
        announced = []
        listener = Atspi.EventListener.new(lambda it: announced.append(it.source.get_role_name()))
        listener.register(event)
        self.addCleanup(listener.deregister, event)

        def is_announced():
            self.wizard.press_keys(*keys)
            while GLib.MainContext.default().iteration(False):
                pass
            return "list item" in announced

        wait_for(is_announced, f"{event} of a row")


def x11(*command):
    return subprocess.run(command, capture_output=True, text=True).stdout


class SmallScreen(Desktop):
    """The window on a small screen, beside a window manager and a busy program."""

    width, height = map(int, x11("xdotool", "getdisplaygeometry").split())

    def is_on_screen(self, window):
        """Returns whether the display shows a window with its whole frame."""
        place = x11("xwininfo", "-id", window)
        x, y, width, height = map(int, re.findall(r"(?:Absolute.*|Width|Height): +(-?\d+)", place))
        extents = x11("xprop", "-id", window, "_NET_FRAME_EXTENTS")
        left, right, top, bottom = map(int, re.findall(r"\d+", extents))
        right_edge, bottom_edge = x + width + right, y + height + bottom
        return left <= x and top <= y and right_edge <= self.width and bottom_edge <= self.height

    def test_every_visit_ends_on_the_screen(self):
        busy = self.enterContext(subprocess.Popen([sys.executable, "-c", "while True: pass"]))
        self.addCleanup(busy.kill)
        for _ in range(ROUNDS):
            self.visit_twice(self.start())

    def visit_twice(self, wizard):
        wait_for(wizard.active_window, "an active window")
        window = wait_for(lambda: x11("xdotool", "getactivewindow").strip(), "its number")
        watch = "xev", "-id", window, "-event", "structure"
        events = subprocess.Popen(watch, stdout=subprocess.PIPE, text=True)
        for visit in "first", "second":
            wizard.open_adapters()
            wait_for(lambda: self.is_on_screen(window), f"the {visit} visit on the screen")
            wizard.press_keys("alt+b")
            wizard.wait_for_page(INTRODUCTION_PAGE)
        # Unlike a click, it needs no place: the window may still be moved.
        wizard.press_keys("Escape")
        self.assertEqual(wizard.wait_for_end(), 0)
        events.terminate()
        heights = map(int, re.findall(r", height (\d+)", events.communicate()[0]))
        self.assertLess(max(heights), self.height)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
