"""Runs the program and measures what this one process used."""

import os
import re
import signal
import subprocess
import threading
import time

COUNTS = re.compile(r"TP evaluated: (\d+).*?States expanded: (\d+)")
HORIZON = re.compile(r"\[SMTPlanner\] h: (\d+)")


class Outcome:
    """What a run printed and used.

    status is "plan", "none", "timeout" or "error"; marks maps each text that was looked for in the
    log to the CPU seconds that had been used when it was written.
    """

    def __init__(self):
        self.status = "error"
        self.output = ""
        self.log = ""
        self.marks = {}
        self.cpu_seconds = 0.0
        self.wall_seconds = 0.0
        self.peak_mb = 0.0

    def counts(self):
        """(states generated, states expanded) by the last line of the log that tells them."""
        found = COUNTS.findall(self.log)
        return tuple(int(count) for count in found[-1]) if found else ("", "")

    def horizon(self):
        found = HORIZON.findall(self.log)
        return int(found[-1]) if found else ""

    def num_steps(self):
        return self.output.count("\n") - 1 if self.status == "plan" else ""


def cpu_seconds_of(pid):
    """The CPU time of a running process so far, to the nanosecond; 0 where the kernel hides it."""
    try:
        with open(f"/proc/{pid}/schedstat", encoding="ascii") as file:
            return int(file.read().split()[0]) / 1e9
    except (OSError, ValueError, IndexError):
        return 0.0


def run(command, limit, wall_limit=None, marks=(), nice=0):
    """Runs `command`, which may use `limit` seconds of CPU time and `wall_limit` of the clock."""
    outcome = Outcome()
    lines = []
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                               errors="replace", preexec_fn=lambda: os.nice(nice))
    timed_out = threading.Event()

    def read_log():
        for line in process.stderr:
            for mark in marks:
                if mark in line:
                    outcome.marks.setdefault(mark, cpu_seconds_of(process.pid))
            lines.append(line)

    def watch():
        # The limit is on CPU time, so that a busy machine changes no result.
        while process.returncode is None:
            elapsed = time.monotonic() - begin
            if cpu_seconds_of(process.pid) > limit or elapsed > (wall_limit or 20 * limit + 10):
                timed_out.set()
                process.send_signal(signal.SIGKILL)
                return
            time.sleep(0.02)

    reader = threading.Thread(target=read_log)
    reader.start()
    watcher = threading.Thread(target=watch, daemon=True)
    watcher.start()
    outcome.output = process.stdout.read()
    reader.join()
    # wait4 instead of wait: it tells what this one process used.
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    outcome.wall_seconds = time.monotonic() - begin
    outcome.cpu_seconds = usage.ru_utime + usage.ru_stime
    outcome.peak_mb = usage.ru_maxrss / 1024
    outcome.log = "".join(lines)
    if timed_out.is_set():
        outcome.status = "timeout"
    elif process.returncode != 0:
        outcome.status = "error"
    elif outcome.output.startswith(";; A plan"):
        outcome.status = "plan"
    else:
        outcome.status = "none"
    return outcome
