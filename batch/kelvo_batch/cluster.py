"""Runs on a Dask cluster."""

import logging
from collections.abc import Iterator
from typing import Any

from . import execute, plans
from .errors import BatchError

# Dask gives a task to another worker when one is lost, and gives the task up after some lost workers;
# it is handed in anew this often before it counts as not carried out.
ATTEMPTS = 3


def connect(address: str) -> Any:
    """A client of the scheduler at an address. Raises BatchError when there is none."""
    try:
        import cloudpickle
        import distributed
    except ImportError as error:
        raise BatchError(f"--scheduler needs Dask: install python3-distributed ({error})") from error
    # What goes wrong is told here, in words that belong to the batch.
    for name in ("distributed", "tornado", "asyncio"):
        logging.getLogger(name).setLevel(logging.CRITICAL)
    # The workers need not have this package: they are sent its code.
    for module in (execute, plans):
        cloudpickle.register_pickle_by_value(module)
    try:
        return distributed.Client(address, timeout=10, set_as_default=False)
    except (OSError, ValueError, RuntimeError) as error:
        reason = str(error) or type(error).__name__
        raise BatchError(f"There is no scheduler at {address}: {reason}") from error


class DaskWorkers:
    """The workers of a scheduler; each carries out as many runs at a time as it has threads."""

    def __init__(self, address: str) -> None:
        self.address = address
        self.client = connect(address)
        self.jobs = sum(self.client.nthreads().values())
        self.supervisor = execute.SUPERVISOR.read_text(encoding="utf-8")
        self.futures: dict[str, Any] = {}

    def submit(self, task: dict[str, Any], attempt: int) -> Any:
        # The name of a task must not be that of one that has failed.
        future = self.client.submit(execute.try_to_execute, task, pure=False, retries=0,
                                    key=f"kelvo-batch-{task['key']}-{attempt}")
        self.futures[future.key] = future
        return future

    def results(self, tasks: list[dict[str, Any]]
                ) -> Iterator[tuple[str, dict[str, Any] | None, str | None]]:
        """(key, result, none) of each task as it comes, or (key, none, why there is no result)."""
        import distributed

        pending = {}
        for task in tasks:
            future = self.submit(dict(task, supervisor=self.supervisor), 1)
            pending[future.key] = (dict(task, supervisor=self.supervisor), 1)
        completed = distributed.as_completed(list(self.futures.values()), loop=self.client.loop)
        for future in completed:
            task, attempt = pending.pop(future.key)
            self.futures.pop(future.key)
            if future.status == "finished":
                result, failure = self.gather(future)
            elif future.status == "error":
                result, failure = None, f"{type(future.exception()).__name__}: {future.exception()}"
                if attempt < ATTEMPTS:
                    again = self.submit(task, attempt + 1)
                    pending[again.key] = (task, attempt + 1)
                    completed.add(again)
                    continue
            else:
                raise self.lost()
            # The worker may forget what is safe here.
            future.release()
            yield task["key"], result, failure

    def gather(self, future: Any) -> Any:
        try:
            return future.result()
        except Exception as error:
            raise self.lost() from error

    def lost(self) -> BatchError:
        return BatchError(f"The scheduler at {self.address} is lost. All results that were counted are "
                          "safe; the same command goes on from them.")

    def close(self) -> None:
        """Takes back what has not begun; runs at work end by their limits."""
        try:
            if self.futures:
                self.client.cancel(list(self.futures.values()))
            self.client.close(timeout=5)
        except Exception as error:
            logging.getLogger(__name__).debug("closing the client: %s", error)
