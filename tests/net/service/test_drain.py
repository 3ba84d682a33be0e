# SPDX-License-Identifier: MIT
"""SIGTERM under load: what has begun is answered whole, nothing new is taken, and the server ends with 0."""
import contextlib
import http.client
import signal
import threading

from server import label
from tovkit_server import until

LARGE = (3000, 3000)  # some tenths of a second


def ask(server, number, results):
    """The request is sent and seen by the server before the signal; its answer comes after."""
    client = server.client()
    with contextlib.closing(client):
        path, body = label(f"large {number}", LARGE)
        client.request("POST", path, body, {"Content-Type": "application/json"})
        response = client.getresponse()
        results[number] = (response.status, len(response.read()), int(response.headers["Content-Length"]))


def test_what_runs_and_what_waits_is_answered(start):
    server, count, results = start("-j", "2", "--cache", "0"), 8, {}
    threads = [threading.Thread(target=ask, args=(server, i, results)) for i in range(count)]
    for thread in threads:
        thread.start()
    until(lambda: (now := server.metrics())["tovkit_queue_jobs"] + now["tovkit_running_jobs"] >= count
               or len(results) > 0, "jobs that run or wait")
    begun = count - len(results)
    server.process.send_signal(signal.SIGTERM)
    assert server.process.wait(60) == 0, server.log
    for thread in threads:
        thread.join(60)
    assert begun > 1, "the signal came too late to show anything"
    assert sorted(results) == list(range(count)), "a request without an answer"
    assert [status for status, _, _ in results.values()] == [200] * count
    assert all(got == promised for _, got, promised in results.values())


def test_no_answer_breaks_off_when_the_signal_comes_in_a_crowd(start):
    """Clients that ask all the time. One may find its connection closed before the first byte of an answer, never after it."""
    server, broken, answered, lock = start("-j", "2"), [], [0], threading.Lock()

    def run(number):
        for turn in range(100000):
            client = server.client()
            try:
                path, body = label(f"crowd {number}/{turn}")
                client.request("POST", path, body, {"Content-Type": "application/json"})
                response = client.getresponse()
            except (ConnectionError, http.client.RemoteDisconnected, http.client.BadStatusLine):
                return  # Nothing of an answer had come.
            try:
                body = response.read()
                assert response.status in (200, 503), response.status
            except (OSError, http.client.HTTPException, AssertionError) as failure:
                with lock:
                    broken.append(repr(failure))
                return
            finally:
                client.close()
            with lock:
                answered[0] += 1

    threads = [threading.Thread(target=run, args=(i,)) for i in range(16)]
    for thread in threads:
        thread.start()
    until(lambda: answered[0] > 100, "answers")
    assert server.end() == 0
    for thread in threads:
        thread.join(60)
    assert broken == []
    drawn = sum(1 for line in server.log.splitlines() if "/v1/draw" in line and " 200 " in line)
    assert answered[0] >= drawn > 100, "answers that the server tells of and that nobody got"


def test_readiness_ends_before_the_work_does(start):
    server, results = start("-j", "1", "--cache", "0"), {}
    watcher = server.client()
    assert server.get("/readyz", watcher).status == 200
    thread = threading.Thread(target=ask, args=(server, 0, results))
    thread.start()
    until(lambda: server.metrics()["tovkit_running_jobs"] == 1 or results, "a job that runs")
    server.process.send_signal(signal.SIGTERM)
    until(lambda: refused(server), "no new connections, or 503")
    assert server.process.wait(60) == 0
    thread.join(60)
    assert results[0][0] == 200


def refused(server):
    try:
        return server.get("/readyz").status == 503
    except (ConnectionError, http.client.HTTPException):
        return True
