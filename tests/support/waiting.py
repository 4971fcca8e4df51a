"""Waiting for what a program does in its own time."""

import time

POLL_SECONDS = 0.02
# Long enough for a machine that is busy with other things.
PATIENCE_SECONDS = 180


def wait_for(condition, expectation):
    """Returns the first true result of `condition`; fails when none comes."""
    deadline = time.monotonic() + PATIENCE_SECONDS
    while time.monotonic() < deadline:
        result = condition()
        if result:
            return result
        time.sleep(POLL_SECONDS)
    raise AssertionError(f"Expected {expectation}, waited {PATIENCE_SECONDS} s in vain.")
