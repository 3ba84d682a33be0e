# SPDX-License-Identifier: MIT
"""What became of a run of which a system call failed: success, a documented failure, or a finding."""
import json
import re

from scenarios import JOBS, OLD

# A file that was made, though of other fonts or codecs than when all calls work: its first bytes and its last.
FORMS = {".png": (b"\x89PNG", b"IEND\xaeB`\x82"), ".pdf": (b"%PDF", b"%%EOF\n"), ".svg": (b"<?xml", b"</svg>\n"),
         ".webp": (b"RIFF", b"")}
# What fontconfig and Pango say on standard error by themselves: of their configuration, their cache and a font.
OF_LIBRARIES = (rb"Fontconfig (error|warning): .*", rb"write cache: .*", rb"\(process:\d+\): Pango-WARNING .*")
# Fontconfig's words for a file that it cannot read are memory that nobody has filled, in which a line may end.
UNREADABLE = re.compile(rb"^(Fontconfig error: failed reading config file: ).*?( \(errno \d+\))$", re.DOTALL | re.MULTILINE)
# GLib ends the process when it cannot make a thread, and Pango makes three for the first text.
THREADS, TRAP = ("clone3", "clone", "mmap", "mprotect"), -5
DONE, OTHER, FAILED, ENDED = "same result", "another picture", "documented failure", "ended by GLib"


class Finding(Exception):
    """Something that must not be."""


def require(holds, what):
    if not holds:
        raise Finding(what)


def lines(text):
    """Without those that show a place in a file, below the line that names it."""
    text = UNREADABLE.sub(rb"\1\2", text)
    return [line for line in text.split(b"\n") if line and not line.startswith(b"  ")]


def contents(folder):
    """{path: bytes} of every file, None for a folder."""
    return {str(path.relative_to(folder)): path.read_bytes() if path.is_file() else None for path in folder.rglob("*")}


def is_whole(name, data):
    first, last = FORMS[name[name.rindex("."):]]
    return data.startswith(first) and data.endswith(last)


def judge_output(scenario, name, data, good, succeeded):
    """DONE or OTHER for a new output, FAILED for the old one."""
    require(data is not None, f"{name} is gone")
    if data == good:
        return DONE
    if scenario.partial:
        require(data == OLD or good.startswith(data), f"{name} holds something else")
        return FAILED
    if data == OLD:
        require(not succeeded, f"success, but {name} is the old one")
        return FAILED
    require(is_whole(name, data), f"{name} is neither the old one nor whole: {data[:40]!r}, {len(data)} bytes")
    return OTHER


def judge_lines(scenario, run):
    """A failure is told by one line that is documented, and nothing is printed by a library."""
    said = lines(run.err) + (lines(run.out) if scenario.failed[0] != rb"tovkit: .+" else [])
    told = [line for line in said if any(re.fullmatch(pattern, line) for pattern in scenario.failed)]
    require(len(told) == 1, f"{len(told)} lines of failure: {said}")
    return told


def judge_results(run, outputs):
    """Each job has its line, which tells what became of its output, or the whole batch fails with a line."""
    told = [json.loads(line) for line in lines(run.out)]
    states = {result["id"]: result["state"] for result in told}
    require(len(states) == len(told), "a job has two results")
    if len(states) < JOBS:
        require(run.status == 1 and lines(run.err), "jobs without results, and not a word")
    for job, state in states.items():
        new = outputs[f"{job}.png"] != FAILED
        require(new == (state == "done"), f"{job} is {state}, its output is {'new' if new else 'old'}")
        require(state == "done" or run.status == 1, f"{job} is {state}, but the status {run.status}")


def judge(scenario, run, before, after, good, retried, call=""):
    """The verdict on a run.

    `before`, `after` and `good` are the contents of the folder before and after it and as a whole run leaves it; of a
    call that was only interrupted and is `retried` nothing may be seen. `call` is the one that failed.
    """
    require(run.status is not None, "hangs")
    if run.status == TRAP and call in THREADS:
        require(before == after, "ended by GLib, with other files than before")
        return ENDED
    require(run.status >= 0, f"ended by signal {-run.status}")
    require(run.status == 0 or run.status in scenario.statuses, f"exits with {run.status}: {run.err!r}")
    for line in lines(run.err):
        require(line.startswith(b"tovkit: ") or any(
            re.fullmatch(pattern, line) for pattern in (*scenario.failed, *OF_LIBRARIES)), f"printed: {line!r}")
    extra = set(after) - set(good if run.status == 0 else before)
    if scenario.results:
        extra -= set(good)
    require(not extra, f"left behind: {sorted(extra)}")
    outputs = {name: judge_output(scenario, name, after.get(name), good[name], run.status == 0 and not scenario.results)
               for name in scenario.outputs}
    if scenario.results:
        judge_results(run, outputs)
    elif run.status != 0:
        judge_lines(scenario, run)
        require(scenario.partial or all(output == FAILED for output in outputs.values()), "failed, with a new output")
    failed = run.status != 0 or FAILED in outputs.values()
    require(not (failed and retried), f"a call that was only interrupted is a failure: {run.err or run.out!r}")
    return FAILED if failed else OTHER if OTHER in outputs.values() else DONE
