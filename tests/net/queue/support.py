# SPDX-License-Identifier: MIT
"""What the tests of the queue share: a scratch folder, jobs, the command, an independent client of the broker (pika)."""
import base64
import contextlib
import hashlib
import json
import os
import pathlib
import signal
import subprocess
import tempfile
import time
import unittest

import pika

from broker import Broker

BUILD = pathlib.Path(os.environ["BUILD"]).resolve()
TOVKIT = str(BUILD / "cli/tovkit")
SECONDS = 120
# Tens of thousands of small files are made and removed.
MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None


def job(number, **members):
    return {"id": str(number), "draw": [{"Content": f"Label {number}", "DeltaX": 16, "Font": {"FontSize": 22}}],
            "size": "200x60", "out": f"{str(number)[-1]}/{number}.png", **members}


def write_jobs(path, count):
    with open(path, "w", encoding="utf-8") as out:
        for number in range(count):
            print(json.dumps(job(number)), file=out)


def read_lines(path):
    with open(path, encoding="utf-8") as lines:
        return [json.loads(line) for line in lines]


def await_that(condition, what, seconds=SECONDS):
    """Asks until it is so."""
    deadline = time.monotonic() + seconds
    while not (value := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds} s: {what() if callable(what) else what}")
        time.sleep(0.02)
    return value


class Process:
    """The command in the background, its streams in files."""

    def __init__(self, folder, name, words, address=None, environment=None):
        self.out, self.err = folder / f"{name}.out", folder / f"{name}.err"
        self.folder = folder
        known = {key: value for key, value in os.environ.items() if key != "TOVKIT_AMQP_URL"}
        known.update(environment or {})
        if address:
            known["TOVKIT_AMQP_URL"] = address
        with open(self.out, "ab") as out, open(self.err, "ab") as err:
            self.process = subprocess.Popen([TOVKIT, *words], cwd=folder, env=known, stdin=subprocess.DEVNULL, stdout=out,
                                            stderr=err)

    def errors(self):
        return self.err.read_text(encoding="utf-8")

    def await_line(self, text, count=1):
        def there():
            return self.errors().count(text) >= count or self.process.poll() is not None
        await_that(there, lambda: f"{text!r} in {self.errors()}")
        assert self.errors().count(text) >= count, f"ended with {self.process.poll()}: {self.errors()}"

    def signal(self, number=signal.SIGTERM):
        self.process.send_signal(number)

    def wait(self, seconds=SECONDS):
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            raise AssertionError(f"still running: {self.errors()}") from None

    def end(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


def close(connection):
    """A connection, which the end of a broker may have closed before."""
    with contextlib.suppress(pika.exceptions.AMQPError):
        connection.close()


class QueueTest(unittest.TestCase):
    """Each test has a folder and queues of its own; `broker` is the class's."""

    @classmethod
    def start_broker(cls, folder):
        return Broker(folder / "broker")

    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory(prefix="tovkit-queue-")
        cls.addClassCleanup(scratch.cleanup)
        cls.broker = cls.start_broker(pathlib.Path(scratch.name))
        cls.enterClassContext(cls.broker)

    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="tovkit-queue-", dir=MEMORY)
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)
        self.queue, self.results = f"jobs {self.id()}"[-100:], f"results {self.id()}"[-100:]

    def client(self):
        """A channel with confirms."""
        connection = pika.BlockingConnection(pika.URLParameters(self.broker.url()))
        self.addCleanup(close, connection)
        channel = connection.channel()
        channel.confirm_delivery()
        return channel

    def declare(self, channel=None, **arguments):
        channel = channel or self.client()
        channel.queue_declare(self.queue + ".dead", durable=True)
        channel.queue_declare(self.queue, durable=True, arguments={
            "x-dead-letter-exchange": "", "x-dead-letter-routing-key": self.queue + ".dead"})
        channel.queue_declare(self.results, durable=True, arguments=arguments or None)
        return channel

    def put(self, channel, *bodies, **properties):
        for body in bodies:
            if isinstance(body, dict):
                body = json.dumps(body)
            channel.basic_publish("", self.queue, body, pika.BasicProperties(delivery_mode=2, **properties))

    def take(self, channel, queue=None, seconds=SECONDS):
        """The next message: (properties, body)."""
        def one():
            method, properties, body = channel.basic_get(queue or self.results, auto_ack=True)
            return method and (properties, body)
        return await_that(one, f"a message in {queue or self.results}", seconds)

    def take_result(self, channel):
        return json.loads(self.take(channel)[1])

    def count(self, channel, queue=None):
        return channel.queue_declare(queue or self.queue, passive=True).method.message_count

    def worker(self, *words, name="worker", address=None, environment=None):
        jobs = () if "--jobs" in words else ("--jobs", "2")
        worker = Process(self.folder, name, ["worker", "--queue", self.queue, "--result-queue", self.results, *jobs, *words],
                         address or self.broker.url(), environment)
        self.addCleanup(worker.end)
        return worker

    def working(self, *words, **more):
        """A worker that takes jobs."""
        worker = self.worker(*words, **more)
        worker.await_line("taking jobs")
        return worker

    def submit(self, *words, name="submit", address=None):
        submit = Process(self.folder, name, ["submit", *words, "--queue", self.queue], address or self.broker.url())
        self.addCleanup(submit.end)
        return submit

    def stop(self, worker):
        worker.signal()
        self.assertEqual(worker.wait(), 0, worker.errors())

    def draw_once(self, count, folder="once"):
        """What one process makes of the jobs."""
        write_jobs(self.folder / "jobs.jsonl", count)
        subprocess.run([TOVKIT, "batch", "jobs.jsonl", "--directory", folder, "--results", f"{folder}.jsonl"], cwd=self.folder,
                       check=True, stdout=subprocess.DEVNULL)

    def assert_same_outputs(self, folder, once="once"):
        done = subprocess.run(["diff", "-rq", once, folder], cwd=self.folder, capture_output=True, text=True, check=False)
        self.assertEqual(done.stdout + done.stderr, "")


def output_of(result):
    """The bytes of an output that is part of its result."""
    content = base64.b64decode(result["outputBase64"], validate=True)
    assert hashlib.sha256(content).hexdigest() == result["outputSha256"] and len(content) == result["bytes"]
    return content
