# SPDX-License-Identifier: MIT
"""The recipe of docs/guide/scale.md as it stands there, and what it says of systemd and Kubernetes."""
import os
import pathlib
import shutil
import subprocess
import unittest

from support import BUILD, QueueTest, read_lines

EXAMPLES = pathlib.Path(__file__).resolve().parents[3] / "examples/queue"
COUNT = 1000


class RecipeTest(QueueTest):
    def test_the_recipe_runs(self):
        self.draw_once(COUNT)
        environment = {**os.environ, "PATH": f"{BUILD / 'cli'}:{os.environ['PATH']}", "TOVKIT_AMQP_URL": self.broker.url()}
        run = subprocess.run(["sh", EXAMPLES / "recipe.sh"], cwd=self.folder, env=environment, capture_output=True, text=True,
                             timeout=200, check=False)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(sorted(line["id"] for line in read_lines(self.folder / "results.jsonl")),
                         sorted(map(str, range(COUNT))))
        self.assert_same_outputs("out")
        self.assertNotIn(self.broker.password, run.stdout + run.stderr)

    @unittest.skipUnless(shutil.which("systemd-analyze"), "systemd is not installed")
    def test_systemd_takes_the_unit(self):
        unit = self.folder / "tovkit-worker@jobs.service"
        text = (EXAMPLES / "tovkit-worker@.service").read_text()
        unit.write_text(text.replace("/usr/bin/tovkit", str(BUILD / "cli/tovkit")))
        checked = subprocess.run(["systemd-analyze", "verify", "--man=no", unit], capture_output=True, text=True, check=False)
        self.assertEqual((checked.returncode, checked.stderr), (0, ""))

    def test_the_commands_of_kubernetes_are_right(self):
        """Each stops at what it cannot have here, not at an option."""
        for name, said in {"worker.yaml": "/secrets/amqp", "shards.yaml": "shard 3/16"}.items():
            command = next(line for line in (EXAMPLES / name).read_text().splitlines() if "command:" in line)
            words = [word.strip().strip('"') for word in command.split("[")[1].rstrip("]").split(",")]
            self.assertEqual(words[0], "tovkit")
            run = subprocess.run([BUILD / "cli/tovkit", *words[1:]], cwd=self.folder, capture_output=True, text=True,
                                 env={**os.environ, "JOB_COMPLETION_INDEX": "3"}, check=False)
            self.assertIn(said, run.stderr)


if __name__ == "__main__":
    unittest.main()
