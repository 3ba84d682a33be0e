# SPDX-License-Identifier: MIT
"""What one place of a source can hold: a site is one change of the text that carries one fault or several."""
import dataclasses
import re

COMMENT = re.compile(rb"//[^\n]*|/\*.*?\*/", re.DOTALL)


def plain(text):
    """The text without comments, on one line."""
    return " ".join(COMMENT.sub(b" ", text).decode("utf-8", "replace").split())


@dataclasses.dataclass
class Fault:
    operator: str  # the kind of the fault, for people
    original: str
    changed: str


@dataclasses.dataclass
class Site:
    """`@` in the texts stands for the number of the site's first fault."""
    start: int  # bytes of the source that the site encloses
    end: int
    line: int
    column: int
    function: str
    constant: bool  # the function is constexpr: where the compiler computes, no fault is in force
    faults: list
    prefix: bytes = b""
    suffix: bytes = b""
    replaced: tuple = None  # (start, end, text) of an operator in the middle
    first: int = 0  # the number of the first fault, given when all are known

    def texts(self):
        number = str(self.first).encode() + b"u"
        if not self.constant:
            number = b"tovkit_mutant::Id(" + number + b")"
        fill = lambda text: text.replace(b"@", number)  # noqa: E731
        middle = self.replaced and (*self.replaced[:2], fill(self.replaced[2]))
        return fill(self.prefix), fill(self.suffix), middle


def apply(source, sites):
    """The source with every site in it, and for each site its range in the result."""
    edits = []  # (offset, order at one offset, end, text, site, whether it opens or closes)
    for order, site in enumerate(sites):
        prefix, suffix, middle = site.texts()
        # At one offset what closes stands before what opens; the outer opens first and closes last.
        edits.append((site.end, (0, -order), site.end, suffix, order, "close"))
        edits.append((site.start, (1, order), site.start, prefix, order, "open"))
        if middle:
            edits.append((middle[0], (1, order), middle[1], middle[2], order, ""))
    edits.sort(key=lambda edit: edit[:2])
    parts, ranges = [], [[0, 0] for _ in sites]
    at = length = 0
    for offset, _, end, text, order, role in edits:
        parts += [source[at:offset], text]
        length += offset - at
        if role == "open":
            ranges[order][0] = length
        length += len(text)
        if role == "close":
            ranges[order][1] = length
        at = end
    parts.append(source[at:])
    return b"".join(parts), ranges
