#!/usr/bin/python3
"""Runs the commands that docs/batches.md shows, in order, each block in one shell that stops at the first
error."""

import os
import re
import shutil
import subprocess
import unittest

from slurm_test import SlurmTest
from support import BATCH, KELVO, ROOT, BatchTest

DOCUMENT = (ROOT / "docs/batches.md").read_text(encoding="utf-8")


def blocks(kind):
    return re.findall(rf"^```{kind}\n(.*?)^```$", DOCUMENT, re.MULTILINE | re.DOTALL)


def run_blocks(test, kind, env):
    path = f"{BATCH.parent}:{os.path.dirname(KELVO)}:{env.get('PATH', os.environ['PATH'])}"
    found = blocks(kind)
    test.assertTrue(found)
    for block in found:
        done = subprocess.run(["bash", "-e", "-c", block], env={**os.environ, **env, "PATH": path},
                              cwd=test.folder, capture_output=True, text=True, check=False)
        test.assertEqual(done.returncode, 0, block + done.stdout + done.stderr)
    test.assertIn("</html>", (test.results / "report.html").read_text(encoding="utf-8"))


class DocsTest(BatchTest):
    def test_on_one_machine(self):
        (self.folder / "examples").symlink_to(ROOT / "examples")
        run_blocks(self, "sh", {})
        outcomes = {row["outcome"] for row in self.rows().values()}
        self.assertIn("plan", outcomes)
        self.assertLessEqual(outcomes, {"plan", "timeout"})


class SlurmDocsTest(SlurmTest):
    test_results_come_back = test_an_element_that_starts_again = test_what_is_strange_is_told = None

    def test_the_commands(self):
        for path in self.problems.iterdir():
            path.unlink()
        shutil.copy(ROOT / "examples/match_cellar.anml", self.problems)
        run_blocks(self, "sh slurm", self.env)
        self.assertEqual([row["outcome"] for row in self.rows().values()], ["plan"])


del SlurmTest

if __name__ == "__main__":
    unittest.main()
