# SPDX-License-Identifier: MIT
"""Two minutes (--long: fifteen) at 90 % of what the server can do: memory and descriptors do not grow."""
import json
import random
import re
import shutil
import statistics
import subprocess
import time

import pytest

from server import descriptors_of, label, memory_of

CLIENTS = 16
MEBIBYTE = 2**20


def write_urls(folder, server, count):
    """Each asks for another background, so that the cache, which is small, is full soon and stays so."""
    file = folder / "urls"
    colors = random.Random(2).sample(range(1 << 24), count)
    path = label("")[0]
    file.write_text("".join(f"http://127.0.0.1:{server.port}{path}&background=%23{color:06x}\n" for color in colors))
    return file


def load(urls, body, seconds, rate=None, log=None):
    arguments = ["h2load", "--h1", "--clients", str(CLIENTS), "--duration", str(seconds), "--input-file", str(urls), "--data", str(body),
                 "--header", "content-type: application/json"]
    if rate:
        arguments += ["--rps", f"{max(1, rate / CLIENTS):.2f}", "--log-file", str(log)]
    return subprocess.Popen(arguments, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


def rate_of(process):
    out = process.communicate()[0]
    return float(re.search(r"finished in [^,]+, ([0-9.]+) req/s", out).group(1)), out


def test_memory_and_descriptors_are_flat_at_90_percent(start, tmp_path, load_seconds):
    if not shutil.which("h2load"):
        pytest.skip("no h2load here")
    server = start("-j", "2", "--cache", "4M", "--recycle", "3000")
    body = tmp_path / "body.json"
    body.write_bytes(label("the same text")[1])
    urls = write_urls(tmp_path, server, 100000)
    most, out = rate_of(load(urls, body, 6))
    assert most > 1, out
    running, samples = load(urls, body, load_seconds, 0.9 * most, tmp_path / "log"), []
    end = time.monotonic() + load_seconds
    while time.monotonic() < end and running.poll() is None:
        workers = server.workers()
        samples.append((memory_of(server.pid), descriptors_of(server.pid), len(workers), sum(map(memory_of, workers)),
                        sum(map(descriptors_of, workers))))
        time.sleep(1)
    reached, out = rate_of(running)
    statuses = [int(line.split("\t")[1]) for line in (tmp_path / "log").read_text().splitlines()]
    assert statuses and set(statuses) == {200}, out
    assert len(samples) > load_seconds / 2
    # The first quarter fills caches and pools; what grows with the requests grows from the second to the last.
    quarter = len(samples) // 4
    early, late = samples[quarter:2 * quarter], samples[-quarter:]
    names = ("memory of the server", "its descriptors", "workers", "memory of the workers", "their descriptors")
    found = {name: (statistics.median(one[i] for one in early), statistics.median(one[i] for one in late)) for i, name in enumerate(names)}
    print(f"{most:.0f} requests a second at most, {reached:.0f} in {load_seconds} s, {len(statuses)} answers", json.dumps(found))
    assert found["memory of the server"][1] <= found["memory of the server"][0] * 1.05 + 2 * MEBIBYTE, samples
    assert found["memory of the workers"][1] <= found["memory of the workers"][0] * 1.1 + 8 * MEBIBYTE, samples
    assert found["its descriptors"][1] <= found["its descriptors"][0] + 2 and found["workers"] == (2, 2), samples
    assert found["their descriptors"][1] <= found["their descriptors"][0] + 2, samples
    assert server.stop() == 0
