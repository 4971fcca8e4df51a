"""The shipped program under Wine, used with a real mouse and keyboard.

An observer that Qt loads as a plugin tells what is on the screen; it takes no part in the use.
"""

import json
import os
import pathlib
import subprocess
import sys

SOURCE = pathlib.Path(__file__).parents[2]
sys.path += [str(SOURCE / "simulator" / "wine"), str(SOURCE / "tests" / "support")]
from waiting import PATIENCE_SECONDS, wait_for  # noqa: E402
from wine_pc import windows_path  # noqa: E402

WIZARD = "OrvantaConfigurator"
MESSAGE_BOX = "QMessageBox"
AVAILABLE = "availableAdaptersList"
SINGLE_LINKS = "singleLinkList"
DUAL_LINKS = "dualLinkList"

WHEEL_UP = "4"
WHEEL_DOWN = "5"

# A lamp stands at the left of its row.
LAMP_WIDTH = 22
LAMPS = {(0, 255, 0): "green", (255, 0, 0): "red", (255, 255, 255): "white"}
DARK = 3 * 0x40


def center(place):
    left, top, width, height = place
    return left + width // 2, top + height // 2


def shown_text(text):
    """Returns a button's text without the mark of its shortcut."""
    return text.replace("&", "")


class Wizard:
    """The program on a simulated PC; it is ended with the `with` block."""

    def __init__(self, pc, command, build_folder, display, picture_prefix, **options):
        """Starts the program by a command. Its pictures have file names that begin with
        `picture_prefix`; the options are those of `WinePc.start`."""
        self.display = display
        self.picture_prefix = picture_prefix
        self.observed_file = pc.prefix / "windows.json"
        self.observed_file.unlink(missing_ok=True)
        variables = {
            **options.pop("variables", {}),
            "DISPLAY": display,
            "ORVANTA_WINDOW_FILE": windows_path(self.observed_file),
            "QT_PLUGIN_PATH": windows_path(build_folder / "tests" / "windows" / "plugins"),
            "QT_QPA_GENERIC_PLUGINS": "WindowObserver",
        }
        self.process = pc.start(command, variables=variables, **options)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.keep_picture("not-ended")
            self.process.kill()
        self.process.wait()

    # What is on the screen

    def observed(self, part):
        """Returns a part of what the observer wrote last, or None when there is nothing to see."""
        if self.process.poll() is not None:
            return None
        try:
            return json.loads(self.observed_file.read_text(encoding="utf-8"))[part]
        except FileNotFoundError:
            return None

    def windows(self):
        """Returns the visible windows."""
        return self.observed("windows") or []

    def resources(self):
        """Returns what the program held when its windows changed last: its memory in bytes, and how
        many handles, threads and GDI objects."""
        return self.observed("resources")

    def window(self, class_name):
        """Returns the visible window of a class, or None."""
        found = [window for window in self.windows() if window["class"] == class_name]
        return found[0] if found else None

    def page(self):
        """Returns the number of the wizard's page, or None when there is no wizard."""
        wizard = self.window(WIZARD)
        return wizard["page"] if wizard else None

    def message_box(self):
        """Returns the title and the text of the message box that is open, or None."""
        box = self.window(MESSAGE_BOX)
        if not box:
            return None
        labels = [widget["text"] for widget in box["widgets"] if widget["name"] == "qt_msgbox_label"]
        return box["title"], labels[0]

    def find(self, is_wanted):
        """Returns the visible widget that a condition picks, or None."""
        for window in self.windows():
            for widget in window["widgets"]:
                if is_wanted(widget):
                    return widget
        return None

    def widget(self, name):
        return self.find(lambda widget: widget["name"] == name)

    def button(self, text):
        return self.find(
            lambda widget: widget["class"].endswith("Button") and shown_text(widget["text"]) == text
        )

    def buttons_off_screen(self, screen):
        """Returns the texts of the visible buttons that do not lie on a screen of a size as in
        "1280x720", or in part only."""
        width, height = map(int, screen.split("x"))
        texts = []
        for widget in self.window(WIZARD)["widgets"]:
            left, top, widget_width, widget_height = widget["place"]
            right, bottom = left + widget_width, top + widget_height
            is_on_screen = 0 <= left and 0 <= top and right <= width and bottom <= height
            if widget["class"].endswith("Button") and not is_on_screen:
                texts.append(widget["text"])
        return texts

    def is_enabled(self, name):
        widget = self.widget(name)
        return bool(widget) and widget["enabled"]

    def focused(self):
        """Returns the object name of the widget that has the focus, or None."""
        widget = self.find(lambda widget: widget["focus"])
        return widget and widget["name"]

    def is_searching(self):
        return self.widget("loading_frame") is not None

    def rows(self, list_name):
        widget = self.widget(list_name)
        return widget["rows"] if widget else []

    def texts(self, list_name):
        return [row["text"] for row in self.rows(list_name)]

    def selected_texts(self, list_name):
        return [row["text"] for row in self.rows(list_name) if row["selected"]]

    def is_on_screen(self):
        """Returns whether the display shows the wizard, which the observer cannot tell once the
        wizard has closed."""
        search = self._xdotool("search", "--onlyvisible", "--name", WIZARD, check=False)
        return search.returncode == 0

    # Mouse and keyboard

    def _xdotool(self, *arguments, check=True):
        variables = {**os.environ, "DISPLAY": self.display}
        command = ["xdotool", *arguments]
        return subprocess.run(command, env=variables, capture_output=True, check=check)

    def _click(self, place):
        x, y = center(place)
        self._xdotool("mousemove", str(x), str(y), "click", "1")

    def press_keys(self, *keys):
        """Presses keys by their X names, as in press_keys("alt+n", "space")."""
        self.wait_for_active_window()
        self._xdotool("key", *keys)

    def move_focus_to(self, name):
        """Presses Tab until the widget with an object name has the focus."""
        focused = self.focused()
        while focused != name:
            before = focused
            self.press_keys("Tab")
            wait_for(lambda: self.focused() != before, "the focus to move")
            focused = self.focused()

    def click(self, name):
        """Clicks the enabled widget with an object name."""
        wait_for(lambda: self.is_enabled(name), f"{name} to be enabled")
        self._click(self.widget(name)["place"])

    def click_button(self, text):
        self._click(wait_for(lambda: self.button(text), f"a button {text!r}")["place"])

    def click_row(self, list_name, text):
        """Clicks the row with a text and waits until its selection has changed."""
        self.scroll_to(list_name, text)
        row = self.rows(list_name)[self.texts(list_name).index(text)]
        was_selected = row["selected"]
        self._click(row["place"])
        wait_for(
            lambda: (text in self.selected_texts(list_name)) != was_selected,
            f"the click to reach {text!r}",
        )

    def scroll_to(self, list_name, text):
        """Turns the mouse wheel over a list until the row with a text is on the screen."""
        rows = self.rows(list_name)
        wanted = self.texts(list_name).index(text)
        while not rows[wanted]["place"]:
            first = next(index for index, row in enumerate(rows) if row["place"])
            x, y = center(self.widget(list_name)["place"])
            wheel = WHEEL_UP if wanted < first else WHEEL_DOWN
            self._xdotool("mousemove", str(x), str(y), "click", wheel)
            before = rows
            wait_for(lambda: self.rows(list_name) != before, f"{list_name} to scroll")
            rows = self.rows(list_name)

    # Steps

    def wait_for_active_window(self):
        wait_for(lambda: any(window["active"] for window in self.windows()), "an active window")

    def wait_for_page(self, number):
        wait_for(lambda: self.page() == number, f"page {number}")

    def wait_for_rows(self, list_name, texts):
        try:
            wait_for(lambda: self.texts(list_name) == texts, "")
        except AssertionError:
            found = self.texts(list_name)
            raise AssertionError(f"Expected {texts} in {list_name}, found {found}.") from None

    def open_adapters(self):
        """Goes on to the adapter selection page and waits for the end of the search, which may be a
        message box."""
        self.wait_for_page(0)
        self.keep_picture("introduction")
        self.press_keys("Return")
        self.wait_for_page(1)
        wait_for(lambda: self.message_box() or not self.is_searching(), "the search to end")
        self.keep_picture("adapters")

    def answer_message_box(self):
        """Waits for a message box, confirms it and returns its title and text."""
        box = wait_for(self.message_box, "a message box")
        self.keep_picture("message")
        self.press_keys("Return")
        wait_for(lambda: self.message_box() is None, "the message box to close")
        return box

    def finish(self):
        """Goes from the adapter selection page to the end; returns the exit status."""
        self.keep_picture("connections")
        self.press_keys("alt+n")
        self.wait_for_page(2)
        self.keep_picture("conclusion")
        self.click_button("Finish")
        return self.wait_for_end()

    def cancel(self):
        """Clicks Cancel; returns the exit status."""
        self.keep_picture("cancelled")
        self.click_button("Cancel")
        return self.wait_for_end()

    def wait_for_end(self):
        """Returns the exit status."""
        return self.process.wait(PATIENCE_SECONDS)

    # Pictures

    def keep_picture(self, name):
        """Saves the screen as a picture and returns its path."""
        path = f"{self.picture_prefix}-{name}.png"
        subprocess.run(["import", "-display", self.display, "-window", "root", path], check=True)
        return path

    def lamps(self, list_name):
        """Returns the colours of a list's lamps as they are on the screen."""
        return [self._lamp(row["place"]) for row in self.rows(list_name)]

    def wait_for_lamps(self, list_name, lamps):
        wait_for(lambda: self.lamps(list_name) == lamps, f"lamps {lamps} in {list_name}")

    def _lamp(self, row):
        left, top, _, height = row
        colours = self._colours(f"{LAMP_WIDTH}x{height}+{left}+{top}")
        # The outline tells a white lamp from none.
        if min(map(sum, colours)) > DARK:
            return "none"
        return LAMPS.get(colours[len(colours) // 2 + LAMP_WIDTH // 2], "unknown")

    def _colours(self, area):
        """Returns the colours of an area of the screen, row by row."""
        picture = subprocess.run(
            ["import", "-display", self.display, "-window", "root", "-crop", area]
            + ["-depth", "8", "rgb:-"],
            check=True,
            capture_output=True,
        ).stdout
        return [tuple(picture[index : index + 3]) for index in range(0, len(picture), 3)]
