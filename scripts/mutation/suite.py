# SPDX-License-Identifier: MIT
"""The tests as ctest knows them; those of one GoogleTest program can run together."""
import dataclasses
import json
import os
import re
import subprocess

FILTER = "--gtest_filter="
BROKER = "/usr/lib/rabbitmq/bin"
LONGEST_FILTER = 100_000  # bytes; one argument may have 128 KiB


@dataclasses.dataclass
class Test:
    name: str
    command: list
    directory: str
    environment: tuple  # of (name, value)
    pattern: str = ""  # what the output must show instead of an exit status of 0
    timeout: float = 300
    seconds: float = 0
    reaches: frozenset = frozenset()

    @property
    def group(self):
        """What tests that can share a process have in common."""
        alone = self.name if not self.filter else ""
        return (self.command[0], self.directory, self.environment, alone)

    @property
    def filter(self):
        found = [word[len(FILTER):] for word in self.command[1:] if word.startswith(FILTER)]
        return found[0] if len(found) == 1 and not self.pattern and "*" not in found[0] else ""


def read_tests(listing):
    """Of the output of `ctest --show-only=json-v1`."""
    tests = []
    for entry in json.loads(listing)["tests"]:
        if "command" not in entry:
            continue
        properties = {each["name"]: each["value"] for each in entry.get("properties", [])}
        environment = [each.split("=", 1) for each in properties.get("ENVIRONMENT", [])]
        for each in properties.get("ENVIRONMENT_MODIFICATION", []):
            name, change = each.split("=", 1)
            if change.startswith("set:"):
                environment.append((name, change[len("set:"):]))
        if properties.get("DISABLED"):
            continue
        tests.append(Test(entry["name"], entry["command"], properties.get("WORKING_DIRECTORY", os.getcwd()),
                          tuple(sorted(map(tuple, environment))), "|".join(properties.get("PASS_REGULAR_EXPRESSION", [])),
                          properties.get("TIMEOUT", 300)))
    return tests


def list_tests(build):
    return read_tests(subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True,
                                     capture_output=True, text=True).stdout)


def queue_tests(root, build):
    """Those of the stage `net` that make a broker of their own; none where it is not installed."""
    if not os.path.isdir(BROKER):
        return []
    folder = os.path.join(root, "tests", "net", "queue")
    environment = (("BUILD", build), ("PYTHONDONTWRITEBYTECODE", "1"))
    return [Test(f"net.queue.{name}", ["/usr/bin/python3", "-m", "unittest", "--failfast", name], folder, environment)
            for name in ("faults_test", "submit_test", "tls_test")]


def without(tests, pattern):
    """Those whose names the regular expression does not find anything in; all of them without one."""
    return [test for test in tests if not pattern or not re.search(pattern, test.name)]


def joined(tests):
    """One command for tests of one group."""
    first = tests[0]
    if len(tests) == 1 or not first.filter:
        return first.command
    names = ":".join(test.filter for test in tests)
    return [FILTER + names if word.startswith(FILTER) else word for word in first.command] + ["--gtest_fail_fast"]


def batches(tests, first_seconds=0.4, growth=3.0):
    """Tests of one group, quickest first, in batches whose expected time grows."""
    found, batch, seconds, length, most = [], [], 0.0, 0, first_seconds
    for test in sorted(tests, key=lambda test: test.seconds):
        if batch and (not test.filter or seconds + test.seconds > most or length + len(test.filter) > LONGEST_FILTER):
            found.append(batch)
            batch, seconds, length, most = [], 0.0, 0, most * growth
        batch.append(test)
        seconds += test.seconds
        length += len(test.filter) + 1
    return found + [batch] if batch else found


def passed(test, status, output):
    if test.pattern:
        return re.search(test.pattern, output) is not None
    return status == 0
