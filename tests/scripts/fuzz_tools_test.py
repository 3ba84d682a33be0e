#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""fuzz/tools: shares of the time, what the logs tell, runs side by side, what is kept; with a target that is a script."""
import pathlib
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "fuzz/tools"))
import all as run_all  # noqa: E402  pylint: disable=wrong-import-position
import coverage  # noqa: E402  pylint: disable=wrong-import-position
import keep  # noqa: E402  pylint: disable=wrong-import-position
import targets  # noqa: E402  pylint: disable=wrong-import-position

# Finds an input, which fails the first time; merges by copying what is new.
TARGET = """#!/bin/sh
for last; do case $last in -artifact_prefix=*) prefix=${last#*=} ;; -set_cover_merge=1) merge=1 ;; esac; done
eval "fresh=\\${$(($# - 1))}"
if [ "$merge" ]; then cp "$last"/* "$fresh"; exit 0; fi
echo "#1 INITED"; printf x >"$fresh/found"
if [ ! -e "${prefix}crash-0" ]; then printf x >"${prefix}crash-0"; echo "#7 NEW"; exit 77; fi
echo "stat::number_of_executed_units: 100"
"""


class ToolsTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.top = pathlib.Path(scratch.name)
        self.build, self.seeds = self.top / "build", self.top / "corpus"
        self.home = self.top / "home"
        for name in ("decode_x", "other"):
            (self.seeds / name).mkdir(parents=True)
            (self.seeds / name / "seed").write_text("seed")
            file = self.build / "fuzz" / f"fuzz_{name}"
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(TARGET)
            file.chmod(0o755)
        patch = mock.patch.object(targets, "SEEDS", self.seeds)
        patch.start()
        self.addCleanup(patch.stop)

    def test_decoders_have_two_thirds_of_the_time(self):
        each = run_all.seconds_each(["decode_a", "decode_b", "json", "hit", "svg", "pages"], 3, 2)
        self.assertAlmostEqual(each["decode_a"], 120)
        self.assertAlmostEqual(each["json"], 30)
        self.assertAlmostEqual(run_all.seconds_each(["json"], 1, 1)["json"], 60)
        self.assertAlmostEqual(run_all.seconds_each(["decode_a"], 1, 1)["decode_a"], 60)

    def test_what_a_log_tells(self):
        self.assertEqual(targets.executions(""), 0)
        self.assertEqual(targets.executions("#2 INITED\n#4096 pulse cov\nERROR: libFuzzer: deadly signal"), 4096)
        self.assertEqual(targets.executions("#9 NEW\nDone 12 runs in 1 s\nstat::number_of_executed_units: 12\n"), 12)

    def test_a_finding_does_not_end_a_target(self):
        done = run_all.fuzz(self.build, self.home, "other", 5)
        self.assertEqual(done, 107)
        self.assertEqual(targets.findings(self.home / "findings", "other"), ["other-crash-0"])
        self.assertFalse((self.build / "corpus").exists(), "what is found belongs to the home of all builds")
        self.assertIn("| other | 107 | 1 | 1 |", list(run_all.table(self.home, {"other": done})))

    def test_the_smallest_inputs_are_kept_within_the_room(self):
        run_all.fuzz(self.build, self.build, "other", 5)
        with tempfile.TemporaryDirectory() as scratch:
            new = keep.merged(self.build, "other", scratch)
            self.assertEqual([path.name for path in new], ["found"])
            for name, size in (("a", 3000), ("b", 5000), ("c", 10), ("d", 3000)):
                (pathlib.Path(scratch) / name).write_bytes(b"x" * size)
            found = [pathlib.Path(scratch) / name for name in "abcd"]
            self.assertEqual([path.name for path in keep.chosen(found, 5000)], ["c", "a"])
            self.assertEqual([path.name for path in keep.chosen(found, 20000)], ["c", "a", "d"])

    def test_lines_that_any_decoder_reaches_count_once(self):
        told = coverage.read_counts(["SF:/a.cc", "DA:3,0", "DA:4,2", "DA:4,0", "end_of_record", "SF:/b.cc", "DA:1,1"])
        self.assertEqual({str(path): lines for path, lines in told.items()}, {"/a.cc": {3: False, 4: True}, "/b.cc": {1: True}})
        self.assertEqual(coverage.joined([{3: False, 4: True}, {3: True}, {}]), {3: True, 4: True})

    def test_each_file_that_reads_pictures_is_in_the_table(self):
        files = {path.name: formats for path, formats in coverage.sources().items()}
        self.assertEqual(files["plain_png.cc"], ["png"])
        self.assertEqual(files["jpeg2000_box.cc"], ["jp2"])
        self.assertEqual(files["orientation.cc"], list(coverage.FORMATS))
        self.assertFalse([name for name in files if "encoder" in name])
        rows = "\n".join(coverage.table({(path, tuple(formats)): {1: True, 2: False} for path, formats in
                                         coverage.sources().items()}, dict.fromkeys(coverage.FORMATS, 7)))
        for name in files:
            self.assertIn(f"| `{name}` | | 2 | 1 | 50.0 % |", rows)
        self.assertIn("| **decode_webp** | 7 | 2 | 1 | 50.0 % |", rows)

    def test_wrong_words_are_usage(self):
        script = pathlib.Path(__file__).resolve().parents[2] / "scripts/fuzz"
        for words in ([], ["--all"], ["--all", "--minutes", "0"], ["json"], ["json", "x"], ["none", "5"], ["--keep", "none"],
                      ["--forms", "x"], ["--coverage", "x"], ["--plain"], ["--plain", "--keep"], ["--plain", "json"]):
            done = subprocess.run([script, *words], capture_output=True, text=True, check=False)
            self.assertEqual((done.returncode, done.stderr[:6]), (2, "usage:"), words)


if __name__ == "__main__":
    unittest.main()
