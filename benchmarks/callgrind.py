"""Runs a program under callgrind and reads the profiles that it writes."""

import pathlib
import re
import subprocess
import tempfile
from collections import defaultdict


class Profile:
    """What one phase of a benchmark has cost, in instructions."""

    def __init__(self, path):
        self.phase = None
        self.total = 0
        self._names = {}
        self._inclusive = defaultdict(int)
        self._read(path)

    def inclusive(self, function):
        """Returns the cost of a function that does not call itself, with all that it calls."""
        if function not in self._inclusive:
            raise LookupError(f"Expected {function} in the phase {self.phase}, found no such "
                              "function: it may have been inlined.")
        return self._inclusive[function]

    def _name(self, text):
        number, name = re.fullmatch(r"\((\d+)\)(?: (.*))?", text).groups()
        if name is not None:
            self._names[number] = name
        return self._names[number]

    def _read(self, path):
        function = None
        for line in path.read_text(errors="replace").splitlines():
            if line.startswith("desc: Trigger: Client Request: "):
                self.phase = line.rpartition(": ")[2]
            elif line.startswith("totals: "):
                self.total = int(line.split()[1])
            elif line.startswith("fn="):
                function = self._name(line[3:])
            elif line.startswith("cfn="):
                self._name(line[4:])
            elif re.match(r"[0-9+*-]", line):
                # Either the function's own cost or, after "calls=", that of what it called.
                self._inclusive[function] += int(line.split()[1])


def count(command, environment, from_start=True):
    """Runs the command and returns its profiles by phase."""
    with tempfile.TemporaryDirectory() as folder:
        result = pathlib.Path(folder, "profile")
        subprocess.run(
            ["valgrind", "--tool=callgrind", f"--callgrind-out-file={result}",
             f"--instr-atstart={'yes' if from_start else 'no'}", *map(str, command)],
            env=environment, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        profiles = [Profile(path) for path in pathlib.Path(folder).iterdir()]
    return {profile.phase: profile for profile in profiles}
