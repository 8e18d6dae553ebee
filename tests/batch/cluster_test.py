#!/usr/bin/python3
"""A batch on a Dask cluster of this machine: a scheduler and two workers."""

import importlib.util
import os
import re
import signal
import subprocess
import sys
import unittest

from support import BatchTest, processes_with

HAS_DASK = importlib.util.find_spec("distributed") is not None
SCHEDULER = [sys.executable, "-m", "distributed.cli.dask_scheduler", "--host", "127.0.0.1",
             "--port", "0", "--no-dashboard"]
WORKER = [sys.executable, "-m", "distributed.cli.dask_worker", "--no-nanny", "--nthreads", "1",
          "--no-dashboard"]


class NoClusterTest(BatchTest):
    def test_there_is_no_scheduler(self):
        _, errors = self.call("run", "-o", self.results, self.problems, "-c", "a=--do plan",
                              "--scheduler", "tcp://127.0.0.1:1", status=1,
                              env={"DASK_DISTRIBUTED__COMM__TIMEOUTS__CONNECT": "1s"})
        self.assertRegex(errors, "There is no scheduler at tcp://127.0.0.1:1: |--scheduler needs Dask: "
                                 "install python3-distributed")
        self.assertNotIn("Traceback", errors)


@unittest.skipUnless(HAS_DASK, "python3-distributed is not installed")
class ClusterTest(BatchTest):
    def setUp(self):
        super().setUp()
        self.scheduler = self.daemon(SCHEDULER, "scheduler")
        self.address = self.wait_for_text("scheduler", r"Scheduler at:\s+(tcp://127.0.0.1:\d+)")
        self.starts = self.folder / "starts"
        self.workers = [self.worker(number) for number in range(2)]
        for number in range(2):
            self.wait_for_text(f"worker{number}", r"Registered to:\s+(tcp)")

    def daemon(self, command, name, **env):
        log = open(self.folder / f"{name}.log", "w", encoding="utf-8")
        self.addCleanup(log.close)
        process = subprocess.Popen(command, stdout=log, stderr=subprocess.STDOUT, cwd=self.folder,
                                   env={**os.environ, "FAKE_LOG": str(self.folder / "starts"), **env})
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def worker(self, number):
        """Started elsewhere and without the package on its path."""
        return self.daemon([*WORKER, "--local-directory", str(self.folder / f"space{number}"),
                            self.address], f"worker{number}")

    def wait_for_text(self, name, pattern):
        path = self.folder / f"{name}.log"
        self.wait_for(lambda: re.search(pattern, path.read_text()))
        return re.search(pattern, path.read_text())[1]

    def run_on_cluster(self, *words):
        return ["run", "-o", self.results, self.problems, "--scheduler", self.address, *words]

    def test_a_worker_is_killed_in_the_middle(self):
        self.write_problems(10)
        words = self.run_on_cluster("-c", "a=--do slow", "-c", "b=--do plan:other")
        batch = self.start(*words)
        self.wait_for(lambda: (self.results / "results.db").exists()
                      and len(list((self.results / "plans").iterdir())) >= 4)
        self.workers[0].send_signal(signal.SIGKILL)
        _, errors = batch.communicate(timeout=90)
        self.assertEqual((batch.returncode, errors), (0, ""))
        rows = self.rows()
        self.assertEqual(len(rows), 20)
        self.assertEqual({row["outcome"] for row in rows.values()}, {"plan"})
        self.assertEqual(self.num_stored(), 20)
        self.assertEqual(len(list((self.results / "plans").iterdir())), 20)
        # The lost worker's runs are done again, and no others.
        num_starts = len(self.starts.read_text().splitlines())
        self.assertLessEqual(num_starts, 20 + 4)
        self.call(*words)
        self.assertEqual(len(self.starts.read_text().splitlines()), num_starts)

    def test_limits_hold_and_planners_die_with_their_worker(self):
        self.call(*self.run_on_cluster("-c", "a=--do ignore", "-t", "0.5"))
        self.assertEqual({row["outcome"] for row in self.rows().values()}, {"timeout"})
        batch = self.start(*self.run_on_cluster("-c", "b=--do ignore", "-t", "60"))
        ours = f"{self.problems}/p0"
        self.wait_for(lambda: len(processes_with(ours)) >= 4)
        for worker in self.workers:
            worker.kill()
        self.wait_for(lambda: not processes_with(ours))
        batch.send_signal(signal.SIGTERM)
        batch.communicate(timeout=60)
        self.assertEqual(batch.returncode, 143)

    def test_the_scheduler_is_lost(self):
        batch = self.start(*self.run_on_cluster("-c", "a=--do plan", "-c", "b=--do sleep"),
                           env={"DASK_DISTRIBUTED__COMM__TIMEOUTS__CONNECT": "1s"})
        self.wait_for(lambda: (self.results / "results.db").exists() and self.num_stored_or_0() >= 1)
        self.scheduler.kill()
        _, errors = batch.communicate(timeout=90)
        self.assertEqual(batch.returncode, 1, errors)
        self.assertIn(f"The scheduler at {self.address} is lost. All results", errors)
        self.assertGreaterEqual(self.num_stored(), 1)

    def num_stored_or_0(self):
        return len(list((self.results / "plans").iterdir()))


if __name__ == "__main__":
    unittest.main()
