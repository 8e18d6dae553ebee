"""LTL modules as `convert-to --target ltl` writes them, on the run that a plan induces.

A run is a list of states, the last of which stands for ever. A state gives each variable of the module
a value. What a plan does not tell is filled in as the rules of the module allow: times of executions
are known from behind the one before, and the end of time is one unit behind everything.
"""

import re
from fractions import Fraction

from language import read

VARIABLE = re.compile(r"  (\w+) : (boolean|real|integer);")


class LtlModule:
    def __init__(self, text):
        lines = text.splitlines()
        if lines[:2] != ["MODULE main", "VAR"] or lines[-3] != "LTLSPEC" or lines[-1] != ";":
            raise ValueError("not a module with one property")
        self.variables = {}
        for line in lines[2:-3]:
            match = VARIABLE.fullmatch(line)
            if not match:
                raise ValueError(f"cannot read the line '{line}'")
            self.variables[match.group(1)] = match.group(2)
        self.formula = read(lines[-2])

    def holds(self, states):
        for state in states:
            if set(state) != set(self.variables):
                raise ValueError(f"other variables: {set(state) ^ set(self.variables)}")
        return Evaluation(states).values(self.formula)[0]


class Evaluation:
    """Values of a formula in all states at once, each subformula once."""

    def __init__(self, states):
        self.states = states
        self.known = {}

    def values(self, e):
        key = id(e)  # the formula stays, and so do its parts
        if key not in self.known:
            self.known[key] = self.compute(e)
        return self.known[key]

    def compute(self, e):
        kind = e[0]
        if kind == "name":
            return [s[e[1]] for s in self.states]
        if kind in ("number", "bool"):
            return [e[1]] * len(self.states)
        a = self.values(e[1])
        if kind in ("next", "X"):
            return a[1:] + a[-1:]
        if kind in ("G", "F"):
            result, last = [], kind == "G"
            for x in reversed(a):
                last = (x and last) if kind == "G" else (x or last)
                result.append(last)
            return result[::-1]
        if kind == "not":
            return [not x for x in a]
        if kind == "negative":
            return [-x for x in a]
        b = self.values(e[2])
        if kind == "until":
            result, last = [], False
            for x, y in zip(reversed(a), reversed(b)):
                last = y or (x and last)
                result.append(last)
            return result[::-1]
        return [OPERATORS[kind](x, y) for x, y in zip(a, b)]


OPERATORS = {
    "and": lambda a, b: a and b, "or": lambda a, b: a or b, "implies": lambda a, b: not a or b,
    "==": lambda a, b: a == b, "!=": lambda a, b: a != b, "<": lambda a, b: a < b,
    "<=": lambda a, b: a <= b, ">": lambda a, b: a > b, ">=": lambda a, b: a >= b,
    "+": lambda a, b: a + b, "-": lambda a, b: a - b, "*": lambda a, b: a * b,
}


class Untellable(Exception):
    """The plan has no run in the module, whatever it does: the text says why."""


def at(time, start, end):
    if time.anchor == "absolute":
        return time.offset
    return (start if time.anchor == "start" else end) + time.offset


def number_of(problem, value):
    """Objects are numbered in the order of the names of all objects."""
    if isinstance(value, str):
        return sorted(o for names in problem.objects.values() for o in names).index(value)
    return value


def executions_of(problem, steps):
    """By action its executions (start, end) in their order."""
    executions = {name: [] for name in problem.actions}
    for start, name, _, duration in sorted(steps, key=lambda s: s[0]):
        if start <= 0:
            raise Untellable("a step at time 0")
        if duration <= 0:
            raise Untellable("a step without a duration")
        if executions[name] and executions[name][-1][1] >= start:
            raise Untellable("an action that meets itself")
        executions[name].append((start, start + duration))
    return executions


def run_of(problem, steps):
    """The states of a plan. Values of effects are constants; of two at one time the later one stays."""
    executions = executions_of(problem, steps)
    effects = [(at(e.time, Fraction(0), None), e) for e in problem.timed]
    marks = {Fraction(0)}
    for name, intervals in executions.items():
        for start, end in intervals:
            marks |= {start, end}
            effects += [(at(e.time, start, end), e) for e in problem.actions[name].effects]
    marks |= {t for t, _ in effects}
    add_rests(executions, marks)
    last = max(marks)
    bounds = [at(t, Fraction(0), Fraction(0)) for c in problem.goals for t in (c.left, c.right)
              if t.anchor != "end"]
    end_of_time = max([last, *bounds]) + 1

    values = {name: number_of(problem, value[1]) for name, _, value in problem.initial}
    states = []
    for time in sorted(marks) + [end_of_time]:
        for t, e in effects:
            if t == time:
                values[e.fluent] = number_of(problem, e.value[1])
        state = {**values, "t__": time, "end_of_time__": end_of_time}
        for name, intervals in executions.items():
            # An execution is known as soon as the one before is over.
            known = next((i for i in intervals if i[1] >= time), None)
            start, end = known if known else (Fraction(0), Fraction(0))
            state[name] = known is not None and start <= time
            state[f"start_{name}__"], state[f"duration_{name}__"] = start, end - start
        states.append(state)
    return states


def add_rests(executions, marks):
    """An action is still on in the state of its end, so that before it starts again there has to be
    a state in which it is not."""
    for intervals in executions.values():
        for (_, end), (start, _) in zip(intervals, intervals[1:]):
            if not any(end < t < start for t in marks):
                marks.add((end + start) / 2)


def has_idle_step(states):
    """Whether before the end there is a step in which neither a fluent nor an action changes."""
    def shown(state):
        return {k: v for k, v in state.items()
                if not k.startswith(("start_", "duration_")) and k != "t__"}

    return any(shown(a) == shown(b) for a, b in zip(states, states[1:])
               if b["t__"] < b["end_of_time__"])
