# SPDX-License-Identifier: MIT
"""What may go wrong between a broker and a worker: each ends in a clear line, a dead letter or a retry, and no job is lost."""
import contextlib
import json
import os
import pathlib
import signal
import unittest

from support import QueueTest, await_that, job, output_of


class FaultsTest(QueueTest):
    def test_a_job_is_done_and_its_result_carries_its_names(self):
        channel = self.declare()
        worker = self.working("-C", "out")
        self.put(channel, job(1), message_id="m 1", correlation_id="c 1")
        properties, body = self.take(channel)
        result = json.loads(body)
        self.assertEqual((result["id"], result["state"], result["output"]), ("1", "done", "1/1.png"))
        self.assertEqual(properties.correlation_id, "c 1")
        self.assertEqual((properties.delivery_mode, properties.content_type), (2, "application/json"))
        self.assertEqual((self.folder / "out/1/1.png").stat().st_size, result["bytes"])
        self.stop(worker)
        self.assertEqual(self.count(channel), 0)
        self.assertIn("1 jobs done, 0 failed", worker.errors())

    def test_an_output_may_be_part_of_its_result_up_to_a_size(self):
        channel = self.declare()
        worker = self.working("--inline", "--max-inline", "3000")
        self.put(channel, job(1), job("large", size="4000x4000"))
        results = {result["id"]: result for result in (self.take_result(channel), self.take_result(channel))}
        self.assertTrue(output_of(results["1"]).startswith(b"\x89PNG"))
        self.assertEqual((results["large"]["state"], results["large"]["kind"]), ("failed", "limit"))
        self.assertFalse((self.folder / "1").exists())
        self.stop(worker)

    def test_what_is_no_job_gets_a_result_and_goes_to_the_dead_letters(self):
        channel = self.declare()
        worker = self.working()
        bodies = {"empty": b"", "no JSON": b"\xff\xfe", "a NUL": b"\0{}", "a list": b"[1]", "cut": b'{"id": "x', "a wrong id": b'{"id": ""}',
                  "deep": b"[" * 100000}
        for name, body in bodies.items():
            self.put(channel, body, message_id=name)
        self.put(channel, {"id": "unknown member", "paint": 1}, job("good"))
        results = {}
        while len(results) < len(bodies) + 2:
            result = self.take_result(channel)
            results[result["id"]] = result
        for name, body in bodies.items():
            self.assertEqual((results[name]["state"], results[name]["kind"]), ("failed", "input"), name)
            self.assertTrue(results[name]["message"].startswith("message"), results[name])
        self.assertEqual(results["good"]["state"], "done")
        # A job that fails is answered, and that is all.
        self.assertEqual(results["unknown member"]["state"], "failed")
        dead = {}
        while len(dead) < len(bodies):
            properties, body = self.take(channel, self.queue + ".dead")
            dead[properties.message_id] = body
        self.assertEqual(dead, bodies)
        self.stop(worker)
        self.assertEqual(worker.errors().count("goes to the dead letters: message"), len(bodies))
        self.assertEqual(self.count(channel) + self.count(channel, self.queue + ".dead"), 0)

    def test_a_message_of_200_megabytes_is_passed_over_in_little_memory(self):
        channel = self.declare()
        worker = self.working()
        pid = worker.process.pid
        self.put(channel, b"x" * 200_000_000, message_id="huge")
        self.put(channel, job("good"))
        results = {result["id"]: result for result in (self.take_result(channel), self.take_result(channel))}
        self.assertEqual(results["good"]["state"], "done")
        self.assertEqual((results["huge"]["state"], results["huge"]["kind"]), ("failed", "limit"))
        self.assertEqual(results["huge"]["message"], "message: 200000000 bytes, of which 16777216 are taken at most")
        peak = [line for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines() if line.startswith("VmHWM")]
        self.assertLess(int(peak[0].split()[1]), 64 * 1024, peak)
        self.assertEqual(len(self.take(channel, self.queue + ".dead")[1]), 200_000_000)
        self.stop(worker)

    def test_what_ends_its_worker_twice_goes_to_the_dead_letters(self):
        channel = self.declare()
        worker = self.working("--timeout", "1ms")
        slow = job("slow", size="9000x9000")
        self.put(channel, slow)
        result = self.take_result(channel)
        self.assertEqual((result["state"], result["kind"], result["attempts"]), ("quarantined", "deadline", 2))
        self.assertEqual(json.loads(self.take(channel, self.queue + ".dead")[1]), slow)
        self.stop(worker)
        self.assertIn("'slow' goes to the dead letters: ", worker.errors())
        self.assertIn("0 jobs done, 1 failed, 1 of them to the dead letters", worker.errors())

    def test_queues_that_do_not_exist_are_told_at_once(self):
        worker = self.worker()
        self.assertEqual(worker.wait(), 1)
        self.assertIn(f"NOT_FOUND - no queue '{self.results}'", worker.errors())
        channel = self.client()
        channel.queue_declare(self.results)
        worker = self.worker(name="second")
        self.assertEqual(worker.wait(), 1)
        self.assertIn(f"NOT_FOUND - no queue '{self.queue}'", worker.errors())
        submit = self.submit("/dev/null")
        self.assertEqual(submit.wait(), 1)
        self.assertIn(f"NOT_FOUND - no queue '{self.queue}'", submit.errors())

    def test_queues_are_made_where_that_is_asked_for(self):
        worker = self.working("--declare")
        channel = self.client()
        self.put(channel, b"no job", job(1))
        self.take_result(channel), self.take_result(channel)
        self.assertEqual(self.take(channel, self.queue + ".dead")[1], b"no job")
        self.stop(worker)
        again = self.working("--declare", name="again")
        self.stop(again)
        channel.queue_delete(self.queue)
        channel.queue_declare(self.queue, durable=False)
        other = self.worker("--declare", name="other")
        self.assertEqual(other.wait(), 1)
        self.assertIn("PRECONDITION_FAILED", other.errors())

    def test_a_results_queue_that_goes_away_costs_no_job(self):
        channel = self.declare()
        worker = self.working()
        channel.queue_delete(self.results)
        self.put(channel, *(job(number) for number in range(3)))
        worker.await_line(f"no queue '{self.results}' takes results; next attempt in")
        channel.queue_declare(self.results, durable=True)
        self.assertEqual(sorted(self.take_result(channel)["id"] for _ in range(3)), ["0", "1", "2"])
        self.stop(worker)
        self.assertEqual(self.count(channel), 0)

    def test_a_worker_that_ends_without_a_results_queue_gives_its_jobs_back(self):
        channel = self.declare()
        worker = self.working()
        channel.queue_delete(self.results)
        self.put(channel, job(1))
        worker.await_line("takes results; next attempt in")
        worker.signal()
        self.assertEqual(worker.wait(), 0, worker.errors())
        self.assertIn("1 results were not confirmed: their jobs will be delivered again", worker.errors())
        await_that(lambda: self.count(channel) == 1, "the job is back")

    def test_a_job_queue_that_goes_away_is_waited_for(self):
        channel = self.declare()
        worker = self.working()
        channel.queue_delete(self.queue)
        worker.await_line(f"the queue '{self.queue}' is gone; next attempt in")
        self.declare(channel)
        worker.await_line("taking jobs", 2)
        self.put(channel, job(1))
        self.assertEqual(self.take_result(channel)["state"], "done")
        self.stop(worker)

    def test_a_results_queue_that_is_full_is_waited_for(self):
        channel = self.declare(**{"x-max-length": 1, "x-overflow": "reject-publish"})
        worker = self.working()
        self.put(channel, *(job(number) for number in range(6)))
        worker.await_line(f"the broker does not take results for '{self.results}'; next attempt in")
        self.assertEqual(sorted(self.take_result(channel)["id"] for _ in range(6)), [str(number) for number in range(6)])
        self.stop(worker)
        self.assertEqual(self.count(channel), 0)

    def test_a_broker_that_is_full_is_waited_for(self):
        channel = self.declare()
        worker = self.working()
        self.put(channel, *(job(number) for number in range(20)))
        ids = {self.take_result(channel)["id"]}  # of two workers' jobs, whichever ends first
        self.broker.control("set_vm_memory_high_watermark", "absolute", "1MB")
        try:
            (self.folder / "more.jsonl").write_text("".join(json.dumps(job(number)) + "\n" for number in range(20, 1500)))
            more = self.submit("more.jsonl", name="more")  # more than it sends without confirms
            more.await_line("the broker takes nothing more (")
        finally:
            self.broker.control("set_vm_memory_high_watermark", "absolute", "2GB")
        more.await_line("the broker takes messages again")
        self.assertEqual(more.wait(), 0, more.errors())
        ids |= {self.take_result(channel)["id"] for _ in range(1499)}
        self.assertEqual(ids, set(map(str, range(1500))))
        self.stop(worker)
        self.assertEqual(self.count(channel), 0)

    def test_a_worker_waits_for_a_broker_that_is_full(self):
        channel = self.declare()
        self.put(channel, *(job(number) for number in range(50)))
        self.broker.control("set_vm_memory_high_watermark", "absolute", "1MB")
        try:
            worker = self.working()
            worker.await_line("the broker takes nothing more (")
        finally:
            self.broker.control("set_vm_memory_high_watermark", "absolute", "2GB")
        worker.await_line("the broker takes messages again")
        self.assertEqual({self.take_result(channel)["id"] for _ in range(50)}, set(map(str, range(50))))
        self.stop(worker)
        self.assertEqual(self.count(channel), 0)

    def test_a_login_that_is_refused_ends_the_worker(self):
        self.declare()
        for words in ((), ("--declare",)):
            worker = self.worker(*words, name=f"worker{len(words)}", address=self.broker.url(password="wrong-secret"))
            self.assertEqual(worker.wait(), 1)
            self.assertIn("ACCESS_REFUSED - Login was refused", worker.errors())
            self.assertNotIn("wrong-secret", worker.errors())
        worker = self.worker(name="host", address=self.broker.url(rest="/nowhere"))
        self.assertEqual(worker.wait(), 1)
        self.assertIn("vhost nowhere not found", worker.errors())
        self.assertNotIn(self.broker.password, worker.errors())

    def test_a_broker_that_is_not_there_yet_is_waited_for(self):
        worker = self.worker(address=self.broker.url(port=1))
        worker.await_line("cannot connect: ", 2)
        self.assertIn("; next attempt in 0.", worker.errors())
        self.stop(worker)

    def close_connection(self):
        """That of the worker, by the broker."""
        closed = 0
        for line in self.broker.control("-q", "list_connections", "pid", "client_properties").splitlines():
            if '"tovkit"' in line:
                self.broker.control("close_connection", line.split("\t")[0], "for a test")
                closed += 1
        self.assertEqual(closed, 1)

    def await_results(self, channel, count):
        """Results of so many jobs, of which some may come twice; then no job is left."""
        ids = set()
        while len(ids) < count:
            ids.add(self.take_result(channel)["id"])
        await_that(lambda: self.count(channel) == 0, "the queue is empty")

    def assert_done_or_left(self, channel, count):
        """So many jobs have a result or are in their queue again."""
        done = 0
        while channel.basic_get(self.results, auto_ack=True)[0]:
            done += 1
        await_that(lambda: self.count(channel) + done == count, lambda: f"{self.count(channel)} left, {done} done")

    @contextlib.contextmanager
    def holding(self, count):
        """A worker that has so many jobs in hand, none of which comes on until the end."""
        channel = self.declare()
        worker = self.working("--prefetch", "64", "--timeout", "10m")
        children = pathlib.Path(f"/proc/{worker.process.pid}/task/{worker.process.pid}/children")
        await_that(lambda: len(children.read_text().split()) == 2, "the workers are there")
        crew = [int(pid) for pid in children.read_text().split()]
        for pid in crew:
            os.kill(pid, signal.SIGSTOP)
        self.put(channel, *(job(number) for number in range(count)))
        await_that(lambda: f"{self.queue}\t{count}" in self.broker.control(
            "-q", "list_queues", "name", "messages_unacknowledged").splitlines(), "the jobs are in hand")
        try:
            yield channel, worker
        finally:
            for pid in crew:
                os.kill(pid, signal.SIGCONT)

    def test_a_channel_that_is_closed_while_many_jobs_are_in_hand_costs_none(self):
        with self.holding(40) as (channel, worker):
            self.close_connection()
            worker.await_line("for a test")
            worker.await_line("taking jobs", 2)
        self.await_results(channel, 40)
        self.stop(worker)

    def test_the_end_while_many_jobs_are_in_hand_gives_back_what_has_not_run(self):
        with self.holding(60) as (channel, worker):
            worker.signal()
        self.assertEqual(worker.wait(), 0, worker.errors())
        self.assert_done_or_left(channel, 60)

    def test_a_channel_that_is_closed_in_the_middle_costs_no_job(self):
        channel = self.declare()
        worker = self.working()
        self.put(channel, *(job(number) for number in range(300)))
        self.take_result(channel)
        self.close_connection()
        worker.await_line("for a test")
        worker.await_line("taking jobs", 2)
        self.await_results(channel, 299)
        self.stop(worker)

    def test_a_result_that_the_broker_refuses_ends_as_a_failed_one(self):
        channel = self.declare()
        # A channel learns the limit when it is opened.
        self.broker.control("eval", "application:set_env(rabbit, max_message_size, 20000).")
        worker = self.working("--inline")
        try:
            noise = {"id": "long", "draw": [{"Content": f"{n} " * 20, "DeltaY": n * 7} for n in range(100)],
                     "size": "2000x800", "out": "long.png", "effort": 1}
            self.put(channel, noise, job("short"))
            results = {}
            while len(results) < 2:
                result = self.take_result(channel)
                results[result["id"]] = result
        finally:
            self.broker.control("eval", "application:set_env(rabbit, max_message_size, 536870912).")
        self.assertEqual(results["short"]["state"], "done")
        self.assertEqual((results["long"]["state"], results["long"]["kind"]), ("failed", "limit"))
        self.assertEqual(json.loads(self.take(channel, self.queue + ".dead")[1]), noise)
        self.assertIn("PRECONDITION_FAILED - message size", worker.errors())
        self.stop(worker)

    def test_a_broker_that_falls_silent_is_given_up(self):
        channel = self.declare()
        worker = self.working(address=self.broker.url(rest="/%2F?heartbeat=2"))
        with open(self.folder / "stopped", "w", encoding="utf-8"):
            os.killpg(self.broker.process.pid, signal.SIGSTOP)
            try:
                worker.await_line("heartbeat")
            finally:
                os.killpg(self.broker.process.pid, signal.SIGCONT)
        worker.await_line("taking jobs", 2)
        channel = self.client()
        self.put(channel, job(1))
        self.assertEqual(self.take_result(channel)["state"], "done")
        self.stop(worker)

    def test_the_end_finishes_what_runs_and_takes_nothing_else(self):
        channel = self.declare()
        self.put(channel, *(job(number) for number in range(2000)))
        worker = self.working()
        self.take_result(channel)
        self.stop(worker)
        self.assert_done_or_left(channel, 1999)

    def test_a_second_signal_ends_at_once(self):
        channel = self.declare()
        self.put(channel, *(job(number) for number in range(500)))
        worker = self.working()
        self.take_result(channel)
        os.killpg(self.broker.process.pid, signal.SIGSTOP)
        try:
            worker.signal(signal.SIGINT)
            await_that(lambda: worker.process.poll() is not None or worker.signal(signal.SIGTERM) is not None
                       or worker.process.poll() is not None, "its end", 20)
        finally:
            os.killpg(self.broker.process.pid, signal.SIGCONT)
        self.assertIn(worker.process.returncode, (0, 75))
        await_that(lambda: self.broker.control("-q", "list_queues", "name", "messages_unacknowledged"), "an answer")

    def test_a_worker_ends_when_nothing_comes(self):
        channel = self.declare()
        self.put(channel, *(job(number) for number in range(30)))
        worker = self.worker("--idle-exit", "500ms")
        self.assertEqual(worker.wait(), 0, worker.errors())
        self.assertIn("30 jobs done", worker.errors())
        self.assertEqual((self.count(channel), self.count(channel, self.results)), (0, 30))


if __name__ == "__main__":
    unittest.main()
