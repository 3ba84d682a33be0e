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


# Numbers as they are written, and whether an offset and a font size may be so.
NUMBERS = [
    ("1", True, True), ("0", True, False), ("-0", True, False), ("-1", True, False), ("26", True, True),
    ("75000", True, True), ("75001", True, False),
    ("0.5", True, False), ("-0.5", True, False), ("26.5", True, False), ("1e-5", True, False), ("2.65e1", True, False),
    ("2147483647", True, False), ("2147483648", False, False), ("3000000000", False, False),
    ("4294967296", False, False), ("99999999999999999999", False, False),
    ("-2147483648", True, False), ("-2147483649", False, False), ("-3000000000", False, False),
    ("2147483647.0", True, False), ("2147483647.5", False, False), ("2147483648.0", False, False),
    ("-2147483648.0", True, False), ("-2147483648.5", False, False),
    ("2e9", True, False), ("3e9", False, False), ("-3e9", False, False), ("3000000000.5", False, False),
    ("1e38", False, False), ("3.5e38", False, False), ("1e300", False, False), ("-1e300", False, False),
    ("26.0", True, None), ("3e1", True, None), ("260e-1", True, None), ("1.0", True, None), ("75000.0", True, None),
    ("0.0", True, False), ("-1.0", True, False), ("75001.0", True, False), ("7.5001e4", True, False),
]


class Schema(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        printed = subprocess.run([COMMAND, "draw", "--schema"], check=True, capture_output=True).stdout
        schema = json.loads(printed)
        jsonschema.Draft202012Validator.check_schema(schema)
        cls.validator = jsonschema.Draft202012Validator(schema)

    def warnings(self, description):
        """The kinds of what the command warns of; None when it refuses to draw. The description may be a text."""
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "a.json")
            path.write_text(description if isinstance(description, str) else json.dumps(description), encoding="utf-8")
            done = subprocess.run([COMMAND, "draw", path, "-o", f"{folder}/a.png", "--size", "40x40", "--report"],
                                  capture_output=True, encoding="utf-8")
            if done.returncode != 0:
                return None
            return [w["kind"] for line in done.stdout.split("\n") if line for w in json.loads(line)["warnings"]]

    def test_every_example_is_right(self):
        examples = [SOURCE / "examples" / name for name in ("hello.json", "page.json")]
        for path in examples:
            with self.subTest(path.name):
                self.validator.validate(json.loads(path.read_text(encoding="utf-8")))

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

    def test_both_agree_on_every_form_of_a_number(self):
        for number, offset, size in NUMBERS:
            for text, is_right in ((f'{{"Content": "x", "DeltaX": {number}}}', offset),
                                   (f'{{"Content": "x", "DeltaY": {number}}}', offset),
                                   (f'{{"Content": "x", "Font": {{"FontSize": {number}}}}}', size)):
                with self.subTest(text):
                    told = self.warnings(text)
                    # To a schema 26.0 is 26, which is another number to the library: only the command can tell.
                    self.assertEqual(self.validator.is_valid(json.loads(text)), is_right is not False)
                    if is_right:
                        self.assertEqual(told, [])
                    else:
                        self.assertEqual(len(told), 1)
                    if is_right is None:
                        self.assertEqual(told, ["wrong-type"])

    def test_a_text_that_is_too_long_is_drawn_by_neither(self):
        for length, is_right in ((262144, True), (262145, False)):
            description = {"Content": " " * length}
            self.assertEqual(self.validator.is_valid(description), is_right)
            self.assertEqual(self.warnings(description), [] if is_right else None)

    def test_a_page_is_not_empty(self):
        for description in ([], [[]], 5, "x", None, [5]):
            self.assertFalse(self.validator.is_valid(description))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
