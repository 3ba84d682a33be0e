# SPDX-License-Identifier: MIT
"""A `tovkit serve` of a test's own, on loopback, and ways to talk to it."""
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
import time

PATIENCE = 60  # seconds that anything may take; a test that passes does not wait for it


class Answer:
    def __init__(self, status, headers, body):
        self.status, self.headers, self.body = status, headers, body

    @property
    def json(self):
        return json.loads(self.body)

    @property
    def problem(self):
        """The name of the problem that it tells."""
        assert self.headers["Content-Type"] == "application/problem+json", (self.status, self.body[:200])
        told = json.loads(self.body)
        assert told["status"] == self.status, told
        return told["type"].removeprefix("urn:tovkit:problem:")


class Server:
    def __init__(self, command, *options, listen="127.0.0.1:0", env=None):
        self.folder = tempfile.TemporaryDirectory(prefix="tovkit-serve-")
        self.log_file = pathlib.Path(self.folder.name) / "log"
        with open(self.log_file, "wb") as log:
            self.process = subprocess.Popen([command, "serve", "--listen", listen, "-j", "1", *options], stderr=log,
                                            stdout=subprocess.PIPE, env=dict(os.environ, **(env or {})))
        line = self.process.stdout.readline().decode()
        found = re.fullmatch(r"Listening on (http://(.+):(\d+)/|unix:(.+))\n", line)
        if not found:
            self.process.kill()
            self.process.wait()
            self.process.stdout.close()
            raise AssertionError(f"no server: {line!r} {self.log}")
        self.url, self.host, port, self.path = found.group(1), found.group(2), found.group(3), found.group(4)
        self.port = int(port or 0)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        self.folder.cleanup()

    @property
    def log(self):
        return self.log_file.read_text(errors="replace")

    def connect(self):
        if self.path:
            client = socket.socket(socket.AF_UNIX)
            client.settimeout(PATIENCE)
            client.connect(self.path)
            return client
        return socket.create_connection((self.host.strip("[]"), self.port), PATIENCE)

    @contextlib.contextmanager
    def session(self):
        """An http.client connection."""
        connection = http.client.HTTPConnection("localhost", timeout=PATIENCE)
        connection.sock = self.connect()
        try:
            yield connection
        finally:
            connection.close()

    def ask(self, method, path, body=None, **headers):
        with self.session() as connection:
            return ask_on(connection, method, path, body, **headers)

    def post(self, path, body, type="application/json", **headers):
        if not isinstance(body, bytes):
            body = json.dumps(body).encode()
        return self.ask("POST", path, body, Content_Type=type, **headers)

    def raw(self, *pieces):
        """Sends the pieces as they are and returns what comes until the server closes."""
        with self.connect() as client:
            for piece in pieces:
                client.sendall(piece)
            return read_all(client)

    def metric(self, name):
        for line in self.ask("GET", "/metrics").body.decode().splitlines():
            if line.startswith(name + " "):
                return float(line.split()[-1])
        return 0.0

    def workers(self):
        children = pathlib.Path(f"/proc/{self.process.pid}/task")
        return [int(child) for task in children.iterdir() for child in (task / "children").read_text().split()]

    def end(self, sign=signal.SIGTERM):
        self.process.send_signal(sign)
        return self.process.wait(PATIENCE)


def ask_on(connection, method, path, body=None, **headers):
    connection.request(method, path, body, {name.replace("_", "-"): value for name, value in headers.items()})
    response = connection.getresponse()
    return Answer(response.status, response.headers, response.read())


def read_all(client):
    taken = b""
    with contextlib.suppress(ConnectionResetError):
        while piece := client.recv(65536):
            taken += piece
    return taken


def until(holds):
    """Waits until the function returns something true, and returns it."""
    end = time.monotonic() + PATIENCE
    while not (found := holds()):
        assert time.monotonic() < end, "it does not come true"
        time.sleep(0.01)
    return found
