"""Random problems that a target takes and tells exactly.

What the texts do not tell as it is meant is left out here, target by target (docs/translators.md says
what that is):

- uppaal: actions with timed events run once; values read their own fluent or one that never changes;
  conditions over intervals from the start of the plan hold at the start.
- smv: each fluent that is read is assigned by something; conditions over intervals reach up to the end
  of the action, or over the whole plan.
- ltl: values are constants, no execution begins at time 0, and each time at which something must happen
  changes something.

For all of them: an action does not meet itself (it takes a lock); nothing that the problem does later
counts for what is asked at the end; durations are no shorter than what happens inside.
"""

import random
import sys
from fractions import Fraction
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "oracle"))

from meaning import World  # noqa: E402
from problem import (BOOLEAN, END, START, Action, Condition, Effect, Problem, Symbol, Time, Type,  # noqa: E402
                     fluent, subexpressions)

TARGETS = ("uppaal", "smv", "ltl")
OBJECTS = ["o0", "o1", "o2"]


class Generated:
    """A problem with what it holds. `witness` is a plan, once one is known."""

    def __init__(self, seed, target):
        self.seed, self.target = seed, target
        self.problem = Problem()
        self.features = set()
        self.witness = ""


class FragmentGenerator:
    def __init__(self, seed, target):
        self.random = random.Random(f"{target} {seed}")
        self.target = target
        self.result = Generated(seed, target)
        self.problem = self.result.problem

    def pick(self, *choices):
        return self.random.choice(choices)

    def chance(self, percent):
        return self.random.randrange(100) < percent

    def note(self, feature):
        self.result.features.add(feature)

    # ----- symbols -----

    def make_fluents(self):
        symbols = [Symbol(f"p{i}", BOOLEAN) for i in range(self.pick(2, 3, 3))]
        if self.chance(55):
            symbols.append(Symbol("n", Type("integer", 0, self.pick(2, 3))))
            self.note("bounded integer")
        if self.chance(40):
            self.problem.objects["T"] = OBJECTS[:self.pick(2, 3)]
            symbols.append(Symbol("o", Type("object", name="T")))
            self.note("object fluent")
        self.problem.fluents = {s.name: s for s in symbols}
        if self.target != "smv" and self.chance(25):
            self.problem.fluents["lim"] = Symbol("lim", Type("integer", 0, 3))
            self.note("fluent that never changes")
        self.initial = {}
        for s in self.problem.fluents.values():
            self.first_value(s.name, self.constant(s, None))
        # What the problem itself changes is not asked for at the end.
        self.by_the_world = {s.name for s in symbols if self.chance(30)} - {symbols[0].name}

    def first_value(self, name, value):
        self.initial[name] = value
        self.problem.initial.append((name, (), value))

    def constant(self, symbol, other_than):
        if symbol.type.kind == "boolean":
            values = [("bool", False), ("bool", False), ("bool", True)]
        elif symbol.type.kind == "integer":
            values = [("int", x) for x in range(symbol.type.low, symbol.type.high + 1)]
        else:
            values = [("obj", o) for o in self.problem.objects["T"]]
        return self.pick(*[v for v in values if v != other_than])

    # ----- expressions -----

    def literal(self, names):
        symbol = self.problem.fluents[self.pick(*names)]
        reference = fluent(symbol.name)
        if symbol.type.kind == "boolean":
            return reference if self.chance(55) else ("not", reference)
        if symbol.type.kind == "object":
            if self.chance(30):
                self.note("!=")
                return ("!=", reference, self.constant(symbol, None))
            return ("==", reference, self.constant(symbol, None))
        if self.chance(15) and symbol.name == "n":
            self.note("arithmetic in a condition")
            return (self.pick("<=", ">="), ("+", reference, ("int", 1)), ("int", self.pick(1, 2, 3)))
        return (self.pick("==", "<", "<=", ">", ">="), reference, ("int", self.pick(0, 1, 1, 2)))

    def formula(self, names):
        if self.chance(70):
            return self.literal(names)
        operator = self.pick("and", "or", "implies", "not")
        self.note(operator)
        if operator == "not":
            return ("not", ("and", self.literal(names), self.literal(names)))
        return (operator, self.literal(names), self.literal(names))

    def value(self, symbol):
        reference = fluent(symbol.name)
        if self.target != "ltl" and self.chance(35):
            if symbol.name == "n":
                self.note("value reads its fluent")
                return (self.pick("+", "+", "-"), reference, ("int", 1))
            if symbol.type.kind == "boolean":
                self.note("value reads its fluent")
                return ("not", reference)
        if symbol.name == "n" and "lim" in self.problem.fluents and self.chance(30):
            if self.target == "uppaal":
                self.note("value reads another fluent")
                return fluent("lim")
        return self.constant(symbol, self.initial[symbol.name] if self.chance(70) else None)

    # ----- actions -----

    def make_action(self, number):
        action = Action(f"a{number}")
        is_once = self.chance(45)
        self.note("action that runs once" if is_once else "action that repeats")
        self.lock(action, is_once)
        inner = is_once or self.target != "uppaal"
        self.latest = 0
        own = [s for s in self.problem.fluents.values()
               if s.name[0] in "pno" and s.name not in ("lim",)]
        taken = set()
        for _ in range(self.pick(1, 1, 2, 2)):
            self.add_effect(action, self.pick(*own), taken, inner)
        for _ in range(self.pick(0, 1, 1, 2)):
            self.add_condition(action, [s.name for s in self.problem.fluents.values()
                                        if s.name[:1] in "pno" or s.name == "lim"], inner, taken)
        self.make_duration(action)
        self.problem.actions[action.name] = action

    def lock(self, action, is_once):
        """An action waits for itself, or runs once."""
        name = f"f{action.name}"
        self.problem.fluents[name] = Symbol(name, BOOLEAN)
        self.first_value(name, ("bool", True))
        action.conditions.append(Condition("point", START, START, False, False, fluent(name)))
        action.effects.append(Effect(START, name, (), ("bool", False)))
        if is_once:
            name = f"g{action.name}"
            self.problem.fluents[name] = Symbol(name, BOOLEAN)
            self.first_value(name, ("bool", False))
        action.effects.append(Effect(END, name, (), ("bool", True)))

    def inner_time(self):
        offset = self.pick(1, 1, 2)
        self.latest = max(self.latest, offset)
        return Time("start", Fraction(offset))

    def add_effect(self, action, symbol, taken, inner):
        time = self.pick(START, END, END)
        if inner and self.chance(30):
            time = self.inner_time()
            self.note("effect at an inner time")
        if (time, symbol.name) in taken:
            return
        taken.add((time, symbol.name))
        self.note(f"effect at the {time.anchor}")
        action.effects.append(Effect(time, symbol.name, (), self.value(symbol)))

    def add_condition(self, action, names, inner, taken):
        body = self.random.choices((self.true_formula, self.asking, self.formula), (5, 3, 2))[0](names)
        shapes = ["start", "start", "end", "all", "all", "(all)", "(all]", "[all)"]
        if inner:
            shapes += ["inner", "to end", "(to end"]
            shapes += ["window", "(window"] if self.target != "smv" else []
        shape = self.pick(*shapes)
        self.note(f"condition: {shape}")
        left, right = START, END
        if shape in ("start", "end"):
            left = right = START if shape == "start" else END
        elif shape == "inner":
            left = right = self.inner_time()
        elif shape in ("to end", "(to end"):
            left = self.inner_time()
            if shape == "(to end":
                self.latest += 1  # the window is not empty
        elif shape in ("window", "(window"):
            left = self.pick(START, Time("start", Fraction(1)))
            self.latest = max(self.latest, 3)
            right = Time("start", Fraction(self.pick(2, 3)))
        kind = "point" if shape in ("start", "end", "inner") else "window"
        action.conditions.append(Condition(kind, left, right, shape.startswith("("),
                                           shape.endswith(")"), body))
        if kind == "window" and self.chance(50):
            self.break_at(action, left if self.chance(25) else right, body, taken)

    def break_at(self, action, time, body, taken):
        """What was asked over an interval ends at one of its ends, which only matters there."""
        name = (body[1] if body[0] == "not" else body)[1]
        if body[0] != "fluent" and (body[0] != "not" or body[1][0] != "fluent"):
            return
        if (time, name) in taken or name in self.problem.fluents and name == "lim":
            return
        taken.add((time, name))
        self.note("effect at an end of a condition")
        action.effects.append(Effect(time, name, (), ("bool", body[0] == "not")))

    def make_duration(self, action):
        low = max(self.latest, self.pick(1, 1, 2, 3))
        if self.chance(60):
            action.duration.append((":=", ("int", low)))
            return
        self.note("duration between bounds")
        action.duration.append((">=", ("int", low)))
        action.duration.append(("<=", ("int", low + self.pick(1, 2))))

    # ----- the problem -----

    def make_world(self):
        changing = sorted(self.by_the_world)
        taken = set()
        for _ in range(self.pick(0, 1, 1, 2) if changing else 0):
            name, time = self.pick(*changing), Fraction(self.pick(1, 2, 3, 4))
            if (name, time) in taken:
                continue
            taken.add((name, time))
            self.note("timed effect")
            value = self.constant(self.problem.fluents[name], self.initial[name])
            self.problem.timed.append(Effect(Time("absolute", time), name, (), value))

    def make_goals(self):
        lasting = [s for s in self.problem.fluents
                   if s not in self.by_the_world and (s[0] in "pno" and s != "lim")]
        for _ in range(self.pick(1, 2, 2, 3)):
            self.problem.goals.append(Condition("point", END, END, False, False,
                                                self.asking(lasting)))
        everything = [s for s in self.problem.fluents if s[0] in "pno"]
        if self.chance(20):
            self.note("whole plan")
            self.problem.goals.append(Condition("window", START, END, False, False,
                                                self.true_formula(lasting)))
        if self.chance(25):
            time = Time("absolute", Fraction(self.pick(1, 2, 3, 4)))
            self.note("goal at a time")
            self.problem.goals.append(Condition("point", time, time, False, False,
                                                self.formula(everything)))
        if self.target != "smv" and self.chance(30):
            self.add_window(everything)

    def add_window(self, names):
        first, length = self.pick(0, 1, 1, 2), self.pick(1, 2, 3)
        left = Time("absolute", Fraction(first)) if first else START
        right = Time("absolute", Fraction(first + length))
        is_open = self.chance(50)
        self.note("(goal over a window" if is_open else "goal over a window")
        body = self.formula(names) if first else self.true_formula(names)
        self.problem.goals.append(Condition("window", left, right, is_open, self.chance(50), body))

    def is_true_at_first(self, body):
        world = World(self.problem)
        return world.holds(body, world.initial_state(), {})

    def asking(self, names):
        """A goal that does not hold at the start, if one is found soon: mostly what an effect does."""
        effects = [e for a in self.problem.actions.values() for e in a.effects
                   if e.fluent in names and e.value[0] in ("bool", "int", "obj")
                   and e.value != self.initial[e.fluent]]
        if effects and self.chance(85):
            effect = self.pick(*effects)
            reference = fluent(effect.fluent)
            if effect.value[0] != "bool":
                return ("==", reference, effect.value)
            return reference if effect.value[1] else ("not", reference)
        for _ in range(10):
            body = self.formula(names)
            if not self.is_true_at_first(body):
                break
        return body

    def true_formula(self, names):
        for _ in range(20):
            body = self.formula(names)
            if self.is_true_at_first(body):
                return body
        return ("bool", True)

    def assign_what_is_read(self):
        """Without a writer a fluent is free in the SMV model."""
        problem = self.problem
        bodies = [c.body for c in problem.goals]
        for a in problem.actions.values():
            bodies += [c.body for c in a.conditions] + [e.value for e in a.effects]
        read = {x[1] for b in bodies for x in subexpressions(b) if x[0] == "fluent"}
        written = {e.fluent for a in problem.actions.values() for e in a.effects}
        written |= {e.fluent for e in problem.timed}
        for name in sorted(read - written):
            action = self.pick(*problem.actions.values())
            action.effects.append(Effect(END, name, (), self.constant(problem.fluents[name], None)))

    def generate(self):
        self.make_fluents()
        count = self.pick(1, 2, 2, 3, 3)
        self.note(f"{count} actions")
        for number in range(count):
            self.make_action(number)
        self.make_world()
        self.make_goals()
        if self.target == "smv":
            self.assign_what_is_read()
        return self.result


def generate(seed, target):
    return FragmentGenerator(seed, target).generate()
