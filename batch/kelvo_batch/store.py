"""The folder of a batch: a database of results, plans and logs. One process writes at a time.

  results.db   the database below (SQLite, write-ahead log)
  plans/       the plan of each run that has one, as the planner printed it
  logs/        what each run wrote to standard error
  lock         names the batch that is at work; locked while it is
  slurm/       the array job and what it has not handed in yet (see slurm.py)

A run is known by its key, a hash of problem, configuration (options and limits) and program. A row of
`runs` is written in one transaction after its plan and log are on the disk, and never changed: after a
kill a run has its row, or it is carried out again.
"""

import contextlib
import dataclasses
import errno
import fcntl
import hashlib
import json
import os
import pathlib
import re
import socket
import sqlite3
import time
from collections.abc import Iterator
from typing import Any

from .configurations import Configuration, Limits
from .errors import BatchError, StoreFullError
from .problems import Problem

VERSION = 1

SCHEMA = """
CREATE TABLE problems (
  hash   TEXT PRIMARY KEY,     -- of the name and the contents
  name   TEXT NOT NULL,
  domain TEXT NOT NULL,        -- what problems are grouped by in reports
  pddl   INTEGER NOT NULL,     -- 1 for PDDL, 0 for ANML
  files  TEXT NOT NULL         -- JSON: [[path, SHA-256], ...]
);
CREATE TABLE configurations (
  hash    TEXT PRIMARY KEY,    -- of all that follows and of files among the options
  name    TEXT NOT NULL,
  options TEXT NOT NULL,       -- JSON: the words behind `solve`
  limits  TEXT NOT NULL        -- JSON: see configurations.Limits
);
CREATE TABLE programs (
  hash   TEXT PRIMARY KEY,     -- of both files
  path   TEXT NOT NULL,        -- the planner
  judge  TEXT NOT NULL,        -- who judges its plans
  sha256 TEXT NOT NULL         -- JSON: the two hashes
);
-- The batch: which runs it has, by the names that a report shows. A pair whose problem, options, limits
-- or program have changed gets another key; the row of its former run stays in `runs`.
CREATE TABLE wanted (
  problem       TEXT NOT NULL,
  configuration TEXT NOT NULL,
  key           TEXT NOT NULL UNIQUE,
  problem_hash       TEXT NOT NULL REFERENCES problems(hash),
  configuration_hash TEXT NOT NULL REFERENCES configurations(hash),
  program_hash       TEXT NOT NULL REFERENCES programs(hash),
  PRIMARY KEY (problem, configuration)
);
CREATE TABLE runs (
  key           TEXT PRIMARY KEY,
  problem_hash       TEXT NOT NULL REFERENCES problems(hash),
  configuration_hash TEXT NOT NULL REFERENCES configurations(hash),
  program_hash       TEXT NOT NULL REFERENCES programs(hash),
  outcome       TEXT NOT NULL, -- plan, invalid plan, no-solution proven, no-solution bounded,
                               -- no-solution undecided, timeout, memory, error, crash
  message       TEXT NOT NULL, -- why, in one line
  exit_status   INTEGER,       -- of the planner; minus the signal that ended it
  cpu_s         REAL NOT NULL, -- of all its processes
  wall_s        REAL NOT NULL,
  memory_mb     REAL NOT NULL, -- the most that all its processes had together
  makespan      TEXT,          -- an exact number: an integer or a fraction
  steps         INTEGER,
  states        INTEGER,       -- states generated, by the planner's log
  expanded      INTEGER,       -- states expanded
  horizon       INTEGER,       -- the last one that smt looked at
  judge_cpu_s   REAL,          -- for judging the plan
  plan_file     TEXT,          -- relative to the folder
  log_file      TEXT,
  host          TEXT NOT NULL,
  finished      TEXT NOT NULL  -- UTC
);
"""

RESULT_COLUMNS = ["key", "outcome", "message", "exit_status", "cpu_s", "wall_s", "memory_mb",
                  "makespan", "steps", "states", "expanded", "horizon", "judge_cpu_s", "host",
                  "finished"]


@dataclasses.dataclass(frozen=True)
class Program:
    """The planner and who judges its plans."""

    path: str
    judge: str
    sha256: tuple[str, str]

    @property
    def hash(self) -> str:
        return hashlib.sha256("".join(self.sha256).encode()).hexdigest()


@dataclasses.dataclass(frozen=True)
class Run:
    """One run of the batch."""

    problem: Problem
    configuration: Configuration
    program: Program

    @property
    def key(self) -> str:
        hashes = self.problem.hash + self.configuration.hash + self.program.hash
        return hashlib.sha256(hashes.encode()).hexdigest()

    @property
    def file_name(self) -> str:
        """A readable name that no other run has."""
        name = re.sub(r"[^\w.+-]+", "_", f"{self.problem.name}.{self.configuration.name}")
        return f"{name[-120:]}.{self.key[:12]}"


@contextlib.contextmanager
def writing(what: str) -> Iterator[None]:
    """Turns the errors of a full or broken disk into one that says what is safe."""
    try:
        yield
    except (OSError, sqlite3.Error) as error:
        full = getattr(error, "errno", None) in (errno.ENOSPC, errno.EDQUOT, errno.EFBIG)
        full = full or "full" in str(error)
        raise StoreFullError(
            f"{what} cannot be written: {'the disk is full' if full else error}. All results that were "
            "counted are safe; the same command goes on from them.") from error


def write_whole(path: pathlib.Path, text: str) -> None:
    """Writes a file such that it is there whole or not at all."""
    part = path.with_name(path.name + ".part")
    with open(part, "w", encoding="utf-8", errors="surrogateescape") as file:
        file.write(text)
        file.flush()
        os.fsync(file.fileno())
    os.replace(part, path)


class Lock:
    """Keeps a second batch out of the folder, and names the first."""

    def __init__(self, folder: pathlib.Path) -> None:
        path = folder / "lock"
        self.file = open(path, "a+", encoding="utf-8")
        try:
            # Unlike flock, these locks also hold between the machines of a cluster.
            fcntl.lockf(self.file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError as error:
            self.file.close()
            if error.errno not in (errno.EACCES, errno.EAGAIN):
                raise
            owner = path.read_text(encoding="utf-8").strip() or "another process"
            raise BatchError(f"Another batch is at work in {folder}: {owner}. "
                             "Wait for its end, or give this one another folder.") from error
        self.file.truncate(0)
        since = time.strftime("%Y-%m-%d %H:%M:%S")
        self.file.write(f"process {os.getpid()} on {socket.gethostname()}, since {since}\n")
        self.file.flush()

    def release(self) -> None:
        self.file.truncate(0)
        self.file.close()


class Store:
    """The results of a batch. With `write`, no one else may write until `close`."""

    def __init__(self, folder: str | os.PathLike[str], write: bool = False) -> None:
        self.folder = pathlib.Path(folder)
        self.lock = None
        database = self.folder / "results.db"
        if write:
            with writing(str(self.folder)):
                for name in ("plans", "logs"):
                    (self.folder / name).mkdir(parents=True, exist_ok=True)
                self.lock = Lock(self.folder)
        elif not database.is_file():
            raise BatchError(f"{self.folder} is not the folder of a batch: it has no results.db")
        try:
            self.connection = sqlite3.connect(database, timeout=30, isolation_level=None)
            self.connection.row_factory = sqlite3.Row
            if write:
                self.prepare()
            self.check_version()
        except BaseException:
            self.close()
            raise

    def prepare(self) -> None:
        with writing(f"{self.folder}/results.db"), self.reading():
            self.connection.execute("PRAGMA journal_mode = WAL")
            self.connection.execute("PRAGMA synchronous = FULL")
            self.connection.execute("BEGIN IMMEDIATE")
            if self.connection.execute("PRAGMA user_version").fetchone()[0] == 0:
                for statement in SCHEMA.split(";\n"):
                    self.connection.execute(statement)
                self.connection.execute(f"PRAGMA user_version = {VERSION}")
            self.connection.execute("COMMIT")

    @contextlib.contextmanager
    def reading(self) -> Iterator[None]:
        try:
            yield
        except sqlite3.DatabaseError as error:
            if "not a database" not in str(error) and "malformed" not in str(error):
                raise
            raise BatchError(f"{self.folder}/results.db is no database of a batch: {error}") from error

    def check_version(self) -> None:
        with self.reading():
            version = self.connection.execute("PRAGMA user_version").fetchone()[0]
        if version != VERSION:
            raise BatchError(f"{self.folder}/results.db has version {version} of the tables; this "
                             f"program knows version {VERSION}")

    def close(self) -> None:
        if hasattr(self, "connection"):
            self.connection.close()
        if self.lock:
            self.lock.release()
            self.lock = None

    def __enter__(self) -> "Store":
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def want(self, runs: list[Run]) -> None:
        """Makes these the runs of their pairs of problem and configuration; other pairs stay."""
        with writing(f"{self.folder}/results.db"):
            self.connection.execute("BEGIN IMMEDIATE")
            for run in runs:
                self.put_descriptions(run)
                # One key cannot be there twice: it holds both names.
                self.connection.execute(
                    "INSERT OR REPLACE INTO wanted VALUES (?, ?, ?, ?, ?, ?)",
                    (run.problem.name, run.configuration.name, run.key, run.problem.hash,
                     run.configuration.hash, run.program.hash))
            self.connection.execute("COMMIT")

    def put_descriptions(self, run: Run) -> None:
        problem, configuration, program = run.problem, run.configuration, run.program
        files = json.dumps(list(zip(problem.paths, problem.sha256)))
        rows = [("problems", (problem.hash, problem.name, problem.domain, problem.pddl, files)),
                ("configurations", (configuration.hash, configuration.name,
                                    json.dumps(configuration.options),
                                    json.dumps(dataclasses.asdict(configuration.limits)))),
                ("programs", (program.hash, program.path, program.judge,
                              json.dumps(program.sha256)))]
        for table, row in rows:
            # The newest path counts: files may have moved.
            self.connection.execute(
                f"INSERT OR REPLACE INTO {table} VALUES ({', '.join('?' * len(row))})", row)

    def wanted(self) -> list[Run]:
        """The runs of the batch, in the order in which they were asked for."""
        table = "SELECT * FROM {}"
        problems, configurations, programs = (
            {row["hash"]: row for row in self.connection.execute(table.format(name))}
            for name in ("problems", "configurations", "programs"))
        return [Run(problem_of(problems[row["problem_hash"]]),
                    configuration_of(configurations[row["configuration_hash"]]),
                    program_of(programs[row["program_hash"]]))
                for row in self.connection.execute("SELECT * FROM wanted ORDER BY rowid")]

    def finished_keys(self) -> set[str]:
        return {row[0] for row in self.connection.execute("SELECT key FROM runs")}

    def add(self, run: Run, result: dict[str, Any]) -> bool:
        """Stores a result. Returns false, and changes nothing, when the run has one already."""
        assert result["key"] == run.key
        if self.connection.execute("SELECT 1 FROM runs WHERE key = ?", (run.key,)).fetchone():
            return False
        files: dict[str, str | None] = {"plan_file": None, "log_file": None}
        with writing(f"The result of {run.problem.name} with {run.configuration.name}"):
            for kind in ("plan", "log"):
                if result[kind]:
                    name = f"{kind}s/{run.file_name}.{kind}"
                    write_whole(self.folder / name, result[kind])
                    files[f"{kind}_file"] = name
            row = {"problem_hash": run.problem.hash, "configuration_hash": run.configuration.hash,
                   "program_hash": run.program.hash, **files,
                   **{column: result[column] for column in RESULT_COLUMNS}}
            marks = ", ".join("?" * len(row))
            self.connection.execute(
                f"INSERT INTO runs ({', '.join(row)}) VALUES ({marks})", list(row.values()))
        return True

    def rows(self, history: bool = False) -> list[sqlite3.Row]:
        """The batch's runs with their results, if they have one; with `history` all runs ever stored."""
        source = "runs" if history else "wanted LEFT JOIN runs USING (key)"
        base = "runs" if history else "wanted"
        return self.connection.execute(f"""
            SELECT problems.name AS problem, problems.domain AS domain,
                   configurations.name AS configuration, configurations.options AS options,
                   configurations.limits AS limits, programs.path AS program, runs.*
            FROM {source}
            JOIN problems ON problems.hash = {base}.problem_hash
            JOIN configurations ON configurations.hash = {base}.configuration_hash
            JOIN programs ON programs.hash = {base}.program_hash
            ORDER BY {base}.rowid""").fetchall()


def problem_of(row: sqlite3.Row) -> Problem:
    files = json.loads(row["files"])
    return Problem(row["name"], row["domain"], bool(row["pddl"]),
                   tuple(path for path, _ in files), tuple(sha256 for _, sha256 in files))


def configuration_of(row: sqlite3.Row) -> Configuration:
    return Configuration(row["name"], tuple(json.loads(row["options"])),
                         Limits(**json.loads(row["limits"])))


def program_of(row: sqlite3.Row) -> Program:
    first, second = json.loads(row["sha256"])
    return Program(row["path"], row["judge"], (first, second))
