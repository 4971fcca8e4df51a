#!/usr/bin/python3
"""The wizard for people who use a screen reader or no mouse, through the desktop's accessibility bus.

usage: test_accessibility.py PROGRAM SIMULATED_PC"""

import os
import pathlib
import shutil
import sys
import tempfile
import unittest

import gi

from desktop import Program, active_window, descendants, press, wait_for

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

PROGRAM, SIMULATED_PC = sys.argv[1:3]

LAMPS = {"Link up", "Link down", "Link state unknown"}


class AccessibilityTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        pc = pathlib.Path(self.folder.name) / "pc"
        shutil.copytree(SIMULATED_PC, pc)
        self.config = pc / "C/Users/Public/Documents/Fennory/PMT2/orvanta_config.txt"
        os.environ["ORVANTA_SIMULATED_PC"] = str(pc)
        self.program = Program([PROGRAM])
        self.addCleanup(self.program.__exit__)
        # Keys are lost on a window that has not got the keyboard yet.
        wait_for(active_window, "an active window")
        wait_for(self.focused, "a control that has the keyboard")

    def go_to_adapters(self):
        press("Return")
        wait_for(lambda: self.program.rows("Available Adapters"), "rows in the available list")

    def controls(self):
        """Returns what a person can operate or read on the page."""
        roles = {"push button", "list", "list item", "label", "panel"}
        return [
            node
            for window in self.program.windows()
            for node in descendants(window)
            if node.get_role_name() in roles
        ]

    def test_every_button_list_and_row_has_a_name_of_its_own(self):
        self.go_to_adapters()
        for role in ("push button", "list", "list item"):
            names = [node.get_name() for node in self.controls() if node.get_role_name() == role]
            self.assertGreater(len(names), 0, role)
            self.assertNotIn("", names, role)
            self.assertEqual(len(names), len(set(names)), f"{role}: {names}")

    def test_every_row_says_its_lamp_in_words(self):
        self.go_to_adapters()
        for box in ("Available Adapters", "Single Link Connections", "Dual Link Connections"):
            rows = self.program.rows(box)
            self.assertGreater(len(rows), 0, box)
            for row in rows:
                self.assertIn(row.get_description(), LAMPS, row.get_name())
        states = {row.get_name(): row.get_description() for row in self.program.rows("Available Adapters")}
        self.assertEqual(states["Example 10G Adapter. PCI Slot: 0, Port: 0"], "Link up")
        self.assertEqual(states["Example 10G Adapter #2. PCI Slot: 0, Port: 0"], "Link down")

    def focused(self):
        """Returns the control that has the keyboard. A list's current row counts as its list."""
        for window in self.program.windows():
            for node in descendants(window):
                is_focused = node.get_state_set().contains(Atspi.StateType.FOCUSED)
                if is_focused and node.get_role_name() != "list item":
                    return node.get_name()
        return None

    def tab_to(self, name):
        """Goes to a control with the Tab key."""
        visited = []
        while name != self.focused():
            visited.append(self.focused())
            self.assertLess(len(visited), 20, f"Expected {name} among {visited}")
            press("Tab")
            wait_for(lambda: self.focused() != visited[-1], "the focus to move")

    def test_selecting_by_keyboard_is_announced(self):
        announced = []
        listener = Atspi.EventListener.new(lambda event: announced.append(event.type))
        for event in ("object:state-changed:focused", "object:state-changed:selected"):
            listener.register(event)
            self.addCleanup(listener.deregister, event)

        def is_announced(event):
            GLib.MainContext.default().iteration(False)
            return event in announced

        self.go_to_adapters()
        self.tab_to("Available Adapters")
        announced.clear()
        press("Down")
        wait_for(lambda: is_announced("object:state-changed:focused"), "the row announced")
        press("space")
        wait_for(lambda: is_announced("object:state-changed:selected"), "the choice announced")

    def test_the_whole_job_is_done_with_the_keyboard_alone(self):
        self.go_to_adapters()
        count = len(self.program.rows("Available Adapters"))

        self.tab_to("Available Adapters")
        press("Home", "space")
        self.tab_to("Create Single Link Connection")
        press("space")
        wait_for(lambda: len(self.program.rows("Available Adapters")) == count - 1, "a Single Link")

        self.tab_to("Available Adapters")
        press("Home", "space", "Down", "space")
        self.tab_to("Create Dual Link Connection")
        press("space")
        wait_for(lambda: len(self.program.rows("Available Adapters")) == count - 3, "a Dual Link")

        press("alt+n")
        self.program.find("push button", "Finish")
        press("alt+f")
        self.assertEqual(self.program.wait_for_end(), 0)
        self.assertEqual(
            self.config.read_text(),
            "DEVICE-E\nDEVICE-A\nDEVICE-F;DEVICE-G\nDEVICE-H;DEVICE-I\nDEVICE-B;DEVICE-C\n\n",
        )


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
