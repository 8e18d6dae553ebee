"""What a plan means, written down as slowly and as plainly as possible.

Time is a rational number, and values change only at instants. What holds at time t is what all
effects at times before t have left: everything that happens at t, conditions and right-hand sides
alike, reads that; then all effects of t take place together.
"""

import re
from fractions import Fraction

from problem import Time, subexpressions

EPSILON = Fraction(1, 100)


class Invalid(Exception):
    """The plan breaks a rule; the text says which."""


class Unclear(Exception):
    """The meaning leaves this open: nobody is wrong here."""


# ----- plans ------------------------------------------------------------------------------------

STEP = re.compile(r"^\s*([0-9./]+)\s*:\s*(?:(\w+)\.)?(\w+)\s*\(([^)]*)\)\s*(?:\[\s*([0-9./]+)\s*\])?\s*$")


def read_plan(plan_text):
    """Steps (start, action, arguments, duration) of a plan as it is printed."""
    steps = []
    for line in plan_text.splitlines():
        if not line.strip() or line.lstrip().startswith(";"):
            continue
        match = STEP.match(line)
        if not match:
            raise Invalid(f"cannot read the line '{line}'")
        start, owner, name, arguments, duration = match.groups()
        names = [owner] if owner else []  # whose action it is
        names += [a.strip() for a in arguments.split(",")] if arguments.strip() else []
        steps.append((Fraction(start), name, names, Fraction(duration or 0)))
    return steps


def write_plan(steps):
    return "".join(f"{start}: {name}({', '.join(arguments)}) [{duration}]\n"
                   for start, name, arguments, duration in steps)


# ----- values -----------------------------------------------------------------------------------


def fits(value, type_, objects):
    if type_.kind == "boolean":
        return isinstance(value, bool)
    if type_.kind == "object":
        return value in objects.get(type_.name, ())
    if isinstance(value, (bool, str)):
        return False
    if type_.kind == "integer" and value != int(value):
        return False
    return type_.low is None or type_.low <= value <= type_.high


def stored(value, type_):
    """An integer becomes a rational where rationals are kept. Integers are of type int here and
    rationals of type Fraction, and nothing but this decides what a quotient is."""
    return Fraction(value) if type_.kind == "float" else value


class World:
    """The problem with its constants worked out, and how expressions are evaluated in it."""

    def __init__(self, problem):
        self.problem = problem
        self.open_constants = set()

    def argument_key(self, symbol, arguments):
        for value, type_ in zip(arguments, symbol.parameters, strict=True):
            if not fits(value, type_, self.problem.objects):
                raise Invalid(f"{value} is no argument of {symbol.name}")
        return (symbol.name, *arguments)

    def constant(self, name, arguments):
        symbol = self.problem.constants[name]
        self.argument_key(symbol, arguments)
        best = None
        for entry_name, entry_arguments, value in self.problem.entries:
            prefix = tuple(self.value(a, {}, {}) for a in entry_arguments)
            if entry_name == name and arguments[:len(prefix)] == prefix:
                if best is None or len(prefix) > len(best[0]):
                    best = (prefix, value)
        if best is None:
            raise Invalid(f"{name}{arguments} has no value")
        if (name, arguments) in self.open_constants:
            raise Invalid(f"{name}{arguments} reads itself")
        self.open_constants.add((name, arguments))
        result = stored(self.value(best[1], {}, {}), symbol.type)
        self.open_constants.remove((name, arguments))
        return result

    def value(self, e, state, names):
        """`names` gives parameters and the duration."""
        kind = e[0]
        if kind in ("int", "rat", "bool", "obj"):
            return e[1]
        if kind == "param":
            return names[e[1]]
        if kind == "duration":
            return names["duration"]
        if kind in ("fluent", "constant"):
            arguments = tuple(self.value(a, state, names) for a in e[2])
            if kind == "constant":
                return self.constant(e[1], arguments)
            key = self.argument_key(self.problem.fluents[e[1]], arguments)
            if key not in state:
                raise Invalid(f"{key} is read without a value")
            return state[key]
        if kind == "not":
            return not self.value(e[1], state, names)
        a, b = (self.value(x, state, names) for x in e[1:])
        return OPERATORS[kind](a, b)

    def holds(self, e, state, names):
        result = self.value(e, state, names)
        assert isinstance(result, bool), (e, result)
        return result

    def initial_state(self):
        """What reads other fluents waits until they have values."""
        state, waiting = {}, list(self.problem.initial)
        while waiting:
            later = []
            for name, arguments, value in waiting:
                symbol = self.problem.fluents[name]
                key = self.argument_key(symbol, tuple(self.value(a, {}, {}) for a in arguments))
                if key in state:
                    raise Invalid(f"{key} has two first values")
                try:
                    first = stored(self.value(value, state, {}), symbol.type)
                except Invalid:
                    later.append((name, arguments, value))
                    continue
                if not fits(first, symbol.type, self.problem.objects):
                    raise Invalid(f"{key} starts outside its type")
                state[key] = first
            if len(later) == len(waiting):
                raise Invalid("first values that cannot be given")
            waiting = later
        return state


def quotient(a, b):
    if b == 0:
        raise Invalid("division by zero")
    if isinstance(a, int) and isinstance(b, int):
        cut = abs(a) // abs(b)
        return cut if (a < 0) == (b < 0) else -cut
    return Fraction(a) / b


OPERATORS = {
    "+": lambda a, b: a + b, "-": lambda a, b: a - b, "*": lambda a, b: a * b, "/": quotient,
    "==": lambda a, b: a == b, "!=": lambda a, b: a != b, "<": lambda a, b: a < b,
    "<=": lambda a, b: a <= b, ">": lambda a, b: a > b, ">=": lambda a, b: a >= b,
    "and": lambda a, b: a and b, "or": lambda a, b: a or b, "implies": lambda a, b: not a or b,
}


# ----- the run of a plan ------------------------------------------------------------------------


def changes_by_amount(effect):
    """In PDDL such effects of one instant add up: they are what `increase` and `decrease` say."""
    target = ("fluent", effect.fluent, effect.arguments)
    return effect.value[0] in ("+", "-") and effect.value[1] == target


class Run:
    """The states that a plan goes through. `validity()` says what is wrong with the plan."""

    def __init__(self, problem, steps, is_pddl=False):
        self.world = World(problem)
        self.is_pddl = is_pddl
        self.problem = problem
        self.steps = [self.checked_step(step) for step in steps]
        last = Fraction(0)
        for start, end, action, names in self.steps:
            last = max([last, end] + [self.at(e.time, start, end) for e in action.effects])
        self.end = last + 1
        self.simulate()

    def checked_step(self, step):
        start, name, words, duration = step
        action = self.problem.actions.get(name)
        if action is None:
            raise Invalid(f"no action {name}")
        if len(words) != len(action.parameters):
            raise Invalid(f"{name} has another number of arguments")
        names = {"duration": duration}
        for word, (parameter, type_) in zip(words, action.parameters):
            value = self.read_argument(word)
            if not fits(value, type_, self.problem.objects):
                raise Invalid(f"{word} is no {type_.kind} {type_.name} for {name}")
            names[parameter] = stored(value, type_)
        return start, start + duration, action, names

    @staticmethod
    def read_argument(word):
        if word in ("true", "false"):
            return word == "true"
        if word[0].isdigit():
            number = Fraction(word)
            return int(number) if number.denominator == 1 else number
        return word

    @staticmethod
    def at(time, start, end):
        if time.anchor == "absolute":
            return time.offset
        return (start if time.anchor == "start" else end) + time.offset

    def simulate(self):
        """All states, each with the instant from which on it stands: first the one at 0."""
        happenings = []
        for start, end, action, names in self.steps:
            happenings += [(self.at(e.time, start, end), e, names) for e in action.effects]
        happenings += [(self.at(e.time, Fraction(0), self.end), e, {}) for e in self.problem.timed]
        for instant, effect, _ in happenings:
            if instant < 0:
                raise Invalid(f"an effect on {effect.fluent} before time 0")
        state = self.world.initial_state()
        self.changes = []  # (instant, state behind it), by time
        self.first = state
        for instant in sorted({h[0] for h in happenings}):
            before, state = state, dict(state)
            written = {}
            for _, effect, names in (h for h in happenings if h[0] == instant):
                symbol = self.problem.fluents[effect.fluent]
                arguments = tuple(self.world.value(a, before, names) for a in effect.arguments)
                key = self.world.argument_key(symbol, arguments)
                is_change = self.is_pddl and changes_by_amount(effect)
                if key in written and not (written[key] and is_change):
                    raise Invalid(f"two effects on {key} at {instant}")
                value = stored(self.world.value(effect.value, before, names), symbol.type)
                if key in written:  # amounts add up
                    value += state[key] - before[key]
                written[key] = is_change
                if not fits(value, symbol.type, self.problem.objects):
                    raise Invalid(f"{key} leaves its bounds at {instant}")
                state[key] = value
            self.changes.append((instant, state))

    def state_at(self, t):
        state = self.first
        for instant, behind in self.changes:
            if instant < t:
                state = behind
        return state

    def pieces(self, c, start, end):
        """The times of a window in pieces on which nothing changes: (from, from itself counts,
        to, to itself counts, state)."""
        left, right = self.at(c.left, start, end), self.at(c.right, start, end)
        if min(left, right) < 0:
            raise Unclear("a window that begins before time 0")
        if left > right or (left == right and (c.left_open or c.right_open)):
            return []
        if left == right:
            return [(left, True, right, True, self.state_at(left))]
        # At an instant the state from before still stands, so pieces contain their right ends.
        cuts = [left] + [i for i, _ in self.changes if left < i < right] + [right]
        result = []
        if not c.left_open:
            result.append((left, True, left, True, self.state_at(left)))
        for a, b in zip(cuts, cuts[1:]):
            result.append((a, False, b, b < right or not c.right_open, self.state_at(b)))
        return result

    def good_pieces(self, c, start, end, names):
        """Where the condition of a `contains` holds. Whether it may be without a value elsewhere in
        its window is open."""
        good, fault = [], None
        for piece in self.pieces(c, start, end):
            try:
                if self.world.holds(c.body, piece[4], names):
                    good.append(piece)
            except Invalid as found:
                fault = found
        if fault is not None and good:
            raise Unclear(str(fault))
        if fault is not None:
            raise fault
        return good

    def check(self, c, start, end, names, owner):
        if c.kind == "point":
            instant = self.at(c.left, start, end)
            if instant < 0:
                raise Unclear("a condition before time 0")
            if not self.world.holds(c.body, self.state_at(instant), names):
                raise Invalid(f"a condition of {owner} fails at {instant}")
            return
        pieces = self.pieces(c, start, end)
        if c.kind == "contains":
            if not pieces:
                raise Unclear("a contains over an empty window")
            if not self.good_pieces(c, start, end, names):
                raise Invalid(f"a contains of {owner} is never met")
            return
        for left, _, right, _, state in pieces:
            if not self.world.holds(c.body, state, names):
                raise Invalid(f"a window of {owner} fails between {left} and {right}")

    def check_duration(self, start, end, action, names):
        state = self.state_at(start)
        for relation, bound in action.duration:
            relation = "==" if relation == ":=" else relation
            if not OPERATORS[relation](end - start, self.world.value(bound, state, names)):
                raise Invalid(f"a bound of {action.name} on its duration")

    def check_orderings(self):
        """Times can be chosen for the labels. Given one ordering behind the other in a chain, the
        earliest choices are the best, and they can be approached as closely as one likes."""
        windows = {}
        for c in self.problem.goals:
            if c.label:
                windows[c.label] = self.good_pieces(c, Fraction(0), self.end, {})
        earliest = {}
        for _ in windows:  # as many rounds as a chain can be long
            for label, pieces in windows.items():
                after = max((earliest[a] for a, b in self.problem.orderings
                             if b == label and a in earliest), default=None)
                times = [left if after is None else max(left, after)
                         for left, _, right, _, _ in pieces if after is None or right > after]
                if not times:
                    raise Invalid(f"no time for the label {label} in its order")
                earliest[label] = min(times)

    def instants(self):
        """Times at which something happens or is asked."""
        found = {Fraction(0)} | {i for i, _ in self.changes}
        for start, end, action, _ in self.steps:
            found |= {start, end}
            for c in action.conditions:
                found |= {self.at(c.left, start, end), self.at(c.right, start, end)}
        for c in self.problem.goals:
            found |= {self.at(c.left, Fraction(0), self.end), self.at(c.right, Fraction(0), self.end)}
        return sorted(t for t in found if t >= 0)

    def validate(self):
        for start, end, action, names in self.steps:
            self.check_duration(start, end, action, names)
            for condition in action.conditions:
                self.check(condition, start, end, names, action.name)
        for goal in self.problem.goals:
            self.check(goal, Fraction(0), self.end, {}, "the problem")
        self.check_orderings()


# ----- no moving targets ------------------------------------------------------------------------


def touched(run, step):
    """For start and end of a step: its time, what is read, written and changed by an amount."""
    start, end, action, names = step

    def reads(e):
        return {(x[1], *(run.world.value(a, {}, names) for a in x[2]))
                for x in subexpressions(e) if x[0] == "fluent"}

    result = {"start": (start, set(), set(), set()), "end": (end, set(), set(), set())}
    for _, bound in action.duration:
        result["start"][1].update(reads(bound))
    for c in action.conditions:
        if c.kind == "point":
            result[c.left.anchor][1].update(reads(c.body))
    for e in action.effects:
        _, read, written, changed = result[e.time.anchor]
        is_change = changes_by_amount(e)
        (changed if is_change else written).update(reads(("fluent", e.fluent, e.arguments)))
        read.update(reads(e.value[2] if is_change else e.value))
    return result.values()


def meet(one, other):
    """What one happening may not do as long as the other one reads, writes or changes it."""
    _, read, written, changed = one
    _, other_read, other_written, other_changed = other
    return written & (other_read | other_written | other_changed) | (
        changed & (other_read | other_written))


def check_moving_targets(run, epsilon):
    for i, one in enumerate(run.steps):
        for other in run.steps[:i]:
            for a in touched(run, one):
                for b in touched(run, other):
                    targets = meet(a, b) | meet(b, a)
                    if targets and abs(a[0] - b[0]) < epsilon:
                        raise Invalid(f"{targets} is a moving target at {a[0]}")


def fault_of(problem, plan_text, is_pddl=False, epsilon=EPSILON):
    """What is wrong with the plan, "" if it is valid. May raise Unclear."""
    try:
        run = Run(problem, read_plan(plan_text), is_pddl)
        run.validate()
        if is_pddl:
            check_moving_targets(run, epsilon)
    except Invalid as fault:
        return str(fault) or "invalid"
    return ""


__all__ = ["EPSILON", "Invalid", "Run", "Time", "Unclear", "fault_of", "read_plan", "write_plan"]
