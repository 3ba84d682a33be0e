# SPDX-License-Identifier: MIT
"""python3 bench/page BUILD [--rounds N] [SECTION...]: runs the benchmarks of a build and writes the page.

All sections go to docs/benchmarks.md. Named ones go to BUILD/benchmarks.md, since a page holds one run. What other
programs have measured ends the page: bench/growth keeps it in growth.md, bench/batch and bench/batch_limit in batch.md,
bench/python in python.md, bench/service in service.md, bench/queue in queue.md, tests/soak in soak.md.
"""
import argparse
import json
import os
import subprocess
import sys

import chart
import machine
import page
from notes import Notes
from rows import read_cases

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
MIN_TIME = 0.05  # seconds a round; a row that needs more says so itself


def programs(build):
    directory = os.path.join(build, "bench")
    return sorted(os.path.join(directory, name) for name in os.listdir(directory) if name.endswith("_bench"))


def run(program, out, rounds, pattern):
    """Writes the program's JSON, unless it has no case of the pattern."""
    listed = subprocess.run([program, f"--benchmark_filter={pattern}", "--benchmark_list_tests=true"],
                            capture_output=True, text=True, check=False).stdout
    rows = [line for line in listed.splitlines() if "/" in line]
    if not rows:
        return
    print(f"{os.path.basename(program)}: {len(rows)} rows", file=sys.stderr)
    subprocess.run([program, f"--benchmark_filter={pattern}", f"--benchmark_repetitions={rounds}",
                    "--benchmark_enable_random_interleaving=true", f"--benchmark_min_time={MIN_TIME}",
                    f"--benchmark_out={out}", "--benchmark_out_format=json"],
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)


def measure(arguments, wanted, results):
    pattern = f"^({'|'.join(wanted)})/" if wanted else "."
    os.makedirs(results, exist_ok=True)
    for stale in os.listdir(results):
        os.remove(os.path.join(results, stale))
    for program in programs(arguments.build):
        run(program, os.path.join(results, os.path.basename(program) + ".json"), arguments.rounds, pattern)


def read(results):
    documents = []
    for name in sorted(os.listdir(results)):
        with open(os.path.join(results, name), encoding="utf-8") as file:
            documents.append(json.load(file))
    return documents


def write(notes, documents, build, docs):
    os.makedirs(os.path.join(docs, "images"), exist_ok=True)
    cases = read_cases(documents)
    rounds = max(len(row.times) for case in cases for row in case.rows.values())
    sections = notes.arrange(cases)
    charts = {}
    for section in sections:
        picture = f"images/bench_{section.id}.png"
        if chart.draw(section, notes, os.path.join(docs, picture)):
            charts[section.id] = picture
    packages = {(notes.peers[who].get("library", notes.name(who)), notes.package(who))
                for section in sections for who in section.peers if notes.package(who)}
    versions = sorted((name, machine.package_version(package)) for name, package in packages)
    facts = machine.facts(build, documents[0]["context"])
    target = os.path.join(docs, "benchmarks.md")
    with open(target, "w", encoding="utf-8") as file:
        for line in page.render(sections, notes, facts, versions, rounds, charts):
            file.write(line + "\n")
        if docs != build:
            for kept in ("growth.md", "batch.md", "python.md", "service.md", "queue.md", "soak.md"):
                with open(os.path.join(HERE, kept), encoding="utf-8") as section:
                    file.write("\n" + section.read())
    print(target)
    for section in sections:
        for case, who, ratio in [*page.slower_rows(section), *page.dear_rows(section)]:
            if not section.reason(case, who):
                print(f"no reason: {case.facility}/{case.name}/{who} {ratio.middle:.2f}", file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench", description="Runs the benchmarks and writes the page.")
    parser.add_argument("build", help=argparse.SUPPRESS)
    parser.add_argument("--rounds", type=int, default=9, help="rounds of every row (9)")
    parser.add_argument("--again", action="store_true", help="write the page of the last run, with reasons edited since")
    parser.add_argument("sections", nargs="*", metavar="FACILITY", help="only these; see bench/page/notes.toml")
    arguments = parser.parse_intermixed_args()

    notes = Notes(os.path.join(HERE, "notes.toml"))
    known = {section.id: section.facilities for section in notes.sections}
    unknown = [name for name in arguments.sections if name not in known]
    if unknown:
        parser.error(f"{unknown[0]}: no such facility; there are {', '.join(known)}")
    wanted = [facility for name in arguments.sections for facility in known[name]]

    # What a run of a few facilities leaves must not be taken for a run of all.
    results = os.path.join(arguments.build, "results-of-some" if wanted else "results")
    if not arguments.again:
        measure(arguments, wanted, results)
    elif not os.path.isdir(results):
        parser.error("--again: nothing was measured yet")
    write(notes, read(results), arguments.build, arguments.build if wanted else os.path.join(SOURCE, "docs"))


main()
