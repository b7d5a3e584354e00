"""What the document-driven tests share: waiting for a condition, and ports on the loopback."""

import socket
import time


class Failure(Exception):
    """What a test found wrong; its text is the report."""


def wait_until(condition, timeout, period=0.05):
    """The condition's first true value, or its last value once the timeout has passed."""
    deadline = time.monotonic() + timeout
    while True:
        value = condition()
        if value or time.monotonic() >= deadline:
            return value
        time.sleep(period)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def accepts(port):
    """Whether something listens on the loopback port."""
    try:
        with socket.create_connection(("127.0.0.1", port), timeout=0.5):
            return True
    except OSError:
        return False
