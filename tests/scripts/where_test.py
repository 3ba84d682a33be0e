# SPDX-License-Identifier: MIT
"""scripts/where finds the place and the tests of what the headers declare."""
import importlib.machinery
import importlib.util
import os
import pathlib
import re
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parents[2]


def where(*words):
    return subprocess.run([ROOT / "scripts/where", *words], capture_output=True, text=True)


def parts(*words):
    definitions, tests = where(*words).stdout.removeprefix("definitions\n").split("tests\n")
    return definitions.splitlines(), tests.splitlines()


class Where(unittest.TestCase):
    def test_a_definition_and_what_it_hands_on_to(self):
        definitions, tests = parts("LocalToUtf8")
        self.assertRegex(definitions[0], r"^util/text_conversion\.cc:\d+  LocalToUtf8 ")
        self.assertTrue(any(re.match(r"  core/text/text_codec\.cc:\d+  CoreTextCodec::LocalDecode", d) for d in definitions))
        self.assertIn("TextConversion.NullTextGivesAnEmptyResult", "\n".join(tests))

    def test_lines_are_those_of_the_definition(self):
        definitions, tests = parts("GetFileName")
        for entry, text in ((definitions[0], "GetFileName("), (tests[0], "TEST")):
            path, line = re.match(r"([^:]+):(\d+)", entry).groups()
            self.assertIn(text, (ROOT / path).read_text().split("\n")[int(line) - 1])

    def test_words_put_their_tests_first(self):
        _, tests = parts("JsonValue::SetMember", "copy")
        self.assertIn("DeepCopy", tests[0])
        _, tests = parts("ImageDecode", "position")
        self.assertIn("Position", tests[0])

    def test_a_member_is_found_by_its_class(self):
        definitions, _ = parts("CoreDib::Create")
        self.assertEqual([d.split("  ")[1] for d in definitions if not d.startswith(" ")], ["CoreDib::Create"])

    def test_what_is_not_there(self):
        run = where("NoSuchNameAnywhere")
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stderr, "scripts/where: nothing of ours is called NoSuchNameAnywhere\n")
        self.assertEqual(where().returncode, 2)

    def test_every_exported_function_has_a_place_and_a_test(self):
        names = set()
        for header in (ROOT / "include/tovkit").glob("*.h"):
            names.update(re.findall(r"^TOVKIT_API [^(=]*?\b(\w+)\(", header.read_text(), re.M))
        self.assertGreater(len(names), 30)
        loader = importlib.machinery.SourceFileLoader("where", str(ROOT / "scripts/where"))
        module = importlib.util.module_from_spec(importlib.util.spec_from_loader("where", loader))
        loader.exec_module(module)
        os.chdir(ROOT)
        known = module.all_functions()
        for name in sorted(names):
            self.assertTrue(module.named(name, known), name)
            self.assertTrue(any(module.matching_tests(name, [], set())), name)


if __name__ == "__main__":
    unittest.main()
