#!/usr/bin/env python3
"""Runs case files: each carries its command lines and what they must do.

    // RUN: solve -a ftp -t flattener %s     the arguments; what follows is about this run
    // EXIT: 0                               the exit status, 0 if not told
    // PLAN: valid                           standard output is a plan that `validate` accepts for
    //                                       %s, or for the arguments behind "valid", with and
    //                                       without `--strict`
    // PLAN: none                            standard output is "No solution exists."
    // STDOUT: text                          a line of the output holds the text (also STDERR:)
    // STDOUT-NOT: text                      no line does (also STDERR-NOT:)
    // STDOUT-RE: pattern                    a line holds a match (also STDERR-RE:)
    // STDOUT-COUNT: 2 text                  exactly so many lines hold it (also STDERR-COUNT:)
    // STDOUT-IS: line                       the output is exactly these lines (also STDERR-IS:)
    // STDOUT-EMPTY:                         nothing was written (also STDERR-EMPTY:)
    // STDIN: %s                             what is opened as standard input, or - for none at all
    // TO: /dev/full                         what is opened as standard output, or - for none at all
    // WRITE: name                           saves the output as %t/name for later runs
    // FILE: name: text                      a line of %t/name holds the text
    // FILE-IS: name: %S/other               %t/name is the same text as the other file
    // NO-FILE: name                         %t/name was not written

A mark may be written behind `//`, `;` or `#`. %s is the case file, %S its folder, %R the root of the
project and %t a fresh folder in which the program runs. Lines of STDOUT: and STDERR: stand in the
order told. "{s}" and the like are no marks: the text of a directive is taken as it is, but for %
words. Several runs may stand in one file.
"""

import argparse
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
DIRECTIVE = re.compile(
    r"^\s*(?://|;+|#)\s*(RUN|EXIT|PLAN|STDIN|TO|WRITE|FILE|FILE-IS|NO-FILE|"
    r"(?:STDOUT|STDERR)(?:-NOT|-RE|-COUNT|-IS|-EMPTY)?):(?: (.*))?$")
TIME_LIMIT = 600
UNCONFIRMED = "No plan could be confirmed"


class Run:
    """One command with its directives."""

    def __init__(self, line, arguments):
        self.line = line
        self.arguments = arguments
        self.directives = []


def read_case(path):
    runs = []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        match = DIRECTIVE.match(line)
        if not match:
            continue
        name, text = match.group(1), match.group(2) or ""
        if name == "RUN":
            runs.append(Run(number, text))
        elif not runs:
            sys.exit(f"{path}:{number}: {name} stands before the first RUN")
        else:
            runs[-1].directives.append((number, name, text))
    if not runs:
        sys.exit(f"{path}: no RUN")
    return runs


class CaseRunner:
    def __init__(self, binary, path, folder):
        self.binary = binary
        self.path = path
        self.folder = folder
        self.faults = []

    def expand(self, text):
        words = {"%s": self.path, "%S": self.path.parent, "%R": ROOT, "%t": self.folder}
        return re.sub(r"%[sSRt](?![A-Za-z0-9])", lambda m: str(words[m.group(0)]), text)

    def call(self, arguments, stdin="/dev/null", to=None):
        """A stream named - is closed; without `to` standard output is captured."""
        command = [self.binary] + shlex.split(self.expand(arguments))
        opened = {0: os.open(stdin, os.O_RDONLY) if stdin != "-" else None,
                  1: os.open(to, os.O_WRONLY) if to not in (None, "-") else None}
        closed = [number for number, name in ((0, stdin), (1, to)) if name == "-"]

        def close_streams():
            for number in closed:
                os.close(number)

        try:
            result = subprocess.run(
                command, stdin=opened[0], stdout=subprocess.PIPE if to is None else opened[1],
                stderr=subprocess.PIPE, cwd=self.folder, timeout=TIME_LIMIT, text=True,
                errors="replace", preexec_fn=close_streams if closed else None)
        finally:
            for number in opened.values():
                if number is not None:
                    os.close(number)
        result.stdout = result.stdout or ""
        return result

    def fault(self, line, message):
        self.faults.append(f"{self.path}:{line}: {message}")

    def run(self, run):
        before = len(self.faults)
        streams = {name: self.expand(text) for _, name, text in run.directives
                   if name in ("STDIN", "TO")}
        result = self.call(run.arguments, streams.get("STDIN", "/dev/null"), streams.get("TO"))
        self.check(run, result)
        if len(self.faults) > before:
            shown = f"  command: kelvo {self.expand(run.arguments)}\n  status: {result.returncode}"
            for name, text in (("stdout", result.stdout), ("stderr", result.stderr)):
                shown += f"\n  {name}:\n" + "\n".join("    " + l for l in text.splitlines()[:60])
            self.faults.append(shown)

    def check(self, run, result):
        expected_status = 0
        exact = {}
        streams = {"STDOUT": result.stdout, "STDERR": result.stderr}
        at = {"STDOUT": 0, "STDERR": 0}
        for line, name, text in run.directives:
            text = self.expand(text) if name != "STDIN" else text
            stream, _, form = name.partition("-")
            if name == "EXIT":
                expected_status = int(text)
            elif name == "PLAN":
                self.check_plan(line, text, result)
            elif name == "WRITE":
                (self.folder / text).write_text(result.stdout)
            elif name == "FILE":
                self.check_file(line, *text.split(": ", 1))
            elif name == "FILE-IS":
                self.check_same(line, *text.split(": ", 1))
            elif name == "NO-FILE":
                if (self.folder / text).exists():
                    self.fault(line, f"{text} was written")
            elif form == "IS":
                exact.setdefault(stream, []).append(text)
                exact.setdefault(stream + " line", line)
            elif stream in streams:
                at[stream] = self.check_stream(line, form, text, streams[stream].splitlines(),
                                               at[stream], name)
        for stream, output in streams.items():
            if stream in exact and output != "\n".join(exact[stream]) + "\n":
                self.fault(exact[stream + " line"], f"{stream} is not exactly as told")
        # A planner that finds what is no plan has a fault, whatever else it prints.
        if UNCONFIRMED in result.stderr and not any(UNCONFIRMED in d[2] for d in run.directives):
            self.fault(run.line, "a plan was found that the judge refuses")
        if result.returncode != expected_status:
            self.fault(run.line, f"exit status {result.returncode} instead of {expected_status}")

    def check_stream(self, line, form, text, lines, at, name):
        """Returns the position behind the line that was found."""
        if form == "EMPTY":
            if lines:
                self.fault(line, f"{name}: something was written")
        elif form == "NOT":
            if any(text in l for l in lines):
                self.fault(line, f"{name}: {text!r} was written")
        elif form == "RE":
            if not any(re.search(text, l) for l in lines):
                self.fault(line, f"{name}: no line matches {text!r}")
        elif form == "COUNT":
            count, wanted = text.split(" ", 1)
            found = sum(wanted in l for l in lines)
            if found != int(count):
                self.fault(line, f"{name}: {found} lines hold {wanted!r}")
        else:
            for position in range(at, len(lines)):
                if text in lines[position]:
                    return position + 1
            behind = " behind the one before" if any(text in l for l in lines) else ""
            self.fault(line, f"{name}: no line{behind} holds {text!r}")
        return at

    def check_plan(self, line, text, result):
        verdict, _, sources = text.partition(" ")
        if verdict == "none":
            if result.stdout != "No solution exists.\n":
                self.fault(line, "PLAN: there should be none")
            return
        if verdict != "valid":
            sys.exit(f"{self.path}:{line}: PLAN: valid or none")
        if not result.stdout.startswith(";; A plan has been found:\n"):
            self.fault(line, "PLAN: none was found")
            return
        plan = self.folder / "plan_of_the_run"
        plan.write_text(result.stdout)
        for mode, sentence in (("", "The plan is valid!\n"),
                               ("--strict --explain", "The plan is valid.\n")):
            judged = self.call(f"validate {mode} -l 5 --plan {plan} {sources or '%s'}")
            if judged.returncode != 0 or sentence not in judged.stdout:
                self.fault(line, f"PLAN: not valid {mode}\n{judged.stdout}{judged.stderr}")

    def check_file(self, line, name, text):
        path = self.folder / name
        if not path.exists():
            self.fault(line, f"FILE: {name} was not written")
        elif not any(text in l for l in path.read_text().splitlines()):
            self.fault(line, f"FILE: no line of {name} holds {text!r}")

    def check_same(self, line, name, other):
        path = self.folder / name
        if not path.exists():
            self.fault(line, f"FILE-IS: {name} was not written")
        elif path.read_text() != pathlib.Path(other).read_text():
            self.fault(line, f"FILE-IS: {name} differs from {other}")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--binary", required=True, help="the program")
    parser.add_argument("cases", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    binary = str(pathlib.Path(options.binary).resolve())

    failed = 0
    for path in options.cases:
        with tempfile.TemporaryDirectory(prefix="kelvo_cli_") as folder:
            runner = CaseRunner(binary, path.resolve(), pathlib.Path(folder))
            for run in read_case(path):
                try:
                    runner.run(run)
                except subprocess.TimeoutExpired:
                    runner.fault(run.line, f"still running after {TIME_LIMIT} s")
        if runner.faults:
            failed += 1
            print("\n".join(runner.faults))
        print(f"{'FAILED' if runner.faults else 'passed'}: {path}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
