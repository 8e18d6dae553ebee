#!/usr/bin/env python3
"""Writes each example as PDDL and reads it back.

What is read back must be written as the same lines, in any order, and have a plan if, and only if, the
example has one. An example outside the fragment must be refused in so many words, and leave no file.
"""

import argparse
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
REFUSALS = ["The type of a fluent has to be boolean or rational only!",
            "Not-start assigns are forbidden!", "Not-end goals are forbidden!",
            "Found a forbidden expression'",
            "The problem contains an expression operator kindthat is forbidden!"]
LEAST_NUMBER_WRITTEN = 8


def examples():
    """The arguments that stand for each example, and whether it is solved."""
    folder = ROOT / "examples"
    for path in sorted(folder.glob("*.anml")):
        yield [str(path)], True
    for path in sorted((folder / "families").glob("*.anml")):
        yield [str(path)], False
    for domain in sorted((folder / "pddl").glob("*_domain.pddl")):
        problem = domain.with_name(domain.name.replace("_domain", "_problem"))
        yield ["-P", str(domain), str(problem)], True


def lines_of(text):
    """The lines in alphabetical order, without the conjunctions around them."""
    # The reader's mark keeps parameters from hiding other names.
    lines = [line.strip().removeprefix("(and ").rstrip(")") for line in text.splitlines()]
    return sorted(line.replace("_param_", "") for line in lines if line)


class RoundTrip:
    def __init__(self, binary, folder):
        self.binary = binary
        self.folder = folder
        self.faults = []
        self.written = 0

    def call(self, *arguments):
        return subprocess.run([self.binary, *arguments], capture_output=True, cwd=self.folder,
                              text=True, check=False)

    def convert(self, source, name):
        """The result and the lines of both texts; none where no file was written."""
        files = [self.folder / f"{name}_domain.pddl", self.folder / f"{name}_problem.pddl"]
        result = self.call("convert-to", "--target", "pddl", "--domain", str(files[0]), "--problem",
                           str(files[1]), *source)
        texts = [path.read_text() if path.exists() else "" for path in files]
        return result, [lines_of(text) for text in texts], list(map(str, files))

    def answer(self, source):
        result = self.call("solve", "-a", "ftp", "--ftp-search", "guided", *source)
        return result.stdout.splitlines()[0] if result.stdout else result.stderr

    def run(self, source, number, is_solved):
        result, first, files = self.convert(source, f"e{number}")
        if result.returncode != 0:
            if not any(text in result.stderr for text in REFUSALS):
                self.faults.append(f"{source}: {result.stderr}")
            if any(first):
                self.faults.append(f"{source}: refused, and yet a file was written")
            return
        self.written += 1
        result, second, _ = self.convert(["-P", *files], f"again{number}")
        if first != second:
            self.faults.append(f"{source}: read back otherwise\n{result.stderr}")
        if is_solved and self.answer(source) != self.answer(["-P", *files]):
            self.faults.append(f"{source}: only one of the two has a plan")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--binary", required=True, help="the program")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="kelvo_pddl_") as folder:
        trip = RoundTrip(str(pathlib.Path(options.binary).resolve()), pathlib.Path(folder))
        for number, (source, is_solved) in enumerate(examples()):
            trip.run(source, number, is_solved)
    if trip.written < LEAST_NUMBER_WRITTEN:
        trip.faults.append(f"only {trip.written} examples were written")
    print("\n".join(trip.faults + [f"{trip.written} examples written and read back"]))
    return 1 if trip.faults else 0


if __name__ == "__main__":
    sys.exit(main())
