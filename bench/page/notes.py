# SPDX-License-Identifier: MIT
"""The hand-kept part of the page: sections, inputs, names of peers and reasons (notes.toml)."""
import tomllib
from dataclasses import dataclass, field
from fnmatch import fnmatchcase


@dataclass
class Section:
    id: str
    title: str
    facilities: list
    input: str = ""
    floors: list = field(default_factory=list)  # rows that do less than the job: a bound, not a peer
    reasons: dict = field(default_factory=dict)  # "facility/case/who" (with * and ?) to why it is slower
    missed: list = field(default_factory=list)  # goals that are missed: what takes the time, and what was tried
    cases: list = field(default_factory=list)

    def label(self, case):
        """The facility is named where the section holds several."""
        return f"{case.facility}: {case.name}" if len(self.facilities) > 1 else case.name

    @property
    def peers(self):
        return list(dict.fromkeys(row.who for case in self.cases for row in case.peers))

    def columns(self, notes):
        """Printed heading to the peers below it; no case has two of them."""
        columns = {}
        for who in self.peers:
            columns.setdefault(notes.column(who), []).append(who)
        return columns

    def is_floor(self, case, who):
        return any(fnmatchcase(f"{case.facility}/{case.name}/{who}", pattern) for pattern in self.floors)

    def reason(self, case, who):
        """Empty when none is written down."""
        key = f"{case.facility}/{case.name}/{who}"
        return next((why for pattern, why in self.reasons.items() if fnmatchcase(key, pattern)), "")


class Notes:
    def __init__(self, path):
        with open(path, "rb") as file:
            data = tomllib.load(file)
        self.peers = data.get("peer", {})
        self.sections = [Section(**section) for section in data.get("section", [])]

    def name(self, who):
        return self.peers.get(who, {}).get("name", who)

    def column(self, who):
        return self.peers.get(who, {}).get("column", self.name(who))

    def package(self, who):
        return self.peers.get(who, {}).get("package", "")

    def arrange(self, cases):
        """The sections that have cases, in the order of the notes; a facility without notes gets a bare one."""
        known = {facility: section for section in self.sections for facility in section.facilities}
        for case in cases:
            if case.facility not in known:
                known[case.facility] = Section(case.facility, case.facility, [case.facility])
                self.sections.append(known[case.facility])
            known[case.facility].cases.append(case)
        return [section for section in self.sections if section.cases]
