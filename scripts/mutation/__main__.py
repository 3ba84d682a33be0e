# SPDX-License-Identifier: MIT
"""Plants faults in the sources and tells which of them the tests notice. docs/mutation.md describes it."""
import argparse
import fcntl
import os
import signal
import subprocess
import sys
import time

import places
import reach
import report
import sandbox as boxes
import schemata as schemes
import suite
import trial
import units
from accepted import Accepted
from plan import Plan, survivors_of

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.join(ROOT, "build", "release")
WORK = os.path.join(ROOT, "build", "mutate")
ACCEPTED = os.path.join(os.path.dirname(os.path.abspath(__file__)), "accepted.txt")


def parse_arguments():
    parser = argparse.ArgumentParser(prog="scripts/mutate", description=__doc__)
    what = parser.add_mutually_exclusive_group(required=True)
    what.add_argument("--since", metavar="REV", help="only in lines that differ from this revision")
    what.add_argument("--all", action="store_true", help="in every line")
    parser.add_argument("--minutes", type=float, default=0, help="try faults for this long (default: until all are tried)")
    parser.add_argument("--sample", metavar="N", type=int, default=0,
                        help="plant only the first N faults of the order, which makes the build a quick one")
    parser.add_argument("--seed", default="1", help="draws the order in which faults are tried (default: 1)")
    parser.add_argument("--only", metavar="PART", action="append", default=[],
                        help="only faults of this folder or file; may be repeated")
    parser.add_argument("--survivors", action="store_true", help="only faults that the last run's tests did not notice")
    parser.add_argument("--queue", action="store_true", help="run the tests that make a broker of their own too")
    parser.add_argument("--without", metavar="PATTERN", default="",
                        help="leave out tests whose names match, so that the figures are lower bounds")
    parser.add_argument("--seconds", type=float, default=trial.MOST_SECONDS,
                        help="of tests for one fault at most (default: 60)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="processes side by side (default: all cores)")
    parser.add_argument("--list", action="store_true", help="list the faults and try none")
    return parser.parse_args()


def say(text):
    print(text, flush=True)


def sources(options, changed):
    """The files that can hold faults, those of --only and --since."""
    listed = subprocess.run(["git", "-C", ROOT, "ls-files", "--cached", "--others", "--exclude-standard"], check=True,
                            capture_output=True, text=True).stdout.splitlines()
    files = {path for path in listed if places.is_source(path) and os.path.exists(os.path.join(ROOT, path))}
    if options.only:
        files = {path for path in files if any(path == only or path.startswith(only.rstrip("/") + "/")
                                               for only in options.only)}
    return files if changed is None else files & changed.keys()


def find(options, files, changed):
    """The sites of the files, in the lines that are asked for."""
    found, missing = units.find_sites(ROOT, BUILD, files, options.jobs)
    if missing:
        say("Compiled into nothing: " + ", ".join(sorted(missing)))
    if changed is not None:
        found = {path: [site for site in sites if site.line in changed[path]] for path, sites in found.items()}
    return {path: sites for path, sites in found.items() if sites}


def build_release():
    subprocess.run(["cmake", "--preset", "release"], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", BUILD], check=True, stdout=subprocess.DEVNULL)


def prepare(options, found):
    """The build with every fault, and the tests that pass in it with what they reach."""
    start = time.monotonic()
    schemes.copy_build(BUILD, WORK)
    scheme = schemes.Schemata(ROOT, WORK, found)
    scheme.write()
    scheme.mount()
    scheme.build(BUILD, os.path.join(WORK, "build.log"))
    lost = sum(len(site.faults) for _, site in scheme.left_out)
    say(f"Built in {time.monotonic() - start:.0f} s; {lost} faults that do not compile are left out")

    start = time.monotonic()
    out = os.path.join(WORK, "out")
    os.makedirs(out, exist_ok=True)
    tests = suite.list_tests(BUILD) + (suite.queue_tests(ROOT, BUILD) if options.queue else [])
    tests = suite.without(tests, options.without)
    boxes.freeze(out)
    sandbox = boxes.Sandbox(ROOT, os.path.join(BUILD, "tests"), out)
    useful, together, failed = reach.trace_all(tests, sandbox, out, scheme.end, options.jobs)
    for name, output in sorted(failed.items()):
        say(f"Fails without any fault, so it is not used: {name}\n{output[-600:]}")
    if len(failed) == len(tests):
        raise RuntimeError("no test passes in the sandbox")
    say(f"Traced {len(tests)} tests in {time.monotonic() - start:.0f} s; {len(useful)} reach a fault")
    return scheme, trial.Trial(useful, together, sandbox, most=options.seconds)


def name_unused(options, files, accepted, strays):
    """The accepted entries whose line is gone, and those of the files, wholly looked at, that match no fault."""
    for entry in strays:
        say("Accepted, but its line is gone: " + " | ".join(entry))
    if options.all:
        for entry in accepted.unused(files):
            if entry not in strays:
                say("Accepted, but no fault of the sources: " + " | ".join(entry))


def try_faults(options, trials, plan, order):
    start = last = time.monotonic()

    def progress(done):
        nonlocal last
        if time.monotonic() - last > 60:
            last = time.monotonic()
            lost = sum(each["outcome"] not in report.NOTICED for each in done)
            say(f"{(last - start) / 60:.0f} min: {len(done)} tried, {lost} not noticed")
    with open(os.path.join(WORK, "out", "outcomes.jsonl"), "w", encoding="utf-8") as log:
        outcomes = trials.run_all(order, options.jobs, options.minutes * 60, log, progress)
    said = report.Report(outcomes, plan.faults, plan.accepted)
    say(f"Tried {len(outcomes)} of {len(order)} faults (seed {options.seed}) in {(time.monotonic() - start) / 60:.1f} min\n")
    say(said.table() + "\n")
    if said.survivors:
        say("Not noticed:\n" + said.list_survivors())
        with open(os.path.join(WORK, "out", "survivors.txt"), "w", encoding="utf-8") as out:
            out.write(said.list_entries())
    for line in said.failures():
        say(line)
    return 1 if said.failures() else 0


def main():
    options = parse_arguments()
    # Whoever starts this in the background may ignore them, and tests wait for what they end.
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT):
        signal.signal(number, signal.SIG_DFL)
    with open(ACCEPTED, encoding="utf-8") as entries:
        accepted = Accepted(entries.read())
    changed = None if options.all else places.changed_since(ROOT, options.since)
    files = sources(options, changed)
    if not files:
        say("No source line to plant a fault in")
        return 0
    os.makedirs(WORK, exist_ok=True)
    # Read only: a mount with a file open for writing cannot become read-only.
    with open(os.open(os.path.join(WORK, "lock"), os.O_RDONLY | os.O_CREAT, 0o644)) as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        build_release()
        strays = accepted.strays(ROOT)  # while the sources are what they are, without a fault
        start = time.monotonic()
        found = find(options, files, changed)
        count = sum(len(site.faults) for sites in found.values() for site in sites)
        say(f"{count} faults in {len(found)} files, found in {time.monotonic() - start:.0f} s")
        scheme = schemes.Schemata(ROOT, WORK, found)
        scheme.write()
        if options.list:
            faults = schemes.list_faults(scheme).values()
            for fault in faults:
                note = " (accepted)" if accepted.accepts(fault) else ""
                say(f"{fault['number']} {fault['file']}:{fault['line']}:{fault['column']}: {fault['operator']}: "
                    f"{fault['original']} -> {fault['changed']}{note}")
            name_unused(options, files, accepted, strays)
            return 0
        if not count:
            return 0
        only = survivors_of(os.path.join(WORK, "out", "outcomes.jsonl")) if options.survivors else None
        plan = Plan(scheme, accepted, options.seed, options.sample, only)
        if not plan.picks:
            say("No fault to try")
            return 0
        scheme, trials = prepare(options, plan.sites() if options.sample or options.survivors else found)
        status = try_faults(options, trials, plan, plan.order(scheme))
        name_unused(options, files, accepted, strays)
        return status


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (RuntimeError, ValueError, subprocess.CalledProcessError) as error:
        sys.exit(f"scripts/mutate: {error}")
