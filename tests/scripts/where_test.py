# SPDX-License-Identifier: MIT
"""scripts/where finds the place and the tests of what the headers declare."""
import os
import pathlib
import re
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts/finding"))

import headers  # noqa: E402
from definitions import Tree, sources  # noqa: E402
from tests import ranked  # noqa: E402


def where(*words):
    return subprocess.run([ROOT / "scripts/where", *words], capture_output=True, encoding="utf-8")


def parts(*words):
    """The lines of the definitions and those of the tests."""
    definitions, tests = where(*words).stdout.split("definitions\n")[1].split("\ntests\n")
    return definitions.splitlines(), tests.splitlines()


class Where(unittest.TestCase):
    def test_a_definition_and_what_it_hands_on_to(self):
        definitions, tests = parts("--list", "LocalToUtf8")
        self.assertRegex(definitions[0], r"^util/text_conversion\.cc:\d+  LocalToUtf8 ")
        self.assertTrue(any(re.match(r"  core/text/text_codec\.cc:\d+  CoreTextCodec::LocalDecode", d) for d in definitions))
        self.assertIn("TextConversion.NullTextGivesAnEmptyResult", "\n".join(tests))

    def test_lines_are_those_of_the_definition(self):
        definitions, tests = parts("--list", "GetFileName")
        for entry, text in ((definitions[0], "GetFileName("), (tests[0], "TEST")):
            path, line = re.match(r"([^:]+):(\d+)", entry).groups()
            self.assertIn(text, (ROOT / path).read_text(encoding="utf-8").split("\n")[int(line) - 1])

    def test_the_code_of_short_definitions_and_of_the_first_tests_is_shown(self):
        definitions, tests = parts("GetFileName", "file")
        self.assertTrue(definitions[1].startswith("    ") and "GetFileName(" in definitions[1])
        self.assertEqual(definitions[[d.startswith("    }") for d in definitions].index(True)], "    }")
        self.assertTrue(any(t.startswith("    TEST(") for t in tests))

    def test_words_put_their_tests_first(self):
        _, tests = parts("--list", "JsonValue::SetMember", "deep", "copy")
        self.assertIn("DeepCopy", tests[0])
        _, tests = parts("--list", "ImageDecode", "position")
        self.assertIn("Position", tests[0])

    def test_a_member_is_found_by_its_class(self):
        definitions, _ = parts("--list", "CoreDib::Create")
        self.assertEqual([d.split("  ")[1] for d in definitions if not d.startswith(" ")], ["CoreDib::Create"])

    def test_a_destructor_has_the_tests_of_its_class(self):
        _, tests = parts("--list", "SharedMemory::~SharedMemory", "end", "creator")
        self.assertIn("TheEndOfTheCreator", tests[0])

    def test_what_has_no_code_is_found_where_it_is_used(self):
        definitions, tests = parts("--list", "inheritParentFds")
        self.assertIn("Process::unixStart", "\n".join(definitions))
        self.assertIn("WithInheritParentFdsTheChildKeepsEvery", "\n".join(tests))

    def test_programs_that_tests_run_are_looked_into(self):
        _, tests = parts("--list", "WatchedMutex::lock", "forked", "child")
        self.assertTrue(any("watchdog_helper.cc" in t and "ForkedChild" in t for t in tests[:3]), tests)

    def test_tables_helpers_of_helpers_and_families_lead_to_their_tests(self):
        _, tests = parts("--list", "Convert::JsonToRect", "missing", "element", "fallback", "field")
        self.assertIn("ConvertRecord.MissingElementsGiveTheFallbackOfTheField", tests[0])  # through a table
        _, tests = parts("--list", "JsonValue::SetMemberUint64", "append", "member", "end")
        self.assertIn("JsonSetMember.AppendsANewMemberAtTheEnd", tests[0])  # through a field that a macro fills
        _, tests = parts("--list", "SharedPtr::UseCount", "moved", "from")
        self.assertIn("JsonHandle.", tests[0])  # through another name of the type

    def test_a_helper_that_calls_through_another_counts_as_a_call(self):
        _, tests = parts("--list", "Numbers must rise strictly and a range must hold two pages at least.")
        self.assertIn("NumbersMustRiseStrictly", tests[0])

    def test_a_helper_of_a_header_counts_as_a_call(self):
        _, tests = parts("--list", "A running child does not prevent another start: the object then forgets the first one.")
        self.assertIn("ARunningChildIsForgottenByTheNextStart", "\n".join(tests[:3]))

    def test_a_sentence_is_found_with_what_it_is_about(self):
        run = where("--list", "Removes the member named `key` if there is one.")
        self.assertRegex(run.stdout, r"^said in include/tovkit/json\.h:\d+ of JsonValue::RemoveMember\ndefinitions\n")
        run = where("--list", "a negative length means up to the terminating NUL, and a null text returns")
        self.assertRegex(run.stdout, r"^said in include/tovkit/util\.h:\d+ of .*LocalToWide, .*Utf8ToLocal")
        self.assertIn("AnyNegativeLengthMeansUpToTheTerminator", run.stdout)

    def test_what_is_not_there(self):
        run = where("NoSuchNameAnywhere")
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stderr, "scripts/where: nothing of ours is called NoSuchNameAnywhere\n")
        self.assertIn("; near it: DrawText", where("DrawTxet").stderr)
        self.assertEqual(where("there is no such sentence in any of them").stderr, "scripts/where: no header says so\n")
        self.assertEqual(where().returncode, 2)

    def test_every_exported_function_has_a_place_and_a_test(self):
        names = set()
        for header in (ROOT / "include/tovkit").glob("*.h"):
            names.update(re.findall(r"^TOVKIT_API [^(=]*?\b(\w+)\(", header.read_text(encoding="utf-8"), re.M))
        self.assertGreater(len(names), 30)
        os.chdir(ROOT)
        tree = Tree()
        for name in sorted(names):
            self.assertTrue(tree.named(name), name)
            self.assertTrue(ranked([name], "", set()), name)

    def test_every_comment_of_the_headers_is_about_something(self):
        os.chdir(ROOT)
        tree = Tree()
        said = [s for path in sources(["include"]) for s in headers.said_of_groups(path)]
        self.assertGreater(len(said), 300)
        silent = [f"{s.path}:{s.line}" for s in said if s.line > 2 and len(s.words) > 7
                  and not any(tree.named(n) or tree.named(n.split("::")[0]) or tree.users(n) for n in s.names)]
        self.assertEqual(silent, [])


if __name__ == "__main__":
    unittest.main()
