#!/usr/bin/env python3
"""Compares the strict judge with the oracle on plans that are nearly right: known plans of random
problems with times shifted by a little or onto other instants, steps swapped, dropped and doubled,
durations and arguments changed.

    mutate.py --binary kelvo --plans 600 [--first 1]
    mutate.py --binary kelvo --show 17 [--form pddl]      every plan of a seed and both verdicts
"""

import argparse
import collections
import os
import random
import sys
import tempfile
from fractions import Fraction

from compare import Runner
from generator import generate
from meaning import EPSILON, Invalid, Run, Unclear, fault_of, read_plan, write_plan
from problem import anml, pddl

PER_PROBLEM = 6
SHIFTS = [Fraction(x) for x in ("1/100", "-1/100", "1/1000", "-1/1000", "1/2", "-1/2", "1", "-1",
                                "1/3", "9/1000", "40")]


class Mutator:
    def __init__(self, generated):
        self.problem = generated.problem
        self.random = random.Random(generated.seed)
        self.steps = read_plan(generated.witness)

    def instants(self, steps):
        """Times at which something happens: there the rules are decided."""
        try:
            return Run(self.problem, steps).instants()
        except Invalid:
            return [Fraction(0)]

    def random_step(self):
        pick = self.random.choice
        action = pick(list(self.problem.actions.values()))
        arguments = [pick(self.problem.objects[t.name] if t.kind == "object" else "012")
                     for _, t in action.parameters]
        durations = [s[3] for s in self.steps if s[1] == action.name] or [Fraction(2)]
        return (pick(self.instants(self.steps)), action.name, arguments, pick(durations))

    def mutate(self, steps):
        pick, steps = self.random.choice, list(steps)
        i = self.random.randrange(len(steps))
        start, name, arguments, duration = steps[i]
        kind = pick(["shift", "shift", "meet", "meet", "meet", "swap", "duration", "argument",
                     "drop", "double", "add", "all"])
        if kind == "shift":
            start += pick(SHIFTS)
        elif kind == "meet":
            target = pick(self.instants(steps))
            start = target - pick([Fraction(0), duration, duration, duration / 2, Fraction(1)])
            if self.random.random() < 0.3:
                start += pick([EPSILON, -EPSILON])
        elif kind == "swap":
            j = self.random.randrange(len(steps))
            other = steps[j]
            steps[j] = (start, *other[1:])
            start = other[0]
        elif kind == "duration":
            duration = pick([duration + pick(SHIFTS), duration / 2, Fraction(round(duration)),
                             Fraction(0), duration * 2])
        elif kind == "argument" and arguments:
            arguments = list(arguments)
            everything = [o for names in self.problem.objects.values() for o in names]
            everything += ["0", "2", "3", "1/2"] if set(arguments) & set("012") else []
            arguments[self.random.randrange(len(arguments))] = pick(everything)
        elif kind in ("double", "add"):
            step = self.random_step() if kind == "add" else (
                start + pick([Fraction(0), duration, *SHIFTS]), name, arguments, duration)
            steps.append(step)
        elif kind == "all":
            shift = pick(SHIFTS)
            steps = [(s + shift, *rest) for s, *rest in steps]
            start += shift
        steps[i] = (start, name, arguments, duration)
        if kind == "drop":
            del steps[i]
        return sorted(steps, key=lambda s: s[0])

    def plans(self):
        """The known plan and different ones that come of it."""
        found = [write_plan(self.steps)]
        for _ in range(PER_PROBLEM * 4):
            if len(found) > PER_PROBLEM:
                break
            steps = self.mutate(self.steps)
            if steps and self.random.random() < 0.5:
                steps = self.mutate(steps)
            if any(s[0] < 0 or s[3] < 0 for s in steps):
                continue
            text = write_plan(steps)
            if text not in found:
                found.append(text)
        return found


class JudgeTest:
    def __init__(self, runner, is_loud):
        self.runner, self.is_loud = runner, is_loud
        self.counts = collections.Counter()

    def judge(self, generated):
        generated.problem.objects["Z"] = ["z0"]  # an argument of a wrong type
        files = self.runner.write(generated)
        if self.is_loud:
            print(anml(generated.problem, generated.is_structured), *(pddl(generated.problem) if generated.is_pddl else ()))
        for plan in Mutator(generated).plans():
            try:
                fault = fault_of(generated.problem, plan, generated.is_pddl)
            except Unclear:
                self.counts["unclear"] += 1
                continue
            self.counts["invalid" if fault else "valid"] += 1
            verdict, said = self.runner.strict(generated, files, plan)
            if verdict is None and "ParserError: Object not found" in said:
                verdict = False  # a number as the acting object
            if self.is_loud:
                print(f"--- oracle: {fault or 'valid'}; judge: {verdict} {said}\n{plan}")
            if verdict != (not fault):
                self.counts["disagreements"] += 1
                form = "pddl" if generated.is_pddl else "anml"
                print(f"FAULT {form} {generated.seed}: the judge says {verdict} {said[:200]!r}, the oracle "
                      f"{fault or 'valid'!r} to\n{plan}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--binary", required=True)
    parser.add_argument("--plans", type=int, default=600)
    parser.add_argument("--first", type=int, default=1)
    parser.add_argument("--show", type=int)
    parser.add_argument("--form", choices=("anml", "pddl"), default="anml")
    arguments = parser.parse_args()
    scale = int(os.environ.get("KELVO_RANDOM_SCALE", "1"))
    with tempfile.TemporaryDirectory() as folder:
        test = JudgeTest(Runner(arguments.binary, folder, 5), arguments.show is not None)
        if arguments.show is not None:
            test.judge(generate(arguments.show, arguments.form == "pddl"))
            return 0
        seed = arguments.first
        while test.counts["valid"] + test.counts["invalid"] < arguments.plans * scale:
            generated = generate(seed, seed % 4 == 0)
            seed += 1
            if generated.witness:
                test.judge(generated)
    counts = test.counts
    print(", ".join(f"{n} {what}" for what, n in sorted(counts.items())))
    # Plans of one kind alone would say little about the judge.
    is_telling = min(counts["valid"], counts["invalid"]) * 5 > counts["valid"] + counts["invalid"]
    return 0 if is_telling and not counts["disagreements"] else 1


if __name__ == "__main__":
    sys.exit(main())
