# SPDX-License-Identifier: MIT
"""Fails the system calls of the command and of the library one by one, and looks at what becomes of each run.

    calls COMMAND LIBRARY            up to --each points of each call, error and scenario, spread over the run
    calls COMMAND LIBRARY --all      every one
    calls COMMAND LIBRARY --only draw-png --call write

COMMAND is tovkit, LIBRARY the program of library_calls.cc. After each: the result, or a documented failure with one line
and a documented status; the old output or the new one, whole; nothing left behind; no signal, no hang. Exits with 1 when
there are findings, with 77 where processes cannot be traced.
"""
import argparse
import collections
import concurrent.futures
import itertools
import os
import pathlib
import shutil
import sys
import tempfile
import time

import scenarios
import tracing
import verdict

LIMIT = 60  # seconds for one run, which takes a tenth of one


class Sweep:
    """One scenario: how it ends when all goes well, and then with each call failing."""

    def __init__(self, scenario, scratch, shared):
        self.scenario, self.scratch, self.shared = scenario, scratch, shared
        self.numbers = itertools.count()
        self.environment = scenarios.environment(shared)

    def run(self, execute):
        """execute(folder) in a fresh folder: its result, and the contents before and after."""
        folder = self.scratch / f"{self.scenario.name}-{next(self.numbers)}"
        self.scenario.prepare(folder, self.shared)
        before = verdict.contents(folder)
        try:
            return execute(folder), before, verdict.contents(folder)
        finally:
            shutil.rmtree(folder)

    def points(self):
        self.run(self.whole)  # fills the cache of the fonts
        (calls, run), _, self.good = self.run(
            lambda folder: tracing.trace(self.scenario.command, folder, self.environment, LIMIT))
        if run.status != 0:
            sys.exit(f"{self.scenario.name} fails when all calls work: {run.err.decode()}")
        return list(tracing.points(calls))

    def whole(self, folder):
        return tracing.execute(self.scenario.command, folder, self.environment, LIMIT)

    def judge(self, point):
        run, before, after = self.run(
            lambda folder: tracing.run_with(point, self.scenario.command, folder, self.environment, LIMIT))
        # The loader of a worker makes a failure of an interrupted close.
        retried = point.error == "EINTR" and point.ours and not (self.scenario.results and point.call == "close")
        return verdict.judge(self.scenario, run, before, after, self.good, retried, point.call)


def chosen(points, each):
    """Up to `each` of the points with the same call, error and owner, spread over the run."""
    groups = collections.defaultdict(list)
    for point in points:
        groups[point.call, point.error, point.ours].append(point)
    for group in groups.values():
        if len(group) > each:
            last = len(group) - 1
            group = [group[last * i // max(each - 1, 1)] for i in range(each)]
        yield from group


def arguments():
    parser = argparse.ArgumentParser(prog="calls", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("command")
    parser.add_argument("library")
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--each", type=int, default=2)
    parser.add_argument("--only", action="append", metavar="SCENARIO")
    parser.add_argument("--call", action="append")
    return parser.parse_args()


def sweep(scenario, options, scratch, shared, pool):
    """Counts by verdict, and the findings as lines."""
    one = Sweep(scenario, scratch, shared)
    points = [point for point in one.points() if not options.call or point.call in options.call]
    tried = points if options.all else list(chosen(points, options.each))
    counts, findings = collections.Counter(), []

    def judged(point):
        try:
            return one.judge(point)
        except verdict.Finding as finding:
            return finding

    for point, outcome in zip(tried, pool.map(judged, tried)):
        if isinstance(outcome, verdict.Finding):
            counts["findings"] += 1
            findings.append(f"{scenario.name}: {point.call} {point.number} {point.error}: {outcome}\n    {point.text[:200]}")
        else:
            counts[outcome] += 1
    return len(points), counts, findings


def main():
    options = arguments()
    if not tracing.can_trace():
        print("processes cannot be traced here (strace is missing, or ptrace is forbidden)")
        return 77
    total, tried, findings, start = 0, 0, [], time.monotonic()
    columns = (verdict.DONE, verdict.OTHER, verdict.FAILED, verdict.ENDED, "findings")
    with tempfile.TemporaryDirectory(prefix="tovkit-calls-") as name, concurrent.futures.ThreadPoolExecutor(
            os.cpu_count()) as pool:
        scratch = pathlib.Path(name)
        scenarios.make_shared(scratch / "shared")
        for scenario in scenarios.scenarios(os.path.abspath(options.command), os.path.abspath(options.library)):
            if options.only and scenario.name not in options.only:
                continue
            points, counts, found = sweep(scenario, options, scratch, scratch / "shared", pool)
            total, tried, findings = total + points, tried + counts.total(), findings + found
            print(f"{scenario.name}: {counts.total()} of {points} points:",
                  ", ".join(f"{counts[column]} {column}" for column in columns), flush=True)
    print("\n".join(findings))
    print(f"{tried} of {total} points, {len(findings)} findings, {time.monotonic() - start:.0f} s")
    return 1 if findings else 0


sys.exit(main())
