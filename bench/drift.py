#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares a few ratios of the benchmarks with those that bench/drift.json records.

    drift.py BUILD             three runs; exits with 1 when a ratio is below two thirds of the recorded one in each
    drift.py BUILD --record    records the ratios of three runs, the processor, and the vector level that is forced for all

Times say nothing on another machine, or on a busy one; a ratio to a peer in the same run says more, though processors
differ in what they are good at. Rows are interleaved within a run. What falls in some runs only, what falls on another
processor than the recorded one, and a row that cannot be measured here (some need documents that are no part of the
tree) is a warning.
"""
import argparse
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE / "page"))
from rows import read_cases  # noqa: E402  pylint: disable=wrong-import-position

RECORD = HERE / "drift.json"
RUNS = 3
LEAST = 2 / 3  # of the recorded ratio
LEVEL = "avx2"
FLAGS = {"scalar": set(), "avx2": {"avx2", "bmi1"}, "avx512": {"avx512f", "avx512bw", "avx512vl", "avx512_vbmi"}}
# Of each program these cases, each beside this peer.
CASES = {
    "base64_bench": {"base64_encode/64KiB": "glib", "base64_decode/64KiB": "glib"},
    "codec_bench": {"codec/encode_png": "libpng", "codec/decode_png": "libpng"},
    "draw_bench": {"draw/latin": "pango", "draw/latin_new_lines": "pango"},
    "hit_bench": {"hit/shape_curves_100": "cairo", "hit/outline_segments_100": "cairo"},
    "json_bench": {"json/parse_canada": "rapidjson", "json/write_canada": "rapidjson",
                   "json/parse_twitter": "rapidjson", "json/write_twitter": "rapidjson"},
    "text_bench": {"utf8_to_wide/mixed": "glib", "wide_to_utf8/chinese": "glib", "replace_separators/64KiB": "glib"},
}


def can_run(level, cpuinfo="/proc/cpuinfo"):
    found = re.search(r"^flags\s*:(.*)", pathlib.Path(cpuinfo).read_text(encoding="utf-8"), re.MULTILINE)
    return found is not None and FLAGS[level] <= set(found.group(1).split())


def processor(cpuinfo="/proc/cpuinfo"):
    """What kind of processor it is, whatever its clock and its name."""
    text = pathlib.Path(cpuinfo).read_text(encoding="utf-8")
    found = {name: re.search(rf"^{name}\s*:\s*(.*)$", text, re.MULTILINE) for name in ("vendor_id", "cpu family", "model")}
    return ", ".join(f"{name} {match.group(1)}" for name, match in found.items() if match)


def measure(build, level):
    """{"facility/case peer": how many times the peer's time is of ours} of one run, of the cases that run here."""
    ratios = {}
    for program, cases in CASES.items():
        pattern = "|".join(f"^{case}/(tovkit|{peer})($|/)" for case, peer in cases.items())
        with tempfile.NamedTemporaryFile(suffix=".json") as out:
            subprocess.run([os.path.join(build, "bench", program), f"--benchmark_filter={pattern}",
                            "--benchmark_repetitions=3", "--benchmark_enable_random_interleaving=true",
                            "--benchmark_min_time=0.02", f"--benchmark_out={out.name}", "--benchmark_out_format=json"],
                           env={**os.environ, "TOVKIT_SIMD": level}, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, check=True)
            with open(out.name, encoding="utf-8") as file:
                measured = {f"{case.facility}/{case.name}": case for case in read_cases([json.load(file)])}
        for case, peer in cases.items():
            found = measured[case].ratio(peer) if case in measured else None
            if found is not None:
                ratios[f"{case} {peer}"] = round(found.middle, 3)
    return ratios


def compare(recorded, runs):
    """(lines of what fell in every run and of new rows, lines of what fell in some and of rows that are missing)."""
    fallen, shaky = [], []
    if new := set(runs[0]) - set(recorded):
        fallen.append("not recorded: " + ", ".join(sorted(new)))
    if missing := set(recorded) - set(runs[0]):
        shaky.append("not measured: " + ", ".join(sorted(missing)))
    for name in sorted(set(recorded) & set(runs[0])):
        times = [run[name] for run in runs]
        below = [ratio < LEAST * recorded[name] for ratio in times]
        line = f"{name}: {recorded[name]:.3g} times as fast when recorded, now " + ", ".join(f"{t:.3g}" for t in times)
        if all(below):
            fallen.append(line)
        elif any(below):
            shaky.append(line)
    return fallen, shaky


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--record", action="store_true")
    parser.add_argument("--file", type=pathlib.Path, default=RECORD)
    options = parser.parse_args()
    record = {"level": LEVEL, "processor": processor()} if options.record else json.loads(options.file.read_text(encoding="utf-8"))
    runs_level = can_run(record["level"])
    fits = runs_level and record["processor"] == processor()
    if options.record and not runs_level:
        sys.exit(f"the processor has no {LEVEL}")
    runs = [measure(options.build, record["level"]) for _ in range(RUNS)]
    if options.record:
        record["ratios"] = {name: statistics.median(run[name] for run in runs) for name in sorted(runs[0])}
        options.file.write_text(json.dumps(record, indent=2) + "\n", encoding="utf-8")
        print(f"recorded {len(record['ratios'])} ratios in {options.file}")
        return 0
    fallen, shaky = compare(record["ratios"], runs)
    for line in shaky:
        print("warning:", line)
    for line in fallen:
        print(line if fits else f"warning: {line} (recorded on another processor)")
    print(f"{len(record['ratios'])} ratios in {RUNS} runs at {record['level']}: {len(fallen)} fell")
    return 1 if fallen and fits else 0


if __name__ == "__main__":
    sys.exit(main())
