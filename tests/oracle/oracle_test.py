#!/usr/bin/env python3
"""Tests of the oracle itself by plans whose verdict is read off the rules, and of the generator by
counting what it makes."""

import collections
import unittest
from fractions import Fraction

from generator import generate
from meaning import Unclear, fault_of
from problem import (BOOLEAN, END, FLOAT, START, Action, Condition, Effect, Problem, Symbol,
                     Time, Type, anml, fluent, pddl)

P, Q, N, X = fluent("p"), fluent("q"), fluent("n"), fluent("x")
TRUE, FALSE = ("bool", True), ("bool", False)


def at(number):
    return Time("absolute", Fraction(number))


def point(time, body):
    return Condition("point", time, time, False, False, body)


def window(shape, left, right, body, kind="window", label=""):
    return Condition(kind, left, right, shape[0] == "(", shape[1] == ")", body, label)


def world(actions=(), goals=(), timed=(), initial=(), orderings=()):
    """p and q are false, n is 5, x is 5.0, pos is o0."""
    problem = Problem(objects={"T": ["o0", "o1"]})
    thing = Type("object", name="T")
    for symbol in (Symbol("p", BOOLEAN), Symbol("q", BOOLEAN), Symbol("n", Type("integer", 0, 9)),
                   Symbol("x", FLOAT), Symbol("pos", thing), Symbol("at", BOOLEAN, (thing,))):
        problem.fluents[symbol.name] = symbol
    first = {P: FALSE, Q: FALSE, N: ("int", 5), X: ("int", 5), fluent("pos"): ("obj", "o0"),
             fluent("at", ("obj", "o0")): FALSE, fluent("at", ("obj", "o1")): FALSE}
    first.update(dict(initial))
    problem.initial = [(k[1], k[2], v) for k, v in first.items() if v is not None]
    problem.actions = {a.name: a for a in actions}
    problem.goals, problem.timed = list(goals), list(timed)
    problem.orderings = list(orderings)
    return problem


def action(name, duration, *statements):
    result = Action(name, duration=[(":=", duration)])
    for s in statements:
        (result.effects if isinstance(s, Effect) else result.conditions).append(s)
    return result


def sets(target, value, time):
    return Effect(time, target[1], target[2], value)


TWO = ("int", 2)
MAKE_P = action("make", TWO, sets(P, TRUE, END))


class OracleTest(unittest.TestCase):
    def check(self, problem, plan, fault):
        """`fault` is a word of the complaint, "" for a valid plan."""
        found = fault_of(problem, plan)
        self.assertTrue((not found) if not fault else fault in found,
                        f"{found!r} and not {fault!r} for\n{anml(problem)}\n{plan}")

    def test_windows_of_the_problem_by_their_ends(self):
        # p becomes true at 2 and, by the world, false at 6.
        off = sets(P, FALSE, at(6))
        for shape, left, right, is_met in (
                ("[]", 2, 5, False), ("(]", 2, 5, True), ("[]", 3, 6, True), ("[]", 3, "6.01", False),
                ("[)", 3, 6, True), ("()", 2, 2, True), ("[]", 2, 2, False), ("[)", 1, 1, True),
                ("(]", 1, 1, True), ("[]", 6, 6, True), ("(]", 6, 7, False)):
            goal = window(shape, at(left), at(right), P)
            self.check(world([MAKE_P], [goal], [off]), "0: make() [2]", "" if is_met else "window")

    def test_contains_asks_for_some_time(self):
        for shape, left, right, is_met in (
                ("[]", 0, 2, False), ("[]", 0, "2.001", True), ("[]", 4, 5, True),
                ("()", 6, 7, False), ("[]", 6, 7, True), ("(]", 2, 3, True)):
            goal = window(shape, at(left), at(right), P, kind="contains")
            self.check(world([MAKE_P], [goal], [sets(P, FALSE, at(6))]), "0: make() [2]",
                       "" if is_met else "contains")

    def test_labels_need_times_in_order(self):
        def problem(first, second):
            goals = [window("[]", at(0), at(20), P, "contains", first),
                     window("[]", at(0), at(20), ("not", P), "contains", second)]
            return world([MAKE_P], goals, orderings=[("a", "b")])
        self.check(problem("b", "a"), "0: make() [2]", "")
        self.check(problem("a", "b"), "0: make() [2]", "label")  # once true, it stays true

    def test_end_lies_one_unit_behind_the_plan(self):
        late = action("late", TWO, sets(P, TRUE, Time("start", Fraction(5))))
        self.check(world([late], [window("[]", at(6), END, P)]), "0: late() [2]", "")
        self.check(world([late], [window("[]", at(5), END, P)]), "0: late() [2]", "window")
        world_does = [sets(P, TRUE, at("1.5"))]
        self.check(world([], [point(END, P)], world_does), "", "fails at 1")
        self.check(world([], [point(at(2), P)], world_does), "", "")
        self.check(world([], [point(END, P)], [sets(P, TRUE, END)]), "", "fails at 1")

    def test_an_instant_reads_what_was_before(self):
        swap = action("swap", TWO, sets(P, Q, END), sets(Q, P, END))
        first = {P: TRUE}.items()
        self.check(world([swap], [point(END, ("and", Q, ("not", P)))], initial=first),
                   "0: swap() [2]", "")
        reader = action("read", TWO, point(START, ("not", P)))
        self.check(world([MAKE_P, reader]), "0: make() [2]\n2: read() [2]", "")
        self.check(world([MAKE_P, reader]), "0: make() [2]\n2.0001: read() [2]", "condition")

    def test_two_effects_on_one_fluent_never_meet(self):
        by_state = action("mark", TWO, sets(fluent("at", fluent("pos")), TRUE, END),
                          sets(fluent("at", ("obj", "o1")), TRUE, END))
        self.check(world([by_state]), "0: mark() [2]", "")
        self.check(world([by_state], initial={fluent("pos"): ("obj", "o1")}.items()),
                   "0: mark() [2]", "two effects")
        self.check(world([MAKE_P]), "0: make() [2]\n0: make() [2]", "two effects")
        self.check(world([MAKE_P]), "0: make() [2]\n0.001: make() [2]", "")

    def test_numbers(self):
        for target, value, expected in (
                (N, ("/", N, TWO), ("int", 2)), (X, ("/", X, TWO), ("rat", Fraction(5, 2))),
                (X, ("/", N, TWO), ("rat", Fraction(2))),
                (N, ("/", ("-", ("int", 0), N), TWO), None), (N, ("+", N, N), None),
                (X, ("/", ("-", ("int", 0), N), TWO), ("int", -2))):
            halve = action("act", TWO, sets(target, value, END))
            goal = [point(END, ("==", target, expected))] if expected else []
            self.check(world([halve], goal), "0: act() [2]", "" if expected else "bounds")

    def test_steps(self):
        reads = action("reads", ("/", N, TWO), sets(N, ("int", 8), START))
        cases = (("0: reads() [2]", ""), ("0: reads() [5/2]", "duration"), ("0: none() [2]", "no action"),
                 ("0: reads(o1) [2]", "arguments"), ("-1: reads() [2]", "cannot read"),
                 ("0: reads() [2]\n3: reads() [4]", ""), ("0: reads() [2]\n3: reads() [2]", "duration"))
        for plan, fault in cases:
            self.check(world([reads]), plan, fault)
        early = action("early", TWO, sets(P, TRUE, Time("end", Fraction(-5))))
        self.check(world([early]), "2: early() [2]", "before time 0")
        self.check(world([early]), "3: early() [2]", "")

    def test_first_values_may_read_others(self):
        self.check(world([], [point(END, P)], initial={P: ("not", Q)}.items()), "", "")
        self.check(world([], [], initial={P: Q, Q: P}.items()), "", "first values")
        self.check(world([], [point(END, ("not", P))], initial={P: None}.items()), "", "without a value")

    def test_moving_targets(self):
        read = action("read", TWO, point(START, ("not", P)))
        plans = (("0: make() [2]\n2: read() [2]", "moving target"),
                 ("0: make() [2]\n2.009: read() [2]", "condition"),
                 ("0: make() [2]\n1.991: read() [2]", "moving target"),
                 ("0: make() [2]\n1.99: read() [2]", ""))
        for plan, fault in plans:
            found = fault_of(world([MAKE_P, read]), plan, is_pddl=True)
            self.assertTrue(fault in found if fault else not found, (plan, found))

    def test_amounts_add_up_in_pddl(self):
        count = action("count", TWO, sets(X, ("+", X, ("int", 3)), END))
        less = action("less", TWO, sets(X, ("-", X, ("int", 1)), END))
        halve = action("halve", TWO, sets(X, ("/", X, TWO), END))
        problem = world([count, less, halve], [point(END, ("==", X, ("int", 7)))])
        for plan, is_pddl, fault in (
                ("0: count() [2]\n0: less() [2]", True, ""),
                ("0: count() [2]\n0.001: less() [2]", True, ""),
                ("0: count() [2]\n0: less() [2]", False, "two effects"),
                ("0: count() [2]\n0: halve() [2]", True, "two effects"),
                ("0: count() [2]\n0.001: halve() [2]", True, "fails at")):
            found = fault_of(problem, plan, is_pddl)
            self.assertTrue(fault in found if fault else not found, (plan, found))

    def test_what_is_open_is_not_judged(self):
        empty = window("()", at(3), at(3), P, kind="contains")
        with self.assertRaises(Unclear):
            fault_of(world([], [empty]), "")


# How many percent of the problems hold the feature at the least, of ANML and of PDDL.
SHARES = {
    "action window ()": (10, 30), "action window (]": (10, 0), "action window [)": (10, 0),
    "action window []": (15, 0), "goal window ()": (2, 0), "goal window (]": (2, 0),
    "goal window [)": (2, 0), "goal window []": (2, 0), "goal: contains": (8, 0),
    "goal before the end": (4, 0), "long goal window": (2, 0), "label ordering": (2, 0),
    "contains in an action": (2, 0), "timed effect": (15, 12), "timed effect at the end": (3, 0),
    "timed effect reads the state": (3, 0), "timed effect with an argument of the state": (0.3, 0),
    "argument of the state": (10, 0), "effect with an argument of the state": (8, 0),
    "two effects on one fluent at one time": (1, 1), "two effects on one fluent at two times": (10, 5),
    "effect at an inner time": (15, 0), "condition at an inner time": (10, 0), "late effect": (0.5, 0),
    "quotient of integers": (15, 0), "exact quotient": (12, 20), "float holds an integer": (8, 0),
    "effect reads the duration": (0.3, 0), "first value reads others": (4, 0),
    "bounded fluent": (25, 0), "constant": (8, 0), "constant table": (4, 0),
    "closed duration": (15, 20), "open duration": (8, 0), "no duration": (0.4, 0),
    "duration of three decimals": (8, 10), "duration in sevenths": (5, 8),
    "duration reads a constant": (5, 0), "duration reads a fluent": (0.2, 0),
    "number parameter": (3, 0), "constant in a quotient": (3, 0), "structured type": (4, 0), "large time": (1.5, 0),
    "disjunction": (15, 10), "two parameters": (4, 4), "one action twice": (12, 12),
    "known plan with steps": (40, 40),
}


class GeneratorTest(unittest.TestCase):
    def test_every_feature_comes_often_enough(self):
        rounds = 1000
        counts = [collections.Counter(), collections.Counter()]
        for seed in range(rounds):
            for is_pddl in (False, True):
                counts[is_pddl].update(generate(seed, is_pddl).features)
        for feature, shares in SHARES.items():
            for count, share in zip(counts, shares):
                self.assertGreaterEqual(count[feature] * 100 / rounds, share, feature)
        self.assertEqual(counts[1]["quotient of integers"], 0)

    def test_a_seed_gives_the_same_texts(self):
        for seed in range(20):
            self.assertEqual(anml(generate(seed).problem), anml(generate(seed).problem))
            self.assertEqual(pddl(generate(seed, True).problem), pddl(generate(seed, True).problem))

    def test_known_plans_are_valid(self):
        for seed in range(200):
            generated = generate(seed)
            if generated.witness:
                self.assertEqual(fault_of(generated.problem, generated.witness), "", seed)


if __name__ == "__main__":
    unittest.main()
