#!/usr/bin/env python3
"""Runs the planner over PDDL instances: one CSV row for each instance and algorithm.

    bench/run_pddl.py examples/pddl                            both planners, default options
    bench/run_pddl.py -t 30 --jobs 2 -o ipc.csv FOLDER...      rows of ipc.csv are not run again
    bench/run_pddl.py --algorithm "ftp" --algorithm "ftp -w 0.8" FOLDER

Below each folder given, an instance is a folder with domain.pddl and problem.pddl, a problem file
with a domain of its own (p-domain.pddl beside p.pddl, or X_domain.pddl beside X_problem.pddl), or one
of many problem files beside a single domain.pddl. An algorithm may carry options.

Columns:
  instance, algorithm
  status        plan, none, timeout, error
  read_s        CPU seconds until the problem was read
  ground_s      CPU seconds from there until the search began: the planner's own compilation
  cpu_s, wall_s the whole run
  makespan      the end of the last step
  validated     yes or NO: what `validate` says about the plan
  states        states generated, for the searches
  horizon       the last one that was looked at, for smt
  peak_mb       memory
  message       the first line of an error
"""

import argparse
import concurrent.futures
import csv
import fractions
import pathlib
import re
import shlex
import sys
import tempfile
import threading

import measured_run

ROOT = pathlib.Path(__file__).resolve().parent.parent
COLUMNS = ["instance", "algorithm", "status", "read_s", "ground_s", "cpu_s", "wall_s", "makespan",
           "validated", "states", "horizon", "peak_mb", "message"]
STEP = re.compile(r"^([\d./]+): .*?(?:\[([\d./]+)\])?$")
# The planner's compilation begins with the first of these lines, the search with one of the others.
COMPILES = ["Flattener started!", "ConstantPromoter started!", "compiler started!",
            "Grounder started!"]
SEARCHES = ["Start FTP", "[SMTPlanner] h: "]


def text_of(path):
    return path.read_text(errors="replace")


def is_domain(path):
    return re.search(r"\(\s*define\s*\(\s*domain\b", text_of(path)) is not None


def domain_of(problem, domains):
    """The domain that belongs to a problem file by its name, or the only one of the folder."""
    stem = problem.stem
    for name in (stem.replace("problem", "domain"), stem + "-domain", stem + "_domain",
                 "domain-" + stem, "domain_" + stem, "domain"):
        for domain in domains:
            if domain.stem == name:
                return domain
    return domains[0] if len(domains) == 1 else None


def instances(folders):
    """(name, domain, problem) of each instance, in the order of the names."""
    for top in map(pathlib.Path, folders):
        for folder in sorted({path.parent for path in top.rglob("*.pddl")}):
            files = sorted(folder.glob("*.pddl"))
            domains = [path for path in files if is_domain(path)]
            problems = [path for path in files if path not in domains]
            for problem in problems:
                domain = domain_of(problem, domains)
                if domain is None:
                    print(f"no domain for {problem}", file=sys.stderr)
                    continue
                name = problem.relative_to(top.parent).with_suffix("")
                yield (str(name.parent if name.name == "problem" else name), domain, problem)


def makespan_of(plan):
    end = fractions.Fraction(0)
    for line in plan.splitlines():
        step = STEP.match(line)
        if step:
            end = max(end, fractions.Fraction(step[1]) + fractions.Fraction(step[2] or 0))
    return float(end)


def verdict_on(binary, plan, files, limit):
    with tempfile.NamedTemporaryFile("w", suffix=".plan") as file:
        file.write(plan)
        file.flush()
        judged = measured_run.run([binary, "validate", "-P", "--plan", file.name] + files, limit)
    return "yes" if judged.output == "The plan is valid!\n" else "NO"


def measure(binary, instance, algorithm, limit, nice):
    name, domain, problem = instance
    files = [str(domain), str(problem)]
    # The phases of the compilation are logged at level 4, and so is each constant of a formula.
    level = "3" if algorithm.startswith("smt") else "4"
    outcome = measured_run.run(
        [binary, "solve", "-P", "-R", "-l", level, "-a"] + shlex.split(algorithm) + files, limit,
        marks=COMPILES + SEARCHES, nice=nice)
    read = min((outcome.marks[mark] for mark in COMPILES + SEARCHES if mark in outcome.marks),
               default="")
    ground = min((outcome.marks[mark] for mark in SEARCHES if mark in outcome.marks), default="")
    row = {"instance": name, "algorithm": algorithm, "status": outcome.status,
           "read_s": read if read == "" else round(read, 3),
           "ground_s": ground if ground == "" else round(ground - read, 3),
           "cpu_s": round(outcome.cpu_seconds, 2), "wall_s": round(outcome.wall_seconds, 2),
           "states": outcome.counts()[0], "horizon": outcome.horizon(),
           "peak_mb": round(outcome.peak_mb)}
    if outcome.status == "plan":
        row["makespan"] = makespan_of(outcome.output)
        row["validated"] = verdict_on(binary, outcome.output, files, 10 * limit)
    if outcome.status == "error":
        lines = [line for line in outcome.log.splitlines() if "Error: " in line]
        row["message"] = lines[0] if lines else "ended without a message"
    return row


def finished_rows(path):
    if not path or not pathlib.Path(path).exists():
        return []
    with open(path, newline="", encoding="utf-8") as file:
        return list(csv.DictReader(file))


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folders", nargs="+", help="folders of instances")
    parser.add_argument("--binary", default=str(ROOT / "build/release/bin/kelvo"))
    parser.add_argument("--algorithm", action="append",
                        help="name of an algorithm, with options; may be repeated")
    parser.add_argument("-t", "--time-limit", type=float, default=60, help="CPU seconds a run")
    parser.add_argument("-j", "--jobs", type=int, default=1, help="runs at the same time")
    parser.add_argument("--nice", type=int, default=0, help="how nice the runs are to others")
    parser.add_argument("-o", "--output", help="CSV file; what it has already is not run again")
    arguments = parser.parse_args()

    done = {(row["instance"], row["algorithm"]) for row in finished_rows(arguments.output)}
    target = (open(arguments.output, "a", newline="", encoding="utf-8") if arguments.output
              else sys.stdout)
    writer = csv.DictWriter(target, COLUMNS, lineterminator="\n")
    if not done:
        writer.writeheader()
    lock = threading.Lock()

    def work(instance, algorithm):
        row = measure(arguments.binary, instance, algorithm, arguments.time_limit,
                      arguments.nice)
        with lock:
            writer.writerow(row)
            target.flush()

    algorithms = arguments.algorithm or ["ftp", "smt"]
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        runs = [pool.submit(work, instance, algorithm)
                for instance in instances(arguments.folders) for algorithm in algorithms
                if (instance[0], algorithm) not in done]
        for run in runs:
            run.result()


if __name__ == "__main__":
    main()
