#!/usr/bin/env python3
"""Runs clang-tidy over the sources below src/, with the rules of .clang-tidy.

    tools/tidy.py build/clang            all sources, two jobs on two cores
    tools/tidy.py build/clang file...    these

The build folder is one of clang with a compilation database, built before: generated parsers are
read, and its list of includes tells which sources have changed. A source that was clean is looked at
again when it, a header of the project that it includes, or the rules have changed; the marks lie in
the build folder. Prints the warnings and exits with status 1 when there are any.
"""

import concurrent.futures
import hashlib
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
RULES = ROOT / ".clang-tidy"


def sources():
    """The sources of the project that are compiled."""
    paths = sorted((ROOT / "src").rglob("*.cpp"))
    return [p for p in paths if "templates" not in p.relative_to(ROOT).parts]


def includes_by_source(build):
    """The files of the project that each source was compiled from, as ninja has noted them."""
    deps = subprocess.run(["ninja", "-C", build, "-t", "deps"], capture_output=True, text=True,
                          check=False).stdout
    result = {}
    for block in deps.split("\n\n"):
        names = [line.strip() for line in block.splitlines()[1:]]
        files = {pathlib.Path(os.path.normpath(build / name)) for name in names}
        own = {f for f in files if f.is_relative_to(ROOT) and "cmake_pch" not in f.name}
        for source in (f for f in own if f.suffix == ".cpp"):
            result.setdefault(source, set()).update(own)
    return result


def digest(files):
    """Sums up the contents of the files and the rules."""
    total = hashlib.sha256()
    for path in [RULES, *sorted(files)]:
        total.update(str(path).encode() + b"\0")
        total.update(path.read_bytes() if path.exists() else b"")
    return total.hexdigest()


def tidy(build, source):
    """What clang-tidy says about a source, "" when it is clean."""
    command = ["clang-tidy", "-p", str(build), "--quiet", f"--header-filter=^{ROOT}/src/",
               str(source)]
    run = subprocess.run(command, capture_output=True, text=True, check=False)
    if run.returncode == 0 and not run.stdout.strip():
        return ""
    return run.stdout if run.stdout.strip() else f"{source}: clang-tidy failed\n{run.stderr}"


def main():
    if len(sys.argv) < 2:
        sys.exit("usage: tools/tidy.py <build folder> [<source>...]")
    build = pathlib.Path(sys.argv[1]).resolve()
    wanted = [pathlib.Path(name).resolve() for name in sys.argv[2:]] or sources()
    includes = includes_by_source(build)
    marks = build / "tidy"
    marks.mkdir(exist_ok=True)
    todo = []
    for source in wanted:
        mark = marks / (str(source.relative_to(ROOT)).replace("/", "-") + ".clean")
        state = digest(includes.get(source, {source}))
        if not (mark.exists() and mark.read_text() == state):
            todo.append((source, mark, state))
    num_unclean = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = pool.map(lambda item: tidy(build, item[0]), todo)
        for (source, mark, state), output in zip(todo, results):
            if output:
                num_unclean += 1
                print(output)
            else:
                mark.write_text(state)
    print(f"{len(wanted)} sources, {len(todo)} looked at, {num_unclean} with warnings")
    return 1 if num_unclean else 0


if __name__ == "__main__":
    sys.exit(main())
