#!/usr/bin/python3
"""What a run comes to: outcomes, limits over the process tree, what is stored."""

import unittest

from support import KELVO, ROOT, BatchTest, processes_with

from kelvo_batch import execute, plans


class OutcomeTest(BatchTest):
    def test_each_behaviour_has_its_outcome(self):
        expected = {
            "plan": ("plan", ""),
            "plan:wrong": ("invalid plan", "the condition does not hold, at time 1."),
            "plan:puzzle": ("error", "the plan could not be judged: exit status 1: "
                                     "LimitError: too hard"),
            "proven": ("no-solution proven", "Proven: the problem has no plan."),
            "bounded": ("no-solution bounded", "Bounded: there is no plan with at most 100 steps."),
            "undecided": ("no-solution undecided",
                          "Undecided: there may be a plan; the search has lost states."),
            "refused": ("invalid plan", "No plan could be confirmed: 2 plans were found that the "
                                        "validator refuses."),
            "silent": ("no-solution undecided", "the planner does not say what this is worth"),
            "error": ("error", "exit status 1: SyntaxError: line 3"),
            "no-memory": ("memory", "std::bad_alloc"),
            "nothing": ("error", "neither a plan nor a word that there is none"),
            "crash": ("crash", "SIGSEGV"),
        }
        output, _ = self.run_fakes(*expected, status=3)
        rows = self.rows()
        self.assertEqual(len(rows), 3 * len(expected))
        for (_, name), row in rows.items():
            self.assertEqual((row["outcome"], row["message"]), expected[name], name)
        good = rows["problems/p00", "plan"]
        self.assertEqual([good[name] for name in ("makespan", "steps", "states", "expanded")],
                         ["17/6", "2", "30", "12"])
        self.assertIn("good(a)", (self.results / good["plan_file"]).read_text())
        self.assertIn("States expanded", (self.results / good["log_file"]).read_text())
        self.assertIn("no-solution proven", output.splitlines()[0])
        self.assertEqual(len(output.splitlines()), 1 + len(expected))

    def test_limits_hold_for_the_whole_tree(self):
        self.write_problems(1)
        for path in list(self.problems.glob("p0[12].anml")):
            path.unlink()
        problem = str(self.problems / "p00.anml")
        for behaviour, limits, outcome, message in (
                ("sleep", ["-t", "9", "--wall-time", "0.5"], "timeout", "wall time"),
                ("spin", ["-t", "0.5"], "timeout", "CPU time"),
                ("ignore", ["-t", "0.5"], "timeout", "CPU time"),
                ("apart", ["-t", "9"], "plan", ""),
                # No process by itself is above the limit, and pages are not counted twice.
                ("eat", ["-t", "9", "-m", "150"], "memory", "more memory than allowed"),
                ("flood", ["-t", "30"], "error", "more than 64 MB of output")):
            with self.subTest(behaviour):
                self.run_fakes(behaviour, limits=limits)
                row = self.rows()["problems/p00", behaviour]
                self.assertEqual((row["outcome"], row["message"]), (outcome, message))
                self.assertEqual(processes_with(problem), [])
                if outcome == "memory":
                    self.assertGreater(float(row["memory_mb"]), 150)
                if behaviour in ("spin", "ignore"):
                    self.assertGreater(float(row["cpu_s"]), 0.5)

    def test_a_tree_within_its_memory_goes_on(self):
        self.run_fakes("eat", limits=["-t", "9", "--wall-time", "1", "-m", "400"])
        self.assertEqual({row["outcome"] for row in self.rows().values()}, {"timeout"})

    def test_the_planner_itself(self):
        pddl = ROOT / "examples" / "pddl"
        self.real("run", "-o", self.results, "-j", "2", ROOT / "examples/match_cellar.anml",
                  ROOT / "examples/dead_end.anml", pddl / "ferry_problem.pddl",
                  "-c", "smt=-a smt -H 9", "-c", "guided=-a ftp --ftp-search guided -l 1")
        outcomes = {(problem.rsplit("/", 1)[1], configuration): row["outcome"]
                    for (problem, configuration), row in self.rows().items()}
        for name in ("smt", "guided"):
            for problem in ("match_cellar", "ferry_problem"):
                self.assertEqual(outcomes.pop((problem, name)), "plan", (problem, name))
        self.assertEqual(outcomes, {("dead_end", "smt"): "no-solution bounded",
                                    ("dead_end", "guided"): "no-solution proven"})
        row = next(row for (problem, name), row in self.rows().items()
                   if problem.endswith("ferry_problem") and name == "smt")
        self.assertEqual(row["domain"], "ferry")
        self.assertGreater(int(row["horizon"]), 1)
        self.assertEqual(row["program"], KELVO)


class PlansTest(unittest.TestCase):
    def test_makespans_are_exact(self):
        for text, ends in ((";; A plan has been found:\n1/3: a() [1/6]\n", ["1/2"]),
                           ("0.1: a(x, y)\n0.2: b [0.1]\n", ["1/10", "3/10"]),
                           ("; cost 3: 4\n 5: (load p1 t) [ 2.5 ]\n", ["15/2"])):
            self.assertEqual([str(end) for _, end in plans.steps_of(text)], ends, text)

    def test_the_last_counts_of_a_log_count(self):
        search = "TP evaluated: {}, Open size: 2, States expanded: {}, H: 0\n"
        for log, counts in ((search.format(3, 1) + search.format(9, 4), (9, 4, None)),
                            ("evaluated 12, generated 13, expanded 9, dead ends 1\n", (13, 9, None)),
                            ("[SMTPlanner] h: 2\n[SMTPlanner] h: 11\n", (None, None, 11)),
                            ("", (None, None, None))):
            self.assertEqual(plans.counts_in(log), counts)

    def test_own_options_are_not_given_twice(self):
        for options, added in (([], ["-R", "-T", "-l", "3"]), (["-T", "-l5"], ["-R"]),
                               (["--rational-precision", "--time-triggered"], ["-l", "3"])):
            self.assertEqual(execute.log_options(options), added)


if __name__ == "__main__":
    unittest.main()
