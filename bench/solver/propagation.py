#!/usr/bin/env python3
"""Compares the Boolean engine with minisat: propagations a second on the same clauses.

  propagation.py --build BUILD [FILE.cnf...]

Without files, the clauses are those of generated planning formulas - what preprocessing hands to the
engine and what the theory adds in one run, taken from the engine's log - and of two generated families.
Both solvers search them, one after the other. The last line is the geometric mean of the ratios.
"""
import argparse
import math
import os
import re
import subprocess
import tempfile

PLANNING = ["jobshop 5 14", "cellar 4 11", "logistics 3 12", "counters 3 10"]
CLAUSES = ["random 250 4.5 2", "pigeons 9"]
LOGGED = re.compile(r"(?:adding clause \(size \d+\)|adding theory lemma|theory conflict|"
                    r"theory complete conflict): (.*)")


def run(command):
    output = subprocess.run(command, capture_output=True, text=True).stdout
    verdict = "unsat" if "UNSATISFIABLE" in output else "sat" if "SATISFIABLE" in output else "?"

    def number(name):
        return float(re.search(name + r"\s*:\s*([0-9.]+)", output).group(1))
    return verdict, number("conflicts"), number("propagations"), max(number("CPU time"), 0.001)


def write_planning(build, case, path):
    """Without deduction all that the theory knows comes as conflicts and lemmas."""
    command = [os.path.join(build, "bench/ordax_encoding")] + case.split()
    for option in ("verbosity=4", "debug.log_sections=DPLL", "theory.la.deduction_enabled=false"):
        command += ["--option", option]
    clauses = set()
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True) as child:
        for line in child.stdout:
            found = LOGGED.search(line)
            if found:
                clauses.add(tuple(int(word) for word in found.group(1).split()))
    with open(path, "w") as target:
        num_vars = max(abs(literal) for clause in clauses for literal in clause)
        target.write("p cnf %d %d\n" % (num_vars, len(clauses)))
        for clause in sorted(clauses):
            target.write(" ".join(str(literal) for literal in clause) + " 0\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build", required=True)
    parser.add_argument("--minisat", default="minisat")
    parser.add_argument("files", nargs="*")
    args = parser.parse_args()
    dimacs = os.path.join(args.build, "bench/ordax_dimacs")
    ratios = []
    print("%-20s %-5s %9s %8s %9s  %-5s %9s %8s %9s %6s" %
          ("clauses", "ordax", "conflicts", "seconds", "props/s", "minis", "conflicts", "seconds",
           "props/s", "ratio"))
    with tempfile.TemporaryDirectory() as folder:
        for case in args.files or PLANNING + CLAUSES:
            path = case if args.files else os.path.join(folder, case.replace(" ", "_") + ".cnf")
            if case in PLANNING:
                write_planning(args.build, case, path)
            elif case in CLAUSES:
                subprocess.run([dimacs] + case.split() + ["--write", path], check=True)
            own = run([dimacs, path])
            peer = run([args.minisat, "-no-pre", path])
            rates = own[2] / own[3], peer[2] / peer[3]
            ratios.append(rates[0] / max(rates[1], 1))
            mark = "" if own[0] == peer[0] else "  DIFFERENT VERDICTS"
            print("%-20s %-5s %9d %8.2f %9.0f  %-5s %9d %8.2f %9.0f %6.2f%s" %
                  (os.path.basename(case), *own[:2], own[3], rates[0], *peer[:2], peer[3], rates[1],
                   ratios[-1], mark), flush=True)
    print("geometric mean of the ratios: %.2f" %
          math.exp(sum(math.log(r) for r in ratios) / len(ratios)))


if __name__ == "__main__":
    main()
