# SPDX-License-Identifier: MIT
"""Where the tool is, and small sources rewritten by it."""
import os
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
TOOL = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts", "mutation")
sys.path.insert(0, os.path.abspath(TOOL))

import reach  # noqa: E402, F401
import rewriter  # noqa: E402
import sites as site_text  # noqa: E402


def find(source, flags=("-std=c++20",)):
    """The sites of a source, numbered from 1."""
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "source.cc")
        with open(path, "w", encoding="utf-8") as out:
            out.write(source)
        found = rewriter.rewrite(rewriter.parse(path, list(flags)), lambda name: name == path).get(path, [])
    number = 1
    for site in found:
        site.first = number
        number += len(site.faults)
    return found


def faults(source):
    """(operator, original, changed) of every fault."""
    return [(fault.operator, fault.original, fault.changed) for site in find(source) for fault in site.faults]


def in_body(statements, parameters="int a, int b"):
    """The faults of statements in a function without result."""
    return [fault[1:] for fault in faults(f"int g(int); struct S {{ int n; }}; void f({parameters}) {{ {statements} }}")]


class Program:
    """A source with all its faults in it, compiled."""

    def __init__(self, source, folder, flags=()):
        self.sites = find(source)
        text, _ = site_text.apply(source.encode(), self.sites)
        copy = os.path.join(folder, "copy.cc")
        with open(copy, "wb") as out:
            out.write(b'#include "mutant.h"\n' + text)
        self.path = os.path.join(folder, "program")
        subprocess.run(["c++", "-std=c++20", "-O1", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-I", TOOL, *flags, copy,
                        "-o", self.path], check=True)

    def run(self, number=0, **environment):
        run = subprocess.run([self.path], env={"TOVKIT_MUTANT": str(number), **environment}, capture_output=True,
                             text=True, timeout=60, check=False)
        return run.stdout.strip() if run.returncode >= 0 else f"signal {-run.returncode}"

    def outcomes(self):
        """What each fault makes of the output: a map from its changed text."""
        return {fault.changed: self.run(site.first + i) for site in self.sites for i, fault in enumerate(site.faults)}
