"""The configurations of a batch: options of the planner, and limits."""

import dataclasses
import hashlib
import json
import os
import pathlib
import shlex

from . import execute
from .errors import BatchError

DEFAULTS = ["smt=-a smt", "ftp=-a ftp", "guided=-a ftp --ftp-search guided"]


@dataclasses.dataclass(frozen=True)
class Limits:
    """What a run may use, all its processes together; `judge_seconds` is for judging its plan."""

    cpu_seconds: float = 60
    wall_seconds: float = 250
    memory_mb: float = 4096
    judge_seconds: float = 600
    limit_addresses: bool = True


@dataclasses.dataclass(frozen=True)
class Configuration:
    """A name for options of the planner. Files among the options count with their contents."""

    name: str
    options: tuple[str, ...]
    limits: Limits

    @property
    def hash(self) -> str:
        contents = [execute.hash_of(option) for option in self.options if os.path.isfile(option)]
        text = json.dumps([self.name, self.options, dataclasses.astuple(self.limits), contents])
        return hashlib.sha256(text.encode()).hexdigest()


def parse(text: str, where: str, limits: Limits) -> Configuration:
    """A configuration from `name=options`; options alone are their own name."""
    name, equals, options = text.partition("=")
    if not equals or name.strip().startswith("-"):
        name, options = text, text
    try:
        words = shlex.split(options)
    except ValueError as error:
        raise BatchError(f"{where}: {error} in '{text}'") from error
    # The runs start in folders of their own machines: files are named from the root.
    words = [os.path.abspath(word) if os.path.isfile(word) else word for word in words]
    return Configuration(name.strip(), tuple(words), limits)


def read_configurations(texts: list[str], files: list[str], limits: Limits) -> list[Configuration]:
    """The configurations of options `-c` and of files with one a line; the default ones without any."""
    found = [parse(text, "-c", limits) for text in texts]
    for file in files:
        try:
            lines = pathlib.Path(file).read_text(encoding="utf-8").splitlines()
        except (OSError, UnicodeDecodeError) as error:
            raise BatchError(f"The configurations cannot be read: {error}") from error
        found += [parse(line, f"{file}:{number}", limits) for number, line in enumerate(lines, 1)
                  if line.strip() and not line.lstrip().startswith("#")]
    if not texts and not files:
        found = [parse(text, "default", limits) for text in DEFAULTS]
    if not found:
        raise BatchError("There are no configurations to run.")
    names: dict[str, Configuration] = {}
    for configuration in found:
        if not configuration.name:
            raise BatchError("A configuration has no name.")
        if names.setdefault(configuration.name, configuration) != configuration:
            raise BatchError(f"Two configurations have the name '{configuration.name}'.")
    return list(names.values())
