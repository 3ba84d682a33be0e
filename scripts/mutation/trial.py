# SPDX-License-Identifier: MIT
"""Tries faults: the tests that reach one run with it in force, until one fails."""
import collections
import concurrent.futures
import json
import threading
import time

import suite

MOST_SECONDS = 60.0  # of tests for one fault, by their usual time


class Trial:
    """`together` are the groups whose tests may share a process."""

    def __init__(self, tests, together, sandbox, patience=1.0, most=MOST_SECONDS):
        self.sandbox, self.together, self.patience, self.most = sandbox, together, patience, most
        self.reaching = collections.defaultdict(list)
        for test in tests:
            for number in test.reaches:
                self.reaching[number].append(test)
        self.noticed = collections.defaultdict(collections.Counter)  # file: how often a group noticed its faults

    def plan(self, fault):
        """Batches of tests: first of programs that noticed other faults of the file, each the quickest first."""
        groups = collections.defaultdict(list)
        for test in self.reaching.get(fault["number"], []):
            key = test.group if test.group in self.together else (test.group, test.name)
            groups[key].append(test)
        counts = self.noticed[fault["file"]]
        planned = []
        for members in groups.values():
            for batch in suite.batches(members):
                seconds = sum(test.seconds for test in batch)
                planned.append((seconds / (1 + 4 * counts[members[0].command[0]] / (1 + counts.total())), seconds, batch))
        return sorted(planned, key=lambda each: each[:2])

    def run(self, fault):
        """The fault with its outcome: killed, timed out, survived, survived in part of its tests, or not reached."""
        start, used, outcome, by = time.monotonic(), 0.0, "not reached", ""
        for _, seconds, batch in self.plan(fault):
            if used and used + seconds > self.most:
                outcome = "survived in part"
                break
            outcome = "survived"
            used += seconds
            first = batch[0]
            status, output, _ = self.sandbox.run(
                suite.joined(batch), first.directory,
                {**dict(first.environment), "TOVKIT_MUTANT": str(fault["number"])},
                wall=self.patience * (20 + 10 * seconds), cpu=self.patience * (4 + 4 * seconds), keep=False,
                output=bool(first.pattern))
            if status is None or not suite.passed(first, status, output):
                # The processor time that a process may use ends it by a signal: SIGXCPU, then SIGKILL.
                outcome = "timed out" if status in (None, 128 + 24, 128 + 9) else "killed"
                by = first.name if len(batch) == 1 else f"{first.name} and {len(batch) - 1} more"
                self.noticed[fault["file"]][first.command[0]] += 1
                break
        return {**fault, "outcome": outcome, "by": by, "seconds": round(time.monotonic() - start, 2)}

    def run_all(self, faults, jobs, seconds, log, progress):
        """The outcomes of the faults, in any order, until the time is up. Each goes into the log at once."""
        queue, done, lock = iter(faults), [], threading.Lock()
        end = time.monotonic() + seconds if seconds else float("inf")

        def work():
            while time.monotonic() < end:
                with lock:
                    fault = next(queue, None)
                if fault is None:
                    return
                outcome = self.run(fault)
                with lock:
                    done.append(outcome)
                    log.write(json.dumps(outcome) + "\n")
                    log.flush()
                    progress(done)
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            for worker in [pool.submit(work) for _ in range(jobs)]:
                worker.result()
        return done
