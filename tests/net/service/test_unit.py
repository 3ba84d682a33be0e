# SPDX-License-Identifier: MIT
"""The units for systemd, which need not run here: their sandbox is scored, checked, and compared with what the server calls."""
import re
import shutil
import subprocess

import pytest

from server import TOP, Server, label

LIMIT = 20  # tenths, as systemd-analyze takes them

if not shutil.which("systemd-analyze"):
    pytest.skip("no systemd-analyze here", allow_module_level=True)


@pytest.fixture
def units(build, tmp_path):
    """The units as they are installed, with the command of the build."""
    installed = (build / "packaging/tovkit.service").read_text()
    text, count = re.subn(r"(?m)^ExecStart=\S+", f"ExecStart={build}/cli/tovkit", installed)
    assert count == 1
    (tmp_path / "tovkit.service").write_text(text.replace("Documentation=man:tovkit(1)\n", ""))
    socket = (TOP / "packaging/systemd/tovkit.socket").read_text()
    (tmp_path / "tovkit.socket").write_text(socket.replace("Documentation=man:tovkit(1)\n", ""))
    return tmp_path


def analyze(*arguments):
    return subprocess.run(["systemd-analyze", "--no-pager", *arguments], capture_output=True, text=True, check=False)


def test_the_sandbox_scores_below_2(units):
    result = analyze("security", "--offline=true", f"--threshold={LIMIT}", str(units / "tovkit.service"))
    exposure = re.search(r"Overall exposure level for tovkit.service: (\S+)", result.stdout)
    assert exposure, result.stdout + result.stderr
    assert result.returncode == 0 and float(exposure.group(1)) < 2.0, result.stdout


def test_systemd_understands_each_line(units):
    for name in ("tovkit.service", "tovkit.socket"):
        result = analyze("verify", str(units / name))
        assert (result.returncode, result.stderr) == (0, "")


def test_the_service_leaves_memory_to_others(units):
    found = re.findall(r"(?m)^MemoryMax=(\d+)%$", (units / "tovkit.service").read_text())
    assert len(found) == 1 and 50 <= int(found[0]) <= 90, found


def filter_of(text):
    """The system calls that the unit allows."""
    allowed = set()
    for value in re.findall(r"(?m)^SystemCallFilter=(.*)$", text):
        names = {name for word in value.removeprefix("~").split() for name in expand(word)}
        allowed = allowed - names if value.startswith("~") else allowed | names
    return allowed


def expand(word):
    if not word.startswith("@"):
        return {word}
    lines = analyze("syscall-filter", word).stdout.splitlines()[1:]
    return {name for line in lines if line.strip() and not line.strip().startswith("#") for name in expand(line.strip())}


def test_what_the_server_and_its_workers_call_is_allowed(build, units, tmp_path):
    if not shutil.which("strace") or subprocess.run(["strace", "-o", "/dev/null", "true"], check=False, capture_output=True).returncode:
        pytest.skip("no strace here")
    trace = tmp_path / "trace"
    with Server(build, "-j", "1", prefix=["strace", "-f", "-qq", "-o", str(trace), "-e", "signal=none"]) as server:
        assert server.post(*label("traced")).status == 200
        assert server.post("/v1/describe", b'[{"Content": "a"}]').status == 200
        assert server.post("/v1/hit", b'{"path": "M0 0 L1 1", "points": [[0, 0]]}').status == 200
        picture = server.post(*label("a picture")).body
        assert server.post("/v1/image?format=jpeg", picture, "image/png").status == 200
        assert server.get("/metrics").status == 200
    text = trace.read_text()
    called = set(re.findall(r"(?m)^\d+ +(?:<\.\.\. )?([a-z_0-9]+)(?: resumed>|\()", text))
    assert {"accept4", "execve", "sendto"} & called and len(called) > 20, called
    forbidden = called - filter_of((units / "tovkit.service").read_text())
    assert forbidden == set(), forbidden
    # Executable memory that can be written to, and sockets of other families, end in EPERM.
    assert not re.search(r"mmap\([^)]*PROT_WRITE[^)]*PROT_EXEC|mmap\([^)]*PROT_EXEC[^)]*PROT_WRITE", text)
