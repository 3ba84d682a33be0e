#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The JSON Schema of jobs, beside tovkit batch: both call the same jobs right and wrong. A job is right when it is done
and its description is used as it stands.

    job_schema_test.py COMMAND SOURCE_FOLDER
"""
import itertools
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import jsonschema

COMMAND, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
SCHEMAS = SOURCE / "share" / "tovkit"

LINE = {"Content": "x"}
FORMATS = ["png", "PNG", "jpg", "jpeg", "Jpe", "jfif", "tif", "tiff", "webp", "jp2", "j2k", "j2c", "jpx", "bmp", "dib",
           "pdf", "PDF", "svg", "gif", "xyz", "", "p", "pngx"]
NUMBERS = ["0", "1", "9", "20", "20.5", ".5", "5.", "1e1", "0.0", "-1", "+1", "x", "", " 1", "1 ", "0x10"]
SIZES = [f"{w}{x}{h}{u}" for w, h in itertools.product(NUMBERS, ["1", "30", "0", "", "2.5"])
         for x, u in [("x", ""), ("X", "mm"), ("x", "PX"), ("", ""), ("x", "km")]] + [
    "A4", "a10", "A11", "B0", "b7-landscape", "A4-Portrait", "A4-", "A4-upright", "A04", "C4", "letter", "LEGAL",
    "Ledger-landscape", "Letters", "1inx1in", "1x1in", "1x1 in", "10x10x10", "A4x1"]
BACKGROUNDS = ["none", "None", "", "#", "#1", "#12", "#123", "#1234", "#12345", "#123456", "#1234567", "#12345678", "#1g",
               "#gggggg", "red", "0", "255", "256", "0255", "1 2", "1 2 3", " 1  2 3 ", "1 2 3 4", "1 2 3 4 5", "1,2,3",
               "300 1 1", "1 1 256", " ", "-1", "1.5", "\t1"]
RESIZES = ["10x10", "10X", "x10", "x", "", "0x5", "5x0", "50%", "0%", "12.5%", "%", "-5%", "1e1%", "10", "010x9", "a%", "+5x5",
           "5x5x5", "5 x5", "99999999999x1"]
NAMES = ["a", "b/c", "/a", "../a", "a/../b", "./a", "a/.", "a//b", "a/", "", ".a", "..a", "a..", "...", "d/..b", "a b",
         "\u00e9", "x" * 255, "x" * 256, "y/" + "x" * 256, ".tovkit-1", "d/.tovkit-", ".tovkit", ".tovkit-d/x", "a\u0000b"]
IDS = ["a", "line 7", "line x", "line", "Line 7", "line 7 ", "a/b", "\u00e9", "a\nb", "", 5, None, "a\u0000b"]
NUMBERS_OF_ALL_KINDS = [0, 1, 9, 10, 50, 100, 101, 4800, 4801, -1, 1.0, 1.5, "1", True, None, [], 1 << 30, (1 << 30) + 1]
LINES = [{"Content": "x", "Font": {"FontSize": 20, "Color": "#123456"}}, {"Content": ""}, {}, {"Content": "x", "Size": 1},
         {"Content": "x", "Font": {"Size": 1}}, {"Content": "x", "Font": {"FontSize": 0}}, {"Content": 5},
         {"Content": "x", "DeltaX": "1"}, {"Content": "x", "DeltaX": 5.5}, {"Content": "x", "Font": {"Color": "red"}}]
DRAWS = [*LINES, *[[line] for line in LINES], *[[[line]] for line in LINES], [], [[]], [[], []], [LINE, [LINE]], 5, "x", None,
         True]


def family():
    """Jobs, each with one thing or two that may be wrong."""
    def draw(**members):
        return {"draw": LINE, "size": "40x40", "out": "x.png", **members}

    def image(**members):
        return {"image": "in.bmp", "out": "x.png", **members}

    def hit(**members):
        return {"hit": {"path": "M0 0H9", "points": [[1, 2]], **members}}

    yield from ({"draw": value, "out": out} for value in DRAWS for out in ("x.png", "x.pdf"))
    yield from (draw(draw=[[LINE], [LINE]], size="40x40", out=f"x.{name}") for name in FORMATS)
    yield from (draw(draw=[[LINE]], out=f"x.{name}") for name in FORMATS)
    for make in (draw, image):
        yield from (make(out=f"x.{name}") for name in FORMATS)
        yield from (make(format=name) for name in [*FORMATS, 5, None])
        yield from (make(out=f"x.{out}", effort=5) for out in FORMATS)
        yield from (make(out=f"x.{out}", format=name, effort=5) for out in ("png", "jpg") for name in FORMATS)
        yield from (make(effort=value) for value in NUMBERS_OF_ALL_KINDS)
        yield from (make(out=name, format="png") for name in [*NAMES, 5, None])
        yield from (make(id=value) for value in IDS)
        yield from (make(**{name: 1}) for name in ("Draw", "color", "input", "$schema", "steps", "size", "quality"))
    yield from (draw(size=value) for value in [*SIZES, 5, None])
    yield from (draw(background=value) for value in [*BACKGROUNDS, 5, None])
    yield from (draw(dpi=value) for value in NUMBERS_OF_ALL_KINDS if value not in (4800,))
    over = {"draw": LINE, "over": "in.bmp"}
    yield from ({**over, "out": f"x.{name}"} for name in FORMATS)
    yield from ({**over, "out": "x.png", **more} for more in ({"size": "9x9"}, {"background": "#fff"}, {"dpi": 50}))
    yield from ({**over, "out": "x.png", "over": name} for name in ("", "/in.bmp", "../in.bmp", 5))
    yield from (image(image=name) for name in ("", "/in.bmp", "./in.bmp", 5, None))
    yield from (image(quality=value, out="x.jpg") for value in NUMBERS_OF_ALL_KINDS)
    yield from (image(frame=value) for value in NUMBERS_OF_ALL_KINDS
                if value not in (9, 10, 50, 100, 101, 4800, 4801, 1 << 30))  # there is one
    yield from (image(steps=[{"resize": value}]) for value in RESIZES)
    for name in ("erase", "crop"):
        yield from (image(steps=[{name: edges}]) for edges in (
            [0, 0, 1, 1], [0, 0, 1], [0, 0, 1, 1, 1], [0, 0, 1, 1.0], [0, 0, 1, 1.5], [0, 0, 1, "1"], [0, 0, 1, 1 << 31],
            [0, 0, 1, (1 << 31) - 1], "0,0,1,1", {}))
    yield from (image(steps=steps) for steps in (
        [], {}, None, [5], [{}], [{"upright": True}], [{"upright": False}], [{"upright": 1}], [{"turn": 1}],
        [{"crop": [0, 0, 1, 1]}, {"resize": "9x9"}], [{"crop": [0, 0, 1, 1], "resize": "9x9"}],
        [{"crop": [0, 0, 1, 1], "filter": "cubic"}], [{"resize": 5}],
        *[[{"resize": "9x9", "filter": f}] for f in ("nearest", "linear", "cubic", "lanczos", "Cubic", "", 5)]))
    yield from (hit(**members) for members in (
        {}, {"path": 5}, {"points": []}, {"points": [[1]]}, {"points": [[1, 2, 3]]}, {"points": [["1", 2]]}, {"points": 5},
        {"points": [[1e39, 0]]}, {"points": [[1.5, -2e30]]}, {"points": [[True, 1]]}, {"tolerance": 0}, {"tolerance": -1.5},
        {"tolerance": "1"}, {"tolerance": 1e39}, {"fill": True}, {"fill": 1}, {"other": 1}, {"file": "p.path"},
        {"out": "x"}, {"element": 5}))
    yield from ({"hit": value} for value in (
        {}, 5, None, [], {"path": "M0 0"}, {"points": []}, {"file": "p.path", "points": []}, {"file": "../p", "points": []}))
    yield from ({**hit(), **more} for more in ({"out": "x.png"}, {"draw": LINE}, {"id": "h"}, {"format": "png"}))
    yield from ({}, {"draw": LINE}, {"out": "x.png"}, {"draw": LINE, "image": "in.bmp", "out": "x.png"})


class JobSchema(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.schema = json.loads((SCHEMAS / "job.schema.json").read_text(encoding="utf-8"))
        jsonschema.Draft202012Validator.check_schema(cls.schema)
        cls.validator = jsonschema.Draft202012Validator(cls.schema)

    def results(self, jobs):
        """The result of each job."""
        batches = []  # of jobs with outputs and ids of their own
        for at, job in enumerate(jobs):
            names = {str(job[name]) for name in ("out", "id") if name in job}
            batch = next((batch for batch in batches if not names & batch[0]), None)
            if batch is None:
                batches.append(batch := (set(), []))
            batch[0].update(names)
            batch[1].append(at)
        found = {}
        with tempfile.TemporaryDirectory() as folder:
            place = pathlib.Path(folder)
            (place / "in").mkdir()
            shutil.copy(SOURCE / "tests" / "data" / "images" / "run4.bmp", place / "in" / "in.bmp")
            (place / "in" / "p.path").write_text("M0 0H9")
            for number, (_, members) in enumerate(batches):
                done = subprocess.run([COMMAND, "batch", "--directory", place / f"out{number}", "--input", place / "in",
                                       "--ordered", "--report", "-j2"], capture_output=True, encoding="utf-8",
                                      input="".join(json.dumps(jobs[at]) + "\n" for at in members))
                lines = [json.loads(line) for line in done.stdout.splitlines()]
                self.assertEqual(len(lines), len(members), done.stderr)
                found.update(zip(members, lines))
        return [found[at] for at in range(len(jobs))]

    def test_both_call_the_same_jobs_right_and_wrong(self):
        # The name of the output tells nothing but its format and folder, so each job has one of its own.
        jobs = []
        for at, job in enumerate(family()):
            if re.fullmatch(r"x\.\w*", str(job.get("out"))):
                job = {**job, "out": f"{at}{job['out'][1:]}"}
            jobs.append(job)
        right = 0
        for job, result in zip(jobs, self.results(jobs)):
            # How much ink is outside a page is no matter of the description alone.
            warnings = [w for w in result.get("warnings", []) if w.startswith("draw") and "outside the page" not in w]
            is_right = result["state"] == "done" and not warnings
            right += is_right
            with self.subTest(job=job, result=result.get("message", result.get("warnings"))):
                self.assertEqual(self.validator.is_valid(job), is_right)
        self.assertGreater(right, 150)
        self.assertGreater(len(jobs) - right, 300)

    def test_lines_are_described_as_by_their_own_schema(self):
        lines = json.loads((SCHEMAS / "line.schema.json").read_text(encoding="utf-8"))
        for name, definition in lines["$defs"].items():
            self.assertEqual(self.schema["$defs"][name], definition, name)
        kinds = self.schema["$defs"]["draw"]["properties"]["draw"]["anyOf"]
        self.assertEqual(kinds, lines["anyOf"])


# What the options of a command are in a job, and those that are none there.
OPTIONS = {
    "draw": {"--format": "format", "--effort": "effort", "--size": "size", "--dpi": "dpi", "--background": "background",
             "--over": "over", "--output": "out"},
    "image": {"--format": "format", "--effort": "effort", "--quality": "quality", "--frame": "frame", "--output": "out",
              "--erase": "steps", "--crop": "steps", "--resize": "steps", "--upright": "steps", "--filter": "steps"},
    "hit": {"--id": "element", "--tolerance": "tolerance", "--fill": "fill", "--point": "points"},
}
NOT_IN_A_JOB = {
    "draw": {"--text", "--font-name", "--font-size", "--color", "--bold", "--italic", "--at",  # members of a line
             "--one-page",                                     # there is one description
             "--font", "--report",                             # options of the batch
             "--strict", "--limit", "--quiet", "--verbose",    # warnings stand in results
             "--watch", "--schema", "--help"},
    "image": {"--info", "--help"},
    "hit": {"--map", "--format", "--size", "--help"},          # a map for people
}


class Printed(unittest.TestCase):
    def test_the_command_prints_the_schema_that_is_installed(self):
        printed = subprocess.run([COMMAND, "batch", "--schema"], check=True, capture_output=True, encoding="utf-8").stdout
        self.assertEqual(printed, (SCHEMAS / "job.schema.json").read_text(encoding="utf-8"))


class Options(unittest.TestCase):
    def test_what_a_command_can_a_job_can(self):
        schema = json.loads((SCHEMAS / "job.schema.json").read_text(encoding="utf-8"))
        for kind, members in OPTIONS.items():
            help_text = subprocess.run([COMMAND, kind, "--help"], check=True, capture_output=True, encoding="utf-8").stdout
            options = set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", help_text, re.MULTILINE))
            self.assertEqual(options, set(members) | NOT_IN_A_JOB[kind])
            properties = schema["$defs"][kind]["properties"]
            if kind == "hit":
                known = set(properties["hit"]["properties"]) - {"path", "file"}
            else:
                known = set(properties) - {"id", kind}
            self.assertEqual(known, set(members.values()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
