"""Makes a problem smaller as long as it shows the same fault."""

import copy

from dataclasses import replace

from meaning import Unclear, fault_of
from problem import END, START, subexpressions


def smaller_expressions(e):
    if e[0] in ("and", "or", "implies"):
        yield from e[1:]
        for i in (1, 2):
            for child in smaller_expressions(e[i]):
                yield (*e[:i], child, *e[i + 1:])
    elif e[0] == "not":
        yield e[1]
    elif e[0] in ("+", "-", "*", "/"):
        yield from e[1:]


def smaller_conditions(c):
    for body in smaller_expressions(c.body):
        yield replace(c, body=body)
    if c.left_open or c.right_open:
        yield replace(c, left_open=False, right_open=False)
    if c.kind != "point" and (c.left, c.right) != (START, END):
        yield replace(c, left=START)
        yield replace(c, right=END)


def variants(problem):
    """Problems with one thing less, each as a copy."""

    def less(make_list):
        for i in range(len(make_list(problem))):
            copied = copy.deepcopy(problem)
            del make_list(copied)[i]
            yield copied

    def changed(make_list, options):
        for i, item in enumerate(make_list(problem)):
            for option in options(item):
                copied = copy.deepcopy(problem)
                make_list(copied)[i] = option
                yield copied

    for name in problem.actions:
        copied = copy.deepcopy(problem)
        del copied.actions[name]
        yield copied
    for name in problem.actions:
        for part in ("conditions", "effects"):
            yield from less(lambda p, n=name, x=part: getattr(p.actions[n], x))
        if len(problem.actions[name].duration) > 1:
            yield from less(lambda p, n=name: p.actions[n].duration)
    yield from less(lambda p: p.timed)
    if not problem.orderings and len(problem.goals) > 1:
        yield from less(lambda p: p.goals)
    if problem.orderings:
        copied = copy.deepcopy(problem)
        copied.orderings = []
        copied.goals = [replace(g, label="") for g in copied.goals]
        yield copied
    for name in list(problem.fluents):
        copied = copy.deepcopy(problem)
        del copied.fluents[name]
        copied.initial = [i for i in copied.initial if i[0] != name]
        yield copied
    if problem.constants:
        copied = copy.deepcopy(problem)
        copied.constants, copied.entries = {}, []
        yield copied
    for name, action in problem.actions.items():
        for i in range(len(action.parameters)):
            copied = copy.deepcopy(problem)
            copied.actions[name].parameters = action.parameters[:i] + action.parameters[i + 1:]
            yield copied
    for name in problem.actions:
        yield from changed(lambda p, n=name: p.actions[n].conditions, smaller_conditions)
        yield from changed(lambda p, n=name: p.actions[n].duration,
                           lambda d: [(":=", ("int", 2))] if d[1][0] != "int" else
                           [(":=", d[1])] if d[0] != ":=" else [])
        yield from changed(lambda p, n=name: p.actions[n].effects,
                           lambda e: [replace(e, time=START), replace(e, time=END)]
                           if e.time.offset else [])
    yield from changed(lambda p: p.goals, smaller_conditions)


def is_closed(problem):
    """Whether all names that are used are still declared."""
    expressions = [c.body for c in problem.goals]
    for e in problem.timed:
        expressions += [e.value, ("fluent", e.fluent, e.arguments)]
    for name, arguments, value in problem.initial:
        expressions += [value, ("fluent", name, arguments)]
    for _, arguments, value in problem.entries:
        expressions += [value, *arguments]
    inner = list(expressions)
    for action in problem.actions.values():
        own = [b for _, b in action.duration] + [c.body for c in action.conditions]
        for e in action.effects:
            own += [e.value, ("fluent", e.fluent, e.arguments)]
        names = {n for n, _ in action.parameters}
        if any(x[0] == "param" and x[1] not in names for e in own for x in subexpressions(e)):
            return False
        if not action.effects:
            return False
        inner += own
    known = {"fluent": problem.fluents, "constant": problem.constants}
    return all(x[1] in known[x[0]] for e in inner for x in subexpressions(e) if x[0] in known)


def shrink(generated, has_fault):
    """`has_fault` is asked of problems like `generated` with another problem inside."""
    progress = True
    while progress:
        progress = False
        for problem in variants(generated.problem):
            if problem == generated.problem or not is_closed(problem) or not problem.goals:
                continue
            smaller = replace(generated, problem=problem)
            try:
                if smaller.witness and fault_of(problem, smaller.witness, smaller.is_pddl):
                    smaller.witness = ""
            except (Unclear, KeyError):
                smaller.witness = ""
            if has_fault(smaller):
                generated, progress = smaller, True
                break
    return generated
