#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""How tovkit serve begins and ends: addresses, tokens, signals, and workers that are killed.

    serve_ends_test.py COMMAND SOURCE_FOLDER
"""
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import unittest

COMMAND, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
sys.path.append(str(SOURCE / "tests/support"))
from tovkit_server import PATIENCE, Server, until  # noqa: E402

LINE = {"Content": "Hello"}
TOKEN = "0123456789abcdef0123"
# Takes a worker minutes: every one of four million pixels asks every curve.
SLOW = {"path": "M0 0" + "C1 2 3 4 5 6" * 20000}
SLOW_PATH = "/v1/hit?format=png&size=2048"


class Later:
    """A request in a thread of its own; `answer` waits for it."""

    def __init__(self, server, path, body):
        def ask():
            try:
                self.result = server.post(path, body)
            except OSError as error:
                self.result = error
        self.thread = threading.Thread(target=ask)
        self.thread.start()

    @property
    def answer(self):
        self.thread.join(PATIENCE)
        return self.result


def refused(*options):
    """(exit status, standard error) of a server that does not start."""
    done = subprocess.run([COMMAND, "serve", *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=PATIENCE)
    assert done.stdout == b"", done.stdout
    return done.returncode, done.stderr.decode()


class AddressTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.token = self.folder / "token"
        self.token.write_text(TOKEN + "\n")
        self.token.chmod(0o600)

    def enterContext(self, context):
        value = context.__enter__()
        self.addCleanup(context.__exit__, None, None, None)
        return value

    def test_loopback_of_the_sixth_version(self):
        with Server(COMMAND, listen="[::1]:0") as server:
            self.assertTrue(server.url.startswith("http://[::1]:"))
            self.assertEqual(server.ask("GET", "/healthz", Host="[::1]:1").status, 200)

    def test_a_unix_socket(self):
        path = self.folder / "socket"
        with Server(COMMAND, listen=f"unix:{path}") as server:
            self.assertEqual(server.post("/v1/draw", LINE).status, 200)
            self.assertEqual(server.end(), 0)
        self.assertFalse(path.exists())

    def test_others_need_a_token(self):
        status, error = refused("--listen", "0.0.0.0:0")
        self.assertEqual(status, 2)
        self.assertIn("--token-file", error)
        with Server(COMMAND, "--token-file", self.token, listen="0.0.0.0:0") as server:
            right = {"Authorization": "Bearer " + TOKEN}
            for path in ["/healthz", "/readyz", "/", "/openapi.json"]:
                self.assertEqual(server.ask("GET", path).status, 200, path)
            self.assertEqual(server.ask("GET", "/metrics").status, 401)
            self.assertEqual(server.ask("GET", "/metrics", **right).status, 200)
            answer = server.post("/v1/draw", LINE)
            self.assertEqual((answer.status, answer.problem, answer.headers["WWW-Authenticate"]),
                             (401, "unauthorized", "Bearer"))
            self.assertEqual(server.post("/v1/draw", LINE, Authorization="Bearer " + TOKEN[:-1]).status, 401)
            self.assertEqual(server.post("/v1/draw", LINE, **right).status, 200)
            self.assertNotIn(TOKEN, server.log)

    def test_a_token_on_loopback(self):
        with Server(COMMAND, "--token-file", self.token) as server:
            self.assertEqual(server.post("/v1/draw", LINE).status, 401)
            self.assertEqual(server.ask("GET", "/metrics").status, 200)

    def test_what_does_not_start(self):
        self.token.chmod(0o644)
        taken = self.enterContext(socket.create_server(("127.0.0.1", 0)))
        for options, status, words in [
                (["--listen", "127.0.0.1"], 2, "is no address"), (["--listen", "example.org:80"], 2, "is no address"),
                (["--token-file", str(self.token)], 1, "others may read"), (["--queue", "0"], 2, "--queue"),
                (["--cache", "x"], 2, "--cache"), (["--max-body", "0"], 2, "--max-body"), (["--timeout", "0"], 2, "--timeout"),
                (["--log", "xml"], 2, "--log"), (["--memory", "1M"], 2, "--memory"),
                (["--host", "draw.example:80"], 2, "without a port"), (["--host", "*"], 2, "--host"),
                (["--allow-origin", "https://site.example/"], 2, "no site alone"),
                (["--allow-origin", "https://site.example", "--allow-origin", "*"], 2, "no site alone"),
                (["--allow-origin", "https://site.example:443"], 2, "browsers leave out"),
                (["--listen", f"127.0.0.1:{taken.getsockname()[1]}"], 1, "Address already in use"),
                (["--listen", "127.0.0.1:0", "--font", "/none"], 1, "/none")]:
            with self.subTest(options):
                found, error = refused(*options)
                self.assertEqual(found, status, error)
                self.assertIn(words, error)
                self.assertEqual(error.count("\n"), 1 if status == 1 else error.count("\n"), error)

    def test_names_and_origins_that_are_allowed(self):
        with Server(COMMAND, "--host", "draw.example", "--allow-origin", "https://site.example") as server:
            self.assertEqual(server.ask("GET", "/healthz", Host="draw.example").status, 200)
            answer = server.post("/v1/draw", LINE, Origin="https://site.example")
            self.assertEqual((answer.status, answer.headers["Access-Control-Allow-Origin"]), (200, "https://site.example"))
            self.assertEqual(answer.headers["Cross-Origin-Resource-Policy"], "cross-origin")
            asked = server.ask("OPTIONS", "/v1/draw", Origin="https://site.example",
                               Access_Control_Request_Method="POST", Access_Control_Request_Headers="content-type")
            self.assertEqual(asked.status, 204)
            self.assertIn("Content-Type", asked.headers["Access-Control-Allow-Headers"])
            other = server.ask("OPTIONS", "/v1/draw", Origin="https://other.example", Access_Control_Request_Method="POST")
            self.assertNotIn("Access-Control-Allow-Origin", other.headers)
            self.assertEqual(server.post("/v1/draw", LINE, Origin="https://other.example").status, 403)

    def test_a_manager_may_listen_at_an_abstract_name(self):
        manager = self.enterContext(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM))
        manager.settimeout(PATIENCE)
        name = f"tovkit-{os.getpid()}-{id(self)}"
        manager.bind("\0" + name)
        with Server(COMMAND, env={"NOTIFY_SOCKET": "@" + name}) as server:
            self.assertEqual(manager.recv(100), b"READY=1")
            server.process.terminate()
            self.assertEqual(manager.recv(100), b"STOPPING=1")
            self.assertEqual(server.process.wait(PATIENCE), 0)

    def test_systemd_passes_the_socket_and_hears_of_it(self):
        passed = self.enterContext(socket.create_server(("127.0.0.1", 0)))
        manager = self.enterContext(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM))
        manager.settimeout(PATIENCE)
        manager.bind(str(self.folder / "notify"))
        # This process becomes the server, whose number it knows.
        become = (f"import os; os.dup2({passed.fileno()}, 3); "
                  f"os.environ.update(LISTEN_PID=str(os.getpid()), LISTEN_FDS='1'); "
                  f"os.execv({COMMAND!r}, ['tovkit', 'serve', '--listen', '192.0.2.1:1', '-j', '1'])")
        process = subprocess.Popen([sys.executable, "-c", become], pass_fds=[passed.fileno()], stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL,
                                   env=dict(os.environ, NOTIFY_SOCKET=str(self.folder / "notify")))
        try:
            port = passed.getsockname()[1]
            self.assertEqual(process.stdout.readline().decode(), f"Listening on http://127.0.0.1:{port}/\n")
            self.assertEqual(manager.recv(100), b"READY=1")
            with socket.create_connection(("127.0.0.1", port), PATIENCE) as client:
                client.sendall(b"GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n")
                self.assertTrue(client.recv(1000).startswith(b"HTTP/1.1 200 "))
            process.terminate()
            self.assertEqual(manager.recv(100), b"STOPPING=1")
            self.assertEqual(process.wait(PATIENCE), 0)
        finally:
            process.kill()
            process.wait()
            process.stdout.close()


def ticks_of(process):
    """Clock ticks that a process has had of processors."""
    fields = pathlib.Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()
    return int(fields[11]) + int(fields[12])


class EndTest(unittest.TestCase):
    def start(self, *options, **settings):
        server = Server(COMMAND, *options, **settings)
        self.addCleanup(server.__exit__)
        return server

    def begin_slow(self, server):
        """A request that a worker has at hand: it computes. One that is being started, or is given the job, does not."""
        self.assertEqual(server.post("/v1/draw?size=30x30", LINE).status, 200)
        worker = server.workers()[0]
        before = ticks_of(worker)
        later = Later(server, SLOW_PATH, SLOW)
        until(lambda: ticks_of(worker) > before + 20)
        return later

    def test_an_idle_server_ends_at_once(self):
        for sign in [signal.SIGTERM, signal.SIGINT]:
            server = self.start()
            with server.connect():
                self.assertEqual(server.end(sign), 0)

    def test_what_runs_is_finished(self):
        server = self.start("--timeout", "3s")
        later = self.begin_slow(server)
        with server.session() as waiting:
            waiting.request("GET", "/readyz")
            self.assertEqual(waiting.getresponse().read(), b"ready\n")
            half_sent = server.connect()
            half_sent.sendall(b"GET /readyz HTTP/1.1\r\n")
            server.process.send_signal(signal.SIGTERM)
            until(lambda: not self.connects(server))
            half_sent.sendall(b"Host: localhost\r\n\r\n")
            told = half_sent.recv(10000)
            half_sent.close()
            self.assertIn(b" 503 ", told)
            self.assertIn(b"Connection: close", told)
        self.assertEqual(later.answer.status, 504)
        self.assertEqual(server.process.wait(PATIENCE), 0)

    @staticmethod
    def connects(server):
        try:
            server.connect().close()
            return True
        except (ConnectionRefusedError, ConnectionResetError):
            return False

    def test_a_second_signal_ends_it_at_once(self):
        server = self.start()
        later = self.begin_slow(server)
        worker = server.workers()[0]
        server.process.send_signal(signal.SIGTERM)
        until(lambda: not self.connects(server))
        server.process.send_signal(signal.SIGTERM)
        self.assertEqual(server.process.wait(PATIENCE), 1)
        self.assertIsInstance(later.answer, OSError)
        until(lambda: not pathlib.Path(f"/proc/{worker}").exists())

    def test_a_killed_worker_costs_its_request_only(self):
        server = self.start()
        later = self.begin_slow(server)
        waits = Later(server, "/v1/draw", LINE)
        until(lambda: server.metric("tovkit_queue_jobs") == 1)
        os.kill(server.workers()[0], signal.SIGKILL)
        answer = later.answer
        self.assertEqual((answer.status, answer.problem), (500, "crash"))
        self.assertEqual(answer.json["id"], answer.headers["Request-Id"])
        until(lambda: answer.json["id"] in server.log)
        self.assertRegex(server.log, f"500 .* {answer.json['id']} .*signal 9")
        self.assertEqual(waits.answer.status, 200)
        self.assertEqual(server.post("/v1/draw", [LINE]).status, 200)
        self.assertEqual(server.metric("tovkit_worker_restarts_total"), 1)
        self.assertEqual(server.metric('tovkit_jobs_total{kind="map",state="crashed"}'), 1)

    def test_a_killed_worker_without_a_job_costs_nothing(self):
        server = self.start()
        self.assertEqual(server.post("/v1/draw", LINE).status, 200)
        os.kill(server.workers()[0], signal.SIGKILL)
        self.assertEqual(server.post("/v1/draw", [LINE]).status, 200)

    def test_workers_that_do_not_begin_end_the_server(self):
        server = self.start(env={"TOVKIT_JOB": "/bin/false"})
        self.assertEqual(server.process.wait(PATIENCE), 1)
        self.assertIn("workers end before they begin", server.log)

    def lose_worker(self, server):
        """The only worker ends, and no other one can be started."""
        os.kill(server.workers()[0], signal.SIGKILL)
        until(lambda: server.ask("GET", "/readyz").status == 503)

    def assert_no_worker(self, answer):
        self.assertEqual((answer.status, answer.problem, answer.headers["Retry-After"]), (503, "no-worker", "1"))

    def test_a_font_that_vanishes_is_waited_for(self):
        with tempfile.TemporaryDirectory() as folder:
            font, away = pathlib.Path(folder) / "font.ttf", pathlib.Path(folder) / "away.ttf"
            shutil.copy(subprocess.run(["fc-match", "-f", "%{file}", "DejaVu Sans"], check=True, stdout=subprocess.PIPE).stdout, font)
            server = self.start("--font", str(font))
            kept = server.post("/v1/draw", LINE)
            font.rename(away)
            self.lose_worker(server)
            self.assert_no_worker(server.post("/v1/draw", [LINE]))
            self.assert_no_worker(server.ask("GET", "/readyz"))
            self.assertEqual(server.metric("tovkit_workers"), 0)
            self.assertIn(str(font), server.log)
            self.assertNotIn(str(font).encode(), server.post("/v1/draw", [LINE]).body)
            self.assertEqual(server.ask("GET", "/healthz").status, 200)
            self.assertEqual(server.post("/v1/draw", LINE).body, kept.body)
            away.rename(font)
            until(lambda: server.ask("GET", "/readyz").status == 200)
            self.assertEqual(server.post("/v1/draw", [LINE]).status, 200)
            self.assertEqual(server.metric("tovkit_workers"), 1)

    def test_a_worker_that_cannot_be_started_for_a_while(self):
        with tempfile.TemporaryDirectory() as folder:
            program = pathlib.Path(folder) / "worker"
            real = pathlib.Path(COMMAND).parent.parent / "libexec/tovkit/tovkit-job"
            program.symlink_to(real)
            server = self.start(env={"TOVKIT_JOB": str(program)})
            running = self.begin_slow(server)
            waiting = Later(server, "/v1/draw", [LINE])
            until(lambda: server.metric("tovkit_queue_jobs") == 1)
            program.unlink()
            self.lose_worker(server)
            self.assert_no_worker(running.answer)
            self.assert_no_worker(waiting.answer)
            program.symlink_to(real)
            until(lambda: server.ask("GET", "/readyz").status == 200)
            self.assertEqual(server.post("/v1/draw", [LINE]).status, 200)
            program.unlink()
            self.lose_worker(server)
            self.assertEqual(server.end(), 0)

    def test_the_log(self):
        server = self.start("--log", "json")
        server.post("/v1/draw?size=secret", LINE)
        line = json.loads(until(lambda: server.log))
        self.assertEqual((line["method"], line["path"], line["status"], line["client"]), ("POST", "/v1/draw", 400, "127.0.0.1"))
        self.assertNotIn("secret", server.log)
        silent = self.start("--log", "none")
        silent.post("/v1/draw", LINE)
        self.assertEqual(silent.end(), 0)
        self.assertEqual(silent.log, "")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
