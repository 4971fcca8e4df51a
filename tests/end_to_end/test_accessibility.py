#!/usr/bin/python3
"""The wizard for people who use a screen reader, through the desktop's accessibility bus.

usage: test_accessibility.py BUILD_FOLDER SIMULATED_PC"""

import pathlib
import shutil
import sys
import tempfile
import unittest

import gi

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
from waiting import wait_for  # noqa: E402
from wizard import AVAILABLE, on_desktop  # noqa: E402

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

BUILD, SIMULATED_PC = map(pathlib.Path, sys.argv[1:3])


def visible_descendants(node):
    for index in range(node.get_child_count()):
        child = node.get_child_at_index(index)
        if child is not None and child.get_state_set().contains(Atspi.StateType.SHOWING):
            yield child
            yield from visible_descendants(child)


class AccessibilityTest(unittest.TestCase):
    def setUp(self):
        folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        shutil.copytree(SIMULATED_PC, folder / "pc")
        self.wizard = self.enterContext(on_desktop(BUILD, folder / "pc", folder, folder / "picture"))
        self.wizard.open_adapters()
        wait_for(lambda: self.controls("list item"), "rows on the accessibility bus")

    def controls(self, role):
        """Returns what a person can operate or read, of a role such as "push button"."""
        desktop = Atspi.get_desktop(0)
        applications = [
            desktop.get_child_at_index(index) for index in range(desktop.get_child_count())
        ]
        return [
            node
            for application in applications
            if application and application.get_process_id() == self.wizard.process.pid
            for node in visible_descendants(application)
            if node.get_role_name() == role
        ]

    def test_every_button_list_and_row_has_a_name_of_its_own(self):
        for role in ("push button", "list", "list item"):
            names = [node.get_name() for node in self.controls(role)]
            self.assertGreater(len(names), 0, role)
            self.assertNotIn("", names, role)
            self.assertEqual(len(names), len(set(names)), f"{role}: {names}")

    def test_a_row_says_its_port_and_its_lamp_in_words(self):
        rows = {row.get_name(): row.get_description() for row in self.controls("list item")}
        self.assertEqual(
            rows["Example 10G Adapter. PCI Slot: 0, Port: 0"],
            "Identifier: DEVICE-A\nDescription: Example 10G Dual-Port Ethernet\nLink up",
        )

    def test_selecting_by_keyboard_is_announced(self):
        announced = []
        listener = Atspi.EventListener.new(lambda event: announced.append(event.type))
        for event in ("object:state-changed:focused", "object:state-changed:selected"):
            listener.register(event)
            self.addCleanup(listener.deregister, event)

        def is_announced(event):
            GLib.MainContext.default().iteration(False)
            return event in announced

        self.wizard.move_focus_to(AVAILABLE)
        announced.clear()
        self.wizard.press_keys("Down")
        wait_for(lambda: is_announced("object:state-changed:focused"), "the row announced")
        self.wizard.press_keys("space")
        wait_for(lambda: is_announced("object:state-changed:selected"), "the choice announced")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
