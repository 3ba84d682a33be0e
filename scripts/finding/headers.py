# SPDX-License-Identifier: MIT
"""What the exported headers say, and of which name."""
import re

from definitions import sources

NAME = re.compile(r"(~?\w+)\(|(?:class|struct|enum) (?:class )?(?:TOVKIT_\w+ |TOVMX_\w+ )?(\w+)|(\w+)(?: = [^;,]*)?[;,]?\s*(?:///<.*)?$")


def words_of(text):
    return re.findall(r"\w+", text.lower())


class Saying:
    """A comment of a header: where it begins, its text and the names that it is about."""

    def __init__(self, path, line, text, names):
        self.path, self.line, self.text, self.names = path, line, text, names
        self.words = words_of(text)
        self.pairs = set(zip(self.words, self.words[1:]))


def declared(line, inside):
    """The name that a line declares, with its class."""
    goes_on = line.startswith("   ") and "///<" not in line
    code = "" if goes_on or "= delete" in line else line.split("//")[0].strip()
    found = NAME.search(code) if code and code[0] not in "#}{" and not code.endswith(":") else None
    name = next((part for part in found.groups() if part), "") if found else ""
    return f"{inside}::{name}" if name and inside and not re.match(r"\S", line) else name


def enumerators(lines, at):
    end = next(n for n in range(at, len(lines)) if "}" in lines[n])
    return [found[1] for line in lines[at + 1:end] if (found := re.match(r" +(\w+)", line))]


def sayings(path):
    lines, at, inside = path.read_text().split("\n"), 0, ""
    while at < len(lines):
        line = lines[at]
        if opened := re.match(r"(?:class|struct|enum) (?:class )?(?:TOVKIT_\w+ |TOVMX_\w+ )?(\w+)[^;]*$", line):
            inside = opened[1]
        elif line.startswith("}"):
            inside = ""
        if "///<" in line and not line.strip().startswith("///"):
            yield Saying(path, at + 1, line.split("///<")[1], [declared(line, inside)])
        if not line.strip().startswith("///"):
            at += 1
            continue
        first, text = at, []
        while at < len(lines) and lines[at].strip().startswith("///"):
            text.append(re.sub(r"[\\@](code.*|\w+|[{}])", " ", lines[at].strip()[3:]))
            at += 1
        names = []
        while at < len(lines) and lines[at].strip() and not lines[at].strip().startswith("///"):
            names.append(declared(lines[at], inside))
            if re.match(r"(?:class|struct) ", lines[at]) and not lines[at].rstrip().endswith(";"):
                break
            if re.match(r" *enum ", lines[at]):
                names += enumerators(lines, at)
                break
            if "///<" in lines[at]:
                break
            at += 1
        if inside and not any(names):
            names = [inside]  # an operator, say
        yield Saying(path, first + 1, " ".join(text), [n for n in dict.fromkeys(names) if n])


def said_of_groups(path):
    """The comments of a header; one in front of a group is about what the group declares."""
    said = list(sayings(path))
    ends = [n for n, line in enumerate(path.read_text().split("\n"), 1) if re.match(r"\s*/// @}", line)]
    for at, saying in enumerate(said):
        if not saying.names and at > 0:
            end = min((n for n in ends if n > saying.line), default=0)
            saying.names = [name for other in said[at + 1:] if other.line < end for name in other.names if name]
    return said


def find(sentence):
    """The comment that holds most of the sentence; None when none holds half of it."""
    words = words_of(sentence)
    pairs = set(zip(words, words[1:]))
    best = max((s for path in sources(["include", "core/include"]) for s in said_of_groups(path)),
               key=lambda s: len(pairs & s.pairs) * 1000 - len(s.words))
    return best if 2 * len(pairs & best.pairs) >= len(pairs) > 0 else None
