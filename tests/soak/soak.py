#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""soak.py BUILD [--minutes N] [--record]: the server, a batch and every call of the library at once, for an hour.

Every few seconds it takes the memory, the descriptors and the processor time of each. In the last quarter of the time they
must be what they were in the second one: the first fills caches and pools. Prints the medians of both; --record draws
docs/images/bench_soak.png and writes bench/page/soak.md, which scripts/bench puts on the page of benchmarks.
"""
import argparse
import collections
import datetime
import os
import pathlib
import signal
import statistics
import sys
import tempfile
import time

import parts
import server  # which parts has made known

TOP = pathlib.Path(__file__).resolve().parents[2]
MEBIBYTE = 2**20
TICK = os.sysconf("SC_CLK_TCK")  # of the processor times in /proc, a second
LEAST_SAMPLES = 8  # of a quarter

Sample = collections.namedtuple("Sample", "minute memory descriptors jobs seconds")
Measure = collections.namedtuple("Measure", "name unit scale allowed")
# What the last quarter may have: of the median of the second, that times the factor and the rest.
MEASURES = {
    "memory": Measure("memory", "MiB", MEBIBYTE, lambda value: value * 1.05 + 4 * MEBIBYTE),
    "descriptors": Measure("descriptors", "", 1, lambda value: value + 2),
    "time": Measure("processor time of a job", "ms", 1e-3, lambda value: value * 1.25),
}


def processor_seconds(pids):
    """Of the processes, and of those of the first's children that have ended."""
    ticks = 0
    for i, pid in enumerate(pids):
        try:
            fields = pathlib.Path(f"/proc/{pid}/stat").read_text(encoding="utf-8").rsplit(")", 1)[1].split()
        except OSError:
            continue
        ticks += sum(map(int, fields[11:15 if i == 0 else 13]))
    return ticks / TICK


def sample(part, start):
    pids = part.processes()
    return Sample((time.monotonic() - start) / 60, sum(map(server.memory_of, pids)), sum(map(server.descriptors_of, pids)),
                  part.jobs(), processor_seconds(pids))


def series(samples):
    """{measure: [(minute, value)]}; the time of a job is that between two samples."""
    times = [(b.minute, (b.seconds - a.seconds) / (b.jobs - a.jobs)) for a, b in zip(samples, samples[1:]) if b.jobs > a.jobs]
    return {"memory": [(one.minute, one.memory) for one in samples],
            "descriptors": [(one.minute, one.descriptors) for one in samples], "time": times}


def quarters(points):
    """The medians of the second and of the last quarter."""
    count = max(1, len(points) // 4)
    return tuple(statistics.median(value for _, value in some) for some in (points[count:2 * count], points[-count:]))


def judge(found):
    """What is not flat, of {part: {measure: points}}, in words."""
    for part, measured in found.items():
        for key, points in measured.items():
            measure = MEASURES[key]
            if len(points) < 4 * LEAST_SAMPLES:
                yield f"{part}: {measure.name}: {len(points)} samples are too few"
                continue
            early, late = quarters(points)
            if late > measure.allowed(early):
                yield f"{part}: {measure.name}: {spelled(measure, early)} became {spelled(measure, late)}"


def spelled(measure, value):
    return f"{value / measure.scale:.3g} {measure.unit}".strip()


def table(found, jobs):
    yield "| | jobs | " + " | ".join(measure.name for measure in MEASURES.values()) + " |"
    yield "|---|---:|" + "---:|" * len(MEASURES)
    for part, measured in found.items():
        cells = [" → ".join(spelled(MEASURES[key], value) for value in quarters(points)) for key, points in measured.items()]
        yield f"| {part} | {jobs[part]:,} | {' | '.join(cells)} |"


def draw(found, path):
    import matplotlib  # pylint: disable=import-outside-toplevel
    matplotlib.use("Agg")
    from matplotlib import pyplot  # pylint: disable=import-outside-toplevel
    figure, rows = pyplot.subplots(len(MEASURES), 1, figsize=(9, 7), dpi=100, sharex=True)
    for axes, (key, measure) in zip(rows, MEASURES.items()):
        for part, measured in found.items():
            minutes, values = zip(*measured[key])
            axes.plot(minutes, [value / measure.scale for value in values], linewidth=1, label=part)
        axes.set_ylim(bottom=0)
        axes.set_ylabel(measure.name + (f", {measure.unit}" if measure.unit else ""), fontsize=8)
        axes.tick_params(labelsize=7)
        axes.grid(linewidth=0.4, alpha=0.6)
    rows[0].legend(fontsize=7, frameon=False, loc="upper left", bbox_to_anchor=(1.01, 1))
    rows[-1].set_xlabel("minutes", fontsize=8)
    figure.savefig(path, bbox_inches="tight", metadata={"Software": None})
    pyplot.close(figure)


def page(found, jobs, minutes):
    yield "## Soak"
    yield ""
    yield (f"Measured by `tests/soak/soak.py` on {datetime.date.today()}, apart from the rest of this page, in {minutes:g} minutes:"
           " a server whose clients ask for labels as fast as answers come, one batch of the same labels and a loop over"
           " every call of the library, side by side on two cores, each with one worker that is never replaced. The medians"
           " of the second quarter and, behind the arrow, of the last one; the time is that of the processor, by the"
           " kernel's clock.")
    yield ""
    yield from table(found, jobs)
    yield ""
    yield "![Memory, descriptors and processor time of a job, which stay level](images/bench_soak.png)"


def run(build, minutes):
    """({part: {measure: points}}, {part: jobs}, what went wrong)."""
    between = max(1.0, minutes * 60 / 400)
    samples, problems = collections.defaultdict(list), []
    with tempfile.TemporaryDirectory(prefix="tovkit-soak-") as folder:
        start = time.monotonic()
        running = []
        try:
            for part in parts.PARTS:
                running.append(part(build, pathlib.Path(folder)))
            while time.monotonic() < start + minutes * 60:
                time.sleep(between)
                for part in running:
                    samples[part.name].append(sample(part, start))
        finally:
            for part in running:
                problems += part.finish()
    return ({name: series(taken) for name, taken in samples.items()}, {name: taken[-1].jobs for name, taken in samples.items()},
            problems)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--minutes", type=float, default=60)
    parser.add_argument("--record", action="store_true")
    options = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # which ends the parts
    found, jobs, problems = run(options.build.resolve(), options.minutes)
    problems += judge(found)
    print("\n".join(table(found, jobs)))
    for problem in problems:
        print(problem, file=sys.stderr)
    if options.record and not problems:
        draw(found, TOP / "docs/images/bench_soak.png")
        (TOP / "bench/page/soak.md").write_text("\n".join(page(found, jobs, options.minutes)) + "\n", encoding="utf-8")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
