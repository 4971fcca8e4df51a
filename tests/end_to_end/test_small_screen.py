#!/usr/bin/python3
"""The window on a small screen, beside a window manager and a busy program.

usage: test_small_screen.py BUILD_FOLDER SIMULATED_PC"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
from waiting import wait_for  # noqa: E402
from wizard import on_desktop  # noqa: E402

BUILD, SIMULATED_PC = map(pathlib.Path, sys.argv[1:3])
WIDTH, HEIGHT = map(int, os.environ["SCREEN"].split("x"))
ROUNDS = max(1, int(os.environ.get("ORVANTA_LONG_TESTS", "10")) // 10)


def x11(*command):
    return subprocess.run(command, capture_output=True, text=True).stdout


def is_on_screen(window):
    """Returns whether the display shows a window with its whole frame."""
    place = x11("xwininfo", "-id", window)
    x, y, width, height = map(int, re.findall(r"(?:Absolute.*|Width|Height): +(-?\d+)", place))
    extents = x11("xprop", "-id", window, "_NET_FRAME_EXTENTS")
    left, right, top, bottom = map(int, re.findall(r"\d+", extents))
    return left <= x <= WIDTH - width - right and top <= y <= HEIGHT - height - bottom


class SmallScreenTest(unittest.TestCase):
    def test_every_visit_ends_on_the_screen(self):
        busy = self.enterContext(subprocess.Popen([sys.executable, "-c", "while True: pass"]))
        self.addCleanup(busy.kill)
        for _ in range(ROUNDS):
            self.visit_twice(pathlib.Path(self.enterContext(tempfile.TemporaryDirectory())))

    def visit_twice(self, folder):
        wizard = self.enterContext(on_desktop(BUILD, SIMULATED_PC, folder, folder / "picture"))
        wait_for(wizard.active_window, "an active window")
        window = wait_for(lambda: x11("xdotool", "getactivewindow").strip(), "its number")
        watch = "xev", "-id", window, "-event", "structure"
        events = subprocess.Popen(watch, stdout=subprocess.PIPE, text=True)
        for visit in "first", "second":
            wizard.open_adapters()
            wait_for(lambda: is_on_screen(window), f"the {visit} visit on the screen")
            wizard.press_keys("alt+b")
            wizard.wait_for_page(0)
        self.assertEqual(wizard.cancel(), 0)
        events.terminate()
        heights = map(int, re.findall(r", height (\d+)", events.communicate()[0]))
        self.assertLess(max(heights), HEIGHT)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
