"""Runs the Windows benchmarks under Wine and reads how long their phases took."""

import contextlib
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parent.parent
sys.path.append(str(SOURCE / "simulator/wine"))
from virtual_display import virtual_display  # noqa: E402
from wine_pc import WinePc, windows_path  # noqa: E402

RUNS = 21


def qt_folder(build):
    return re.search(r"^ORVANTA_QT_WINDOWS:\w+=(.*)$", (build / "CMakeCache.txt").read_text(),
                     re.MULTILINE)[1]


class WineBench:
    """A simulated PC under Wine with the benchmarks of a build; it is ended with the `with` block."""

    def __init__(self, build, pc):
        self.build = build
        self.qt = qt_folder(build)
        self.stack = contextlib.ExitStack()
        self._use_one_processor()
        prefixes = build / "wine"
        prefixes.mkdir(exist_ok=True)
        folder = pathlib.Path(self.stack.enter_context(tempfile.TemporaryDirectory(dir=prefixes)))
        shutil.copytree(SOURCE / "pcs" / pc, folder / "pc")
        self.pc = self.stack.enter_context(WinePc(folder / "prefix", folder / "pc", prefixes))
        self.pc.manage_windows()
        os.link(build / "simulator/Brelvix.dll",
                self.pc.prefix / "drive_c/windows/system32/Brelvix.dll")
        self.display = self.stack.enter_context(virtual_display())

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

    def _run(self, program, *arguments):
        process = self.pc.start(
            [self.build / "benchmarks" / f"{program}.exe", *arguments],
            variables={"DISPLAY": self.display, "WINEPATH": windows_path(f"{self.qt}/bin")},
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        output = process.communicate()[0].decode()
        if process.returncode != 0:
            raise RuntimeError(f"{program} ended with status {process.returncode}")
        return {phase: int(time) / 1e6 for phase, time in re.findall(r"(.*): (\d+) ns", output)}

    def times(self, commands):
        """Returns for each (program, argument...) the median time of each phase in milliseconds.
        The programs take turns, so that the machine's moods hit them alike."""
        runs = [[self._run(*command) for command in commands] for _ in range(RUNS + 1)]
        # The first round warms up.
        return [{phase: statistics.median(run[place][phase] for run in runs[1:])
                 for phase in runs[0][place]} for place in range(len(commands))]
