# SPDX-License-Identifier: MIT
"""all.py BUILD HOME --minutes N: every fuzz target for some minutes, as many at once as there are processors.

BUILD holds the targets, HOME what they find: corpus, findings and totals.md, the table that is printed at the end. The minutes are those of the whole run. Decoders of pictures have two thirds of them. A target that fails is started anew
until its time is up, so that one finding hides no others. Exits with 1 when there are findings.
"""
import argparse
import concurrent.futures
import os
import pathlib
import sys
import time

import targets

TIMEOUT = 60  # seconds for one input
SHARE = 2 / 3  # of the time, for decoders
MOST_STARTS = 20


def seconds_each(names, minutes, processors):
    """{name: its seconds}; whatever the number of targets, they fill the minutes of all processors."""
    total = minutes * 60 * processors
    decoders = [name for name in names if name.startswith("decode_")]
    others = [name for name in names if name not in decoders]
    share = SHARE if decoders and others else 1.0
    return {**{name: total * share / len(decoders) for name in decoders},
            **{name: total * ((1 - share) or 1.0) / len(others) for name in others}}


def fuzz(build, home, name, seconds):
    """Executions of a target in so many seconds."""
    kept, found = home / "corpus" / name, home / "findings"
    kept.mkdir(parents=True, exist_ok=True)
    found.mkdir(parents=True, exist_ok=True)
    done, end = 0, time.monotonic() + seconds
    for turn in range(MOST_STARTS):
        left = int(end - time.monotonic())
        if left < 1:
            break
        path = build / f"{name}.log"
        with open(path, "wb") as log:
            options = [f"-max_total_time={left}", f"-timeout={TIMEOUT}", "-rss_limit_mb=2048", "-print_final_stats=1",
                       f"-artifact_prefix={found}/{name}-"]
            status = targets.start(build, name, options, [kept, targets.SEEDS / name], log).wait()
        done += targets.executions(path.read_text(encoding="utf-8", errors="replace"))
        if status == 0 or turn == MOST_STARTS - 1:
            break
    return done


def table(home, totals):
    yield "| target | executions | inputs kept | findings |"
    yield "|---|---:|---:|---:|"
    for name, done in sorted(totals.items()):
        found = targets.findings(home / "findings", name)
        yield f"| {name} | {done:,} | {len(list((home / 'corpus' / name).iterdir())):,} | {len(found)} |"
    yield f"| all | {sum(totals.values()):,} | | |"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("home", type=pathlib.Path)
    parser.add_argument("--minutes", type=float, required=True)
    options = parser.parse_args()
    build, home, processors = options.build.resolve(), options.home.resolve(), os.cpu_count()
    each = seconds_each(targets.names(), options.minutes, processors)
    with concurrent.futures.ThreadPoolExecutor(processors) as pool:
        runs = {name: pool.submit(fuzz, build, home, name, seconds) for name, seconds in each.items()}
        totals = {name: run.result() for name, run in runs.items()}
    text = "\n".join(table(home, totals)) + "\n"
    (home / "totals.md").write_text(text, encoding="utf-8")
    print(text, end="")
    return 1 if any(targets.findings(home / "findings", name) for name in totals) else 0


if __name__ == "__main__":
    sys.exit(main())
