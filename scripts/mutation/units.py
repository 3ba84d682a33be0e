# SPDX-License-Identifier: MIT
"""What libclang is shown: the units of the compile database that hold the sources, with the flags that it knows."""
import functools
import json
import multiprocessing
import os
import re
import shlex
import subprocess

import rewriter
from places import is_source

UNKNOWN_TO_CLANG = ("-fcf-protection", "-fno-semantic-interposition", "-fstack-clash-protection", "-fno-plt",
                    "-fprofile-", "-Werror")


def words_of(entry):
    return entry.get("arguments") or shlex.split(entry["command"])


def output_of(entry):
    words = words_of(entry)
    return words[words.index("-o") + 1] if "-o" in words else ""


def arguments_of(entry):
    """The arguments of a compile command without compiler, input, output and what clang does not know.

    A header that GCC has precompiled is none that clang reads; the sources name what they need of it themselves.
    """
    words = words_of(entry)
    start = next(i for i, word in enumerate(words) if word.startswith("-"))
    kept, skip = [], False
    for word, following in zip(words[start:], [*words[start + 1:], ""]):
        if skip:
            skip = False
        elif word == "-o" or (word == "-include" and following.endswith("/cmake_pch.hxx")):
            skip = True
        elif word != "-c" and word != entry["file"] and not word.startswith(UNKNOWN_TO_CLANG):
            kept.append(word)
    return kept + ["-w"]


def includers(build):
    """For each object of the build what it was compiled from."""
    listing = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True, capture_output=True, text=True).stdout
    found, paths = {}, None
    for line in listing.splitlines():
        if line.startswith("    "):
            paths.add(os.path.normpath(os.path.join(build, line.strip())))
        elif ": #deps" in line:
            paths = found.setdefault(line.split(": #deps")[0], set())
    return found


def choose(root, build, files):
    """The fewest units, roughly, that show each of the files (named from the root)."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as database:
        entries = json.load(database)
    sources = includers(build)
    missing = {os.path.join(root, path) for path in files}
    chosen = []
    # A source's own unit comes first, then units of ours, then those of tests.
    entries.sort(key=lambda entry: (entry["file"] not in missing, "/tests/" in entry["file"]))
    for entry in entries:
        shown = missing & (sources.get(output_of(entry), set()) | {entry["file"]})
        if shown:
            chosen.append(entry)
            missing -= shown
    return chosen, {os.path.relpath(path, root) for path in missing}


def sites_of(entry, root):
    """The sites that one unit shows: a map from the path, named from the root."""
    def ours(path):
        return path.startswith(root + "/") and is_source(os.path.relpath(path, root))
    os.chdir(entry["directory"])
    found = rewriter.rewrite(rewriter.parse(entry["file"], arguments_of(entry)), ours)
    return {os.path.relpath(path, root): sites for path, sites in found.items()}


def find_sites(root, build, files, jobs):
    """The sites of the files. ValueError when a unit does not parse."""
    entries, missing = choose(root, build, files)
    found = {}
    with multiprocessing.Pool(jobs) as pool:
        for result in pool.imap(functools.partial(sites_of, root=root), entries):
            for path, sites in result.items():
                if path in files:
                    found.setdefault(path, sites)
    return {path: found[path] for path in sorted(found)}, missing


ERROR = re.compile(r"^(/[^:\n]+):(\d+):(\d+):(?: (?:fatal )?error:|\s+required (?:from|by))", re.MULTILINE)


def read_errors(output, root):
    """The places that a compiler's output complains about: (path from the root, line, column)."""
    return {(os.path.relpath(path, root), int(line), int(column)) for path, line, column in ERROR.findall(output)
            if path.startswith(root + "/")}
