"""Planning problems as plain data, and their texts.

The generator makes such problems, the oracle judges plans of them, and only the programs under test
read the texts: so no reader stands between the oracle and what is meant.

Expressions are tuples:

    ("int", 3)  ("rat", Fraction(5, 2))  ("bool", True)  ("obj", "o1")  ("param", "t")
    ("fluent", name, arguments)  ("constant", name, arguments)  ("duration",)
    ("not", e)  (operator, e, e) with one of + - * / == != < <= > >= and or implies
"""

from dataclasses import dataclass, field
from fractions import Fraction

BINARY = ("+", "-", "*", "/", "==", "!=", "<", "<=", ">", ">=", "and", "or", "implies")


@dataclass(frozen=True)
class Type:
    kind: str  # boolean, integer, float, or object
    low: object = None
    high: object = None
    name: str = ""  # of an object type


BOOLEAN, INTEGER, FLOAT = Type("boolean"), Type("integer"), Type("float")


@dataclass(frozen=True)
class Time:
    """`anchor` is start or end of the action, or of the plan for the statements of a problem."""

    anchor: str
    offset: Fraction = Fraction(0)  # behind the start, or from the end: negative if before it


START, END = Time("start"), Time("end")


@dataclass(frozen=True)
class Condition:
    kind: str  # point, window, or contains
    left: Time
    right: Time
    left_open: bool
    right_open: bool
    body: tuple
    label: str = ""


@dataclass(frozen=True)
class Effect:
    time: Time
    fluent: str
    arguments: tuple
    value: tuple


@dataclass(frozen=True)
class Symbol:
    """A fluent or a constant."""

    name: str
    type: Type
    parameters: tuple = ()  # types


@dataclass
class Action:
    name: str
    parameters: tuple = ()  # pairs of name and type
    duration: list = field(default_factory=list)  # pairs of relation and expression
    conditions: list = field(default_factory=list)
    effects: list = field(default_factory=list)


@dataclass
class Problem:
    objects: dict = field(default_factory=dict)  # type name -> object names
    fluents: dict = field(default_factory=dict)  # name -> Symbol
    constants: dict = field(default_factory=dict)
    entries: list = field(default_factory=list)  # (constant, arguments, value); fewer arguments: a default
    initial: list = field(default_factory=list)  # (fluent, arguments, value)
    actions: dict = field(default_factory=dict)
    timed: list = field(default_factory=list)  # effects of the problem
    goals: list = field(default_factory=list)  # conditions
    orderings: list = field(default_factory=list)  # pairs of labels


def fluent(name, *arguments):
    return ("fluent", name, tuple(arguments))


def subexpressions(expression):
    yield expression
    children = expression[2] if expression[0] in ("fluent", "constant") else expression[1:]
    for child in children:
        if isinstance(child, tuple):
            yield from subexpressions(child)


# ----- ANML -------------------------------------------------------------------------------------


def decimal(number):
    """A finite decimal with a point: a rational for every reader."""
    sign, number = ("-" if number < 0 else ""), abs(Fraction(number))
    whole, rest = divmod(number, 1)
    digits = ""
    while rest:
        digit, rest = divmod(rest * 10, 1)
        digits += str(digit)
        assert len(digits) < 30, f"{number} has no finite decimal"
    return f"{sign}{whole}.{digits or '0'}"


def number_text(number):
    return str(number) if Fraction(number).denominator == 1 else decimal(number)


def type_text(type_):
    if type_.kind == "object":
        return type_.name
    if type_.low is None:
        return type_.kind
    write = decimal if type_.kind == "float" else str
    return f"{type_.kind}[{write(type_.low)}, {write(type_.high)}]"


class Members:
    """The same problem told with a structured type: fluents of one object are members of its type,
    and so are actions whose first parameter says no more than whose members they use."""

    def __init__(self, problem):
        kinds = [name for name in problem.objects][:1]
        self.type_name = kinds[0] if kinds else ""
        self.fluents = [f.name for f in problem.fluents.values()
                        if [t.name for t in f.parameters] == [self.type_name]]
        self.actions = [a.name for a in problem.actions.values() if self.is_member(a)]

    def is_member(self, action):
        if not action.parameters or action.parameters[0][1].name != self.type_name:
            return False
        own = ("param", action.parameters[0][0])
        used = [b for _, b in action.duration] + [c.body for c in action.conditions]
        used += [x for e in action.effects
                 for x in (e.value, ("fluent", e.fluent, e.arguments))]
        everything = [x for e in used for x in subexpressions(e)]
        in_members = [x for x in everything if x[0] == "fluent" and x[1] in self.fluents
                      and x[2] == (own,)]
        return len(in_members) == everything.count(own)

    @staticmethod
    def can_tell(problem):
        """Whose member is meant has to be a name, and at least one action is a member."""
        members = Members(problem)
        texts = [e for a in problem.actions.values() for x in a.effects
                 for e in (x.value, ("fluent", x.fluent, x.arguments))]
        texts += [c.body for a in problem.actions.values() for c in a.conditions]
        texts += [c.body for c in problem.goals]
        texts += [e for x in problem.timed for e in (x.value, ("fluent", x.fluent, x.arguments))]
        return bool(members.actions) and not any(
            x[0] == "fluent" and x[1] in members.fluents and x[2][0][0] == "fluent"
            for e in texts for x in subexpressions(e))

    def spoken(self, plan):
        """Steps as `o1.drive(...)`."""
        lines = []
        for line in plan.splitlines(keepends=True):
            if "(" not in line:
                continue
            start, rest = line.split(": ", 1)
            name, rest = rest.split("(", 1)
            if name in self.actions:
                owner, _, others = rest.partition(")")[0].partition(",")
                lines.append(f"{start}: {owner}.{name}({others.strip()}){rest.partition(')')[2]}")
            else:
                lines.append(line)
        return "".join(lines)


def time_text(time):
    if time.anchor == "absolute":
        return number_text(time.offset)
    if time.offset == 0:
        return time.anchor
    return f"{time.anchor} {'+' if time.offset > 0 else '-'} {number_text(abs(time.offset))}"


class AnmlWriter:
    def __init__(self, problem, members=None):
        self.problem = problem
        self.members = members  # if it tells the problem with a structured type
        self.acting = None  # the parameter that is the acting object

    def text(self, e):
        kind = e[0]
        if kind == "fluent" and self.members and e[1] in self.members.fluents:
            owner = e[2][0]
            return e[1] if owner == self.acting else f"{self.text(owner)}.{e[1]}"
        if kind in ("int", "obj", "param"):
            return str(e[1])
        if kind == "rat":
            return decimal(e[1])
        if kind == "bool":
            return "true" if e[1] else "false"
        if kind == "duration":
            return "duration"
        if kind in ("fluent", "constant"):
            return e[1] + (f"({', '.join(map(self.text, e[2]))})" if e[2] else "")
        if kind == "not":
            return f"(not {self.text(e[1])})"
        assert kind in BINARY, e
        return f"({self.text(e[1])} {kind} {self.text(e[2])})"

    def condition(self, c):
        if c.kind == "point":
            return f"[{time_text(c.left)}] {self.text(c.body)};"
        window = ("(" if c.left_open else "[") + f"{time_text(c.left)}, {time_text(c.right)}" + (
            ")" if c.right_open else "]")
        if c.kind == "contains":
            window += " contains" + (f" {c.label}:" if c.label else "")
        return f"{window} {self.text(c.body)};"

    def effect(self, e):
        target = ("fluent", e.fluent, e.arguments)
        return f"[{time_text(e.time)}] {self.text(target)} := {self.text(e.value)};"

    @staticmethod
    def declarations(word, symbols):
        for symbol in symbols:
            parameters = ", ".join(f"{type_text(t)} a{i}" for i, t in enumerate(symbol.parameters))
            yield (f"{word} {type_text(symbol.type)} {symbol.name}"
                   + (f"({parameters});" if parameters else ";"))

    def action(self, action, parameters):
        shown = ", ".join(f"{type_text(t)} {n}" for n, t in parameters)
        return [f"action {action.name}({shown}) {{",
                *(f"  duration {relation} {self.text(e)};" for relation, e in action.duration),
                *("  " + self.condition(c) for c in action.conditions),
                *("  " + self.effect(e) for e in action.effects), "};"]

    def types(self):
        for type_name, objects in self.problem.objects.items():
            if self.members and type_name == self.members.type_name:
                yield f"type {type_name} with {{"
                for name in self.members.fluents:
                    yield f"fluent {type_text(self.problem.fluents[name].type)} {name};"
                for name in self.members.actions:
                    action = self.problem.actions[name]
                    self.acting = ("param", action.parameters[0][0])
                    yield from self.action(action, action.parameters[1:])
                    self.acting = None
                yield "};"
            else:
                yield f"type {type_name};"
            yield f"instance {type_name} {', '.join(objects)};"

    def write(self):
        problem, members = self.problem, self.members
        lines = list(self.types())
        lines += self.declarations("fluent", [f for f in problem.fluents.values()
                                              if not (members and f.name in members.fluents)])
        lines += self.declarations("constant", problem.constants.values())
        for name, arguments, value in problem.entries:
            shown = [self.text(a) for a in arguments]
            if len(arguments) < len(problem.constants[name].parameters):
                shown.append("*")
            shown = f"({', '.join(shown)})" if shown else ""
            lines.append(f"{name}{shown} := {self.text(value)};")
        for action in problem.actions.values():
            if not (members and action.name in members.actions):
                lines += self.action(action, action.parameters)
        for name, arguments, value in problem.initial:
            lines.append(f"[start] {self.text(('fluent', name, arguments))} := {self.text(value)};")
        lines += [self.effect(e) for e in problem.timed]
        lines += ["goal " + self.condition(c) for c in problem.goals]
        lines += [f"start({a}) < start({b});" for a, b in problem.orderings]
        return "\n".join(lines) + "\n"


def anml(problem, structured=False):
    return AnmlWriter(problem, Members(problem) if structured else None).write()


# ----- PDDL -------------------------------------------------------------------------------------


def lisp(e):
    kind = e[0]
    if kind in ("int", "rat"):
        return number_text(e[1])
    if kind == "bool":
        return "(and)" if e[1] else "(or)"
    if kind == "obj":
        return e[1]
    if kind == "param":
        return "?" + e[1]
    if kind == "duration":
        return "?duration"
    if kind == "fluent":
        return f"({' '.join([e[1], *map(lisp, e[2])])})"
    if kind == "not":
        return f"(not {lisp(e[1])})"
    if kind == "!=":
        return f"(not (= {lisp(e[1])} {lisp(e[2])}))"
    assert kind in BINARY and kind != "implies", e
    return f"({'=' if kind == '==' else kind} {lisp(e[1])} {lisp(e[2])})"


def lisp_effect(name, arguments, value, is_fact):
    target = lisp(("fluent", name, arguments))
    if not is_fact:
        return f"(= {target} {lisp(value)})"
    return target if value == ("bool", True) else f"(not {target})"


def pddl(problem):
    """The texts of domain and problem, for problems that keep to what PDDL can say."""
    is_fact = {n: f.type == BOOLEAN for n, f in problem.fluents.items()}

    def declaration(symbol):
        return "(" + symbol.name + "".join(
            f" ?a{i} - {t.name}" for i, t in enumerate(symbol.parameters)) + ")"

    lines = ["(define (domain random)",
             "(:types " + " ".join(problem.objects) + ")",
             "(:predicates " + " ".join(declaration(f) for f in problem.fluents.values()
                                        if is_fact[f.name]) + ")"]
    functions = [declaration(f) for f in problem.fluents.values() if not is_fact[f.name]]
    if functions:
        lines.append("(:functions " + " ".join(functions) + ")")
    for action in problem.actions.values():
        lines.append(f"(:durative-action {action.name} :parameters ("
                     + " ".join(f"?{n} - {t.name}" for n, t in action.parameters) + ")")
        bounds = [f"({'=' if r == ':=' else r} ?duration {lisp(e)})" for r, e in action.duration]
        lines.append("  :duration " + (bounds[0] if len(bounds) == 1 else f"(and {' '.join(bounds)})"))
        conditions = []
        for c in action.conditions:
            when = ("over all" if c.kind == "window" else f"at {c.left.anchor}")
            conditions.append(f"({when} {lisp(c.body)})")
        lines.append(f"  :condition (and {' '.join(conditions)})")
        effects = [f"(at {e.time.anchor} "
                   + lisp_effect(e.fluent, e.arguments, e.value, is_fact[e.fluent]) + ")"
                   for e in action.effects]
        lines.append(f"  :effect (and {' '.join(effects)}))")
    domain = "\n".join(lines) + "\n)\n"
    lines = ["(define (problem random1) (:domain random)", "(:objects "
             + " ".join(f"{' '.join(names)} - {t}" for t, names in problem.objects.items()) + ")",
             "(:init"]
    for name, arguments, value in problem.initial:
        if not is_fact[name] or value == ("bool", True):
            lines.append("  " + lisp_effect(name, arguments, value, is_fact[name]))
    for e in problem.timed:
        lines.append(f"  (at {number_text(e.time.offset)} "
                     + lisp_effect(e.fluent, e.arguments, e.value, is_fact[e.fluent]) + ")")
    lines += [")", "(:goal (and " + " ".join(lisp(g.body) for g in problem.goals) + "))", ")"]
    return domain, "\n".join(lines) + "\n"
