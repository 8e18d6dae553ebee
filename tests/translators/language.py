"""Expressions of the texts that the translators write: one reader for the three languages, which
differ in their words for the operators only.

A read expression is a tuple: ("name", x), ("number", Fraction), ("bool", True), a unary or binary
operator with its operands under one name for all languages.
"""

import re
from fractions import Fraction

TOKEN = re.compile(r"\s*(f'-?\d+(?:/\d+)?|\d+|[A-Za-z_]\w*|:=|->|==|!=|<=|>=|[-+*/<>=!&|(),])")

# The words of each language, how strongly they bind, and the operator that is meant.
BINARY = {
    "implies": (1, "implies"), "->": (1, "implies"), "U": (2, "until"), "or": (3, "or"), "|": (3, "or"),
    "and": (4, "and"), "&": (4, "and"), "==": (5, "=="), "=": (5, "=="), "!=": (5, "!="), "<": (5, "<"),
    "<=": (5, "<="), ">": (5, ">"), ">=": (5, ">="), "+": (6, "+"), "-": (6, "-"), "*": (7, "*"),
}
UNARY = {"not": "not", "!": "not", "X": "X", "G": "G", "F": "F", "next": "next", "-": "negative"}
TRUTH = {"true": True, "TRUE": True, "false": False, "FALSE": False}


class Reader:
    def __init__(self, text):
        self.tokens = []
        position = 0
        text = text.rstrip()
        while position < len(text):
            match = TOKEN.match(text, position)
            if not match:
                raise ValueError(f"cannot read '{text[position:position + 20]}' in '{text[:80]}'")
            self.tokens.append(match.group(1))
            position = match.end()
        self.position = 0

    def peek(self):
        return self.tokens[self.position] if self.position < len(self.tokens) else None

    def next(self, expected=None):
        token = self.peek()
        if token is None or expected not in (None, token):
            raise ValueError(f"'{token}' where '{expected}' was expected in {' '.join(self.tokens)[:80]}")
        self.position += 1
        return token

    def whole(self):
        result = self.binary(0)
        if self.peek() is not None:
            raise ValueError(f"'{self.peek()}' behind an expression")
        return result

    def binary(self, least):
        left = self.unary()
        while self.peek() in BINARY and BINARY[self.peek()][0] > least:
            strength, operator = BINARY[self.next()]
            left = (operator, left, self.binary(strength))
        return left

    def unary(self):
        token = self.next()
        if token == "(":
            result = self.binary(0)
            self.next(")")
            return result
        if token in UNARY:
            return (UNARY[token], self.unary())
        if token in TRUTH:
            return ("bool", TRUTH[token])
        if token.startswith("f'"):
            return ("number", Fraction(token[2:]))
        if token.isdigit():
            return ("number", Fraction(token))
        if not token[0].isalpha() and token[0] != "_":
            raise ValueError(f"'{token}' is no operand")
        return ("name", token)


def read(text):
    return Reader(text).whole()


def names_of(e, is_next=False):
    """Pairs of a name and whether it is read in the next state."""
    if e[0] == "name":
        yield (e[1], is_next)
    elif e[0] not in ("number", "bool"):
        for child in e[1:]:
            yield from names_of(child, is_next or e[0] == "next")


def is_clock(e, clocks):
    return e[1] in clocks if e[0] == "name" else e[0] == "next" and is_clock(e[1], clocks)


class Compiler:
    """Expressions as Python source. States are sequences: `s` now and `n` the next one. Clocks count
    in units of 1 / grid, so what is compared with a clock is taken times the grid."""

    def __init__(self, places, clocks=(), constants=None, grid=1):
        self.places, self.clocks, self.constants, self.grid = places, clocks, constants or {}, grid
        self.highest = {}  # by clock: the greatest number it is compared with

    def source(self, e, state="s"):
        kind = e[0]
        if kind == "name":
            if e[1] in self.constants:
                return repr(self.constants[e[1]])
            return f"{state}[{self.places[e[1]]}]"
        if kind == "bool":
            return str(e[1])
        if kind == "number":
            value = e[1]
            return str(value.numerator) if value.denominator == 1 else f"Fraction({value})"
        if kind == "next":
            return self.source(e[1], "n")
        if kind == "not":
            return f"(not {self.source(e[1], state)})"
        if kind == "negative":
            return f"(-{self.source(e[1], state)})"
        if kind == "implies":
            return f"(not {self.source(e[1], state)} or {self.source(e[2], state)})"
        if kind in ("==", "!=", "<", "<=", ">", ">="):
            return self.comparison(e, state)
        return f"({self.source(e[1], state)} {kind} {self.source(e[2], state)})"

    def comparison(self, e, state):
        sides = []
        with_clock = [is_clock(x, self.clocks) for x in e[1:]]
        for x, other, has_clock, other_has in zip(e[1:], e[:0:-1], with_clock, with_clock[::-1]):
            if has_clock or not other_has:
                sides.append(self.source(x, state))
                continue
            if x[0] != "number":
                raise ValueError(f"a clock is compared with {x}")
            value = x[1] * self.grid
            if value.denominator != 1:
                raise ValueError(f"the grid is too coarse for {x[1]}")
            clock = other[1] if other[0] == "name" else other[1][1]
            self.highest[clock] = max(self.highest.get(clock, 0), int(value))
            sides.append(str(value))
        return f"({sides[0]} {e[0]} {sides[1]})"

    @staticmethod
    def function(arguments, source):
        return eval(f"lambda {arguments}: {source}", {"Fraction": Fraction})  # pylint: disable=eval-used
