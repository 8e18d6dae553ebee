#!/usr/bin/env python3
"""Runs Ordax5 and z3 side by side on the planner's own formulas and prints a CSV table.

    bench/smt/compare_with_z3.py --build build/bench [--limit 60] problem.anml[:LAST] ...

For each problem the horizons from 2 up to LAST (default 20) are encoded; a line has the horizon, the
verdict, the size, the seconds of processor time for encoding and solving, those of z3
and the ratio. The last line is the geometric mean of the ratios over the formulas that z3 takes 0.3 s
or more for.
"""
import argparse
import math
import os
import pathlib
import subprocess
import sys
import tempfile


def z3_seconds(script, limit):
    """Seconds of processor time, None if they exceed the limit, and the verdict."""
    before = os.times()
    run = subprocess.run(["bash", "-c", f'ulimit -t {limit}; exec z3 "$0"', str(script)],
                         capture_output=True, text=True)
    after = os.times()
    if run.returncode < 0:
        return None, "timeout"
    seconds = after.children_user + after.children_system
    return (seconds - before.children_user - before.children_system,
            run.stdout.split("\n", 1)[0])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", default="build/release", help="the build folder")
    parser.add_argument("--limit", type=int, default=60, help="seconds for z3 on one formula")
    parser.add_argument("problems", nargs="+")
    arguments = parser.parse_args()
    program = pathlib.Path(arguments.build) / "bench" / "encode_family"
    print("problem,h,verdict,assertions,formulas,variables,sat_variables,clauses,"
          "conflicts,encoding_s,solving_s,z3_s,ratio")
    ratios = []
    for spec in arguments.problems:
        problem, _, last = spec.partition(":")
        with tempfile.TemporaryDirectory() as folder:
            run = subprocess.run([str(program), problem, "2", last or "20", folder],
                                 capture_output=True, text=True)
            if run.returncode != 0:
                print(run.stderr, file=sys.stderr)
                return 1
            for line in run.stdout.splitlines()[1:]:
                fields = line.split(",")
                seconds, verdict = z3_seconds(pathlib.Path(folder) / f"h{fields[0]}.smt2",
                                              arguments.limit)
                ratio = ""
                if seconds is not None:
                    if verdict != fields[1]:
                        print(f"z3 says {verdict}", file=sys.stderr)
                        return 1
                    ratio = float(fields[-1]) / max(seconds, 1e-3)
                    if seconds >= 0.3:
                        ratios.append(max(ratio, 1e-6))
                    ratio = f"{ratio:.3f}"
                z3_text = f"{seconds:.3f}" if seconds is not None else ""
                print(f"{pathlib.Path(problem).stem},{line},{z3_text},{ratio}", flush=True)
    if ratios:
        mean = math.exp(sum(map(math.log, ratios)) / len(ratios))
        print(f"geometric mean of {len(ratios)} ratios,{mean:.3f},worst,{max(ratios):.3f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
