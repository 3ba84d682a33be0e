# SPDX-License-Identifier: MIT
"""Which faults every test reaches, how long it takes, and whether it passes without any."""
import concurrent.futures
import dataclasses
import os

import suite

LONGEST = 400  # seconds


def read_map(content):
    """The numbers whose byte is set."""
    return frozenset(number for number, byte in enumerate(content) if byte)


def run_mapped(command, test, sandbox, path, size):
    """What a command, one of the test's program, reaches: exit status (None: time up), output, seconds, numbers."""
    with open(path, "wb") as out:
        out.truncate(size)
    status, output, seconds = sandbox.run(command, test.directory, {**dict(test.environment), "TOVKIT_MUTANT_MAP": path},
                                          LONGEST, LONGEST, output=True)
    with open(path, "rb") as content:
        return status, output, seconds, read_map(content.read())


def on_slots(function, items, folder, jobs):
    """function(item, path) for all items, `jobs` side by side, each with the path of a map of its own."""
    slots = [os.path.join(folder, f"map{i}") for i in range(jobs)]

    def one(item):
        path = slots.pop()
        try:
            return function(item, path)
        finally:
            slots.append(path)
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        return list(pool.map(one, items))


def trace_all(tests, sandbox, folder, size, jobs):
    """What each test reaches: the tests that reach a fault and pass, the groups of them that may share a process, and the
    outputs of the tests that fail."""
    groups = {}
    for test in tests:
        groups.setdefault(test.group, []).append(test)

    # Each program once as a whole: whether its tests pass in one process, and whether any of them is worth a look.
    def survey(item, path):
        key, members = item
        batches = suite.batches(members, first_seconds=float("inf"))
        runs = [run_mapped(suite.joined(batch), batch[0], sandbox, path, size) for batch in batches]
        return key, all(status == 0 for status, *_ in runs), frozenset().union(*(run[3] for run in runs))
    wide = [(key, members) for key, members in groups.items() if len(members) > 1]
    surveyed = on_slots(survey, wide, folder, jobs)
    together = {key for key, passed, _ in surveyed if passed}
    idle = {key for key, passed, reached in surveyed if passed and not reached}

    def trace(test, path):
        status, output, seconds, reached = run_mapped(test.command, test, sandbox, path, size)
        passed = status is not None and suite.passed(test, status, output)
        return dataclasses.replace(test, seconds=seconds, reaches=reached), passed, output
    traced = on_slots(trace, [test for test in tests if test.group not in idle], folder, jobs)
    return ([test for test, passed, _ in traced if passed and test.reaches], together,
            {test.name: output for test, passed, output in traced if not passed})
