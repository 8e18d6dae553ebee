#!/usr/bin/env python3
"""Checks that the includes of src/ point only to the layers below.

A folder is a layer, and the table names what each may include beside itself. The most specific
folder of a path counts. Prints the offending lines and exits with status 1 when there are any.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent / "src"

PLANNER_BASE = ["shell", "model", "temporal", "plans", "transformers", "planners",
                "planners/task"]
SEARCH_BASE = PLANNER_BASE + ["planners/search", "planners/heuristics"]
FTP = ["planners/ftp/task", "planners/ftp/relaxation", "planners/ftp/events", "planners/ftp/steps"]
ALL_BUT_APP = ["shell", "model", "temporal", "plans", "parsers", "transformers", "validation",
               "planners", "planners/task", "planners/search", "planners/heuristics", *FTP,
               "planners/ftp", "planners/tsimple", "planners/iw", "smt", "translators", "codegen",
               "solver/api"]

# The solver stands alone: no layer of it appears in the tables above but its interface.
SOLVER = ["base", "terms", "dpll", "theory", "la", "preprocessing", "api"]

ALLOWED = {
    "shell": [],
    "model": ["shell"],
    "temporal": ["shell"],
    "plans": ["shell", "model", "temporal"],
    "parsers": ["shell", "model"],
    "transformers": ["shell", "model", "plans"],
    "validation": ["shell", "model", "plans", "transformers"],
    "planners": ["shell", "model", "temporal", "plans", "transformers"],
    "planners/task": PLANNER_BASE,
    "planners/search": PLANNER_BASE,
    "planners/heuristics": PLANNER_BASE,
    "planners/ftp/task": SEARCH_BASE,
    "planners/ftp/relaxation": SEARCH_BASE + ["planners/ftp/task"],
    "planners/ftp/events": SEARCH_BASE + ["planners/ftp/task"],
    "planners/ftp/steps": SEARCH_BASE + ["planners/ftp/task", "planners/ftp/relaxation"],
    "planners/ftp": SEARCH_BASE + FTP,
    "planners/tsimple": SEARCH_BASE,
    "planners/iw": SEARCH_BASE + ["planners/tsimple"],
    "smt": PLANNER_BASE + ["solver/api"],
    "translators": ["shell", "model", "plans", "transformers"],
    "codegen": SEARCH_BASE + FTP + ["planners/ftp"],
    "app": ALL_BUT_APP,
}
for position, inner in enumerate(SOLVER):
    ALLOWED["solver/" + inner] = ["solver/" + lower for lower in SOLVER[:position]]

SOURCES = {".h", ".cpp", ".l", ".y", ".ll", ".yy", ".c"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def layer_of(path):
    """The most specific layer that holds a path relative to src, or None."""
    parts = path.split("/")[:-1]
    for length in range(len(parts), 0, -1):
        name = "/".join(parts[:length])
        if name in ALLOWED:
            return name
    return None


def check_file(path):
    """Yields the complaints about one file."""
    relative = path.relative_to(ROOT).as_posix()
    layer = layer_of(relative)
    if layer is None:
        yield f"src/{relative}: stands in no known layer"
        return
    allowed = set(ALLOWED[layer]) | {layer}
    for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
        match = INCLUDE.match(line)
        if not match:
            continue
        quote, included = match.groups()
        target = layer_of(included)
        where = f"src/{relative}:{number}"
        if quote == "<":
            if target is not None and (ROOT / included).exists():
                yield f"{where}: write \"{included}\" for a file of this project"
        elif target is None:
            yield f"{where}: the path \"{included}\" does not start at src/"
        elif target not in allowed:
            yield f"{where}: {layer} may not include {target} ({included})"


def main():
    complaints = []
    count = 0
    for path in sorted(ROOT.rglob("*")):
        # What the code generator embeds belongs to the generated programs.
        if path.suffix not in SOURCES or "templates" in path.relative_to(ROOT).parts:
            continue
        count += 1
        complaints.extend(check_file(path))
    print("\n".join(complaints + [f"{count} files, {len(complaints)} wrong includes"]))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
