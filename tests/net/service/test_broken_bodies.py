# SPDX-License-Identifier: MIT
"""10,000 broken requests: each is answered, by what it is worth or by a problem that says what is wrong; no worker ends."""
import collections
import queue
import threading

from broken_bodies import requests
from server import label

COUNT, SEED, CLIENTS = 10000, 20261122, 4
ALLOWED = {200, 400, 406, 413, 415, 422}


def check(family, answer):
    """None, or what is wrong with the answer."""
    if answer.status not in ALLOWED:
        return f"{answer.status}: {answer.body[:300]}"
    if answer.status == 200:
        return None if answer.body else "an empty answer"
    problem = answer.json
    if not answer.problem or not problem["type"].startswith("urn:tovkit:problem:") or not problem["title"]:
        return f"no problem details: {problem}"
    detail = problem.get("detail", "")
    if "\n" in detail or len(detail) > 2000 or any(ord(character) < 32 for character in detail):
        return f"more than a line: {detail[:300]!r}"
    if "/" in detail and any(folder in detail for folder in ("/tmp/", "/dev/shm", "/run/", ".tovkit-")):
        return f"names a file of the server: {detail}"
    return None


def test_each_broken_request_is_answered_and_none_ends_a_worker(start):
    server = start("-j", "2", "--cache", "0", "--max-pixels", "4000000", "--queue", "64")
    # The first answer means that the workers are there.
    assert server.post(*label("before")).status == 200
    waiting, wrong, statuses, lock = queue.Queue(100), [], collections.Counter(), threading.Lock()

    def run():
        client = server.client()
        while (entry := waiting.get()) is not None:
            family, path, kind, body = entry
            try:
                answer = server.post(path, body, kind, client)
                found, status = check(family, answer), answer.status
            except Exception as failure:  # of any kind: without a client, what is asked waits for ever
                client.close()
                client = server.client()
                found, status = repr(failure), "none"
            with lock:
                statuses[family, status] += 1
                if found:
                    wrong.append((family, path, kind, body[:200], len(body), found))
        client.close()

    threads = [threading.Thread(target=run) for _ in range(CLIENTS)]
    for thread in threads:
        thread.start()
    for entry in requests(COUNT, SEED):
        waiting.put(entry)
    for _ in threads:
        waiting.put(None)
    for thread in threads:
        thread.join()
    for key, number in sorted(statuses.items(), key=str):
        print(*key, number)
    assert wrong == [], f"{len(wrong)} answers; first: {wrong[:5]}"
    assert sum(statuses.values()) == COUNT
    assert sum(number for (_, status), number in statuses.items() if status != 200) > COUNT / 3, "too little of it was broken"
    assert server.metrics()["tovkit_worker_restarts_total"] == 0
    assert [server.post(*label(f"after {i}")).status for i in range(5)] == [200] * 5
    assert server.end() == 0
