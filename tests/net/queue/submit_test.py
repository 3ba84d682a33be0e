# SPDX-License-Identifier: MIT
"""tovkit submit, whole and interrupted."""
import json
import os
import signal
import unittest

from support import QueueTest, await_that, job, read_lines, write_jobs


class SubmitTest(QueueTest):
    def test_outputs_and_results_are_those_of_a_batch(self):
        self.draw_once(200)
        self.declare()
        worker = self.working("--inline")
        submit = self.submit("jobs.jsonl", "--result-queue", self.results, "--results", "results.jsonl", "-C", "out")
        self.assertEqual(submit.wait(), 0, submit.errors())
        self.assert_same_outputs("out")

        def told(path):
            return sorted(json.dumps({key: value for key, value in line.items() if key not in ("seconds", "worker")})
                          for line in read_lines(self.folder / path))
        self.assertEqual(told("results.jsonl"), told("once.jsonl"))
        self.stop(worker)

    def test_jobs_without_ids_and_lines_that_are_no_jobs(self):
        channel = self.declare()
        worker = self.working()
        lines = [json.dumps({"draw": {"Content": "x"}, "out": "a.png"}), "", "nonsense", json.dumps(job("1")),
                 json.dumps(job("1", out="b.png")), json.dumps({"id": "bad", "paint": 1})]
        (self.folder / "jobs.jsonl").write_text("\n".join(lines) + "\n")
        submit = self.submit("jobs.jsonl", "--result-queue", self.results)
        self.assertEqual(submit.wait(), 1, submit.errors())
        states = {line["id"]: line["state"] for line in read_lines(submit.out)}
        self.assertEqual(states, {"line 1": "done", "line 3": "failed", "1": "done", "line 5": "failed", "bad": "failed"})
        self.assertIn("3 of 5 jobs failed", submit.errors())
        self.stop(worker)
        self.assertEqual(self.count(channel, self.results), 0)

    def test_without_a_queue_of_results_it_only_sends(self):
        channel = self.declare()
        write_jobs(self.folder / "jobs.jsonl", 3000)
        submit = self.submit("jobs.jsonl")
        self.assertEqual(submit.wait(), 0, submit.errors())
        self.assertIn(f"3000 jobs are in '{self.queue}'", submit.errors())
        self.assertEqual(self.count(channel), 3000)
        method, properties, body = channel.basic_get(self.queue, auto_ack=True)
        self.assertEqual((method.redelivered, properties.delivery_mode, properties.message_id), (False, 2, "0"))
        self.assertEqual(json.loads(body), job(0))

    def test_queues_are_made_where_that_is_asked_for(self):
        write_jobs(self.folder / "jobs.jsonl", 3)
        submit = self.submit("jobs.jsonl", "--declare")
        self.assertEqual(submit.wait(), 0, submit.errors())
        channel = self.client()
        self.assertEqual((self.count(channel), self.count(channel, self.queue + ".dead")), (3, 0))
        # Made anew with other settings, they would be refused.
        self.declare(channel)

    def test_results_of_others_stay(self):
        channel = self.declare()
        for body in (json.dumps({"id": "stranger", "state": "done"}), "no result", json.dumps({"id": "7"})):
            channel.basic_publish("", self.results, body)
        worker = self.working()
        write_jobs(self.folder / "jobs.jsonl", 20)
        submit = self.submit("jobs.jsonl", "--result-queue", self.results, "--results", "results.jsonl")
        self.assertEqual(submit.wait(), 0, submit.errors())
        self.assertIn("3 results of other jobs stay in", submit.errors())
        self.stop(worker)
        await_that(lambda: self.count(channel, self.results) == 3, "the results of others")

    def test_only_one_collects(self):
        self.declare()
        write_jobs(self.folder / "jobs.jsonl", 1)
        first = self.submit("jobs.jsonl", "--result-queue", self.results, name="first")
        await_that(lambda: self.count(self.client()) == 1, "the job")
        second = self.submit("jobs.jsonl", "--result-queue", self.results, name="second")
        self.assertEqual(second.wait(), 1)
        self.assertIn("exclusive", second.errors())
        first.signal()
        self.assertEqual(first.wait(), 75)
        self.assertIn("interrupted with jobs left to do; 1 of 1 that were sent have no result", first.errors())

    def test_a_result_is_written_before_the_broker_forgets_it(self):
        channel = self.declare()
        write_jobs(self.folder / "jobs.jsonl", 2)
        submit = self.submit("jobs.jsonl", "--result-queue", self.results, "--results", "results.jsonl")
        await_that(lambda: self.count(channel) == 2, "the jobs")
        self.take(channel, self.queue)  # nobody does this one
        worker = self.working()
        await_that((self.folder / job(1)["out"]).exists, "the picture of the other")
        self.stop(worker)

        def forgotten():
            told = self.broker.control("list_queues", "--quiet", "--no-table-headers", "name", "messages")
            return f"{self.results}\t0" in told.splitlines()
        await_that(forgotten, "the acknowledgment of its result")
        submit.process.kill()
        submit.process.wait()
        self.assertEqual([line["state"] for line in read_lines(self.folder / "results.jsonl")], ["done"])

    def test_who_reads_late_gets_every_result(self):
        """More of them than a pipe holds, read when there is nothing left to wait for but their reader."""
        channel = self.declare()
        worker = self.working("-C", "out")
        write_jobs(self.folder / "jobs.jsonl", 2000)
        os.mkfifo(self.folder / "submit.out")
        with open(os.open(self.folder / "submit.out", os.O_RDONLY | os.O_NONBLOCK), encoding="utf-8") as late:
            submit = self.submit("jobs.jsonl", "--result-queue", self.results)
            await_that(lambda: len(list((self.folder / "out").glob("*/*.png"))) == 2000, "the jobs are done")
            self.stop(worker)
            await_that(lambda: self.count(channel, self.results) == 0, "the results are taken")
            os.set_blocking(late.fileno(), True)
            ids = sorted(int(json.loads(line)["id"]) for line in late)
        self.assertEqual(ids, list(range(2000)))
        self.assertEqual(submit.wait(), 0, submit.errors())

    def test_patience_ends(self):
        self.declare()
        write_jobs(self.folder / "jobs.jsonl", 5)
        submit = self.submit("jobs.jsonl", "--result-queue", self.results, "--patience", "500ms")
        self.assertEqual(submit.wait(), 75)
        self.assertIn("no result has come for a long time; 5 of 5", submit.errors())

    def test_it_goes_on_where_it_was_killed(self):
        count = 3000
        self.draw_once(count)
        channel = self.declare()
        worker = self.working("-C", "out")
        words = ("jobs.jsonl", "--result-queue", self.results, "--results", "results.jsonl", "--resume")
        for number in range(4):
            submit = self.submit(*words, name=f"submit{number}")
            lines = (number + 1) * count // 6
            await_that(lambda: (self.folder / "results.jsonl").exists()
                       and (self.folder / "results.jsonl").read_bytes().count(b"\n") >= lines, submit.errors)
            submit.signal(signal.SIGKILL)
            submit.wait()
        # What is done meanwhile waits in the queue, and is not sent again.
        await_that(lambda: self.count(channel) == 0 and self.count(channel, self.results) > 0, "the queue is empty")
        before = self.count(channel, self.results)
        last = self.submit(*words, name="last")
        self.assertEqual(last.wait(), 0, last.errors())
        self.assertGreater(before, 0)
        results = read_lines(self.folder / "results.jsonl")
        self.assertEqual({line["id"] for line in results if line["state"] == "done"}, set(map(str, range(count))))
        self.assert_same_outputs("out")
        again = self.submit(*words, name="again")
        self.assertEqual(again.wait(), 0, again.errors())
        self.stop(worker)
        self.assertEqual(self.count(channel), 0)

    def test_a_job_that_has_changed_is_sent_again(self):
        channel = self.declare()
        worker = self.working("-C", "out")
        words = ("jobs.jsonl", "--result-queue", self.results, "--results", "results.jsonl", "--resume")
        (self.folder / "jobs.jsonl").write_text(json.dumps(job(1)) + "\n")
        first = self.submit(*words, name="first")
        self.assertEqual(first.wait(), 0, first.errors())
        before = (self.folder / "out/1/1.png").read_bytes()
        (self.folder / "jobs.jsonl").write_text(json.dumps(job(1, size="100x30")) + "\n")
        # A result of the older text that came late is not taken for one of the new.
        channel.basic_publish("", self.results, json.dumps(read_lines(self.folder / "results.jsonl")[0]))
        second = self.submit(*words, name="second")
        self.assertEqual(second.wait(), 0, second.errors())
        self.assertEqual(len(read_lines(self.folder / "results.jsonl")), 2)
        self.assertNotEqual((self.folder / "out/1/1.png").read_bytes(), before)
        self.stop(worker)


if __name__ == "__main__":
    unittest.main()
