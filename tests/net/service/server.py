# SPDX-License-Identifier: MIT
"""A `tovkit serve` of our own on loopback, and ways to talk to it: whole requests, raw bytes, a load of many clients."""
import contextlib
import http.client
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import tempfile
import threading
import time

TOP = pathlib.Path(__file__).resolve().parents[3]
SLOW_MACHINE = 30  # seconds that anything may take that is no measurement


def label(text, size=(400, 120)):
    """A request for a label: (path, body)."""
    lines = [{"Content": f"{text}, line {i}", "DeltaX": 16, "DeltaY": 10 + 36 * i,
              "Font": {"FontName": "DejaVu Sans", "FontSize": 16}} for i in range(3)]
    return f"/v1/draw?format=png&size={size[0]}x{size[1]}", json.dumps(lines).encode()


class Answer:
    def __init__(self, status, headers, body):
        self.status, self.headers, self.body = status, headers, body

    @property
    def problem(self):
        assert self.headers["Content-Type"] == "application/problem+json", (self.status, self.headers.items(), self.body[:200])
        return json.loads(self.body)


class Server:
    """Runs while the block of `with` does. What it writes to standard error is `log` afterwards and meanwhile."""

    def __init__(self, build, *options, env=None, preexec=None, listen="127.0.0.1:0", pass_fds=(), prefix=()):
        self.scratch = tempfile.TemporaryDirectory(prefix="tovkit-net-")
        self.log_file = pathlib.Path(self.scratch.name) / "log"
        self.command = [*prefix, str(pathlib.Path(build).resolve() / "cli/tovkit"), "serve", "--listen", listen, *options]
        self.settings = dict(env=dict(os.environ, **(env or {})), preexec_fn=preexec, pass_fds=pass_fds)

    def __enter__(self):
        with open(self.log_file, "wb") as log:
            self.process = subprocess.Popen(self.command, stdout=subprocess.PIPE, stderr=log, stdin=subprocess.DEVNULL,
                                            start_new_session=True, **self.settings)
        line = self.process.stdout.readline().decode()
        found = re.fullmatch(r"Listening on http://(.*):(\d+)/\n", line)
        if not found:
            self.process.kill()
            self.process.wait()
            raise AssertionError(f"no server: {line!r} {self.log}")
        self.port = int(found.group(2))
        return self

    def __exit__(self, *_):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()
        self.process.stdout.close()
        self.scratch.cleanup()

    @property
    def log(self):
        return self.log_file.read_text(errors="replace")

    @property
    def pid(self):
        return self.process.pid

    def stop(self):
        """SIGTERM, and the exit status that it brings."""
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(SLOW_MACHINE)

    def workers(self):
        return [int(pid) for pid in children(self.pid) if "tovkit-job" in command_of(pid)]

    def connect(self, receive_buffer=None):
        client = socket.socket()
        if receive_buffer:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        client.settimeout(SLOW_MACHINE)
        client.connect(("127.0.0.1", self.port))
        return client

    def client(self):
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=SLOW_MACHINE)

    def post(self, path, body, content_type="application/json", client=None, headers=None):
        return ask(client or self.client(), "POST", path, body, {"Content-Type": content_type, **(headers or {})})

    def get(self, path, client=None, headers=None):
        return ask(client or self.client(), "GET", path, None, headers or {})

    def metrics(self):
        """Name with labels to value."""
        lines = self.get("/metrics").body.decode().splitlines()
        return {name: float(value) for name, value in (line.rsplit(" ", 1) for line in lines if line and line[0] != "#")}

    def raw(self, data, seconds=SLOW_MACHINE):
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


def ask(client, method, path, body, headers):
    client.request(method, path, body, headers)
    response = client.getresponse()
    return Answer(response.status, response.headers, response.read())


def children(pid):
    found = []
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        with contextlib.suppress(OSError):
            found += (task / "children").read_text().split()
    return found


def command_of(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/cmdline").read_text().replace("\0", " ")
    except OSError:
        return ""


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


def wait_until(true, what, seconds=SLOW_MACHINE):
    end = time.monotonic() + seconds
    while not true():
        assert time.monotonic() < end, f"not within {seconds} s: {what}"
        time.sleep(0.01)


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
            thread.join(SLOW_MACHINE)

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
