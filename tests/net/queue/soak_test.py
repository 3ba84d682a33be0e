# SPDX-License-Identifier: MIT
"""Jobs through three workers, of which one is killed every few seconds, and a broker that is restarted twice."""
import contextlib
import json
import os
import signal
import threading
import time
import unittest

from support import QueueTest, await_that, read_lines

COUNT = int(os.environ.get("COUNT", "10000"))
WORKERS = 3
KILLED_EVERY = 3  # seconds


class SoakTest(QueueTest):
    def start_worker(self):
        self.started = getattr(self, "started", 0) + 1
        return self.worker("-C", "out", "--jobs", "1", "--prefetch", "8", name=f"worker{self.started}")

    def kill_one_after_the_other(self, workers, over):
        place = 0
        while not over.wait(KILLED_EVERY):
            workers[place].signal(signal.SIGKILL)
            workers[place].wait()
            workers[place] = self.start_worker()
            self.killed += 1
            place = (place + 1) % len(workers)

    def feed(self, path, gates):
        """Writes a part of the jobs, and each further one when its gate opens."""
        jobs = (self.folder / "jobs.jsonl").read_bytes().splitlines(keepends=True)
        # Without its reader, which a test that has failed ends, there is nobody to write to.
        with contextlib.suppress(BrokenPipeError), open(path, "wb") as out:
            for part, gate in enumerate([None, *gates]):
                if gate:
                    gate.wait()
                out.writelines(jobs[part * COUNT // 3:(part + 1) * COUNT // 3])
                out.flush()

    def test_every_job_is_done_whatever_is_killed(self):
        self.draw_once(COUNT)
        self.declare()
        self.killed = 0
        workers = [self.start_worker() for _ in range(WORKERS)]
        # The last jobs come when the broker goes down for the second time, so that nobody is through before.
        gates = threading.Event(), threading.Event()
        os.mkfifo(self.folder / "jobs")
        threading.Thread(target=self.feed, args=(self.folder / "jobs", gates), daemon=True).start()
        submit = self.submit("jobs", "--result-queue", self.results, "--results", "results.jsonl")
        over = threading.Event()
        killer = threading.Thread(target=self.kill_one_after_the_other, args=(workers, over))
        killer.start()
        results = self.folder / "results.jsonl"
        begun = time.monotonic()
        try:
            for gate, end, enough in zip(gates, (self.broker.stop, self.broker.kill), (COUNT // 6, COUNT // 2)):
                def far_enough():
                    self.assertIsNone(submit.process.poll(), submit.errors())
                    for worker in workers:
                        self.assertIn(worker.process.poll(), (None, -signal.SIGKILL), worker.errors())
                    return results.exists() and results.read_bytes().count(b"\n") >= enough
                await_that(far_enough, submit.errors, 200)
                gate.set()
                end()
                self.broker.start()
            self.assertEqual(submit.wait(250), 0, submit.errors())
        finally:
            over.set()
            killer.join()
        took = time.monotonic() - begun
        lines = read_lines(results)
        self.assertEqual(sorted(line["id"] for line in lines), sorted(map(str, range(COUNT))))
        self.assertEqual({line["state"] for line in lines}, {"done"})
        self.assert_same_outputs("out")
        hashes = {line["id"]: line["outputSha256"] for line in read_lines(self.folder / "once.jsonl")}
        self.assertEqual({line["id"]: line["outputSha256"] for line in lines}, hashes)
        for worker in workers:
            worker.await_line("taking jobs")
            self.stop(worker)
        # Jobs that ran twice have left a second result, of the same bytes.
        channel = self.client()
        await_that(lambda: self.count(channel) == 0, "no job is left")
        while (message := channel.basic_get(self.results, auto_ack=True))[0]:
            result = json.loads(message[2])
            self.assertEqual((result["state"], result["outputSha256"]), ("done", hashes[result["id"]]))
        self.assertEqual(self.count(channel, self.queue + ".dead"), 0)
        self.assertGreater(self.killed, 0)
        print(f"{COUNT} jobs in {took:.0f} s, {self.killed} workers killed, the broker restarted twice")


if __name__ == "__main__":
    unittest.main()
