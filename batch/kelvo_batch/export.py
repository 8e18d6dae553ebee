"""Results as CSV."""

import csv
import json
from typing import TextIO

from .store import Store

COLUMNS = ["problem", "domain", "configuration", "options", "outcome", "message", "exit_status",
           "cpu_s", "wall_s", "memory_mb", "makespan", "makespan_value", "steps", "states",
           "expanded", "horizon", "judge_cpu_s", "plan_file", "log_file", "program", "host",
           "finished", "key"]


def decimal(makespan: str | None) -> float | None:
    """An exact number as a decimal one."""
    if makespan is None:
        return None
    numerator, _, denominator = makespan.partition("/")
    return int(numerator) / int(denominator or 1)


def write_csv(store: Store, target: TextIO, history: bool = False) -> int:
    """Writes one line for each run that has a result and returns their number; with `history` also
    those of former programs, limits and problems."""
    writer = csv.writer(target, lineterminator="\n")
    writer.writerow(COLUMNS)
    count = 0
    for row in store.rows(history):
        if row["outcome"] is None:
            continue
        values = dict(row)
        values["options"] = " ".join(json.loads(values["options"]))
        values["makespan_value"] = decimal(values["makespan"])
        writer.writerow([values[column] for column in COLUMNS])
        count += 1
    return count
