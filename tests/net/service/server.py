# SPDX-License-Identifier: MIT
"""The server of a build, pictures to ask it for, and a load of many clients."""
import contextlib
import http.client
import json
import os
import pathlib
import re
import socket
import threading
import time

import tovkit_server
from tovkit_server import PATIENCE, ask_on

TOP = pathlib.Path(__file__).resolve().parents[3]


def label(text, size=(400, 120)):
    """A request for a label: (path, body)."""
    lines = [{"Content": f"{text}, line {i}", "DeltaX": 16, "DeltaY": 10 + 36 * i,
              "Font": {"FontName": "DejaVu Sans", "FontSize": 16}} for i in range(3)]
    return f"/v1/draw?format=png&size={size[0]}x{size[1]}", json.dumps(lines).encode()


class Server(tovkit_server.Server):
    def __init__(self, build, *options, **settings):
        super().__init__(str(pathlib.Path(build).resolve() / "cli/tovkit"), *options, **settings)

    def client(self):
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)

    def post(self, path, body, content_type="application/json", client=None):
        return ask_on(client or self.client(), "POST", path, body, Content_Type=content_type)

    def get(self, path, client=None):
        return ask_on(client or self.client(), "GET", path)

    def metrics(self):
        """Name with labels to value."""
        lines = self.get("/metrics").body.decode().splitlines()
        return {name: float(value) for name, value in (line.rsplit(" ", 1) for line in lines if line and line[0] != "#")}

    def raw(self, data, seconds=20):  # less than the silence behind which the server closes every connection
        """What comes back for these bytes until the server closes: (list of statuses, all bytes, whether it closed)."""
        with contextlib.closing(self.connect()) as client:
            client.settimeout(seconds)
            got, closed = b"", True
            with contextlib.suppress(BrokenPipeError, ConnectionResetError):
                client.sendall(data)
            try:
                while chunk := client.recv(65536):
                    got += chunk
            except socket.timeout:
                closed = False
            except ConnectionResetError:
                pass
        return [int(code) for code in re.findall(rb"^HTTP/1\.1 (\d{3}) ", got, re.MULTILINE)], got, closed


def memory_of(pid):
    """Bytes that a process has in memory that is its own."""
    with contextlib.suppress(OSError):
        for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines():
            if line.startswith("Pss_Anon:"):
                return int(line.split()[1]) * 1024
    return 0


def descriptors_of(pid):
    try:
        return len(os.listdir(f"/proc/{pid}/fd"))
    except OSError:
        return 0


class Load:
    """Clients that ask for labels, each with a text of its own, one after the other on connections that are kept.

    `rate` is of all clients together, in requests a second; None asks as fast as answers come. `answers` has
    (seconds, status, time when it came) of each.
    """

    def __init__(self, server, clients, rate=None, name="load"):
        self.server, self.clients, self.rate, self.name = server, clients, rate, name
        self.answers, self.failures, self.problems, self.lock, self.ended = [], [], [], threading.Lock(), threading.Event()

    def __enter__(self):
        self.threads = [threading.Thread(target=self.run, args=(i,), daemon=True) for i in range(self.clients)]
        for thread in self.threads:
            thread.start()
        return self

    def __exit__(self, *_):
        self.ended.set()
        for thread in self.threads:
            thread.join(PATIENCE)

    def run(self, number):
        client = self.server.client()
        start, turn = time.monotonic() + (number / self.rate if self.rate else 0), 0
        while True:
            if self.rate:
                due = start + turn * self.clients / self.rate
                if self.ended.wait(max(0, due - time.monotonic())):
                    break
            elif self.ended.is_set():
                break
            begun = time.monotonic()
            try:
                answer = self.server.post(*label(f"{self.name} {number}/{turn}"), client=client)
                # The time counts from when the request was due, so that a server that stalls is seen to do so.
                came = time.monotonic()
                with self.lock:
                    self.answers.append((came - (due if self.rate else begun), answer.status, came))
                    if answer.status != 200:
                        self.problems.append(answer)
            except (OSError, http.client.HTTPException) as failure:
                client.close()
                with self.lock:
                    self.failures.append((time.monotonic(), repr(failure)))
                if isinstance(failure, ConnectionRefusedError):
                    break
            turn += 1
        client.close()

    def statuses(self):
        with self.lock:
            return sorted({status for _, status, _ in self.answers})

    def count(self, status=200):
        with self.lock:
            return sum(1 for _, got, _ in self.answers if got == status)

    def percentile(self, percent):
        with self.lock:
            times = sorted(seconds for seconds, status, _ in self.answers if status == 200)
        return times[min(len(times) - 1, int(len(times) * percent / 100))]
