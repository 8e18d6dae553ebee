"""What is read from the output and the log of the planner."""

import fractions
import re

PLAN_HEADER = ";; A plan has been found:"
NO_PLAN = "No solution exists."
STEP = re.compile(r"^\s*([\d./]+)\s*:\s*[^;\s].*?(?:\[\s*([\d./]+)\s*\])?\s*$")

# The last line of a log that matches tells the counts: (states, expanded).
STANDARD_COUNTS = re.compile(r"TP evaluated: (\d+).*?States expanded: (\d+)")
GUIDED_COUNTS = re.compile(r"generated (\d+), expanded (\d+)")
HORIZON = re.compile(r"\[SMTPlanner\] h: (\d+)")

WORTH = {"Proven:": "no-solution proven", "Bounded:": "no-solution bounded",
         "Undecided:": "no-solution undecided", "No plan could be confirmed:": "invalid plan"}


def steps_of(text):
    """(start, end) of each step of a plan, exactly; the form of this planner or that of PDDL."""
    steps = []
    for line in text.splitlines():
        match = STEP.match(line)
        if match:
            start = fractions.Fraction(match[1])
            steps.append((start, start + fractions.Fraction(match[2] or 0)))
    return steps


def counts_in(log):
    """(states, expanded, horizon) by the log; None for what it does not tell."""
    found = STANDARD_COUNTS.findall(log) or GUIDED_COUNTS.findall(log)
    states, expanded = map(int, found[-1]) if found else (None, None)
    horizons = HORIZON.findall(log)
    return states, expanded, int(horizons[-1]) if horizons else None


def worth_of_no_plan(log):
    """(outcome, the line) of a run without a plan: what the planner says that this is worth."""
    for line in reversed(log.splitlines()):
        for start, outcome in WORTH.items():
            if line.startswith(start):
                return outcome, line
    return "no-solution undecided", "the planner does not say what this is worth"


def error_in(log):
    """The line of a log that tells the error, else the last one, else nothing."""
    lines = [line.strip() for line in log.splitlines() if line.strip()]
    for line in lines:
        if re.match(r"\w*Error: ", line) or line.startswith("error: "):
            return line
    return lines[-1] if lines else ""
