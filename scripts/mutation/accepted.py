# SPDX-License-Identifier: MIT
"""The survivors that are accepted, one by one, each with its reason.

An entry is matched by the text of its line and of its fault, so that it moves with the line:

    file: core/codec/stream.cc
    line: if (count > left) count = left;
    fault: count > left -> count >= left
    reason: equivalent: both branches leave the same count
"""
import os

FIELDS = ("file", "line", "fault", "reason")


def describe(fault):
    return f"{fault['original']} -> {fault['changed']}"


def entry_of(fault):
    """How the fault is written into the file, without a reason."""
    return f"file: {fault['file']}\nline: {fault['text']}\nfault: {describe(fault)}\n"


class Accepted:
    def __init__(self, text):
        """ValueError for an entry that lacks a field, a reason above all, or has one twice, and for a second entry of
        one fault."""
        self.entries, self.used = {}, set()
        entry = {}
        for number, line in enumerate([*text.splitlines(), ""], 1):
            if line.startswith("#"):
                continue
            if not line.strip():
                if entry:
                    self.take(entry, number)
                entry = {}
                continue
            field, colon, value = line.partition(":")
            if not colon or field not in FIELDS or field in entry:
                raise ValueError(f"line {number}: not one of the fields {', '.join(FIELDS)}, each once: {line}")
            entry[field] = value.strip()

    def take(self, entry, number):
        missing = [field for field in FIELDS if not entry.get(field)]
        if missing:
            raise ValueError(f"the entry before line {number} lacks {', '.join(missing)}")
        key = entry["file"], entry["line"], entry["fault"]
        if key in self.entries:
            raise ValueError(f"the entry before line {number} stands there twice: {' | '.join(key)}")
        self.entries[key] = entry["reason"]

    def accepts(self, fault):
        key = (fault["file"], fault["text"], describe(fault))
        if key not in self.entries:
            return False
        self.used.add(key)
        return True

    def strays(self, root):
        """The entries whose line stands nowhere in their file, or whose file is gone."""
        lines = {}
        for path in {key[0] for key in self.entries}:
            try:
                with open(os.path.join(root, path), encoding="utf-8", errors="replace") as source:
                    lines[path] = {line.strip() for line in source.read().split("\n")}
            except FileNotFoundError:
                lines[path] = set()
        return [key for key in self.entries if key[1] not in lines[key[0]]]

    def unused(self, files):
        """The entries of these files that no fault has matched."""
        return [key for key in self.entries if key[0] in files and key not in self.used]
