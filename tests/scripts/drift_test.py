#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""bench/drift.py with programs that tell the times they are told to."""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
import drift  # noqa: E402  pylint: disable=wrong-import-position

# Our time in each run is read from a file, a line a run; that of every peer is 100.
PROGRAM = """#!/usr/bin/env python3
import json, os, re, sys
options = dict(argument.lstrip("-").split("=", 1) for argument in sys.argv[1:])
assert os.environ["TOVKIT_SIMD"] == "scalar"
lines = open({times!r}).read().split()
open({times!r}, "w").write("\\n".join(lines[1:] or lines))
rows = []
for case in {cases!r}:
    for who, time in (("tovkit", float(lines[0])), ({peers!r}[case], 100)):
        name = case + "/" + who
        assert re.search(options["benchmark_filter"], name)
        rows.append({{"name": name, "run_type": "iteration", "cpu_time": time, "real_time": time, "time_unit": "ns"}})
json.dump({{"benchmarks": rows}}, open(options["benchmark_out"], "w"))
"""


class CompareTest(unittest.TestCase):
    def test_all_runs_count(self):
        runs = [{"a x": 1.9, "b x": 2.1}, {"a x": 1.9, "b x": 1.0}, {"a x": 1.0, "b x": 2.0}]
        fallen, shaky = drift.compare({"a x": 3.0, "b x": 2.0}, runs)
        self.assertEqual(fallen, ["a x: 3 times as fast when recorded, now 1.9, 1.9, 1"])
        self.assertEqual(shaky, ["b x: 2 times as fast when recorded, now 2.1, 1, 2"])

    def test_two_thirds_are_enough(self):
        self.assertEqual(drift.compare({"a x": 3.0}, [{"a x": 2.0}] * 3), ([], []))

    def test_rows_that_are_not_recorded(self):
        fallen, shaky = drift.compare({"a x": 1.0, "b x": 1.0}, [{"a x": 1.0, "c x": 1.0}] * 3)
        self.assertEqual(fallen, ["not recorded: c x"])
        self.assertEqual(shaky, ["not measured: b x"])

    def test_the_processor_is_told_by_its_model(self):
        with tempfile.NamedTemporaryFile("w", suffix="cpuinfo") as file:
            file.write("vendor_id\t: Somebody\ncpu family\t: 6\nmodel\t\t: 143\nmodel name\t: A name\ncpu MHz\t: 1\n")
            file.flush()
            self.assertEqual(drift.processor(file.name), "vendor_id Somebody, cpu family 6, model 143")

    def test_levels(self):
        with tempfile.NamedTemporaryFile("w", suffix="cpuinfo") as file:
            file.write("processor\t: 0\nflags\t\t: sse2 avx2 bmi1\n")
            file.flush()
            self.assertTrue(drift.can_run("avx2", file.name))
            self.assertFalse(drift.can_run("avx512", file.name))


class ProgramTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.build = pathlib.Path(scratch.name)
        (self.build / "bench").mkdir()
        self.record = self.build / "drift.json"

    def run_tool(self, ours, ratio, level="scalar", processor=drift.processor()):
        rows = {}
        for program, cases in drift.CASES.items():
            times = self.build / f"{program}.times"
            times.write_text("\n".join(map(str, ours)))
            file = self.build / "bench" / program
            file.write_text(PROGRAM.format(times=str(times), cases=list(cases), peers=cases))
            file.chmod(0o755)
            rows.update({f"{case} {peer}": ratio for case, peer in cases.items()})
        self.record.write_text(json.dumps({"level": level, "processor": processor, "ratios": rows}))
        done = subprocess.run([sys.executable, "-B", drift.__file__, self.build, "--file", self.record],
                              capture_output=True, text=True, check=False, env={**os.environ, "TOVKIT_SIMD": "wrong"})
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout.splitlines()

    def test_as_recorded(self):
        status, said = self.run_tool([50, 50, 50], 2.0)
        self.assertEqual((status, said[-1]), (0, f"{self.count()} ratios in 3 runs at scalar: 0 fell"))

    def test_slower_in_each_run(self):
        status, said = self.run_tool([100, 90, 80], 2.0)
        self.assertEqual((status, len(said)), (1, self.count() + 1))
        self.assertIn("2 times as fast when recorded, now 1, 1.11, 1.25", said[0])

    def test_slower_in_some_runs_is_a_warning(self):
        status, said = self.run_tool([100, 50, 100], 2.0)
        self.assertEqual(status, 0)
        self.assertTrue(said[0].startswith("warning: "))

    def test_slower_on_another_processor_is_a_warning(self):
        status, said = self.run_tool([100, 90, 80], 2.0, processor="vendor_id Somebody")
        self.assertEqual(status, 0)
        self.assertIn("recorded on another processor", said[0])

    @staticmethod
    def count():
        return sum(map(len, drift.CASES.values()))


if __name__ == "__main__":
    unittest.main()
