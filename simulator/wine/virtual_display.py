"""A virtual display of its own."""

import contextlib
import os
import subprocess
import tempfile

SCREEN = "1280x1024"


@contextlib.contextmanager
def virtual_display(screen=SCREEN):
    """Starts a virtual display for the `with` block and yields its name, as in ":99"."""
    reader, writer = os.pipe()
    messages = tempfile.TemporaryFile()
    # It ends with this process, too, when that is killed.
    server = subprocess.Popen(
        ["setpriv", "--pdeathsig", "TERM"]
        + ["Xvfb", "-displayfd", str(writer), "-screen", "0", f"{screen}x24", "-nolisten", "tcp"],
        pass_fds=[writer],
        stderr=messages,
    )
    os.close(writer)
    try:
        with os.fdopen(reader) as numbers:
            number = numbers.readline().strip()
        if not number:
            status = server.wait()
            messages.seek(0)
            raise RuntimeError(f"Xvfb ended with status {status}: {messages.read().decode()}")
        yield ":" + number
    finally:
        server.terminate()
        server.wait()
        messages.close()
