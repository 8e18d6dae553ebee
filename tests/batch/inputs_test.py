#!/usr/bin/python3
"""What may be wrong with the input of a batch, and which problems it finds."""

import os
import pty
import subprocess
import unittest

from support import FAKE, ROOT, BatchTest

from kelvo_batch import configurations, problems
from kelvo_batch.errors import BatchError

DOMAIN = "; one\n(define (domain {})\n)"
PROBLEM = "(define (problem p) (:domain {}))"


class ProblemsTest(BatchTest):
    def write(self, name, text=""):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def test_folders_pair_problems_with_domains(self):
        for name in ("a/domain", "b/p1-domain", "b/x_domain", "c/d"):
            self.write(f"set/{name}.pddl", DOMAIN.format(name.replace("/", "-")))
        for name in ("a/problem", "b/p1", "b/x_problem", "c/p1", "c/p2"):
            self.write(f"set/{name}.pddl", PROBLEM.format("any"))
        self.write("set/c/q.anml")
        os.symlink(self.folder / "set", self.folder / "set/c/loop")
        found = problems.find_problems([str(self.folder / "set")], [])
        self.assertEqual(
            [(problem.name, problem.domain, [path.rsplit("/", 1)[1] for path in problem.paths])
             for problem in found],
            [("set/c/q", "c", ["q.anml"]),
             ("set/a", "a-domain", ["domain.pddl", "problem.pddl"]),
             ("set/b/p1", "b-p1-domain", ["p1-domain.pddl", "p1.pddl"]),
             ("set/b/x_problem", "b-x_domain", ["x_domain.pddl", "x_problem.pddl"]),
             ("set/c/p1", "c-d", ["d.pddl", "p1.pddl"]),
             ("set/c/p2", "c-d", ["d.pddl", "p2.pddl"])])

    def test_lists_name_problems(self):
        self.write("d.pddl", DOMAIN.format("d"))
        self.write("p.pddl", PROBLEM.format("d"))
        self.write("one two.anml")
        path = self.write("sub/list", "# a comment\n../d.pddl ../p.pddl\n"
                          "joined: '../one two.anml' ../problems/p00.anml  # two files\n"
                          "../problems\n")
        found = problems.find_problems([], [str(path)])
        self.assertEqual([(problem.name.rsplit("/", 1)[-1], len(problem.paths), problem.pddl)
                          for problem in found],
                         [("p", 2, True), ("joined", 2, False), ("p00", 1, False),
                          ("p01", 1, False), ("p02", 1, False)])

    def test_all_that_is_wrong_is_told_at_once(self):
        lonely = self.write("lonely/p.pddl", PROBLEM.format("d"))
        (self.folder / "empty").mkdir()
        broken = self.write("list", "x:\n'open\nmissing.anml\n")
        os.symlink(self.folder / "nowhere", self.problems / "link.anml")
        with self.assertRaises(BatchError) as caught:
            problems.find_problems([str(self.folder / "gone.anml"), str(lonely),
                                    str(self.folder / "empty"), str(self.problems)], [str(broken)])
        self.assertEqual(str(caught.exception).splitlines(), [
            "These problems cannot be used; nothing was run:",
            f"  {self.folder}/gone.anml: No such file or directory",
            f"  {lonely}: no domain for it stands beside it",
            f"  {self.folder}/empty: no problems in this folder",
            f"  {self.problems}/link.anml: No such file or directory",
            f"  {broken}:1: a name without files",
            f"  {broken}:2: No closing quotation",
            f"  {self.folder}/missing.anml: No such file or directory"])

    def test_names_are_unique(self):
        self.write("x/problems/p00.anml", "// other")
        with self.assertRaisesRegex(BatchError, "two problems have the name problems/p00: "):
            problems.find_problems([str(self.problems), str(self.folder / "x/problems")], [])
        twice = problems.find_problems([str(self.problems)] * 2, [])
        self.assertEqual(len(twice), 3)

    def test_a_hash_tells_name_and_contents(self):
        first, second, _ = problems.find_problems([str(self.problems)], [])
        (self.problems / "p01.anml").write_text((self.problems / "p00.anml").read_text())
        _, changed, _ = problems.find_problems([str(self.problems)], [])
        self.assertEqual(len({first.hash, second.hash, changed.hash}), 3)


class ConfigurationsTest(BatchTest):
    def test_names_and_options(self):
        limits = configurations.Limits()
        self.write = (self.folder / "file")
        self.write.write_text("# a comment\n\nslow = -a ftp -w 0.1\n-a ftp --ftp-search=guided\n")
        found = configurations.read_configurations(["b=-B 'h max'", "smt="], [str(self.write)], limits)
        self.assertEqual([(each.name, each.options) for each in found],
                         [("b", ("-B", "h max")), ("smt", ()), ("slow", ("-a", "ftp", "-w", "0.1")),
                          ("-a ftp --ftp-search=guided", ("-a", "ftp", "--ftp-search=guided"))])

    def test_files_among_the_options_count_by_content(self):
        path = self.problems / "p00.anml"
        before = configurations.parse(f"b=-b {path}", "-c", configurations.Limits()).hash
        path.write_text("// changed")
        self.assertNotEqual(
            before, configurations.parse(f"b=-b {path}", "-c", configurations.Limits()).hash)


class CommandLineTest(BatchTest):
    def test_errors_leave_nothing_behind(self):
        plain = self.folder / "plain"
        plain.write_text("#!/bin/sh\n")
        for words, message in (
                (["--program", "/no/kelvo"], "The program that plans, /no/kelvo, is not there"),
                (["--program", plain], f"The program that plans, {plain}, may not be executed"),
                (["--program", FAKE, "--judge", "/no/judge"],
                 "The program that judges, /no/judge, is not there"),
                (["-c", "a=-w 1", "-c", "a=-w 2"], "Two configurations have the name 'a'."),
                (["-c", "a='"], "-c: No closing quotation in 'a=''"),
                (["--configurations", "/no/file"], "The configurations cannot be read"),
                (["--list", "/no/list"], "/no/list: No such file or directory"),
                (["/no/problem.anml"], "/no/problem.anml: No such file or directory")):
            with self.subTest(message):
                _, errors = self.call("run", "-o", self.results, self.problems, *words, status=1)
                self.assertIn(message, errors)
                self.assertFalse(self.results.exists())
        for words in (["run", "-o", self.results, self.problems, "-t", "0"],
                      ["run", "-o", self.results, self.problems, "-j", "0"], ["run", self.problems],
                      ["run", "-o", self.results, "--slurm", "--scheduler", "tcp://x:1"], ["dance"]):
            self.call(*words, status=2)

    def test_folders_that_are_no_batches(self):
        self.results.mkdir()
        for words in (["status"], ["export"], ["report"], ["resume"], ["collect"]):
            _, errors = self.call(*words, self.results, status=1)
            self.assertIn("is not the folder of a batch", errors)
        (self.results / "results.db").write_text("no database, but a text that is long enough" * 99)
        _, errors = self.call("status", self.results, status=1)
        self.assertIn("results.db is no database of a batch", errors)
        _, errors = self.run_fakes("plan", status=1)
        self.assertIn("results.db is no database of a batch", errors)

    def test_a_problem_that_changes_meanwhile(self):
        """The run is not carried out, all others are, and it is made up for later."""
        process = self.start("run", "-o", self.results, self.problems, "-c", "slow=--do slow",
                             "-c", "sleep=--do sleep", "--wall-time", "1")
        self.wait_for(lambda: (self.results / "results.db").exists())
        (self.problems / "p02.anml").write_text("// changed")
        _, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 1)
        self.assertIn("kelvo-batch: not carried out: problems/p02 with slow: "
                      f"{self.problems}/p02.anml has changed or is gone since the batch began", errors)
        self.assertEqual(len(self.rows()), 4)
        self.call("run", "-o", self.results, self.problems, "-c", "slow=--do slow",
                  "-c", "sleep=--do sleep", "--wall-time", "1")
        self.assertEqual(len(self.rows()), 6)

    def test_progress_is_for_terminals(self):
        words = self.arguments("run", "-o", self.results, self.problems, "-c", "slow=--do slow",
                               "-c", "none=--do proven")
        master, slave = pty.openpty()
        process = subprocess.Popen(words, stdout=subprocess.DEVNULL, stderr=slave)
        os.close(slave)
        shown = b""
        try:
            while data := os.read(master, 65536):
                shown += data
        except OSError:
            pass  # so ends a terminal without writers
        os.close(master)
        self.assertEqual(process.wait(), 0)
        lines = shown.decode().replace("\033[K", "").strip().split("\r")
        self.assertEqual(lines[0], "0 of 6 runs")
        self.assertRegex(lines[3], r"^3 of 6 runs, \d no plan, \d plan, about \d+ s left$")
        self.assertEqual(lines[-1], "6 of 6 runs, 3 no plan, 3 plan")
        _, errors = self.run_fakes("plan")
        self.assertEqual(errors, "")

    def test_the_installed_program(self):
        build = os.environ.get("KELVO_BUILD", str(ROOT / "build/release"))
        prefix = self.folder / "prefix"
        subprocess.run(["cmake", "--install", build, "--prefix", str(prefix), "--component", "batch"],
                       check=True, stdout=subprocess.DEVNULL)
        (prefix / "bin/kelvo").symlink_to(FAKE)
        subprocess.run([prefix / "bin/kelvo-batch", "run", "-o", self.results, self.problems,
                        "-c", "a=--do plan"], check=True, stdout=subprocess.DEVNULL)
        self.assertEqual({row["program"] for row in self.rows().values()}, {f"{prefix}/bin/kelvo"})


if __name__ == "__main__":
    unittest.main()
