#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""soak_test.py PROGRAM LIBRARY: the loop over every call leaves out none, and what is not level is told."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import soak  # noqa: E402  pylint: disable=wrong-import-position

PROGRAM, LIBRARY = map(pathlib.Path, sys.argv[1:3])
# Exported, and not called by name: what other calls of the loop run, what is called through a table of virtual operations, and
# what would not come back.
ELSEWHERE = {
    "tovkit::ProcessMonitor::monitorLoop()": "never returns",
    "tovkit::ProcessMonitor::setStatusKey(char*)": "for programs of before, whose header had it",
    "tovkit::Process::unixStart()": "start runs it in the child",
    "tovkit::Process::unixCloseFDInheritFromParent()": "start runs it in the child",
    "tovkit::Process::executeInChild()": "private",
    "tovkit::Process::freeArguments()": "private",
    "tovkit::Process::redirectOutput() const": "private",
    "tovkit::Thread::threadEntry(void*)": "the thread that start makes runs it",
    "tovkit::Mutex::lock()": "virtual",
    "tovkit::Mutex::unlock()": "virtual",
    "tovkit::WatchedMutex::lock()": "virtual",
    "tovkit::WatchedMutex::unlock()": "virtual",
}
PRIVATE = ("tovkit::ThreadPool::workerEntry(", "tovkit::ThreadPool::startWorkers(", "tovkit::ThreadPool::hasWorkers(",
           "tovkit::ThreadPool::work(", "tovkit::ThreadPool::takeTask(", "tovkit::ThreadPool::append(",
           "tovkit::ThreadPool::joinWorkers(", "tovkit::sp_counted_", "tovkit::JsonValue::~JsonValue()")


def functions(file, kind):
    told = subprocess.run(["nm", "-D", "-C", kind, file], check=True, capture_output=True, text=True).stdout
    rows = [line.split(maxsplit=1 if kind == "-u" else 2) for line in told.splitlines()]
    return {row[-1].split("@")[0] for row in rows if row[-2] in "UTW" and row[-1].startswith("tovkit::")}


def level(value, count=200):
    return [(i / 10, value + i % 3) for i in range(count)]


class SoakTest(unittest.TestCase):
    def test_every_function_is_called(self):
        exported = {name for name in functions(LIBRARY, "--defined-only") if not name.startswith(PRIVATE)}
        self.assertGreater(len(exported), 150)
        self.assertEqual(sorted(exported - functions(PROGRAM, "-u") - set(ELSEWHERE)), [])
        self.assertEqual(sorted(set(ELSEWHERE) - exported), [])

    def test_a_round_leaves_nothing_behind(self):
        with tempfile.TemporaryDirectory() as folder:
            done = subprocess.run([PROGRAM, folder, "--once"], capture_output=True, text=True, check=False, timeout=250)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "1\n", ""))
            self.assertEqual(os.listdir(folder), [])

    def test_what_stays_level_is_fine(self):
        found = {"part": {"memory": level(1 << 26), "descriptors": level(10), "time": level(1000)}}
        self.assertEqual(list(soak.judge(found)), [])

    def test_what_grows_is_told(self):
        grown = {"memory": [(i, (1 << 26) + (i << 17)) for i in range(200)], "descriptors": [(i, 10 + i // 20) for i in range(200)],
                 "time": [(i, 0.001 * (1 + i / 100)) for i in range(200)]}
        told = list(soak.judge({"part": grown}))
        self.assertEqual(len(told), 3, told)
        self.assertIn("part: descriptors: ", told[1])

    def test_growth_of_the_first_quarter_is_none(self):
        points = [(i, (1 << 26) + (min(i, 40) << 20)) for i in range(200)]
        self.assertEqual(list(soak.judge({"part": {"memory": points}})), [])

    def test_too_few_samples_prove_nothing(self):
        self.assertEqual(len(list(soak.judge({"part": {"memory": level(1, 20)}}))), 1)

    def test_the_time_of_a_job_is_that_between_samples(self):
        samples = [soak.Sample(i, 1, 1, 10 * i, 0.5 * i) for i in (0, 1, 2)] + [soak.Sample(3, 1, 1, 20, 2)]
        self.assertEqual(soak.series(samples)["time"], [(1, 0.05), (2, 0.05)])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
