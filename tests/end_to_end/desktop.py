"""A program on a real desktop, seen through its accessibility tree and used with mouse and keys."""

import pathlib
import subprocess
import sys

import gi

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
from waiting import PATIENCE_SECONDS, wait_for  # noqa: E402

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402


def is_showing(node):
    return node.get_state_set().contains(Atspi.StateType.SHOWING)


def is_enabled(node):
    return node.get_state_set().contains(Atspi.StateType.ENABLED)


def descendants(node):
    """Yields the node's visible descendants, in order, and all rows of visible lists."""
    for index in range(node.get_child_count()):
        child = node.get_child_at_index(index)
        if child is not None and (is_showing(child) or node.get_role_name() == "list"):
            yield child
            yield from descendants(child)


def center(node):
    extents = node.get_extents(Atspi.CoordType.SCREEN)
    return extents.x + extents.width // 2, extents.y + extents.height // 2


def mouse_click(node):
    x, y = center(node)
    subprocess.run(["xdotool", "mousemove", str(x), str(y), "click", "1"], check=True)


def press(*keys):
    """Presses keys by their X names, as in press("alt+n", "space")."""
    subprocess.run(["xdotool", "key", *keys], check=True)


class Program:
    """A started program; it is ended with the `with` block."""

    def __init__(self, command):
        self.process = subprocess.Popen(command)
        self.name = command[0].rsplit("/", 1)[-1]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()

    def windows(self):
        """Returns the visible top-level windows, the newest last."""
        desktop = Atspi.get_desktop(0)
        windows = []
        for index in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(index)
            if application is None or application.get_process_id() != self.process.pid:
                continue
            for child in range(application.get_child_count()):
                window = application.get_child_at_index(child)
                if window is not None and is_showing(window):
                    windows.append(window)
        return windows

    def find_all(self, role, name=None):
        """Returns the visible elements of a role, as in find_all("push button", "Next >")."""
        found = []
        for window in self.windows():
            for node in descendants(window):
                if node.get_role_name() == role and name in (None, node.get_name()):
                    found.append(node)
        return found

    def find(self, role, name):
        """Waits for the one visible element and returns it."""
        return wait_for(lambda: self.find_all(role, name), f"a {role} named {name!r}")[0]

    def rows(self, box_title):
        """Returns the rows of the list in the titled box."""
        boxes = self.find_all("panel", box_title)
        return [
            node
            for box in boxes
            for node in descendants(box)
            if node.get_role_name() == "list item"
        ]

    def message_box(self):
        """Returns the message box that is open, or None."""
        boxes = [window for window in self.windows() if window.get_role_name() == "alert"]
        return boxes[-1] if boxes else None

    def wait_for_end(self):
        """Returns the exit status."""
        return self.process.wait(PATIENCE_SECONDS)


def active_window():
    """Returns the X identifier of the window that has the keyboard, or an empty text."""
    answer = subprocess.run(["xdotool", "getactivewindow"], capture_output=True, text=True)
    return answer.stdout.strip()


def screenshot(path):
    """Saves the window that is on top, with its frame, as a picture."""
    window = wait_for(active_window, "an active window")
    subprocess.run(["import", "-frame", "-window", window, str(path)], check=True)
