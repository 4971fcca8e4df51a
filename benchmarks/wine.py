"""Runs the Windows benchmarks under Wine and reads how long their phases took."""

import contextlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parent.parent
sys.path.append(str(SOURCE / "simulator/wine"))
from virtual_display import virtual_display  # noqa: E402
from wine_pc import WinePc, windows_path  # noqa: E402

LARGEST_PC = "sixty-four-ports"


def qt_folder(build):
    return re.search(r"^ORVANTA_QT_WINDOWS:\w+=(.*)$", (build / "CMakeCache.txt").read_text(),
                     re.MULTILINE)[1]


def make_pc(folder, ports):
    """Makes a simulated PC with some of the largest one's ports, and with all else that it has."""
    shutil.copytree(SOURCE / "pcs" / LARGEST_PC, folder)
    settings = json.loads((folder / "pc.json").read_text())
    devices = settings["kernel"]["devices"]
    removed = {device["friendlyName"] for device in devices[ports:]}
    settings["kernel"]["devices"] = devices[:ports]
    settings["deviceNodes"] = [node for node in settings["deviceNodes"]
                               if node["friendlyName"] not in removed]
    (folder / "pc.json").write_text(json.dumps(settings))


class WineBench:
    """A simulated PC under Wine with the benchmarks of a build; it is ended with the `with` block."""

    def __init__(self, build, ports):
        self.build = build
        self.qt = qt_folder(build)
        self.stack = contextlib.ExitStack()
        self._use_one_processor()
        prefixes = build / "wine"
        prefixes.mkdir(exist_ok=True)
        folder = pathlib.Path(self.stack.enter_context(tempfile.TemporaryDirectory(dir=prefixes)))
        make_pc(folder / "pc", ports)
        self.rows = windows_path(folder / "rows.json")
        self.pc = WinePc(folder / "prefix", folder / "pc", prefixes)
        self.stack.callback(self.pc.end)
        self.pc.manage_windows()
        os.link(build / "simulator/Brelvix.dll",
                self.pc.prefix / "drive_c/windows/system32/Brelvix.dll")
        self.display = self.stack.enter_context(virtual_display())
        # As long as one program runs, Wine's services do: otherwise they would start again with
        # each of the others, beside what is measured.
        self.waiting_program = self.pc.start(
            ["cmd"], variables={"DISPLAY": self.display}, stdin=subprocess.PIPE,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stack.close()

    def _use_one_processor(self):
        """On more than one the program searches while it paints and would cost less than its parts,
        and a call waits for the processor of Wine's server to wake."""
        processors = os.sched_getaffinity(0)
        self.stack.callback(os.sched_setaffinity, 0, processors)
        os.sched_setaffinity(0, {min(processors)})

    def times(self, program, *arguments):
        """Runs a program and returns the milliseconds of each of its phases."""
        process = self.pc.start(
            [self.build / "benchmarks" / f"{program}.exe", *arguments],
            variables={"DISPLAY": self.display, "WINEPATH": windows_path(f"{self.qt}/bin")},
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        output = process.communicate()[0].decode()
        if process.returncode != 0:
            raise RuntimeError(f"{program} ended with status {process.returncode}")
        return {phase: int(time) / 1e6 for phase, time in re.findall(r"(.*): (\d+) ns", output)}

    def search(self):
        """Returns the milliseconds from showing the page to the painted lists. The programs take
        turns, so that a busy machine slows them equally."""
        program = self.times("whole_program", "0", self.rows)
        bare = self.times("bare_wizard", "0", "still", self.rows)
        loading = self.times("bare_wizard", "0", "loading", self.rows)
        raw = self.times("raw_calls")
        return {"program": program["adapter page"], "bare wizard": bare["adapter page"],
                "raw calls": raw["raw calls"], "no answer": program["window does not answer"],
                "own share": program["adapter page"] - bare["adapter page"] - raw["raw calls"],
                "loading frame": loading["adapter page"] - bare["adapter page"]}
