# SPDX-License-Identifier: MIT
"""What Google Benchmark's JSON says: rows, cases and ratios. Standard library only, so that the tests need no more."""
import statistics
from dataclasses import dataclass, field

OURS = "tovkit"
LEVEL = 0.03  # within this share of each other two rows count as level
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


@dataclass
class Row:
    """One line of the benchmark: the rounds of one program part by one library."""

    who: str
    times: list = field(default_factory=list)  # nanoseconds, one a round
    bytes_per_second: list = field(default_factory=list)
    error: str = ""

    @property
    def time(self):
        return statistics.median(self.times)


@dataclass
class Ratio:
    """How many times the peer's time is of ours: above 1 ours is faster."""

    middle: float
    low: float
    high: float

    @property
    def verdict(self):
        if self.middle < 1 - LEVEL:
            return "slower"
        return "faster" if self.middle > 1 + LEVEL else "level"


@dataclass
class Case:
    facility: str
    name: str
    rows: dict = field(default_factory=dict)  # by who, in the order of the programs

    @property
    def ours(self):
        return self.rows.get(OURS)

    @property
    def peers(self):
        return [row for who, row in self.rows.items() if who != OURS]

    def ratio(self, who):
        ours, peer = self.ours, self.rows.get(who)
        return ratio(ours.times, peer.times) if ours and peer and ours.times and peer.times else None


def ratio(ours, peer):
    """The ratio of the medians, and the quartiles of the ratios of every round of one with every round of the other."""
    pairs = [p / o for p in peer for o in ours]
    low, _, high = statistics.quantiles(pairs, n=4, method="inclusive") if len(pairs) > 1 else pairs * 3
    return Ratio(statistics.median(peer) / statistics.median(ours), low, high)


def split_name(name):
    """"pool/hand_over/tovkit/16/real_time" -> ("pool", "hand_over 16", "tovkit", True)."""
    real = False
    parts = []
    for part in name.split("/"):
        if part == "real_time":
            real = True
        elif part != "process_time" and ":" not in part:
            parts.append(part)
    if len(parts) < 3:
        raise ValueError(f"{name}: not facility/case/who")
    return parts[0], " ".join([parts[1], *parts[3:]]), parts[2], real


def read_cases(documents):
    """The cases of several programs' JSON, in the order of the programs' registration."""
    runs = [run for document in documents for run in document["benchmarks"] if run.get("run_type") != "aggregate"]
    # Interleaving shuffles the runs; the indices restore the order.
    order = {}
    for document in documents:
        for run in document["benchmarks"]:
            order.setdefault(run["name"], (documents.index(document), run.get("family_index", 0),
                                           run.get("per_family_instance_index", 0)))
    runs.sort(key=lambda run: (order[run["name"]], run.get("repetition_index", 0)))
    cases = {}
    for run in runs:
        facility, name, who, real = split_name(run["name"])
        case = cases.setdefault((facility, name), Case(facility, name))
        row = case.rows.setdefault(who, Row(who))
        if run.get("error_occurred"):
            row.error = run.get("error_message", "failed")
            continue
        row.times.append(run["real_time" if real else "cpu_time"] * NANOSECONDS[run.get("time_unit", "ns")])
        if "bytes_per_second" in run:
            row.bytes_per_second.append(run["bytes_per_second"])
    return list(cases.values())


def format_time(nanoseconds):
    for unit, scale in (("ns", 1), ("µs", 1e3), ("ms", 1e6)):
        if nanoseconds < 1000 * scale:
            return f"{_three(nanoseconds / scale)} {unit}"
    return f"{_three(nanoseconds / 1e9)} s"


def format_rate(bytes_per_second):
    if bytes_per_second >= 1e9:
        return f"{_three(bytes_per_second / 1e9)} GB/s"
    return f"{_three(bytes_per_second / 1e6)} MB/s"


def format_row(row):
    """The throughput where bytes are counted, else the time."""
    if not row.times:
        return f"failed: {row.error}"
    if row.bytes_per_second:
        return format_rate(statistics.median(row.bytes_per_second))
    return format_time(row.time)


def _three(value):
    """Three digits that count."""
    if value >= 100:
        return f"{value:.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def format_factor(value):
    return (_three(value) if value >= 0.1 else f"{value:.2g}") + "×"
