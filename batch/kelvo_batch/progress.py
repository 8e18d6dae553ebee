"""One line on a terminal that tells how far a batch is."""

import sys
import time
from collections import Counter, defaultdict
from typing import TextIO

from .store import Run


def duration(seconds: float) -> str:
    minutes = round(seconds / 60)
    if seconds < 90:
        return f"{max(round(seconds), 1)} s"
    if minutes < 90:
        return f"{minutes} min"
    return f"{minutes // 60} h {minutes % 60:02} min"


class Progress:
    """Counts results and guesses the rest by the mean time of each configuration. Shows nothing where
    `stream` is no terminal."""

    def __init__(self, todo: list[Run], total: int, parallel: int,
                 stream: TextIO = sys.stderr) -> None:
        self.left = Counter(run.configuration.name for run in todo)
        self.total = total
        self.parallel = parallel
        self.stream = stream
        self.shown = stream.isatty()
        self.seconds: defaultdict[str, list[float]] = defaultdict(list)
        self.outcomes: Counter[str] = Counter()
        self.begin = time.monotonic()
        self.show()

    def add(self, run: Run, outcome: str, seconds: float) -> None:
        self.left[run.configuration.name] -= 1
        self.seconds[run.configuration.name].append(seconds)
        self.outcomes["no plan" if outcome.startswith("no-solution") else outcome] += 1
        self.show()

    def fail(self, run: Run) -> None:
        self.left[run.configuration.name] -= 1
        self.outcomes["not carried out"] += 1
        self.show()

    def seconds_left(self) -> float | None:
        """None before there is anything to guess by."""
        known = [second for seconds in self.seconds.values() for second in seconds]
        if not known:
            return None
        overall = sum(known) / len(known)
        work = 0.0
        for name, count in self.left.items():
            seconds = self.seconds.get(name)
            work += count * (sum(seconds) / len(seconds) if seconds else overall)
        return work / max(min(self.parallel, self.left.total()), 1)

    def text(self) -> str:
        left = self.left.total()
        parts = [f"{self.total - left} of {self.total} runs"]
        parts += [f"{count} {outcome}" for outcome, count in sorted(self.outcomes.items())]
        rest = self.seconds_left()
        if left and rest is not None:
            parts.append(f"about {duration(rest)} left")
        return ", ".join(parts)

    def show(self) -> None:
        if self.shown:
            # Back to the first column, and away with what was there.
            self.stream.write(f"\r{self.text()}\033[K")
            self.stream.flush()

    def close(self) -> None:
        if self.shown:
            self.stream.write("\n")
            self.stream.flush()
