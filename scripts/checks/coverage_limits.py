# SPDX-License-Identifier: MIT
"""usage: coverage_limits.py SUMMARY

Prints the coverage of each folder from gcovr's summary, and fails below the limits.
"""
import collections
import json
import sys

WHOLE = ("json", "convert", "geometry", "util")

with open(sys.argv[1]) as file:
    files = json.load(file)["files"]

sums = collections.defaultdict(collections.Counter)
for entry in files:
    for group in (entry["filename"].split("/")[0], "all"):
        for key in ("line_covered", "line_total", "branch_covered", "branch_total"):
            sums[group][key] += entry[key]


def percent(covered, total):
    return 100 * covered / total if total else 100.0


failures = []
print(f"{'folder':10} {'lines':>14} {'%':>6} {'branches':>14} {'%':>6}")
for group in sorted(sums, key=lambda name: (name == "all", name)):
    sum_ = sums[group]
    lines = percent(sum_["line_covered"], sum_["line_total"])
    branches = percent(sum_["branch_covered"], sum_["branch_total"])
    print(f"{group:10} {sum_['line_covered']:>6} / {sum_['line_total']:<5} {lines:6.1f} "
          f"{sum_['branch_covered']:>6} / {sum_['branch_total']:<5} {branches:6.1f}")
    if group in WHOLE and lines < 100:
        failures.append(f"{group}/: {sum_['line_total'] - sum_['line_covered']} lines never ran")
    if group == "all" and lines < 95:
        failures.append(f"lines: {lines:.1f} % of the 95 % wanted")
    if group == "all" and branches < 90:
        failures.append(f"branches: {branches:.1f} % of the 90 % wanted")
for failure in failures:
    print("too little:", failure)
sys.exit(1 if failures else 0)
