#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The sweep over failing system calls notices what must not be: programs that do it on purpose, and how calls are read."""
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import scenarios  # pylint: disable=wrong-import-position
import tracing  # pylint: disable=wrong-import-position
import verdict  # pylint: disable=wrong-import-position

GOOD = b"\x89PNG good IEND\xaeB`\x82"


class Verdicts(unittest.TestCase):
    """A shell script in place of the command."""

    def judge(self, script, retried=False, limit=30, **fields):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            scenario = scenarios.Scenario("fake", ["sh", "-c", script], ("out.png",), **fields)
            (folder / "good.png").write_bytes(GOOD)
            (folder / "out.png").write_bytes(scenarios.OLD)
            before = verdict.contents(folder)
            run = tracing.execute(scenario.command, folder, None, limit)
            good = {**before, "out.png": GOOD}
            return verdict.judge(scenario, run, before, verdict.contents(folder), good, retried)

    def finding(self, script, **fields):
        with self.assertRaises(verdict.Finding) as context:
            self.judge(script, **fields)
        return str(context.exception)

    def test_what_may_be(self):
        self.assertEqual(self.judge("cp good.png out.png"), verdict.DONE)
        self.assertEqual(self.judge("echo 'tovkit: out.png: no room' >&2; exit 1"), verdict.FAILED)
        self.assertEqual(self.judge("(printf '\\211PNG other'; tail -c 8 good.png) >out.png"), verdict.OTHER)
        self.assertEqual(self.judge("head -c 5 good.png >out.png", partial=True), verdict.FAILED)

    def test_the_output(self):
        self.assertIn("the old one", self.finding("true"))
        self.assertIn("nor whole", self.finding("head -c 5 good.png >out.png"))
        self.assertIn("is gone", self.finding("rm out.png"))
        self.assertIn("with a new output", self.finding("cp good.png out.png; echo 'tovkit: late' >&2; exit 1"))
        self.assertIn("left behind: ['litter']", self.finding("cp good.png out.png; touch litter"))

    def test_how_it_ends(self):
        self.assertEqual(self.finding("sleep 60", limit=1), "hangs")
        self.assertEqual(self.finding("kill -SEGV $$"), "ended by signal 11")
        self.assertIn("exits with 3", self.finding("exit 3"))
        self.assertIn("only interrupted", self.finding("echo 'tovkit: Interrupted' >&2; exit 1", retried=True))

    def test_what_it_says(self):
        self.assertIn("0 lines", self.finding("exit 1"))
        self.assertIn("2 lines", self.finding("echo 'tovkit: one' >&2; echo 'tovkit: two' >&2; exit 1"))
        self.assertIn("printed", self.finding("cp good.png out.png; echo 'libfoo: oh' >&2"))

    def test_memory_that_fontconfig_takes_for_words_may_hold_a_line_end(self):
        said = "cp good.png out.png; printf 'Fontconfig error: failed reading config file: /a.conf: x\\n\\377 (errno 5)\\n' >&2"
        self.assertEqual(self.judge(said), verdict.DONE)
        self.assertIn("printed", self.finding(f"{said}; echo 'libfoo: (errno 5)' >&2"))
        self.assertIn("printed", self.finding("cp good.png out.png; printf 'Fontconfig error: oh\\nx (errno 5)\\n' >&2"))


class Reading(unittest.TestCase):
    """A log of strace."""

    LOG = """\
7 openat(AT_FDCWD, "lib", O_RDONLY) = 3
 > /lib/ld-linux-x86-64.so.2(x+0x1) [0x1]
7 openat(AT_FDCWD, "page", O_RDONLY) = 3
 > /usr/lib/libc.so.6(open+0x1) [0x1]
 > /b/libtovkit.so.5(Open()+0x1) [0x1]
 > /b/tovkit(_start+0x1) [0x1]
8 read(3, <unfinished ...>
7 wait4(8, 0, WNOHANG, NULL) = 8
 > /b/tovkit(_start+0x1) [0x1]
8 <... read resumed>"", 1) = 0
 > /usr/lib/libpango.so.0(f+0x1) [0x1]
 > /b/tovkit(_start+0x1) [0x1]
"""

    def points(self):
        return list(tracing.points(tracing.read_log(self.LOG.splitlines(keepends=True))))

    def test_the_start_is_left_out(self):
        opened = [point for point in self.points() if point.call == "openat"]
        self.assertEqual({point.number for point in opened}, {2})
        self.assertEqual({point.error for point in opened}, set(tracing.ERRORS["openat"]))

    def test_callers_and_interruptions(self):
        ours = {point.call: point.ours for point in self.points()}
        self.assertEqual(ours, {"openat": True, "read": False})
        self.assertIn("Open(): ", self.points()[0].text)


if __name__ == "__main__":
    unittest.main()
