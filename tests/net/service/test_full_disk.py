# SPDX-License-Identifier: MIT
"""A server whose folders for what is temporary, and whose log, are on a disk without room."""
import os
import pathlib
import subprocess

import pytest

from server import Server, label

SCRIPT = """
mount -t tmpfs -o size=256k none "$DISK" && mount --bind "$DISK" /dev/shm || exit 9
cd /
exec "$@" 2>>"$DISK/log"
"""


@pytest.fixture
def server(build, tmp_path):
    if subprocess.run(["unshare", "-m", "true"], capture_output=True, check=False).returncode != 0:
        pytest.skip("no mounts here")
    disk = tmp_path / "disk"
    disk.mkdir()
    settings = {name: str(disk) for name in ("DISK", "TMPDIR", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME")}
    with Server(build, "-j", "1", "--cache", "0", env=settings, prefix=["unshare", "-m", "sh", "-c", SCRIPT, "serve"]) as running:
        running.disk = pathlib.Path(f"/proc/{running.process.pid}/root{disk}")
        yield running


def fill(file):
    with open(file, "wb", buffering=0) as out:
        try:
            while True:
                out.write(bytes(4096))
        except OSError as failure:
            return failure.errno


def test_requests_are_answered_with_a_disk_without_room_and_well_again_with_room(server):
    large = label("large", (2000, 2000))
    assert server.post(*large).status == 200
    fill(server.disk / "filler")
    assert fill(server.disk / "filler2") is not None
    os.unlink(server.disk / "filler2")
    for i in range(50):
        answer = server.post(*label(f"without room {i}", (1000, 1000)))
        if answer.status != 200:
            assert answer.status in (500, 507) and answer.json["id"] and "\n" not in answer.json["detail"]
    assert server.get("/healthz").status == 200
    os.unlink(server.disk / "filler")
    assert server.post(*large).status == 200
    assert server.end() == 0
