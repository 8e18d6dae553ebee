#!/usr/bin/python3
"""A stand-in for the planner that does what the option `--do` of `solve` says.

Each start is written to the file that FAKE_LOG names. Its judge refuses plans with a step `wrong` and
fails on those with a step `puzzle`.
"""

import os
import signal
import sys
import time

NO_PLAN = {"proven": "Proven: the problem has no plan.",
           "bounded": "Bounded: there is no plan with at most 100 steps.",
           "undecided": "Undecided: there may be a plan; the search has lost states.",
           "refused": "No plan could be confirmed: 2 plans were found that the validator refuses.",
           "silent": ""}


def plan(name="good"):
    print(f";; A plan has been found:\n1/3: {name}(a) [5/2]\n0.5: {name}(b) [1/4]")
    print("- INFO: Final depth: 3, TP evaluated: 30, Open size: 2, States expanded: 12, H: 0",
          file=sys.stderr)
    return 0


def spin():
    while True:
        pass


def eat(megabytes):
    memory = bytearray(megabytes * 2**20)
    time.sleep(60)
    return len(memory)


def fork(function):
    """A child that no one waits for."""
    if os.fork() == 0:
        try:
            function()
        finally:
            os._exit(0)


def apart():
    """Runs on in a session of its own, its parents gone."""
    os.setsid()
    fork(spin)


def ignore_all():
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGXCPU):
        signal.signal(number, signal.SIG_IGN)
    fork(spin)
    spin()


def solve(what):
    if what in NO_PLAN:
        print("No solution exists.")
        print(NO_PLAN[what], file=sys.stderr)
    elif what == "error":
        print("ERROR: An error was found.\nSyntaxError: line 3", file=sys.stderr)
        return 1
    elif what == "no-memory":
        print("std::bad_alloc", file=sys.stderr)
        return 1
    elif what == "nothing":
        print("hello")
    elif what == "crash":
        os.kill(os.getpid(), signal.SIGSEGV)
    elif what == "sleep":
        time.sleep(60)
    elif what == "slow":
        time.sleep(0.05)
        return plan()
    elif what == "spin":
        spin()
    elif what == "ignore":
        ignore_all()
    elif what == "eat":
        for _ in range(3):
            fork(lambda: eat(60))
        time.sleep(60)
    elif what == "flood":
        while True:
            print("x" * 65536)
    elif what == "apart":
        fork(apart)
        time.sleep(0.2)
        return plan()
    elif what.startswith("plan"):
        return plan(*what.split(":")[1:])
    return 0


def validate(path):
    text = open(path, encoding="utf-8").read()
    if "wrong" in text:
        print("The plan is NOT valid.\nWhy: the condition does not hold, at time 1.")
        return 1
    if "puzzle" in text:
        print("ERROR: An error was found.\nLimitError: too hard", file=sys.stderr)
        return 1
    print("The plan is valid.")
    return 0


def main():
    words = sys.argv[1:]
    if words[0] == "validate":
        return validate(words[words.index("--plan") + 1])
    what = words[words.index("--do") + 1]
    if "FAKE_LOG" in os.environ:
        with open(os.environ["FAKE_LOG"], "a", encoding="utf-8") as file:
            file.write(f"{what} {words[-1]}\n")
    return solve(what)


if __name__ == "__main__":
    status = main()
    sys.stdout.flush()
    os._exit(status)
