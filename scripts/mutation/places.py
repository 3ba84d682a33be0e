# SPDX-License-Identifier: MIT
"""Where faults are planted, what changed there, and how parts are named."""
import os
import re
import subprocess

# Folders that are not there yet are looked at when they are.
FOLDERS = ("base", "core", "json", "convert", "imaging", "util", "geometry", "system", "jobs", "service", "python", "cli",
           "include")
SUFFIXES = (".cc", ".h")


def is_source(path):
    """Whether the file, named from the root of the repository, can hold faults."""
    return path.split("/")[0] in FOLDERS and path.endswith(SUFFIXES)


def part_of(path):
    """The row of the report that a file counts in: a folder, or one within the core or the service."""
    folders = path.split("/")[:-1]
    return "/".join(folders[:2]) if folders[0] in ("core", "service") else folders[0]


def read_diff(text):
    """Of a diff without context: the new lines of each file that can hold faults."""
    changed, lines = {}, None
    for line in text.splitlines():
        if line.startswith("+++ "):
            path = line[4:].split("\t")[0].removeprefix("b/")
            lines = changed.setdefault(path, set()) if is_source(path) else None
        elif lines is not None and (found := re.match(r"@@ -\S+ \+(\d+)(?:,(\d+))? @@", line)):
            first, count = int(found[1]), int(found[2] or 1)
            lines.update(range(first, first + count))
    return {path: lines for path, lines in changed.items() if lines}


def changed_since(root, revision):
    """The lines that differ from the revision, those that git does not know yet among them."""
    def git(*arguments):
        return subprocess.run(["git", "-C", root, *arguments], check=True, capture_output=True, text=True,
                              errors="replace").stdout
    changed = read_diff(git("diff", "--unified=0", "--no-color", "--no-ext-diff", "--src-prefix=a/", "--dst-prefix=b/",
                            revision, "--"))
    for path in git("ls-files", "--others", "--exclude-standard").splitlines():
        if is_source(path):
            with open(os.path.join(root, path), "rb") as source:
                changed[path] = set(range(1, source.read().count(b"\n") + 2))
    return changed
