"""Which faults every test reaches, how long it takes, and whether it passes without any."""
import concurrent.futures
import dataclasses
import os

import suite

LONGEST = 400  # seconds


def read_map(content):
    """The numbers whose byte is set."""
    return frozenset(number for number, byte in enumerate(content) if byte)


def trace(test, sandbox, folder, slot, size):
    """The test with what it reaches, and whether it passed."""
    path = os.path.join(folder, f"map{slot}")
    with open(path, "wb") as out:
        out.truncate(size)
    status, output, seconds = sandbox.run(test.command, test.directory,
                                          {**dict(test.environment), "TOVKIT_MUTANT_MAP": path}, LONGEST, LONGEST,
                                          output=True)
    with open(path, "rb") as content:
        reached = read_map(content.read())
    passed = status is not None and suite.passed(test, status, output)
    return dataclasses.replace(test, seconds=seconds, reaches=reached), passed, output


def trace_all(tests, sandbox, folder, size, jobs):
    """Every test that passes, with what it reaches; and the names and outputs of those that do not pass."""
    slots = list(range(jobs))
    def one(test):
        slot = slots.pop()
        try:
            return trace(test, sandbox, folder, slot, size)
        finally:
            slots.append(slot)
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        traced = list(pool.map(one, tests))
    return [test for test, passed, _ in traced if passed], {
        test.name: output for test, passed, output in traced if not passed}


def share_processes(tests, sandbox, jobs):
    """The groups of tests that pass in one process too. Tests that do not are taken one by one."""
    groups = {}
    for test in tests:
        groups.setdefault(test.group, []).append(test)

    def together(group):
        return all(sandbox.run(suite.joined(batch), batch[0].directory, dict(batch[0].environment), LONGEST, LONGEST,
                               keep=False)[0] == 0
                   for batch in suite.batches(group, first_seconds=LONGEST))
    wide = {key: group for key, group in groups.items() if len(group) > 1}
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        passed = dict(zip(wide, pool.map(together, wide.values())))
    return {key for key in groups if passed.get(key, False)}
