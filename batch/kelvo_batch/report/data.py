"""What a report tells, computed from the rows of a batch."""

import csv
import dataclasses
import json
import pathlib
from collections import Counter, defaultdict
from fractions import Fraction
from typing import Any

from ..errors import BatchError
from ..store import Store

# The outcomes that decide a problem.
SOLVED = ("plan", "no-solution proven")
NAME_COLUMNS = ("problem", "instance", "name")
MAKESPAN_COLUMNS = ("makespan", "best_known_makespan", "reference")


@dataclasses.dataclass(frozen=True)
class Result:
    """One run; `outcome` is empty while there is no result."""

    problem: str
    domain: str
    configuration: str
    outcome: str
    message: str
    cpu_s: float
    memory_mb: float
    makespan: Fraction | None
    states: int | None
    log_file: str | None

    @property
    def is_solved(self) -> bool:
        return self.outcome in SOLVED


def result_of(row: Any) -> Result:
    has_plan = row["outcome"] == "plan" and row["makespan"] is not None
    return Result(row["problem"], row["domain"], row["configuration"], row["outcome"] or "",
                  row["message"] or "", row["cpu_s"] or 0.0, row["memory_mb"] or 0.0,
                  Fraction(row["makespan"]) if has_plan else None, row["states"], row["log_file"])


def read_references(path: str) -> dict[str, Fraction]:
    """Known makespans by problem, from a table (CSV) with a column of names and one of makespans."""
    references = {}
    try:
        with open(path, encoding="utf-8", newline="") as file:
            reader = csv.DictReader(file)
            columns = reader.fieldnames or []
            name = next((column for column in NAME_COLUMNS if column in columns), None)
            makespan = next((column for column in MAKESPAN_COLUMNS if column in columns), None)
            if name is None or makespan is None:
                raise BatchError(f"{path}: no columns '{NAME_COLUMNS[0]}' and "
                                 f"'{MAKESPAN_COLUMNS[0]}' in its first line")
            for row in reader:
                if row[makespan]:
                    references[row[name]] = Fraction(row[makespan])
    except (OSError, UnicodeDecodeError) as error:
        raise BatchError(f"The references cannot be read: {error}") from error
    except (ValueError, ZeroDivisionError) as error:
        raise BatchError(f"{path}:{reader.line_num}: {error}") from error
    return references


class Results:
    """The runs of a batch in tables. Configurations, domains and problems are in the order in which
    they were asked for."""

    def __init__(self, store: Store, references: str | None) -> None:
        rows = store.rows()
        self.results = [result_of(row) for row in rows]
        self.by_name = {(r.problem, r.configuration): r for r in self.results}
        self.configurations = list(dict.fromkeys(r.configuration for r in self.results))
        self.problems = list(dict.fromkeys(r.problem for r in self.results))
        self.domain_of = {r.problem: r.domain for r in self.results}
        self.domains = list(dict.fromkeys(self.domain_of.values()))
        self.options = {row["configuration"]: " ".join(json.loads(row["options"])) for row in rows}
        self.limits = {row["configuration"]: json.loads(row["limits"]) for row in rows}
        self.programs = list(dict.fromkeys(row["program"] for row in rows))
        self.last = max((row["finished"] for row in rows if row["finished"]), default="")
        known = read_references(references) if references else {}
        self.references = {}
        for problem in self.problems:
            for name in (problem, pathlib.PurePosixPath(problem).name):
                if name in known:
                    self.references[problem] = known[name]
                    break

    def of(self, configuration: str) -> list[Result]:
        return [r for r in self.results if r.configuration == configuration]

    def outcomes(self, configuration: str) -> Counter[str]:
        return Counter(r.outcome for r in self.of(configuration))

    def best(self, problem: str) -> Fraction | None:
        """The least makespan that is known: of the reference and of the plans of the batch."""
        known = [r.makespan for c in self.configurations
                 if (r := self.by_name.get((problem, c))) and r.makespan is not None]
        if problem in self.references:
            known.append(self.references[problem])
        return min(known, default=None)

    def score(self, result: Result) -> Fraction:
        """1 for the best plan that is known, less for a longer one, 0 for none; 1 for a proof that there
        is no plan."""
        if result.outcome == "no-solution proven":
            return Fraction(1)
        if result.makespan is None:
            return Fraction(0)
        return ratio(self.best(result.problem), result.makespan)

    def quality(self, result: Result) -> Fraction | None:
        """The reference's makespan divided by that of the plan."""
        if result.makespan is None or result.problem not in self.references:
            return None
        return ratio(self.references[result.problem], result.makespan)

    def by_domain(self) -> dict[str, dict[str, tuple[int, int, Fraction]]]:
        """By domain and configuration: (solved, runs, sum of the scores)."""
        table: dict[str, dict[str, tuple[int, int, Fraction]]] = defaultdict(dict)
        for domain in self.domains:
            for configuration in self.configurations:
                runs = [r for r in self.of(configuration) if r.domain == domain]
                table[domain][configuration] = (sum(r.is_solved for r in runs), len(runs),
                                                sum(map(self.score, runs), Fraction(0)))
        return table


def ratio(best: Fraction | None, makespan: Fraction) -> Fraction:
    """An empty plan has makespan 0 and is as good as any."""
    return best / makespan if best is not None and makespan > 0 else Fraction(1)
