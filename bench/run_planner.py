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
import os
import pathlib
import re
import shlex
import subprocess
import sys
import threading

ROOT = pathlib.Path(__file__).resolve().parent.parent
COUNTS = re.compile(r"TP evaluated: (\d+).*?States expanded: (\d+)")


def problem_files(arguments):
    for argument in arguments or [ROOT / "examples"]:
        path = pathlib.Path(argument)
        if path.is_dir():
            yield from sorted(path.rglob("*.anml"))
        else:
            yield path


def run(command, limit):
    """Returns (status, standard output, standard error, CPU seconds, peak memory in MB)."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    errors = []
    reader = threading.Thread(target=lambda: errors.append(process.stderr.read()))
    reader.start()
    timer = threading.Timer(limit, process.kill)
    timer.start()
    output = process.stdout.read()
    reader.join()
    # wait4 instead of wait: it tells what this one process used.
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    timed_out = not timer.is_alive()
    timer.cancel()
    return (None if timed_out else process.returncode, output, errors[0],
            usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024)


def measure(binary, options, path, limit):
    command = [binary, "solve", "-l", "3"] + options + [str(path)]
    status, output, log, seconds, megabytes = run(command, limit)
    steps = ""
    if status is None:
        result = "timeout"
    elif status != 0:
        result = "error"
    elif output.startswith(";; A plan"):
        result = "plan"
        steps = output.count("\n") - 1
    else:
        result = "none"
    counts = COUNTS.findall(log)
    generated, expanded = (int(count) for count in counts[-1]) if counts else ("", "")
    speed = round(generated / seconds) if counts and seconds > 0 else ""
    return [path, result, expanded, generated, speed, round(seconds, 3), round(megabytes, 1), steps]


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="*", help="problems, or folders of problems")
    parser.add_argument("--binary", default=str(ROOT / "build/release/bin/kelvo"))
    parser.add_argument("--options", default="-a ftp", help="options of the planner")
    parser.add_argument("-t", "--time-limit", type=float, default=60, help="seconds a run")
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
