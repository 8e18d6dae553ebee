"""What the tests of batches share."""

import contextlib
import csv
import io
import os
import pathlib
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
FAKE = HERE / "fake_planner.py"
BATCH = ROOT / "batch" / "kelvo-batch"
KELVO = os.environ.get("KELVO", str(ROOT / "build/release/bin/kelvo"))
sys.path.insert(0, str(ROOT / "batch"))

# A build with sanitizers reserves the whole space of addresses.
REAL = ["--program", KELVO, "--no-address-limit"]


class BatchTest(unittest.TestCase):
    """A test with a folder of its own, `problems` with three problems, and a batch `results`."""

    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.results = self.folder / "results"
        self.problems = self.folder / "problems"
        self.write_problems(3)

    def write_problems(self, count):
        self.problems.mkdir(exist_ok=True)
        for number in range(count):
            (self.problems / f"p{number:02}.anml").write_text(f"// {number}\n")

    def arguments(self, *words):
        fake = words[0] == "run" and "--program" not in words
        return [sys.executable, str(BATCH), *map(str, words),
                *(["--program", str(FAKE)] if fake else [])]

    def start(self, *words, env=None, **options):
        return subprocess.Popen(self.arguments(*words), stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, env={**os.environ, **(env or {})},
                                cwd=self.folder, **options)

    def call(self, *words, status=0, env=None, **options):
        """Runs kelvo-batch, which must end with the status; returns (output, errors)."""
        process = self.start(*words, env=env, **options)
        output, errors = process.communicate(timeout=120)
        self.assertEqual(process.returncode, status, output + errors)
        return output, errors

    def real(self, *words, **options):
        return self.call(*words, *(REAL if words[0] == "run" else []), **options)

    def run_fakes(self, *configurations, limits=("-t", "20", "--wall-time", "20"), **options):
        """Runs `problems` with a configuration for each word of the fake planner."""
        words = [word for name in configurations for word in ("-c", f"{name}=--do {name}")]
        return self.call("run", "-o", self.results, self.problems, *limits, *words, **options)

    def rows(self, folder=None):
        """The results by (problem, configuration); fails when a pair has two."""
        output, _ = self.call("export", folder or self.results)
        rows = list(csv.DictReader(io.StringIO(output)))
        by_name = {(row["problem"], row["configuration"]): row for row in rows}
        self.assertEqual(len(by_name), len(rows))
        return by_name

    def num_stored(self):
        with contextlib.closing(sqlite3.connect(self.results / "results.db", timeout=30)) as base:
            return base.execute("SELECT count(*) FROM runs").fetchone()[0]

    def wait_for(self, condition, seconds=60):
        end = time.monotonic() + seconds
        while not condition():
            self.assertLess(time.monotonic(), end, "what was waited for has not come")
            time.sleep(0.005)


def processes_with(text):
    """The ids of living processes whose command line holds a text."""
    found = []
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if text in (folder / "cmdline").read_text(errors="replace"):
                if (folder / "stat").read_text().rpartition(")")[2].split()[0] not in "ZX":
                    found.append(int(folder.name))
    return found
