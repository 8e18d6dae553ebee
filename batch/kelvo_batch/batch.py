"""What a batch consists of, and the loop that stores its results."""

import dataclasses
import os
import pathlib
import shutil
from collections import Counter
from collections.abc import Iterable, Iterator
from typing import Any, Protocol

from . import execute
from .configurations import Configuration
from .errors import BatchError
from .problems import Problem
from .progress import Progress
from .store import Program, Run, Store

HERE = pathlib.Path(__file__).resolve().parent


class Workers(Protocol):
    """Who carries out tasks: this machine or a cluster."""

    jobs: int

    def results(self, tasks: list[dict[str, Any]]
                ) -> Iterator[tuple[str, dict[str, Any] | None, str | None]]: ...

    def close(self) -> None: ...


def default_program() -> str:
    """The planner of the checkout, the one installed with this program, or that on the path."""
    for place in (HERE.parents[1] / "build/release/bin/kelvo", HERE.parents[3] / "bin/kelvo"):
        if os.access(place, os.X_OK) and place.is_file():
            return str(place)
    return "kelvo"


def executable(name: str, purpose: str) -> tuple[str, str]:
    """(absolute path, SHA-256) of a program. Raises BatchError when there is none."""
    path = shutil.which(name)
    if path is None:
        state = "may not be executed" if os.path.exists(name) else "is not there"
        raise BatchError(f"The program {purpose}, {name}, {state}; --program tells another")
    path = os.path.abspath(path)
    try:
        return path, execute.hash_of(path)
    except OSError as error:
        raise BatchError(f"The program {purpose} cannot be read: {error}") from error


def find_program(program: str | None, judge: str | None) -> Program:
    path, sha256 = executable(program or default_program(), "that plans")
    judge_path, judge_sha256 = executable(judge, "that judges") if judge else (path, sha256)
    return Program(path, judge_path, (sha256, judge_sha256))


def runs_of(problems: list[Problem], configurations: list[Configuration],
            program: Program) -> list[Run]:
    return [Run(problem, configuration, program)
            for problem in problems for configuration in configurations]


def task_of(run: Run, nice: int, ship: bool = False) -> dict[str, Any]:
    """The task of execute.py for a run; with `ship` it brings the problem's texts along."""
    files = []
    for path, sha256 in zip(run.problem.paths, run.problem.sha256):
        text = None
        if ship:
            try:
                data = pathlib.Path(path).read_bytes()
            except OSError as error:
                raise BatchError(f"The problem {path} cannot be read any more: {error}") from error
            text = data.decode("utf-8", "surrogateescape")
        files.append({"path": path, "sha256": sha256, "text": text})
    program = run.program
    return {"key": run.key, "program": {"path": program.path, "sha256": program.sha256[0]},
            "judge": {"path": program.judge, "sha256": program.sha256[1]},
            "options": list(run.configuration.options), "pddl": run.problem.pddl, "files": files,
            "nice": nice, **dataclasses.asdict(run.configuration.limits)}


@dataclasses.dataclass
class Summary:
    """What a batch has come to: outcomes of all its runs, how many were there before, and the runs
    that could not be carried out with the reason."""

    outcomes: dict[str, Counter[str]]
    before: int
    failures: list[tuple[Run, str]]

    @property
    def faulty(self) -> int:
        """Runs that tell of a fault of the planner."""
        return sum(count["invalid plan"] + count["crash"] for count in self.outcomes.values())


def summary_of(store: Store, runs: Iterable[Run], before: int,
               failures: list[tuple[Run, str]]) -> Summary:
    keys = {run.key for run in runs}
    outcomes: dict[str, Counter[str]] = {run.configuration.name: Counter() for run in runs}
    for row in store.rows():
        if row["key"] in keys:
            outcomes[row["configuration"]][row["outcome"]] += 1
    return Summary(outcomes, before, failures)


def carry_out(store: Store, runs: list[Run], workers: Workers, nice: int = 0,
              ship: bool = False) -> Summary:
    """Carries out the runs that have no result yet, and stores each result as it comes."""
    finished = store.finished_keys()
    todo = {run.key: run for run in runs if run.key not in finished}
    progress = Progress(list(todo.values()), len(runs), workers.jobs)
    failures = []
    try:
        tasks = [task_of(run, nice, ship) for run in todo.values()]
        for key, result, failure in workers.results(tasks):
            run = todo[key]
            if result is None:
                failures.append((run, failure or "no reason is known"))
                progress.fail(run)
            elif store.add(run, result):
                progress.add(run, result["outcome"], result["wall_s"])
    finally:
        workers.close()
        progress.close()
    return summary_of(store, runs, len(runs) - len(todo), failures)
