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
    """With one worker, unless the options say more. Ends, with all that it has started, behind the block of `with`."""

    def __init__(self, command, *options, listen="127.0.0.1:0", env=None, prefix=(), pass_fds=()):
        self.folder = tempfile.TemporaryDirectory(prefix="tovkit-serve-")
        self.log_file = pathlib.Path(self.folder.name) / "log"
        workers = () if "-j" in options else ("-j", "1")
        with open(self.log_file, "wb") as log:
            self.process = subprocess.Popen([*prefix, command, "serve", "--listen", listen, *workers, *options],
                                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=log,
                                            env=dict(os.environ, **(env or {})), pass_fds=pass_fds, start_new_session=True)
        line = self.process.stdout.readline().decode()
        found = re.fullmatch(r"Listening on (http://(.+):(\d+)/|unix:(.+))\n", line)
        if not found:
            told = self.log
            self.__exit__()
            raise AssertionError(f"no server: {line!r} {told}")
        self.url, self.host, port, self.path = found.group(1), found.group(2), found.group(3), found.group(4)
        self.port = int(port or 0)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
        self.process.wait()
        self.process.stdout.close()
        self.folder.cleanup()

    @property
    def log(self):
        return self.log_file.read_text(errors="replace")

    def connect(self, receive_buffer=None):
        client = socket.socket(socket.AF_UNIX if self.path else socket.AF_INET6 if ":" in self.host else socket.AF_INET)
        if receive_buffer:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        client.settimeout(PATIENCE)
        client.connect(self.path or (self.host.strip("[]"), self.port))
        return client

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
        return [int(child) for child in children_of(self.process.pid) if "tovkit-job" in command_of(child)]

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


def children_of(process):
    found = []
    for task in pathlib.Path(f"/proc/{process}/task").iterdir():
        with contextlib.suppress(OSError):
            found += (task / "children").read_text().split()
    return found


def command_of(process):
    try:
        return pathlib.Path(f"/proc/{process}/cmdline").read_text().replace("\0", " ")
    except OSError:
        return ""


def until(holds, what="it comes true", seconds=PATIENCE):
    """Waits until the function returns something true, and returns it."""
    end = time.monotonic() + seconds
    while not (found := holds()):
        assert time.monotonic() < end, f"not within {seconds} s: {what}"
        time.sleep(0.01)
    return found
