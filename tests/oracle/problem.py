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


def text(e):
    kind = e[0]
    if kind in ("int", "obj", "param"):
        return str(e[1])
    if kind == "rat":
        return decimal(e[1])
    if kind == "bool":
        return "true" if e[1] else "false"
    if kind == "duration":
        return "duration"
    if kind in ("fluent", "constant"):
        return e[1] + (f"({', '.join(map(text, e[2]))})" if e[2] else "")
    if kind == "not":
        return f"(not {text(e[1])})"
    assert kind in BINARY, e
    return f"({text(e[1])} {kind} {text(e[2])})"


def time_text(time):
    if time.anchor == "absolute":
        return number_text(time.offset)
    if time.offset == 0:
        return time.anchor
    return f"{time.anchor} {'+' if time.offset > 0 else '-'} {number_text(abs(time.offset))}"


def condition_text(c):
    if c.kind == "point":
        return f"[{time_text(c.left)}] {text(c.body)};"
    window = ("(" if c.left_open else "[") + f"{time_text(c.left)}, {time_text(c.right)}" + (
        ")" if c.right_open else "]")
    if c.kind == "contains":
        window += " contains" + (f" {c.label}:" if c.label else "")
    return f"{window} {text(c.body)};"


def effect_text(e):
    return f"[{time_text(e.time)}] {text(('fluent', e.fluent, e.arguments))} := {text(e.value)};"


def anml(problem):
    lines = []
    for type_name, objects in problem.objects.items():
        lines += [f"type {type_name};", f"instance {type_name} {', '.join(objects)};"]
    for word, symbols in (("fluent", problem.fluents), ("constant", problem.constants)):
        for symbol in symbols.values():
            parameters = ", ".join(f"{type_text(t)} a{i}" for i, t in enumerate(symbol.parameters))
            lines.append(f"{word} {type_text(symbol.type)} {symbol.name}"
                         + (f"({parameters});" if parameters else ";"))
    for name, arguments, value in problem.entries:
        shown = [text(a) for a in arguments]
        if len(arguments) < len(problem.constants[name].parameters):
            shown.append("*")
        lines.append(name + (f"({', '.join(shown)})" if shown else "") + f" := {text(value)};")
    for action in problem.actions.values():
        parameters = ", ".join(f"{type_text(t)} {n}" for n, t in action.parameters)
        lines.append(f"action {action.name}({parameters}) {{")
        lines += [f"  duration {relation} {text(e)};" for relation, e in action.duration]
        lines += ["  " + condition_text(c) for c in action.conditions]
        lines += ["  " + effect_text(e) for e in action.effects]
        lines.append("};")
    for name, arguments, value in problem.initial:
        lines.append(f"[start] {text(('fluent', name, arguments))} := {text(value)};")
    lines += [effect_text(e) for e in problem.timed]
    lines += ["goal " + condition_text(c) for c in problem.goals]
    lines += [f"start({a}) < start({b});" for a, b in problem.orderings]
    return "\n".join(lines) + "\n"


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
