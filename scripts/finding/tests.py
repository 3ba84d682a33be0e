# SPDX-License-Identifier: MIT
"""Which tests reach a name, and which of them speak of what is looked for."""
import math
import pathlib
import re

from definitions import INCLUDE, TEST, body_from, functions, sources

COMMON = set("""a an and are as at be been before both but by can does each first for from has have in into is it its
last made may no none not of on one only or other same so such that the their then there they this to was were what
when where which while who with without would""".split())


def stem(word):
    word = word.lower()
    for ending in ("ing", "ed", "es", "s"):
        if word.endswith(ending) and len(word) - len(ending) >= 3:
            return word[:-len(ending)]
    return word


def stems(text):
    """Words that tell something, CamelCase taken apart."""
    parts = re.findall(r"[A-Z]?[a-z]+|[A-Z]+(?![a-z])|\d+", text)
    return {stem(part) for part in parts if part.lower() not in COMMON and len(part) > 1}


class Test:
    """A test, or a function of a program that tests run."""

    def __init__(self, path, line, title, comment, body):
        self.path, self.line, self.title, self.comment, self.body = path, line, title, comment, body
        self.weak = False  # only what the file includes names it
        self.in_title, self.in_text = stems(title), stems(comment) | stems("\n".join(body))

    def score(self, weights, folders, holder):
        """More fits better. `holder` is the class of the name, lower case, or empty."""
        told = sum(weight * (3 if word in self.in_title else 1 if word in self.in_text else 0)
                   for word, weight in weights.items())
        if holder and holder not in (self.title + self.path.stem.replace("_", "")).lower():
            told *= 0.7
        return (told + 0.5) * (0.4 if self.weak else 1) * (1 if self.path.parts[1] in folders else 0.6)


def tests_of(path):
    text = path.read_text(errors="replace")
    lines = text.split("\n")
    for at, line in enumerate(lines):
        if found := TEST.match(line):
            first = at
            while first > 0 and lines[first - 1].startswith("//"):
                first -= 1
            yield Test(path, at + 1, f"{found[1]}.{found[2]}", "\n".join(lines[first:at]), body_from(lines, at, ""))
    if "TEST" not in text and re.search(r"^int main\(", text, re.M):
        for function in functions(path):
            if function.last() != "main":
                above = lines[max(0, function.line - 4):function.line - 1]
                comment = "\n".join(line for line in above if line.startswith("//"))
                yield Test(path, function.line, f"{function.last()}, of a program that tests run", comment, function.body)


def callable_name(name):
    """What stands in a text that calls it: a class for its constructor and its destructor."""
    parts = name.split("::")
    special = parts[-1].startswith("~") or (len(parts) > 1 and parts[-1] == parts[-2])
    return parts[-1].lstrip("~") if not special or len(parts) < 2 else parts[-2]


TABLE = re.compile(r"^(?:static |inline |const |constexpr )+[\w:<>,*& ]+? (\w+)(?:\[\w*\])? (?:= |\{)", re.M)
ALIAS = re.compile(r"^using (\w+) = [^;]*;", re.M)


def leading_to(path, text, calls):
    """What the file calls functions, tables and types of its own that lead to what `calls` finds."""
    own = [(f.last(), f.text) for f in functions(path)]
    own += [(found[1], text[found.start():text.find(";\n", found.start())]) for found in TABLE.finditer(text)]
    own += [(found[1], found[0]) for found in ALIAS.finditer(text)]
    names = set()
    while more := {name for name, code in own if calls.search(code)} - names:
        names |= more
        calls = either(calls, more)
    return names


def either(calls, names):
    words = [rf"\b{re.escape(name)}\b" for name in sorted(names)]
    return re.compile("|".join([calls.pattern, *words]))


def pasted_fields(text, names):
    """Fields named like the part before ## of a macro that makes the names: setMember for SetMember##Name."""
    parts = set(re.findall(r"\b(\w{2,})##", text))
    longest = [max((p for p in parts if callable_name(n).startswith(p)), key=len, default="") for n in names]
    return {p[0].lower() + p[1:] for p in longest if p}


def reaching(names):
    """The tests that call one of the names, by themselves, through what their file makes of it or through a header."""
    calls = re.compile(r"\b(?:" + "|".join(re.escape(callable_name(n)) for n in names) + r")\b")
    shared, fields = {}, set()
    for path in sources(["tests"]):
        text = path.read_text(errors="replace") if path.suffix == ".h" else ""
        made = pasted_fields(text, names)
        if made or calls.search(text):
            shared[path.name] = leading_to(path, text, calls)
            fields |= made
    as_field = re.compile(r"(?:\.|->)(?:" + "|".join(sorted(fields)) + r")\b") if fields else None
    titled = [re.compile(rf"{re.escape(callable_name(n))}(?![A-Z0-9]\w*\.|[a-z])") for n in names]
    for path in sources(["tests"]):
        text = path.read_text(errors="replace")
        through = shared.keys() & set(INCLUDE.findall(text))
        if path.suffix != ".cc" or not (through or calls.search(text)):
            continue
        here = either(calls, {name for header in through for name in shared[header]})
        here = either(here, leading_to(path, text, here))
        for test in tests_of(path):
            body = "\n".join(test.body)
            direct = here.search(body) or (through and as_field and as_field.search(body))
            direct = direct or any(t.search(test.title) for t in titled)
            if direct or through:
                test.weak = not direct
                yield test


def ranked(names, words, folders):
    """All that reach the names, the one that speaks most of the words first."""
    found = list(reaching(names))
    wanted, weights = stems(words), {}
    holder = names[0].split("::")[-2].lower() if "::" in names[0] else ""
    for word in wanted:
        having = sum(word in t.in_title or word in t.in_text for t in found)
        weights[word] = math.log(1 + len(found) / having) if having else 0
    return sorted(found, key=lambda t: (-t.score(weights, folders, holder), str(t.path), t.line))
