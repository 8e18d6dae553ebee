#!/usr/bin/env python3
"""Runs the problems that stand in a Markdown file.

A block fenced by ```anml or ```pddl is read and printed by `transform`. A word behind it asks for more:
`plan` for a plan of `solve -a ftp` that `validate` accepts, `plan: text` for one with a line that holds
the text, `no-plan` for none, and `error: text` for a refusal whose message holds the text. A first line
`// -t ...` or `; -t ...` gives options to the run. `file: name` only saves the block for those behind it.

A block fenced by ```plan is a plan of the problem before it, which `validate --strict` calls `valid`, or
`invalid: text` with an explanation that holds the text.

A block fenced by ```uppaal, ```smv or ```ltl is what `convert-to` writes for the problem before it; a line
`...` stands for any lines. One fenced by ```trace uppaal or ```trace smv is a trace of it, and ```plan traced
behind it the plan that `trace-to-plan` makes of that, which must be valid.
"""

import argparse
import pathlib
import re
import subprocess
import sys
import tempfile

from run import CaseRunner, Run

FENCE = re.compile(r"^```(anml|pddl|plan|uppaal|smv|ltl|trace)(?: ([^\n]*))?\n(.*?)^```$", re.MULTILINE | re.DOTALL)


OPTIONS = re.compile(r"(?://|;) (-.*)\n")


def run_of(line, language, wish, problem):
    """The run that a block with this word asks for."""
    options = OPTIONS.match(problem)
    source = "-P %s" if language == "pddl" else "%s"
    arguments = (options.group(1) + " " if options else "") + source
    directives = {"plan": ("PLAN", "valid " + source), "no-plan": ("PLAN", "none")}
    if wish in directives:
        run = Run(line, "solve -a ftp " + arguments)
        run.directives.append((line, *directives[wish]))
    elif wish.startswith("error: "):
        run = Run(line, "transform " + arguments)
        run.directives += [(line, "EXIT", "1"), (line, "STDERR", wish[len("error: "):])]
    elif wish.startswith("plan: "):
        run = Run(line, "solve -a ftp " + arguments)
        run.directives += [(line, "STDOUT", ";; A plan has been found:"),
                           (line, "STDOUT", wish[len("plan: "):])]
    elif wish == "":
        run = Run(line, "transform " + arguments)
    else:
        sys.exit(f"line {line}: unknown word '{wish}'")
    return run


def judgement_of(line, wish, is_pddl):
    """The run that a block with a plan asks for."""
    source = "-P %s" if is_pddl else "%s"
    run = Run(line, f"validate --strict --explain --plan %t/block.plan {source}")
    if wish == "valid":
        run.directives.append((line, "STDOUT-IS", "The plan is valid."))
    elif wish.startswith("invalid: "):
        run.directives += [(line, "EXIT", "1"), (line, "STDOUT", wish[len("invalid: "):])]
    else:
        sys.exit(f"line {line}: unknown word '{wish}'")
    return run


def output_of(binary, *arguments):
    done = subprocess.run([binary, *map(str, arguments)], stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, check=False)
    return done.stdout if done.returncode == 0 else done.stderr


def is_told_by(block, text):
    """Whether the text is the block, whose lines `...` stand for any lines."""
    pattern = "".join("(?:.*\n)*?" if line.strip() == "..." else re.escape(line) + "\n"
                      for line in block.splitlines())
    return re.fullmatch(pattern, "\n".join(line.rstrip() for line in text.splitlines()) + "\n")


def translation_fault(binary, language, wish, source, folder):
    """What is wrong with a block of a target or of a trace; None for nothing."""
    problem, trace = folder / "block.anml", folder / "block.trace"
    if language == "trace":
        trace.write_text(source)
        (folder / "block.format").write_text(wish)
        return None
    if language == "plan":
        plan = output_of(binary, "trace-to-plan", "--input-format", (folder / "block.format").read_text(),
                         "--trace", trace, problem)
        (folder / "block.plan").write_text(plan)
        if not is_told_by(source, plan):
            return f"the trace is the plan\n{plan}"
        verdict = output_of(binary, "validate", "--strict", "--plan", folder / "block.plan", problem)
        return None if "The plan is valid." in verdict else "the plan of the trace is not valid"
    text = output_of(binary, "convert-to", "--target", language, problem)
    return None if is_told_by(source, text) else f"what is written is\n{text}"


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--binary", required=True, help="the program")
    parser.add_argument("document", type=pathlib.Path)
    options = parser.parse_args()

    text = options.document.read_text()
    faults = []
    count = 0
    with tempfile.TemporaryDirectory(prefix="kelvo_docs_") as name:
        folder = pathlib.Path(name)
        for block in FENCE.finditer(text):
            language, wish, source = block.group(1), block.group(2) or "", block.group(3)
            if wish.startswith("file: "):
                (folder / wish[len("file: "):]).write_text(source)
                continue
            count += 1
            line = text.count("\n", 0, block.start()) + 1
            problem = folder / "block.anml"
            if language in ("uppaal", "smv", "ltl", "trace") or wish == "traced":
                fault = translation_fault(options.binary, language, wish, source, folder)
                faults += [f"{options.document}, line {line}: {fault}"] if fault else []
                continue
            runner = CaseRunner(str(pathlib.Path(options.binary).resolve()), problem, folder)
            if language == "plan":
                (folder / "block.plan").write_text(source)
                runner.run(judgement_of(line, wish, is_pddl))
            else:
                is_pddl = language == "pddl"
                problem.write_text(source)
                runner.run(run_of(line, language, wish, source))
            faults += runner.faults
    if count == 0:
        faults.append(f"{options.document}: no block")
    print("\n".join(faults + [f"{count} blocks"]))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
