"""The wizard on a display, used with a real mouse and keyboard.

An observer that Qt loads as a plugin tells what is on the screen; it takes no part in the use.
"""

import json
import os
import shutil
import subprocess

from waiting import PATIENCE_SECONDS, wait_for

WIZARD = "OrvantaConfigurator"
MESSAGE_BOX = "QMessageBox"
AVAILABLE = "availableAdaptersList"
SINGLE_LINKS = "singleLinkList"
DUAL_LINKS = "dualLinkList"
INTRODUCTION_PAGE, ADAPTER_PAGE, CONCLUSION_PAGE = range(3)

# ImageMagick takes a size of 0 as all there is.
WHOLE_SCREEN = 0, 0, 0, 0

MOST_TAB_STOPS = 50
WHEEL_UP = "4"
WHEEL_DOWN = "5"


def center(place):
    left, top, width, height = place
    return left + width // 2, top + height // 2


def around(places, margin=0):
    """Returns the smallest place that holds some with a margin."""
    left, top = (min(place[side] for place in places) - margin for side in (0, 1))
    right, bottom = (max(sum(place[side::2]) for place in places) + margin for side in (0, 1))
    return left, top, right - left, bottom - top


def observer_plugins(build_folder):
    return build_folder / "tests" / "end_to_end" / "plugins"


def add_observer(build_folder, program_folder):
    """Puts the observer among a Windows program's plugins."""
    shutil.copytree(observer_plugins(build_folder), program_folder, dirs_exist_ok=True)


def observer_variables(observed_file):
    """Returns the environment variables that start the observer; the file has the name by which the
    program finds it."""
    return {"ORVANTA_WINDOW_FILE": observed_file, "QT_QPA_GENERIC_PLUGINS": "WindowObserver"}


class Wizard:
    """A started program with the observer in it; it is ended with the `with` block."""

    def __init__(self, process, observed_file, display, picture_prefix):
        """The file names of the pictures begin with `picture_prefix`."""
        self.process = process
        self.observed_file = observed_file
        self.display = display
        self.picture_prefix = picture_prefix

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self._import(WHOLE_SCREEN, f"{self.picture_prefix}-not-ended.png")
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
        return self.observed("windows") or []

    def window(self, class_name):
        """Returns the visible window of a class, or None."""
        return next((each for each in self.windows() if each["class"] == class_name), None)

    def active_window(self):
        """Returns the class of the window that has the keyboard, or None."""
        return next((window["class"] for window in self.windows() if window["active"]), None)

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

    def widgets(self):
        """Returns the visible windows and the widgets in them."""
        return [widget for window in self.windows() for widget in (window, *window["widgets"])]

    def widget(self, name):
        """Returns the visible widget with an object name, or None."""
        return next((widget for widget in self.widgets() if widget["name"] == name), None)

    def button(self, text):
        """Returns the visible button with a text, in which shortcuts are not marked, or None."""
        buttons = [widget for widget in self.widgets() if widget["class"].endswith("Button")]
        return next((each for each in buttons if each["text"].replace("&", "") == text), None)

    def parts_off_screen(self, screen):
        """Returns what does not lie, or lies only in part, on a screen of a size as in "1280x720":
        the wizard with its frame, by its class, and visible buttons, by their texts."""
        whole = 0, 0, *map(int, screen.split("x"))
        wizard = self.window(WIZARD)
        buttons = [widget for widget in wizard["widgets"] if widget["class"].endswith("Button")]
        parts = [(WIZARD, wizard["frame"]), *((each["text"], each["place"]) for each in buttons)]
        return [text for text, place in parts if around([whole, place]) != whole]

    def focused(self):
        """Returns the object name of the widget that has the focus, or None."""
        return next((widget["name"] for widget in self.widgets() if widget["focus"]), None)

    def is_searching(self):
        return self.widget("loading_frame") is not None

    def rows(self, list_name):
        widget = self.widget(list_name)
        return widget["rows"] if widget else []

    def texts(self, list_name):
        return [row["text"] for row in self.rows(list_name)]

    def selected_texts(self, list_name):
        return [row["text"] for row in self.rows(list_name) if row["selected"]]

    def lamps(self, list_name):
        """Returns what the lamps of a list's rows say, in words: the last line of a row's description."""
        return [row["description"].splitlines()[-1] for row in self.rows(list_name)]

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
        x, y = map(str, center(place))
        # A row under the mouse would look chosen.
        self._xdotool("mousemove", x, y, "click", "1", "mousemove", "0", "0")

    def press_keys(self, *keys):
        """Presses keys by their X names, as in press_keys("alt+n", "space")."""
        wait_for(self.active_window, "an active window")
        self._xdotool("key", *keys)

    def move_focus_to(self, name):
        """Presses Tab until the widget with an object name has the focus."""
        for _ in range(MOST_TAB_STOPS):
            before = self.focused()
            if before == name:
                return
            self.press_keys("Tab")
            wait_for(lambda: self.focused() != before, "the focus to move")
        raise AssertionError(f"Expected Tab to reach {name}, found {self.focused()}.")

    def press_on(self, name, *keys):
        """Goes to a widget with the Tab key and presses keys there."""
        self.move_focus_to(name)
        self.press_keys(*keys)

    def click(self, name):
        """Clicks the enabled widget with an object name."""
        wait_for(lambda: (self.widget(name) or {}).get("enabled"), f"{name} to be enabled")
        self._click(self.widget(name)["place"])

    def click_button(self, text):
        self._click(wait_for(lambda: self.button(text), f"a button {text!r}")["place"])

    def click_row(self, list_name, text):
        """Clicks the row with a text and waits until its selection has changed."""
        before = self.selected_texts(list_name)
        self._click(self.scroll_to(list_name, text))
        wait_for(lambda: self.selected_texts(list_name) != before, f"the click to reach {text!r}")

    def rest_mouse_on(self, list_name, text):
        """Moves the mouse to the row with a text and waits for what the row says about itself."""
        x, y = map(str, center(self.scroll_to(list_name, text)))
        self._xdotool("mousemove", x, y, "mousemove_relative", "1", "0")
        wait_for(lambda: self.widget("qtooltip_label"), "the text of the row")

    def scroll_to(self, list_name, text):
        """Turns the mouse wheel until the row with a text is on the screen; returns its place."""
        wanted = self.texts(list_name).index(text)
        while True:
            rows = self.rows(list_name)
            if rows[wanted]["place"]:
                return rows[wanted]["place"]
            first = next(index for index, row in enumerate(rows) if row["place"])
            x, y = map(str, center(self.widget(list_name)["place"]))
            self._xdotool("mousemove", x, y, "click", WHEEL_UP if wanted < first else WHEEL_DOWN)
            wait_for(lambda: self.rows(list_name) != rows, f"{list_name} to scroll")

    # Steps

    def wait_for_page(self, number):
        wait_for(lambda: self.page() == number, f"page {number}")

    def wait_for_rows(self, list_name, texts):
        wait_for(lambda: self.texts(list_name) == texts, f"{texts} in {list_name}")

    def open_adapters(self):
        """Goes on to the adapter selection page and waits for the end of the search, which may be a
        message box."""
        self.wait_for_page(INTRODUCTION_PAGE)
        wait_for(self.active_window, "an active window")
        self.keep_picture("introduction")
        self.press_keys("Return")
        self.wait_for_page(ADAPTER_PAGE)
        wait_for(lambda: self.message_box() or not self.is_searching(), "the search to end")

    def answer_message_box(self):
        """Waits for a message box, confirms it and returns its title and text."""
        wait_for(lambda: self.active_window() == MESSAGE_BOX, "a message box")
        box = self.message_box()
        self.keep_picture("message")
        self.press_keys("Return")
        wait_for(lambda: self.message_box() is None, "the message box to close")
        return box

    def make_link(self, ports, button, links):
        """Makes a connection of available ports and waits until it is listed."""
        before = len(self.texts(links))
        for port in ports:
            self.click_row(AVAILABLE, port)
        self.click(button)
        wait_for(lambda: len(self.texts(links)) > before, "the connection to be listed")

    def make_single_link(self, port):
        self.make_link([port], "createSingleLink", SINGLE_LINKS)

    def make_dual_link(self, first, second):
        self.make_link([first, second], "createDualLink", DUAL_LINKS)

    def finish(self):
        """Goes from the adapter selection page to the end; returns the exit status."""
        self.keep_picture("connections")
        self.press_keys("alt+n")
        self.wait_for_page(CONCLUSION_PAGE)
        self.keep_picture("conclusion")
        self.click_button("Finish")
        return self.wait_for_end()

    def cancel(self):
        """Clicks Cancel; returns the exit status."""
        self.keep_picture("cancelled")
        self.click_button("Cancel")
        return self.wait_for_end()

    def wait_for_end(self):
        return self.process.wait(PATIENCE_SECONDS)

    def keep_picture(self, name, *widgets):
        """Saves a picture of widgets, which are given by their names, or of the window in front;
        returns its place."""
        front = wait_for(self.active_window, "an active window")

        def place():
            # The window may still be moved.
            places = [self.widget(widget)["place"] for widget in widgets]
            return around(places, margin=5) if widgets else self.window(front)["frame"]

        wait_for(lambda: self._is_drawn(place()), f"{name} on the screen")
        self._import(place(), f"{self.picture_prefix}-{name}.png")
        return place()

    def _is_drawn(self, place):
        """A window is drawn some time after it is shown."""
        pixels = self.pixels(place)
        return len(set(pixels)) > 1 and self.pixels(place) == pixels

    def pixels(self, place):
        """Returns the colours that the screen shows at a place, three bytes each."""
        return self._import(place, "-depth", "8", "rgb:-")

    def _import(self, place, *output):
        left, top, width, height = place
        part = ["-crop", f"{width}x{height}+{left}+{top}", "+repage"]
        command = ["import", "-display", self.display, "-window", "root", *part, *output]
        return subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout


def on_desktop(build_folder, pc_folder, folder, picture_prefix):
    """Starts the program of a build on this machine's display; `folder` is for what the observer
    writes."""
    observed_file = folder / "windows.json"
    variables = {
        **os.environ,
        "ORVANTA_SIMULATED_PC": pc_folder,
        "QT_PLUGIN_PATH": observer_plugins(build_folder),
        **observer_variables(observed_file),
    }
    process = subprocess.Popen([build_folder / "app" / "OrvantaConfigurator"], env=variables)
    return Wizard(process, observed_file, os.environ["DISPLAY"], picture_prefix)
