# SPDX-License-Identifier: MIT
"""Ports of loopback, for programs that have to be told one before they listen."""
import contextlib
import random
import socket

GIVEN = set()  # by this process


def free_port():
    """Below those that the system gives to clients, which would take it while nobody listens: one that tries to connect
    may even be given the very port, and is connected with itself then."""
    for port in random.sample(sorted(set(range(20000, 32000)) - GIVEN), 1000):
        with socket.socket() as taken, contextlib.suppress(OSError):
            taken.bind(("127.0.0.1", port))
            GIVEN.add(port)
            return port
    raise RuntimeError("no port is free")
