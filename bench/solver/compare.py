#!/usr/bin/env python3
"""Runs formulas in Ordax and in z3 side by side and prints CPU seconds, their ratio, and Ordax's
conflicts a second and memory.

  compare.py --build BUILD [--option NAME=VALUE] [--limit SECONDS] [CASE...]

A CASE is FAMILY,SIZE,STEPS of the generated formulas (bench/solver/programs/encodings.cpp), a formula
in prefix form (tests/solver/prefix_reader.h), or a directory of them; without one, a set of generated
formulas is run. z3 reads the script that Ordax's own trace of the calls writes, or the file with the
ending .smt2 beside a formula if it is there.
"""
import argparse
import math
import os
import subprocess
import tempfile
import threading


CASES = ["jobshop,5,15", "jobshop,6,17", "jobshop,6,18", "logistics,3,12", "logistics,3,13",
         "logistics,4,14", "counters,3,10", "counters,3,11", "cellar,4,11", "cellar,5,12",
         "cellar,5,13"]


def run(command, limit):
    """The first line of the output, the CPU seconds, the counts, and the memory in MB."""
    with tempfile.TemporaryFile("w+") as output, tempfile.TemporaryFile("w+") as counts:
        child = subprocess.Popen(command, stdout=output, stderr=counts)
        timer = threading.Timer(limit, child.kill)
        timer.start()
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = status
        timer.cancel()
        output.seek(0)
        counts.seek(0)
        verdict = output.readline().strip() if status == 0 else "timeout"
        pairs = [line.split(" = ") for line in counts.read().split("\n") if " = " in line]
    return (verdict, usage.ru_utime + usage.ru_stime,
            {key: int(value) for key, value in pairs}, usage.ru_maxrss / 1024)


def command_of(case, build):
    """The command that runs a case in Ordax, and the script that is there for z3, if any."""
    if "," in case:
        return [os.path.join(build, "bench/ordax_encoding")] + case.split(","), None
    ready = os.path.splitext(case)[0] + ".smt2"
    return ([os.path.join(build, "tests/solver/ordax_prefix"), "--no-model", case],
            ready if os.path.exists(ready) else None)


def trace(command, folder):
    target = os.path.join(folder, "script.smt2")
    subprocess.run(command + ["--option", "debug.solver_enabled=false",
                              "--option", "debug.api_call_trace=1",
                              "--option", "debug.api_call_trace_filename=" + target],
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return target


def cases_of(names):
    for name in names or CASES:
        if os.path.isdir(name):
            for entry in sorted(os.listdir(name)):
                if entry.endswith(".prefix"):
                    yield os.path.join(name, entry)
        else:
            yield name


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build", required=True)
    parser.add_argument("--z3", default="z3")
    parser.add_argument("--option", action="append", default=[])
    parser.add_argument("--limit", type=float, default=300)
    parser.add_argument("cases", nargs="*")
    args = parser.parse_args()
    options = [part for option in args.option for part in ("--option", option)]
    ratios = []
    print("%-24s %-8s %8s %9s %6s  %-8s %8s %6s" %
          ("formula", "ordax", "seconds", "confl/s", "MB", "z3", "seconds", "ratio"))
    with tempfile.TemporaryDirectory() as folder:
        for case in cases_of(args.cases):
            command, script = command_of(case, args.build)
            own, own_cpu, counts, memory = run(command + ["--statistics"] + options, args.limit)
            peer, peer_cpu, _, _ = run([args.z3, script or trace(command, folder)], args.limit)
            ratio = own_cpu / max(peer_cpu, 0.001)
            ratios.append(ratio)
            rate = counts.get("dpll conflicts", 0) / max(own_cpu, 0.001)
            mark = "" if own == peer or "timeout" in (own, peer) else "  DIFFERENT VERDICTS"
            name = case if "," in case else os.path.splitext(os.path.basename(case))[0]
            print("%-24s %-8s %8.2f %9.0f %6.1f  %-8s %8.2f %6.2f%s" %
                  (name, own, own_cpu, rate, memory, peer, peer_cpu, ratio, mark), flush=True)
    mean = math.exp(sum(math.log(max(r, 1e-6)) for r in ratios) / len(ratios))
    print("geometric mean of the ratios: %.2f" % mean)


if __name__ == "__main__":
    main()
