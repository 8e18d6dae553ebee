"""One run: solves, has the plan judged, and says what came of it.

Tasks and results are plain dicts, and nothing but the standard library and the modules beside is
needed, so that a run can be carried out on any machine of a cluster.

A task:
  key             what the result belongs to
  program, judge  {"path", "sha256"} of the planner and of the program that judges
  options         of the planner
  pddl            whether the files are PDDL
  files           [{"path", "sha256", "text" or none}], texts where the other machine may lack the files
  cpu_seconds, wall_seconds, memory_mb, judge_seconds, nice, limit_addresses
  supervisor      the text of the supervising program, where its file is not at hand

A result has the columns of the table `runs` that a run decides (see store.py), beside `plan` and `log`.
"""

import hashlib
import json
import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import time

from . import plans

OUTPUT_MB = 64
SUPERVISOR = pathlib.Path(__file__).with_name("supervise.py")

OUTCOMES = ["plan", "invalid plan", "no-solution proven", "no-solution bounded",
            "no-solution undecided", "timeout", "memory", "error", "crash"]


class TaskError(Exception):
    """The run could not be carried out here; that says nothing about the planner."""


def hash_of(path):
    """SHA-256 of a file."""
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        while data := file.read(2**20):
            digest.update(data)
    return digest.hexdigest()


def has_hash(entry):
    try:
        return hash_of(entry["path"]) == entry["sha256"]
    except OSError:
        return False


def supervised(command, supervisor=None, running=None, **limits):
    """The answer of supervise.py for a command. `running` is a set that holds the supervisors at work;
    closing the standard input of one ends its run, which raises a TaskError here."""
    script = [str(SUPERVISOR)] if supervisor is None else ["-c", supervisor]
    request = {"command": command, "output_mb": OUTPUT_MB, **limits}
    with subprocess.Popen([sys.executable, "-I", "-S"] + script, stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE, start_new_session=True) as process:
        if running is not None:
            running.add(process)
        try:
            process.stdin.write((json.dumps(request) + "\n").encode())
            process.stdin.flush()
            answer = process.stdout.read()
        except (OSError, ValueError) as error:
            raise TaskError(f"the supervisor of {command[0]} is gone: {error}") from error
        finally:
            if running is not None:
                running.discard(process)
    if not answer.endswith(b"\n"):
        raise TaskError(f"the supervisor of {command[0]} has ended without an answer")
    answer = json.loads(answer)
    if "error" in answer:
        raise TaskError(answer["error"])
    return answer


def check_programs(task):
    for program in (task["program"], task["judge"]):
        if not os.access(program["path"], os.X_OK):
            raise TaskError(f"no program {program['path']} on {socket.gethostname()}")
        if not has_hash(program):
            raise TaskError(f"the program {program['path']} on {socket.gethostname()} is another one "
                            "than when the batch began")


def files_at_hand(task, folder):
    """Paths of the problem's files with the contents that the task means; those that this machine
    lacks are written into the folder."""
    paths = []
    for number, entry in enumerate(task["files"]):
        path = pathlib.Path(entry["path"])
        if not has_hash(entry):
            if entry.get("text") is None:
                raise TaskError(f"{path} has changed or is gone since the batch began")
            path = pathlib.Path(folder) / str(number) / path.name
            path.parent.mkdir()
            path.write_bytes(entry["text"].encode("utf-8", "surrogateescape"))
        paths.append(str(path))
    return paths


def signal_name(number):
    try:
        return signal.Signals(number).name
    except ValueError:
        return f"signal {number}"


def outcome_of_solve(answer):
    """(outcome, message) by what the planner did; a plan is still to be judged."""
    killed, status, output = answer["killed"], answer["exit"], answer["output"]
    if killed in ("cpu", "wall"):
        return "timeout", "CPU time" if killed == "cpu" else "wall time"
    if killed == "memory":
        return "memory", "more memory than allowed"
    if killed == "output":
        return "error", f"more than {OUTPUT_MB} MB of output"
    if status < 0:
        return "crash", signal_name(-status)
    message = plans.error_in(answer["log"])
    if status != 0 and ("bad_alloc" in answer["log"] or "out of memory" in answer["log"].lower()):
        return "memory", message
    if status != 0:
        return "error", f"exit status {status}" + (f": {message}" if message else "")
    if output.startswith(plans.PLAN_HEADER):
        return "plan", ""
    if output.startswith(plans.NO_PLAN):
        return plans.worth_of_no_plan(answer["log"])
    return "error", "neither a plan nor a word that there is none"


def verdict_on(answer):
    """(outcome, message) by what the judge did."""
    output = answer["output"]
    if answer["killed"] is None and answer["exit"] == 0 and output.startswith("The plan is valid."):
        return "plan", ""
    if answer["killed"] is None and output.startswith("The plan is NOT valid."):
        reasons = [line for line in output.splitlines() if line.startswith("Why: ")]
        return "invalid plan", reasons[0][len("Why: "):] if reasons else ""
    _, message = outcome_of_solve(dict(answer, output=""))
    return "error", f"the plan could not be judged: {message}"


def log_options(options):
    """What is added to the options: exact times, and a log that tells counts where none was asked for."""
    def told(*names):
        return any(option.startswith(names) for option in options)

    return ([] if told("-R", "--rational-precision") else ["-R"]) + (
        [] if told("-T", "--time-triggered") else ["-T"]) + (
        [] if told("-l", "--logging-level") else ["-l", "3"])


def execute(task, running=None):
    """Carries a task out and returns its result. Raises TaskError where that is not possible."""
    check_programs(task)
    with tempfile.TemporaryDirectory(prefix="kelvo_batch_") as folder:
        form = ["-P"] if task["pddl"] else []
        files = form + files_at_hand(task, folder)
        limits = {"supervisor": task.get("supervisor"), "running": running,
                  "memory_mb": task["memory_mb"], "nice": task["nice"],
                  "limit_addresses": task["limit_addresses"]}
        solve = supervised([task["program"]["path"], "solve", *log_options(task["options"]),
                            *task["options"], *files],
                           cpu_seconds=task["cpu_seconds"], wall_seconds=task["wall_seconds"],
                           **limits)
        outcome, message = outcome_of_solve(solve)
        states, expanded, horizon = plans.counts_in(solve["log"])
        result = {"key": task["key"], "exit_status": solve["exit"],
                  "cpu_s": solve["cpu_seconds"], "wall_s": solve["wall_seconds"],
                  "memory_mb": solve["memory_mb"], "makespan": None, "steps": None,
                  "states": states, "expanded": expanded, "horizon": horizon,
                  "judge_cpu_s": None, "plan": None, "log": solve["log"]}
        if outcome == "plan":
            result["plan"] = solve["output"]
            steps = plans.steps_of(solve["output"])
            result["steps"] = len(steps)
            result["makespan"] = str(max((end for _, end in steps), default=0))
            path = pathlib.Path(folder) / "plan"
            path.write_text(solve["output"], encoding="utf-8")
            # A judge may be given more memory than the planner: what it needs is not the planner's.
            limits["memory_mb"] = max(limits["memory_mb"], 1024)
            judged = supervised([task["judge"]["path"], "validate", "--strict", "--explain", "--plan",
                                 str(path), *files],
                                cpu_seconds=task["judge_seconds"],
                                wall_seconds=4 * task["judge_seconds"] + 10, **limits)
            result["judge_cpu_s"] = judged["cpu_seconds"]
            outcome, message = verdict_on(judged)
    result.update(outcome=outcome, message=message, host=socket.gethostname(),
                  finished=time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime()))
    return result


def try_to_execute(task, running=None):
    """(result, None), or (None, why the run could not be carried out)."""
    try:
        return execute(task, running), None
    except (TaskError, OSError) as error:
        return None, str(error)
