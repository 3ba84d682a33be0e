# SPDX-License-Identifier: MIT
"""Workers that are killed at random under load fail only the requests that they were at."""
import contextlib
import os
import random
import signal
import time

from server import Load, label
from tovkit_server import until


def test_only_the_requests_of_killed_workers_fail_and_the_next_succeed(start):
    server, chance, kills = start("-j", "2", "--cache", "0"), random.Random(1), 0
    with Load(server, clients=8) as load:
        until(lambda: load.count() > 50, "answers")
        end = time.monotonic() + 10
        while time.monotonic() < end:
            workers = server.workers()
            if workers:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(chance.choice(workers), signal.SIGKILL)
                    kills += 1
            load.ended.wait(chance.uniform(0.05, 0.3))
        before = load.count()
        until(lambda: load.count() > before + 50, "answers after the last kill")
    assert kills > 20
    assert load.failures == [], "connections that were lost"
    assert set(load.statuses()) <= {200, 500}
    failed = [answer for answer in load.problems if answer.status == 500]
    assert len(load.problems) <= kills, "a worker that ends fails one request at most"
    assert failed, "no worker was killed at work"
    log = server.log
    for answer in failed:
        assert answer.problem == "crash"
        assert answer.json["id"] == answer.headers["Request-Id"]
        assert answer.json["id"] in log
    assert [server.post(*label(f"after {i}")).status for i in range(20)] == [200] * 20
    assert server.metrics()["tovkit_worker_restarts_total"] >= len(failed)
    assert server.end() == 0
