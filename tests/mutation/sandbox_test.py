# SPDX-License-Identifier: MIT
"""What a fault cannot do: kill or write outside of its run. Each script runs as the test of a fault would."""
import os
import subprocess
import sys
import tempfile
import unittest

import support

APART = ["unshare", "--mount", "--pid", "--ipc", "--fork", "--kill-child", "--mount-proc", "--propagation", "private"]
if os.getuid() != 0:
    APART += ["--user", "--map-root-user"]

# Freezes the file system but for one folder, then runs one script in a sandbox.
DRIVER = """
import sys
sys.path.insert(0, sys.argv[1])
import sandbox
root, script = sys.argv[2], sys.argv[3]
sandbox.freeze(root + "/writable")
box = sandbox.Sandbox(root, root + "/scratch", root + "/writable")
status, text, _ = box.run(["sh", "-c", script], root + "/scratch", {"GIVEN": "7"}, wall=float(sys.argv[4]), cpu=1,
                          keep=sys.argv[5] == "keep", output=True)
print(status, text.strip(), sep="|", end="")
"""


def may_unshare():
    return subprocess.run([*APART, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0


@unittest.skipUnless(may_unshare(), "no namespaces here")
class SandboxTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = folder.name
        for name in ("writable", "scratch"):
            os.mkdir(os.path.join(self.root, name))
        with open(os.path.join(self.root, "scratch", "kept"), "w", encoding="utf-8") as out:
            out.write("old")

    def run_in(self, script, wall=20, keep="keep"):
        run = subprocess.run([*APART, sys.executable, "-B", "-c", DRIVER, support.TOOL, self.root, script, str(wall), keep],
                             capture_output=True, encoding="utf-8", timeout=60, check=True, env={**os.environ, "PYTHONUTF8": "1"})
        return run.stdout

    def test_status_output_folder_and_environment_arrive(self):
        self.assertEqual(self.run_in("echo $GIVEN; pwd; exit 3"), f"3|7\n{self.root}/scratch")

    def test_killing_every_process_stays_inside(self):
        with subprocess.Popen(["sleep", "60"]) as outside:
            self.run_in("kill -9 -1")
            self.assertIsNone(outside.poll())
            self.run_in(f"kill -9 {outside.pid}")
            self.assertIsNone(outside.poll())
            outside.kill()

    def test_files_outside_can_neither_be_written_nor_removed(self):
        self.run_in(f"echo new > {self.root}/made; rm -rf {self.root}/scratch/kept {self.root}/writable")
        self.assertEqual(sorted(os.listdir(self.root)), ["scratch", "writable"])
        self.assertEqual(os.listdir(os.path.join(self.root, "scratch")), ["kept"])

    def test_a_run_sees_nothing_of_the_one_before(self):
        self.run_in("echo new > here; echo new > /tmp/here; echo new > /dev/shm/here")
        self.assertEqual(self.run_in("ls; ls /dev/shm"), "0|kept")

    def test_one_folder_is_written_to_where_that_is_allowed(self):
        self.run_in(f"echo new > {self.root}/writable/a", keep="")
        self.assertEqual(os.listdir(os.path.join(self.root, "writable")), [])
        self.run_in(f"echo new > {self.root}/writable/a")
        self.assertEqual(os.listdir(os.path.join(self.root, "writable")), ["a"])

    def test_what_waits_for_ever_is_ended_with_its_children(self):
        self.assertEqual(self.run_in("sleep 1000 & sleep 1000", wall=1), "None|")

    def test_what_computes_for_ever_is_ended_by_its_processor_time(self):
        self.assertRegex(self.run_in("sh -c 'while :; do :; done'"), r"^(137|152)\|")


if __name__ == "__main__":
    unittest.main()
