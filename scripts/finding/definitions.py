# SPDX-License-Identifier: MIT
"""Functions and classes of the sources, read as text: nothing has to be built."""
import pathlib
import re

FOLDERS = ["include", "base", "convert", "imaging", "util", "geometry", "system", "json", "core", "jobs", "cli"]
KEYWORDS = {"if", "for", "while", "switch", "return", "sizeof", "assert", "catch", "static_cast", "defined"}
HEAD = re.compile(r"^(?![#/}\s]|using |typedef )[\w:<>,&*~\s\[\]]*?\b((?:\w+::)*~?\w+)\(")
MEMBER = re.compile(r"^  (?! |return |throw |else )[\w:<>,&*~\s\[\]]*?(?<![\w~])(~?\w+)\(")
CLASS = re.compile(r"^(?:template.*>\s*)?(?:class|struct) (?:TOVKIT_\w+ |TOVMX_\w+ )?(\w+)[^;]*$")
TEST = re.compile(r"^(?:TYPED_)?TEST(?:_[FP])?\((\w+), (\w+)\)")
INCLUDE = re.compile(r'^#include [<"](?:.*/)?([\w.]+)[>"]', re.M)


class Function:
    """A function with a body, or a class: where it stands and what is in it."""

    def __init__(self, path, line, name, body):
        self.path, self.line, self.name, self.body = path, line, name, body
        self.text = "\n".join(body)
        self.is_class = bool(body) and body[0].startswith(("class", "struct"))

    def last(self):
        return self.name.split("::")[-1]

    def mentioned(self):
        """Names in the body that are called or handed on, in their order."""
        code = "\n".join(line.split("//")[0] for line in self.body)
        inside = code[code.find("{"):]
        found = re.findall(r"(?:\w+::)*(?:[A-Z]\w+|\w+(?=\())", inside)
        return [name for name in dict.fromkeys(found) if name not in (self.name, self.last()) and name not in KEYWORDS]


def body_from(lines, at, indent):
    """The lines of a definition that begins at `at`; nothing for a declaration."""
    for end in range(at, min(at + 12, len(lines))):
        text = lines[end].split("//")[0].rstrip()
        if text.endswith(";") and "{" not in text:
            return []
        if "{" in text:
            if text.endswith("}") or text.endswith("};"):
                return lines[at:end + 1]
            break
    else:
        return []
    for end in range(at + 1, len(lines)):
        if lines[end].startswith(indent + "}"):
            return lines[at:end + 1]
    return []


def functions(path):
    lines = path.read_text(errors="replace").split("\n")
    inside = ""
    for at, line in enumerate(lines):
        if found := CLASS.match(line):
            inside = found[1]
            yield Function(path, at + 1, inside, body_from(lines, at, ""))
        elif line.startswith("}"):
            inside = ""
        found, indent = HEAD.match(line), ""
        if not found and inside:
            found, indent = MEMBER.match(line), "  "
        if not found or found[1] in KEYWORDS or TEST.match(line):
            continue
        if body := body_from(lines, at, indent):
            yield Function(path, at + 1, f"{inside}::{found[1]}" if indent else found[1], body)


def sources(folders):
    for folder in folders:
        for path in sorted(pathlib.Path(folder).rglob("*")):
            if path.suffix in (".cc", ".h"):
                yield path


class Tree:
    """Every function of the production code, by the last part of its name, and what a file can see."""

    def __init__(self):
        self.known, self.headers, self.seen = {}, {}, {}
        for path in sources(FOLDERS):
            if path.suffix == ".h":
                self.headers.setdefault(path.name, []).append(path)
            for function in functions(path):
                self.known.setdefault(function.last(), []).append(function)

    def named(self, name):
        """What is called so; where the class has another name within, every member of that name."""
        same = self.known.get(name.split("::")[-1], [])
        exact = [f for f in same if f.name == name or f.name.endswith("::" + name)]
        return exact or same

    def users(self, name):
        """Functions that name what has no code of its own, such as a field or a constant."""
        word = re.compile(rf"\b{re.escape(name.split('::')[-1])}\b")
        return [f for same in self.known.values() for f in same
                if not f.is_class and word.search(f.text)]

    def members(self, name):
        """The members of a class that are defined outside of it."""
        return [f for same in self.known.values() for f in same if f.name.startswith(name + "::")]

    def text_seen(self, path):
        """The file and the headers of ours that it includes, as one text."""
        if path not in self.seen:
            own = path.read_text(errors="replace")
            included = [p for name in INCLUDE.findall(own) for p in self.headers.get(name, [])]
            self.seen[path] = "\n".join([own] + [p.read_text(errors="replace") for p in included])
        return self.seen[path]

    def callees(self, function):
        """What the function calls or hands on, as far as its file can see the names and they are not everybody's."""
        for name in function.mentioned():
            if not re.search(rf"\b{re.escape(name.split('::')[-1])}\b", self.text_seen(function.path)):
                continue
            found = [f for f in self.named(name) if f.path == function.path]
            found = found or [f for f in self.named(name) if f.path.parts[0] == function.path.parts[0]]
            found = found or [f for f in self.named(name) if f.path.stem in self.stems(function.path)]
            if len(found) <= 3:
                yield from found
                # What a visitor does with each value is in its members, which nobody here calls by name.
                yield from (f for c in found if c.is_class for f in self.members(c.last()) if f.path == c.path)

    def stems(self, path):
        """Names of the headers that the file includes, and of those of the core, which are not named as its sources."""
        text = path.read_text(errors="replace")
        stems = {pathlib.Path(name).stem for name in INCLUDE.findall(text)}
        core = re.search(r"#include <tovmx/", text) is not None
        return stems | ({p.stem for p in sources(["core"])} if core else set())
