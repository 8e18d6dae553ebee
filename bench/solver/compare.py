#!/usr/bin/env python3
"""Runs formulas in Ordax and in z3 side by side and prints CPU seconds and their ratio.

  compare.py --ordax BUILD/tests/solver/ordax_prefix [--option NAME=VALUE] [--limit SECONDS] FILE...

A FILE is a formula in prefix form (see tests/solver/prefix_reader.h), or a directory of them. z3 reads
the script that Ordax's own trace of the calls writes, or FILE with the ending .smt2 if it is there.
"""
import argparse
import math
import os
import resource
import subprocess
import tempfile


def run(command, limit):
    """The first line of the output and the CPU seconds of the child."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    try:
        done = subprocess.run(command, capture_output=True, text=True, timeout=limit)
        verdict = (done.stdout.split("\n") or [""])[0].strip()
    except subprocess.TimeoutExpired:
        verdict = "timeout"
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return verdict, cpu


def script_of(path, ordax, folder):
    ready = os.path.splitext(path)[0] + ".smt2"
    if os.path.exists(ready):
        return ready
    target = os.path.join(folder, os.path.basename(path) + ".smt2")
    subprocess.run(
        [ordax, "--no-model", "--option", "debug.solver_enabled=false", "--option",
         "debug.api_call_trace=1", "--option", "debug.api_call_trace_filename=" + target, path],
        capture_output=True)
    return target


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--ordax", required=True)
    parser.add_argument("--z3", default="z3")
    parser.add_argument("--option", action="append", default=[])
    parser.add_argument("--limit", type=float, default=300)
    parser.add_argument("files", nargs="+")
    args = parser.parse_args()
    files = []
    for name in args.files:
        if os.path.isdir(name):
            files += [os.path.join(name, f) for f in sorted(os.listdir(name))
                      if f.endswith(".prefix")]
        else:
            files.append(name)
    options = [part for option in args.option for part in ("--option", option)]
    ratios = []
    print("%-24s %-8s %9s %-8s %9s %6s" % ("formula", "ordax", "seconds", "z3", "seconds", "ratio"))
    with tempfile.TemporaryDirectory() as folder:
        for path in files:
            own, own_cpu = run([args.ordax, "--no-model"] + options + [path], args.limit)
            peer, peer_cpu = run([args.z3, script_of(path, args.ordax, folder)], args.limit)
            ratio = own_cpu / max(peer_cpu, 0.001)
            ratios.append(ratio)
            mark = "" if own == peer or "timeout" in (own, peer) else "  DIFFERENT VERDICTS"
            name = os.path.splitext(os.path.basename(path))[0]
            print("%-24s %-8s %9.2f %-8s %9.2f %6.2f%s" %
                  (name, own, own_cpu, peer, peer_cpu, ratio, mark), flush=True)
    mean = math.exp(sum(math.log(max(r, 1e-6)) for r in ratios) / len(ratios))
    print("geometric mean of the ratios: %.2f" % mean)


if __name__ == "__main__":
    main()
