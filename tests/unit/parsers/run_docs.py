#!/usr/bin/env python3
"""Runs the fenced examples of a document through the program. What stands behind "```anml" tells what
must happen:

    ```anml                 the problem is read
    ```anml plan            ftp finds a plan, and the validator accepts it
    ```anml no-plan         ftp says that there is none
    ```anml error: text     reading fails, and the message holds the text
"""

import argparse
import pathlib
import re
import subprocess
import sys
import tempfile

BLOCK = re.compile(r"^```anml(?: ([^\n]+))?\n(.*?)^```$", re.MULTILINE | re.DOTALL)


class Example:
    def __init__(self, binary, folder, text):
        self.binary = binary
        self.problem = folder / "problem.anml"
        self.plan = folder / "problem.plan"
        self.problem.write_text(text)

    def call(self, *arguments):
        return subprocess.run([self.binary, *arguments, str(self.problem)], capture_output=True,
                              text=True, timeout=300)

    def fault(self, expectation):
        """What went wrong, or None."""
        if expectation.startswith("error: "):
            result = self.call("transform")
            if result.returncode != 1 or expectation[len("error: "):] not in result.stderr:
                return result.stderr or "it is accepted"
            return None
        if expectation == "":
            result = self.call("transform")
            return result.stderr if result.returncode != 0 or not result.stdout else None
        result = self.call("solve", "-a", "ftp")
        if result.returncode != 0:
            return result.stderr
        if expectation == "no-plan":
            return None if "No solution exists." in result.stdout else result.stdout
        if expectation != "plan":
            return "unknown expectation"
        self.plan.write_text(result.stdout)
        verdict = self.call("validate", "--plan", str(self.plan))
        if "The plan is valid" not in verdict.stdout:
            return result.stdout + verdict.stdout + verdict.stderr
        return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--binary", required=True)
    parser.add_argument("document", type=pathlib.Path)
    arguments = parser.parse_args()
    text = arguments.document.read_text()
    faults = 0
    count = 0
    with tempfile.TemporaryDirectory() as folder:
        for match in BLOCK.finditer(text):
            count += 1
            example = Example(arguments.binary, pathlib.Path(folder), match.group(2))
            fault = example.fault((match.group(1) or "").strip())
            if fault is not None:
                faults += 1
                line = text.count("\n", 0, match.start()) + 1
                print(f"{arguments.document}:{line}: {match.group(1) or 'read'}: {fault}")
    print(f"{count} examples, {faults} faults")
    sys.exit(1 if faults or count == 0 else 0)


if __name__ == "__main__":
    main()
