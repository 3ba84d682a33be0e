# SPDX-License-Identifier: MIT
"""What runs during a soak: the server under load, one batch that does not end, and the loop over every call.

Each has `name`, `jobs()` done so far, `processes()` that it is made of, and `finish()`, which ends it and tells what went
wrong. Whatever they write lies in the folder that they are given.
"""
import json
import pathlib
import subprocess
import sys
import threading

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TESTS / "net/service"), str(TESTS / "support")]
import server  # noqa: E402  pylint: disable=wrong-import-position

NEVER = "1000000000"  # jobs after which a worker is replaced: what it loses is to be seen
PATIENCE = 30  # seconds that an end may take


def children(pid):
    found = []
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        found += (task / "children").read_text(encoding="utf-8").split()
    return found


def ended(process):
    """The exit status of what has been told to end, or was killed for not doing so."""
    try:
        return process.wait(PATIENCE)
    except subprocess.TimeoutExpired:
        process.kill()
        return process.wait()


class ServicePart:
    """Labels, each with a text of its own, for as many clients as there are workers, as fast as answers come."""
    name = "tovkit serve"

    def __init__(self, build, _folder):
        self.server = server.Server(build, "-j", "1", "--cache", "4M", "--recycle", NEVER)
        self.server.__enter__()
        self.load = server.Load(self.server, 2, name="soak")
        self.load.__enter__()

    def jobs(self):
        return self.load.count()

    def processes(self):
        return [self.server.process.pid, *self.server.workers()]

    def finish(self):
        self.load.__exit__()
        statuses, failures = self.load.statuses(), self.load.failures
        status = self.server.end()
        self.server.__exit__()
        if statuses != [200] or failures or status != 0:
            yield f"{self.name}: answers {statuses}, failures {failures[:3]}, exit status {status}"


class BatchPart:
    """One `tovkit batch` that reads jobs as they are made; its pipe says how many it wants. Pictures are removed as soon as
    their results are there."""
    name = "tovkit batch"

    def __init__(self, build, folder):
        self.folder = folder / "batch"
        self.folder.mkdir()
        self.done, self.bad, self.ending = 0, [], threading.Event()
        self.process = subprocess.Popen([build / "cli/tovkit", "batch", "-j", "1", "--recycle", NEVER, "--directory", self.folder],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, encoding="utf-8")
        self.threads = [threading.Thread(target=work, daemon=True) for work in (self.write, self.read)]
        for thread in self.threads:
            thread.start()

    def write(self):
        number = 0
        with self.process.stdin as jobs:
            while not self.ending.is_set():
                number += 1
                drawing = json.loads(server.label(f"the text of number {number}")[1])
                try:
                    jobs.write(json.dumps({"id": f"{number}", "draw": drawing, "size": "400x120", "out": f"{number}.png"}) + "\n")
                except BrokenPipeError:
                    return

    def read(self):
        for line in self.process.stdout:
            result = json.loads(line)
            if result["state"] == "done":
                (self.folder / result["output"]).unlink()
                self.done += 1
            else:
                self.bad.append(line)

    def jobs(self):
        return self.done

    def processes(self):
        return [self.process.pid, *map(int, children(self.process.pid))]

    def finish(self):
        self.ending.set()
        status = ended(self.process)
        for thread in self.threads:
            thread.join(PATIENCE)
        told = self.process.stderr.read()
        left = [path.name for path in self.folder.iterdir()]
        if status != 0 or self.bad or left:
            yield f"{self.name}: exit status {status}, {self.bad[:3]}, left behind: {left[:3]}, {told[-300:]}"


class CallsPart:
    """The loop over every call of the library."""
    name = "every call"

    def __init__(self, build, folder):
        self.folder = folder / "calls"
        self.folder.mkdir()
        self.rounds = 0
        self.process = subprocess.Popen([build / "tests/soak/tovkit_every_call", self.folder], stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, encoding="utf-8")
        self.thread = threading.Thread(target=self.read, daemon=True)
        self.thread.start()

    def read(self):
        for line in self.process.stdout:
            self.rounds = int(line)

    def jobs(self):
        return self.rounds

    def processes(self):
        return [self.process.pid]

    def finish(self):
        self.process.terminate()
        status = ended(self.process)
        self.thread.join(PATIENCE)
        left = [path.name for path in self.folder.iterdir()]
        if status != 0 or left:
            yield f"{self.name}: exit status {status}, left behind: {left[:3]}, {self.process.stderr.read()[-300:]}"


PARTS = (ServicePart, BatchPart, CallsPart)
