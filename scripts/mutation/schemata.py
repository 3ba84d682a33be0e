# SPDX-License-Identifier: MIT
"""One build that holds every fault: rewritten copies stand before the sources, and what does not compile is left out."""
import json
import os
import shutil
import subprocess

import sites as site_text
import units

HEADER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "mutant.h")
MOST_ROUNDS = 25


class Schemata:
    """The rewritten sources, `found` being their sites; `root` is the repository, `work` the folder of copies."""

    def __init__(self, root, work, found):
        self.root, self.work = root, os.path.join(work, "sources")
        # Headers first, and each file from a round number on: what was compiled before keeps its numbers, and its place
        # in the compiler's cache, when another file changes.
        paths = sorted(found, key=lambda path: (not path.endswith(".h"), path))
        self.sites = {path: list(found[path]) for path in paths if found[path]}
        self.texts, self.ranges = {}, {}
        self.left_out = []  # (path, site) that do not compile
        number = 1
        for sites in self.sites.values():
            for site in sites:
                site.first = number
                number += len(site.faults)
            number = -(-number // 100) * 100
        self.end = number

    def write(self):
        """Writes every copy that is not as it should be; in place, since others are mounted on it."""
        for path in self.sites:
            with open(os.path.join(self.work, path) if path in self.texts else os.path.join(self.root, path),
                      "rb") as source:
                old = source.read()
            if path not in self.texts:
                self.texts[path] = old
            text, self.ranges[path] = site_text.apply(self.texts[path], self.sites[path])
            lead = f'#include "{HEADER}"\n#line 1 "{os.path.join(self.root, path)}"\n'.encode()
            if old != lead + text:
                copy = os.path.join(self.work, path)
                os.makedirs(os.path.dirname(copy), exist_ok=True)
                with open(copy, "wb") as out:
                    out.write(lead + text)

    def mount(self):
        for path in self.sites:
            subprocess.run(["mount", "-n", "--bind", os.path.join(self.work, path), os.path.join(self.root, path)], check=True)

    def leave_out(self, places):
        """Takes the sites out that the compiler complains about. False when there are none."""
        doomed = {}
        for path, line, column in places:
            if path in self.sites:
                doomed.setdefault(path, set()).update(self.blamed(path, line, column))
        for path, indices in doomed.items():
            self.left_out += [(path, self.sites[path][i]) for i in sorted(indices)]
            self.sites[path] = [site for i, site in enumerate(self.sites[path]) if i not in indices]
        return any(doomed.values())

    def blamed(self, path, line, column):
        """The innermost site around the place, else those of the line, of the function, of the file."""
        text, _ = site_text.apply(self.texts[path], self.sites[path])
        lines = text.split(b"\n")
        offset = sum(len(each) + 1 for each in lines[:line - 1]) + column - 1
        around = [(end - start, i) for i, (start, end) in enumerate(self.ranges[path]) if start <= offset < end]
        if around:
            return {min(around)[1]}
        sites = self.sites[path]
        low = sum(len(each) + 1 for each in self.texts[path].split(b"\n")[:line - 1])
        high = self.texts[path].find(b"\n", low)
        of_line = {i for i, site in enumerate(sites) if site.start <= high and site.end >= low}
        before = [site.function for site in sites if site.line <= line]
        of_function = {i for i, site in enumerate(sites) if before and site.function == before[-1]}
        return of_line or of_function or set(range(len(sites)))

    def build(self, build, log):
        """Builds until everything compiles. RuntimeError when it does not for another reason than a fault."""
        open(log, "w", encoding="utf-8").close()
        # The libraries first: most of what does not compile shows there, before every test includes it too.
        for targets in (["tovmx", "tovkit"], []):
            rounds = 0
            while not self.builds(["ninja", "-C", build, "-k", "0", *targets], log):
                rounds += 1
                if rounds == MOST_ROUNDS:
                    raise RuntimeError(f"the rewritten sources do not build after {rounds} rounds: see {log}")

    def builds(self, command, log):
        """Whether everything compiles. If not, what does not is left out, for the next attempt."""
        run = subprocess.run(command, capture_output=True, text=True, errors="replace", check=False)
        with open(log, "a", encoding="utf-8") as out:
            out.write(run.stdout + run.stderr)
        if run.returncode == 0:
            return True
        if not self.leave_out(units.read_errors(run.stdout, self.root)):
            raise RuntimeError(f"the rewritten sources do not build: see {log}")
        self.write()
        return False


def copy_build(build, work):
    """A copy of the finished build, so that only what a rewritten source is part of is compiled again."""
    copy = os.path.join(work, "release")
    shutil.rmtree(copy, ignore_errors=True)
    subprocess.run(["cp", "-a", "--reflink=auto", build, copy], check=True)
    subprocess.run(["mount", "-n", "--bind", copy, build], check=True)


def list_faults(schemata):
    """Every fault as a plain record, by number."""
    faults = {}
    for path, sites in schemata.sites.items():
        lines = schemata.texts[path].decode("utf-8", "replace").split("\n")
        for site in sites:
            for i, fault in enumerate(site.faults):
                faults[site.first + i] = {
                    "number": site.first + i, "file": path, "line": site.line, "column": site.column,
                    "function": site.function, "constant": site.constant, "operator": fault.operator,
                    "original": fault.original, "changed": fault.changed, "text": lines[site.line - 1].strip()}
    return faults


def save(path, content):
    with open(path, "w", encoding="utf-8") as out:
        json.dump(content, out, indent=0)
