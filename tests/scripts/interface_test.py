#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""scripts/checks/interface in a small tree: what changes needs a line in the changelog, and then a record."""
import json
import pathlib
import subprocess
import tempfile
import unittest

TOOL = pathlib.Path(__file__).resolve().parents[2] / "scripts/checks/interface"
FILES = {"CHANGELOG.md": "# Changelog\n", "packaging/abi/lib.abi": "<abi/>", "share/tovkit/job.schema.json": "{}",
         "share/tovkit/openapi.json": "{}", "python/tovkit/_tovkit.pyi": "def draw() -> None: ...\n",
         "build/release/cli/tovkit.1": '.TH TOVKIT 1 "" "tovkit 1"\n.SH NAME\n'}


class InterfaceTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.top = pathlib.Path(scratch.name)
        for name, text in FILES.items():
            self.write(name, text)
        self.assertEqual(self.run_tool("--record")[0], 0)

    def write(self, name, text):
        (self.top / name).parent.mkdir(parents=True, exist_ok=True)
        (self.top / name).write_text(text)

    def run_tool(self, *arguments):
        done = subprocess.run([TOOL, "--top", self.top, *arguments], capture_output=True, encoding="utf-8", check=False)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout

    def git(self, *arguments):
        subprocess.run(["git", "-C", self.top, "-c", "user.name=a", "-c", "user.email=a@b", *arguments], check=True,
                       capture_output=True)

    def test_as_recorded(self):
        self.assertEqual(self.run_tool(), (0, "5 parts of the interface are as recorded\n"))

    def test_each_part(self):
        for name in FILES:
            if name == "CHANGELOG.md":
                continue
            with self.subTest(name):
                self.write(name, FILES[name] + "more\n")
                status, said = self.run_tool()
                self.assertEqual(status, 1)
                self.assertIn("is changed since it was recorded", said)
                self.assertIn("scripts/check --record-interface", said)
                self.write(name, FILES[name])

    def test_the_version_is_no_change_of_the_man_page(self):
        self.write("build/release/cli/tovkit.1", FILES["build/release/cli/tovkit.1"].replace("tovkit 1", "tovkit 2"))
        self.assertEqual(self.run_tool()[0], 0)

    def test_new_and_lost_parts(self):
        (self.top / "share/tovkit/openapi.json").unlink()
        self.write("share/tovkit/other.json", "{}")
        said = self.run_tool()[1]
        self.assertIn("share/tovkit/openapi.json is gone", said)
        self.assertIn("share/tovkit/other.json is new", said)

    def test_a_record_needs_a_line_in_the_changelog(self):
        self.write("share/tovkit/job.schema.json", "[]")
        status, said = self.run_tool("--record")
        self.assertEqual(status, 1)
        self.assertIn("CHANGELOG.md has no line of this", said)
        self.write("CHANGELOG.md", "# Changelog\n\n- Jobs are arrays.\n")
        self.assertEqual(self.run_tool("--record")[0], 0)
        self.assertEqual(self.run_tool()[0], 0)

    def test_a_line_of_the_changelog_alone_needs_no_record(self):
        self.write("CHANGELOG.md", "# Changelog\n\n- Faster.\n")
        self.assertEqual(self.run_tool()[0], 0)
        self.assertIn("nothing changed", self.run_tool("--record")[1])

    def test_since_the_last_tag(self):
        self.git("init", "-q")
        self.git("add", "-A")
        self.git("commit", "-qm", "released")
        self.git("tag", "v1")
        self.assertEqual(self.run_tool()[0], 0)
        # A record by hand, past the changelog.
        self.write("share/tovkit/job.schema.json", "[]")
        file = self.top / "packaging/interface.json"
        record = json.loads(file.read_text(encoding="utf-8"))
        file.write_text(json.dumps({**record, "changelog": ""}))
        self.assertEqual(self.run_tool("--record")[0], 0)
        status, said = self.run_tool()
        self.assertEqual(status, 1)
        self.assertIn("share/tovkit/job.schema.json is changed since the last tag, and CHANGELOG.md is not", said)
        self.write("CHANGELOG.md", "# Changelog\n\n- Jobs are arrays.\n")
        self.assertEqual(self.run_tool()[0], 0)


if __name__ == "__main__":
    unittest.main()
