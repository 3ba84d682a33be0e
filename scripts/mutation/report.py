# SPDX-License-Identifier: MIT
"""What a run says: a table of the parts, the survivors, and whether the floor is reached."""
import collections
import math

from accepted import describe, entry_of
from places import part_of

FLOOR = 0.95
PART_FLOOR = 0.92
NOTICED = ("killed", "timed out")


def below(tried, survivors, floor):
    """Whether more survived than the floor leaves: its share of what was tried, rounded up.

    So one survivor among a few faults is no failure, two among twenty are.
    """
    return survivors > math.ceil(round(tried * (1 - floor), 9))


def percent(noticed, tried):
    return f"{100 * noticed / tried:.1f} %" if tried else "-"


class Report:
    """`outcomes` of the tried faults; how many there are, and are accepted, in each part."""

    def __init__(self, outcomes, faults, accepted):
        self.parts = collections.defaultdict(collections.Counter)
        self.survivors = []
        for fault in faults:
            self.parts[part_of(fault["file"])]["faults"] += 1
        for fault in accepted:
            self.parts[part_of(fault["file"])]["accepted"] += 1
        for outcome in sorted(outcomes, key=lambda each: (each["file"], each["line"], each["column"], each["number"])):
            # What the compiler alone computes has no fault at run time: it is not counted.
            if outcome["outcome"] == "not reached" and outcome["constant"]:
                self.parts[part_of(outcome["file"])]["compile time"] += 1
                continue
            row = self.parts[part_of(outcome["file"])]
            row["tried"] += 1
            row[outcome["outcome"]] += 1
            if outcome["outcome"] not in NOTICED:
                self.survivors.append(outcome)
        self.total = collections.Counter()
        for row in self.parts.values():
            self.total.update(row)

    @staticmethod
    def lost(row):
        return row["tried"] - row["killed"] - row["timed out"]

    def failures(self):
        """A line for everything that is below its floor."""
        found = []
        for part, row in [("all", self.total), *sorted(self.parts.items())]:
            floor = FLOOR if part == "all" else PART_FLOOR
            if below(row["tried"], self.lost(row), floor):
                found.append(f"{part}: {percent(row['tried'] - self.lost(row), row['tried'])} is below {floor:.0%}")
        return found

    def table(self):
        columns = ("faults", "accepted", "compile time", "tried", "killed", "timed out", "survived", "not reached")
        lines = ["| part | " + " | ".join(columns) + " | score |", "|---|" + "---:|" * (len(columns) + 1)]
        for part, row in [*sorted(self.parts.items()), ("all", self.total)]:
            cells = [row[column] + (row["survived in part"] if column == "survived" else 0) for column in columns]
            lines.append(f"| {part} | " + " | ".join(map(str, cells))
                         + f" | {percent(row['tried'] - self.lost(row), row['tried'])} |")
        return "\n".join(lines)

    def list_survivors(self):
        lines = []
        for each in self.survivors:
            note = "" if each["outcome"] == "survived" else f" ({each['outcome']})"
            lines.append(f"{each['file']}:{each['line']}:{each['column']}: {each['operator']} in {each['function']}: "
                         f"{describe(each)}{note}")
        return "\n".join(lines)

    def list_entries(self):
        """The survivors as accepted.txt would hold them, without their reasons."""
        return "\n".join(entry_of(each) for each in self.survivors)
