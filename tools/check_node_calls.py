#!/usr/bin/env python3
"""Checks that no two calls that make nodes stand in one argument list.

C++ leaves open in which order the arguments of a call are evaluated, and compilers differ; ids of
nodes follow the order of their making, and what is printed follows the ids. So two such calls are
two statements. Lists in braces are evaluated from left to right, and so are `<<`, `&&`, `||` and a
comma outside of calls: they are left alone.

Makers are the `make_...` functions of the factories of expressions and formulas; what they are called
on does not matter. A call that makes nodes inside another function is not seen. Prints the offending
places and exits with status 1 when there are any.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FACTORIES = ["src/model/expression_factory.h", "src/smt/smt_factory.h"]
DECLARATION = re.compile(r"\b(make_\w+)\s*\(")
NOISE = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\'', re.S)
TOKEN = re.compile(r"\b\w+\b|[(){}\[\],;]")
CONTROL = {"if", "for", "while", "switch", "catch"}


def blanked(text):
    """The text with comments and literals blanked out, line by line as long as before."""
    return NOISE.sub(lambda m: re.sub(r"[^\n]", " ", m.group()), text)


class List:
    """An open bracket: how many makers its arguments so far hold, and the one at hand."""

    def __init__(self, kind, position):
        self.kind = kind  # "call", "group" or "braces"
        self.position = position
        self.makers_before = 0
        self.makers = 0
        self.is_body = False  # of a function: what stands in it runs later

    def end_argument(self):
        """Whether this argument and an earlier one hold makers."""
        clash = self.kind == "call" and self.makers > 0 and self.makers_before > 0
        self.makers_before += self.makers
        self.makers = 0
        return clash


def clashes(text, makers):
    """Yields the positions of the argument lists with two makers."""
    stack = [List("braces", 0)]
    previous = ""
    for match in TOKEN.finditer(text):
        token = match.group()
        if token == "(":
            is_call = re.match(r"\w|\]|\)|>", previous[-1:] or " ") and previous not in CONTROL
            stack.append(List("call" if is_call else "group", match.start()))
            if previous in makers:
                stack[-2].makers += 1
        elif token in "{[":
            stack.append(List("braces", match.start()))
        elif token in ")}]" and len(stack) > 1:
            inner = stack.pop()
            if inner.end_argument():
                yield inner.position
            if not inner.is_body:
                stack[-1].makers += inner.makers_before
        elif token == ",":
            if stack[-1].end_argument():
                yield stack[-1].position
        elif token == ";":
            stack[-1].makers = stack[-1].makers_before = 0
            stack[-1].is_body = True
        previous = token


def main():
    makers = set()
    for name in FACTORIES:
        makers |= set(DECLARATION.findall((ROOT / name).read_text()))
    complaints = set()
    count = 0
    for path in sorted((ROOT / "src").rglob("*")):
        relative = path.relative_to(ROOT)
        if path.suffix not in {".h", ".cpp", ".yy", ".y"} or "solver" in relative.parts:
            continue
        count += 1
        source = path.read_text(errors="replace")
        text = blanked(source)
        for position in clashes(text, makers):
            line = text.count("\n", 0, position) + 1
            complaints.add(f"{relative}:{line}: two calls that make nodes in one argument list")
    print("\n".join(sorted(complaints) + [f"{count} files, {len(complaints)} lists of two makers"]))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
