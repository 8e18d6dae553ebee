#!/usr/bin/env python3
"""Lets every engine solve random problems and compares: plans against the oracle and the program's
own strict judge, answers without a plan against each other and against known plans.

    compare.py --binary kelvo --seeds 200 [--first 1] [--engines smt,ftp]
    compare.py --binary kelvo --show 17        prints problem, known plan and answers of a seed
    compare.py --binary kelvo --shrink 17 --fault "smt: no plan"     makes its problem small first
"""

import argparse
import collections
import os
import pathlib
import resource
import subprocess
import sys
import tempfile
import time

from generator import generate
from meaning import EPSILON, Invalid, Run, Unclear, fault_of, read_plan
from problem import Members, anml, pddl
from shrink import shrink

MEMORY = 1 << 30
SMT_STEPS = 8

ENGINES = {
    "ftp": ["-a", "ftp"],
    "ftp hmax": ["-a", "ftp", "-B", "hmax"],
    "ftp blind": ["-a", "ftp", "-B", "blind"],
    "ftp hlandmarks": ["-a", "ftp", "-B", "hlandmarks"],
    "ftp hsize": ["-a", "ftp", "-B", "hsize"],
    "ftp -d": ["-a", "ftp", "-d", "-T"],
    "ftp -k": ["-a", "ftp", "-k"],
    "ftp -s": ["-a", "ftp", "-s"],
    "guided": ["-a", "ftp", "--ftp-search", "guided"],
    "guided improve": ["-a", "ftp", "--ftp-search", "guided", "--ftp-improve", "50"],
    "smt": ["-a", "smt", "-H", str(SMT_STEPS)],
    "ftp empty conditions": ["-t", "empty-conditions-compiler", "-a", "ftp"],
    "ftp inner effects": ["-t", "action-grounder", "-t", "intermediate-effects-compiler", "-a",
                          "ftp"],
    "ftp usertypes": ["-t", "full-grounder", "-t", "usertype-fluents-compiler", "-a", "ftp"],
    "ftp constants": ["-t", "constant-promoter", "-t", "full-grounder", "-a", "ftp"],
    "smt ground": ["-t", "full-grounder", "-a", "smt", "-H", str(SMT_STEPS)],
}

# Every problem goes to these, and to one of the others in turn.
CORE = ["ftp", "guided", "smt"]

# What an engine may say instead of an answer: it names what it does not take.
REFUSALS = [
    "intermediate statements and a `contains`",
    "Unsupported contains on non-closed intervals",
    "Durative conditions must have the form",
    "Found two contradicting effects of the same action at the same time",
    "What reads the duration of an action needs one that is fixed",
    "The duration of an action must be constant once the problem is ground",
    "To ground a functional apply its parameters must be constant",
    "UserTypeFluentsSubstituter works only with functional apply with constant parameters",
    "bounds interval of an intermediate condition must be a constant",
    "point interval of an intermediate effect must be a constant",
]

# Faults that are known and counted apart: whose (the engine's name begins with it), what (a part of
# its text) and a feature that the problem has to hold. An entry goes when its fault is mended: those
# that met nothing are told at the end of a run.
KNOWN = [
    # The standard search tells states apart by all their times, so that what repeats goes on for
    # ever, and without an estimate that refutes it never ends.
    ("ftp", "has the proof that there is none", None),
    ("ftp blind", "limit, where", None),
    ("ftp hsize", "limit, where", None),
    ("ftp -d", "limit, where", None),  # steps that no other one orders may come in any order
    # Pieces and clips multiply what can be done at each moment.
    ("ftp inner effects", "limit, where", None),
    ("ftp -k", "limit, where", None),
    # Plans that are refused once the helpers of contains are gone cost a whole turn of the search.
    ("guided", "limit, where", "goal: contains"),
    # An integer constant of type float is folded before it becomes a rational.
    ("", "no plan", "constant in a quotient"),
    ("", "a plan is refused by the judge", "constant in a quotient"),
    ("ftp", "error", "first value reads others"),
    ("guided", "error", "first value reads others"),
    ("smt", "error", "label ordering"),
]


class Answer:
    """What one run said: plan, none, error, limit or crash."""

    def __init__(self, kind, output, errors, seconds):
        self.kind, self.output, self.errors, self.seconds = kind, output, errors, seconds


def overlaps_itself(plan):
    """Whether an action runs twice at one time with the same arguments, or twice on end."""
    steps = sorted(read_plan(plan))
    return any(a[1:3] == b[1:3] and b[0] <= a[0] + a[3]
               for i, a in enumerate(steps) for b in steps[i + 1:])


def contains_windows(problem):
    everything = [c for a in problem.actions.values() for c in a.conditions] + problem.goals
    return [c for c in everything if c.kind == "contains"]


def num_steps(generated):
    """With so many steps smt can state the known plan."""
    if not generated.witness:
        return SMT_STEPS + 1
    steps = read_plan(generated.witness)
    return 1 + len(Run(generated.problem, steps, generated.is_pddl).instants())


def is_proof(engine, answer):
    """Whether an engine that found no plan holds that there is none."""
    if answer.kind != "none":
        return False
    for word in ("Undecided", "Bounded", "Proven"):
        if word in answer.errors:
            return word == "Proven"
    return not engine.startswith("smt") and engine != "ftp -s"


class Runner:
    def __init__(self, binary, folder, seconds):
        self.binary, self.folder, self.seconds = binary, pathlib.Path(folder), seconds
        # Sanitizers slow a program down and reserve address space without end.
        self.is_sanitized = b"__asan_init" in pathlib.Path(binary).read_bytes()
        if self.is_sanitized:
            self.seconds *= 8

    def limit(self):
        resource.setrlimit(resource.RLIMIT_CPU, (self.seconds, self.seconds))
        if not self.is_sanitized:
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    def run(self, arguments):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        done = subprocess.run([self.binary, *arguments], stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, errors="replace",
                              preexec_fn=self.limit)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        seconds = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        return done, seconds

    def write(self, generated):
        """The files of the problem as arguments."""
        if generated.is_pddl:
            names = [self.folder / "domain.pddl", self.folder / "problem.pddl"]
            for name, part in zip(names, pddl(generated.problem)):
                name.write_text(part)
            return ["-P", *map(str, names)]
        name = self.folder / "problem.anml"
        name.write_text(anml(generated.problem, generated.is_structured))
        return [str(name)]

    def solve(self, files, options):
        done, seconds = self.run(["solve", *options, *files])
        if done.returncode < 0:
            is_limit = -done.returncode in (9, 24) or "bad_alloc" in done.stderr
            kind = "limit" if is_limit else "crash"
        elif "bad_alloc" in done.stderr:
            kind = "limit"
        elif done.returncode != 0:
            kind = "error"
        elif "plan has been found" in done.stdout:
            kind = "plan"
        elif "No solution exists." in done.stdout:
            kind = "none"
        else:
            kind = "error"
        return Answer(kind, done.stdout, done.stderr.strip(), seconds)

    def strict(self, generated, files, plan):
        """Whether the program's own judge accepts the plan; None if it cannot tell."""
        name = self.folder / "plan.txt"
        if generated.is_structured:
            plan = Members(generated.problem).spoken(plan)
        name.write_text(plan)
        epsilon = ["--epsilon", str(float(EPSILON))] if "-P" in files else []
        done, _ = self.run(["validate", "--strict", *epsilon, "--plan", str(name), *files])
        if "is valid" in done.stdout:
            return True, ""
        if "NOT valid" in done.stdout:
            return False, done.stderr.strip()
        return None, f"{done.returncode} {done.stdout.strip()} {done.stderr.strip()}"


class Comparison:
    def __init__(self, runner, engines):
        self.runner, self.engines = runner, engines
        self.quiet = False
        self.num_known = collections.Counter()
        self.counts = collections.defaultdict(collections.Counter)
        self.faults = collections.Counter()
        self.refusals = collections.Counter()

    def fault(self, generated, what, more=""):
        for engine, fault, feature in KNOWN:
            if what.startswith(engine) and fault in what and feature in (None, *generated.features):
                self.num_known[engine, fault, feature] += 1
                return
        self.faults[what] += 1
        if self.quiet:
            return
        kind = "pddl" if generated.is_pddl else "anml"
        print(f"FAULT {kind} {generated.seed}: {what}" + (f": {more}" if more else ""), flush=True)

    def judge_plan(self, generated, files, engine, answer, how):
        try:
            fault = fault_of(generated.problem, answer.output, generated.is_pddl)
        except Unclear:
            return
        if fault:
            self.fault(generated, f"{engine}{how}: plan is not valid", fault)
        verdict, said = self.runner.strict(generated, files, answer.output)
        if verdict != (not fault):
            self.fault(generated, f"strict judge says {verdict} to a plan of {engine}{how}",
                       said.replace("\n", " ")[:200])

    def compare(self, generated):
        files = self.runner.write(generated)
        answers = {}
        compiled = set()
        windows = contains_windows(generated.problem)
        is_closed = not any(c.left_open or c.right_open for c in windows)
        for engine in self.engines or self.engines_in_turn(generated.seed):
            options = ENGINES[engine]
            if windows and not (is_closed and engine == "smt"):
                options = ["-t", "contains-compiler", *options]
                compiled.add(engine)
            if generated.is_structured and "-t" in options:
                options = ["-t", "flattener", *options]
            answer = self.runner.solve(files, ["-R", *options])
            answers[engine] = answer
            self.counts[engine][answer.kind] += 1
            if answer.kind == "plan":
                self.judge_plan(generated, files, engine, answer, "")
                rounded = self.runner.solve(files, options)
                if rounded.kind != "plan":
                    self.fault(generated, f"{engine}: no plan without -R")
                else:
                    self.judge_plan(generated, files, engine, rounded, " without -R")
            elif answer.kind == "error":
                self.note_error(generated, engine, answer)
            elif answer.kind == "crash":
                self.fault(generated, f"{engine}: crash", answer.errors[-200:])
            if "could be confirmed" in answer.errors:
                self.fault(generated, f"{engine}: a plan is refused by the judge")
        self.compare_answers(generated, answers, compiled)
        return answers

    @staticmethod
    def engines_in_turn(seed):
        others = [e for e in ENGINES if e not in CORE]
        return [*CORE, others[seed % len(others)]]

    def note_error(self, generated, engine, answer):
        for refusal in REFUSALS:
            if refusal in answer.errors:
                self.refusals[f"{engine}: {refusal}"] += 1
                return
        said = answer.errors.splitlines()[-1] if answer.errors else "nothing"
        self.fault(generated, f"{engine}: error", said)

    def compare_answers(self, generated, answers, compiled):
        """An answer without a plan is wrong if a plan is known, unless the engine says itself that
        it did not look everywhere. A limit counts when another engine answered in a tenth. The
        compiler of contains does not keep all plans: for the engines of `compiled` no answer
        counts as complete that does not say so."""
        solved = [e for e, a in answers.items() if a.kind == "plan"]
        plans = [answers[e].output for e in solved] + [generated.witness] * bool(generated.witness)
        is_reachable = not all(map(overlaps_itself, plans))
        for engine, answer in answers.items():
            is_complete = is_proof(engine, answer)
            if engine.startswith("smt") and num_steps(generated) <= SMT_STEPS:
                is_complete = "Undecided" not in answer.errors and engine not in compiled
            if not is_reachable and engine != "smt" and "Proven" not in answer.errors:
                is_complete = False
            if answer.kind == "none" and (solved or generated.witness):
                self.counts[engine]["missed"] += 1
                if is_complete and solved:
                    self.fault(generated, f"{engine}: no plan", f"but {solved[0]} has one")
                elif is_complete:
                    self.fault(generated, f"{engine}: no plan, but one is known")
            if answer.kind == "limit":
                for other, quick in answers.items():
                    if quick.seconds * 10 < self.runner.seconds and (
                            quick.kind == "plan" or is_proof(other, quick)):
                        said = "a plan" if quick.kind == "plan" else "the proof that there is none"
                        self.fault(generated, f"{engine}: limit, where {other} has {said}")
                        break
                else:
                    if generated.witness:
                        self.counts[engine]["limit, plan known"] += 1

    def report(self):
        for engine, counts in self.counts.items():
            print(f"{engine}: " + ", ".join(f"{n} {k}" for k, n in sorted(counts.items())))
        for what, n in sorted(self.refusals.items()):
            print(f"  refused {n}: {what}")
        for entry in KNOWN:
            print(f"  known {self.num_known[entry]}: {entry}")
        for what, n in sorted(self.faults.items()):
            print(f"  {n} x {what}")


def show(comparison, generated):
    print(anml(generated.problem, generated.is_structured))
    if generated.is_pddl:
        print(*pddl(generated.problem), sep="\n")
    print("known plan:", generated.witness or "none", sep="\n")
    for engine, answer in comparison.compare(generated).items():
        print(f"--- {engine}: {answer.kind}, {answer.seconds:.2f} s\n{answer.output}{answer.errors}")


def shrunk(comparison, generated, fault):
    """The smallest problem found with a fault of that text. Empty names the first one."""

    def has_fault(candidate):
        comparison.faults.clear()
        try:
            comparison.compare(candidate)
        except (Invalid, KeyError, AssertionError):
            return False
        return any(fault in f for f in comparison.faults)

    comparison.quiet = True
    if has_fault(generated):
        fault = next(f for f in comparison.faults if fault in f)
        generated = shrink(generated, has_fault)
    comparison.quiet = False
    return generated


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--binary", required=True)
    parser.add_argument("--seeds", type=int, default=100)
    parser.add_argument("--first", type=int, default=1)
    parser.add_argument("--engines", default="", help="; all in turn if not told")
    parser.add_argument("--seconds", type=int, default=1)
    parser.add_argument("--form", choices=("anml", "pddl", "both"), default="both")
    parser.add_argument("--show", type=int)
    parser.add_argument("--shrink", type=int)
    parser.add_argument("--fault", default="")
    arguments = parser.parse_args()
    engines = [e.strip() for e in arguments.engines.split(",") if e]
    forms = {"anml": [False], "pddl": [True], "both": [False, True]}[arguments.form]
    scale = int(os.environ.get("KELVO_RANDOM_SCALE", "1"))
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.path.isdir("/dev/shm") else None) as folder:
        runner = Runner(arguments.binary, folder, arguments.seconds)
        comparison = Comparison(runner, engines)
        if arguments.show is not None:
            for is_pddl in forms:
                show(comparison, generate(arguments.show, is_pddl))
            return 0
        if arguments.shrink is not None:
            generated = generate(arguments.shrink, forms[0])
            show(comparison, shrunk(comparison, generated, arguments.fault))
            return 0
        start = time.time()
        for seed in range(arguments.first, arguments.first + arguments.seeds * scale):
            for is_pddl in forms:
                comparison.compare(generate(seed, is_pddl))
        comparison.report()
        print(f"{time.time() - start:.0f} s")
    return 1 if comparison.faults else 0


if __name__ == "__main__":
    sys.exit(main())
