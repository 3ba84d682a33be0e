# SPDX-License-Identifier: MIT
"""What a service manager and the server say to each other: the socket comes from it, READY and STOPPING go to it."""
import http.client
import os
import socket
import subprocess

import pytest

from tovkit_server import PATIENCE, ask_on


@pytest.fixture
def listening():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        one.listen()
        yield one


@pytest.fixture
def messages(tmp_path):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as one:
        one.bind(str(tmp_path / "notify"))
        one.settimeout(PATIENCE)
        yield one


def spawn(build, listening, messages, *options, pid=None):
    """The server with the socket as its descriptor 3, as systemd starts it."""
    env = dict(os.environ, LISTEN_FDS="1", NOTIFY_SOCKET=messages.getsockname())
    number = listening.fileno()
    script = f'export LISTEN_PID={pid or "$$"}; exec 3<&{number} {number}<&-; exec "$@"'
    if number == 3:
        script = f'export LISTEN_PID={pid or "$$"}; exec "$@"'
    return subprocess.Popen(["bash", "-c", script, "serve", str(build / "cli/tovkit"), "serve", *options], env=env,
                            pass_fds=[number], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)


def test_the_socket_is_the_managers_and_the_manager_is_told(build, listening, messages):
    port = listening.getsockname()[1]
    process = spawn(build, listening, messages, "--listen", "127.0.0.1:1")
    try:
        assert process.stdout.readline().decode() == f"Listening on http://127.0.0.1:{port}/\n"
        assert "READY=1" in messages.recv(4096).decode().splitlines()
        client = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
        assert ask_on(client, "GET", "/healthz").status == 200
        client.close()
        process.terminate()
        assert "STOPPING=1" in messages.recv(4096).decode().splitlines()
        assert process.wait(PATIENCE) == 0
    finally:
        process.kill()
        process.wait()
        process.stdout.close()


def test_a_socket_meant_for_another_process_is_left_alone(build, listening, messages):
    port = listening.getsockname()[1]
    process = spawn(build, listening, messages, "--listen", "127.0.0.1:0", pid=1)
    try:
        said = process.stdout.readline().decode()
        assert said.startswith("Listening on http://127.0.0.1:") and f":{port}/" not in said
    finally:
        process.kill()
        process.wait()
        process.stdout.close()


def test_connections_that_came_before_the_server_are_served(build, listening, messages):
    client = http.client.HTTPConnection("127.0.0.1", listening.getsockname()[1], timeout=PATIENCE)
    client.request("GET", "/healthz")
    process = spawn(build, listening, messages)
    try:
        assert client.getresponse().read() == b"ok\n"
    finally:
        client.close()
        process.kill()
        process.wait()
        process.stdout.close()
