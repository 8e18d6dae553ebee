#!/usr/bin/python3
"""A batch that is ended at any point loses nothing and repeats nothing."""

import os
import random
import signal
import sqlite3
import subprocess
import time
import unittest

from support import BatchTest, processes_with

from kelvo_batch.errors import StoreFullError
from kelvo_batch.store import Store


class InterruptionTest(BatchTest):
    def command(self, problems=8, *words):
        self.write_problems(problems)
        return ["run", "-o", self.results, self.problems, "-j", "2", "-c", "a=--do slow",
                "-c", "b=--do plan", "-t", "20", *words]

    def starts(self):
        path = self.folder / "starts"
        return path.read_text().splitlines() if path.exists() else []

    def test_kills_at_random_points(self):
        seed = random.randrange(2**32)
        print(f"seed {seed}")
        chance = random.Random(seed)
        command = self.command()
        env = {"FAKE_LOG": str(self.folder / "starts")}
        stored = 0
        for _ in range(8):
            process = self.start(*command, env=env)
            time.sleep(chance.uniform(0.05, 0.5))
            process.kill()
            process.communicate()
            if (self.results / "results.db").exists():
                with sqlite3.connect(self.results / "results.db") as base:
                    tables = base.execute("SELECT count(*) FROM sqlite_master").fetchone()[0]
                base.close()
                if tables:
                    self.assertGreaterEqual(self.num_stored(), stored)
                    stored = self.num_stored()
        self.call(*command, env=env)
        rows = self.rows()
        self.assertEqual(len(rows), 16)
        for row in rows.values():
            self.assertEqual(row["outcome"], "plan")
            self.assertIn("good(a)", (self.results / row["plan_file"]).read_text())
        # What was stored is not run again: at most the two runs at work are, at each kill.
        self.assertLessEqual(len(self.starts()), 16 + 8 * 2)
        before = len(self.starts())
        output, _ = self.call(*command, env=env)
        self.assertEqual(len(self.starts()), before)
        self.assertIn("16 results were there before.", output)

    def test_signals_end_the_planners_too(self):
        for number, status in ((signal.SIGINT, 130), (signal.SIGTERM, 143), (signal.SIGKILL, -9)):
            with self.subTest(number):
                process = self.start("run", "-o", self.folder / str(number), self.problems, "-j", "2",
                                     "-c", "plan=--do plan", "-c", "ignore=--do ignore", "-t", "60")
                ours = f"{self.problems}/p0"
                # Each of the two at work has a child.
                self.wait_for(lambda: len(processes_with(ours)) >= 4)
                process.send_signal(number)
                _, errors = process.communicate(timeout=30)
                self.assertEqual(process.returncode, status)
                if status > 0:
                    self.assertEqual(errors, "kelvo-batch: interrupted; the same command goes on from "
                                             "here\n")
                self.wait_for(lambda: not processes_with(ours), 20)
                self.assertGreaterEqual(len(self.rows(self.folder / str(number))), 1)

    def test_two_batches_on_one_folder(self):
        command = self.command(3)
        first = self.start(*command, "-c", "sleep=--do sleep")
        self.wait_for(lambda: (self.results / "lock").exists()
                      and (self.results / "lock").read_text())
        for second in (command, ["resume", self.results], ["collect", self.results]):
            self.wait_for(lambda: (self.results / "results.db").exists())
            _, errors = self.call(*second, status=1)
            self.assertRegex(errors, rf"Another batch is at work in .*results: process {first.pid} on "
                                     r"\S+, since ")
        self.call("status", self.results)
        self.call("export", self.results)
        first.send_signal(signal.SIGTERM)
        first.communicate()
        self.call(*command)
        self.assertEqual({name for _, name in self.rows()}, {"a", "b"})

    def test_resume_knows_the_batch(self):
        process = self.start(*self.command(20))
        self.wait_for(lambda: (self.results / "results.db").exists()
                      and any((self.results / "plans").iterdir()))
        process.kill()
        process.communicate()
        self.call("resume", self.results, "-j", "2")
        self.assertEqual(len(self.rows()), 40)

    def test_changed_inputs_are_run_again(self):
        self.run_fakes("plan", "proven")
        (self.problems / "p01.anml").write_text("// another\n")
        self.call("run", "-o", self.results, self.problems, "-c", "plan=--do plan:other",
                  "-c", "proven=--do proven", "-t", "20", "--wall-time", "20")
        rows = self.rows()
        self.assertEqual(len(rows), 6)
        self.assertEqual(self.num_stored(), 6 + 3 + 1)
        self.assertEqual({row["options"] for (_, name), row in rows.items() if name == "plan"},
                         {"--do plan:other"})
        history, _ = self.call("export", "--history", self.results)
        self.assertEqual(len(history.splitlines()), 1 + 10)


class FullDiskTest(BatchTest):
    def test_the_database_is_full(self):
        self.run_fakes("plan")
        with Store(self.results, write=True) as store:
            runs = store.wanted()
            pages = store.connection.execute("PRAGMA page_count").fetchone()[0]
            store.connection.execute(f"PRAGMA max_page_count = {pages}")
            row = dict(store.rows()[0])
            store.connection.execute("DELETE FROM runs")
            with self.assertRaisesRegex(StoreFullError, "cannot be written: the disk is full. All "
                                                        "results that were counted are safe"):
                store.add(runs[0], {**row, "plan": "", "log": "", "message": "x" * 2**20})
            self.assertEqual(store.finished_keys(), set())

    def test_a_small_disk(self):
        disk = self.folder / "disk"
        disk.mkdir()
        options = ["-t", "tmpfs", "-o", "size=400k", "tmpfs", str(disk)]
        if subprocess.run(["mount", *options], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("no file system can be mounted here")
        try:
            self.results = disk / "results"
            self.write_problems(12)
            words = ["run", "-o", self.results, self.problems, "-c", "a=--do plan:" + "x" * 20000]
            _, errors = self.call(*words, status=1)
            self.assertIn("the disk is full. All results that were counted are safe", errors)
            stored = self.num_stored()
            self.assertGreater(stored, 0)
            self.assertLess(stored, 12)
            for plan in (self.results / "plans").glob("*.plan"):
                self.assertGreater(plan.stat().st_size, 40000)
            grown = ["mount", "-o", "remount,size=8m", str(disk)]
            subprocess.run(grown, check=True)
            output, _ = self.call(*words)
            self.assertIn(f"{stored} results were there before.", output)
            self.assertEqual(len(self.rows()), 12)
        finally:
            subprocess.run(["umount", "-l", str(disk)], check=True)

    def test_a_folder_that_cannot_be_written(self):
        _, errors = self.call("run", "-o", "/proc/results", self.problems, "-c", "a=--do plan",
                              status=1)
        self.assertIn("/proc/results cannot be written", errors)


if __name__ == "__main__":
    unittest.main()
