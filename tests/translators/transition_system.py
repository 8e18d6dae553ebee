"""Timed transition systems as `convert-to --target smv` writes them: a reader of the text, and an
exploration of all states with clocks that count whole units. In a step time passes, by at least one
unit but for the first step, and then the variables change; clocks stay or are set to zero."""

import re
from fractions import Fraction
from xml.sax.saxutils import quoteattr

from language import Compiler, names_of, read
from timed_automaton import TooMany

VARIABLE = re.compile(r"VAR (\w+) : (boolean|clock|-?\d+\.\.-?\d+|\{[^}]+\});")
RULE = re.compile(r"(INIT|TRANS|INVAR|INVARSPEC) (.*);")


class TransitionSystem:
    def __init__(self, text, grid=1):
        self.grid = grid
        lines = [line for line in text.splitlines() if line]
        if lines[:2] != ["@TIME_DOMAIN continuous", "MODULE main"]:
            raise ValueError("not a timed module")
        if not lines[-1].startswith("INVARSPEC "):
            raise ValueError("the invariant is not at the end")
        domains, self.clocks, constants, rules = {}, set(), {}, []
        for line in lines[2:]:
            if match := VARIABLE.fullmatch(line):
                name, type_ = match.groups()
                if name in domains:
                    raise ValueError(f"{name} is declared twice")
                domains[name] = self.domain(type_)
                if type_ == "clock":
                    self.clocks.add(name)
                elif type_[0] == "{":
                    constants.update((x, x) for x in domains[name])
            elif match := RULE.fullmatch(line):
                rules.append((match.group(1), read(match.group(2))))
            else:
                raise ValueError(f"cannot read the line '{line}'")
        self.order_variables(domains, rules)
        places = {name: i for i, name in enumerate(self.names)}
        self.compiler = Compiler(places, self.clocks, constants, grid)
        self.add_rules(rules, places)
        self.caps = [(places[c], self.compiler.highest.get(c, 0) + 1) for c in self.clocks]
        self.longest = max((cap for _, cap in self.caps), default=1)

    @staticmethod
    def domain(type_):
        if type_ == "boolean":
            return [False, True]
        if type_ == "clock":
            return [0]
        if type_[0] == "{":
            return type_[1:-1].split(", ")
        low, high = type_.split("..")
        return list(range(int(low), int(high) + 1))

    def order_variables(self, domains, rules):
        """What many rules ask for in the next state is decided first: it decides the rest."""
        asked = dict.fromkeys(domains, 0)
        for kind, e in rules:
            for name, _ in {x for x in names_of(e) if x[1]} if kind == "TRANS" else ():
                asked[name] += 1
        self.names = sorted(domains, key=lambda name: -asked[name])
        self.domains = [domains[name] for name in self.names]

    def add_rules(self, rules, places):
        """Each rule is checked as soon as the variables that it reads have values."""
        first_checks = [[] for _ in self.names]
        next_checks = [[] for _ in self.names]
        self.always = []  # rules about the state that is left alone
        self.specification = None
        for kind, e in rules:
            read_now = [places[x] for x, is_next in names_of(e) if x in places and not is_next]
            read_next = [places[x] for x, is_next in names_of(e) if x in places and is_next]
            source = self.compiler.source(e)
            if kind == "TRANS":
                (next_checks[max(read_next)] if read_next else self.always).append(source)
            elif kind == "INVARSPEC":
                self.specification = Compiler.function("s", source)
            else:
                first_checks[max(read_now)].append(source)
                if kind == "INVAR":
                    next_checks[max(read_now)].append(self.compiler.source(e, "n"))
        self.first_checks = [Compiler.function("s", " and ".join(c) or "True") for c in first_checks]
        self.next_checks = [Compiler.function("s, n", " and ".join(c) or "True") for c in next_checks]
        self.may_step = Compiler.function("s", " and ".join(self.always) or "True")

    def first_states(self):
        parts = [()]
        for domain, check in zip(self.domains, self.first_checks):
            parts = [p + (x,) for p in parts for x in domain if check(p + (x,))]
        return parts

    def next_states(self, s):
        if not self.may_step(s):
            return []
        parts = [()]
        for i, (domain, check) in enumerate(zip(self.domains, self.next_checks)):
            if self.names[i] in self.clocks:
                domain = {0, s[i]}
            parts = [n for p in parts for x in domain if check(s, n := p + (x,))]
        return parts

    def delayed(self, s, units):
        result = list(s)
        for place, cap in self.caps:
            result[place] = min(result[place] + units, cap)
        return tuple(result)

    def find(self, most_states):
        """The shortest run (first state, then pairs of delay and state) to a state in which the
        specification does not hold, or None."""
        level = self.first_states()
        parents = dict.fromkeys(level)
        is_first = True
        for s in level:
            if not self.specification(s):
                return [s]
        while level:
            following = []
            for s in level:
                for delay in range(0 if is_first else 1, self.longest + 1):
                    for n in self.next_states(self.delayed(s, delay)):
                        if n in parents:
                            continue
                        parents[n] = (s, delay)
                        following.append(n)
                        if not self.specification(n):
                            return self.way(parents, n)
                        if len(parents) > most_states:
                            raise TooMany()
            level, is_first = following, False
        return None

    @staticmethod
    def way(parents, n):
        steps = []
        while parents[n] is not None:
            s, delay = parents[n]
            steps.append((delay, n))
            n = s
        return [n, *steps[::-1]]

    def trace(self, steps):
        """The run as XML."""
        def node(s, clocks):
            values = "".join(
                f"      <value variable={quoteattr(name)}>"
                f"{str(x).upper() if isinstance(x, bool) else x}</value>\n"
                for name, x in zip(self.names, s) if clocks or name not in self.clocks)
            return f"  <node>\n    <state>\n{values}    </state>\n  </node>\n"

        time, before = Fraction(0), steps[0]
        lines = ['<?xml version="1.0" encoding="UTF-8"?>\n<counter-example>\n', node(before, True)]
        for delay, after in steps[1:]:
            if delay:
                behind = time + Fraction(delay, self.grid)
                lines.append(f"  <transition type=\"timed\" from=\"f'{time}\" to=\"f'{behind}\"/>\n")
                lines.append(node(self.delayed(before, delay), True))
                time = behind
            lines += ['  <transition type="discrete"/>\n', node(after, False)]
            before = after
        return "".join(lines) + "</counter-example>\n"
