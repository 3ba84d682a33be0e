# SPDX-License-Identifier: MIT
"""Which faults are tried and in what order, which survivors are accepted, and what the report says."""
import os
import tempfile
import unittest

import support  # noqa: F401
import accepted
import order
import places
import report


def fault(number, file="util/a.cc", **more):
    return {"number": number, "file": file, "line": number, "column": 1, "function": "f", "constant": False,
            "operator": "relation", "original": "a < b", "changed": "a <= b", "text": "if (a < b) return;", **more}


class PlacesTest(unittest.TestCase):
    def test_sources_are_those_of_the_folders(self):
        self.assertTrue(places.is_source("core/text/string.cc") and places.is_source("include/tovkit/json.h"))
        self.assertFalse(places.is_source("tests/core/a.cc") or places.is_source("core/README.md"))

    def test_each_folder_of_the_core_and_of_the_service_is_a_part(self):
        self.assertEqual([places.part_of(path) for path in ("core/text/a.cc", "core/include/tovmx/a.h",
                                                            "service/queue/a.cc", "cli/x/a.cc")],
                         ["core/text", "core/include", "service/queue", "cli"])

    def test_lines_of_a_diff(self):
        diff = ("diff --git a/util/a.cc b/util/a.cc\n--- a/util/a.cc\n+++ b/util/a.cc\n@@ -1,2 +4,3 @@ f\n+x\n+y\n+z\n"
                "@@ -9 +12 @@\n-a\n+b\n@@ -20,2 +22,0 @@\n-a\n-b\n"
                "--- a/tests/a.cc\n+++ b/tests/a.cc\n@@ -1 +1 @@\n-a\n+b\n--- a/util/gone.cc\n+++ /dev/null\n@@ -1 +0,0 @@\n-a\n")
        self.assertEqual(places.read_diff(diff), {"util/a.cc": {4, 5, 6, 12}})


class OrderTest(unittest.TestCase):
    faults = [fault(n, "json/a.cc") for n in range(30)] + [fault(100 + n, "core/text/a.cc") for n in range(10)]

    def test_is_that_of_the_seed(self):
        self.assertEqual(order.draw(self.faults, "1"), order.draw(list(reversed(self.faults)), "1"))
        self.assertNotEqual(order.draw(self.faults, "1"), order.draw(self.faults, "2"))

    def test_holds_every_fault_once(self):
        self.assertEqual(sorted(each["number"] for each in order.draw(self.faults, "1")),
                         sorted(each["number"] for each in self.faults))

    def test_every_beginning_has_its_share_of_each_part(self):
        first = order.draw(self.faults, "1")[:8]
        self.assertEqual(sum(each["file"] == "json/a.cc" for each in first), 6)


class AcceptedTest(unittest.TestCase):
    entry = "file: util/a.cc\nline: if (a < b) return;\nfault: a < b -> a <= b\nreason: equivalent\n"

    def test_matches_by_text_wherever_the_line_is(self):
        entries = accepted.Accepted("# comment\n\n" + self.entry)
        self.assertTrue(entries.accepts(fault(7)) and entries.accepts(fault(8)))
        self.assertEqual(entries.unused({"util/a.cc"}), [])

    def test_another_fault_of_the_line_is_not_accepted(self):
        entries = accepted.Accepted(self.entry)
        self.assertFalse(entries.accepts(fault(7, changed="a >= b")))
        self.assertFalse(entries.accepts(fault(7, text="while (a < b) {")))
        self.assertEqual(len(entries.unused({"util/a.cc"})), 1)
        self.assertEqual(entries.unused({"util/b.cc"}), [])  # a file that nobody looked at

    def test_an_entry_needs_its_reason(self):
        for text in (self.entry.replace("equivalent", ""), self.entry.replace("reason: equivalent\n", ""),
                     self.entry + "line: twice\n", "nothing\n", self.entry + "\n" + self.entry):
            with self.assertRaises(ValueError):
                accepted.Accepted(text)

    def test_what_is_written_for_a_survivor_is_read_again(self):
        entries = accepted.Accepted(accepted.entry_of(fault(1)) + "reason: equivalent\n")
        self.assertTrue(entries.accepts(fault(1)))

    def test_an_entry_whose_line_or_file_is_gone_is_a_stray(self):
        with tempfile.TemporaryDirectory() as root:
            os.mkdir(os.path.join(root, "util"))
            with open(os.path.join(root, "util", "a.cc"), "w", encoding="utf-8") as source:
                source.write("void f() {\n  if (a < b) return;\n}\n")
            self.assertEqual(accepted.Accepted(self.entry).strays(root), [])
            for gone in (self.entry.replace("a.cc", "b.cc"), self.entry.replace("if (a", "while (a")):
                self.assertEqual(len(accepted.Accepted(gone).strays(root)), 1)

    def test_the_file_of_the_repository_can_be_read(self):
        with open(os.path.join(support.TOOL, "accepted.txt"), encoding="utf-8") as entries:
            accepted.Accepted(entries.read())


class ReportTest(unittest.TestCase):
    @staticmethod
    def outcomes(killed, survived, file="util/a.cc", lost="survived"):
        return [fault(n, file, outcome="killed" if n < killed else lost) for n in range(killed + survived)]

    def test_survivors_are_below_the_floor_when_they_exceed_its_share_rounded_up(self):
        self.assertFalse(report.below(1, 1, 0.95) or report.below(20, 1, 0.95) or report.below(21, 2, 0.95))
        self.assertTrue(report.below(2, 2, 0.95) or report.below(20, 2, 0.95))
        self.assertTrue(report.below(1000, 51, 0.95))
        self.assertFalse(report.below(1000, 50, 0.95) or report.below(0, 0, 0.95))

    def test_every_part_has_a_floor_of_its_own(self):
        outcomes = self.outcomes(1900, 0) + self.outcomes(80, 20, "core/text/a.cc")
        self.assertEqual(report.Report(outcomes, [], []).failures(), ["core/text: 80.0 % is below 92%"])
        outcomes = self.outcomes(1900, 0) + self.outcomes(80, 20, "cli/a.cc")
        self.assertEqual(report.Report(outcomes, [], []).failures(), ["cli: 80.0 % is below 92%"])
        self.assertEqual(report.Report(self.outcomes(93, 7), [], []).failures(), ["all: 93.0 % is below 95%"])

    def test_what_nothing_reaches_is_not_noticed(self):
        said = report.Report(self.outcomes(9, 1, lost="not reached"), [], [])
        self.assertIn("| util | 0 | 0 | 0 | 10 | 9 | 0 | 0 | 1 | 90.0 % |", said.table())
        self.assertIn("util/a.cc:9:1: relation in f: a < b -> a <= b (not reached)", said.list_survivors())

    def test_what_only_the_compiler_computes_is_not_counted(self):
        said = report.Report([fault(1, outcome="not reached", constant=True), fault(2, outcome="timed out")], [], [])
        self.assertIn("| all | 0 | 0 | 1 | 1 | 0 | 1 | 0 | 0 | 100.0 % |", said.table())

    def test_accepted_faults_stand_in_their_column(self):
        said = report.Report([], [fault(1), fault(2)], [fault(2)])
        self.assertIn("| util | 2 | 1 | 0 | 0 |", said.table())


if __name__ == "__main__":
    unittest.main()
