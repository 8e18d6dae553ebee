"""The list of problems of a batch."""

import dataclasses
import hashlib
import os
import pathlib
import re
import shlex

from .errors import BatchError

DOMAIN_DEFINITION = re.compile(r"\(\s*define\s*\(\s*domain\s+([^\s()]+)", re.IGNORECASE)


@dataclasses.dataclass(frozen=True)
class Problem:
    """Files that are read one behind the other: ANML, or a PDDL domain and its problem.

    `hash` stands for the name and the contents; `domain` is what problems are grouped by.
    """

    name: str
    domain: str
    pddl: bool
    paths: tuple[str, ...]
    sha256: tuple[str, ...]

    @property
    def hash(self) -> str:
        text = "\0".join([self.name, "pddl" if self.pddl else "anml", *self.sha256])
        return hashlib.sha256(text.encode("utf-8", "surrogateescape")).hexdigest()


class Reader:
    """Reads files and keeps the complaints about those that cannot be read, so that all are told."""

    def __init__(self) -> None:
        self.complaints: list[str] = []
        self.texts: dict[pathlib.Path, bytes | None] = {}

    def read(self, path: pathlib.Path) -> bytes | None:
        if path not in self.texts:
            try:
                self.texts[path] = path.read_bytes()
            except OSError as error:
                self.complain(f"{path}: {error.strerror}")
                self.texts[path] = None
        return self.texts[path]

    def complain(self, text: str) -> None:
        self.complaints.append(text)

    def domain_name(self, path: pathlib.Path) -> str | None:
        """The name of the domain that a PDDL file defines, if it does."""
        match = DOMAIN_DEFINITION.search((self.read(path) or b"").decode(errors="replace"))
        return match[1] if match else None


def domain_for(problem: pathlib.Path, domains: list[pathlib.Path]) -> pathlib.Path | None:
    """The domain that belongs to a problem file by its name, or the only one of the folder."""
    stem = problem.stem
    for name in (stem.replace("problem", "domain"), stem + "-domain", stem + "_domain",
                 "domain-" + stem, "domain_" + stem, "domain"):
        for domain in domains:
            if domain.stem == name:
                return domain
    return domains[0] if len(domains) == 1 else None


def absolute(path: pathlib.Path) -> pathlib.Path:
    return pathlib.Path(os.path.abspath(path))


def text_of(name: str) -> str:
    """The name of a file as text, also where its bytes are none."""
    return name.encode("utf-8", "backslashreplace").decode()


def without_suffix(path: pathlib.Path) -> str:
    """The name of a problem by its file; `problem.pddl` is named by its folder."""
    path = path.with_suffix("")
    if path.name == "problem" and path.parent.name:
        path = path.parent
    return text_of(path.as_posix())


class Finder:
    """Collects problems from folders, files and lists."""

    def __init__(self) -> None:
        self.reader = Reader()
        self.found: list[Problem] = []

    def files_below(self, top: pathlib.Path) -> list[pathlib.Path]:
        """The problem files below a folder, in one order on every machine. Links to folders are
        followed, each folder is looked at once."""

        def complain(error: OSError) -> None:
            self.reader.complain(f"{error.filename}: {error.strerror}")

        found = []
        seen = set()
        for folder, folders, names in os.walk(top, onerror=complain, followlinks=True):
            seen.add(os.path.realpath(folder))
            folders[:] = sorted(name for name in folders
                                if os.path.realpath(os.path.join(folder, name)) not in seen)
            found += [pathlib.Path(folder) / name for name in names
                      if name.endswith((".anml", ".pddl"))]
        return sorted(found)

    def add(self, name: str, files: list[pathlib.Path], domain: str | None = None) -> None:
        """Adds a problem unless one of its files cannot be read."""
        texts = [self.reader.read(path) for path in files]
        if any(text is None for text in texts):
            return
        pddl = files[-1].suffix == ".pddl"
        domain = domain or (self.reader.domain_name(files[0]) if pddl else None)
        self.found.append(Problem(
            name, domain or text_of(absolute(files[-1]).parent.name), pddl,
            tuple(str(absolute(path)) for path in files),
            tuple(hashlib.sha256(text).hexdigest() for text in texts if text is not None)))

    def add_pair(self, name: str, problem: pathlib.Path, candidates: list[pathlib.Path]) -> None:
        domains = [path for path in candidates if self.reader.domain_name(path)]
        domain = domain_for(problem, domains)
        if domain is None:
            self.reader.complain(f"{problem}: no domain for it stands beside it")
        else:
            self.add(name, [domain, problem])

    def add_folder(self, top: pathlib.Path) -> None:
        before = len(self.found) + len(self.reader.complaints)
        base = absolute(top).parent
        pddl: dict[pathlib.Path, list[pathlib.Path]] = {}
        for path in self.files_below(top):
            if path.suffix == ".pddl":
                pddl.setdefault(path.parent, []).append(path)
            else:
                self.add(without_suffix(absolute(path).relative_to(base)), [path])
        for beside in pddl.values():
            domains = [path for path in beside if self.reader.domain_name(path)]
            for path in beside:
                if path not in domains and self.reader.read(path) is not None:
                    self.add_pair(without_suffix(absolute(path).relative_to(base)), path, domains)
        if len(self.found) + len(self.reader.complaints) == before:
            self.reader.complain(f"{top}: no problems in this folder")

    def add_path(self, path: pathlib.Path) -> None:
        if path.is_dir():
            self.add_folder(path)
        elif path.suffix == ".pddl":
            if self.reader.domain_name(path):
                self.reader.complain(f"{path}: a PDDL domain, no problem")
            elif self.reader.read(path) is not None:
                beside = sorted(path.parent.glob("*.pddl"))
                self.add_pair(without_suffix(path), path, [file for file in beside if file != path])
        else:
            self.add(without_suffix(path), [path])

    def add_list(self, path: pathlib.Path) -> None:
        """Adds what a list names: a problem a line, paths relative to the list's folder (see docs)."""
        text = self.reader.read(path)
        for number, line in enumerate((text or b"").decode(errors="replace").splitlines(), 1):
            try:
                words = shlex.split(line, comments=True)
            except ValueError as error:
                self.reader.complain(f"{path}:{number}: {error}")
                continue
            if not words:
                continue
            name = words.pop(0)[:-1] if words[0].endswith(":") else None
            files = [path.parent / word for word in words]
            if not files:
                self.reader.complain(f"{path}:{number}: a name without files")
            elif name is None and len(files) == 1:
                self.add_path(files[0])
            else:
                self.add(name or without_suffix(files[-1]), files)


def find_problems(paths: list[str], lists: list[str]) -> list[Problem]:
    """The problems that folders, files and lists name, in that order. Names are unique.

    Raises BatchError with all that cannot be read or is ambiguous.
    """
    finder = Finder()
    for path in paths:
        finder.add_path(pathlib.Path(path))
    for path in lists:
        finder.add_list(pathlib.Path(path))
    complaints = finder.reader.complaints
    names: dict[str, Problem] = {}
    for problem in finder.found:
        other = names.setdefault(problem.name, problem)
        if other.paths != problem.paths:
            complaints.append(f"two problems have the name {problem.name}: {other.paths[-1]} and "
                              f"{problem.paths[-1]}")
    if complaints:
        raise BatchError("These problems cannot be used; nothing was run:\n  "
                         + "\n  ".join(complaints))
    if not names:
        raise BatchError("There are no problems to run.")
    return list(names.values())
