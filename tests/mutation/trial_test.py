# SPDX-License-Identifier: MIT
"""Tests as ctest lists them, what they reach, and how a fault is tried."""
import io
import json
import os
import tempfile
import unittest

import support
import suite
import trial


def test_entry(program, name, **properties):
    return {"name": f"{program}.{name}", "command": [f"/t/{program}", f"--gtest_filter={name}", "--more"],
            "properties": [{"name": "WORKING_DIRECTORY", "value": "/t"},
                           *({"name": key, "value": value} for key, value in properties.items())]}


def read(*entries):
    return suite.read_tests(json.dumps({"tests": list(entries)}))


def test(name, seconds=0.1, reaches=(1,), program="p", **more):
    return suite.Test(name, [f"/t/{program}", f"--gtest_filter={name}"], "/t", (), seconds=seconds,
                      reaches=frozenset(reaches), **more)


class SuiteTest(unittest.TestCase):
    def test_environment_folder_and_pattern_are_read(self):
        found = read(test_entry("p", "A.b", ENVIRONMENT=["X=1"], ENVIRONMENT_MODIFICATION=["Y=set:2=3"], TIMEOUT=7.0),
                     {"name": "q", "command": ["q"], "properties": [{"name": "PASS_REGULAR_EXPRESSION", "value": ["so"]}]})
        self.assertEqual((found[0].environment, found[0].directory, found[0].timeout),
                         ((("X", "1"), ("Y", "2=3")), "/t", 7.0))
        self.assertTrue(suite.passed(found[1], 1, "so it is") and not suite.passed(found[1], 0, "no"))

    def test_tests_with_a_broker_have_a_process_each(self):
        tests = suite.queue_tests("/r", "/r/build")
        self.assertEqual(len({each.group for each in tests}), 3 if os.path.isdir(suite.BROKER) else 0)
        for each in tests:
            self.assertEqual((each.directory, dict(each.environment)["BUILD"]), ("/r/tests/net/queue", "/r/build"))

    def test_tests_can_be_left_out_by_their_names(self):
        tests = [test("A.slow"), test("A.b"), test("B.slow.c")]
        self.assertEqual([each.name for each in suite.without(tests, r"slow$|^C")], ["A.b", "B.slow.c"])
        self.assertEqual(suite.without(tests, ""), tests)

    def test_tests_share_a_process_with_those_of_their_program_and_environment(self):
        a, b, c, d = read(test_entry("p", "A.b"), test_entry("p", "A.c"), test_entry("p", "A.d", ENVIRONMENT=["X=1"]),
                          test_entry("p", "A.*"))
        self.assertEqual(a.group, b.group)
        self.assertEqual(len({a.group, c.group, d.group}), 3)
        self.assertEqual(suite.joined([a, b]), ["/t/p", "--gtest_filter=A.b:A.c", "--more", "--gtest_fail_fast"])
        self.assertEqual(suite.joined([d]), d.command)

    def test_batches_begin_with_the_quickest_and_grow(self):
        tests = [test(f"A.{n}") for n in range(30)] + [test("A.slow", 9.0)]
        sizes = [len(batch) for batch in suite.batches(tests, 0.35)]
        self.assertEqual(sizes[:2], [3, 10])
        self.assertEqual(suite.batches(tests)[-1][-1].name, "A.slow")
        self.assertEqual(sum(sizes), 31)
        self.assertEqual(suite.batches([]), [])

    def test_a_filter_stays_short_enough_for_one_argument(self):
        tests = [test("A." + "x" * 1000 + str(n), 0.0) for n in range(300)]
        self.assertTrue(all(len(suite.joined(batch)[1]) < 128 * 1024 for batch in suite.batches(tests)))

    def test_a_map_is_the_numbers_of_its_set_bytes(self):
        self.assertEqual(support.reach.read_map(b"\0\1\0\1"), {1, 3})


class FakeSandbox:
    """Notices what `script` says: a map from the fault to the tests that fail for it; None is a time-out."""

    def __init__(self, script):
        self.script, self.runs = script, []

    def run(self, command, _folder, environment, **_limits):
        number = int(environment["TOVKIT_MUTANT"])
        names = command[1].removeprefix("--gtest_filter=").split(":")
        self.runs.append((number, names))
        failing = self.script.get(number, {})
        hit = [failing[name] for name in names if name in failing]
        return (hit[0] if hit else 0), "", 0.1


class MappedSandbox:
    """Writes into the map what `reached` says of each test; tests of `lonely` fail when they are not alone."""

    def __init__(self, reached, lonely=()):
        self.reached, self.lonely, self.runs = reached, lonely, []

    def run(self, command, _folder, environment, _wall, _cpu, **_more):
        names = command[1].removeprefix("--gtest_filter=").split(":")
        self.runs.append(names)
        with open(environment["TOVKIT_MUTANT_MAP"], "r+b") as content:
            for number in set().union(*(self.reached[name] for name in names)):
                content.seek(number)
                content.write(b"\1")
        return int(len(names) > 1 and any(name in self.lonely for name in names)), "output", 0.5


class ReachTest(unittest.TestCase):
    def trace(self, tests, sandbox):
        with tempfile.TemporaryDirectory() as folder:
            return support.reach.trace_all(tests, sandbox, folder, 10, 1)

    def test_each_test_has_what_it_reaches(self):
        tests = [test("A.a"), test("A.b"), test("A.c")]
        useful, together, failed = self.trace(tests, MappedSandbox({"A.a": {1, 2}, "A.b": set(), "A.c": {9}}))
        self.assertEqual({each.name: each.reaches for each in useful}, {"A.a": {1, 2}, "A.c": {9}})
        self.assertEqual((together, failed), ({tests[0].group}, {}))

    def test_programs_that_reach_nothing_run_once(self):
        sandbox = MappedSandbox({"A.a": {}, "A.b": {}})
        self.assertEqual(self.trace([test("A.a"), test("A.b")], sandbox)[0], [])
        self.assertEqual(sandbox.runs, [["A.a", "A.b"]])

    def test_tests_that_fail_together_are_traced_and_stay_apart(self):
        tests = [test("A.a"), test("A.b")]
        useful, together, failed = self.trace(tests, MappedSandbox({"A.a": {1}, "A.b": {2}}, ["A.b"]))
        self.assertEqual((len(useful), together, failed), (2, set(), {}))

    def test_a_test_that_fails_is_not_used(self):
        class Failing(MappedSandbox):
            def run(self, *arguments, **more):
                super().run(*arguments, **more)
                return 1, "why", 0.5
        useful, _, failed = self.trace([test("A.a"), test("A.b")], Failing({"A.a": {1}, "A.b": {2}}))
        self.assertEqual((useful, failed), ([], {"A.a": "why", "A.b": "why"}))


def fault(number):
    return {"number": number, "file": "util/a.cc"}


class TrialTest(unittest.TestCase):
    def run_one(self, tests, script, number=1, together=True):
        sandbox = FakeSandbox(script)
        trials = trial.Trial(tests, {each.group for each in tests} if together else set(), sandbox)
        return trials.run(fault(number))["outcome"], sandbox.runs

    def test_a_fault_that_nothing_reaches_costs_nothing(self):
        self.assertEqual(self.run_one([test("A.b", reaches=(2,))], {}), ("not reached", []))

    def test_only_tests_that_reach_it_run_in_one_process(self):
        tests = [test("A.a"), test("A.b", reaches=(2,)), test("A.c")]
        self.assertEqual(self.run_one(tests, {}), ("survived", [(1, ["A.a", "A.c"])]))

    def test_tests_that_fail_together_run_one_by_one(self):
        tests = [test("A.a"), test("A.c")]
        self.assertEqual(self.run_one(tests, {}, together=False), ("survived", [(1, ["A.a"]), (1, ["A.c"])]))

    def test_the_first_failure_ends_it(self):
        tests = [test("A.a"), test("B.a", 5.0, program="q")]
        self.assertEqual(self.run_one(tests, {1: {"A.a": 1}}), ("killed", [(1, ["A.a"])]))

    def test_time_outs_are_told_apart(self):
        self.assertEqual(self.run_one([test("A.a")], {1: {"A.a": None}})[0], "timed out")
        self.assertEqual(self.run_one([test("A.a")], {1: {"A.a": 137}})[0], "timed out")
        self.assertEqual(self.run_one([test("A.a")], {1: {"A.a": 139}})[0], "killed")

    def test_tests_beyond_the_time_for_one_fault_are_left(self):
        tests = [test("A.a", 1.0), test("B.a", trial.MOST_SECONDS, program="q")]
        self.assertEqual(self.run_one(tests, {}), ("survived in part", [(1, ["A.a"])]))
        sandbox = FakeSandbox({})
        short = trial.Trial([test("A.a", 1.0), test("B.a", 5.0, program="q")], set(), sandbox, most=5.5)
        self.assertEqual((short.run(fault(1))["outcome"], len(sandbox.runs)), ("survived in part", 1))

    def test_the_program_that_noticed_faults_of_the_file_comes_first(self):
        tests = [test("A.a", 0.1, (1, 2)), test("B.a", 0.2, (1, 2), program="q")]
        sandbox = FakeSandbox({1: {"B.a": 1}})
        trials = trial.Trial(tests, {each.group for each in tests}, sandbox)
        trials.run(fault(1))
        trials.run(fault(2))
        self.assertEqual([names for _, names in sandbox.runs], [["A.a"], ["B.a"], ["B.a"], ["A.a"]])

    def test_outcomes_go_to_the_log_at_once(self):
        tests = [test("A.a", reaches=(1, 2))]
        log, seen = io.StringIO(), []
        trials = trial.Trial(tests, {tests[0].group}, FakeSandbox({2: {"A.a": 1}}))
        done = trials.run_all([fault(1), fault(2)], 2, 0, log, lambda outcomes: seen.append(len(outcomes)))
        self.assertEqual({each["number"]: each["outcome"] for each in done}, {1: "survived", 2: "killed"})
        self.assertEqual(len(log.getvalue().splitlines()), 2)
        self.assertEqual(seen, [1, 2])


if __name__ == "__main__":
    unittest.main()
