#!/usr/bin/env python3
"""Reads traces of a million lines back: the plan has all their steps, and noise at the end of such a trace
is told with its line. Prints the time it took."""

import argparse
import pathlib
import subprocess
import sys
import tempfile
import time

PROBLEM = """
fluent boolean on;
action blink() { duration := 1; [start] on := true; [end] on := false; };
[start] on := false;
[end] not on;
"""
NUM_LINES = 1_000_000


def uppaal(num_rounds):
    yield "State:\n( MODEL.l_0 )\n\nTransitions:\n  Delay: 1\n"
    for _ in range(num_rounds):
        yield "  Delay: 1\n  MODEL.a->MODEL.b { x_blink_start := 1 }\n"
        yield "  Delay: 1\n  MODEL.a->MODEL.b { x_blink_end := 1 }\n"


def smv(num_rounds):
    yield '<?xml version="1.0"?>\n<counter-example>\n'
    yield '<node><value variable="blink_running">FALSE</value></node>\n'
    for time_ in range(num_rounds):
        for moment, value in ((2 * time_ + 1, "TRUE"), (2 * time_ + 2, "FALSE")):
            yield f'<transition type="timed" to="{moment}"/>\n<transition type="discrete"/>\n'
            yield f'<node>\n<value variable="blink_running">{value}</value>\n</node>\n'
    yield "</counter-example>\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--binary", required=True)
    binary = str(pathlib.Path(parser.parse_args().binary).resolve())
    faults = []
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "problem.anml").write_text(PROBLEM)
        for target, make, lines, noise in (("uppaal", uppaal, 4, "  Delay: abc\n"),
                                           ("smv", smv, 10, "<node>\n")):
            num_rounds = NUM_LINES // lines
            text = "".join(make(num_rounds))
            if text.count("\n") < NUM_LINES:
                faults.append(f"{target}: only {text.count(chr(10))} lines")
            for trace in (text, text + noise):
                (folder / "trace").write_text(trace)
                begin = time.monotonic()
                done = subprocess.run([binary, "trace-to-plan", "--input-format", target, "--trace", "trace",
                                       "--output", "plan", "problem.anml"], cwd=folder, check=False,
                                      capture_output=True, text=True)
                print(f"{target}: {time.monotonic() - begin:.2f} s, exit {done.returncode}")
                if trace is not text:
                    if done.returncode == 0 or f"line {trace.count(chr(10))}" not in done.stderr:
                        faults.append(f"{target}: noise at the end: {done.stderr[-200:]}")
                    continue
                steps = (folder / "plan").read_text().count("blink()") if done.returncode == 0 else 0
                if steps != num_rounds:
                    faults.append(f"{target}: {steps} steps: {done.stderr[-200:]}")
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
