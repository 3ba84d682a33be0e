# SPDX-License-Identifier: MIT
"""The rewriter: which faults a source has, and what they do when they are in force."""
import os
import tempfile
import unittest

import support
from support import Program, faults, in_body


class OperatorTest(unittest.TestCase):
    def test_relations_have_a_boundary_and_an_opposite(self):
        self.assertEqual(in_body("g(a < b);")[1:], [("a < b", "a <= b"), ("a < b", "a >= b")])

    def test_equality_has_its_opposite(self):
        self.assertEqual(in_body("g(a == b);")[1:], [("a == b", "a != b")])

    def test_arithmetic_and_bits(self):
        for source, changed in (("a + b", "a - b"), ("a * b", "a / b"), ("a % b", "a / b"), ("a & b", "a | b"),
                                ("a << b", "a >> b"), ("-a", "a"), ("~a", "a")):
            self.assertEqual(in_body(f"g({source});")[1:], [(source, changed)], source)

    def test_a_difference_of_pointers_has_no_sum(self):
        self.assertEqual(in_body("g(int(p - q));", "char* p, char* q")[1:], [])

    def test_logical_operators_and_their_negations(self):
        self.assertEqual(in_body("if (a && !b) g(a);"),
                         [("a && !b", "a || !b"), ("!b", "b"), ("g(a);", ";")])

    def test_a_plain_condition_is_negated(self):
        self.assertEqual(in_body("while (a) b = a ? 1 : b;"),
                         [("a", "!(a)"), ("b = a ? 1 : b;", ";"), ("a", "!(a)"), ("1", "0")])

    def test_constants(self):
        self.assertEqual(in_body("bool c = true; a = 0; a = 1; a = 0x10; (void)c;"),
                         [("true", "false"), ("a = 0;", ";"), ("0", "1"), ("a = 1;", ";"), ("1", "0"),
                          ("a = 0x10;", ";"), ("0x10", "0x10 + 1")])

    def test_statements_are_dropped(self):
        self.assertEqual(in_body("for (;;) { ++a; b += a; break; } throw a;"),
                         [("++a;", ";"), ("b += a;", ";"), ("b += a", "b -= a"), ("break;", ";"), ("throw a;", ";")])

    def test_results_are_replaced(self):
        source = "struct S { int n; }; S f(S s) { return s; } bool g(S* s) { return s; } void h() { return; } int& i(int& n) { return n; }"
        self.assertEqual([fault[1:] for fault in faults(source)], [("return s;", "return {};"), ("return s", "return !(s)")])

    def test_a_fresh_result_is_none_to_replace(self):
        source = "template <typename T> struct P {}; struct S {}; P<int> Make(); "
        self.assertEqual(faults(source + "P<int> f() { return P<int>(); } S g() { return S(); }"), [])
        self.assertEqual([fault[1:] for fault in faults(source + "P<int> f() { return Make(); }")],
                         [("return Make();", "return {};")])

    def test_comparisons_of_classes(self):
        self.assertIn(("relation", "s == t", "s != t"),
                      faults("#include <string>\nbool f(std::string s, std::string t) { return s == t; }"))

    def test_an_inequality_that_the_compiler_makes_of_an_equality(self):
        self.assertEqual(faults("#include <memory>\nbool f(std::unique_ptr<int>& p) { return p != nullptr; }"),
                         [("relation", "p != nullptr", "p == nullptr")])

    def test_arguments_of_a_variables_constructor(self):
        source = "struct S { S(int, bool); };\nvoid f(int a) { S s(a + 1, true); S t{a, a < 2}; (void)s; (void)t; }"
        self.assertEqual([fault[2] for fault in faults(source)], ["a - 1", "0", "false", "a <= 2", "a >= 2", "2 + 1"])

    def test_lambdas_and_templates_are_looked_into(self):
        self.assertIn(("x < 2", "x <= 2"), in_body("auto l = [](int x) { return x < 2; }; g(l(a));"))
        self.assertIn(("relation", "a < b", "a <= b"), faults("template <class T> bool f(T a, T b) { return a < b; }"))


class LeftAloneTest(unittest.TestCase):
    def check(self, statements, parameters="int a, int b"):
        self.assertEqual(in_body(statements, parameters), [])

    def test_constants_that_the_compiler_needs(self):
        self.check("int array[4]; (void)array; (void)sizeof(a + 1); static_assert(1 < 2);")
        self.check("static int n = 3; constexpr int m = 2; const int k = 2 * m; (void)n; (void)k;")
        self.check("if constexpr (1 < 2) {}")
        self.check("switch (a) { case 1: ; }")

    def test_template_arguments(self):
        self.assertEqual(faults("template <int N> void t(); void f() { t<3>(); }"), [("dropped statement", "t<3>();", ";")])

    def test_what_a_macro_expands_to(self):
        self.assertEqual(faults("#define M(x) ((x) + 1)\nvoid g(int); void f(int a) { g(M(a < 2)); }"),
                         [("dropped statement", "g(M(a < 2));", ";")])

    def test_what_is_outside_of_bodies(self):
        self.assertEqual(faults("int n = 1 + 2; struct S { int m = 3; S() : m(4) {} }; void f(int = 5);"), [])

    def test_calls_whose_loss_nobody_sees(self):
        self.assertEqual(faults("#include <vector>\nvoid f(std::vector<int>& v, int n) { v.reserve(n); }"), [])


class InForceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def test_each_fault_does_what_it_says_and_nothing_else(self):
        program = Program("""#include <cstdio>
int f(int a, int b) {
  int sum = a * b;
  if (a < b && b != 7) sum += 10;
  return sum;
}
int main() { std::printf("%d %d", f(2, 3), f(3, 3)); }
""", self.folder)
        self.assertEqual(program.run(), "16 9")
        changed = program.outcomes()
        self.assertEqual(changed["a / b"], "10 1")
        self.assertEqual(changed["a <= b"], "16 19")
        self.assertEqual(changed["a >= b"], "6 19")
        self.assertEqual(changed["a < b || b != 7"], "16 19")
        self.assertEqual(changed["b == 7"], "6 9")
        self.assertEqual(changed["sum -= 10"], "-4 9")
        self.assertEqual(changed["10 + 1"], "17 9")
        self.assertEqual(changed["return {};"], "0 0")
        self.assertEqual(changed[";"], "")

    def test_operands_are_evaluated_once_and_not_when_the_first_decides(self):
        program = Program("""#include <cstdio>
int calls = 0;
bool Call(bool result) { ++calls; return result; }
int main() { bool all = Call(false) && Call(true); std::printf("%d %d", all, calls); }
""", self.folder)
        self.assertEqual(program.run(), "0 1")
        self.assertEqual(program.outcomes()["Call(false) || Call(true)"], "1 2")

    def test_a_dropped_statement_keeps_the_else_of_its_if(self):
        program = Program("""#include <cstdio>
int main() { if (std::puts("a") < 0) std::puts("b"); else std::puts("c"); }
""", self.folder)
        self.assertEqual(program.run(), "a\nc")

    def test_constexpr_functions_still_compute_for_the_compiler(self):
        program = Program("""#include <cstdio>
constexpr int f(int a) { return a + 1; }
static_assert(f(1) == 2);
int main(int argc, char**) { std::printf("%d", f(argc)); }
""", self.folder)
        self.assertEqual((program.run(), program.outcomes()["a - 1"]), ("2", "0"))

    def test_what_a_copy_is_warned_about_ends_no_compilation(self):
        # A constant that is none any more changes its sign; the compiler's cache names the file in another way.
        program = Program("""#include <cstdio>
#line 3 "/elsewhere/copy.cc"
namespace { struct Inner { unsigned long n; }; }
struct Outer { Inner inner; };
#line 6
unsigned long f(const Outer& outer) { return outer.inner.n + 1; }
int main() { std::printf("%lu", f({{4}})); }
""", self.folder, ["-Wsign-conversion"])
        self.assertEqual(program.run(), "5")

    def test_static_initializers_see_the_fault(self):
        program = Program("""#include <cstdio>
int Start() { return 5; }
int start = Start();
int main() { std::printf("%d", start); }
""", self.folder)
        self.assertEqual(program.outcomes()["5 + 1"], "6")

    def test_a_map_takes_what_is_reached_and_no_fault_is_in_force(self):
        program = Program("""#include <unistd.h>
int f(int a) { return a > 100 ? 3 : 4; }
int main(int argc, char**) { _exit(f(argc)); }
""", self.folder)
        path = os.path.join(self.folder, "map")
        with open(path, "wb") as out:
            out.truncate(20)
        program.run(TOVKIT_MUTANT_MAP=path)
        with open(path, "rb") as content:
            reached = support.reach.read_map(content.read())
        names = {site.first + i: fault.changed for site in program.sites for i, fault in enumerate(site.faults)}
        self.assertIn("4 + 1", {names[number] for number in reached})
        self.assertNotIn("3 + 1", {names[number] for number in reached})

    def test_rewritten_text_keeps_its_lines(self):
        source = "void g(int);\nvoid f(int a) {\n  g(a +  // why\n    2);\n}\n"
        text, ranges = support.site_text.apply(source.encode(), support.find(source))
        self.assertEqual(text.count(b"\n"), source.count("\n"))
        self.assertTrue(all(start < end for start, end in ranges))


if __name__ == "__main__":
    unittest.main()
