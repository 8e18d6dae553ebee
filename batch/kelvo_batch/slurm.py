"""Runs as an array job of Slurm.

In the folder `slurm` of a batch:

  tasks-HASH.jsonl   one task a line (see execute.py)
  job.sh             for sbatch: each element of the array carries out every n-th task
  results/KEY.json   a result that has not been collected yet
  results/KEY.done   the place of one that has
  results/KEY.failed why a run could not be carried out
  logs/              what the elements of the array print

The nodes share the folder's file system but never open the database: files that appear whole are all
they write, and `collect` takes them over.
"""

import hashlib
import json
import math
import os
import pathlib
import shlex
import sys
from typing import Any

from . import execute
from .errors import BatchError
from .store import Run, Store, writing, write_whole

SCRIPT = """#!/bin/bash
#SBATCH --job-name=kelvo-batch
#SBATCH --array=0-{last}{throttle}
#SBATCH --ntasks=1
#SBATCH --cpus-per-task=1
#SBATCH --mem={memory}M
#SBATCH --time={minutes}
#SBATCH --output={logs}/%A_%a.log
#SBATCH --requeue
{options}exec {python} {program} work {tasks} --part "$SLURM_ARRAY_TASK_ID" --of {parts}
"""


def results_folder(store_folder: pathlib.Path) -> pathlib.Path:
    return store_folder / "slurm" / "results"


def write_job(store: Store, tasks: list[dict[str, Any]], jobs: int | None, array_size: int,
              options: list[str]) -> pathlib.Path:
    """Writes the array job for these tasks and returns the path of its script."""
    folder = (store.folder / "slurm").absolute()
    # Slurm reads no quotes in the lines that begin with #SBATCH.
    if any(character.isspace() for character in str(folder)):
        raise BatchError(f"Slurm needs a folder without spaces in its path: {folder}")
    parts = min(len(tasks), array_size)
    text = "".join(json.dumps(task) + "\n" for task in tasks)
    name = hashlib.sha256(text.encode()).hexdigest()[:12]
    longest = math.ceil(len(tasks) / parts)
    seconds = longest * max(task["wall_seconds"] + task["judge_seconds"] for task in tasks)
    path = folder / "job.sh"
    with writing(str(folder)):
        for below in ("results", "logs"):
            (folder / below).mkdir(parents=True, exist_ok=True)
        tasks_file = folder / f"tasks-{name}.jsonl"
        write_whole(tasks_file, text)
        write_whole(path, SCRIPT.format(
            last=parts - 1, throttle=f"%{jobs}" if jobs else "",
            # Room for this program beside the planner.
            memory=math.ceil(max(task["memory_mb"] for task in tasks)) + 256,
            minutes=math.ceil(seconds / 60) + 1, logs=folder / "logs",
            options="".join(f"#SBATCH {option}\n" for option in options),
            python=shlex.quote(sys.executable), program=shlex.quote(os.path.abspath(sys.argv[0])),
            tasks=shlex.quote(str(tasks_file)), parts=parts))
    return path


def work(tasks_file: str, part: int, parts: int) -> int:
    """Carries out every `parts`-th task, from `part` on; an element of the array that Slurm starts
    again goes on where it was. Returns how many tasks could not be carried out."""
    try:
        lines = pathlib.Path(tasks_file).read_text(encoding="utf-8").splitlines()
    except OSError as error:
        raise BatchError(f"The tasks cannot be read: {error}") from error
    folder = pathlib.Path(tasks_file).parent / "results"
    failures = 0
    for line in lines[part::parts]:
        task = json.loads(line)
        path = folder / f"{task['key']}.json"
        if path.exists() or path.with_suffix(".done").exists():
            continue
        result, failure = execute.try_to_execute(task)
        with writing(str(path)):
            if result is not None:
                write_whole(path, json.dumps(result))
            else:
                failures += 1
                print(failure, file=sys.stderr)
                write_whole(path.with_suffix(".failed"), failure or "")
    return failures


def collect(store: Store) -> tuple[int, list[tuple[Run, str]], list[str]]:
    """Takes over what the nodes have handed in: the number of results, the runs that could not be
    carried out with the reason, and what is strange. A kill at any point loses nothing: a file goes
    only when its result is stored."""
    runs = {run.key: run for run in store.wanted()}
    count = 0
    failures = []
    strange = []
    folder = results_folder(store.folder)
    for path in sorted(folder.glob("*.json")):
        run = runs.get(path.stem)
        if run is None:
            strange.append(f"{path}: of a run that is no part of the batch any more")
            continue
        try:
            result = json.loads(path.read_text(encoding="utf-8"))
            count += store.add(run, result)
        except (OSError, ValueError, KeyError, AssertionError) as error:
            strange.append(f"{path}: no result of this run: {error!r}")
            continue
        path.with_suffix(".done").touch()
        path.unlink()
    finished = store.finished_keys()
    for path in sorted(folder.glob("*.failed")):
        run = runs.get(path.stem)
        if run is not None and run.key not in finished:
            failures.append((run, path.read_text(encoding="utf-8")))
        path.unlink()
    return count, failures, strange
