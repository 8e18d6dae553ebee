#!/usr/bin/env python3
"""Runs the planner over problem files and prints one CSV row for each.

    bench/run_planner.py                              every problem below examples/
    bench/run_planner.py -t 60 examples/job_shop*.anml
    bench/run_planner.py --options "-a ftp -B hmax" FILE...

Columns: file, result (plan, none, timeout, error), states expanded, states generated, generated
states per second, seconds, peak memory in MB, steps of the plan. The counts are those of the last
log line of the search, the time is the CPU time of the whole process, start-up and reading included.
Folders are searched for *.anml; a run is measured --repeat times, and the fastest one is printed.
"""

import argparse
import csv
import pathlib
import shlex
import sys

import measured_run

ROOT = pathlib.Path(__file__).resolve().parent.parent


def problem_files(arguments):
    for argument in arguments or [ROOT / "examples"]:
        path = pathlib.Path(argument)
        if path.is_dir():
            yield from sorted(path.rglob("*.anml"))
        else:
            yield path


def measure(binary, options, path, limit):
    outcome = measured_run.run([binary, "solve", "-l", "3"] + options + [str(path)], limit)
    generated, expanded = outcome.counts()
    seconds = outcome.cpu_seconds
    speed = round(generated / seconds) if generated != "" and seconds > 0 else ""
    return [path, outcome.status, expanded, generated, speed, round(seconds, 3),
            round(outcome.peak_mb, 1), outcome.num_steps()]


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="*", help="problems, or folders of problems")
    parser.add_argument("--binary", default=str(ROOT / "build/release/bin/kelvo"))
    parser.add_argument("--options", default="-a ftp", help="options of the planner")
    parser.add_argument("-t", "--time-limit", type=float, default=60, help="CPU seconds a run")
    parser.add_argument("--repeat", type=int, default=1)
    arguments = parser.parse_args()

    writer = csv.writer(sys.stdout, lineterminator="\n")
    writer.writerow(["file", "result", "expanded", "generated", "states_per_s", "seconds",
                     "peak_mb", "steps"])
    options = shlex.split(arguments.options)
    for path in problem_files(arguments.files):
        rows = [measure(arguments.binary, options, path, arguments.time_limit)
                for _ in range(arguments.repeat)]
        writer.writerow(min(rows, key=lambda row: row[5]))
        sys.stdout.flush()


if __name__ == "__main__":
    main()
