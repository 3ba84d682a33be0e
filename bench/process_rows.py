# SPDX-License-Identifier: MIT
"""Whole processes as rows of the benchmark page: each command once a round, in random order.

Takes the options of Google Benchmark that bench/page passes and writes its JSON. Times are elapsed. `case_commands` is a
function that returns the commands by case and by who; it is called in an empty folder in which they run later.
"""
import argparse
import json
import os
import pathlib
import random
import re
import statistics
import subprocess
import sys
import tempfile
import time

TOVKIT = pathlib.Path(__file__).resolve().parent.parent / "cli/tovkit"


def seconds(command):
    start = time.monotonic()
    subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    return time.monotonic() - start


def peak_memory(command):
    """The most that one of the command's processes had in memory, in MiB."""
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"{command}: ended with {status}")
    process.returncode = 0
    return usage.ru_maxrss / 1024


def picture_size(name):
    told = subprocess.run([TOVKIT, "image", name, "--info"], check=True, capture_output=True, text=True).stdout
    return re.search(r"^size: (.*)$", told, re.MULTILINE).group(1)


def measure(jobs, rounds):
    """Seconds of each round by job."""
    times = {job: [] for job in jobs}
    for _ in range(rounds):
        for job in random.sample(list(jobs), len(jobs)):
            times[job].append(seconds(jobs[job]))
    return times


def rows(families):
    """Google Benchmark's runs of (name, seconds of each round)."""
    for family, (name, values) in enumerate(families):
        for repetition, value in enumerate(values):
            yield {"name": name, "family_index": family, "per_family_instance_index": 0, "run_type": "iteration",
                   "repetition_index": repetition, "real_time": value * 1e3, "cpu_time": value * 1e3, "time_unit": "ms"}


def options(description):
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--benchmark_filter", default=".")
    parser.add_argument("--benchmark_list_tests", default="false")
    parser.add_argument("--benchmark_repetitions", type=int, default=9)
    parser.add_argument("--benchmark_out")
    parser.add_argument("--memory", action="store_true", help="print the peak memory of each command instead")
    return parser.parse_known_args()[0]


def tell_memory(wanted):
    for case, of_case in wanted.items():
        for who, command in of_case.items():
            print(f"{case:24} {who:14} {peak_memory(command):8.1f} MiB")


def write(runs, out):
    if out:
        context = {"date": time.strftime("%Y-%m-%dT%H:%M:%S"), "load_avg": list(os.getloadavg())}
        pathlib.Path(out).write_text(json.dumps({"context": context, "benchmarks": runs}), encoding="utf-8")
        return
    for name in dict.fromkeys(run["name"] for run in runs):
        values = [run["real_time"] for run in runs if run["name"] == name]
        print(f"{name:50} {statistics.median(values):9.1f} ms")


def main(facility, description, case_commands, check, prepare, families):
    """`prepare` makes the inputs, check(case, commands) runs every command once and compares what came out, and
    families(cases, rounds) measures."""
    arguments = options(description)
    wanted = {case: of_case for case, of_case in case_commands().items()
              if any(re.search(arguments.benchmark_filter, f"{facility}/{case}/{who}") for who in of_case)}
    if arguments.benchmark_list_tests == "true":
        for case, of_case in wanted.items():
            print(*(f"{facility}/{case}/{who}" for who in of_case), sep="\n")
        return
    if not wanted:
        return
    out = os.path.abspath(arguments.benchmark_out) if arguments.benchmark_out else None
    memory = "/dev/shm" if os.path.isdir("/dev/shm") else None  # what a disk takes is not on the clock
    with tempfile.TemporaryDirectory(prefix=f"{facility}-", dir=memory) as scratch:
        os.chdir(scratch)
        prepare()
        for case, of_case in wanted.items():
            check(case, of_case)
        if arguments.memory:
            tell_memory(wanted)
        else:
            write(list(rows(families(wanted, arguments.benchmark_repetitions))), out)
        os.chdir("/")
