"""Small random problems, rich in what goes wrong: every shape of window, effects at and around the
end, arguments that depend on the state, quotients, odd durations, goals that a known plan meets.

A seed gives the same problem everywhere. `Generated.features` names what a problem holds; see
`features_test.py` for how often each must come.
"""

import random
from dataclasses import dataclass, field
from fractions import Fraction

from meaning import Invalid, Run, Unclear, write_plan
from problem import (BOOLEAN, END, FLOAT, INTEGER, START, Action, Condition, Effect, Members, Problem,
                     Symbol, Time, Type, fluent, subexpressions)

THING = Type("object", name="T")
SMALL = Type("integer", 0, 4)
INDEX = Type("integer", 0, 2)
LEVEL = Type("float", Fraction(0), Fraction(6))
OBJECTS = ("o0", "o1")
LARGE = ("12345.678", "1234567.5", "12345678901234567890")


@dataclass
class Generated:
    seed: int
    problem: Problem
    witness: str = ""  # a plan that is valid, if one was found
    is_pddl: bool = False
    is_structured: bool = False  # its text tells members of a type
    features: set = field(default_factory=set)


def things_of(action):
    return [n for n, t in action.parameters if t == THING]


def rational(n):
    return ("rat", Fraction(n))


class Generator:
    def __init__(self, seed, is_pddl=False):
        self.random = random.Random(seed * 2 + is_pddl)
        self.is_pddl = is_pddl
        self.problem = Problem()
        self.result = Generated(seed, self.problem, is_pddl=is_pddl)
        # A problem has some of the rare things, not all: so it stays small and its search ends.
        self.likes = {}
        self.number_parameters = []  # of the action that is being made

    # ----- chance ---------------------------------------------------------------------------

    def chance(self, percent):
        return self.random.randrange(100) < percent

    def pick(self, *options):
        return options[self.random.randrange(len(options))]

    def likes_to(self, feature, percent):
        """Decided once for a problem."""
        if feature not in self.likes:
            self.likes[feature] = self.chance(percent) and not self.is_pddl
        return self.likes[feature]

    def integer(self, n):
        """PDDL knows no integers."""
        return rational(n) if self.is_pddl else ("int", n)

    @staticmethod
    def number_constant(n):
        return ("int", int(n)) if n.denominator == 1 else rational(n)

    # ----- symbols --------------------------------------------------------------------------

    def make_symbols(self):
        self.problem.objects["T"] = list(OBJECTS)
        add = self.add_fluent
        for i in range(1 + self.random.randrange(3)):
            add(f"p{i}", BOOLEAN)
        if self.chance(45):
            add("q", BOOLEAN, THING)
        if self.is_pddl:
            if self.chance(60):
                add("x", FLOAT)
            if self.chance(30):
                add("y", FLOAT, THING)
            return
        if self.chance(40):
            add("n", SMALL)
        if self.chance(10):
            add("m", INTEGER)
        if self.chance(30):
            add("x", self.pick(FLOAT, LEVEL))
        if self.likes_to("state-dependent argument", 30):
            add("pos", THING)
            if "q" not in self.problem.fluents:
                add("q", BOOLEAN, THING)
            if self.chance(30):
                add("load", SMALL, THING)
        if self.likes_to("indexed by a number", 10):
            add("i", self.pick(INDEX, INDEX, Type("integer", 0, 3)))
            add("slot", BOOLEAN, INDEX)
        if self.likes_to("constants", 35):
            self.make_constants()

    def add_fluent(self, name, type_, *parameters):
        self.problem.fluents[name] = Symbol(name, type_, parameters)

    def make_constants(self):
        constants, entries = self.problem.constants, self.problem.entries
        constants["speed"] = Symbol("speed", FLOAT)
        entries.append(("speed", (), self.pick(self.integer(2), self.integer(3), rational("2.5"))))
        constants["k"] = Symbol("k", INTEGER)
        entries.append(("k", (), self.pick(self.integer(5), self.integer(7), self.integer(2))))
        constants["far"] = Symbol("far", self.pick(FLOAT, INTEGER), (THING,))
        value = self.pick(self.integer(2), self.integer(3), ("+", ("constant", "k", ()), self.integer(1)))
        if self.chance(50):
            entries.append(("far", (), value))
            if self.chance(50):
                entries.append(("far", (("obj", "o1"),), self.integer(4)))
        else:
            for name in OBJECTS:
                entries.append(("far", (("obj", name),), self.pick(value, self.integer(4))))

    # ----- expressions ----------------------------------------------------------------------

    def thing(self, parameters, may_read=True):
        if may_read and "pos" in self.problem.fluents and self.chance(40):
            return fluent("pos")
        if parameters and self.chance(70):
            return ("param", self.pick(*parameters))
        return ("obj", self.pick(*OBJECTS))

    def index(self):
        return self.pick(fluent("i"), fluent("i"), ("+", fluent("i"), self.integer(1)),
                         self.integer(self.random.randrange(3)),
                         *(("param", n) for n in self.number_parameters))

    def application(self, symbol, parameters, may_read=True):
        arguments = []
        for type_ in symbol.parameters:
            if type_ == THING:
                arguments.append(self.thing(parameters, may_read))
            else:
                arguments.append(self.index() if may_read else self.integer(self.random.randrange(3)))
        return fluent(symbol.name, *arguments)

    def fluents_of(self, kind):
        return [f for f in self.problem.fluents.values() if f.type.kind == kind]

    def number(self, kind, parameters, depth=0):
        """An integer expression, or one of whatever kind for a float."""
        options = [self.integer(self.random.randrange(5))]
        options += [self.application(f, parameters) for f in self.fluents_of("integer")]
        options += [("param", n) for n in self.number_parameters]
        if kind == "float":
            options += [rational(self.pick("0.5", "1.25", "2.0", "0.125"))]
            options += [self.application(f, parameters) for f in self.fluents_of("float")]
        if self.problem.constants and self.chance(30):
            options = [("constant", "k", ())]
            if kind == "float":
                options += [("constant", "speed", ()), ("constant", "far", (self.thing(parameters),))]
        base = self.pick(*options)
        if depth > 1 or self.chance(55):
            return base
        if self.chance(30):
            is_exact = kind == "float" and self.chance(25)
            return ("/", base, rational("2.0") if is_exact else self.integer(2))
        return (self.pick("+", "-"), base, self.number(kind, parameters, depth + 1))

    def literal(self, parameters):
        symbol = self.pick(*self.problem.fluents.values())
        atom = self.application(symbol, parameters)
        kind = symbol.type.kind
        if kind == "boolean":
            return atom if self.chance(65) else ("not", atom)
        if kind == "object":
            return (self.pick("==", "==", "!="), atom, self.thing(parameters))
        return (self.pick("==", "<=", ">=", ">=", "<", ">", "!="), atom,
                self.pick(self.integer(self.random.randrange(5)), self.number(kind, parameters)))

    def formula(self, parameters):
        one = self.literal(parameters)
        if self.chance(80):
            return one
        other = self.literal(parameters)
        # An index may leave its range, and whether the other side of an `or` saves that is open.
        if any(x[0] == "fluent" and x[1] == "slot" for x in subexpressions(("and", one, other))):
            return one
        joined = (self.pick("and", "and", "or", "implies"), one, other)
        if self.is_pddl and joined[0] == "implies":
            joined = ("or", *joined[1:])
        return ("not", joined) if self.chance(10) and not self.is_pddl else joined

    # ----- actions --------------------------------------------------------------------------

    def make_duration(self, action):
        """Gives its least value, for inner times."""
        say = action.duration.append
        things = [("param", n) for n in things_of(action)]
        options = ["fixed"] * 3 + ["decimal"] * 2 + ["sevenths", "closed", "closed", "open"]
        if not self.is_pddl:
            options += ["least", "integer quotient"]
            if self.problem.constants:
                options += ["constant", "constant", "table"]
            if self.likes_to("duration reads a fluent", 10) and self.fluents_of("integer"):
                options += ["fluent"]
            if self.likes_to("no duration", 7):
                options += ["none", "zero"]
        if self.likes_to("large times", 8):
            options += ["large"] * 5
        kind = self.pick(*options)
        least = Fraction(1 + self.random.randrange(4))
        relation = self.pick(":=", "==") if not self.is_pddl else ":="
        if kind == "fixed":
            say((relation, self.integer(int(least))))
        elif kind == "decimal":
            least = Fraction(self.pick("2.5", "1.125", "3.015", "0.75", "2.334", "1.001"))
            say((relation, rational(least)))
        elif kind == "sevenths":
            say((relation, ("/", rational("12.0"), rational("7.0"))))
            least = Fraction(12, 7)
        elif kind in ("closed", "open"):
            low, high = (">=", "<=") if kind == "closed" or self.is_pddl else (">", "<")
            say((low, self.integer(int(least))))
            if self.chance(70):
                say((high, self.pick(self.integer(int(least) + 2), rational(least + Fraction(1, 2)))))
        elif kind == "least":
            say((self.pick(">=", ">"), self.integer(int(least))))
        elif kind == "integer quotient":
            say((":=", ("/", self.integer(self.pick(5, 7)), self.integer(2))))
            least = Fraction(2)
        elif kind == "constant":
            least = Fraction(1)
            say((relation, self.pick(("constant", "speed", ()), ("constant", "k", ()),
                                     ("/", self.integer(5), ("constant", "speed", ())),
                                     ("/", ("constant", "k", ()), self.integer(2)),
                                     ("/", ("constant", "k", ()), ("constant", "speed", ())))))
        elif kind == "table":
            least = Fraction(2)
            argument = self.pick(*things) if things else ("obj", self.pick(*OBJECTS))
            say((self.pick(":=", ">="), ("constant", "far", (argument,))))
        elif kind == "fluent":
            least = Fraction(1)
            name = self.pick(*self.fluents_of("integer"))
            say((self.pick(":=", ">="), ("+", self.application(name, things_of(action)),
                                         self.integer(1))))
        elif kind == "large":
            least = Fraction(self.pick(*LARGE))
            say((relation, self.number_constant(least)))
        elif kind == "zero":
            least = Fraction(0)
            say((":=", self.integer(0)))
        return least

    def action_time(self, least):
        anchor = self.pick(START, END)
        if self.is_pddl or not self.likes_to("inner times", 40) or self.chance(55):
            return anchor
        if self.likes_to("late times", 20) and self.chance(30):
            return Time("start", Fraction(self.pick(5, 7)))
        inner = [Fraction(x) for x in ("0.5", "1", "1.5", "2", "0.01") if Fraction(x) < least]
        if not inner:
            return anchor
        offset = self.pick(*inner)
        return Time(anchor.anchor, offset if anchor is START else -offset)

    def make_condition(self, action, least):
        parameters = things_of(action)
        body = self.formula(parameters)
        if self.is_pddl:
            if self.chance(60):
                time = self.pick(START, START, END)
                return Condition("point", time, time, False, False, body)
            return Condition("window", START, END, True, True, body)
        if self.chance(45):
            time = START if self.chance(60) else self.action_time(least)
            return Condition("point", time, time, False, False, body)
        left, right = START, END
        if self.chance(50):
            left, right = self.action_time(least), self.action_time(least)
            order = {"start": 0, "end": 1}
            key = lambda t: (order[t.anchor], t.offset)
            left, right = sorted((left, right), key=key)
            if left == right:
                left, right = START, END
        kind = "window"
        if self.likes_to("contains in an action", 18) and self.chance(40):
            kind = "contains"
        return Condition(kind, left, right, self.chance(40), self.chance(40), body)

    def new_value(self, symbol, target, parameters):
        kind = symbol.type.kind
        if kind == "boolean":
            if self.chance(12) and not self.is_pddl:
                return self.pick(("not", target), self.literal(parameters))
            return ("bool", self.chance(65))
        if kind == "object":
            return self.thing(parameters, may_read=False)
        if self.is_pddl:
            return self.pick(rational(self.random.randrange(4)), ("+", target, rational(1)),
                             ("-", target, rational(1)), ("/", target, rational(2)))
        high = 5 if symbol.type.high is None else int(symbol.type.high) + 1
        options = [("+", target, self.integer(1)), ("-", target, self.integer(1)),
                   self.integer(self.random.randrange(min(high, 5))), ("/", target, self.integer(2))]
        if kind == "float":
            options += [("+", target, rational("0.5")), ("/", target, rational("2.0"))]
        if symbol.type == INTEGER:  # what grows without bound makes searches without end
            options = [self.integer(self.random.randrange(5)), ("/", target, self.integer(2)),
                       ("-", self.integer(3), target)]
        if self.likes_to("effects read numbers", 40):
            # Sums of literals that leave the bounds are errors before any search.
            value = self.number(kind, parameters)
            if symbol.type.low is None or any(x[0] == "fluent" for x in subexpressions(value)):
                options.append(value)
        if kind == "float" and self.likes_to("effects read the duration", 20):
            options += [("duration",), ("+", target, ("duration",))]
        return self.pick(*options)

    def add_effect(self, action, least):
        parameters = things_of(action)
        symbol = self.pick(*self.problem.fluents.values())
        target = self.application(symbol, parameters)
        time = self.action_time(least)
        for other in action.effects:
            if other.fluent != symbol.name:
                continue
            # Who writes a fluent twice writes different slots of it or at different times.
            if other.time == time and (not symbol.parameters or other.arguments == target[2]):
                return
        value = self.new_value(symbol, target, parameters)
        action.effects.append(Effect(time, symbol.name, target[2], value))
        if value[0] in ("+", "-") and symbol.type.low is not None and self.chance(70):
            test = ("<", target, self.integer(4)) if value[0] == "+" else (">", target, self.integer(0))
            action.conditions.append(Condition("point", time, time, False, False, test))

    def make_action(self, number):
        action = Action(f"a{number}")
        if self.chance(40):
            names = ["u"] if self.chance(80) else ["u", "v"]
            action.parameters = tuple((n, THING) for n in names)
        self.number_parameters = []
        if self.likes_to("number parameter", 15) and self.chance(60):
            action.parameters += (("w", INDEX),)
            self.number_parameters.append("w")
        least = self.make_duration(action)
        for _ in range(self.pick(0, 1, 1, 2, 3)):
            action.conditions.append(self.make_condition(action, least))
        for _ in range(self.pick(1, 1, 2, 2, 3)):
            self.add_effect(action, least)
        self.problem.actions[action.name] = action
        self.number_parameters = []

    # ----- the problem's own statements -----------------------------------------------------

    def make_initial(self):
        grounds = []
        for symbol in self.problem.fluents.values():
            choices = [()]
            for type_ in symbol.parameters:
                values = ([("obj", o) for o in OBJECTS] if type_ == THING
                          else [self.integer(i) for i in range(type_.low, type_.high + 1)])
                choices = [c + (v,) for c in choices for v in values]
            grounds += [(symbol, c) for c in choices]
        reads = self.likes_to("first value reads others", 12)
        for number, (symbol, arguments) in enumerate(grounds):
            kind = symbol.type.kind
            if kind == "boolean":
                value = ("bool", self.chance(30))
                # Only what stands earlier is read, but statements may come in any order.
                earlier = [(s, a) for s, a in grounds[:number] if s.type == BOOLEAN]
                if reads and earlier and self.chance(50):
                    other, other_arguments = self.pick(*earlier)
                    value = fluent(other.name, *other_arguments)
                    if self.chance(50):
                        value = ("not", value)
            elif kind == "object":
                value = ("obj", self.pick(*OBJECTS))
            else:
                value = self.integer(self.random.randrange(3))
                if kind == "float" and self.chance(40):
                    value = rational(self.pick("0.5", "1.75", "5.0"))
                earlier = [(s, a) for s, a in grounds[:number] if s.type == symbol.type]
                if reads and earlier and self.chance(50) and symbol.type.low is None:
                    other, other_arguments = self.pick(*earlier)
                    value = ("+", fluent(other.name, *other_arguments), self.integer(1))
            self.problem.initial.append((symbol.name, arguments, value))
        if reads:
            self.random.shuffle(self.problem.initial)

    def problem_time(self):
        options = [Fraction(1 + self.random.randrange(12)), Fraction(self.random.randrange(1, 20), 2)]
        if self.chance(25):
            options = [Fraction(self.pick("5.015", "3.333", "7.001", "40", "25.5"))]
        if self.likes_to("large times", 8) and self.chance(40):
            options = [Fraction(x) for x in LARGE]
        return Time("absolute", self.pick(*options))

    def make_timed(self):
        if not self.chance(35):
            return
        times = set()
        for _ in range(self.pick(1, 1, 2, 3)):
            symbol = self.pick(*self.problem.fluents.values())
            if self.is_pddl and symbol.type != BOOLEAN:
                continue
            target = self.application(symbol, [], may_read=self.chance(30))
            time = self.problem_time()
            if self.likes_to("effects around the end", 25) and self.chance(50):
                time = self.pick(END, Time("end", Fraction(-1, 2)))
            value = self.new_value(symbol, target, [])
            if any(x[0] == "duration" for x in subexpressions(value)):
                continue
            if (time, symbol.name) in times:
                continue
            times.add((time, symbol.name))
            self.problem.timed.append(Effect(time, symbol.name, target[2], value))

    def random_goal(self, last):
        """A goal near what happens until `last`."""
        body = self.formula([])
        if self.is_pddl or self.chance(55):
            return Condition("point", END, END, False, False, body)
        whole = int(last) + 2

        def moment():
            if self.chance(20):
                return Time("absolute", Fraction(self.random.randrange(whole * 2), 2))
            return Time("absolute", Fraction(self.random.randrange(whole)))

        shape = self.pick("point", "window", "window", "to end", "from start", "near end", "all",
                          "contains", "contains")
        if shape == "point":
            time = self.pick(moment(), moment(), Time("end", Fraction(-1, 2)), Time("end", Fraction(-1)))
            return Condition("point", time, time, False, False, body)
        left, right = sorted((moment(), moment()), key=lambda t: t.offset)
        if shape == "to end":  # the end is 1 at least: no plan makes this window empty
            left, right = Time("absolute", self.pick(Fraction(0), Fraction(1, 2))), END
        elif shape == "from start":
            left = START
        elif shape == "near end":
            left, right = Time("end", Fraction(-1)), self.pick(END, Time("end", Fraction(-1, 2)))
        elif shape == "all":
            left, right = START, END
        elif self.chance(20):
            right = Time("absolute", right.offset + 30)
        is_contains = shape == "contains" or (shape == "to end" and self.chance(20))
        # A window that is empty asks nothing, or nothing that could be met.
        if right.anchor == "absolute" and (right.offset == left.offset or is_contains):
            right = Time("absolute", right.offset + 2)
        return Condition("contains" if is_contains else "window", left, right, self.chance(45),
                         self.chance(45), body)

    # ----- a plan, and goals that it meets --------------------------------------------------

    def find_plan(self):
        """Steps that respect everything but goals."""
        steps, now = [], Fraction(0)
        wanted = self.pick(1, 1, 2, 2, 3)
        for _ in range(14):
            if len(steps) == wanted:
                break
            action = self.pick(*self.problem.actions.values())
            start = now + self.pick(*[Fraction(x) for x in ("0", "0", "0", "0.01", "1", "2.5", "0.5")])
            if steps and self.chance(25):
                before = self.pick(*steps)
                start = before[0] + self.pick(Fraction(0), before[3] / 2, before[3], Fraction(1, 100))
            arguments = [self.pick(*(OBJECTS if t == THING else "012")) for _, t in action.parameters]
            duration = self.choose_duration(action, start, steps, arguments)
            if duration is None:
                continue
            # Some engines never let a ground action overlap or touch itself.
            if any(s[1:3] == (action.name, arguments) and start <= s[0] + s[3]
                   and s[0] <= start + duration for s in steps) and self.chance(90):
                continue
            extended = sorted([*steps, (start, action.name, arguments, duration)],
                              key=lambda s: s[0])
            try:
                run = Run(self.problem, extended, self.is_pddl)
                run.validate()
            except (Invalid, Unclear):
                continue
            steps = extended
            now = max(start + duration for start, _, _, duration in steps)
            now += self.pick(Fraction(0), Fraction(1, 100), Fraction(1))
        return steps

    def choose_duration(self, action, start, steps, arguments):
        low, high, exact = Fraction(0), None, None
        try:
            run = Run(self.problem, steps, self.is_pddl)
            names = {n: a for (n, _), a in zip(action.parameters, arguments)}
            for relation, bound in action.duration:
                value = Fraction(run.world.value(bound, run.state_at(start), names))
                if relation in (":=", "=="):
                    exact = value
                elif relation == ">":
                    low = value + self.pick(Fraction(1, 100), Fraction(1, 4))
                elif relation == ">=":
                    low = value
                else:
                    high = value
        except Invalid:
            return None
        if exact is not None:
            return exact
        if high is None:
            return low + self.pick(Fraction(0), Fraction(1), Fraction(5, 2)) + (not action.duration)
        return self.pick(low, low + (high - low) / 2, high)

    def make_goals(self):
        steps = self.find_plan()
        run = Run(self.problem, steps, self.is_pddl)
        try:
            idle = Run(self.problem, [])
        except Invalid:
            idle = None
        is_wild = self.chance(15)
        wanted = self.pick(1, 1, 1, 2)
        for attempt in range(40):
            if len(self.problem.goals) == wanted:
                break
            goal = self.random_goal(run.end)
            if not is_wild and not self.is_met(run, goal):
                continue
            # A goal that asks for something is worth more.
            if attempt < 30 and idle is not None and self.is_met(idle, goal):
                continue
            self.problem.goals.append(goal)
        if not self.problem.goals:
            self.problem.goals.append(Condition("point", END, END, False, False,
                                                self.formula([])))
        self.order_labels(run)
        try:
            run.validate()
            self.result.witness = write_plan(steps)
        except (Invalid, Unclear):
            pass

    def order_labels(self, run):
        """Two goals over windows get labels and an order, if there is more than one."""
        if self.is_pddl or not self.likes_to("label orderings", 20):
            return
        for _ in range(20):
            if sum(g.kind == "contains" for g in self.problem.goals) >= 2:
                break
            goal = self.random_goal(run.end)
            if goal.kind == "contains" and self.is_met(run, goal):
                self.problem.goals.append(goal)
        windows = [i for i, g in enumerate(self.problem.goals) if g.kind == "contains"]
        if len(windows) < 2:
            return
        for label, i in zip(("first", "second"), windows):
            g = self.problem.goals[i]
            self.problem.goals[i] = Condition(g.kind, g.left, g.right, g.left_open, g.right_open,
                                              g.body, label)
        self.problem.orderings.append(("first", "second"))

    @staticmethod
    def is_met(run, goal):
        try:
            run.check(goal, Fraction(0), run.end, {}, "a goal")
        except (Invalid, Unclear):
            return False
        return True

    def generate(self):
        self.make_symbols()
        for number in range(self.pick(1, 2, 2, 3)):
            self.make_action(number)
        for action in list(self.problem.actions.values()):
            if not action.effects:
                del self.problem.actions[action.name]
        self.make_initial()
        self.make_timed()
        try:
            self.make_goals()
        except (Invalid, Unclear):
            # The world alone does something that may not be: worth a look, without a plan.
            self.problem.goals = [self.random_goal(5)]
        self.result.is_structured = (not self.is_pddl and self.result.seed % 3 == 0
                                     and Members.can_tell(self.problem))
        self.result.features = features_of(self.result)
        return self.result


def generate(seed, is_pddl=False):
    return Generator(seed, is_pddl).generate()


# ----- what a problem holds ---------------------------------------------------------------------


def window_shape(c):
    return ("(" if c.left_open else "[") + (")" if c.right_open else "]")


def expressions_of(problem):
    for action in problem.actions.values():
        yield from (e for _, e in action.duration)
        yield from (c.body for c in action.conditions)
        for e in action.effects:
            yield from (e.value, *e.arguments)
    for e in problem.timed:
        yield from (e.value, *e.arguments)
    yield from (c.body for c in problem.goals)


def features_of(generated):
    problem, found = generated.problem, set()
    for action in problem.actions.values():
        if not action.duration:
            found.add("no duration")
        for relation, bound in action.duration:
            if relation in ("<", ">", "<=", ">="):
                found.add("open duration" if relation in "<>" else "closed duration")
            kinds = {x[0] for x in subexpressions(bound)}
            if bound[0] == "rat" and (bound[1] * 100).denominator != 1:
                found.add("duration of three decimals")
            if bound[0] in ("int", "rat") and bound[1] > 10000:
                found.add("large time")
            if bound[0] == "/":
                found.add("duration by a quotient")
                if bound[1][0] == "rat":
                    found.add("duration in sevenths")
            for kind in ("constant", "fluent"):
                if kind in kinds:
                    found.add(f"duration reads a {kind}")
        for c in action.conditions:
            found.add(f"{c.kind} in an action")
            if c.kind == "window":
                found.add(f"action window {window_shape(c)}")
            if c.left.offset or c.right.offset:
                found.add("condition at an inner time")
        slots = [(e.time, e.fluent) for e in action.effects]
        if len(set(slots)) < len(slots):
            found.add("two effects on one fluent at one time")
        if len({f for _, f in slots}) < len(set(slots)):
            found.add("two effects on one fluent at two times")
        if any(e.time.offset for e in action.effects):
            found.add("effect at an inner time")
        if any(e.time.anchor == "start" and e.time.offset >= 5 for e in action.effects):
            found.add("late effect")
        if len(things_of(action)) == 2:
            found.add("two parameters")
        if len(things_of(action)) < len(action.parameters):
            found.add("number parameter")
    for c in problem.goals:
        found.add(f"goal: {c.kind}")
        if c.kind == "window":
            found.add(f"goal window {window_shape(c)}")
        if c.left.anchor == "end" and c.left.offset:
            found.add("goal before the end")
        if c.kind != "point" and c.right.anchor == "absolute" and c.right.offset >= 25:
            found.add("long goal window")
    for e in problem.timed:
        found.add("timed effect at the end" if e.time.anchor == "end" else "timed effect")
        if any(x[0] == "fluent" for a in e.arguments for x in subexpressions(a)):
            found.add("timed effect with an argument of the state")
        if e.value[0] == "fluent" or len(e.value) == 3:
            found.add("timed effect reads the state")
    if any(x[0] == "fluent" for _, _, value in problem.initial for x in subexpressions(value)):
        found.add("first value reads others")
    for action in problem.actions.values():
        for e in action.effects:
            if any(x[0] == "fluent" for a in e.arguments for x in subexpressions(a)):
                found.add("effect with an argument of the state")
            if ("duration",) in subexpressions(e.value):
                found.add("effect reads the duration")
    for top in expressions_of(problem):
        for x in subexpressions(top):
            if x[0] == "/":
                is_whole = x[1][0] == "int" or x[1] == ("constant", "k", ()) or (
                    x[1][0] == "fluent" and problem.fluents[x[1][1]].type.kind == "integer")
                found.add("quotient of integers" if is_whole and x[2][0] == "int"
                          else "exact quotient")
            if x[0] in ("fluent", "constant"):
                if any(y[0] == "fluent" for a in x[2] for y in subexpressions(a)):
                    found.add("argument of the state")
            if x[0] == "/" and any(y[0] == "constant" for y in x[1:]):
                found.add("constant in a quotient")
            if x[0] == "constant":
                found.add("constant table" if x[2] else "constant")
            if x[0] in ("or", "implies"):
                found.add("disjunction")
    for name, arguments, value in problem.initial:
        if problem.fluents[name].type.kind == "float" and value[0] == "int":
            found.add("float holds an integer")
    if any(f.type.low is not None for f in problem.fluents.values()):
        found.add("bounded fluent")
    if problem.orderings:
        found.add("label ordering")
    if generated.is_structured:
        found.add("structured type")
    if generated.witness:
        found.add("known plan")
        names = [line.split(": ")[1].split("(")[0] for line in generated.witness.splitlines()]
        if len(set(names)) < len(names):
            found.add("one action twice")
        if names:
            found.add("known plan with steps")
        else:
            found.add("known plan without steps")
    return found
