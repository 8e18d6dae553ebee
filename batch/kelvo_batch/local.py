"""Runs on this machine, several at a time."""

import queue
import subprocess
import threading
from collections.abc import Iterator
from typing import Any

from . import execute

# A supervisor that is lost (to the system's want of memory, say) says nothing about its run.
ATTEMPTS = 2


class LocalWorkers:
    """Threads that each carry out one task after the other. `close` ends the runs at work."""

    def __init__(self, jobs: int) -> None:
        self.jobs = jobs
        self.running: set[subprocess.Popen] = set()
        self.threads: list[threading.Thread] = []
        self.stopped = threading.Event()

    def results(self, tasks: list[dict[str, Any]]
                ) -> Iterator[tuple[str, dict[str, Any] | None, str | None]]:
        """(key, result, none) of each task as it comes, or (key, none, why there is no result)."""
        waiting: queue.SimpleQueue = queue.SimpleQueue()
        finished: queue.SimpleQueue = queue.SimpleQueue()
        for task in tasks:
            waiting.put(task)

        def work() -> None:
            while not self.stopped.is_set():
                try:
                    task = waiting.get_nowait()
                except queue.Empty:
                    return
                result = failure = None
                for _ in range(ATTEMPTS):
                    if result is None and not self.stopped.is_set():
                        result, failure = execute.try_to_execute(task, self.running)
                finished.put((task["key"], result, failure))

        self.threads = [threading.Thread(target=work) for _ in range(min(self.jobs, len(tasks)))]
        for thread in self.threads:
            thread.start()
        for _ in tasks:
            yield finished.get()

    def close(self) -> None:
        self.stopped.set()
        for thread in self.threads:
            while thread.is_alive():
                for process in list(self.running):
                    close_quietly(process.stdin)
                thread.join(0.05)


def close_quietly(stream: Any) -> None:
    try:
        stream.close()
    except OSError:
        pass
