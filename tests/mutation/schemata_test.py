# SPDX-License-Identifier: MIT
"""The rewritten copies of sources: what does not compile is found and left out, and the rest stays as it was."""
import json
import os
import subprocess
import tempfile
import unittest

import support
import accepted
import order
import plan
import schemata
import units


class SchemaFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = os.path.realpath(folder.name)

    def schemata(self, **sources):
        found = {}
        for name, text in sources.items():
            path = name.replace("_", "/", 1) + ".cc"
            os.makedirs(os.path.dirname(os.path.join(self.root, path)), exist_ok=True)
            with open(os.path.join(self.root, path), "w", encoding="utf-8") as out:
                out.write(text)
            found[path] = support.find(text)
        scheme = schemata.Schemata(self.root, os.path.join(self.root, "work"), found)
        scheme.write()
        return scheme


class SchemataTest(SchemaFolder):
    def compile(self, path):
        run = subprocess.run(["c++", "-std=c++20", "-fsyntax-only", os.path.join(self.root, "work", "sources", path)],
                             capture_output=True, text=True, check=False)
        return run.stderr

    def test_every_fault_has_a_number_of_its_own(self):
        scheme = self.schemata(util_a="int f(int a) { return a < 2; }\n", util_b="int g(int a) { return a + 2; }\n")
        faults = schemata.list_faults(scheme)
        self.assertEqual([(fault["file"], fault["changed"]) for fault in faults.values()],
                         [("util/a.cc", "return {};"), ("util/a.cc", "a <= 2"), ("util/a.cc", "a >= 2"),
                          ("util/a.cc", "2 + 1"), ("util/b.cc", "return {};"), ("util/b.cc", "a - 2"),
                          ("util/b.cc", "2 + 1")])
        self.assertTrue(all(number == fault["number"] < scheme.end for number, fault in faults.items()))

    def test_numbers_of_a_file_stay_when_one_before_it_grows_a_little(self):
        before, after = (self.schemata(util_a=text, util_b="int g(int a) { return a + 2; }\n")
                         for text in ("int f() { return 2; }\n", "int f() { return 2 + 3; }\n"))
        self.assertEqual(before.sites["util/b.cc"][0].first, after.sites["util/b.cc"][0].first)

    def test_what_does_not_compile_is_left_out_alone(self):
        scheme = self.schemata(util_a="""struct Only { explicit Only(int) {} };
Only f(int a) {
  Only only(a + 1);
  return only;
}
""")
        self.assertIn("error", self.compile("util/a.cc"))
        self.assertTrue(scheme.leave_out(units.read_errors(self.compile("util/a.cc"), self.root)))
        scheme.write()
        self.assertEqual(self.compile("util/a.cc"), "")
        self.assertEqual([site.faults[0].changed for _, site in scheme.left_out], ["return {};"])
        self.assertEqual([fault["changed"] for fault in schemata.list_faults(scheme).values()], ["a - 1", "0"])

    def test_an_error_elsewhere_leaves_nothing_out(self):
        scheme = self.schemata(util_a="int f() { return 2; }\n")
        self.assertFalse(scheme.leave_out({("util/other.cc", 1, 1)}))

    def test_copies_are_written_in_place_and_only_when_they_change(self):
        scheme = self.schemata(util_a="int f() { return 2; }\n")
        copy = os.path.join(self.root, "work", "sources", "util", "a.cc")
        before = os.stat(copy)
        scheme.write()
        self.assertEqual(os.stat(copy).st_mtime_ns, before.st_mtime_ns)
        scheme.leave_out({("util/a.cc", 1, 12)})
        scheme.write()
        self.assertEqual(os.stat(copy).st_ino, before.st_ino)

    def test_places_in_templates_count_as_errors_of_who_uses_them(self):
        output = (f"/other/mutant.h:9:1: error: no match\n{self.root}/util/a.cc:3:7:   required from here\n"
                  f"{self.root}/util/a.cc:5:2: warning: odd\n")
        self.assertEqual(units.read_errors(output, self.root), {("util/a.cc", 3, 7)})


class PlanTest(SchemaFolder):
    sources = {"util_a": "int f(int a) { return a < 2; }\n", "util_b": "int g(int a) { return a + 2; }\n",
               "json_c": "int h(int a) { return a * 3; }\n"}

    def test_a_sample_is_the_beginning_of_the_order_and_planted_alone(self):
        nothing = accepted.Accepted("")
        for seed in ("1", "2", "3"):
            whole = plan.Plan(self.schemata(**self.sources), nothing, seed)
            some = plan.Plan(self.schemata(**self.sources), nothing, seed, 4)
            built = schemata.Schemata(self.root, os.path.join(self.root, "work"), some.sites())
            built.write()
            tried = [(fault["file"], fault["original"], fault["changed"]) for fault in some.order(built)]
            all_of_it = whole.order(self.schemata(**self.sources))
            self.assertEqual(len(tried), 4)
            self.assertEqual(len(all_of_it), len(some.faults))
            planted = {(fault["file"], fault["changed"]) for fault in schemata.list_faults(built).values()}
            self.assertLessEqual({(file, changed) for file, _, changed in tried}, planted)
            self.assertLess(len(planted), len(some.faults))

    def test_the_order_is_that_of_the_seed_without_what_is_accepted(self):
        entry = "file: util/b.cc\nline: int g(int a) { return a + 2; }\nfault: a + 2 -> a - 2\nreason: none\n"
        scheme = self.schemata(**self.sources)
        made = plan.Plan(scheme, accepted.Accepted(entry), "1")
        self.assertEqual([fault["changed"] for fault in made.accepted], ["a - 2"])
        expected = order.draw([fault for fault in made.faults if fault["changed"] != "a - 2"], "1")
        self.assertEqual(made.order(scheme), expected)

    def test_survivors_of_the_last_run_are_tried_alone(self):
        made = plan.Plan(self.schemata(**self.sources), accepted.Accepted(""), "1")
        outcomes = os.path.join(self.root, "outcomes.jsonl")
        with open(outcomes, "w", encoding="utf-8") as out:
            for fault in made.faults:
                lost = fault["changed"] in ("a <= 2", "a - 2")
                out.write(json.dumps({**fault, "outcome": "survived in part" if lost else "killed"}) + "\n")
        # A line more in front of them.
        moved = {name: "\n" + text for name, text in self.sources.items()}
        again = plan.Plan(self.schemata(**moved), accepted.Accepted(""), "1", only=plan.survivors_of(outcomes))
        tried = {site.faults[i].changed for site, i in again.picks}
        self.assertEqual(tried, {"a <= 2", "a - 2"})
        self.assertLess(sum(map(len, again.sites().values())), sum(map(len, again.all.values())))

    def test_what_does_not_compile_is_not_tried(self):
        scheme = self.schemata(util_a="int f(int a) {\n  return a + 2;\n}\n")
        made = plan.Plan(scheme, accepted.Accepted(""), "1")
        scheme.leave_out({("util/a.cc", 2, 3)})
        self.assertLess(len(made.order(scheme)), len(made.faults))


class UnitsTest(unittest.TestCase):
    def test_only_what_clang_knows_is_kept(self):
        entry = {"file": "/r/a.cc", "command": "/usr/bin/c++ -DX=1 -I/r -O2 -fno-plt -Werror -o a.o -c /r/a.cc"}
        self.assertEqual(units.arguments_of(entry), ["-DX=1", "-I/r", "-O2", "-w"])
        self.assertEqual(units.output_of(entry), "a.o")

    def test_a_header_that_gcc_precompiled_is_left_out(self):
        entry = {"file": "/r/a.cc", "arguments": ["c++", "-O2", "-include", "/b/x.dir/cmake_pch.hxx", "-include", "y.h",
                                                  "-c", "/r/a.cc"]}
        self.assertEqual(units.arguments_of(entry), ["-O2", "-include", "y.h", "-w"])


if __name__ == "__main__":
    unittest.main()
