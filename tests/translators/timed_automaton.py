"""Timed automata as `convert-to --target uppaal` writes them: a reader of the text, and an exploration
of all states with clocks that count whole units. Delays in locations that are not urgent are at least
one unit, or none: the smallest time that passes in a run is a unit."""

import re

from language import Compiler, read

DECLARATION = re.compile(r"(bool|int\[-?\d+,-?\d+\]) (\w+) = ([^;]+);|clock (\w+);")
LIST = re.compile(r"(state|urgent|init) ([^;]+);")
EDGE = re.compile(r"(\w+) -> (\w+) \{ (?:guard ([^;]+);)? ?(?:assign ([^;]+);)? \}[,;]")


class TooMany(Exception):
    """The exploration has met more states than it may."""


class Edge:
    def __init__(self, target, guard, assignments):
        self.target, self.guard, self.assignments = target, guard, assignments


class TimedAutomaton:
    def __init__(self, text, query, grid=1):
        if query.strip() != "E<> MODEL.l_goal":
            raise ValueError(f"another query: {query}")
        self.grid = grid
        self.names, self.first, self.ranges, self.clocks = [], [], {}, set()
        self.edges, self.lists, edge_texts = {}, {}, []
        lines = [line for line in text.splitlines() if line]
        if lines[0] != "process MODEL() {" or lines[-2:] != ["}", "system MODEL;"]:
            raise ValueError("not a process")
        for line in lines[1:-2]:
            if match := DECLARATION.fullmatch(line):
                self.declare(*match.groups())
            elif match := EDGE.fullmatch(line):
                edge_texts.append(match.groups())
            elif match := LIST.fullmatch(line):
                self.lists[match.group(1)] = match.group(2).split(", ")
            elif line != "trans":
                raise ValueError(f"cannot read the line '{line}'")
        if not lines[-3].endswith(";") or any(x.endswith("};") for x in lines[:-3]):
            raise ValueError("the list of edges does not end once")
        places = {name: i for i, name in enumerate(self.names)}
        if len(places) != len(self.names):
            raise ValueError("a name is declared twice")
        self.compiler = Compiler(places, self.clocks, grid=grid)
        for source, target, guard, assign in edge_texts:
            self.add_edge(source, target, guard, assign)
        unknown = {e.target for es in self.edges.values() for e in es} | set(self.edges)
        if unknown - set(self.lists["state"]):
            raise ValueError(f"no locations: {unknown}")
        self.caps = [(places[c], self.compiler.highest.get(c, 0) + 1) for c in self.clocks]
        self.longest = max((cap for _, cap in self.caps), default=1)

    def declare(self, type_, name, value, clock):
        if clock:
            self.clocks.add(clock)
            name, value = clock, "0"
        elif type_ != "bool":
            low, high = type_[4:-1].split(",")
            self.ranges[name] = (int(low), int(high))
        self.names.append(name)
        first = eval(Compiler({}).source(read(value)))  # pylint: disable=eval-used
        if name in self.ranges and not self.ranges[name][0] <= first <= self.ranges[name][1]:
            raise ValueError(f"{name} begins outside its range")
        self.first.append(first)

    def add_edge(self, source, target, guard, assign):
        condition = Compiler.function("s", self.compiler.source(read(guard))) if guard else None
        assignments = []
        for text in (assign or "").split(", "):
            if text:
                name, value = text.split(" := ", 1)
                place = self.compiler.places[name]
                if name in self.clocks and value != "0":
                    raise ValueError(f"a clock is set to {value}")
                function = Compiler.function("s", self.compiler.source(read(value)))
                assignments.append((place, function, self.ranges.get(name)))
        self.edges.setdefault(source, []).append(Edge(target, condition, assignments))

    def after(self, edge, values):
        """The values behind an edge; one assignment follows the other."""
        if not edge.assignments:
            return values
        values = list(values)
        for place, function, allowed in edge.assignments:
            value = function(values)
            if allowed and not allowed[0] <= value <= allowed[1]:
                raise ValueError(f"{self.names[place]} is set to {value}")
            values[place] = value
        return tuple(values)

    def delayed(self, values, units):
        result = list(values)
        for place, cap in self.caps:
            result[place] = min(result[place] + units, cap)
        return tuple(result)

    def round(self, location, values):
        """What can be reached by urgent locations: (location, values) -> (previous, edge), with all
        that is met on the way."""
        urgent = set(self.lists["urgent"])
        met = {(location, values): None}
        todo = [(location, values)]
        while todo:
            now = todo.pop()
            for edge in self.edges.get(now[0], ()):
                if edge.guard is not None and not edge.guard(now[1]):
                    continue
                behind = (edge.target, self.after(edge, now[1]))
                if behind not in met:
                    met[behind] = (now, edge)
                    if edge.target in urgent:
                        todo.append(behind)
        return met

    def find(self, most_states):
        """The shortest way to the goal location as a list of steps (delay, edges), or None."""
        start = (self.lists["init"][0], tuple(self.first))
        parents = {start: None}
        level = [start]
        while level:
            following = []
            for state in level:
                for delay in range(self.longest + 1):
                    begin = (state[0], self.delayed(state[1], delay))
                    for end in self.round(*begin):
                        if end[0] == "l_goal":
                            return self.way(parents, state, delay, end)
                        if end[0] in self.lists["urgent"] or end in parents or end == begin:
                            continue
                        parents[end] = (state, delay)
                        following.append(end)
                        if len(parents) > most_states:
                            raise TooMany()
            level = following
        return None

    def way(self, parents, state, delay, end):
        steps = []
        while True:
            met = self.round(state[0], self.delayed(state[1], delay))
            edges, at = [], end
            while met[at] is not None:
                before, edge = met[at]
                edges.append((before, edge, at))
                at = before
            steps.append((delay, edges[::-1]))
            if parents[state] is None:
                return steps[::-1]
            end, (state, delay) = state, parents[state]

    def trace(self, steps):
        """The run as text: delays, and behind each edge what it has changed."""
        lines = ["State:", f"( MODEL.{self.lists['init'][0]} )", "", "Transitions:"]
        for delay, edges in steps:
            units = f"{delay / self.grid:.6f}".rstrip("0").rstrip(".")
            lines.append(f"  Delay: {units}")
            for (source, before), edge, (target, behind) in edges:
                lines.append(f"  MODEL.{source}->MODEL.{target}")
                changes = [f"{name} := {int(b)}" for name, a, b in zip(self.names, before, behind)
                           if a != b and name not in self.clocks]
                lines += ["  { " + ", ".join(changes) + " }"] if changes else []
        return "\n".join(lines) + "\n"
