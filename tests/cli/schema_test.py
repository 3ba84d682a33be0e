#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The JSON Schema of descriptions, beside the command: both call the same descriptions right and wrong.

    schema_test.py COMMAND SOURCE_FOLDER
"""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

import jsonschema

COMMAND, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])

RIGHT = [
    {"Content": "x"},
    {"Content": "x", "$schema": "line.schema.json", "DeltaX": -5.5, "DeltaY": 2147483647, "Font": {}},
    {"Content": "x", "Font": {"FontSize": 1, "FontName": "", "Bold": True, "Italic": False, "Color": ""}},
    {"Content": "x", "Font": {"FontSize": 75000}},
    *[{"Content": "x", "Font": {"Color": color}}
      for color in ("#80", "#1F4E79", "128", "255 0 0", "  0   255  007 ")],
]

# Each with the kind of its warning.
WRONG = [
    ({}, "text"),
    ({"Content": ""}, "text"),
    ({"Content": 5}, "wrong-type"),
    ({"Content": None}, "wrong-type"),
    ({"Content": "a\nb"}, "text"),
    ({"Content": "a\tb"}, "text"),
    ({"Content": "a\u0007b"}, "text"),
    ({"Content": "a\u2028b"}, "text"),
    ({"Content": "x", "Fnot": {}}, "unknown-key"),
    ({"Content": "x", "FontSize": 12}, "unknown-key"),
    ({"Content": "x", "DeltaX": "5"}, "wrong-type"),
    ({"Content": "x", "DeltaX": 1e39}, "out-of-range"),
    ({"Content": "x", "DeltaY": 3000000000}, "out-of-range"),
    ({"Content": "x", "DeltaY": True}, "wrong-type"),
    ({"Content": "x", "Font": "Arial"}, "wrong-type"),
    ({"Content": "x", "Font": {"FontNmae": "Arial"}}, "unknown-key"),
    ({"Content": "x", "Font": {"FontSize": "12"}}, "wrong-type"),
    ({"Content": "x", "Font": {"FontSize": 12.5}}, "wrong-type"),
    ({"Content": "x", "Font": {"FontSize": 0}}, "out-of-range"),
    ({"Content": "x", "Font": {"FontSize": 75001}}, "out-of-range"),
    ({"Content": "x", "Font": {"FontName": []}}, "wrong-type"),
    ({"Content": "x", "Font": {"Bold": 1}}, "wrong-type"),
    ({"Content": "x", "Font": {"Italic": "true"}}, "wrong-type"),
    ({"Content": "x", "Font": {"Color": 255}}, "wrong-type"),
    *[({"Content": "x", "Font": {"Color": color}}, "color")
      for color in ("#12345", "red", "255,0,0", "256 0 0", "1 2", "1 2 3 4", "#0g", "#00112233", " ", "-1")],
]


class Schema(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        printed = subprocess.run([COMMAND, "draw", "--schema"], check=True, capture_output=True).stdout
        schema = json.loads(printed)
        jsonschema.Draft202012Validator.check_schema(schema)
        cls.validator = jsonschema.Draft202012Validator(schema)

    def warnings(self, description):
        """The kinds of what the command warns of; None when it refuses to draw."""
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "a.json")
            path.write_text(json.dumps(description))
            done = subprocess.run([COMMAND, "draw", path, "-o", f"{folder}/a.png", "--size", "40x40", "--report"],
                                  capture_output=True, text=True)
            if done.returncode != 0:
                return None
            return [w["kind"] for line in done.stdout.split("\n") if line for w in json.loads(line)["warnings"]]

    def test_every_example_is_right(self):
        examples = [SOURCE / "examples" / name for name in ("hello.json", "page.json")]
        for path in examples:
            with self.subTest(path.name):
                self.validator.validate(json.loads(path.read_text()))

    def test_what_is_right_is_right_to_both(self):
        for description in [*RIGHT, RIGHT]:
            with self.subTest(description=description):
                self.validator.validate(description)
                self.assertEqual(self.warnings(description), [])

    def test_what_is_warned_of_is_wrong_to_the_schema(self):
        for description, kind in WRONG:
            with self.subTest(description=description):
                self.assertFalse(self.validator.is_valid(description))
                self.assertFalse(self.validator.is_valid([description]))
                told = self.warnings(description)
                if told is not None:  # without a text nothing is drawn at all
                    self.assertEqual(told, [kind])
                else:
                    self.assertFalse(isinstance(description.get("Content"), str) and description["Content"])

    def test_a_page_is_not_empty(self):
        for description in ([], [[]], 5, "x", None, [5]):
            self.assertFalse(self.validator.is_valid(description))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
