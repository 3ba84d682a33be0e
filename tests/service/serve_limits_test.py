#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Too much, too slow, too many and too clever: what tovkit serve does not take, and that others do not notice.

    serve_limits_test.py COMMAND SOURCE_FOLDER
"""
import contextlib
import json
import pathlib
import re
import resource
import sys
import threading
import time
import unittest

COMMAND, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
sys.path.append(str(SOURCE / "tests/support"))
from tovkit_server import PATIENCE, Server, read_all, until  # noqa: E402

LINE = {"Content": "Hello"}
HOST = b"Host: localhost\r\n"
JSON = b"Content-Type: application/json\r\n"
GET = b"GET /healthz HTTP/1.1\r\n" + HOST + b"\r\n"
# Takes a worker minutes: every one of four million pixels asks every curve.
SLOW = json.dumps({"path": "M0 0" + "C1 2 3 4 5 6" * 20000}).encode()


def post(body, fields=b"", path=b"/v1/draw"):
    length = b"Content-Length: %d\r\n" % len(body)
    return b"POST " + path + b" HTTP/1.1\r\n" + HOST + JSON + length + fields + b"\r\n" + body


def statuses(taken):
    """Of the responses that stand one behind the other."""
    found = []
    while taken:
        head, _, rest = taken.partition(b"\r\n\r\n")
        found.append(int(head.split()[1]))
        lengths = [int(line.split(b":")[1]) for line in head.split(b"\r\n") if line.lower().startswith(b"content-length:")]
        taken = rest[lengths[0] if lengths else 0:]
    return found


class LimitsTest(unittest.TestCase):
    def start(self, *options):
        server = Server(COMMAND, *options)
        self.addCleanup(server.__exit__)
        return server

    def begin_slow(self, server, extra=b""):
        client = server.connect()
        self.addCleanup(client.close)
        client.sendall(post(SLOW + extra, path=b"/v1/hit?format=png&size=2048"))
        return client

    def test_a_late_job(self):
        server = self.start("--timeout", "1s")
        client = self.begin_slow(server)
        taken = client.recv(65536)
        self.assertIn(b"HTTP/1.1 504 ", taken)
        self.assertIn(b"urn:tovkit:problem:late", taken)
        self.assertEqual(server.post("/v1/draw", LINE).status, 200)

    def test_a_job_that_waits_too_long_is_late_too(self):
        server = self.start("--timeout", "2s")
        clients = [self.begin_slow(server, b" " * i) for i in range(3)]
        for client in clients:
            self.assertIn(b" 504 ", client.recv(65536))

    def test_the_wait_is_part_of_the_time(self):
        server = self.start("--timeout", "2s")
        begun = time.monotonic()
        first = self.begin_slow(server)
        until(lambda: time.monotonic() > begun + 1)
        # It waits for the first to be ended, and would have begun by then.
        second = self.begin_slow(server, b" ")
        self.assertIn(b" 504 ", first.recv(65536))
        self.assertIn(b"the wait for a worker included", second.recv(65536))

    def test_who_joins_a_job_has_a_time_of_their_own(self):
        server = self.start("--timeout", "2s")
        begun = time.monotonic()
        first = self.begin_slow(server)
        until(lambda: time.monotonic() > begun + 1)
        joined = time.monotonic()
        second = self.begin_slow(server)
        self.assertIn(b" 504 ", first.recv(65536))
        self.assertIn(b" 504 ", second.recv(65536))
        self.assertGreaterEqual(time.monotonic() - joined, 2)
        until(lambda: server.metric('tovkit_jobs_total{kind="map",state="late"}') == 1)

    def test_a_full_queue(self):
        server = self.start("--queue", "1")
        self.begin_slow(server)
        until(lambda: server.metric("tovkit_running_jobs") == 1 and server.metric("tovkit_queue_jobs") == 0)
        self.begin_slow(server, b" ")
        until(lambda: server.metric("tovkit_queue_jobs") == 1)
        answer = server.post("/v1/draw", LINE)
        self.assertEqual((answer.status, answer.problem, answer.headers["Retry-After"]), (429, "queue-full", "1"))
        self.assertEqual(server.ask("GET", "/healthz").status, 200)

    def test_a_client_that_goes_frees_the_place_of_its_job(self):
        server = self.start("--queue", "1")
        self.begin_slow(server)
        until(lambda: server.metric("tovkit_running_jobs") == 1 and server.metric("tovkit_queue_jobs") == 0)
        waiting = self.begin_slow(server, b" ")
        until(lambda: server.metric("tovkit_queue_jobs") == 1)
        waiting.close()
        until(lambda: server.metric("tovkit_queue_jobs") == 0)
        self.assertEqual(server.metric('tovkit_jobs_total{kind="map",state="canceled"}'), 1)
        until(lambda: server.metric('tovkit_http_requests_total{endpoint="other",code="499"}') == 1)

    def test_equal_jobs_run_once(self):
        for options, most in [([], 1), (["--cache", "0"], 4)]:
            server = self.start("--timeout", "2s", *options)
            clients = [self.begin_slow(server) for _ in range(4)]
            self.assertEqual([b" 504 " in client.recv(65536) for client in clients], [True] * 4)
            until(lambda: server.metric('tovkit_jobs_total{kind="map",state="late"}') == most)

    def test_without_a_cache_everything_is_drawn(self):
        server = self.start("--cache", "0")
        answers = [server.post("/v1/draw", LINE) for _ in range(2)]
        self.assertEqual([answer.headers["X-Cache"] for answer in answers], ["miss", "miss"])
        self.assertEqual(server.post("/v1/draw", LINE, If_None_Match=answers[0].headers["ETag"]).status, 304)
        self.assertEqual(server.metric("tovkit_cache_entries"), 0)

    def test_too_many_connections(self):
        server = self.start("--max-connections", "3")
        held = [server.connect() for _ in range(3)]
        for client in held:
            client.sendall(GET)
            self.assertTrue(client.recv(4096).startswith(b"HTTP/1.1 200 "))
        self.assertEqual(statuses(server.raw()), [503])
        held.pop().close()
        until(lambda: statuses(server.raw(GET.replace(b"\r\n\r\n", b"\r\nConnection: close\r\n\r\n"))) == [200])
        for client in held:
            client.close()

    def test_slow_and_silent_clients_are_dropped(self):
        server = self.start("--client-time", "1s")
        begun = time.monotonic()
        silent, head, body = server.connect(), server.connect(), server.connect()
        head.sendall(b"GET /hea")
        body.sendall(post(b"x" * 1000)[:-999])
        ended = threading.Event()

        def drip():
            # However often a byte comes, the time for all of them is the same.
            while not ended.wait(0.1):
                for client in [head, body]:
                    try:
                        client.sendall(b"x")
                    except OSError:
                        return

        dripping = threading.Thread(target=drip)
        dripping.start()
        self.assertEqual(read_all(silent), b"")
        self.assertEqual(statuses(read_all(head)), [408])
        self.assertEqual(statuses(read_all(body)), [408])
        ended.set()
        dripping.join()
        self.assertLess(time.monotonic() - begun, PATIENCE / 2)
        for client in [silent, head, body]:
            client.close()
        self.assertEqual(server.ask("GET", "/healthz").status, 200)

    def test_heads_that_are_too_large(self):
        server = self.start()
        many = b"".join(b"X-%d: y\r\n" % i for i in range(100))
        for fields in [b"X: " + b"y" * 17000 + b"\r\n", many]:
            self.assertEqual(statuses(server.raw(b"GET /healthz HTTP/1.1\r\n" + HOST + fields + b"\r\n")), [431])
        self.assertEqual(statuses(server.raw(b"GET /" + b"a" * 20000)), [431])
        close = b"Connection: close\r\n"
        for fields in [b"X: " + b"y" * 15000 + b"\r\n", many[:-9 * 5]]:
            self.assertEqual(statuses(server.raw(b"GET /healthz HTTP/1.1\r\n" + HOST + close + fields + b"\r\n")), [200])

    def test_bodies_that_are_too_large_are_not_read(self):
        server = self.start("--max-body", "1K")
        head = b"POST /v1/draw HTTP/1.1\r\n" + HOST + JSON
        self.assertEqual(statuses(server.raw(head + b"Content-Length: 1025\r\n\r\n")), [413])
        chunked = head + b"Transfer-Encoding: chunked\r\n\r\n"
        self.assertEqual(statuses(server.raw(chunked + b"3ff\r\n" + b" " * 0x3ff + b"\r\n2\r\n  \r\n")), [413])
        self.assertEqual(statuses(server.raw(chunked + b"fffffff\r\n")), [413])

    def test_memory_is_taken_for_bytes_that_come(self):
        server = self.start("--max-body", "1G")
        size = int(re.search(r"VmSize:\s+(\d+)", pathlib.Path(f"/proc/{server.process.pid}/status").read_text()).group(1)) << 10
        if size > 1 << 40:
            self.skipTest("a sanitizer takes all addresses for itself")
        self.assertEqual(server.post("/v1/draw", LINE).status, 200)
        limit = size + (300 << 20)
        resource.prlimit(server.process.pid, resource.RLIMIT_AS, (limit, limit))
        head = b"POST /v1/draw HTTP/1.1\r\n" + HOST + JSON + b"Content-Length: %d\r\n\r\n"
        body = json.dumps(LINE).encode()
        with server.connect() as modest, server.connect() as greedy:
            modest.sendall(head % 900_000_000 + body)
            greedy.sendall(head % 250_000_000)
            # Told so, and cut off, since it goes on: the answer may get lost.
            with contextlib.suppress(ConnectionError):
                for _ in range(250):
                    greedy.sendall(b" " * 1_000_000)
            until(lambda: server.metric('tovkit_http_requests_total{endpoint="other",code="503"}') == 1)
            self.assertEqual(server.post("/v1/draw", [LINE]).status, 200)
            modest.sendall(body)
            self.assertEqual(server.ask("GET", "/healthz").status, 200)

    def test_who_sends_a_body_that_is_refused_reads_why(self):
        """Also a client, or a proxy, that reads nothing before it has sent all."""
        server = self.start("--max-body", "16M")
        for size in [(16 << 20) + 1, 20 << 20]:  # more than the kernel holds for both
            head = b"POST /v1/draw HTTP/1.1\r\n" + HOST + JSON + b"Content-Length: %d\r\n\r\n" % size
            self.assertEqual(statuses(server.raw(head, b" " * size)), [413])
        chunk = b"100000\r\n" + b" " * 0x100000 + b"\r\n"
        head = b"POST /v1/draw HTTP/1.1\r\n" + HOST + JSON + b"Transfer-Encoding: chunked\r\n\r\n"
        self.assertEqual(statuses(server.raw(head, *[chunk] * 24, b"0\r\n\r\n")), [413])

    def test_a_body_that_is_asked_for(self):
        server = self.start("--max-body", "1K")
        body = json.dumps(LINE).encode()
        with server.connect() as client:
            client.sendall(post(body, b"Expect: 100-continue\r\nConnection: close\r\n")[:-len(body)])
            self.assertEqual(client.recv(1000), b"HTTP/1.1 100 Continue\r\n\r\n")
            client.sendall(body)
            self.assertEqual(statuses(read_all(client)), [200])
        large = b"Expect: 100-continue\r\nContent-Length: 2000\r\n\r\n"
        self.assertEqual(statuses(server.raw(b"POST /v1/draw HTTP/1.1\r\n" + HOST + JSON + large)), [413])

    def test_trailers_count_as_the_head_does(self):
        server = self.start()
        begin = b"POST /v1/draw HTTP/1.1\r\n" + HOST + JSON
        chunks = b"Transfer-Encoding: chunked\r\n\r\n2\r\n[]\r\n0\r\n"

        def some(name, count):
            return b"".join(b"%s-%d: y\r\n" % (name, i) for i in range(count))

        large = b": " + b"y" * 9000 + b"\r\n"
        for fields, trailer, status in [
                (b"", b"", 422), (some(b"A", 40), some(b"B", 57), 422), (some(b"A", 40), some(b"B", 58), 431),
                (b"A" + large, b"B: y\r\n", 422), (b"A" + large, b"B" + large, 431), (b"", b"B" + large + b"C" + large, 431),
                (b"", b"B: " + b"y" * 100_000 + b"\r\n", 431)]:
            with self.subTest((fields[:9], trailer[:9])):
                found = statuses(server.raw(begin + fields + chunks + trailer + b"\r\n" + GET.replace(b"\r\n\r\n", b"\r\nConnection: close\r\n\r\n")))
                self.assertEqual(found, [422, 200] if status == 422 else [431])

    def test_requests_one_behind_the_other(self):
        server = self.start()
        body = json.dumps(LINE).encode()
        last = GET.replace(b"\r\n\r\n", b"\r\nConnection: close\r\n\r\n")
        chunked = b"POST /v1/draw HTTP/1.1\r\n" + HOST + JSON + b"Transfer-Encoding: chunked\r\n\r\n"
        parts = b"".join(b"1;a=b\r\n%c\r\n" % c for c in body) + b"0\r\nTrailer: x\r\n\r\n"
        requests = GET + post(body) + chunked + parts + post(b"{") + GET + last
        self.assertEqual(statuses(server.raw(requests)), [200, 200, 200, 422, 200, 200])
        self.assertEqual(statuses(server.raw(*[requests[i:i + 1] for i in range(len(requests))])),
                         [200, 200, 200, 422, 200, 200])

    def test_what_can_be_read_in_two_ways(self):
        server = self.start()
        smuggled = b"GET /smuggled HTTP/1.1\r\n" + HOST + b"\r\n"
        begin = b"POST /v1/draw HTTP/1.1\r\n" + HOST + JSON
        chunked = b"Transfer-Encoding: chunked\r\n\r\n"
        for request in [
                begin + b"Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
                begin + b"Content-Length: 0\r\nContent-Length: 0\r\n\r\n",
                begin + b"Content-Length: 0, 0\r\n\r\n",
                begin + b"Transfer-Encoding: xchunked\r\n\r\n0\r\n\r\n",
                begin + b"Transfer-Encoding: chunked, identity\r\n\r\n0\r\n\r\n",
                begin + b"Transfer-Encoding : chunked\r\n\r\n0\r\n\r\n",
                begin + b"Transfer-Encoding:\r\n chunked\r\n\r\n0\r\n\r\n",
                begin + b"X: a\nContent-Length: 0\r\n\r\n",
                begin + b"X: a\rContent-Length: 0\r\n\r\n",
                begin + b"X: a\0b\r\n\r\n",
                begin + chunked + b"0x0\r\n\r\n", begin + chunked + b"-0\r\n\r\n", begin + chunked + b" 0\r\n\r\n",
                begin + chunked + b"g\r\n\r\n", begin + chunked + b"\r\n", begin + chunked + b"0\n\n",
                begin + chunked + b"2\r\n{}X\r\n0\r\n\r\n", begin + chunked + b"2\n{}\r\n0\r\n\r\n",
                begin + chunked + b'2;a="\x01"\r\n{}\r\n0\r\n\r\n', begin + chunked + b'2;a="\n"\r\n{}\r\n0\r\n\r\n',
                begin + chunked + b'2;a="\x7f"\r\n{}\r\n0\r\n\r\n', begin + chunked + b'2;a="\0"\r\n{}\r\n0\r\n\r\n',
                begin + chunked + b'2\r\n{}\r\n0;a="\x1f"\r\n\r\n',
                begin + chunked + b"10000000000000000\r\n", begin + chunked + b"1" + b"0" * 40 + b"\r\n",
                b"GET http://localhost/ HTTP/1.1\r\n" + HOST + b"\r\n", b"GET / HTTP/1.1\r\n\r\n",
                b"GET / HTTP/1.1\r\n" + HOST + HOST + b"\r\n", b"GET /\r\n\r\n", b"\r\n\r\n" + GET, b"GET / HTTP/1.1\n" + HOST]:
            with self.subTest(request):
                self.assertEqual(statuses(server.raw(request + smuggled)), [400])
        self.assertEqual(server.metric('tovkit_http_requests_total{endpoint="other",code="404"}'), 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
