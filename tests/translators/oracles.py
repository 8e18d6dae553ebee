#!/usr/bin/env python3
"""Compares what the translators write with what is meant, on random problems.

    oracles.py uppaal --binary kelvo --problems 200 [--first 1]
    oracles.py smv ...
    oracles.py ltl ...
    oracles.py uppaal --binary kelvo --show 17      prints problem, model and answers of a seed

uppaal and smv: the model is read back and all its states are explored. Its goal can be reached exactly
where `solve -a smt` finds a plan, and the run that reaches it comes back as a plan that `validate`
accepts. Times of a plan may need a grid finer than the whole numbers, so that a goal that is not
reached is looked for on finer ones, too.

ltl: the property is evaluated on the runs that plans induce. It does not hold on those of valid plans,
for it says that there are none, and holds on those of others.
"""

import argparse
import collections
import os
import pathlib
import subprocess
import sys
import tempfile
import time

from fragments import TARGETS, generate
from ltl_run import LtlModule, Untellable, has_idle_step, run_of
from timed_automaton import TimedAutomaton, TooMany
from transition_system import TransitionSystem

from meaning import fault_of, read_plan  # noqa: E402  (beside the other oracle)
from mutate import Mutator  # noqa: E402
from problem import anml  # noqa: E402

# Of 200 problems; below that the generator or the engines have lost what the oracles live on.
LEAST_SHARE = {"plan": 0.3, "no plan": 0.2, "valid": 0.8, "invalid": 0.3}
LEAST_FEATURES = 20
SMT_STEPS = 9
GRIDS = (1, 2, 4)
MOST_STATES = 20000


class Program:
    """The program under test."""

    def __init__(self, binary, folder):
        self.binary, self.folder = binary, pathlib.Path(folder)
        self.problem = self.folder / "problem.anml"

    def run(self, *arguments):
        done = subprocess.run([self.binary, *arguments, str(self.problem)], cwd=self.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        if done.returncode not in (0, 1):
            raise ValueError(f"exit {done.returncode}: {done.stderr[-300:]}")
        return done

    def text(self, *arguments):
        done = self.run(*arguments)
        if done.returncode != 0:
            raise ValueError(f"{' '.join(arguments)}: {done.stderr[-300:]}")
        return done.stdout

    def plan(self):
        """What smt finds, "" for nothing."""
        answer = self.text("solve", "-a", "smt", "-R", "-H", str(SMT_STEPS))
        return answer if "plan has been found" in answer else ""

    def judge(self, plan):
        """Whether both judges accept the plan."""
        (self.folder / "plan").write_text(plan)
        verdicts = [self.run("validate", *how, "--plan", "plan").stdout for how in ([], ["--strict"])]
        return all("is valid" in verdict for verdict in verdicts)


class Oracle:
    def __init__(self, program, target, is_loud):
        self.program, self.target, self.is_loud = program, target, is_loud
        self.counts, self.features = collections.Counter(), collections.Counter()

    def say(self, *texts):
        if self.is_loud:
            print(*texts, sep="\n", flush=True)

    def fault(self, generated, what):
        self.counts["faults"] += 1
        print(f"FAULT {self.target} {generated.seed}: {what}", flush=True)

    def test(self, generated):
        self.features.update(generated.features)
        text = anml(generated.problem)
        self.program.problem.write_text(text)
        self.say(text)
        try:
            (self.test_ltl if self.target == "ltl" else self.test_model)(generated)
        except (ValueError, TooMany) as error:
            self.fault(generated, f"{type(error).__name__} {error}")

    def test_counts(self, num_problems):
        shares = {what: share for what, share in LEAST_SHARE.items()
                  if self.target == "ltl" or "valid" not in what}
        few = [what for what, share in shares.items() if self.counts[what] < share * num_problems]
        few += [what for what, n in self.features.items() if n < 2]
        if few or len(self.features) < LEAST_FEATURES:
            self.counts["faults"] += 1
            print(f"FAULT {self.target}: hardly any {few}, {len(self.features)} features")

    # ----- models with clocks -----

    def model(self):
        """The text, and what makes a system of it for a grid."""
        if self.target == "smv":
            text = self.program.text("convert-to", "--target", "smv")
            return text, lambda grid: TransitionSystem(text, grid)
        self.program.text("convert-to", "--target", "uppaal", "--model", "model", "--query", "query")
        text, query = ((self.program.folder / name).read_text() for name in ("model", "query"))
        return text, lambda grid: TimedAutomaton(text, query, grid)

    def test_model(self, generated):
        text, system_on = self.model()
        plan = self.program.plan()
        self.say(text, "smt: " + (plan or "nothing"))
        for grid in GRIDS if plan else GRIDS[:1]:
            system = system_on(grid)
            way = system.find(MOST_STATES)
            if way is not None:
                break
        if way is None:
            if plan:
                return self.fault(generated, f"smt has a plan, but the goal is not reached:\n{plan}")
            self.counts["no plan"] += 1
            return None
        self.counts["plan"] += 1
        self.counts[f"steps: {len(way) - 1}"] += 1
        if grid > 1:
            self.counts[f"on a grid of 1/{grid}"] += 1
        if not plan and not self.is_beyond_smt(way):
            self.fault(generated, "the goal is reached, but smt has no plan")
        return self.test_trace(generated, system.trace(way))

    def is_beyond_smt(self, way):
        """smt states no more steps than it is told, and begins behind time 0."""
        delays = [step[0] for step in way[1:]]
        if len(delays) > SMT_STEPS - 3:
            self.counts["more steps than smt has"] += 1
            return True
        return False

    def test_trace(self, generated, trace):
        (self.program.folder / "trace").write_text(trace)
        self.program.text("trace-to-plan", "--input-format", self.target, "--trace", "trace",
                          "--output", "back")
        plan = (self.program.folder / "back").read_text()
        self.say(trace, "back:", plan)
        if fault := fault_of(generated.problem, plan):
            self.fault(generated, f"a trace comes back as no plan: {fault}\n{plan}")
        if not self.program.judge(plan):
            self.fault(generated, f"a trace comes back as a plan that is refused:\n{plan}")

    # ----- LTL -----

    def test_ltl(self, generated):
        module = LtlModule(self.program.text("convert-to", "--target", "ltl"))
        plan = self.program.plan()
        self.say(str(module.formula), "smt: " + plan)
        if not plan:
            self.counts["no plan"] += 1
            return
        self.counts["plan"] += 1
        generated.witness = plan
        for text in Mutator(generated).plans():
            self.test_run(generated, module, text)

    def test_run(self, generated, module, plan):
        steps = read_plan(plan)
        fault = fault_of(generated.problem, plan)
        kind = "invalid" if fault else "valid"
        try:
            states = run_of(generated.problem, steps)
        except Untellable as reason:
            self.counts[f"{kind}, left out: {reason}"] += 1
            return
        holds = module.holds(states)
        self.say(f"--- {fault or 'valid'}: {holds}", plan)
        if holds == bool(fault):
            self.counts[kind] += 1
        elif not fault and has_idle_step(states):
            self.counts["valid, left out: a step that changes nothing"] += 1
        elif fault.startswith("two effects on") and holds is False:
            # Without a change the module asks for no cause, and so not for one alone.
            self.counts["invalid, left out: two effects that change nothing"] += 1
        else:
            self.fault(generated, f"the property is {holds} on a plan that is {fault or kind}:\n{plan}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("target", choices=TARGETS)
    parser.add_argument("--binary", required=True)
    parser.add_argument("--problems", type=int, default=200)
    parser.add_argument("--first", type=int, default=1)
    parser.add_argument("--show", type=int)
    arguments = parser.parse_args()
    sys.setrecursionlimit(10000)
    scale = int(os.environ.get("KELVO_RANDOM_SCALE", "1"))
    begin = time.process_time() + sum(os.times()[2:4])
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.path.isdir("/dev/shm") else None) as folder:
        program = Program(str(pathlib.Path(arguments.binary).resolve()), folder)
        oracle = Oracle(program, arguments.target, arguments.show is not None)
        seeds = range(arguments.first, arguments.first + arguments.problems * scale)
        for seed in [arguments.show] if arguments.show is not None else seeds:
            oracle.test(generate(seed, arguments.target))
    for counts in (oracle.features, oracle.counts):
        print(", ".join(f"{n} {what}" for what, n in sorted(counts.items())))
    print(f"{time.process_time() + sum(os.times()[2:4]) - begin:.0f} s")
    if arguments.show is None and arguments.problems >= 100:
        oracle.test_counts(len(seeds))
    return 1 if oracle.counts["faults"] else 0


if __name__ == "__main__":
    sys.exit(main())
