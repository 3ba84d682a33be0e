# SPDX-License-Identifier: MIT
"""Two minutes (--long: fifteen, where CI is set 20 seconds) at 90 % of what the server can do: memory and descriptors do not grow."""
import json
import random
import shutil
import statistics
import subprocess
import time

import pytest

from server import descriptors_of, label, memory_of

CLIENTS = 8
MEBIBYTE = 2**20


def write_urls(folder, server, count):
    """A file for each client. Each request asks for another background: nothing is drawn for two of them, and the cache,
    which is small, is full soon and stays so."""
    path, chance = label("")[0], random.Random(2)
    for i in range(CLIENTS):
        colors = chance.sample(range(1 << 24), count)
        (folder / f"urls{i}").write_text("".join(f"http://127.0.0.1:{server.port}{path}&background=%23{color:06x}\n" for color in colors))


class Clients:
    """h2load for each, since the clients of one ask for the same one after the other."""

    def __init__(self, folder, seconds, rate=None):
        self.logs = [folder / f"log{i}" for i in range(CLIENTS)]
        for log in self.logs:
            log.unlink(missing_ok=True)
        pace = ["--rps", f"{max(1, rate / CLIENTS):.2f}"] if rate else []
        self.processes = [subprocess.Popen(
            ["h2load", "--h1", "--clients", "1", "--duration", str(seconds), "--input-file", str(folder / f"urls{i}"), "--data",
             str(folder / "body.json"), "--header", "content-type: application/json", "--log-file", str(log), *pace],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) for i, log in enumerate(self.logs)]

    def run(self):
        return any(process.poll() is None for process in self.processes)

    def statuses(self):
        """When all have ended: of each request."""
        for process in self.processes:
            assert process.wait() == 0
        return [int(line.split("\t")[1]) for log in self.logs for line in log.read_text().splitlines()]


def test_memory_and_descriptors_are_flat_at_90_percent(start, tmp_path, load_seconds):
    if not shutil.which("h2load"):
        pytest.skip("no h2load here")
    server = start("-j", "2", "--cache", "4M", "--recycle", "3000")
    (tmp_path / "body.json").write_bytes(label("the same text")[1])
    write_urls(tmp_path, server, 50000)
    most = len(Clients(tmp_path, 6).statuses()) / 6
    assert most > 1
    clients, samples = Clients(tmp_path, load_seconds, 0.9 * most), []
    while clients.run():
        workers = server.workers()
        samples.append((memory_of(server.process.pid), descriptors_of(server.process.pid), len(workers), sum(map(memory_of, workers)),
                        sum(map(descriptors_of, workers))))
        time.sleep(1)
    statuses = clients.statuses()
    assert set(statuses) == {200}
    metrics = server.metrics()
    assert metrics["tovkit_cache_misses_total"] > 0.9 * len(statuses), "too much came from the cache"
    assert len(samples) > load_seconds / 2
    # The first quarter fills caches and pools; what grows with the requests grows from the second to the last.
    quarter = len(samples) // 4
    early, late = samples[quarter:2 * quarter], samples[-quarter:]
    names = ("memory of the server", "its descriptors", "workers", "memory of the workers", "their descriptors")
    found = {name: (statistics.median(one[i] for one in early), statistics.median(one[i] for one in late)) for i, name in enumerate(names)}
    print(f"{most:.0f} requests a second at most, {len(statuses) / load_seconds:.0f} for {load_seconds} s", json.dumps(found))
    assert found["memory of the server"][1] <= found["memory of the server"][0] * 1.05 + 2 * MEBIBYTE, samples
    assert found["memory of the workers"][1] <= found["memory of the workers"][0] * 1.1 + 8 * MEBIBYTE, samples
    assert found["its descriptors"][1] <= found["its descriptors"][0] + 2 and found["workers"] == (2, 2), samples
    assert found["their descriptors"][1] <= found["their descriptors"][0] + 2, samples
    assert server.end() == 0
