# SPDX-License-Identifier: MIT
"""Which faults are tried and in what order. Drawn before anything is built, so that a sample's build holds no others."""
import json

import schemata as schemes
from accepted import describe
from order import draw
from report import NOTICED


def key_of(fault):
    return fault["file"], fault["text"], describe(fault)


def survivors_of(path):
    """What was not noticed by the run whose outcomes are in the file, as keys that move with their lines."""
    with open(path, encoding="utf-8") as outcomes:
        return {key_of(each) for each in map(json.loads, outcomes) if each["outcome"] not in NOTICED}


class Plan:
    """Of the sites that a `scheme` was made of: all of their faults, the first `count` of the order, or all when 0.

    Where `only` is given, only faults with these keys are picked.
    """

    def __init__(self, scheme, accepted, seed, count=0, only=None):
        self.faults = list(schemes.list_faults(scheme).values())
        self.accepted = [fault for fault in self.faults if accepted.accepts(fault)]
        refused = {fault["number"] for fault in self.accepted}
        self.all = dict(scheme.sites)
        where = {site.first + i: (site, i) for sites in self.all.values() for site in sites
                 for i in range(len(site.faults))}
        order = draw([fault for fault in self.faults if fault["number"] not in refused
                      and (only is None or key_of(fault) in only)], seed)
        self.picks = [where[fault["number"]] for fault in order[:count or None]]

    def sites(self):
        """The sites that hold what was picked, by path."""
        picked = {id(site) for site, _ in self.picks}
        found = {path: [site for site in sites if id(site) in picked] for path, sites in self.all.items()}
        return {path: sites for path, sites in found.items() if sites}

    def order(self, scheme):
        """What was picked, as the faults of the scheme that was built of sites(), without those that do not compile."""
        built = schemes.list_faults(scheme)
        return [built[site.first + i] for site, i in self.picks if site.first + i in built]
